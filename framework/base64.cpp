#include "base64.h"

QString EncodeBase64(const QByteArray& data, int lineWrap)
{
    const QByteArray encoded = data.toBase64();
    if (lineWrap <= 0 || encoded.size() <= lineWrap)
        return QString::fromLatin1(encoded);
    QByteArray out;
    out.reserve(encoded.size() + encoded.size() / lineWrap * 2);
    for (qsizetype i = 0; i < encoded.size(); i += lineWrap) {
        if (i > 0)
            out += "\r\n";
        out += encoded.mid(i, lineWrap);
    }
    return QString::fromLatin1(out);
}

QString EncodeBase64(const QString& text, int lineWrap)
{
    return EncodeBase64(text.toUtf8(), lineWrap);
}

QByteArray DecodeBase64(const QString& text)
{
    QByteArray clean;
    clean.reserve(text.size());
    for (QChar c : text) {
        const char16_t u = c.unicode();
        if ((u >= 'A' && u <= 'Z') || (u >= 'a' && u <= 'z') || (u >= '0' && u <= '9') || u == '+' || u == '/'
            || u == '=')
            clean += char(u);
    }
    return QByteArray::fromBase64(clean);
}
