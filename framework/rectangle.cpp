#include "rectangle.h"

#include "application.h"

#include <QMouseEvent>
#include <QPainter>

Rectangle::Rectangle(QWidget* parent)
    : QWidget(parent)
{
}

void Rectangle::setFillColor(const QColor& color)
{
    m_fill = color;
    update();
}

void Rectangle::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), BorderColor);
    p.fillRect(rect().adjusted(BorderWidth, BorderWidth, -BorderWidth, -BorderWidth), m_fill);
}

void Rectangle::mousePressEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    if (MouseDown && RunGuarded([&] { return MouseDown(at.x(), at.y()); }, true))
        event->accept();
    else
        QWidget::mousePressEvent(event);
}
