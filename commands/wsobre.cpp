#include "wsobre.h"

#include "app.h"
#include "application.h"
#include "controls.h"
#include "desktop.h"
#include "principal.h"
#include "text.h"

#include <QMouseEvent>
#include <QPushButton>

void ClickableText::mousePressEvent(QMouseEvent* event)
{
    const QPoint at = event->position().toPoint();
    m_claimed = MouseDown && RunGuarded([&] { return MouseDown(at.x(), at.y()); }, true);
    if (m_claimed)
        event->accept();
    else
        QLabel::mousePressEvent(event);
}

void ClickableText::mouseReleaseEvent(QMouseEvent* event)
{
    if (!m_claimed) {
        QLabel::mouseReleaseEvent(event);
        return;
    }
    m_claimed = false;
    event->accept();
    const QPoint at = event->position().toPoint();
    if (MouseUp)
        RunGuarded([&] { MouseUp(at.x(), at.y()); });
}

wSobre* wSobre::Make()
{
    return new wSobre(Principal::Live());
}

QUrl wSobre::SellerPage()
{
    return QUrl(QStringLiteral("https://www.tallyvane.com/"));
}

wSobre::wSobre(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("wSobre"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("About"));
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowCloseButtonHint
        | Qt::WindowMinimizeButtonHint);
    setFixedSize(293, 157);

    auto text = [this](QLabel* label, const QString& name, QRect where) {
        label->setParent(this);
        label->setObjectName(name);
        label->setGeometry(where);
        label->setAlignment(Qt::AlignHCenter | Qt::AlignVCenter);
        QPalette p = label->palette();
        p.setColor(QPalette::WindowText, Qt::black);
        label->setPalette(p);
    };
    Nome = new QLabel(QStringLiteral("Tallyvane"));
    text(Nome, QStringLiteral("Nome"), QRect(94, 8, 108, 20));
    QFont bold = Nome->font();
    bold.setBold(true);
    Nome->setFont(bold);

    bt_ok
        = NewButton(this, QStringLiteral("bt_ok"), QStringLiteral("Ok"), QRect(224, 127, 43, 20), ButtonKind::Default);

    Versao_numero = new QLabel();
    text(Versao_numero, QStringLiteral("Versao_numero"), QRect(129, 27, 34, 20));

    StaticText1 = new ClickableText(QStringLiteral("Made by Tally Vane Software"));
    text(StaticText1, QStringLiteral("StaticText1"), QRect(34, 91, 225, 20));
    StaticText3 = new ClickableText(QStringLiteral("\u00a9 Tally Vane Software. All rights reserved."));
    text(StaticText3, QStringLiteral("StaticText3"), QRect(35, 103, 225, 20));
    // The two boxes overlap; holding the texts to the outer edges keeps the lines apart.
    StaticText1->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    StaticText3->setAlignment(Qt::AlignHCenter | Qt::AlignBottom);
    QFont small = StaticText3->font();
    small.setPointSizeF(small.pointSizeF() * 9.0 / 11.0);
    StaticText3->setFont(small);
    for (ClickableText* link : {StaticText1, StaticText3}) {
        link->setCursor(Qt::PointingHandCursor);
        link->setAccessibleDescription(QStringLiteral("Opens the seller's web page"));
    }

    connect(bt_ok, &QPushButton::clicked, this, Guarded(this, &wSobre::bt_ok_Action));
    StaticText1->MouseDown = [this](int x, int y) { return StaticText1_MouseDown(x, y); };
    StaticText1->MouseUp = [this](int x, int y) { StaticText1_MouseUp(x, y); };
    StaticText3->MouseDown = [this](int x, int y) { return StaticText3_MouseDown(x, y); };
    StaticText3->MouseUp = [this](int x, int y) { StaticText3_MouseUp(x, y); };
    Versao_numero_Open();
}

void wSobre::bt_ok_Action()
{
    hide();
}

void wSobre::reject()
{
    bt_ok_Action();
}

void wSobre::Versao_numero_Open()
{
    Versao_numero->setText(
        QStringLiteral("v") + Str(App::MajorVersion()) + QStringLiteral(".") + Str(App::MinorVersion()));
    if (App::BugVersion() != 0)
        Versao_numero->setText(Versao_numero->text() + QStringLiteral(".") + Str(App::BugVersion()));
}

bool wSobre::StaticText1_MouseDown(int, int)
{
    return true;
}

void wSobre::StaticText1_MouseUp(int, int)
{
    ShowURL(SellerPage().toString());
    hide();
}

bool wSobre::StaticText3_MouseDown(int, int)
{
    return true;
}

void wSobre::StaticText3_MouseUp(int, int)
{
    ShowURL(SellerPage().toString());
    hide();
}
