#include "testhome.h"

#include <QLockFile>
#include <QSysInfo>
#include <csignal>

// One running copy per data folder, with real processes: the program itself as a later start, and
// crash_helper as the copy that owns the folder or as a later start that reports what it shows.
class TestRunningCopy : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestHome> m_home;

    enum Holder { OtherComputer, Stopped, LongRuntimePath, ReadOnlyRuntime };

    QString lockFile() const { return m_home->dataFolder() + QStringLiteral("/.tallyvane.lock"); }
    // A lock as Qt writes it on another computer: that computer's host name and machine id.
    void writeLockOfAnotherComputer()
    {
        QVERIFY(QDir().mkpath(m_home->dataFolder()));
        QLockFile own(lockFile());
        QVERIFY(own.tryLock(0));
        QList<QByteArray> lines = TestHome::read(lockFile()).split('\n');
        own.unlock();
        QCOMPARE(lines.size(), 6); // pid, application, host, machine id, boot id, and the last line's end
        lines[0] = "4242";
        lines[2] = "other-host";
        lines[3] = "0123456789abcdef0123456789abcdef";
        TestHome::write(lockFile(), lines.join('\n'));
    }

private slots:
    void init()
    {
        m_home = std::make_unique<TestHome>();
        // The killed copies' sockets stay with this home, not in the user's runtime folder.
        qputenv("XDG_RUNTIME_DIR", m_home->path().toUtf8());
    }
    void cleanup() { m_home.reset(); }

    // A second start while one runs touches nothing, brings forward the main window or the start-up message
    // the first copy shows (its main window, not yet open, stays unseen) and ends. Once the first is killed
    // its lock stops no start, and two homes each have a copy of their own.
    void laterStartBringsTheFirstForward_data()
    {
        QTest::addColumn<int>("database"); // 0: none yet; 1: not SQLite; 2: a link to nowhere, so it cannot be made
        QTest::addColumn<QString>("shown");
        QTest::newRow("main window") << 0 << "Principal, main window shown";
        QTest::newRow("DB Error") << 1 << "message DB Error, main window hidden";
        QTest::newRow("Error: ") << 2 << "message Error: \\n\\n, main window hidden";
    }
    void laterStartBringsTheFirstForward()
    {
        QFETCH(int, database);
        QFETCH(QString, shown);
        if (database == 1)
            TestHome::write(m_home->database(), QByteArray("not SQLite at all").repeated(300));
        if (database == 2)
            QVERIFY(QDir().mkpath(m_home->dataFolder())
                && QFile::link(m_home->path(QStringLiteral("gone/Tally Vane.rbd")), m_home->database()));
        m_home->writePrefs(QStringList(41, QStringLiteral("7")));
        const auto files = [this] {
            QStringList all = QDir(m_home->dataFolder()).entryList(QDir::AllEntries | QDir::Hidden);
            for (const QString& path : {m_home->prefs(), m_home->database()})
                all << QString::fromLatin1(TestHome::read(path).toBase64());
            return all;
        };
        QProcess first, second, again, other;
        startHelper(first, {database ? QStringLiteral("box") : QStringLiteral("single")});
        const QString message = shown.section(QStringLiteral(", "), 0, 0).mid(8);
        QCOMPARE(lineOf(first, database ? QStringLiteral("dialog ") : QStringLiteral("waiting")),
            database ? QStringLiteral("dialog %1||OK").arg(message) : QStringLiteral("waiting"));
        const QStringList before = files();
        second.start(QStringLiteral(TALLYVANE), {});
        QVERIFY2(second.waitForFinished(1000), "the second start did not end within a second");
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(lineOf(first, QStringLiteral("forward")), QStringLiteral("forward ") + shown);
        if (database) {
            // The message closed, the first copy ends as after any failed start, without opening its window.
            QCOMPARE(lineOf(first, QStringLiteral("open")), QStringLiteral("<ended>"));
            first.waitForFinished(10000);
            QCOMPARE(first.state(), QProcess::NotRunning);
            return;
        }
        QCOMPARE(files(), before);

        first.kill();
        QVERIFY(first.waitForFinished(10000));
        startHelper(again, {QStringLiteral("single")});
        QCOMPARE(lineOf(again, QStringLiteral("open")), QStringLiteral("open"));
        const TestHome otherHome;
        startHelper(other, {QStringLiteral("single")});
        QCOMPARE(lineOf(other, QStringLiteral("open")), QStringLiteral("open"));
        for (QProcess* p : {&again, &other}) {
            p->kill();
            p->waitForFinished(10000);
        }
    }

    // A holder that cannot be asked to come forward is named, with when it took the folder, and the
    // user opens the program anyway, taking the lock over, or quits and leaves the lock as it was.
    void unreachableHolderIsNamedAndTheUserChooses_data()
    {
        QTest::addColumn<int>("holder");
        QTest::addColumn<QString>("answer");
        QTest::newRow("another computer's lock, opened anyway") << int(OtherComputer) << "Open Anyway";
        QTest::newRow("another computer's lock, quit") << int(OtherComputer) << "Quit";
        QTest::newRow("stopped owner, opened anyway") << int(Stopped) << "Open Anyway";
        QTest::newRow("runtime folder path too long for a socket") << int(LongRuntimePath) << "Quit";
        QTest::newRow("read-only runtime folder") << int(ReadOnlyRuntime) << "Open Anyway";
    }
    void unreachableHolderIsNamedAndTheUserChooses()
    {
        QFETCH(int, holder);
        QFETCH(QString, answer);
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        QProcess owner;
        qint64 pid = 4242;
        QString host = QStringLiteral("other-host");
        if (holder == OtherComputer) {
            writeLockOfAnotherComputer();
        } else {
            // A socket path is at most 107 bytes; a runtime folder Qt finds unfit sends it to TMPDIR.
            const QString runtime = m_home->path(holder == LongRuntimePath ? QString(100, QLatin1Char('r')) : "run");
            QVERIFY(QDir().mkpath(runtime));
            QFile::setPermissions(runtime,
                holder == ReadOnlyRuntime ? QFile::ReadOwner | QFile::ExeOwner
                                          : QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime);
            env.insert(QStringLiteral("TMPDIR"), runtime);
            startHelper(owner, {QStringLiteral("single")}, env);
            QCOMPARE(lineOf(owner, QStringLiteral("waiting")), QStringLiteral("waiting"));
            if (holder == Stopped)
                QCOMPARE(::kill(pid_t(owner.processId()), SIGSTOP), 0);
            pid = owner.processId();
            host = QSysInfo::machineHostName();
        }
        QFile lock(lockFile());
        QVERIFY(lock.open(QIODevice::ReadOnly));
        QVERIFY(lock.setFileTime(QDateTime(QDate(2026, 11, 20), QTime(9, 15)), QFileDevice::FileModificationTime));
        const QByteArray lockBefore = lock.readAll();

        QProcess later;
        startHelper(later, {QStringLiteral("later"), answer}, env);
        const QStringList dialog = lineOf(later, QStringLiteral("dialog ")).mid(7).split(QLatin1Char('|'));
        QCOMPARE(dialog.size(), 3);
        QCOMPARE(dialog[0],
            holder == OtherComputer ? "Tallyvane is open on the computer \"other-host\", or was not closed there."
                                    : "Tallyvane is already running here, but it does not answer.");
        const QString held = QStringLiteral("The data folder \"%1\" has been in use by process %2 on \"%3\" since "
                                            "2026-11-20 09:15.")
                                 .arg(m_home->dataFolder())
                                 .arg(pid)
                                 .arg(host);
        QVERIFY2(dialog[1].startsWith(held), qPrintable(dialog[1]));
        QCOMPARE(dialog[2], QStringLiteral("Open Anyway,Quit"));
        if (answer == QLatin1String("Open Anyway")) {
            QCOMPARE(lineOf(later, QStringLiteral("lock ")),
                QStringLiteral("lock %1 %2").arg(later.processId()).arg(QSysInfo::machineHostName()));
            QCOMPARE(lineOf(later, QStringLiteral("closed")), QStringLiteral("closed"));
        }
        QVERIFY(later.waitForFinished(10000));
        QCOMPARE(later.readAllStandardOutput(), QByteArray());
        QCOMPARE(later.exitCode(), answer == QLatin1String("Quit") ? 5 : 0);
        if (answer == QLatin1String("Quit"))
            QCOMPARE(TestHome::read(lockFile()), lockBefore);
        if (owner.state() != QProcess::NotRunning) {
            owner.kill();
            QVERIFY(owner.waitForFinished(10000));
        }
    }
};

QTEST_MAIN(TestRunningCopy)
#include "tst_runningcopy.moc"
