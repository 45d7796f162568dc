#include "rectangle.h"

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
    if (MouseDown && MouseDown(at.x(), at.y()))
        event->accept();
    else
        QWidget::mousePressEvent(event);
}
