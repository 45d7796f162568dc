// The colour text of the label row and the number reader under it.
#include "colors.h"

#include "fuzz.h"
#include "text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = fuzzText(data, size);
    const QColor c = VariantToColor(StringToVariant(text));
    FUZZ_CHECK(c.isValid());
    // What the table stores reads back as the same colour.
    FUZZ_CHECK(VariantToColor(ColorToVariant(c)) == c);
    const double v = Val(text);
    if (v > -2147483648.0 && v < 2147483647.0)
        FUZZ_CHECK(ValInt32(text) == qint32(v));
    return 0;
}
