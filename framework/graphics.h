#pragma once

#include <QColor>
#include <QPainter>
#include <QRect>

// What a paint handler draws with: the origin is the cell's top left corner.
class Graphics
{
public:
    Graphics(QPainter* painter, const QRect& cell, QColor foreColor)
        : ForeColor(foreColor)
        , m_painter(painter)
        , m_cell(cell)
    {
    }

    QColor ForeColor;
    int Width() const { return m_cell.width(); }
    int Height() const { return m_cell.height(); }
    void FillRect(int x, int y, int width, int height)
    {
        m_painter->fillRect(QRect(m_cell.x() + x, m_cell.y() + y, width, height), ForeColor);
    }

private:
    QPainter* m_painter;
    QRect m_cell;
};

inline QColor RGB(int r, int g, int b)
{
    return QColor(r, g, b);
}
