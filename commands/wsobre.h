#pragma once

#include "livewindow.h"

#include <QDialog>
#include <QLabel>
#include <QUrl>
#include <functional>

class QPushButton;

// A text that takes the click: MouseDown claims the press, so MouseUp follows wherever it ends.
class ClickableText : public QLabel
{
    Q_OBJECT

public:
    using QLabel::QLabel;
    std::function<bool(int x, int y)> MouseDown;
    std::function<void(int x, int y)> MouseUp;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    bool m_claimed = false;
};

// The about box. Every way out hides it, except the close box, which ends it.
class wSobre : public QDialog, public LiveWindow<wSobre>
{
    Q_OBJECT

public:
    // The seller's web page that both lines open.
    static QUrl SellerPage();

    QLabel* Nome;
    QPushButton* bt_ok;
    QLabel* Versao_numero;
    ClickableText* StaticText1;
    ClickableText* StaticText3;

    void bt_ok_Action();
    void Versao_numero_Open();
    bool StaticText1_MouseDown(int x, int y);
    void StaticText1_MouseUp(int x, int y);
    bool StaticText3_MouseDown(int x, int y);
    void StaticText3_MouseUp(int x, int y);

    // Escape, like the Ok button, only hides.
    void reject() override;

private:
    friend class LiveWindow<wSobre>;
    static wSobre* Make();
    explicit wSobre(QWidget* parent);
};
