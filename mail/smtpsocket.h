#pragma once

#include "emailmessage.h"
#include "tcpsocket.h"

#include <QStringList>
#include <functional>
#include <memory>

// The program's SMTP client: delivers its queue of messages over one plain connection, driven by
// the socket's events alone. It trusts the server: the three-digit code at the start of whatever
// text arrived, with _mode, decides every step. There is no time-out.
class SMTPSocket : public TCPSocket
{
    Q_OBJECT

public:
    SMTPSocket();

    QList<std::shared_ptr<EmailMessage>> Messages;
    QString Username;
    QString Password; // held for this run only, never written anywhere

    // The owner's events; any may be left unbound.
    std::function<void(const QString& greeting)> ConnectionEstablished;
    std::function<void(const std::shared_ptr<EmailMessage>& message)> MessageSent;
    std::function<void()> MailSent;
    std::function<void(qint32 code, const QString& reply, const std::shared_ptr<EmailMessage>& message)> ServerError;

    void SendMail();
    void DisconnectFromServer();
    void DeleteAllMessages() { Messages.clear(); }

    // The conversation's state, readable for the owner and for tests.
    qint32 mode() const { return _mode; }
    const QStringList& recipients() const { return _recipients; }
    const QStringList& authKeys() const { return _authKeys; }

protected:
    void DataAvailable() override;
    void Connected() override;

private:
    void _ProcessData(const QString& text);
    void _SendCommand(const QString& command);
    QString _GetMessageData(EmailMessage& message);
    static QString _ConvertAddress(const QString& address);
    void _BuildRecipientList(const EmailMessage& message);
    void _StartSendingMessage();
    void _NextMessage();
    std::shared_ptr<EmailMessage> _ExtractWorkingMessage();
    QString _GetAuthenticationKeys(const QString& reply);
    void _SendIntroduction(const QString& command, qint32 newMode);
    void _Reset();

    qint32 _mode = 0;
    qint32 _nextRecipID = 0;
    QStringList _recipients;
    QStringList _authKeys;
};
