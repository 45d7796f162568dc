#pragma once

#include "livewindow.h"

#include <QDialog>
#include <QRect>
#include <QVector>
#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;

// A tab page whose controls are placed in window coordinates, wherever the tab bar leaves the page.
class PreferencesPage : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;
    void place(QWidget* control, QRect inWindow);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void relayout();
    QVector<QPair<QWidget*, QRect>> m_placed;
};

// Edits the preference values in App, not the file: that is written at quit. Both buttons only
// hide the window, so it keeps what was typed; the close box ends it.
class wPreferencias : public QDialog, public LiveWindow<wPreferencias>
{
    Q_OBJECT

public:
    QTabWidget* TabPanel1;
    QLineEdit* eServidor;
    QLineEdit* eMail; // the login
    QLineEdit* eNome; // the sender's address
    QLineEdit* eAssunto;
    QPlainTextEdit* eMensagem;
    QCheckBox* CoresFundo;
    QLabel* StaticText1;
    QLabel* StaticText2;
    QLabel* StaticText3;
    QLabel* StaticText4;
    QPushButton* btCancela;
    QPushButton* btok;
    QLabel* StaticText5;
    QLabel* StaticText6;
    QLabel* StaticText13;
    QLineEdit* tColProjeto1;
    QLineEdit* tColProjeto2;
    QLineEdit* tColProjeto3;
    QLineEdit* tColProjeto4;
    QLineEdit* tColProjeto5;
    QLineEdit* tColProjeto6;
    QLineEdit* tColCliente1;
    QLineEdit* tColCliente2;
    QLineEdit* tColCliente3;
    QLineEdit* tColCliente4;
    QLineEdit* tColCliente5;
    QLineEdit* tColCliente6;

    void Open();
    void CoresFundo_Action();
    void btok_Action();
    void btCancela_Action();

    // Escape presses Cancel.
    void reject() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    friend class LiveWindow<wPreferencias>;
    static wPreferencias* Make();
    wPreferencias(QWidget* parent);
    void CreateControls();
};
