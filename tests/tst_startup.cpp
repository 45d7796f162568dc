#include "canvas.h"
#include "listbox.h"
#include "programfixture.h"

#include <QHeaderView>
#include <QLabel>

// Start-up, shutdown and the preferences file, on a real window and database file.
class TestStartup : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestHome> m_home;

    static QStringList headings(Listbox* list)
    {
        QStringList out;
        for (int c = 0; c < list->ColumnCount(); ++c)
            out << list->Heading(c);
        return out;
    }

private slots:
    void init() { m_home = std::make_unique<TestHome>(); }
    void cleanup() { m_home.reset(); }

    void firstRunCreatesTheStoreAndOpensOnTheTaskPage_data()
    {
        QTest::addColumn<bool>("folderThere");
        QTest::newRow("no data folder") << false;
        QTest::newRow("data folder without the file") << true;
    }
    void firstRunCreatesTheStoreAndOpensOnTheTaskPage()
    {
        QFETCH(bool, folderThere);
        const QString marker = m_home->dataFolder() + QStringLiteral("/keep.txt");
        if (folderThere) {
            QVERIFY(QDir().mkpath(m_home->dataFolder()));
            QFile(marker).open(QIODevice::WriteOnly);
        }
        Program program;
        QVERIFY(program.start());
        QCOMPARE(QFile::exists(marker), folderThere);
        Sql sql(m_home->database());
        QCOMPARE(sql.query("SELECT name FROM sqlite_master WHERE type='table' ORDER BY rowid"),
            QStringLiteral("Projetos\nTarefas\nContatos\nLabels\nNotas\nExtra"));

        Principal* w = program.window();
        QCOMPARE(w->pagePanel()->Value(), 1);
        QCOMPARE(w->focusWidget(), w->Projetos);
        QVERIFY(w->StaticText2->isVisibleTo(w));
        QCOMPARE(headings(w->Projetos),
            QStringList({"", "Project", "Task", "Start Date", "End Date", "Owner", "Comments", "Label", "Ok"}));
        QCOMPARE(headings(w->Contatos), QStringList({"", "Name", "Address", "Version", "Date", "Project", "Email"}));
        QCOMPARE(DialogHooks::takeMessages(), QStringList());
        QCOMPARE(w->Projetos->WidthActual(0), 0); // the id column, which no line keeps
        QVERIFY(!QFile::exists(m_home->prefs()));
        program.quit();
        // The 41 lines a quit writes from the window and its columns: the default place and widths.
        QCOMPARE(m_home->prefsLines(),
            QStringList({"PintaFundo =0", "", "", "", "", "", "463", "10", "110", "770", "", "100", "160", "65", "65",
                "95", "130", "60", "40", "", "170", "100", "50", "75", "150", "165", "", "Project", "Task",
                "Start Date", "End Date", "Owner", "Comments", "", "", "Name", "Address", "Version", "Date", "Project",
                "Email"}));
        QVERIFY(QuitRequested());
        QCOMPARE(QuitStatus(), 0);
    }

    void unopenableDatabaseEndsTheProgramUntouched_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("folder");
        QTest::addColumn<bool>("inDataFolder"); // false: in the data folder's own place
        QTest::addColumn<QString>("message");
        QTest::newRow("garbage") << QByteArray("\x01\x02 definitely not SQLite \xff\xfe").repeated(300) << false << true
                                 << "DB Error";
        QTest::newRow("folder in its place") << QByteArray() << true << true << "DB Error";
        QTest::newRow("empty header page")
            << QByteArray(4096, '\0').replace(0, 16, "SQLite format 3\0") << false << true << "DB Error";
        // The folder cannot be made, so the file has no path and cannot be created.
        QTest::newRow("file in the data folder's place") << QByteArray("notes") << false << false << "Error: \n\n";
    }
    void unopenableDatabaseEndsTheProgramUntouched()
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, folder);
        QFETCH(bool, inDataFolder);
        QFETCH(QString, message);
        const QString place = inDataFolder ? m_home->database() : m_home->dataFolder();
        QVERIFY(QDir().mkpath(QFileInfo(place).path()));
        if (folder)
            QVERIFY(QDir().mkpath(place));
        else
            TestHome::write(place, content);
        Program program;
        QVERIFY(!program.start());
        QCOMPARE(DialogHooks::takeMessages(), QStringList({message}));
        QVERIFY(QuitRequested());
        QCOMPARE(QuitStatus(), 0);
        QVERIFY(!program.window()->isVisible());
        if (!folder)
            QCOMPARE(TestHome::read(place), content);
        program.quit();
        QVERIFY(!QFile::exists(m_home->prefs())); // a window that never opened writes nothing
    }

    void roundTripKeepsEveryValueAndLiveGeometry()
    {
        {
            Program program;
            QVERIFY(program.start());
            App* app = program.app();
            app->PintaFundo = true;
            app->MailAssunto = QStringLiteral("Nova versão 2.0 — 50% off");
            app->Mailmail = QStringLiteral("login@example.com");
            app->MailMensagem = QStringLiteral("<b>Olá</b> \t tab");
            app->MailNome = QStringLiteral("seller@example.com");
            app->MailServidor = QStringLiteral("smtp.example.com");
            app->MailSenha = QStringLiteral("never-on-disk-42");
            app->ColProjeto3 = QStringLiteral("Início");
            app->ColCliente2 = QStringLiteral("Serial");
            Principal* w = program.window();
            w->setGeometry(33, 44, 901, 602);
            // As a drag of the column borders would leave them.
            w->Projetos->horizontalHeader()->resizeSection(3, 123);
            w->Contatos->horizontalHeader()->resizeSection(6, 77);
        }
        QStringList lines = m_home->prefsLines();
        QCOMPARE(lines.mid(0, 10),
            QStringList({"PintaFundo =1", "Nova versão 2.0 — 50% off", "login@example.com", "<b>Olá</b> \t tab",
                "seller@example.com", "smtp.example.com", "602", "33", "44", "901"}));
        QCOMPARE(QStringList({lines.at(13), lines.at(25), lines.at(29), lines.at(36)}),
            QStringList({"123", "77", "Início", "Serial"}));

        // A lost database file is made anew, and the preferences still hold.
        QVERIFY(QFile::remove(m_home->database()));
        Program program;
        QVERIFY(program.start());
        QCOMPARE(Sql(m_home->database())
                     .query("SELECT (SELECT count(*) FROM sqlite_master WHERE type='table'), Label1 FROM Labels"),
            QStringLiteral("6|Important"));
        App* app = program.app();
        QCOMPARE(QStringList({app->MailAssunto, app->MailMensagem, app->MailServidor, app->MailSenha}),
            QStringList({"Nova versão 2.0 — 50% off", "<b>Olá</b> \t tab", "smtp.example.com", ""}));
        Principal* w = program.window();
        QCOMPARE(QRect(w->Left(), w->Top(), w->Width(), w->Height()), QRect(33, 44, 901, 602));
        QCOMPARE(QList<int>({w->Projetos->WidthActual(3), w->Contatos->WidthActual(6)}), QList<int>({123, 77}));
        QCOMPARE(QStringList({w->Projetos->Heading(3), w->Contatos->Heading(2)}), QStringList({"Início", "Serial"}));
        program.quit();

        // The password typed in a run reaches neither file.
        for (const QString& path : {m_home->prefs(), m_home->database()})
            QVERIFY(!TestHome::read(path).contains("never-on-disk-42"));
    }

    void multiLineMessageShiftsEveryLaterLine()
    {
        {
            Program program;
            QVERIFY(program.start());
            program.app()->MailMensagem = QStringLiteral("Hello\nsecond line");
            program.app()->MailNome = QStringLiteral("me@example.com");
            program.app()->MailServidor = QStringLiteral("mail.example.com");
        }
        QCOMPARE(m_home->prefsLines().size(), 42);
        Program program;
        QVERIFY(program.start());
        App* app = program.app();
        QCOMPARE(QStringList({app->MailMensagem, app->MailNome, app->MailServidor, app->ColCliente6}),
            QStringList({"Hello", "second line", "me@example.com", "Project"}));
        // "mail.example.com", read as the height, has no number.
        QCOMPARE(QList<int>({app->janela_height, app->janela_left}), QList<int>({0, 463}));
    }

    // Only the last character of the first line sets the painting.
    void damagedFilesReadWithoutFallback_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<bool>("paint");
        QTest::addColumn<QList<int>>("geometry"); // height, left, top, width as read
        QTest::addColumn<QString>("width1");
        QTest::newRow("empty file") << QStringList() << false << QList<int>{0, 0, 0, 0} << "";
        QTest::newRow("short file, any text ending in 1")
            << QStringList({"x1", "s", "l"}) << true << QList<int>{0, 0, 0, 0} << "";
        QTest::newRow("garbage numbers, trailing blank")
            << QStringList({"PintaFundo =1 ", "", "", "", "", "", "12abc", "  -7", "1e3", "99999999999999", "", "wide"})
            << false << QList<int>{12, -7, 1000, 2147483647} << "wide";
        QTest::newRow("very long lines") << QStringList(
            {QString(200000, 'x'), "", "", "", "", "", QString(100000, '9'), "", "", "", "", QString(50000, 'w')})
                                         << false << QList<int>{2147483647, 0, 0, 0} << QString(50000, 'w');
    }
    void damagedFilesReadWithoutFallback()
    {
        QFETCH(QStringList, lines);
        QFETCH(bool, paint);
        QFETCH(QList<int>, geometry);
        QFETCH(QString, width1);
        m_home->writePrefs(lines);
        Program program;
        QVERIFY(program.start());
        App* app = program.app();
        QCOMPARE(app->PintaFundo, paint);
        QCOMPARE(QList<int>({app->janela_height, app->janela_left, app->janela_top, app->janela_width}), geometry);
        QCOMPARE(app->ProjetoColunaSize1, width1);
        QCOMPARE(app->ColProjeto1, QString());
        QCOMPARE(program.window()->Projetos->Heading(1), QString());
        QVERIFY(program.window()->isVisible());
    }

    void unwritablePreferencesReachTheLastResortHandler()
    {
        Program program;
        QVERIFY(program.start());
        // A folder where the file should go cannot be opened for writing, even by root.
        QVERIFY(QDir().mkpath(m_home->prefs()));
        program.window()->close();
        QCOMPARE(DialogHooks::takeMessages(), QStringList{unhandled("NilObjectException")});
        QVERIFY(QuitRequested());
        // The database was closed before: no journal is left, and the file is whole.
        QVERIFY(!QFile::exists(m_home->database() + QStringLiteral("-journal")));
        QCOMPARE(Sql(m_home->database()).query("PRAGMA integrity_check"), QStringLiteral("ok"));
    }

    void mainWindowLayout_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QRect>("where"); // in the window at its design size
        // Once the window grows by 200 by 100. Invalid: a title, grown from its place to fit its text, which stays.
        QTest::addColumn<QRect>("grown");
        QTest::newRow("customer list") << "Contatos" << QRect(18, 35, 757, 430) << QRect(18, 35, 957, 530);
        QTest::newRow("task list") << "Projetos" << QRect(18, 35, 757, 430) << QRect(18, 35, 957, 530);
        QTest::newRow("customers' Add") << "bt_inserecontato" << QRect(18, 480, 54, 20) << QRect(18, 580, 54, 20);
        QTest::newRow("tasks' Add") << "bt_insereprojeto" << QRect(18, 480, 54, 20) << QRect(18, 580, 54, 20);
        QTest::newRow("Customers title") << "StaticText1" << QRect(17, 9, 100, 20) << QRect();
        QTest::newRow("Projects title") << "StaticText2" << QRect(17, 8, 100, 20) << QRect();
    }
    void mainWindowLayout()
    {
        QFETCH(QString, control);
        QFETCH(QRect, where);
        QFETCH(QRect, grown);
        Program program;
        QVERIFY(program.start());
        Principal* w = program.window();
        QWidget* canvas = w->centralWidget();
        w->resize(w->size() + QSize(796, 529) - canvas->size());
        QCoreApplication::processEvents();
        QCOMPARE(canvas->size(), QSize(796, 529));
        const QWidget* c = w->findChild<QWidget*>(control);
        QVERIFY(c);
        // A hidden page is laid out when it shows.
        w->pagePanel()->setValue(w->pagePanel()->page(0)->isAncestorOf(c) ? 0 : 1);
        QCoreApplication::processEvents();
        const QRect at(c->mapTo(canvas, QPoint(0, 0)), c->size());
        QCOMPARE(grown.isValid() ? at : QRect(at.topLeft(), where.size()), where);
        QVERIFY(at.width() >= where.width() && at.height() >= where.height());
        w->resize(w->size() + QSize(200, 100));
        QCoreApplication::processEvents();
        QCOMPARE(QRect(c->mapTo(canvas, QPoint(0, 0)), c->size()), grown.isValid() ? grown : at);
    }
};

QTEST_MAIN(TestStartup)
#include "tst_startup.moc"
