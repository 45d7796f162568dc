#include "progresswheel.h"

#include <QPainter>
#include <QTimerEvent>

namespace {
constexpr int kSpokes = 12;
}

ProgressWheel::ProgressWheel(QWidget* parent)
    : QWidget(parent)
{
}

void ProgressWheel::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal r = qMin(width(), height()) / 2.0;
    p.translate(width() / 2.0, height() / 2.0);
    QColor c = palette().color(QPalette::WindowText);
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the step is darkest; those behind it fade.
        c.setAlphaF(1.0 - 0.75 * ((m_step - i + kSpokes) % kSpokes) / (kSpokes - 1));
        p.setPen(QPen(c, r * 0.22, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(0, -r * 0.45), QPointF(0, -r * 0.85));
        p.rotate(360.0 / kSpokes);
    }
}

void ProgressWheel::showEvent(QShowEvent* event)
{
    m_timer.start(80, this);
    QWidget::showEvent(event);
}

void ProgressWheel::hideEvent(QHideEvent* event)
{
    m_timer.stop();
    QWidget::hideEvent(event);
}

void ProgressWheel::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != m_timer.timerId())
        return QWidget::timerEvent(event);
    m_step = (m_step + 1) % kSpokes;
    update();
}
