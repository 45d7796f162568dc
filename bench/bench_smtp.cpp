// One message with 10,000 blind-copy recipients, delivered to a local aiosmtpd server by the
// program's SMTP client and by msmtp, in the same run. The two take turns, so that a busy spell on
// a shared machine hits both; prints the best of each and the ratio. Usage: bench_smtp SERVER_SCRIPT
#include "smtpbench.h"
#include "smtpsocket.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>
#include <algorithm>

using namespace SmtpBench;

namespace {
std::shared_ptr<EmailMessage> compose(const QStringList& to)
{
    auto m = std::make_shared<EmailMessage>();
    m->setFromAddress(QStringLiteral("Tally Vane <shop@tallyvane.test>"));
    m->setSubject(QStringLiteral("Version 2 is out"));
    m->Headers->AppendHeader(QStringLiteral("Mime-Version"), QStringLiteral("1.0"));
    m->Headers->AppendHeader(QStringLiteral("Content-type"), QStringLiteral("text/html;charset=UTF-8"));
    for (const QString& a : to)
        m->AddBCCRecipient(a);
    m->BodyHTML = QStringLiteral("<html><body><p>Dear customer,</p><p>version 2 is out.</p></body></html>");
    return m;
}
} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_smtp SERVER_SCRIPT\n");
        return 2;
    }
    QTemporaryDir out;
    QProcess server;
    const quint16 port = startServer(server, QString::fromLocal8Bit(argv[1]), {QStringLiteral("none"), out.path()});
    if (port == 0)
        return 1;
    const QStringList to = recipients();

    double bestOurs = 1e9, bestMsmtp = 1e9, bestCompose = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        QElapsedTimer t;
        t.start();
        auto message = compose(to);
        bestCompose = std::min(bestCompose, t.nsecsElapsed() / 1e9);

        SMTPSocket smtp;
        smtp.Address = QStringLiteral("127.0.0.1");
        smtp.Port = port;
        smtp.Messages << message;
        QEventLoop loop;
        bool ok = false;
        smtp.MessageSent = [&ok](const std::shared_ptr<EmailMessage>&) { ok = true; };
        smtp.MailSent = [&loop] { loop.quit(); };
        smtp.ServerError = [](qint32 code, const QString& text, const std::shared_ptr<EmailMessage>&) {
            std::fprintf(stderr, "server error %d %s\n", code, qPrintable(text));
        };
        smtp.Error = [&loop](int) { loop.quit(); };
        t.restart();
        smtp.SendMail();
        loop.exec();
        const double ours = t.nsecsElapsed() / 1e9;
        if (!ok) {
            std::fprintf(stderr, "the client did not deliver\n");
            return 1;
        }
        bestOurs = std::min(bestOurs, ours);

        // The same text, without the end-of-data line that msmtp writes itself.
        QString text = compose(to)->Source();
        text.chop(1);
        const double theirs = msmtp(port, to, text.toUtf8(), {QStringLiteral("--auth=off")});
        if (theirs < 0)
            return 1;
        bestMsmtp = std::min(bestMsmtp, theirs);
        std::printf("round %d: client %.3f s, msmtp %.3f s\n", round + 1, ours, theirs);
    }
    server.closeWriteChannel();
    server.waitForFinished(15000);
    std::printf("composing %d recipients: %.3f s\n", kRecipients, bestCompose);
    std::printf("delivery to %d recipients: client %.3f s, msmtp %.3f s, ratio %.2f (goal <= 1.5)\n", kRecipients,
        bestOurs, bestMsmtp, bestOurs / bestMsmtp);
    return 0;
}
