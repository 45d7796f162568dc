#include "controls.h"

#include <QDialog>
#include <QLabel>
#include <QPushButton>

QPushButton* NewButton(QWidget* window, const QString& name, const QString& caption, QRect where, ButtonKind kind)
{
    auto* button = new QPushButton(caption, window);
    button->setObjectName(name);
    button->setGeometry(where);
    if (kind == ButtonKind::Default)
        button->setDefault(true);
    else
        button->setAutoDefault(false);
    return button;
}

QLabel* NewLabel(
    QWidget* window, const QString& name, const QString& text, QRect where, Qt::Alignment align, int pointSize)
{
    auto* label = new QLabel(text, window);
    label->setObjectName(name);
    label->setGeometry(where);
    label->setAlignment(align);
    if (pointSize > 0) {
        QFont f = label->font();
        f.setPointSize(pointSize);
        label->setFont(f);
    }
    return label;
}

void NameAfterCaption(QWidget* control, QLabel* caption, const QString& context)
{
    caption->setBuddy(control);
    const QString text = caption->text().trimmed();
    control->setAccessibleName(context.isEmpty() ? text : context + QLatin1Char(' ') + text);
}

void SetUpModal(QDialog* window, const QString& name, const QString& title, QSize size)
{
    window->setObjectName(name);
    window->setWindowTitle(title);
    window->setModal(true);
    window->setFixedSize(size);
}
