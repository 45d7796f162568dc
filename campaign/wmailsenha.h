#pragma once

#include "livewindow.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

// The mail password prompt. Hidden, never closed, so the field keeps its text for the next campaign.
class wMailSenha : public QDialog, public LiveWindow<wMailSenha>
{
    Q_OBJECT

public:
    // Released with the main window, which owns the campaign.

    QLabel* StaticText2;
    QLabel* StaticText1;
    QLineEdit* eSenha;
    QPushButton* btok;

    // Returns when the window is hidden.
    void ShowModal();
    void btok_Action();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    friend class LiveWindow<wMailSenha>;
    static wMailSenha* Make() { return new wMailSenha(); }
    wMailSenha();
};
