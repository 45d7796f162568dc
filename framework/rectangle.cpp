#include "rectangle.h"

#include "application.h"

#include <QAccessibleWidget>
#include <QMouseEvent>
#include <QPainter>

namespace {
// A box that takes presses reads as a button, and a screen reader can press it where the mouse would.
class AccessibleRectangle : public QAccessibleWidget
{
public:
    explicit AccessibleRectangle(Rectangle* r)
        : QAccessibleWidget(r, QAccessible::Button)
    {
    }
    QStringList actionNames() const override
    {
        return static_cast<Rectangle*>(widget())->MouseDown ? QStringList{pressAction()} : QStringList();
    }
    void doAction(const QString& name) override
    {
        auto* r = static_cast<Rectangle*>(widget());
        if (name == pressAction() && r->MouseDown)
            RunGuarded([r] { return r->MouseDown(r->width() / 2, r->height() / 2); }, true);
    }
};

QAccessibleInterface* accessibleRectangle(const QString& className, QObject* object)
{
    auto* r = qobject_cast<Rectangle*>(object);
    return r && className == QLatin1String("Rectangle") ? new AccessibleRectangle(r) : nullptr;
}
} // namespace

Rectangle::Rectangle(QWidget* parent)
    : QWidget(parent)
{
    static const bool installed = (QAccessible::installFactory(accessibleRectangle), true);
    Q_UNUSED(installed);
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
