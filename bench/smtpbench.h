#pragma once

// What the SMTP benchmarks share: the local aiosmtpd, the recipients, msmtp as the reference client.
#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>
#include <cstdio>

namespace SmtpBench {
constexpr int kRecipients = 10000;
constexpr int kRounds = 5;

inline QStringList recipients()
{
    QStringList r;
    for (int i = 0; i < kRecipients; ++i)
        r << QStringLiteral("customer%1@example.test").arg(i);
    return r;
}

// Starts tests/smtp_server.py with the given mode and arguments; the port, or 0.
inline quint16 startServer(QProcess& server, const QString& script, const QStringList& args)
{
    server.start(
        QStringLiteral("/usr/bin/python3"), QStringList{QStringLiteral("-W"), QStringLiteral("ignore"), script} + args);
    if (!server.waitForReadyRead(15000)) {
        std::fprintf(stderr, "the SMTP server did not start\n");
        return 0;
    }
    return quint16(server.readLine().trimmed().toUInt());
}

// msmtp delivers the message text (without the end-of-data line) to the recipients; seconds, or -1.
inline double msmtp(quint16 port, const QStringList& to, const QByteArray& text, const QStringList& auth)
{
    QProcess p;
    QStringList args = {QStringLiteral("--file=/dev/null"), QStringLiteral("--host=127.0.0.1"),
        QStringLiteral("--port=%1").arg(port), QStringLiteral("--tls=off"),
        QStringLiteral("--from=shop@tallyvane.test")};
    args += auth;
    args += QStringLiteral("--");
    args += to;
    QElapsedTimer t;
    t.start();
    p.start(QStringLiteral("/usr/bin/msmtp"), args);
    p.write(text);
    p.closeWriteChannel();
    p.waitForFinished(600000);
    const double seconds = t.nsecsElapsed() / 1e9;
    if (p.exitCode() != 0) {
        std::fprintf(stderr, "msmtp failed: %s\n", p.readAllStandardError().constData());
        return -1;
    }
    return seconds;
}
} // namespace SmtpBench
