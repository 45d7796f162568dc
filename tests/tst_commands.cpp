#include "appcommands.h"
#include "canvas.h"
#include "desktop.h"
#include "programfixture.h"
#include "wlabels.h"
#include "wpreferencias.h"
#include "wsobre.h"

#include <QAction>
#include <QCheckBox>
#include <QClipboard>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QToolTip>

using namespace Ui;

// The menu bar, the toolbar and the windows they open, on the real main window and database file.
class TestCommands : public ProgramTest
{
    Q_OBJECT

    QList<QUrl> m_opened;

    using ProgramTest::q;
    QString q(const QString& db, const QString& s) const { return Sql(db).query(s); }

    QAction* item(const char* name) const { return w->menuBar()->findChild<QAction*>(QLatin1String(name)); }
    QToolButton* button(const char* name) const
    {
        return w->findChild<QToolBar*>(QStringLiteral("Toolbar11"))->findChild<QToolButton*>(QLatin1String(name));
    }
    // The menu item by its shortcut when it has one, typed in the given window, else chosen from its menu.
    void choose(const char* name, QWidget* in = nullptr)
    {
        QAction* a = item(name);
        QVERIFY(a);
        if (!a->shortcut().isEmpty()) {
            const QKeyCombination key = a->shortcut()[0];
            QTest::keyClick(in ? in : w, key.key(), key.keyboardModifiers());
        } else {
            a->trigger();
        }
    }
    void press(const char* how)
    {
        if (qstrncmp(how, "tb_", 3) == 0)
            QTest::mouseClick(button(how), Qt::LeftButton);
        else
            choose(how);
    }
    // A customer and a task put in the file behind the lists' backs.
    void behind() const
    {
        Sql(m_home->database()).exec("INSERT INTO Contatos (Nome) VALUES ('Behind')");
        Sql(m_home->database()).exec("INSERT INTO Tarefas (Projeto, Ok) VALUES ('Behind', 0)");
    }
    void addCustomer(const QString& name)
    {
        choose("FilekNovoContato");
        type(w->Contatos, name, Qt::Key_Return);
    }

private slots:
    void init()
    {
        startProgram([] {
            ApplicationAddMenuHandlers();
            MakeDefaultView();
        });
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        m_opened.clear();
        setExternalOpener([this](const QUrl& url) { m_opened << url; });
    }
    void cleanup()
    {
        setExternalOpener({});
        endProgram();
        QCoreApplication::setApplicationVersion(QStringLiteral(TALLYVANE_VERSION));
    }

    void pageCommands_data()
    {
        QTest::addColumn<QByteArray>("how");
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("page"); // -1: the label editor
        QTest::newRow("View > Projects") << QByteArray("kVisualizarkProjetos") << 0 << 1;
        QTest::newRow("View > Customers") << QByteArray("kVisualizarkContatos") << 1 << 0;
        QTest::newRow("Projects button") << QByteArray("tb_projetos") << 0 << 1;
        QTest::newRow("Customers button") << QByteArray("tb_clientes") << 1 << 0;
        QTest::newRow("View > Labels") << QByteArray("kVisualizarkEtiquetas") << 1 << -1;
        QTest::newRow("Label button") << QByteArray("tb_label") << 1 << -1;
    }
    // Each brings its page forward, focused, with what the file holds now; the label commands return only once
    // the modal editor is gone, and leave the page as it was.
    void pageCommands()
    {
        QFETCH(QByteArray, how);
        QFETCH(int, from);
        QFETCH(int, page);
        w->pagePanel()->setValue(from);
        behind();
        QCOMPARE(w->Contatos->ListCount() + w->Projetos->ListCount(), 0);
        bool modal = false;
        if (page < 0) {
            QTimer::singleShot(0, this, [&modal] {
                wLabels* e = wLabels::Instance();
                modal = e->isVisible() && e->isModal();
                QTest::mouseClick(e->btCancela, Qt::LeftButton);
            });
        }
        press(how.constData());
        QCOMPARE(w->pagePanel()->Value(), page < 0 ? from : page);
        if (page < 0) {
            QVERIFY(modal);
            QVERIFY(!wLabels::Instance()->isVisible());
            return;
        }
        Listbox* list = page == 0 ? w->Contatos : w->Projetos;
        Listbox* other = page == 0 ? w->Projetos : w->Contatos;
        QCOMPARE(QApplication::focusWidget(), list);
        QCOMPARE(list->ListCount(), 1);
        QCOMPARE(list->Cell(0, 1), QStringLiteral("Behind"));
        QCOMPARE(other->ListCount(), 0); // only the page's own list reloads
    }

    void newRowCommands_data()
    {
        QTest::addColumn<QByteArray>("how");
        QTest::addColumn<int>("page");
        QTest::addColumn<bool>("inPreferences");
        QTest::newRow("New Project, Ctrl+P") << QByteArray("FilekNovoProjeto") << 1 << false;
        // The menu bar belongs to the application, so its keys work in the other windows too.
        QTest::newRow("Ctrl+N in Preferences") << QByteArray("FilekNovoContato") << 0 << true;
    }
    // From the other page: the page switches and a new row opens for typing, as Add does.
    void newRowCommands()
    {
        QFETCH(QByteArray, how);
        QFETCH(int, page);
        QFETCH(bool, inPreferences);
        w->pagePanel()->setValue(1 - page);
        QWidget* prefs = nullptr;
        if (inPreferences) {
            choose("MenuPrefs");
            prefs = wPreferencias::Instance();
            prefs->activateWindow();
            QTRY_COMPARE(QApplication::activeWindow(), prefs);
        }
        choose(how.constData(), prefs);
        QCOMPARE(w->pagePanel()->Value(), page);
        Listbox* list = page == 0 ? w->Contatos : w->Projetos;
        QCOMPARE(list->ListCount(), 1);
        QVERIFY(page == 0 ? w->modo_insere : w->modo_insere2);
        QCOMPARE(w->focusWidget(), editor(list));
        type(list, QStringLiteral("Typed"), Qt::Key_Return);
        QCOMPARE(q(page == 0 ? "SELECT Nome FROM Contatos" : "SELECT Projeto FROM Tarefas"), QStringLiteral("Typed"));
    }

    void exitClosesTheWindowAndRunsTheShutdown()
    {
        // The bars stand above the pages, which keep the stored height.
        QCOMPARE(w->centralWidget()->height(), m_program->app()->janela_height);
        choose("FileQuit");
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!Principal::Exists());
        QVERIFY(QFile::exists(m_home->prefs()));
    }

    // The Edit items work on the cell being typed in.
    void editItemsActOnTheOpenCell()
    {
        choose("FilekNovoContato");
        QLineEdit* e = editor(w->Contatos);
        QVERIFY(e);
        QTest::keyClicks(e, QStringLiteral("Hello"));
        item("EditSelectAll")->trigger();
        QCOMPARE(e->selectedText(), QStringLiteral("Hello"));
        item("EditCut")->trigger();
        QCOMPARE(e->text(), QString());
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("Hello"));
        item("EditPaste")->trigger();
        item("EditPaste")->trigger();
        QCOMPARE(e->text(), QStringLiteral("HelloHello"));
        item("EditUndo")->trigger();
        QCOMPARE(e->text(), QStringLiteral("Hello"));
        e->setSelection(1, 3);
        item("EditCopy")->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("ell"));
        item("EditClear")->trigger();
        QCOMPARE(e->text(), QStringLiteral("Ho"));
        QCOMPARE(w->Contatos->Cell(0, 1), QStringLiteral("Ho"));
        // Without a text field in focus they are grey, and their keys go to the focused control.
        QTest::keyClick(e, Qt::Key_Escape);
        w->Projetos->SetFocus();
        QVERIFY(!item("EditCut")->isEnabled());
        QVERIFY(item("EditSelectAll")->isEnabled());
    }

    // An open editor greys nothing.
    void toolbarStandsWhole()
    {
        choose("FilekNovoContato");
        auto* bar = w->findChild<QToolBar*>(QStringLiteral("Toolbar11"));
        QVERIFY(bar && bar->isVisible());
        QCOMPARE(w->toolBarArea(bar), Qt::TopToolBarArea);
        QStringList names;
        for (QAction* a : bar->actions()) {
            names << a->objectName();
            QVERIFY(a->isEnabled());
            QToolButton* b = button(a->objectName().toLatin1().constData());
            QVERIFY(b->isVisible());
            // No tool tip: the help tags are empty.
            QHelpEvent tip(QEvent::ToolTip, QPoint(4, 4), b->mapToGlobal(QPoint(4, 4)));
            QApplication::sendEvent(b, &tip);
            QVERIFY(!QToolTip::isVisible());
            // Each icon carries its mask: see-through somewhere, solid somewhere else.
            const QImage img = a->icon().pixmap(32, 32).toImage().convertToFormat(QImage::Format_ARGB32);
            int clear = 0, solid = 0;
            for (int i = 0; i < 32 * 32; ++i) {
                clear += qAlpha(img.pixel(i % 32, i / 32)) == 0;
                solid += qAlpha(img.pixel(i % 32, i / 32)) == 255;
            }
            QVERIFY2(clear > 50 && solid > 200, qPrintable(a->objectName()));
            // On a 2x screen each button shows a 64-pixel drawing of its own, not its small picture enlarged.
            QCOMPARE(a->icon().pixmap(QSize(32, 32), 2.0).size(), QSize(64, 64));
        }
        QCOMPARE(names, QStringList({"tb_projetos", "tb_clientes", "tb_label", "tb_mail", "tb_backup"}));
    }

    // ---- Backup

    // The copy replaces an older file, opens as a complete database, and the program goes on with its own
    // file. A copy to a new file is the real dialog's test below.
    void backup()
    {
        addCustomer(QStringLiteral("Ann"));
        addCustomer(QStringLiteral("Bob"));
        w->pagePanel()->setValue(1);
        choose("FilekNovoProjeto");
        type(w->Projetos, QStringLiteral("Ledger"), Qt::Key_Return);
        const QString copy = m_home->path() + QStringLiteral("/saved/Copy.rbd");
        TestHome::write(copy, QByteArray(100000, 'x'));
        DialogHooks::pushAnswer(Dialog::SaveFolderItem, copy);
        choose("FileBackup");
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"Backup Ok"}));
        QCOMPARE(q(copy, "PRAGMA integrity_check"), QStringLiteral("ok"));
        QCOMPARE(q(copy, "SELECT Nome FROM Contatos ORDER BY Nome"), QStringLiteral("Ann\nBob"));
        QCOMPARE(q(copy, "SELECT Projeto FROM Tarefas"), QStringLiteral("Ledger"));
        QCOMPARE(q(copy, "SELECT count(*) FROM Labels"), QStringLiteral("1"));
        QCOMPARE(QFileInfo(copy).size(), QFileInfo(m_home->database()).size());
        addCustomer(QStringLiteral("Cid"));
        QCOMPARE(q("SELECT count(*) FROM Contatos"), QStringLiteral("3"));
        QCOMPARE(q(copy, "SELECT count(*) FROM Contatos"), QStringLiteral("2"));
    }

    void backupWithoutCopy_data()
    {
        QTest::addColumn<bool>("folderGone");
        QTest::addColumn<QString>("answer"); // empty: Cancel
        QTest::addColumn<QStringList>("messages");
        QTest::newRow("cancelled") << false << QString() << QStringList();
        // The path is rebuilt by name: without its folder the file is nil, and the copy on it reaches the
        // last-resort handler instead of "Backup Ok".
        QTest::newRow("data folder gone") << true << "Copy.rbd" << QStringList{unhandled("NilObjectException")};
    }
    void backupWithoutCopy()
    {
        QFETCH(bool, folderGone);
        QFETCH(QString, answer);
        QFETCH(QStringList, messages);
        if (folderGone)
            QVERIFY(QDir(m_home->dataFolder()).removeRecursively());
        DialogHooks::pushAnswer(Dialog::SaveFolderItem, answer.isEmpty() ? answer : m_home->path() + '/' + answer);
        QTest::mouseClick(button("tb_backup"), Qt::LeftButton);
        QVERIFY(!DialogHooks::hasAnswer(Dialog::SaveFolderItem));
        QCOMPARE(DialogHooks::takeMessages(), messages);
        QCOMPARE(QDir(m_home->path()).entryList(QDir::Files), QStringList());
        QCOMPARE(QDir(m_home->dataFolder()).entryList(QDir::Files),
            folderGone ? QStringList() : QStringList({"Tally Vane.rbd"}));
    }

    // The real dialog: it opens in Documents on the database's own name, and the typed name is used.
    void saveDialogOffersTheDatabaseName()
    {
        QString offered;
        DialogHooks::showReal(Dialog::SaveFolderItem);
        QTimer::singleShot(0, this, [&offered, this] {
            QFileDialog* d = nullptr;
            QTRY_VERIFY((d = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())));
            auto* name = d->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            QVERIFY(name);
            offered = QDir(d->directory()).filePath(name->text());
            name->setText(m_home->path() + QStringLiteral("/Typed.rbd"));
            QTest::keyClick(name, Qt::Key_Return);
        });
        choose("FileBackup");
        QCOMPARE(offered, m_home->path() + QStringLiteral("/Documents/Tally Vane.rbd"));
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"Backup Ok"}));
        QCOMPARE(q(m_home->path() + QStringLiteral("/Typed.rbd"), "PRAGMA integrity_check"), QStringLiteral("ok"));
    }

    // ---- Preferences

    void preferencesOkSetsHeadingsAtOnceAndTheFileAtQuit()
    {
        w->pagePanel()->setValue(0);
        choose("MenuPrefs");
        wPreferencias* p = wPreferencias::Instance();
        QVERIFY(p->isVisible() && !p->isModal());
        // A document window of its own, not one kept above the main window.
        QCOMPARE(p->windowType(), Qt::Window);
        QVERIFY(p->windowFlags().testFlag(Qt::WindowMinimizeButtonHint) && !p->parentWidget());
        QCOMPARE(p->tColCliente1->text(), w->Contatos->Heading(1));
        behind();
        p->tColCliente1->setText(QStringLiteral("Company"));
        p->tColProjeto6->clear();
        p->eServidor->setText(QStringLiteral("smtp.example.com"));
        QTest::mouseClick(p->btok, Qt::LeftButton);
        QVERIFY(!p->isVisible());
        QCOMPARE(QStringList({w->Contatos->Heading(1), w->Projetos->Heading(6), w->Projetos->Heading(7)}),
            QStringList({"Company", "", "Label"}));
        QCOMPARE(m_program->app()->MailServidor, QStringLiteral("smtp.example.com"));
        // The customers stay in front as they were; only the tasks reload.
        QCOMPARE(w->pagePanel()->Value(), 0);
        QCOMPARE(QList<int>({w->Contatos->ListCount(), w->Projetos->ListCount()}), QList<int>({0, 1}));
        QVERIFY(!m_home->prefsLines().contains(QStringLiteral("Company")));
        m_program->quit();
        QVERIFY(m_home->prefsLines().contains(QStringLiteral("Company")));
    }

    void preferencesLeave_data()
    {
        QTest::addColumn<int>("key"); // 0: the Cancel button
        QTest::addColumn<bool>("applied");
        QTest::newRow("Return presses Ok") << int(Qt::Key_Return) << true;
        QTest::newRow("Escape presses Cancel") << int(Qt::Key_Escape) << false;
        QTest::newRow("Cancel") << 0 << false;
    }
    // The switch acts as it changes; Cancel hides the window, which keeps what was typed; the close box ends it.
    void preferencesLeave()
    {
        QFETCH(int, key);
        QFETCH(bool, applied);
        choose("MenuPrefs");
        wPreferencias* p = wPreferencias::Instance();
        p->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(p));
        QTest::mouseClick(p->CoresFundo, Qt::LeftButton);
        QVERIFY(m_program->app()->PintaFundo);
        p->TabPanel1->setCurrentIndex(1);
        p->eAssunto->setFocus();
        QTest::keyClicks(p->eAssunto, QStringLiteral("News"));
        if (key)
            QTest::keyClick(p->eAssunto, Qt::Key(key));
        else
            QTest::mouseClick(p->btCancela, Qt::LeftButton);
        QVERIFY(!p->isVisible() && m_program->app()->PintaFundo);
        QCOMPARE(m_program->app()->MailAssunto, applied ? QStringLiteral("News") : QString());
        choose("MenuPrefs");
        QCOMPARE(wPreferencias::Instance(), p);
        QCOMPARE(p->eAssunto->text(), QStringLiteral("News"));
        // A Return in the message field is a new line, not Ok.
        QTest::keyClick(p->eMensagem, Qt::Key_Return);
        QVERIFY(p->isVisible());
        p->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!wPreferencias::Exists());
        choose("MenuPrefs");
        QCOMPARE(wPreferencias::Instance()->eAssunto->text(), m_program->app()->MailAssunto);
        QVERIFY(wPreferencias::Instance()->CoresFundo->isChecked());
    }

    // ---- About

    // Any number on the place and size lines, with the bars above the pages: the window is as large or as
    // small as a window may be.
    void extremeGeometryLines_data()
    {
        QTest::addColumn<QString>("number");
        QTest::newRow("largest") << "99999999999";
        QTest::newRow("smallest") << "-2147483648";
    }
    void extremeGeometryLines()
    {
        QFETCH(QString, number);
        QStringList lines(41);
        std::fill(lines.begin() + 6, lines.begin() + 10, number);
        m_home->writePrefs(lines);
        m_program->app()->LePrefs();
        QCOMPARE(w->size(), number.startsWith('-') ? w->minimumSize() : w->maximumSize());
    }

    void about_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("line"); // of the three
        QTest::addColumn<bool>("releaseOutside");
        QTest::addColumn<Qt::MouseButton>("mouseButton");
        QTest::newRow("bug version 0, first line") << QString("1.2.0") << "v1.2" << 1 << false << Qt::LeftButton;
        QTest::newRow("right button, last line, released outside")
            << QString("1.2.3") << "v1.2.3" << 3 << true << Qt::RightButton;
    }
    // A press on a line opens the seller's page and closes the window; the version is read once.
    void about()
    {
        QFETCH(QString, version);
        QFETCH(QString, text);
        QFETCH(int, line);
        QFETCH(bool, releaseOutside);
        QFETCH(Qt::MouseButton, mouseButton);
        QCoreApplication::setApplicationVersion(version);
        choose("kArquivokSobre");
        wSobre* a = wSobre::Instance();
        QCOMPARE(a->Versao_numero->text(), text);
        QLabel* label = a->findChild<QLabel*>(QStringLiteral("StaticText%1").arg(line));
        QCOMPARE(label->cursor().shape(), Qt::PointingHandCursor);
        QCOMPARE(label->toolTip(), QString());
        QTest::mousePress(label, mouseButton, {}, QPoint(label->width() / 2, 10));
        QVERIFY(a->isVisible());
        QTest::mouseRelease(label, mouseButton, {}, releaseOutside ? QPoint(-40, 200) : QPoint(label->width() / 2, 10));
        QCOMPARE(m_opened, QList<QUrl>({wSobre::SellerPage()}));
        QVERIFY(!a->isVisible());
        // The same window comes back with the same text, and Ok closes it.
        QCoreApplication::setApplicationVersion(QStringLiteral("9.9.9"));
        choose("kArquivokSobre");
        QCOMPARE(wSobre::Instance(), a);
        QVERIFY(a->isVisible());
        QCOMPARE(a->Versao_numero->text(), text);
        QTest::mouseClick(a->bt_ok, Qt::LeftButton);
        QVERIFY(!a->isVisible());
    }
};

// The program's own application object, so that exceptions end at its last-resort handler.
int main(int argc, char** argv)
{
    Application application(argc, argv);
    application.setAttribute(Qt::AA_Use96Dpi, true);
    TestCommands test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}
#include "tst_commands.moc"
