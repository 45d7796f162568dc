// The SMTP client over a whole conversation, with the fuzzer as the server. The first byte sets
// the scene: bit 0 a user name (EHLO and AUTH), bits 1-2 the number of messages, bits 3-5 the
// recipients of each. The rest is what the server sends, in pieces separated by the byte 0xFF
// (0xFF 0xFF stands for the byte itself); the client reads each piece as it arrives.
#include "dialogs.h"
#include "fuzz.h"
#include "random.h"
#include "smtpsocket.h"

namespace {
const QByteArray kPassword = "pw-Zq7!secret";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setRandomSource([] { return 0.5; });
    DialogHooks::setRecording(true); // the last-resort handler's messages go nowhere
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const int scene = data[0];
    QByteArray written;
    SMTPSocket s;
    s.setStandIn([&written](const QByteArray& bytes) { written += bytes; });
    s.Address = QStringLiteral("mail.example.test");
    if (scene & 1) {
        s.Username = QStringLiteral("shop");
        s.Password = QString::fromLatin1(kPassword);
    }
    int events = 0;
    s.ConnectionEstablished = [&events](const QString&) { ++events; };
    s.MessageSent = [&events](const std::shared_ptr<EmailMessage>&) { ++events; };
    s.MailSent = [&events] { ++events; };
    s.ServerError = [&events](qint32, const QString&, const std::shared_ptr<EmailMessage>&) { ++events; };
    for (int i = 0; i < ((scene >> 1) & 3); ++i) {
        auto m = std::make_shared<EmailMessage>();
        m->setFromAddress(QStringLiteral("Tally Vane <shop@example.test>"));
        m->setSubject(QStringLiteral("News"));
        m->BodyHTML = QStringLiteral("<p>Hello</p>");
        for (int r = 0; r < ((scene >> 3) & 7); ++r)
            m->AddBCCRecipient(QStringLiteral("customer%1@example.test").arg(r));
        s.Messages.append(m);
    }
    s.SendMail();
    QByteArray piece;
    for (size_t i = 1; i < size; ++i) {
        if (data[i] != 0xFF) {
            piece += char(data[i]);
        } else if (i + 1 < size && data[i + 1] == 0xFF) {
            piece += char(0xFF);
            ++i;
        } else {
            s.receive(piece);
            piece.clear();
        }
    }
    s.receive(piece);
    FUZZ_CHECK(!written.contains(kPassword));
    DialogHooks::takeMessages();
    return 0;
}
