#pragma once

#include <QBasicTimer>
#include <QWidget>

// An indeterminate spinning wheel: twelve spokes, the darkest one going round while it shows.
class ProgressWheel : public QWidget
{
    Q_OBJECT

public:
    explicit ProgressWheel(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    QBasicTimer m_timer;
    int m_step = 0;
};
