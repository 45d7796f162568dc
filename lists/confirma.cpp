#include "confirma.h"

#include "application.h"

#include <QLabel>
#include <QPointer>
#include <QPushButton>

namespace {
QPointer<confirma> g_live;
}

confirma* confirma::Instance()
{
    if (!g_live)
        g_live = new confirma();
    return g_live;
}

void confirma::Release()
{
    delete g_live.data();
}

confirma::confirma()
{
    setObjectName(QStringLiteral("confirma"));
    setWindowTitle(QStringLiteral("Tallyvane"));
    setModal(true);
    setFixedSize(261, 112);

    mensagem = new QLabel(this);
    mensagem->setObjectName(QStringLiteral("mensagem"));
    mensagem->setGeometry(13, 14, 234, 46);
    mensagem->setWordWrap(true);
    mensagem->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    QFont f = mensagem->font();
    f.setPointSize(12);
    mensagem->setFont(f);

    BT_cancela = new QPushButton(QStringLiteral("Cancel"), this);
    BT_cancela->setObjectName(QStringLiteral("BT_cancela"));
    BT_cancela->setGeometry(58, 72, 69, 20);
    BT_cancela->setAutoDefault(false);
    BT_ok = new QPushButton(QStringLiteral("Ok"), this);
    BT_ok->setObjectName(QStringLiteral("BT_ok"));
    BT_ok->setGeometry(134, 72, 69, 20);
    BT_ok->setAutoDefault(false);

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
