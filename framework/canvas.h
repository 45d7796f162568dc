#pragma once

#include <QStackedWidget>
#include <QVector>
#include <QWidget>

// Controls placed at fixed design coordinates; locked sides keep their distance to the
// matching side of the container when it is resized.
enum Lock { LockLeft = 1, LockTop = 2, LockRight = 4, LockBottom = 8, LockAll = 15 };

class Canvas : public QWidget
{
    Q_OBJECT

public:
    Canvas(QSize designSize, QWidget* parent = nullptr);
    // The design rectangle is in this canvas's coordinates; the control becomes its child.
    void place(QWidget* control, QRect design, int locks);
    QSize sizeHint() const override { return m_design; }

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Placed
    {
        QWidget* control;
        QRect design;
        int locks;
    };
    void apply(const Placed& p);

    QSize m_design;
    QVector<Placed> m_placed;
};

// Pages of controls, one shown at a time; Value is the page shown, from 0.
class PagePanel : public QStackedWidget
{
    Q_OBJECT

public:
    PagePanel(int pageCount, QSize designSize, QWidget* parent = nullptr);
    int Value() const { return currentIndex(); }
    void setValue(int page) { setCurrentIndex(page); }
    Canvas* page(int index) const { return static_cast<Canvas*>(widget(index)); }
};
