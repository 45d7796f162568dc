#include "colors.h"
#include "contextualmenu.h"
#include "exceptions.h"
#include "listbox.h"
#include "programfixture.h"
#include "rectangle.h"
#include "wlabels.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

// The label set, the label menu, task colours and the label editor, on a real window and database file.
class TestLabels : public ProgramTest
{
    Q_OBJECT

    // Creates the file with a first run, then puts the tasks (Titulo, Label) in before the real start.
    void startWith(const QList<QPair<QString, QString>>& tasks, const QStringList& statements = {})
    {
        {
            Program first;
            QVERIFY(first.start());
        }
        Sql sql(m_home->database());
        int id = 10;
        for (const auto& [titulo, label] : tasks) {
            sql.exec(QStringLiteral("INSERT INTO Tarefas VALUES (%1, 'P', '%2', '', '', '', '%3', '', 0)")
                         .arg(id++)
                         .arg(titulo, label));
        }
        for (const QString& s : statements)
            sql.exec(s);
        DialogHooks::takeMessages();
        m_program = std::make_unique<Program>();
        QVERIFY(m_program->start());
        w = m_program->window();
        QCoreApplication::processEvents();
    }
    int rowOf(const QString& titulo) const
    {
        for (int r = 0; r < w->Projetos->ListCount(); ++r) {
            if (w->Projetos->Cell(r, 2) == titulo)
                return r;
        }
        return -1;
    }
    void rightClick(int row, int column)
    {
        QCoreApplication::processEvents(); // the list lays out a reload lazily
        QTest::mouseClick(w->Projetos->viewport(), Qt::RightButton, {}, Ui::centre(w->Projetos, row, column));
    }
    QStringList taskLabels() const { return q("SELECT Label FROM Tarefas ORDER BY Titulo").split(QLatin1Char('\n')); }
    static bool near(QColor a, QColor b)
    {
        return qAbs(a.red() - b.red()) + qAbs(a.green() - b.green()) + qAbs(a.blue() - b.blue()) < 24;
    }
    static int countNear(const QImage& img, QRect area, QColor c)
    {
        int n = 0;
        for (int y = area.top(); y <= area.bottom(); ++y)
            for (int x = area.left(); x <= area.right(); ++x)
                n += near(img.pixelColor(x, y), c) ? 1 : 0;
        return n;
    }

private slots:
    void init() { m_home = std::make_unique<TestHome>(); }
    // Every test ends with nothing said that it did not take.
    void cleanup() { endProgram(); }

    void colourText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QColor>("colour");
        QTest::addColumn<QString>("written");
        QTest::newRow("upper H") << "&HFFCC00" << QColor(255, 204, 0) << "&hFFCC00";
        QTest::newRow("short form") << "&hFF" << QColor(0, 0, 255) << "&h0000FF";
        QTest::newRow("empty") << "" << QColor(0, 0, 0) << "&h000000";
        QTest::newRow("not a colour") << "red" << QColor(0, 0, 0) << "&h000000";
    }
    void colourText()
    {
        QFETCH(QString, text);
        QFETCH(QColor, colour);
        QFETCH(QString, written);
        const QColor read = VariantToColor(StringToVariant(text));
        QCOMPARE(read, colour);
        QCOMPARE(ColorToVariant(read).toString(), written);
        QCOMPARE(VariantToColor(StringToVariant(written)), colour);
    }

    void labelSetLoadedAtOpen_data()
    {
        QTest::addColumn<QString>("sql");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QColor>("colour1");
        const QStringList seeded{"Important", "Pending", "Ok", "Urgent", "Finished"};
        QTest::newRow("fresh file") << QString() << seeded << QColor(255, 0, 0);
        QTest::newRow("own titles kept")
            << "UPDATE Labels SET Label1='Bugs', Label5='Done', cLabel1='&h00ff7f' WHERE id=1"
            << QStringList({"Bugs", "Pending", "Ok", "Urgent", "Done"}) << QColor(0, 255, 127);
        // A file made elsewhere: the seeded set is used in memory, nothing is written, nothing is said.
        QTest::newRow("row missing") << "DELETE FROM Labels" << seeded << QColor(255, 0, 0);
    }
    void labelSetLoadedAtOpen()
    {
        QFETCH(QString, sql);
        QFETCH(QStringList, titles);
        QFETCH(QColor, colour1);
        startWith({}, {sql});
        QCOMPARE(w->ContextualMenu1->rows(), titles);
        QCOMPARE(QStringList({w->tLabel1, w->tLabel2, w->tLabel3, w->tLabel4, w->tLabel5}), titles);
        QCOMPARE(w->cLabel1, colour1);
        QCOMPARE(w->cLabel2, QColor(230, 232, 1));
        QCOMPARE(q("SELECT count(*) FROM Labels WHERE id <> 1"), QStringLiteral("0"));
    }

    void missingTableStillOpensTheWindow()
    {
        startWith({{"a", "Important"}}, {"DROP TABLE Labels"});
        QCOMPARE(DialogHooks::takeMessages(), QStringList{unhandled("NilObjectException")});
        QVERIFY(w->isVisible());
        QCOMPARE(w->Projetos->ListCount(), 1);
        // The menu was emptied before the failing read; titles and colours are those of a new window.
        QCOMPARE(w->ContextualMenu1->rows(), QStringList());
        QCOMPARE(w->tLabel1, QString());
        QCOMPARE(w->cLabel1, QColor(255, 0, 0));
        w->ContextualMenu1->AddRow(QStringLiteral("stale"));
        QVERIFY_THROWS_EXCEPTION(NilObjectException, w->CarregaContextualMenu());
        QCOMPARE(w->ContextualMenu1->rows(), QStringList());
        // The label editor's Ok stops where it reads the menu back, at the last-resort handler.
        wLabels* e = wLabels::Instance();
        e->show();
        QTest::mouseClick(e->btOk, Qt::LeftButton);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"DB Error - Labels", unhandled("NilObjectException")}));
        QVERIFY(e->isVisible());
    }

    void menuChoiceStoresTheLabel_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<bool>("inserting");
        QTest::addColumn<QString>("choice");
        QTest::newRow("title cell") << 2 << false << "Urgent";
        QTest::newRow("label cell, same label again") << 7 << false << "Important";
        QTest::newRow("check box cell") << 8 << false << "Finished";
        QTest::newRow("while a new row is being typed") << 1 << true << "Ok";
    }
    void menuChoiceStoresTheLabel()
    {
        QFETCH(int, column);
        QFETCH(bool, inserting);
        QFETCH(QString, choice);
        startWith({{"first", "Important"}, {"second", ""}});
        w->modo_insere2 = inserting;
        const int row = rowOf("first");
        DialogHooks::pushAnswer(Dialog::ContextualMenu, choice);
        rightClick(row, column);
        QCOMPARE(w->RowClicked, row);
        QCOMPARE(w->ColumnClicked, column);
        QCOMPARE(q("SELECT id, Label FROM Tarefas WHERE Titulo='first'"), "12|" + choice);
        QCOMPARE(q("SELECT id, Label FROM Tarefas WHERE Titulo='second'"), QStringLiteral("11|"));
        QCOMPARE(w->Projetos->Cell(rowOf("first"), 7), choice);
        QCOMPARE(w->modo_insere2, inserting);
    }

    void menuWorksWithTheMouse()
    {
        startWith({{"first", ""}});
        DialogHooks::showReal(Dialog::ContextualMenu);
        rightClick(0, 3);
        auto* menu = w->ContextualMenu1;
        QTRY_VERIFY(menu->isVisible());
        // Escape dismisses: nothing stored, the clicked row stays remembered.
        QTest::keyClick(menu, Qt::Key_Escape);
        QTRY_VERIFY(!menu->isVisible());
        QCOMPARE(q("SELECT id, Label FROM Tarefas"), QStringLiteral("10|"));
        QCOMPARE(w->RowClicked, 0);

        DialogHooks::showReal(Dialog::ContextualMenu);
        rightClick(0, 5);
        QTRY_VERIFY(menu->isVisible());
        QAction* pending = menu->actions().at(1);
        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(pending).center());
        QTRY_COMPARE(q("SELECT id, Label FROM Tarefas"), QStringLiteral("1|Pending")); // the table was empty
        QVERIFY(!menu->isVisible());
    }

    void menuOnNewRow_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QString>("stored");
        QTest::newRow("blank") << "" << QStringList({"Invalid Data"}) << "10|P|";
        // Unsaved text is stored with the label: the DELETE by an empty id matches nothing.
        QTest::newRow("holding text") << "Draft" << QStringList() << "10|P|\n11|Draft|Urgent";
    }
    void menuOnNewRow()
    {
        QFETCH(QString, typed);
        QFETCH(QStringList, messages);
        QFETCH(QString, stored);
        startWith({{"first", ""}});
        QTest::mouseClick(w->bt_insereprojeto, Qt::LeftButton);
        QTest::keyClicks(Ui::editor(w->Projetos), typed);
        DialogHooks::pushAnswer(Dialog::ContextualMenu, "Urgent");
        rightClick(0, 2);
        QCOMPARE(DialogHooks::takeMessages(), messages);
        QCOMPARE(w->Projetos->Cell(0, 7), QStringLiteral("Urgent"));
        QCOMPARE(q("SELECT id, Projeto, Label FROM Tarefas ORDER BY id"), stored);
        QVERIFY(w->modo_insere2);
    }

    void rowColours_data()
    {
        QTest::addColumn<bool>("pintaFundo");
        QTest::addColumn<QString>("task");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<QColor>("background"); // invalid: the selection highlight
        QTest::addColumn<QColor>("text");
        const QColor white(255, 255, 255), black(0, 0, 0), red(255, 0, 0), yellow(230, 232, 1), none;
        QTest::newRow("fill: labelled") << true << "labelled" << false << red << white;
        QTest::newRow("fill: unlabelled") << true << "unlabelled" << false << white << black;
        QTest::newRow("fill: no such title, white on white") << true << "stray" << false << white << white;
        QTest::newRow("fill: case of letters ignored") << true << "shouting" << false << red << white;
        QTest::newRow("fill: twin titles, lower number wins") << true << "twin" << false << yellow << white;
        QTest::newRow("fill: selected") << true << "labelled" << true << none << white;
        QTest::newRow("text: labelled") << false << "labelled" << false << white << red;
        QTest::newRow("text: unlabelled") << false << "unlabelled" << false << white << black;
        QTest::newRow("text: no such title") << false << "stray" << false << white << black;
        QTest::newRow("text: selected keeps label colour") << false << "twin" << true << none << yellow;
        QTest::newRow("text: selected unlabelled") << false << "unlabelled" << true << none << black;
    }
    void rowColours()
    {
        QFETCH(bool, pintaFundo);
        QFETCH(QString, task);
        QFETCH(bool, selected);
        QFETCH(QColor, background);
        QFETCH(QColor, text);
        startWith({{"labelled", "Important"}, {"unlabelled", ""}, {"stray", "Someday"}, {"shouting", "IMPORTANT"},
                      {"twin", "pending"}},
            {"UPDATE Labels SET Label5='Pending' WHERE id=1"});
        m_program->app()->PintaFundo = pintaFundo;
        w->resize(1000, 600);
        const int row = rowOf(task);
        QVERIFY(row >= 0);
        w->Projetos->setListIndex(selected ? row : -1);
        w->Projetos->setCell(row, 1, QStringLiteral("MMMMMMMMMM"));
        QCoreApplication::processEvents();
        const QImage img = w->Projetos->viewport()->grab().toImage();
        const QPalette pal = w->Projetos->palette();

        for (int column : {1, 7, 8}) {
            const QRect cell = w->Projetos->visualRect(w->Projetos->model()->index(row, column));
            const QColor bg = img.pixelColor(cell.topLeft() + QPoint(1, 1)).toRgb();
            if (background.isValid())
                QCOMPARE(bg, background);
            else
                QVERIFY2(bg == pal.color(QPalette::Active, QPalette::Highlight).toRgb()
                        || bg == pal.color(QPalette::Inactive, QPalette::Highlight).toRgb(),
                    qPrintable(bg.name()));
        }
        const QRect cell = w->Projetos->visualRect(w->Projetos->model()->index(row, 1));
        if (text == (background.isValid() ? background : QColor()))
            QCOMPARE(countNear(img, cell, text), cell.width() * cell.height()); // nothing to be seen
        else
            QVERIFY2(countNear(img, cell, text) > 20, qPrintable(text.name()));
        for (QColor other : {QColor(0, 0, 0), QColor(255, 0, 0), QColor(230, 232, 1)}) {
            if (other != text && other != background)
                QCOMPARE(countNear(img, cell, other), 0);
        }
    }

    void okRenamesTasks_data()
    {
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("after"); // labels of tasks a..e, which hold Important, Pending, Ok, Other, ""
        // Each list written with | between its items.
        const auto row = [](const char* name, const QString& titles, const QString& after) {
            QTest::newRow(name) << titles.split('|') << after.split('|');
        };
        row("nothing changed", "Important|Pending|Ok|Urgent|Finished", "Important|Pending|Ok|Other|");
        row("rename", "Blocked|Pending|Ok|Urgent|Finished", "Blocked|Pending|Ok|Other|");
        row("swap merges", "Pending|Important|Ok|Urgent|Finished", "Important|Important|Ok|Other|");
        row("apostrophe leaves tasks", "Bob's|Pending|Ok|Urgent|Finished", "Important|Pending|Ok|Other|");
        row("emptied title clears", "Important|Pending||Urgent|Finished", "Important|Pending||Other|");
    }
    void okRenamesTasks()
    {
        QFETCH(QStringList, titles);
        QFETCH(QStringList, after);
        startWith({{"a", "Important"}, {"b", "Pending"}, {"c", "Ok"}, {"d", "Other"}, {"e", ""}});
        wLabels* e = wLabels::Instance();
        e->show();
        QLineEdit* fields[] = {e->novalabel1, e->novalabel2, e->novalabel3, e->novalabel4, e->novalabel5};
        for (int i = 0; i < 5; ++i) {
            fields[i]->selectAll();
            QTest::keyClick(fields[i], Qt::Key_Delete);
            QTest::keyClicks(fields[i], titles.at(i));
        }
        QTest::keyClick(e->novalabel5, Qt::Key_Return); // Ok is the default button
        QVERIFY(!e->isVisible());
        QCOMPARE(taskLabels(), after);
        QCOMPARE(q("SELECT * FROM Labels"), "1|" + titles.join('|') + "|&hFF0000|&hE6E801|&h0000FF|&h00FF00|&hFFCC00");
        QCOMPARE(w->ContextualMenu1->rows(), titles);
        QCOMPARE(w->tLabel1, titles.at(0));
        QCOMPARE(w->Projetos->Cell(rowOf("a"), 7), after.at(0)); // the list was reloaded
    }

    void colourPicker_data()
    {
        QTest::addColumn<QVariantList>("answers"); // an invalid variant is Cancel
        QTest::addColumn<QString>("saved");
        const QVariant cancel;
        QTest::newRow("pick") << QVariantList({QColor(0x12, 0x34, 0x56)}) << "&h123456";
        QTest::newRow("pick then cancel falls back") << QVariantList({QColor(0x12, 0x34, 0x56), cancel}) << "&hE6E801";
        QTest::newRow("cancel then pick") << QVariantList({cancel, QColor(0xab, 0xcd, 0xef)}) << "&hABCDEF";
    }
    void colourPicker()
    {
        QFETCH(QVariantList, answers);
        QFETCH(QString, saved);
        startWith({{"b", "Pending"}});
        wLabels* e = wLabels::Instance();
        e->show();
        QCOMPARE(e->novalabel2->text(), QStringLiteral("Pending")); // it opens on the stored set
        for (const QVariant& a : answers) {
            DialogHooks::pushAnswer(Dialog::SelectColor, a);
            QTest::mouseClick(e->Rectangle2, Qt::LeftButton);
        }
        QVERIFY(!DialogHooks::hasAnswer(Dialog::SelectColor));
        QCOMPARE(e->cor2, saved);
        QCOMPARE(e->Rectangle2->FillColor(), VariantToColor(saved));
        QTest::mouseClick(e->btOk, Qt::LeftButton);
        QCOMPARE(q("SELECT cLabel1, cLabel2 FROM Labels WHERE id=1"), "&hFF0000|" + saved);
        QCOMPARE(w->cLabel2, VariantToColor(saved));
    }

    // A title longer than the typing limit, as another program may write it, is kept whole; a typed one
    // stops at 15. Cancel and Escape hide the window with the edits in it, and the next Ok stores them.
    void editorKeepsTitlesAndCancelKeepsEdits()
    {
        const QString longTitle = QStringLiteral("Waiting for payment!");
        startWith({{"a", longTitle}, {"b", "Pending"}}, {"UPDATE Labels SET Label1='" + longTitle + "' WHERE id=1"});
        wLabels* e = wLabels::Instance();
        QCOMPARE(e->novalabel1->text(), longTitle);
        QCOMPARE(e->novalabel3->text(), QStringLiteral("Ok"));
        QCOMPARE(e->Rectangle2->FillColor(), QColor(230, 232, 1));
        e->show();
        QTest::keyClicks(e->novalabel1, QStringLiteral("x")); // typing cannot make it longer
        e->novalabel2->selectAll();
        QTest::keyClicks(e->novalabel2, QStringLiteral("Waiting for the customer"));
        QCOMPARE(e->novalabel2->text(), QStringLiteral("Waiting for the"));
        QTest::mouseClick(e->btCancela, Qt::LeftButton);
        QVERIFY(!e->isVisible());
        QCOMPARE(q("SELECT Label2 FROM Labels"), QStringLiteral("Pending"));
        e->show();
        QTest::keyClick(e, Qt::Key_Escape);
        QVERIFY(!e->isVisible());
        QCOMPARE(wLabels::Instance(), e);
        // The next visit shows the cancelled text, and Ok then stores it.
        QString shown;
        QTimer::singleShot(0, e, [e, &shown] {
            shown = e->novalabel2->text();
            QTest::mouseClick(e->btOk, Qt::LeftButton);
        });
        e->ShowModal();
        QCOMPARE(shown, QStringLiteral("Waiting for the"));
        QCOMPARE(q("SELECT id, Label1, Label2 FROM Labels"), "1|" + longTitle + "|Waiting for the");
        QCOMPARE(taskLabels(), QStringList({longTitle, "Waiting for the"}));
    }

    void failedSaveLeavesTheRowMissing()
    {
        startWith({{"a", "Important"}, {"b", "Pending"}},
            {"CREATE TRIGGER refuse BEFORE INSERT ON Labels BEGIN SELECT RAISE(ABORT, 'no'); END"});
        wLabels* e = wLabels::Instance();
        e->show();
        e->novalabel1->setText(QStringLiteral("Blocked"));
        DialogHooks::pushAnswer(Dialog::SelectColor, QColor(0, 0, 0));
        QTest::mouseClick(e->Rectangle1, Qt::LeftButton);
        QTest::mouseClick(e->btOk, Qt::LeftButton);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"DB Error - Labels"}));
        QVERIFY(!e->isVisible());
        QCOMPARE(q("SELECT count(*) FROM Labels"), QStringLiteral("0"));
        QCOMPARE(taskLabels(), QStringList({"Important", "Pending"}));
        // New colours, old titles: the tasks still match their labels, and the menu still works.
        QCOMPARE(w->cLabel1, QColor(0, 0, 0));
        QCOMPARE(w->tLabel1, QStringLiteral("Important"));
        QCOMPARE(w->ContextualMenu1->rows().first(), QStringLiteral("Important"));
        DialogHooks::pushAnswer(Dialog::ContextualMenu, "Urgent");
        rightClick(rowOf("a"), 2);
        QCOMPARE(taskLabels(), QStringList({"Urgent", "Pending"}));
        QVERIFY(!w->Projetos->viewport()->grab().isNull());
        // Once the file takes inserts again, Ok brings the row back as id 1.
        Sql(m_home->database()).exec("DROP TRIGGER refuse");
        e->show();
        QTest::mouseClick(e->btOk, Qt::LeftButton);
        QCOMPARE(q("SELECT id, Label1, cLabel1 FROM Labels"), QStringLiteral("1|Blocked|&h000000"));
    }
};

QTEST_MAIN(TestLabels)
#include "tst_labels.moc"
