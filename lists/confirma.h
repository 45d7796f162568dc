#pragma once

#include "livewindow.h"

#include <QDialog>

class QLabel;
class QPushButton;

// The program's one yes-or-no question. Hidden, not closed, between uses.
class confirma : public QDialog, public LiveWindow<confirma>
{
    Q_OBJECT

public:
    // Release ends it: the main window does so as it goes.

    bool opcao = false;
    QLabel* mensagem;
    QPushButton* BT_cancela;
    QPushButton* BT_ok;

    void BT_ok_Action();
    void BT_cancela_Action();

private:
    friend class LiveWindow<confirma>;
    static confirma* Make() { return new confirma(); }
    confirma();
};
