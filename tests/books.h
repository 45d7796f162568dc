#pragma once

#include "testhome.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

// The desktop's address books as their own programs keep them, written into the test home. Each fails
// the test when its peer is missing: CI installs them.
namespace books {

inline void privateBus(const TestHome& home)
{
    // The services the bus starts take its environment, so every folder is the test's before it starts.
    QDir().mkdir(home.path(QStringLiteral("run")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_CACHE_HOME", home.path(QStringLiteral(".cache")).toUtf8());
    qputenv("XDG_RUNTIME_DIR", home.path(QStringLiteral("run")).toUtf8());
}

// GNOME's personal book, changed by Evolution Data Server itself (the blocks of eds_book.py).
inline void evolution(const TestHome& home, const QByteArray& blocks)
{
    privateBus(home);
    QCOMPARE(run("dbus-run-session", {"--", "/usr/bin/python3", EDS_BOOK}, blocks), QString());
}

// Books of online accounts: a CardDAV server (radicale) holds one collection per source, and Evolution Data
// Server's own CardDAV backend syncs each into its cache. Then, with the server away, the contacts named
// in removals ("SOURCE=UID") are removed through Evolution, and the sources named in off are turned off.
inline void carddav(const TestHome& home, const QList<std::pair<QString, QByteArray>>& sources,
    const QStringList& removals, const QStringList& off)
{
    privateBus(home);
    QTcpServer probe; // a free port
    QVERIFY(probe.listen(QHostAddress::LocalHost));
    const QString port = QString::number(probe.serverPort());
    probe.close();
    const QString storage = home.path(QStringLiteral("dav"));
    home.write(home.path(QStringLiteral("dav.conf")),
        ("[server]\nhosts = 127.0.0.1:" + port
            + "\n[auth]\ntype = none\n[rights]\ntype = authenticated\n"
              "[storage]\nfilesystem_folder = "
            + storage + "\n")
            .toUtf8());
    QStringList sync;
    for (const auto& [uid, cards] : sources) {
        const QString collection = storage + "/collection-root/user/" + uid + '/';
        home.write(collection + ".Radicale.props", R"({"tag": "VADDRESSBOOK"})");
        const QList<QByteArray> each = cards.split('\x1e'); // one file per card, as a server keeps them
        for (qsizetype i = 0; i < each.size(); ++i)
            home.write(collection + QString::number(i) + ".vcf", each[i]);
        home.write(home.path(".config/evolution/sources/" + uid + ".source"),
            ("[Data Source]\nDisplayName=" + uid
                + "\nEnabled=true\nParent=carddav-stub\n\n[Address Book]\n"
                  "BackendName=carddav\n\n[Authentication]\nHost=127.0.0.1\nPort="
                + port
                + "\nUser=user\nMethod=none\n\n"
                  "[Security]\nMethod=none\n\n[WebDAV Backend]\nResourcePath=/user/"
                + uid + "/\n")
                .toUtf8());
        sync << uid + ':' + QString::number(each.size());
    }
    QProcess server;
    server.start("/usr/bin/python3", {"-m", "radicale", "--config", home.path(QStringLiteral("dav.conf"))});
    QTcpSocket up;
    for (int i = 0; i < 100 && up.state() != QAbstractSocket::ConnectedState; ++i) {
        QThread::msleep(100);
        up.connectToHost(QHostAddress::LocalHost, quint16(port.toUInt()));
        up.waitForConnected(100);
    }
    QCOMPARE(up.state(), QAbstractSocket::ConnectedState);
    const QString synced = run("dbus-run-session", QStringList{"--", "/usr/bin/python3", EDS_BOOK} + sync);
    server.kill();
    server.waitForFinished();
    QCOMPARE(synced, sync.join('\n'));
    if (!removals.isEmpty())
        QCOMPARE(run("dbus-run-session", QStringList{"--", "/usr/bin/python3", EDS_BOOK} + removals), QString());
    for (const QString& uid : off) {
        const QString file = home.path(".config/evolution/sources/" + uid + ".source");
        home.write(file, home.read(file).replace("Enabled=true", "Enabled=false"));
    }
}

// A Thunderbird profile under root (".thunderbird", or a snap's or a flatpak's) whose abook.sqlite is the
// empty book Thunderbird 153 made (thunderbird --headless -CreateProfile, then --headless --profile for 30 s;
// its log checkpointed), filled by SQL as Thunderbird stores cards. With wal, the book is copied while the
// filling connection still holds its log, as while Thunderbird runs. The profiles.ini is the shape
// Thunderbird writes.
inline void thunderbird(
    const TestHome& home, const QByteArray& sql, bool wal, const QString& root = QStringLiteral(".thunderbird"))
{
    const QString dir = home.path(root + QLatin1String("/p"));
    home.write(home.path(root + "/profiles.ini"),
        "[Profile0]\nName=default-release\nIsRelative=1\nPath=p\nDefault=1\n\n[General]\nStartWithLastProfile=1\n"
        "Version=2\n");
    QVERIFY(QDir().mkpath(dir) && QFile::copy(QStringLiteral(THUNDERBIRD_BOOK), dir + QLatin1String("/fill.sqlite")));
    QFile::setPermissions(dir + QLatin1String("/fill.sqlite"), QFile::ReadOwner | QFile::WriteOwner);
    const char* fill = "import shutil, sqlite3, sys\nd, wal = sys.argv[1], sys.argv[2] == '1'\n"
                       "c = sqlite3.connect(d + '/fill.sqlite')\nc.executescript(sys.stdin.read())\n"
                       "for s in ('', '-wal', '-shm') if wal else ():\n"
                       "    shutil.copy(d + '/fill.sqlite' + s, d + '/abook.sqlite' + s)\n"
                       "c.close()\nif not wal: shutil.copy(d + '/fill.sqlite', d + '/abook.sqlite')\n";
    QCOMPARE(run("/usr/bin/python3", {"-c", fill, dir, QString::number(wal)}, sql), QString());
    QVERIFY(QFile::remove(dir + QLatin1String("/fill.sqlite")));
    QCOMPARE(QFileInfo::exists(dir + QLatin1String("/abook.sqlite-wal")), wal);
}

// Thunderbird running on a book: SQLite's exclusive locking mode and one write, so the lock is held until
// the object goes, as Thunderbird holds it for its whole run.
class Running
{
public:
    explicit Running(const QString& book)
    {
        const char* hold = "import sqlite3, sys\nc = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
                           "c.execute('PRAGMA locking_mode=EXCLUSIVE')\n"
                           "c.execute('PRAGMA user_version = 7')\n"
                           "print('ready', flush=True)\nsys.stdin.read()\n";
        m_process.start("/usr/bin/python3", {"-c", hold, book});
        while (!m_process.canReadLine() && m_process.waitForReadyRead(30000)) { }
        m_ready = m_process.readLine() == "ready\n";
    }
    ~Running()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }
    bool ready() const { return m_ready; }

private:
    QProcess m_process;
    bool m_ready = false;
};

// Every file of a folder with its bytes.
inline QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> out;
    for (const QString& name : QDir(folder).entryList(QDir::Files | QDir::Hidden))
        out.insert(name, TestHome::read(folder + '/' + name));
    return out;
}

} // namespace books
