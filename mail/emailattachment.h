#pragma once

#include <QString>

class FolderItem;

// One attached file, kept in its encoded form, with the Mac file type and creator as parameters.
class EmailAttachment
{
public:
    QString MIMEType;
    QString Name;
    QString ContentEncoding;
    QString Data;
    QString MacType;
    QString MacCreator;

    void ParseAttachment(const QString& mimeType, const QString& headerText, const QString& data);
    bool SaveToFile(const FolderItem* file) const;
    QString _FormatAttachment() const;
    void LoadFromFile(const FolderItem* file);
    static QString Hex2Str(const QString& text);
    static QString Str2Hex(const QString& text);
};
