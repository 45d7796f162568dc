#include "canvas.h"
#include "confirma.h"
#include "listbox.h"
#include "programfixture.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTimer>

using namespace Ui;

// Both lists driven as a user drives them, checked against the database file.
class TestLists : public ProgramTest
{
    Q_OBJECT

    // Rows of customers (Nome, Serial, Versao, Data, ProjetoNome, Email) or of tasks (Projeto, Titulo, datainicio,
    // datafim, responsavel, Label, Comentarios, Ok, 0 unless given); then the list reads its table again.
    void seed(Listbox* list, const QList<QStringList>& rows)
    {
        const QString insert = list == w->Contatos
            ? "INSERT INTO Contatos (Projeto, Nome, Endereco, Serial, Versao, Data, ProjetoNome, Tipo, Email) "
              "VALUES (7, '%1', 'Street', '%2', '%3', '%4', '%5', 'T', '%6')"
            : "INSERT INTO Tarefas (Projeto, Titulo, datainicio, datafim, responsavel, Label, Comentarios, Ok) "
              "VALUES ('%1','%2','%3','%4','%5','%6','%7',%8)";
        for (const QStringList& r : rows) {
            const QString v[] = {r.value(0), r.value(1), r.value(2), r.value(3), r.value(4), r.value(5), r.value(6),
                r.value(7, QStringLiteral("0"))};
            Sql(m_home->database())
                .exec(list == w->Contatos ? insert.arg(v[0], v[1], v[2], v[3], v[4], v[5])
                                          : insert.arg(v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]));
        }
        list == w->Contatos ? w->CarregaContatos() : w->CarregaProjetos();
        QCoreApplication::processEvents();
    }
    // A key in the open cell, Shift with Backtab as the keyboard sends it; the text of the cell open after it.
    static QString key(Listbox* list, Qt::Key k)
    {
        QTest::keyClick(editor(list), k, k == Qt::Key_Backtab ? Qt::ShiftModifier : Qt::NoModifier);
        return editor(list) ? editor(list)->text() : QStringLiteral("<closed>");
    }

private slots:
    void init()
    {
        startProgram();
        QVERIFY(QTest::qWaitForWindowExposed(w));
    }
    void cleanup() { endProgram(); }

    void listsLoadInNameAndProjectOrder()
    {
        seed(w->Contatos, {{"Carla"}, {"alice"}, {"Bruno"}, {"Bruno", "2"}});
        QStringList names;
        for (int r = 0; r < w->Contatos->ListCount(); ++r)
            names << w->Contatos->Cell(r, 1);
        QCOMPARE(names, QStringList({"Bruno", "Bruno", "Carla", "alice"})); // the engine's text order
        QCOMPARE(w->pagePanel()->Value(), 0);
        // Neither the titles nor the order of insertion sort the projects as their names do.
        seed(w->Projetos, {{"Beta", "z"}, {"Alpha", "m", "", "", "", "Urgent", "note", "1"}, {"Zeta", "a"}});
        // Comments and label cross over between the table and the list.
        QCOMPARE(QStringList({w->Projetos->Cell(0, 1), w->Projetos->Cell(0, 6), w->Projetos->Cell(0, 7)}),
            QStringList({"Alpha", "note", "Urgent"}));
        QCOMPARE(QStringList({w->Projetos->Cell(1, 1), w->Projetos->Cell(2, 1)}), QStringList({"Beta", "Zeta"}));
        QVERIFY(w->Projetos->CellCheck(0, 8) && !w->Projetos->CellCheck(1, 8));
        QCOMPARE(w->Projetos->Cell(0, 0), q("SELECT id FROM Tarefas WHERE Projeto='Alpha'"));
        QCOMPARE(w->pagePanel()->Value(), 0); // a task reload leaves the page alone
    }

    void addCustomerByTypingAndReturn()
    {
        w->pagePanel()->setValue(0);
        QTest::mouseClick(w->bt_inserecontato, Qt::LeftButton);
        QVERIFY(w->modo_insere);
        for (const char* text : {"Zoë O'Neil 🚀", "SN-1", "2.0", "2026-11-23", "Ledger"})
            type(w->Contatos, QString::fromUtf8(text));
        type(w->Contatos, QStringLiteral("zoe@example.com"), Qt::Key_Return);
        QVERIFY(!w->modo_insere);
        QCOMPARE(q("SELECT * FROM Contatos"),
            QStringLiteral("1|<null>|Zoë O'Neil 🚀|<null>|SN-1|2.0|2026-11-23|Ledger|<null>|zoe@example.com"));
        QCOMPARE(w->Contatos->ListCount(), 1);
        QCOMPARE(w->Contatos->Cell(0, 0), QStringLiteral("1"));
        QCOMPARE(w->Contatos->SelCount(), 0);
        QCOMPARE(w->pagePanel()->Value(), 0);
        QCOMPARE(w->focusWidget(), w->Contatos);
    }

    void changeCustomerReinsertsWithNewId()
    {
        seed(w->Contatos, {{"Ann", "S1", "1.0", "d", "P", "ann@x.org"}, {"Bob", "S2", "2.0", "e", "Q", "bob@x.org"}});
        doubleClick(w->Contatos, 0, 3);
        editor(w->Contatos)->selectAll();
        type(w->Contatos, QStringLiteral("1.1"), Qt::Key_Return);
        QCOMPARE(q("SELECT * FROM Contatos ORDER BY id"),
            QStringLiteral("2|7|Bob|Street|S2|2.0|e|Q|T|bob@x.org\n3|<null>|Ann|<null>|S1|1.1|d|P|<null>|ann@x.org"));
        QCOMPARE(w->Contatos->Cell(0, 0), QStringLiteral("3"));
    }

    void doubleClickAndTabOpenCellsWithinTheRow_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<int>("column");
        QTest::addColumn<QStringList>("keys"); // ">" Tab, "<" Shift-Tab
        // The open cell's text at the double-click and after each key; "id" the hidden id.
        QTest::addColumn<QStringList>("texts");
        QTest::newRow("customers, stops at the last cell")
            << 0 << 5 << QStringList{">", ">"} << QStringList{"P", "ann@x.org", "ann@x.org"};
        QTest::newRow("customers, back to the hidden id")
            << 0 << 2 << QStringList{"<", "<", "<"} << QStringList{"S1", "Ann", "id", "id"};
        // The check box column is never opened, and the label column gives way to the comments.
        QTest::newRow("tasks, label and check skipped")
            << 1 << 5 << QStringList{">", ">", "<"} << QStringList{"o", "c", "c", "o"};
        QTest::newRow("tasks, back to the hidden id") << 1 << 1 << QStringList{"<"} << QStringList{"P", "id"};
        // A double-click opens any task column but the comments, which Tab alone reaches.
        QTest::newRow("tasks, label opens") << 1 << 7 << QStringList{} << QStringList{"Ok"};
        QTest::newRow("tasks, comments stay shut") << 1 << 6 << QStringList{} << QStringList{"<closed>"};
    }
    void doubleClickAndTabOpenCellsWithinTheRow()
    {
        QFETCH(int, page);
        QFETCH(int, column);
        QFETCH(QStringList, keys);
        QFETCH(QStringList, texts);
        seed(w->Contatos, {{"Ann", "S1", "1.0", "d", "P", "ann@x.org"}});
        seed(w->Projetos, {{"P", "t", "a", "b", "o", "Ok", "c"}});
        w->pagePanel()->setValue(page);
        Listbox* list = page == 0 ? w->Contatos : w->Projetos;
        doubleClick(list, 0, column);
        QStringList seen{editor(list) ? editor(list)->text() : QStringLiteral("<closed>")};
        for (const QString& k : keys)
            seen << key(list, k == ">" ? Qt::Key_Tab : Qt::Key_Backtab);
        QCOMPARE(seen.replaceInStrings(QRegularExpression("^" + list->Cell(0, 0) + "$"), "id"), texts);
        // The cell a key opens shows its text selected, and its row is the one edited.
        if (!keys.isEmpty()) {
            QCOMPARE(editor(list)->selectedText(), editor(list)->text());
            QCOMPARE(w->RowEditada, 0);
        }
    }

    // Shift-Tab opens the hidden id cell of Ann's row, and Return deletes by what it holds then.
    void editedIdCellDeletesByItsText_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("names");
        // Only the first statement runs, and it matches nothing: Ann is copied, the others stay.
        QTest::newRow("a second statement")
            << "x'; DELETE FROM Contatos; --" << QStringList{"Ann", "Bob", "Cid", "Ann"};
        // Dangerous, and required: the customer that the typed id names goes.
        QTest::newRow("another customer's id") << "2" << QStringList{"Ann", "Cid", "Ann"};
    }
    void editedIdCellDeletesByItsText()
    {
        QFETCH(QString, typed);
        QFETCH(QStringList, names);
        seed(w->Contatos, {{"Ann"}, {"Bob"}, {"Cid"}});
        QCOMPARE(w->Contatos->Cell(1, 0), QStringLiteral("2"));
        const QString annId = w->Contatos->Cell(0, 0);
        doubleClick(w->Contatos, 0, 1);
        key(w->Contatos, Qt::Key_Backtab);
        editor(w->Contatos)->selectAll();
        type(w->Contatos, typed, Qt::Key_Return);
        QCOMPARE(q("SELECT Nome FROM Contatos ORDER BY id").split('\n'), names);
        QCOMPARE(q("SELECT count(*) FROM Contatos WHERE id=" + annId), QStringLiteral("1"));
    }

    void deleteAsksAndDefaultsToCancel_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QString>("how");
        QTest::addColumn<QStringList>("left");
        const QStringList all = {"Ann", "Bob", "Cid", "Dee"}, two = {"Bob", "Dee"};
        QTest::newRow("ok") << 0 << "ok" << two;
        QTest::newRow("cancel") << 0 << "cancel" << all;
        QTest::newRow("return") << 0 << "return" << all;
        QTest::newRow("escape") << 0 << "escape" << all;
        QTest::newRow("closed") << 0 << "close" << all;
        QTest::newRow("tasks, ok") << 1 << "ok" << two;
        QTest::newRow("tasks, nothing selected: not asked") << 1 << "" << all;
    }
    // Rows 0 and 2 selected, or none, Delete on the customers and Backspace on the tasks, answered in the real
    // window; a question with none selected would fail the test as unanswered.
    void deleteAsksAndDefaultsToCancel()
    {
        QFETCH(int, page);
        QFETCH(QString, how);
        QFETCH(QStringList, left);
        seed(w->Contatos, {{"Ann"}, {"Bob"}, {"Cid"}, {"Dee"}});
        seed(w->Projetos, {{"Ann"}, {"Bob"}, {"Cid"}, {"Dee"}});
        w->pagePanel()->setValue(page);
        Listbox* list = page == 0 ? w->Contatos : w->Projetos;
        QString shown;
        if (how.isEmpty()) {
            list->setFocus();
        } else {
            click(list, 0, 1);
            click(list, 2, 1, Qt::ControlModifier);
            DialogHooks::showReal(Dialog::Confirma);
            QTimer::singleShot(0, [&] {
                confirma* d = confirma::Instance();
                QTRY_VERIFY(d->isVisible());
                shown = d->windowTitle() + ": " + d->mensagem->text();
                if (how == "ok" || how == "cancel")
                    QTest::mouseClick(how == "ok" ? d->BT_ok : d->BT_cancela, Qt::LeftButton);
                else if (how == "close")
                    d->close();
                else
                    QTest::keyClick(d, how == "return" ? Qt::Key_Return : Qt::Key_Escape);
            });
        }
        QTest::keyClick(list, page == 0 ? Qt::Key_Delete : Qt::Key_Backspace);
        QCOMPARE(shown, how.isEmpty() ? QString() : QStringLiteral("Attention: Are you sure to delete?"));
        const QString names = page == 0 ? "SELECT Nome FROM Contatos" : "SELECT Projeto FROM Tarefas";
        QCOMPARE(q(names + " ORDER BY 1").split('\n'), left);
        QCOMPARE(list->ListCount(), left.size());
    }

    // The fixture itself: a confirmation left unanswered fails the test at once, naming the dialog,
    // and answers as Cancel would instead of waiting on a modal window.
    void unansweredDialogFailsTheTest()
    {
        seed(w->Contatos, {{"Ann"}});
        click(w->Contatos, 0, 1);
        QEXPECT_FAIL("", "the confirmation was left unanswered on purpose", Continue);
        QTest::keyClick(w->Contatos, Qt::Key_Delete);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"unanswered: confirma"}));
        QCOMPARE(q("SELECT count(*) FROM Contatos"), QStringLiteral("1"));
    }

    void blankCustomerIsInvalidThenStoredThroughChange()
    {
        w->pagePanel()->setValue(0);
        QTest::mouseClick(w->bt_inserecontato, Qt::LeftButton);
        QTest::keyClick(editor(w->Contatos), Qt::Key_Return);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"Invalid Data"}));
        QVERIFY(!w->modo_insere);
        QCOMPARE(w->Contatos->ListCount(), 1); // the blank row stays on top
        // Now a change: its DELETE with an empty id matches nothing, the insert stores the row.
        doubleClick(w->Contatos, 0, 1);
        type(w->Contatos, QStringLiteral("Late"), Qt::Key_Return);
        QCOMPARE(q("SELECT Nome FROM Contatos"), QStringLiteral("Late"));
    }

    void invalidChangeDeletesNothing_data()
    {
        QTest::addColumn<bool>("clearCell");
        QTest::newRow("all cells emptied") << true;
        QTest::newRow("no row selected") << false;
    }
    void invalidChangeDeletesNothing()
    {
        QFETCH(bool, clearCell);
        seed(w->Contatos, {{"Ann"}});
        doubleClick(w->Contatos, 0, 1);
        if (clearCell)
            editor(w->Contatos)->clear();
        else
            w->Contatos->clearSelection();
        QTest::keyClick(editor(w->Contatos), Qt::Key_Return);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"Invalid Data"}));
        QCOMPARE(q("SELECT Nome FROM Contatos"), QStringLiteral("Ann"));
    }

    void failedInsertAfterDeleteLosesTheCustomer()
    {
        seed(w->Contatos, {{"Ann"}});
        Sql(m_home->database())
            .exec("CREATE TRIGGER no_insert BEFORE INSERT ON Contatos BEGIN SELECT RAISE(ABORT, 'no'); END");
        doubleClick(w->Contatos, 0, 1);
        type(w->Contatos, QStringLiteral("e"), Qt::Key_Return);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"DB Error"}));
        QCOMPARE(q("SELECT count(*) FROM Contatos"), QStringLiteral("0"));
        QCOMPARE(w->Contatos->Cell(0, 1), QStringLiteral("Anne")); // still in the list until a reload
    }

    void addTaskAndTheTaskDifferences()
    {
        w->pagePanel()->setValue(1);
        QTest::mouseClick(w->bt_insereprojeto, Qt::LeftButton);
        QVERIFY(w->modo_insere2);
        // Return at once: no message, the blank row goes.
        QTest::keyClick(editor(w->Projetos), Qt::Key_Return);
        QCOMPARE(w->Projetos->ListCount(), 0);
        QVERIFY(!w->modo_insere2);
        QTest::mouseClick(w->bt_insereprojeto, Qt::LeftButton);
        for (const char* text : {"Site", "Deploy", "1/2", "3/4", "Eva", "needs \"care\""})
            type(w->Projetos, QString::fromUtf8(text)); // the last Tab, from the comments, stays there
        QCOMPARE(key(w->Projetos, Qt::Key_Return), QStringLiteral("<closed>"));
        QCOMPARE(q("SELECT * FROM Tarefas"), QStringLiteral("1|Site|Deploy|1/2|3/4|Eva||needs \"care\"|0"));
        QCOMPARE(w->pagePanel()->Value(), 1);
    }

    void escapeDropsTheBlankRowButKeepsInsertMode()
    {
        seed(w->Projetos, {{"P", "t"}});
        w->pagePanel()->setValue(1);
        QTest::mouseClick(w->bt_insereprojeto, Qt::LeftButton);
        QCOMPARE(w->Projetos->ListCount(), 2);
        QTest::keyClick(editor(w->Projetos), Qt::Key_Escape);
        QCOMPARE(w->Projetos->ListCount(), 1);
        QVERIFY(w->modo_insere2);
        // A tick in insert mode only stays in the cell.
        w->Projetos->setCellCheck(0, 8, true);
        w->Projetos_CellAction(0, 8);
        QCOMPARE(q("SELECT Ok FROM Tarefas"), QStringLiteral("0"));
        // The next Return inserts a copy of the selected row instead of changing it.
        doubleClick(w->Projetos, 0, 2);
        type(w->Projetos, QStringLiteral("2"), Qt::Key_Return);
        QCOMPARE(q("SELECT Titulo, Ok FROM Tarefas ORDER BY id"), QStringLiteral("t|0\nt2|1"));
        QVERIFY(!w->modo_insere2);
    }

    void tickStoresAtOnceWithANewId()
    {
        seed(w->Projetos, {{"A", "one"}, {"B", "two", "", "", "", "", "", "1"}});
        w->pagePanel()->setValue(1);
        const QString oldId = w->Projetos->Cell(0, 0);
        QTest::mouseClick(w->Projetos->viewport(), Qt::LeftButton, {}, checkBox(w->Projetos, 0, 8));
        QCOMPARE(q("SELECT Projeto, Ok FROM Tarefas ORDER BY id"), QStringLiteral("B|1\nA|1"));
        QVERIFY(w->Projetos->Cell(0, 0) != oldId);
        QVERIFY(w->Projetos->CellCheck(0, 8));
        QCOMPARE(w->Projetos->SelCount(), 0);
    }

    // After "DB Error" on a new row the row stays and the flag is down: the next Return changes the
    // clicked row, which is another one here, and the new row goes with the reload.
    void failedTaskInsertLeavesTheRowAndChangesTheClickedOneNext()
    {
        seed(w->Projetos, {{"A", "a"}, {"B", "b"}});
        click(w->Projetos, 1, 2);
        Sql(m_home->database())
            .exec("CREATE TRIGGER no_new BEFORE INSERT ON Tarefas WHEN NEW.Projeto = 'New' "
                  "BEGIN SELECT RAISE(ABORT, 'no'); END");
        QTest::mouseClick(w->bt_insereprojeto, Qt::LeftButton);
        type(w->Projetos, QStringLiteral("New"), Qt::Key_Return);
        QCOMPARE(DialogHooks::takeMessages(), QStringList({"DB Error"}));
        QCOMPARE(w->Projetos->ListCount(), 3);
        QCOMPARE(w->Projetos->Cell(0, 1), QStringLiteral("New"));
        QVERIFY(!w->modo_insere2);
        w->Projetos->EditCell(0, 1);
        QTest::keyClick(editor(w->Projetos), Qt::Key_Return);
        QCOMPARE(q("SELECT Projeto FROM Tarefas ORDER BY id"), QStringLiteral("B\nA"));
        QCOMPARE(w->Projetos->ListCount(), 2);
    }
};

QTEST_MAIN(TestLists)
#include "tst_lists.moc"
