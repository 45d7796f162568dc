#pragma once

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;

// The mail password prompt. Hidden, never closed, so the field keeps its text for the next campaign.
class wMailSenha : public QDialog
{
    Q_OBJECT

public:
    static wMailSenha* Instance();
    // Goes with the main window, which owns the campaign.
    static void Release();

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
    wMailSenha();
};
