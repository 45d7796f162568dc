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

    // The conversation's state: what was last sent, and so what the next 250 means.
    enum class Mode : qint32 {
        AfterReset = -100, // RSET after a refusal: go on with the next message
        AuthPending = -1, // EHLO sent: start authentication, or fall back to HELO on 500/502
        Ready = 0, // start the working message
        Recipients = 1, // MAIL FROM and RCPT TO running: send the next RCPT TO
        LastRecipient = 2, // send DATA
        DataSent = 3, // a 250 is ignored; 354 sends the message
        MessageData = 4, // the message is done
    };
    // Readable for the owner and for tests.
    Mode mode() const { return _mode; }
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
    void _SendIntroduction(const QString& command, Mode newMode);
    void _Reset();

    Mode _mode = Mode::Ready;
    qint32 _nextRecipID = 0;
    QStringList _recipients;
    QStringList _authKeys;
};
