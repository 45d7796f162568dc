#include "contextualmenu.h"
#include "dialogs.h"
#include "exceptions.h"
#include "keyboard.h"
#include "listbox.h"
#include "listboxmodel.h"
#include "listboxui.h"
#include "testhome.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QHeaderView>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

// The list control on its own: the model's contract, and the events a window's handlers see.
class TestListbox : public QObject
{
    Q_OBJECT

    std::unique_ptr<Listbox> m_list;
    QStringList m_events;

    void fill(int rows)
    {
        for (int r = 0; r < rows; ++r) {
            m_list->AddRow(QString::number(r));
            for (int c = 1; c < m_list->ColumnCount(); ++c)
                m_list->setCell(m_list->LastIndex(), c, QStringLiteral("r%1c%2").arg(r).arg(c));
        }
        QCoreApplication::processEvents(); // views hear of appended rows when the loop turns
    }

private slots:
    void init()
    {
        m_events.clear();
        m_list = std::make_unique<Listbox>(5);
        m_list->resize(600, 400);
        m_list->setColumnWidths(QStringLiteral("0,100,100,100,60"));
        m_list->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_list.get()));
        m_list->CellClick = [this](int r, int c, int, int) {
            m_events << QStringLiteral("click %1,%2%3").arg(r).arg(c).arg(IsContextualClick() ? " ctx" : "");
            return false;
        };
        m_list->CellAction = [this](int r, int c) { m_events << QStringLiteral("action %1,%2").arg(r).arg(c); };
        m_list->DoubleClick = [this] { m_events << QStringLiteral("double"); };
    }
    void cleanup() { m_list.reset(); }

    // Out-of-range cells among the changes read empty, and writing them changes nothing.
    void modelKeepsItsContractThroughEveryChange()
    {
        QAbstractItemModelTester tester(m_list->model(), QAbstractItemModelTester::FailureReportingMode::QtTest);
        fill(50);
        m_list->InsertRow(0, QStringLiteral("new"));
        m_list->InsertRow(m_list->ListCount(), QStringLiteral("end"));
        m_list->setCell(10, 3, QStringLiteral("changed"));
        m_list->setColumnType(4, Listbox::TypeCheckbox);
        m_list->setCellCheck(5, 4, true);
        m_list->setInitialValue(QStringLiteral("\ta\tb\tc\td"));
        m_list->DeleteAllRows();
        fill(3);
        m_list->setCell(-1, 0, QStringLiteral("x"));
        m_list->setCell(5, 0, QStringLiteral("x"));
        QCOMPARE(QStringList({m_list->Cell(-1, 1), m_list->Cell(7, 1), m_list->Cell(0, 9)}), QStringList({"", "", ""}));
        QVERIFY(!m_list->CellCheck(9, 4));
        QCOMPARE(m_list->ListCount(), 3);
    }

    void cellsKeepAnyTextExactly_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("then"); // written over it from UTF-8 at once, if any
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("emoji") << QStringLiteral("ship it 🚀👍🏽") << QString();
        QTest::newRow("long") << QString(70000, QLatin1Char('x')) + QStringLiteral("end") << QString();
        QTest::newRow("control chars") << QStringLiteral("tab\there\nline") << QString();
        // Same length, so that only the bytes tell the new text from the old.
        QTest::newRow("12 bytes, the last changed") << QStringLiteral("abcdefghijkl") << QStringLiteral("abcdefghijkX");
        QTest::newRow("6 bytes, the last changed") << QStringLiteral("abcdef") << QStringLiteral("abcdeX");
        QTest::newRow("3 bytes, the last changed") << QStringLiteral("abc") << QStringLiteral("abX");
    }
    void cellsKeepAnyTextExactly()
    {
        QFETCH(QString, text);
        QFETCH(QString, then);
        fill(3);
        m_list->setCell(1, 2, text);
        if (!then.isEmpty()) {
            m_list->setCellUtf8(1, 2, then.toUtf8());
            text = then;
        }
        m_list->setCell(2, 1, QStringLiteral("after")); // packs row 1 away
        QCOMPARE(m_list->Cell(1, 2), text);
        QCOMPARE(m_list->Cell(1, 1), QStringLiteral("r1c1"));
        QCOMPARE(m_list->Cell(1, 3), QStringLiteral("r1c3"));
        QCOMPARE(m_list->Cell(2, 1), QStringLiteral("after"));
    }

    void columnWidthsHideZeroAndSkipEmptyItems()
    {
        m_list->setColumnWidths(QStringLiteral("0,  120,, 45 ,x"));
        QCOMPARE(m_list->WidthActual(0), 0);
        QVERIFY(m_list->isColumnHidden(0));
        QCOMPARE(m_list->WidthActual(1), 120);
        QCOMPARE(m_list->WidthActual(2), 100); // empty item: left as it was
        QCOMPARE(m_list->WidthActual(3), 45);
        QCOMPARE(m_list->WidthActual(4), 60);
        QCOMPARE(m_list->ColumnWidths(), QStringLiteral("0,  120,, 45 ,x"));
    }

    void headingsChangeWithoutTouchingRows()
    {
        fill(4);
        m_list->setListIndex(2);
        m_list->setInitialValue(QStringLiteral("\tOne\tTwo"));
        QCOMPARE(m_list->Heading(1), QStringLiteral("One"));
        QCOMPARE(m_list->Heading(3), QString());
        QCOMPARE(m_list->ListCount(), 4);
        QCOMPARE(m_list->Cell(3, 2), QStringLiteral("r3c2"));
        QCOMPARE(m_list->ListIndex(), 2);
    }

    void clickReachesHandlerBeforeTheCheckBoxActs()
    {
        fill(3);
        m_list->setColumnType(4, Listbox::TypeCheckbox);
        QTest::mouseClick(m_list->viewport(), Qt::LeftButton, {}, Ui::checkBox(m_list.get(), 2, 4));
        QCOMPARE(m_events, QStringList({"click 2,4", "action 2,4"}));
        QVERIFY(m_list->CellCheck(2, 4));
        m_events.clear();
        m_list->setCellCheck(2, 4, false); // set by code: no event
        QVERIFY(m_events.isEmpty());
        QTest::mouseClick(m_list->viewport(), Qt::RightButton, {}, Ui::centre(m_list.get(), 1, 2));
        QCOMPARE(m_events, QStringList({"click 1,2 ctx"}));
    }

    // The row clicked last while it is selected, else the lowest selected row; a handled click selects nothing.
    void listIndexPrefersTheCurrentRow()
    {
        fill(4);
        Ui::click(m_list.get(), 1, 1);
        Ui::click(m_list.get(), 3, 1, Qt::ControlModifier);
        QCOMPARE(m_list->ListIndex(), 3);
        Ui::click(m_list.get(), 3, 1, Qt::ControlModifier);
        QCOMPARE(m_list->ListIndex(), 1);
        m_list->CellClick = [](int, int, int, int) { return true; };
        Ui::click(m_list.get(), 2, 1);
        QCOMPARE(m_list->ListIndex(), 1);
    }

    void editorKeysReachCellKeyDownWithShiftState_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::addColumn<QString>("expected");
        QTest::addColumn<bool>("handled"); // else the editor ends, keeping its text
        QTest::newRow("tab") << int(Qt::Key_Tab) << 0 << "9 shift=0" << true;
        QTest::newRow("shift-tab") << int(Qt::Key_Backtab) << int(Qt::ShiftModifier) << "9 shift=1" << true;
        QTest::newRow("return") << int(Qt::Key_Return) << 0 << "13 shift=0" << true;
        QTest::newRow("enter") << int(Qt::Key_Enter) << int(Qt::KeypadModifier) << "3 shift=0" << true;
        QTest::newRow("escape") << int(Qt::Key_Escape) << 0 << "27 shift=0" << true;
        QTest::newRow("letter") << int(Qt::Key_A) << 0 << "97 shift=0" << true;
        QTest::newRow("return not handled") << int(Qt::Key_Return) << 0 << "13 shift=0" << false;
    }
    void editorKeysReachCellKeyDownWithShiftState()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QFETCH(QString, expected);
        QFETCH(bool, handled);
        fill(2);
        QString seen;
        m_list->KeyDown = [](const QString&) { return true; };
        m_list->CellKeyDown = [&](int r, int c, const QString& k) {
            QTest::keyClick(m_list.get(), Qt::Key_X); // a nested dispatch leaves this event's shift state as it was
            seen = QStringLiteral("%1,%2 %3 shift=%4")
                       .arg(r)
                       .arg(c)
                       .arg(k.isEmpty() ? -1 : int(k.at(0).unicode()))
                       .arg(Keyboard::ShiftKey());
            return handled; // true: dealt with, so the editor stays open and unchanged
        };
        m_list->EditCell(1, 2);
        if (!handled)
            Ui::editor(m_list.get())->setText(QStringLiteral("typed"));
        QTest::keyClick(Ui::editor(m_list.get()), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(seen, QStringLiteral("1,2 ") + expected);
        QTRY_COMPARE(Ui::editor(m_list.get()) != nullptr, handled);
        QCOMPARE(m_list->Cell(1, 2), handled ? QStringLiteral("r1c2") : QStringLiteral("typed"));
    }

    void listKeysReachKeyDownOnlyWithoutAnEditor_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("code");
        QTest::newRow("backspace") << int(Qt::Key_Backspace) << 8;
        QTest::newRow("delete") << int(Qt::Key_Delete) << 127;
    }
    void listKeysReachKeyDownOnlyWithoutAnEditor()
    {
        QFETCH(int, key);
        QFETCH(int, code);
        fill(2);
        QList<int> seen;
        m_list->KeyDown = [&](const QString& k) {
            seen << int(k.at(0).unicode());
            return false;
        };
        m_list->setFocus();
        QTest::keyClick(m_list.get(), Qt::Key(key));
        QCOMPARE(seen, QList<int>{code});
        m_list->EditCell(0, 1);
        QTest::keyClick(Ui::editor(m_list.get()), Qt::Key(key));
        QCOMPARE(seen, QList<int>{code});
    }

    // What a control's event handler raises ends at the last-resort handler before Qt's own frames: a mouse
    // event, an editor's key and a signal stand for the ways the controls raise their events.
    void raisingHandlersEndAtTheLastResortHandler_data()
    {
        QTest::addColumn<QString>("event");
        for (const char* e : {"CellClick", "CellKeyDown", "ContextualMenu"})
            QTest::newRow(e) << e;
    }
    void raisingHandlersEndAtTheLastResortHandler()
    {
        QFETCH(QString, event);
        fill(2);
        DialogHooks::setRecording(true);
        const auto raise = [](auto&&...) -> bool { throw OutOfBoundsException(); };
        ContextualMenu menu;
        menu.AddRow(QStringLiteral("x"));
        m_list->CellClick = raise;
        m_list->CellKeyDown = raise;
        menu.Action = raise;
        if (event == QLatin1String("CellClick")) {
            Ui::click(m_list.get(), 1, 1);
        } else if (event == QLatin1String("CellKeyDown")) {
            m_list->EditCell(1, 1);
            QTest::keyClick(Ui::editor(m_list.get()), Qt::Key_Return);
        } else {
            menu.actions().first()->trigger();
        }
        const QStringList messages = DialogHooks::takeMessages();
        DialogHooks::setRecording(false);
        QCOMPARE(messages, QStringList{unhandled("OutOfBoundsException")});
    }

    void manyRowsStayBatchedUntilTheLoopTurns()
    {
        QSignalSpy inserted(m_list->model(), &QAbstractItemModel::rowsInserted);
        for (int r = 0; r < 20000; ++r)
            m_list->AddRow(QString::number(r));
        QCOMPARE(m_list->ListCount(), 20000);
        QCOMPARE(inserted.count(), 0);
        QCoreApplication::processEvents();
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(m_list->model()->rowCount(), 20000);
        m_list->scrollToBottom();
        QCOMPARE(m_list->Cell(19999, 0), QStringLiteral("19999"));
    }
};

QTEST_MAIN(TestListbox)
#include "tst_listbox.moc"
