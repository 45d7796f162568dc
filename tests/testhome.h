#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// A fresh home for each test: the program's folders point into it, never at the user's files.
class TestHome
{
public:
    TestHome()
    {
        qputenv("HOME", m_dir.path().toUtf8());
        qputenv("XDG_CONFIG_HOME", (m_dir.path() + QStringLiteral("/.config")).toUtf8());
        qputenv("XDG_DATA_HOME", (m_dir.path() + QStringLiteral("/.local/share")).toUtf8());
    }
    QString path(const QString& relative = QString()) const
    {
        return relative.isEmpty() ? m_dir.path() : m_dir.path() + QLatin1Char('/') + relative;
    }
    QString dataFolder() const { return m_dir.path() + QStringLiteral("/Documents/Tally Vane"); }
    QString database() const { return dataFolder() + QStringLiteral("/Tally Vane.rbd"); }
    QString prefs() const { return m_dir.path() + QStringLiteral("/.config/Tallyvane"); }

    // Writes the file whole, making its folder; a file that cannot be written fails the test.
    static void write(const QString& file, const QByteArray& bytes)
    {
        QDir().mkpath(QFileInfo(file).path());
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size());
    }
    static QByteArray read(const QString& file)
    {
        QFile f(file);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }
    QStringList prefsLines() const
    {
        QStringList lines = QString::fromUtf8(read(prefs())).split(QLatin1Char('\n'));
        if (!lines.isEmpty() && lines.last().isEmpty())
            lines.removeLast();
        return lines;
    }
    void writePrefs(const QStringList& lines) const
    {
        QByteArray bytes;
        for (const QString& l : lines)
            bytes += l.toUtf8() + '\n';
        write(prefs(), bytes);
    }

private:
    QTemporaryDir m_dir;
};

// Runs a peer to its end: what it printed, or "failed: " and its errors.
inline QString run(const QString& program, const QStringList& args, const QByteArray& input = QByteArray())
{
    QProcess p;
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    if (!p.waitForFinished(60000) || p.exitCode() != 0)
        return QStringLiteral("failed: ") + QString::fromUtf8(p.readAllStandardError());
    return QString::fromUtf8(p.readAllStandardOutput()).trimmed();
}
