#pragma once

#include <QByteArray>
#include <QString>

// Standard base64 of the bytes, with CR LF after every lineWrap output characters (0: one line).
QString EncodeBase64(const QByteArray& data, int lineWrap);
// A text is encoded as its UTF-8 bytes.
QString EncodeBase64(const QString& text, int lineWrap);
// The raw bytes; line breaks and other characters outside the alphabet are passed over.
QByteArray DecodeBase64(const QString& text);
