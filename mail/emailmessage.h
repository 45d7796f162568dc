#pragma once

#include "emailattachment.h"
#include "internetheaders.h"

#include <QList>
#include <QString>
#include <memory>
#include <optional>

class Date;

// One mail message: headers, up to three alternative bodies and attachments. Source gives the
// text for the DATA phase, end-of-data dot included; setSource takes a received text apart.
class EmailMessage
{
public:
    EmailMessage();

    std::unique_ptr<EmailHeaders> Headers;
    QString BodyPlainText;
    QString BodyHTML;
    QString BodyEnriched;
    QList<EmailAttachment> Attachments;

    void AddRecipient(const QString& address);
    QString ToAddress() const;
    void AddCCRecipient(const QString& address);
    QString CCAddress() const;
    void _AddEmailHeader(const QString& name, const QString& value);
    void setSubject(const QString& text);
    QString Subject() const;
    QString FromAddress() const;
    void setFromAddress(const QString& text);
    void setSource(const QString& text);
    // The Date header's text; no date means the present moment.
    static QString _GetEmailDateStr(const Date* date);
    static QString _GetGMTOffset();
    static QString _GenerateBoundary();
    QString _FormatBody() const;
    void _ParseBodyBoundary(const QString& text, const QString& separator);
    void _ProcessBodyData(const QString& headerText, const QString& data);
    void AddBCCRecipient(const QString& address);
    QString BCCAddress() const;
    static QString _ConvertEOLCharacter(const QString& text, const QString& eol);
    static QString _DetermineEOLCharacter(const QString& text);
    QString RawSource() const { return _rawSource; }
    QString Source();

private:
    QString _rawSource;
};
