#pragma once

#include <QColor>
#include <QWidget>
#include <functional>

// A filled box with a border; a press reports the point inside it.
class Rectangle : public QWidget
{
    Q_OBJECT

public:
    explicit Rectangle(QWidget* parent = nullptr);

    QColor FillColor() const { return m_fill; }
    void setFillColor(const QColor& color);
    int BorderWidth = 1;
    QColor BorderColor = Qt::black;

    std::function<bool(int x, int y)> MouseDown;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

private:
    QColor m_fill = Qt::white;
};
