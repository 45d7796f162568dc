#include "wmailsenha.h"

#include "app.h"
#include "application.h"
#include "dialogs.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>

namespace {
QPointer<wMailSenha> g_live;
}

wMailSenha* wMailSenha::Instance()
{
    if (!g_live)
        g_live = new wMailSenha();
    return g_live;
}

void wMailSenha::Release()
{
    delete g_live.data();
}

wMailSenha::wMailSenha()
{
    setObjectName(QStringLiteral("wMailSenha"));
    setWindowTitle(QStringLiteral("Password"));
    setModal(true);
    setFixedSize(325, 113);

    auto label = [this](const QString& text, const QString& name, const QRect& r, Qt::Alignment align) {
        auto* l = new QLabel(text, this);
        l->setObjectName(name);
        l->setGeometry(r);
        l->setAlignment(align | Qt::AlignVCenter);
        QFont f = l->font();
        f.setPointSize(11);
        l->setFont(f);
        return l;
    };
    StaticText2 = label(QStringLiteral("Please type mail password"), QStringLiteral("StaticText2"),
        QRect(13, 12, 283, 20), Qt::AlignHCenter);
    StaticText1
        = label(QStringLiteral("Password"), QStringLiteral("StaticText1"), QRect(14, 46, 90, 20), Qt::AlignRight);

    eSenha = new QLineEdit(this);
    eSenha->setObjectName(QStringLiteral("eSenha"));
    eSenha->setGeometry(114, 45, 182, 22);
    eSenha->setEchoMode(QLineEdit::Password);

    btok = new QPushButton(QStringLiteral("Ok"), this);
    btok->setObjectName(QStringLiteral("btok"));
    btok->setGeometry(235, 80, 68, 20);
    QFont f = btok->font();
    f.setPointSize(11);
    btok->setFont(f);
    btok->setDefault(true);
    connect(btok, &QPushButton::clicked, this, Guarded(this, &wMailSenha::btok_Action));
}

void wMailSenha::ShowModal()
{
    // A test's answer is typed into the field and confirmed with Ok; no answer stands for Escape.
    if (auto answer = DialogHooks::takeAnswer(Dialog::MailSenha)) {
        if (answer->isValid()) {
            eSenha->setText(answer->toString());
            btok_Action();
        }
        hide();
        return;
    }
    eSenha->setFocus();
    exec();
}

void wMailSenha::btok_Action()
{
    App::Instance()->MailSenha = eSenha->text();
    hide();
}

void wMailSenha::keyPressEvent(QKeyEvent* event)
{
    // Escape keeps the password accepted before; the key is not marked as handled.
    if (event->key() == Qt::Key_Escape)
        hide();
    QDialog::keyPressEvent(event);
}
