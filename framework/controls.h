#pragma once

#include <QRect>
#include <QSize>
#include <QString>

class QDialog;
class QLabel;
class QPushButton;
class QWidget;

// How a button treats Return: the default button takes it anywhere in its window; a plain one not even
// when it has the focus.
enum class ButtonKind { Plain, Default };

// A push button with its name and caption at a place in its window.
QPushButton* NewButton(QWidget* window, const QString& name, const QString& caption, QRect where, ButtonKind kind);
// A static text with its name at a place in its window, aligned within its box; a point size of 0 keeps
// the window's font.
QLabel* NewLabel(
    QWidget* window, const QString& name, const QString& text, QRect where, Qt::Alignment align, int pointSize = 0);
// Names a control for screen readers after the caption that stands beside it, and ties the two; a context
// sets apart controls of one window whose captions repeat.
void NameAfterCaption(QWidget* control, QLabel* caption, const QString& context = QString());
// A modal window of a fixed size, with its name and title.
void SetUpModal(QDialog* window, const QString& name, const QString& title, QSize size);
