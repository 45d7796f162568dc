#pragma once

#include "listbox.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStyle>
#include <QTest>

// Driving a list as the user does.
namespace Ui {
inline QPoint centre(Listbox* list, int row, int column)
{
    return list->visualRect(list->model()->index(row, column)).center();
}
inline void click(Listbox* list, int row, int column, Qt::KeyboardModifiers mods = {})
{
    QTest::mouseClick(list->viewport(), Qt::LeftButton, mods, centre(list, row, column));
}
// The middle of the check box of a check box cell.
inline QPoint checkBox(Listbox* list, int row, int column)
{
    QStyleOptionViewItem opt;
    opt.initFrom(list);
    opt.rect = list->visualRect(list->model()->index(row, column));
    opt.features = QStyleOptionViewItem::HasCheckIndicator;
    return list->style()->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &opt, list).center();
}
inline void doubleClick(Listbox* list, int row, int column)
{
    click(list, row, column);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, centre(list, row, column));
}
// Closed editors linger until deleted later; the open one is the one shown.
inline QLineEdit* editor(Listbox* list)
{
    for (QLineEdit* e : list->viewport()->findChildren<QLineEdit*>()) {
        if (e->isVisible())
            return e;
    }
    return nullptr;
}
// Types into the open cell, then presses the key that ends it.
inline void type(Listbox* list, const QString& text, Qt::Key end = Qt::Key_Tab)
{
    QLineEdit* e = editor(list);
    QVERIFY(e);
    // QTest types Latin-1 only; other text arrives as one key event carrying it, as an input method sends it.
    bool latin1 = std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 128; });
    if (latin1) {
        QTest::keyClicks(e, text);
    } else {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, text);
        QApplication::sendEvent(e, &press);
    }
    QTest::keyClick(e, end);
}
} // namespace Ui
