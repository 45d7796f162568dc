#pragma once

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <sqlite3.h>

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

// Runs SQL on the database file through a connection of its own, as another program would.
class Sql
{
public:
    explicit Sql(const QString& path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr);
    }
    ~Sql() { sqlite3_close(m_db); }
    // Rows joined by newlines, fields by '|'; NULL shows as <null>.
    QString query(const QString& sql) const
    {
        sqlite3_stmt* st = nullptr;
        if (sqlite3_prepare_v2(m_db, sql.toUtf8().constData(), -1, &st, nullptr) != SQLITE_OK)
            return QStringLiteral("<error: %1>").arg(QString::fromUtf8(sqlite3_errmsg(m_db)));
        QStringList rows;
        while (sqlite3_step(st) == SQLITE_ROW) {
            QStringList fields;
            for (int i = 0; i < sqlite3_column_count(st); ++i) {
                fields << (sqlite3_column_type(st, i) == SQLITE_NULL
                        ? QStringLiteral("<null>")
                        : QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(st, i))));
            }
            rows << fields.join(QLatin1Char('|'));
        }
        sqlite3_finalize(st);
        return rows.join(QLatin1Char('\n'));
    }
    // A statement that fails fails the test: a seed that did not go in must not pass unnoticed.
    void exec(const QString& sql) const
    {
        char* error = nullptr;
        if (sqlite3_exec(m_db, sql.toUtf8().constData(), nullptr, nullptr, &error) != SQLITE_OK)
            QTest::qFail(qPrintable(sql + QStringLiteral(": ") + QString::fromUtf8(error ? error : "no database")),
                __FILE__, __LINE__);
        sqlite3_free(error);
    }

private:
    sqlite3* m_db = nullptr;
};

// The last-resort handler's message for an exception whose message is its class's name.
inline QString unhandled(const QString& exceptionClass)
{
    return QStringLiteral("An exception of class %1 was not handled.\n%1").arg(exceptionClass);
}

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

#ifdef CRASH_HELPER
// The program as crash_helper runs it, in a process of its own that tells on stdout what it does.
inline void startHelper(QProcess& p, const QStringList& args, const QProcessEnvironment& env = {})
{
    p.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    if (!env.isEmpty())
        p.setProcessEnvironment(env);
    p.start(QStringLiteral(CRASH_HELPER), args);
}
// The next line it tells that starts with `prefix`, or "<ended>".
inline QString lineOf(QProcess& p, const QString& prefix = QString())
{
    for (;;) {
        while (!p.canReadLine()) {
            if (!p.waitForReadyRead(20000))
                return QStringLiteral("<ended>");
        }
        const QString l = QString::fromUtf8(p.readLine()).chopped(1);
        if (l.startsWith(prefix))
            return l;
    }
}
#endif
