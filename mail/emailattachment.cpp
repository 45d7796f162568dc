#include "emailattachment.h"

#include "base64.h"
#include "folderitem.h"
#include "internetheaders.h"
#include "text.h"

#include <QFile>

namespace {
const QString kCRLF = QStringLiteral("\r\n");

// The field after the label, up to ";" and up to the line end, without double quotes.
QString parameter(const QString& text, const QString& label, const QString& eol)
{
    QString v = NthField(text, label, 2);
    v = NthField(v, QStringLiteral(";"), 1);
    v = NthField(v, eol, 1);
    return ReplaceAll(v, QStringLiteral("\""), QString());
}
} // namespace

void EmailAttachment::LoadFromFile(const FolderItem* file)
{
    if (!file || !file->Exists())
        return;
    ContentEncoding = QStringLiteral("Base64");
    MIMEType = QStringLiteral("application/base64");
    Name = file->Name();
    QFile in(file->NativePath());
    if (!in.open(QIODevice::ReadOnly))
        return;
    Data = EncodeBase64(in.readAll(), 76);
    in.close();
    // Files here have no Mac type or creator.
    MacType = QString();
    MacCreator = QString();
}

bool EmailAttachment::SaveToFile(const FolderItem* file) const
{
    if (!file || asciiLower(ContentEncoding) != QLatin1String("base64"))
        return false;
    QFile out(file->NativePath());
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    out.write(DecodeBase64(Data));
    out.close();
    return true;
}

QString EmailAttachment::_FormatAttachment() const
{
    QString out
        = QStringLiteral("Content-Type: ") + MIMEType + QStringLiteral("; name=\"") + Name + QStringLiteral("\";");
    if (!MacType.isEmpty())
        out += kCRLF + QStringLiteral(" x-mac-type=\"") + Str2Hex(MacType) + QLatin1Char('"');
    if (!MacCreator.isEmpty())
        out += kCRLF + QStringLiteral(" x-mac-creator=\"") + Str2Hex(MacCreator) + QLatin1Char('"');
    out += kCRLF + QStringLiteral("Content-transfer-encoding: ") + ContentEncoding;
    out += kCRLF + QStringLiteral("Content-disposition: attachment");
    out += kCRLF + kCRLF + Data;
    return out;
}

void EmailAttachment::ParseAttachment(const QString& mimeType, const QString& headerText, const QString& data)
{
    MIMEType = mimeType;
    Data = data;
    const QString eol = headerText.contains(kCRLF) ? kCRLF : QStringLiteral("\r");
    const QString h = InternetHeaders::unfold(headerText, eol);
    ContentEncoding = NthField(NthField(h, QStringLiteral("Content-Transfer-Encoding: "), 2), eol, 1);
    const QString type = NthField(h, QStringLiteral("Content-Type: "), 2);
    Name = parameter(type, QStringLiteral("name="), eol);
    MacType = parameter(type, QStringLiteral("x-mac-type="), eol);
    if (!MacType.isEmpty())
        MacType = Hex2Str(MacType);
    MacCreator = parameter(type, QStringLiteral("x-mac-creator="), eol);
    if (!MacCreator.isEmpty())
        MacCreator = Hex2Str(MacCreator);
}

QString EmailAttachment::Str2Hex(const QString& text)
{
    QString out;
    for (QChar c : text)
        out += Right(QStringLiteral("00") + Hex(c.unicode()), 2);
    return out;
}

QString EmailAttachment::Hex2Str(const QString& text)
{
    QString out;
    for (qsizetype i = 1; i <= text.size() / 2.0; ++i)
        out += Chr(uint(ValInt32(QStringLiteral("&h") + Mid(text, i * 2 - 1, 2))));
    return out;
}
