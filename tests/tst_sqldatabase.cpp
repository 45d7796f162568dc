#include "sqldatabase.h"
#include "testhome.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

class TestSQLDatabase : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    std::unique_ptr<SQLDatabase> m_db;

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_path = m_dir.filePath(QStringLiteral("t%1.rbd").arg(QRandomGenerator::global()->generate()));
        m_db = std::make_unique<SQLDatabase>();
        m_db->DatabaseFile = m_path;
        QVERIFY(m_db->CreateDatabaseFile());
        m_db->SQLExecute(QStringLiteral("CREATE TABLE Tarefas ( id INTEGER PRIMARY KEY, Projeto VarChar, datainicio "
                                        "VarChar, Ok Boolean )"));
        QVERIFY(!m_db->Error());
        m_db->Commit();
        QVERIFY(m_db->Connect());
    }
    void cleanup() { m_db.reset(); }

    void changesStayInvisibleUntilCommit()
    {
        DatabaseRecord r;
        r.Column(QStringLiteral("Projeto"), QStringLiteral("A"));
        m_db->InsertRecord(QStringLiteral("Tarefas"), r);
        QVERIFY(!m_db->Error());
        // Other readers go on seeing the last committed state.
        QCOMPARE(Sql(m_path).query("SELECT count(*) FROM Tarefas"), QStringLiteral("0"));
        m_db->Commit();
        QVERIFY(!m_db->Error());
        QCOMPARE(Sql(m_path).query("SELECT count(*) FROM Tarefas"), QStringLiteral("1"));
        QCOMPARE(Sql(m_path).query("PRAGMA journal_mode"), QStringLiteral("delete"));
    }

    void insertNamesColumnsCaseInsensitivelyAndNumbersIds()
    {
        for (int i = 0; i < 3; ++i) {
            DatabaseRecord r;
            r.Column(QStringLiteral("DataInicio"), QStringLiteral("x'; DROP TABLE Tarefas; --"));
            r.BooleanColumn(QStringLiteral("ok"), i == 1);
            m_db->InsertRecord(QStringLiteral("tarefas"), r);
            QVERIFY(!m_db->Error());
        }
        m_db->Commit();
        auto rs = m_db->SQLSelect(QStringLiteral("SELECT * from Tarefas ORDER BY id"));
        QVERIFY(rs);
        QCOMPARE(rs->FieldCount(), 4);
        QStringList ids, oks;
        for (; !rs->Eof(); rs->MoveNext()) {
            ids << rs->IdxField(1).StringValue();
            QCOMPARE(rs->IdxField(2).StringValue(), QString()); // NULL reads as ""
            QCOMPARE(rs->IdxField(3).StringValue(), QStringLiteral("x'; DROP TABLE Tarefas; --"));
            oks << (rs->IdxField(4).BooleanValue() ? QStringLiteral("T") : QStringLiteral("F"));
        }
        QCOMPARE(ids, QStringList({"1", "2", "3"}));
        QCOMPARE(oks, QStringList({"F", "T", "F"}));
    }

    void failuresSetErrorAndSucceedingCallsClearIt_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<bool>("error");
        QTest::newRow("unknown table") << "DELETE FROM Nowhere where id='1'" << true;
        QTest::newRow("vacuum of a missing schema") << "VACUUM Clientes" << true;
        QTest::newRow("quoted id") << "DELETE FROM Tarefas where id='1'" << false;
    }
    void failuresSetErrorAndSucceedingCallsClearIt()
    {
        QFETCH(QString, sql);
        QFETCH(bool, error);
        m_db->SQLExecute(sql);
        QCOMPARE(m_db->Error(), error);
        QCOMPARE(m_db->SQLSelect(sql) == nullptr, error);
        QCOMPARE(m_db->Error(), error);
    }

    // Creating never writes over a file, and connecting never makes one.
    void createAndConnectLeaveFilesAlone()
    {
        SQLDatabase other;
        other.DatabaseFile = m_path;
        QVERIFY(!other.CreateDatabaseFile());
        SQLDatabase db;
        db.DatabaseFile = m_dir.filePath(QStringLiteral("missing"));
        QVERIFY(!db.Connect());
        QVERIFY(db.Error());
        db.SQLExecute(QStringLiteral("CREATE TABLE x (a)"));
        QVERIFY(db.Error());
        QVERIFY(!QFile::exists(db.DatabaseFile));
    }
};

QTEST_GUILESS_MAIN(TestSQLDatabase)
#include "tst_sqldatabase.moc"
