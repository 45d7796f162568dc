#include "canvas.h"

#include <QResizeEvent>

Canvas::Canvas(QSize designSize, QWidget* parent)
    : QWidget(parent)
    , m_design(designSize)
{
}

void Canvas::place(QWidget* control, QRect design, int locks)
{
    control->setParent(this);
    m_placed.append({control, design, locks});
    apply(m_placed.last());
}

void Canvas::apply(const Placed& p)
{
    const int dw = width() - m_design.width();
    const int dh = height() - m_design.height();
    QRect r = p.design;
    // Locked to the right only: the control travels; locked to both: it stretches.
    if (p.locks & LockRight) {
        if (p.locks & LockLeft)
            r.setWidth(qMax(0, r.width() + dw));
        else
            r.moveLeft(r.left() + dw);
    }
    if (p.locks & LockBottom) {
        if (p.locks & LockTop)
            r.setHeight(qMax(0, r.height() + dh));
        else
            r.moveTop(r.top() + dh);
    }
    p.control->setGeometry(r);
}

void Canvas::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    for (const Placed& p : m_placed)
        apply(p);
}

PagePanel::PagePanel(int pageCount, QSize designSize, QWidget* parent)
    : QStackedWidget(parent)
{
    for (int i = 0; i < pageCount; ++i)
        addWidget(new Canvas(designSize));
}
