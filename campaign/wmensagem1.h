#pragma once

#include "livewindow.h"

#include <QDialog>

class QLabel;
class ProgressWheel;

// The progress window of a campaign: shown without blocking, hidden when the queue runs empty.
class wMensagem1 : public QDialog, public LiveWindow<wMensagem1>
{
    Q_OBJECT

public:
    // Released with the main window, which owns the campaign.

    ProgressWheel* ProgressWheel1;
    QLabel* EnvioMSG;

    void Show();

private:
    friend class LiveWindow<wMensagem1>;
    static wMensagem1* Make() { return new wMensagem1(); }
    wMensagem1();
};
