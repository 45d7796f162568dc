#pragma once

#include <QDialog>

class QLabel;
class ProgressWheel;

// The progress window of a campaign: shown without blocking, hidden when the queue runs empty.
class wMensagem1 : public QDialog
{
    Q_OBJECT

public:
    static wMensagem1* Instance();
    // Goes with the main window, which owns the campaign.
    static void Release();

    ProgressWheel* ProgressWheel1;
    QLabel* EnvioMSG;

    void Show();

private:
    wMensagem1();
};
