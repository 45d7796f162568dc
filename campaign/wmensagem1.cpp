#include "wmensagem1.h"

#include "controls.h"
#include "progresswheel.h"

#include <QLabel>

wMensagem1::wMensagem1()
{
    SetUpModal(this, QStringLiteral("wMensagem1"), QStringLiteral("Sending"), QSize(360, 105));

    ProgressWheel1 = new ProgressWheel(this);
    ProgressWheel1->setObjectName(QStringLiteral("ProgressWheel1"));
    ProgressWheel1->setGeometry(51, 38, 16, 16);

    EnvioMSG = NewLabel(this, QStringLiteral("EnvioMSG"), QStringLiteral("Please wait. Sending messages"),
        QRect(82, 36, 256, 20), Qt::AlignLeft | Qt::AlignVCenter, 11);
    NameAfterCaption(ProgressWheel1, EnvioMSG);
}

// Modal for the user, but the caller goes on at once.
void wMensagem1::Show()
{
    show();
    raise();
}
