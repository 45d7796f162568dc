// The preferences file reader: any bytes, any length, any number of lines.
#include "app.h"
#include "fuzz.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static App app; // the one application object, without a window
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(fuzzBytes(data, size));
    buffer->open(QIODevice::ReadOnly);
    TextInputStream in(std::move(buffer));
    app.LePrefs(in);
    in.Close();
    return 0;
}
