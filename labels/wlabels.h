#pragma once

#include "livewindow.h"

#include <QDialog>
#include <array>

class QLineEdit;
class QPushButton;
class Rectangle;

// The editor of the five label titles and colours. Both buttons only hide it, so what was
// typed or picked stays in it until the next Ok.
class wLabels : public QDialog, public LiveWindow<wLabels>
{
    Q_OBJECT

public:
    // Live from its first use, opened as it is made.
    // Waits until the window is hidden.
    void ShowModal();

    // The colour texts as they stand in the window: what Ok saves.
    QString cor1, cor2, cor3, cor4, cor5;

    Rectangle* Rectangle1;
    Rectangle* Rectangle2;
    Rectangle* Rectangle3;
    Rectangle* Rectangle4;
    Rectangle* Rectangle5;
    QLineEdit* novalabel1;
    QLineEdit* novalabel2;
    QLineEdit* novalabel3;
    QLineEdit* novalabel4;
    QLineEdit* novalabel5;
    QPushButton* btCancela;
    QPushButton* btOk;

    // The five rectangles work alike; index runs from 1 to 5.
    void Rectangle_Open(int index);
    bool Rectangle_MouseDown(int index, int x, int y);
    void Open();
    void btOk_Action();
    void btCancela_Action();
    void GravaCores();

protected:
    // Escape and the close box do what Cancel does.
    void reject() override;

private:
    friend class LiveWindow<wLabels>;
    static wLabels* Make();
    explicit wLabels(QWidget* parent);
    void CreateControls();
    Rectangle* rectangle(int index) const;
    QLineEdit* novalabel(int index) const;
    QString& cor(int index);
};
