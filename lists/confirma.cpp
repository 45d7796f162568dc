#include "confirma.h"

#include "application.h"
#include "controls.h"

#include <QLabel>
#include <QPushButton>

confirma::confirma()
{
    SetUpModal(this, QStringLiteral("confirma"), QStringLiteral("Tallyvane"), QSize(261, 112));

    mensagem = NewLabel(
        this, QStringLiteral("mensagem"), QString(), QRect(13, 14, 234, 46), Qt::AlignHCenter | Qt::AlignTop, 12);
    mensagem->setWordWrap(true);

    BT_cancela = NewButton(
        this, QStringLiteral("BT_cancela"), QStringLiteral("Cancel"), QRect(58, 72, 69, 20), ButtonKind::Plain);
    BT_ok = NewButton(this, QStringLiteral("BT_ok"), QStringLiteral("Ok"), QRect(134, 72, 69, 20), ButtonKind::Plain);

    connect(BT_ok, &QPushButton::clicked, this, Guarded(this, &confirma::BT_ok_Action));
    connect(BT_cancela, &QPushButton::clicked, this, Guarded(this, &confirma::BT_cancela_Action));
}

void confirma::BT_ok_Action()
{
    opcao = true;
    accept();
}

void confirma::BT_cancela_Action()
{
    opcao = false;
    reject();
}
