// The attachment parser: a part's header lines and its data, as the message parser hands them
// over (split at the first empty line), and the hexadecimal and base64 conversions under it.
#include "base64.h"
#include "emailattachment.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = fuzzText(data, size);
    const qsizetype blank = text.indexOf(QLatin1String("\r\n\r\n"));
    EmailAttachment a;
    a.ParseAttachment(QStringLiteral("application/octet-stream"), blank < 0 ? text : text.left(blank),
        blank < 0 ? QString() : text.mid(blank + 4));
    a._FormatAttachment();
    const QByteArray bytes = DecodeBase64(a.Data);
    FUZZ_CHECK(DecodeBase64(EncodeBase64(bytes, 76)) == bytes);
    // Every character of one byte comes back from its two digits.
    const QString latin1 = QString::fromLatin1(fuzzBytes(data, size));
    FUZZ_CHECK(EmailAttachment::Hex2Str(EmailAttachment::Str2Hex(latin1)) == latin1);
    return 0;
}
