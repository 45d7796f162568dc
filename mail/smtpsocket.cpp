#include "smtpsocket.h"

#include "base64.h"
#include "date.h"
#include "exceptions.h"
#include "text.h"

namespace {
const QString kCRLF = QStringLiteral("\r\n");
}

SMTPSocket::SMTPSocket() = default;

void SMTPSocket::SendMail()
{
    if (Port == 0)
        Port = 25;
    Connect();
}

void SMTPSocket::DisconnectFromServer()
{
    _mode = Mode::Ready;
    _nextRecipID = 0;
    _SendCommand(QStringLiteral("QUIT"));
}

// A reply is whatever has arrived when the buffer ends with a line end: a multi-line reply that
// arrives whole is one reply, and one split at a line end is several.
void SMTPSocket::DataAvailable()
{
    if (LookaheadEndsWith("\r\n"))
        _ProcessData(ReadAll());
}

void SMTPSocket::Connected()
{
    _mode = Mode::Ready;
}

void SMTPSocket::_ProcessData(const QString& text)
{
    qint32 code = ValInt32(NthField(text, QStringLiteral(" "), 1));
    if (code == 235) {
        _mode = Mode::Ready;
        code = 250;
    }
    switch (code) {
    case 220:
        if (Messages.isEmpty()) {
            DisconnectFromServer();
            return;
        }
        if (ConnectionEstablished)
            ConnectionEstablished(NthField(Mid(text, 5), kCRLF, 1));
        if (!Username.isEmpty())
            _SendIntroduction(QStringLiteral("EHLO"), Mode::AuthPending);
        else
            _SendIntroduction(QStringLiteral("HELO"), Mode::Ready);
        return;
    case 250:
        switch (_mode) {
        case Mode::AfterReset:
            _NextMessage();
            break;
        case Mode::AuthPending:
            _SendCommand(_GetAuthenticationKeys(text));
            break;
        case Mode::Ready:
            _StartSendingMessage();
            break;
        case Mode::Recipients:
            // Deliberate: the last recipient goes out with _mode already at LastRecipient.
            ++_nextRecipID;
            if (_recipients.size() - 1 < _nextRecipID)
                _mode = Mode::LastRecipient;
            if (_nextRecipID - 1 <= _recipients.size() - 1)
                _SendCommand(QStringLiteral("RCPT TO: ") + _recipients.at(_nextRecipID - 1));
            break;
        case Mode::LastRecipient:
            _mode = Mode::DataSent;
            _SendCommand(QStringLiteral("DATA"));
            break;
        case Mode::MessageData: {
            const std::shared_ptr<EmailMessage> sent = _ExtractWorkingMessage();
            if (MessageSent)
                MessageSent(sent);
            _NextMessage();
            break;
        }
        case Mode::DataSent: // waits for 354
            break;
        }
        return;
    case 334:
        // Deliberate: the prompt is not read; the keys go out in their order.
        if (_authKeys.isEmpty())
            throw OutOfBoundsException();
        _SendCommand(_authKeys.takeFirst());
        _mode = Mode::Ready;
        return;
    case 354:
        _mode = Mode::MessageData;
        if (Messages.isEmpty())
            throw OutOfBoundsException();
        _SendCommand(_GetMessageData(*Messages.first()));
        return;
    case 221:
        return;
    case 500:
    case 502:
        if (_mode == Mode::AuthPending)
            _SendIntroduction(QStringLiteral("HELO"), Mode::Ready);
        return;
    default:
        if (ServerError) {
            const std::shared_ptr<EmailMessage> refused = _ExtractWorkingMessage();
            ServerError(code, text, refused);
        }
        _mode = Mode::AfterReset;
        _Reset();
        return;
    }
}

void SMTPSocket::_SendCommand(const QString& command)
{
    Write(command + kCRLF);
}

QString SMTPSocket::_GetMessageData(EmailMessage& message)
{
    if (message.Headers->NameCount(QStringLiteral("Date")) == 0) {
        const Date now;
        message.Headers->SetHeader(QStringLiteral("Date"), EmailMessage::_GetEmailDateStr(&now));
    }
    return message.Source();
}

QString SMTPSocket::_ConvertAddress(const QString& address)
{
    // A line end or a NUL inside an address would start a command of its own on the server; as
    // blanks they leave one malformed address, which the server refuses.
    QString a = Trim(address);
    for (QChar& c : a) {
        if (c == QLatin1Char('\r') || c == QLatin1Char('\n') || c.isNull())
            c = QLatin1Char(' ');
    }
    if (InStr(a, QStringLiteral("<")) > 0)
        a = NthField(NthField(a, QStringLiteral("<"), 2), QStringLiteral(">"), 1);
    return QLatin1Char('<') + a + QLatin1Char('>');
}

void SMTPSocket::_BuildRecipientList(const EmailMessage& message)
{
    _recipients.clear();
    for (const QString& list : {message.ToAddress(), message.CCAddress(), message.BCCAddress()}) {
        for (const QString& address : Split(list, QStringLiteral(",")))
            _recipients.append(_ConvertAddress(address));
    }
}

void SMTPSocket::_StartSendingMessage()
{
    _mode = Mode::Recipients;
    if (Messages.isEmpty())
        throw OutOfBoundsException();
    _BuildRecipientList(*Messages.first());
    _nextRecipID = 0;
    _SendCommand(QStringLiteral("MAIL FROM: ") + _ConvertAddress(Messages.first()->FromAddress()));
}

void SMTPSocket::_NextMessage()
{
    if (Messages.isEmpty()) {
        if (MailSent)
            MailSent();
        DisconnectFromServer();
    } else {
        _StartSendingMessage();
    }
}

std::shared_ptr<EmailMessage> SMTPSocket::_ExtractWorkingMessage()
{
    if (Messages.isEmpty())
        return nullptr;
    return Messages.takeFirst();
}

QString SMTPSocket::_GetAuthenticationKeys(const QString& reply)
{
    // Deliberate: worked out and left unused; the choice rests on "LOGIN" alone.
    const QString offered = NthField(NthField(reply, QStringLiteral("250-AUTH "), 2), kCRLF, 1);
    const bool plain = InStr(reply, QStringLiteral("PLAIN")) > 0;
    Q_UNUSED(offered);
    Q_UNUSED(plain);
    if (InStr(reply, QStringLiteral("LOGIN")) > 0) {
        _authKeys.append(EncodeBase64(Username, 76));
        _authKeys.append(EncodeBase64(Password, 76));
        return QStringLiteral("auth login");
    }
    return QStringLiteral("auth plain ") + EncodeBase64(QChar(0) + Username + QChar(0) + Password, 76);
}

void SMTPSocket::_SendIntroduction(const QString& command, Mode newMode)
{
    _SendCommand(command + QStringLiteral(" [") + LocalAddress() + QLatin1Char(']'));
    _mode = newMode;
}

void SMTPSocket::_Reset()
{
    _SendCommand(QStringLiteral("RSET"));
}
