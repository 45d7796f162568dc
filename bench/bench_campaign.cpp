// A campaign through the real main window to 10,000 selected customers, timed from Mailing to
// MailSent on a local aiosmtpd, against msmtp delivering the message the server received to the
// same recipients, in turns. On a shared machine the best times of each side swing widely; the ratio
// of each round's pair, taken one after the other, swings less, so their median is the figure.
// Usage: bench_campaign SERVER_SCRIPT (on the offscreen platform)
#include "app.h"
#include "application.h"
#include "benchdata.h"
#include "dialogs.h"
#include "listbox.h"
#include "principal.h"
#include "smtpbench.h"
#include "smtpsocket1.h"

#include <QEventLoop>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <algorithm>
#include <sqlite3.h>

using namespace SmtpBench;

namespace {
const QString kFrom = QStringLiteral("shop@tallyvane.test");
const QString kPassword = QStringLiteral("s3cret \u00e9"); // the test server's

void addCustomers(const QString& path, const QStringList& emails)
{
    sqlite3* db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO Contatos (Nome, Email) VALUES (?, ?)", -1, &st, nullptr);
    for (int i = 0; i < emails.size(); ++i) {
        const QByteArray name = QStringLiteral("Customer %1").arg(i, 5, 10, QLatin1Char('0')).toUtf8();
        const QByteArray email = emails[i].toUtf8();
        sqlite3_bind_text(st, 1, name.constData(), int(name.size()), SQLITE_TRANSIENT);
        sqlite3_bind_text(st, 2, email.constData(), int(email.size()), SQLITE_TRANSIENT);
        sqlite3_step(st);
        sqlite3_reset(st);
    }
    sqlite3_finalize(st);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
}
} // namespace

int main(int argc, char** argv)
{
    const BenchData::Home home;
    Application application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_campaign SERVER_SCRIPT\n");
        return 2;
    }
    DialogHooks::setRecording(true);
    setQuitRecordsOnly(true);
    App app;
    if (!Principal::Start())
        return 1;
    Principal* w = Principal::Instance();
    const QStringList to = recipients();
    addCustomers(App::DatabaseItem()->NativePath(), to);

    QTemporaryDir out;
    QProcess server;
    const quint16 port
        = startServer(server, QString::fromLocal8Bit(argv[1]), {QStringLiteral("login"), out.path(), kFrom});
    if (port == 0)
        return 1;
    TCPSocket::redirectPort25(port);
    app.MailServidor = QStringLiteral("127.0.0.1");
    app.Mailmail = kFrom;
    app.MailNome = QStringLiteral("Tally Vane");
    app.MailAssunto = QStringLiteral("Version 2 is out");
    app.MailMensagem = QStringLiteral("<p>Dear customer,</p><p>vers\u00e3o 2 is out: \u00e9 \u00e0 \u00e7.</p>");
    const QStringList msmtpAuth = {QStringLiteral("--auth=login"), QStringLiteral("--user=") + kFrom,
        QStringLiteral("--passwordeval=printf '%1'").arg(kPassword)};

    QEventLoop loop;
    auto mailSent = w->SMTPSocket1->MailSent;
    w->SMTPSocket1->MailSent = [&] {
        mailSent();
        loop.quit();
    };
    double bestOurs = 1e9, bestMsmtp = 1e9;
    QList<double> ratios;
    for (int round = 0; round < 2 * kRounds - 1; ++round) {
        w->CarregaContatos();
        QCoreApplication::processEvents();
        w->Contatos->selectAll();
        DialogHooks::pushAnswer(Dialog::Confirma, true);
        DialogHooks::pushAnswer(Dialog::MailSenha, kPassword);
        QElapsedTimer t;
        t.start();
        w->Mailing();
        loop.exec();
        const double ours = t.nsecsElapsed() / 1e9;
        QFile received(out.filePath(QStringLiteral("%1.json").arg(2 * round + 1)));
        const QJsonObject message
            = received.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(received.readAll()).object() : QJsonObject();
        if (message.value(QStringLiteral("rcpt")).toArray().size() != kRecipients
            || !DialogHooks::takeMessages().isEmpty()) {
            std::fprintf(stderr, "the campaign did not deliver to every customer\n");
            return 1;
        }
        bestOurs = std::min(bestOurs, ours);

        const double theirs = msmtp(
            port, to, QByteArray::fromBase64(message.value(QStringLiteral("data")).toString().toLatin1()), msmtpAuth);
        if (theirs < 0)
            return 1;
        bestMsmtp = std::min(bestMsmtp, theirs);
        ratios << ours / theirs;
        std::printf("round %d: campaign %.3f s, msmtp %.3f s\n", round + 1, ours, theirs);
    }
    server.closeWriteChannel();
    server.waitForFinished(15000);
    std::sort(ratios.begin(), ratios.end());
    std::printf("campaign to %d selected customers: best window %.3f s, msmtp %.3f s; median ratio of the rounds "
                "%.2f (goal <= 1.2)\n",
        kRecipients, bestOurs, bestMsmtp, ratios.at(ratios.size() / 2));
    w->close();
    return 0;
}
