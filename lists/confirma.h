#pragma once

#include <QDialog>

class QLabel;
class QPushButton;

// The program's one yes-or-no question. Hidden, not closed, between uses.
class confirma : public QDialog
{
    Q_OBJECT

public:
    static confirma* Instance();
    // Ends the live window, if any; the main window does so as it goes.
    static void Release();

    bool opcao = false;
    QLabel* mensagem;
    QPushButton* BT_cancela;
    QPushButton* BT_ok;

    void BT_ok_Action();
    void BT_cancela_Action();

private:
    confirma();
};
