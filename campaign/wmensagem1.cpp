#include "wmensagem1.h"

#include "progresswheel.h"

#include <QLabel>
#include <QPointer>

namespace {
QPointer<wMensagem1> g_live;
}

wMensagem1* wMensagem1::Instance()
{
    if (!g_live)
        g_live = new wMensagem1();
    return g_live;
}

void wMensagem1::Release()
{
    delete g_live.data();
}

wMensagem1::wMensagem1()
{
    setObjectName(QStringLiteral("wMensagem1"));
    setWindowTitle(QStringLiteral("Sending"));
    setModal(true);
    setFixedSize(360, 105);

    ProgressWheel1 = new ProgressWheel(this);
    ProgressWheel1->setObjectName(QStringLiteral("ProgressWheel1"));
    ProgressWheel1->setGeometry(51, 38, 16, 16);

    EnvioMSG = new QLabel(QStringLiteral("Please wait. Sending messages"), this);
    EnvioMSG->setObjectName(QStringLiteral("EnvioMSG"));
    EnvioMSG->setGeometry(82, 36, 256, 20);
    EnvioMSG->setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    QFont f = EnvioMSG->font();
    f.setPointSize(11);
    EnvioMSG->setFont(f);
}

// Modal for the user, but the caller goes on at once.
void wMensagem1::Show()
{
    show();
    raise();
}
