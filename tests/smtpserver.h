#pragma once

#include "testhome.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// The real SMTP server of smtp_server.py (aiosmtpd) on loopback, for one test. What it accepted and
// everything the client sent are read back from its folder.
class SmtpServer
{
public:
    ~SmtpServer() { stop(); }

    // auth: none, login or plain; login: the one user name it accepts. Zero when it did not start.
    quint16 start(const QString& auth, const QString& login = QStringLiteral("alice"))
    {
        m_process.start("/usr/bin/python3", {"-W", "ignore", QStringLiteral(SMTP_SERVER), auth, m_out.path(), login});
        if (!m_process.waitForReadyRead(15000))
            return 0;
        return quint16(m_process.readLine().trimmed().toUInt());
    }
    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.closeWriteChannel();
        if (!m_process.waitForFinished(15000))
            m_process.kill();
    }

    // The n-th accepted message, from 1: "from", "rcpt" and "data" (base64).
    QJsonObject message(int n) const { return QJsonDocument::fromJson(read(QString("%1.json").arg(n))).object(); }
    static QByteArray data(const QJsonObject& message)
    {
        return QByteArray::fromBase64(message.value(QStringLiteral("data")).toString().toLatin1());
    }
    bool hasMessage(int n) const { return QFile::exists(m_out.filePath(QStringLiteral("%1.json").arg(n))); }
    QString authLog() const { return QString::fromUtf8(read(QStringLiteral("auth.log"))).trimmed(); }
    QByteArray wire() const { return read(QStringLiteral("wire.log")); }

private:
    QByteArray read(const QString& name) const { return TestHome::read(m_out.filePath(name)); }
    QTemporaryDir m_out;
    QProcess m_process;
};
