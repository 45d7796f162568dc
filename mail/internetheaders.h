#pragma once

#include "dictionary.h"

#include <QHash>
#include <QString>

// Named text values of an internet message, with repeated names stored as "Name", "Name:1",
// "Name:2"... Names compare without regard to case.
class InternetHeaders
{
public:
    InternetHeaders() = default;
    virtual ~InternetHeaders() = default;

    qint32 Count() const;
    QString Name(qint32 index) const;
    qint32 NameCount(const QString& name) const;
    QString Source() const;
    QString Value(const QString& name) const;
    QString Value(const QString& name, qint32 number) const;
    QString Value(qint32 index) const;
    void _ParseHeaders(const QString& text);
    void AppendHeader(const QString& name, const QString& value);
    void SetHeader(const QString& name, const QString& value);
    void SetHeader(const QString& name, const QString& value, qint32 number);
    void Delete(const QString& name);
    void Delete(const QString& name, qint32 number);
    QString CommaSeparatedValues(const QString& name) const;
    static QString _DetermineEOLCharacter(const QString& text);
    // Folded lines joined: a line end followed by a blank or a tab becomes one blank.
    static QString unfold(const QString& text, const QString& eol);
    void DeleteAllHeaders();
    QString _FormatHTTPHeaders() const;
    QString _FormatEmailHeaders() const;

private:
    // Lookups take the plain name for any number below 1; changes only for 0.
    static QString key(const QString& name, qint32 number);
    static QString changeKey(const QString& name, qint32 number);
    void removeKey(const QString& key);

    Dictionary _Headers;
    QString _rawHeaders;
    // For each name (folded), a number below which every numbered key is known to be present, so
    // that a long run of one name is not walked from 1 again for each copy.
    mutable QHash<QString, qint32> m_runEnd;
};

// The header store of a mail message.
class EmailHeaders : public InternetHeaders
{
};
