#include "listbox.h"
#include "programfixture.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QThread>

// The program killed at any moment, and its files meeting a full disk or a read-only folder: what
// was committed stays, and every file it owns is either the old one or the new one, whole. The
// program runs as crash_helper, in a process of its own that the test can kill.
class TestDurability : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestHome> m_home;

    // Names to records; customer names start with "c", tasks with "t".
    using Rows = QHash<QString, QString>;

    static QStringList run(const QStringList& args)
    {
        QProcess p;
        startHelper(p, args);
        p.waitForFinished(60000);
        return QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    }
    static QString name(const QString& record) { return record.section(QLatin1Char('|'), 0, 0); }

    // What the next start finds must be what was reported committed. A change or deletion under way
    // when the process died may have happened or not, or for a change be half done: the row's
    // delete is committed before its new copy is inserted.
    static void compare(const Rows& expected, const Rows& found, const QStringList& underWay)
    {
        for (auto it = expected.begin(); it != expected.end(); ++it) {
            if (!underWay.contains(it.key()))
                QCOMPARE(found.value(it.key()), it.value());
        }
        for (const QString& n : found.keys())
            QVERIFY2(expected.contains(n) || underWay.contains(n), qPrintable(n));
    }

private slots:
    void init() { m_home = std::make_unique<TestHome>(); }
    void cleanup() { m_home.reset(); }

    void killedAtRandomMomentsKeepsEveryCommittedRow()
    {
        const int kKills = 200;
        const quint32 seed = QRandomGenerator::global()->generate();
        qInfo("seed %u", seed);
        QRandomGenerator rng(seed);
        Rows expected, found;
        QStringList underWay;
        // Follows one run's report: the start's rows are checked when it is ready, then the changes
        // reported done are expected from then on.
        auto follow = [&](const QString& l) {
            const QString op = l.mid(1, 1), rest = l.mid(3);
            const QString before = rest.section(QLatin1Char(' '), 0, 0), after = rest.section(QLatin1Char(' '), 1);
            if (l.startsWith(QLatin1String("integrity ")) || l.startsWith(QLatin1String("messages "))) {
                QVERIFY2(l == QLatin1String("integrity ok") || l == QLatin1String("messages "), qPrintable(l));
            } else if (op == QLatin1String("=")) {
                found[name(rest)] = rest;
            } else if (l == QLatin1String("ready")) {
                compare(expected, found, underWay);
                expected = std::exchange(found, {});
                underWay.clear();
            } else if (l.startsWith(QLatin1Char('>'))) {
                underWay = after.split(QLatin1Char(' '));
            } else if (!op.isEmpty() && QStringLiteral("+~-").contains(op)) {
                expected.remove(before);
                if (op != QLatin1String("-"))
                    expected[name(op == QLatin1String("+") ? rest : after)] = op == QLatin1String("+") ? rest : after;
                underWay.clear();
            }
        };
        // One start more than kills: the last one only checks what the kills left.
        for (int kill = 0; kill <= kKills; ++kill) {
            QProcess p;
            startHelper(p, {QStringLiteral("work"), QString::number(seed % 100000 * 1000 + quint32(kill))});
            // Mostly the process dies while it works; now and then while it starts.
            if (kill == 0 || kill == kKills || rng.bounded(8) != 0) {
                for (QString l; l != QLatin1String("ready");) {
                    l = lineOf(p);
                    QVERIFY2(l != QLatin1String("<ended>"), "the program did not start");
                    follow(l);
                }
            }
            if (kill < kKills)
                QThread::msleep(rng.bounded(40));
            p.kill();
            QVERIFY(p.waitForFinished(10000));
            for (const QString& l : QString::fromUtf8(p.readAllStandardOutput()).split(QLatin1Char('\n')))
                follow(l);
            if (QTest::currentTestFailed())
                return;
        }
        QCOMPARE(Sql(m_home->database()).query("PRAGMA integrity_check"), QStringLiteral("ok"));
    }

    // The preferences are written whole or not at all: killed halfway, the old file stays.
    void preferencesKilledWhileWrittenStayAsTheyWere()
    {
        QStringList old(41, QStringLiteral("kept"));
        m_home->writePrefs(old);
        QProcess p;
        startHelper(p, {QStringLiteral("prefs"), QStringLiteral("pause")});
        for (QString l; l != QLatin1String("writing");)
            QVERIFY((l = lineOf(p)) != QLatin1String("<ended>"));
        p.kill();
        QVERIFY(p.waitForFinished(10000));
        QCOMPARE(m_home->prefsLines(), old);
        QCOMPARE(run({QStringLiteral("prefs"), QStringLiteral("go")}).last(), QStringLiteral("closed"));
        QCOMPARE(m_home->prefsLines().size(), 41);
        QCOMPARE(m_home->prefsLines().at(1), QStringLiteral("changed"));
    }

    // A copy that cannot be finished leaves the older backup in its place, and nothing beside it.
    void failedBackupKeepsTheOlderCopy()
    {
        const QString old = m_home->path(QStringLiteral("saved/Copy.rbd"));
        TestHome::write(old, "the older backup");
        QCOMPARE(run({"backup", old}), QStringList({"open", "messages ", "messages Backup Ok", "closed"}));
        QCOMPARE(TestHome::read(old), QByteArray("the older backup"));
        QCOMPARE(QDir(QFileInfo(old).path()).entryList(QDir::Files | QDir::Hidden), QStringList({"Copy.rbd"}));
    }

    // A database that cannot grow, or whose folder takes no new file: the row is refused with
    // "DB Error", the program goes on, and every committed row is there at the next start.
    void refusedDatabaseWrites_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("file-size limit") << "fsize";
        QTest::newRow("read-only folder") << "readonly";
    }
    void refusedDatabaseWrites()
    {
        QFETCH(QString, mode);
        QCOMPARE(
            run({mode}), QStringList({"open", "messages ", "messages ", "messages DB Error", "messages ", "closed"}));
        Program program;
        QVERIFY(program.start());
        QCOMPARE(DialogHooks::takeMessages(), QStringList());
        QCOMPARE(program.window()->Contatos->ListCount(), 2);
        Sql sql(m_home->database());
        QCOMPARE(sql.query("SELECT Nome FROM Contatos ORDER BY id"), QStringLiteral("before\nafter"));
        QCOMPARE(sql.query("PRAGMA integrity_check"), QStringLiteral("ok"));
    }
};

QTEST_MAIN(TestDurability)
#include "tst_durability.moc"
