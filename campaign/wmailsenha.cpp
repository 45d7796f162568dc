#include "wmailsenha.h"

#include "app.h"
#include "application.h"
#include "controls.h"
#include "dialogs.h"

#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

wMailSenha::wMailSenha()
{
    SetUpModal(this, QStringLiteral("wMailSenha"), QStringLiteral("Password"), QSize(325, 113));

    StaticText2 = NewLabel(this, QStringLiteral("StaticText2"), QStringLiteral("Please type mail password"),
        QRect(13, 12, 283, 20), Qt::AlignHCenter | Qt::AlignVCenter, 11);
    StaticText1 = NewLabel(this, QStringLiteral("StaticText1"), QStringLiteral("Password"), QRect(14, 46, 90, 20),
        Qt::AlignRight | Qt::AlignVCenter, 11);

    eSenha = new QLineEdit(this);
    eSenha->setObjectName(QStringLiteral("eSenha"));
    eSenha->setGeometry(114, 45, 182, 22);
    eSenha->setEchoMode(QLineEdit::Password);
    NameAfterCaption(eSenha, StaticText1);
    eSenha->setAccessibleDescription(StaticText2->text());

    btok = NewButton(this, QStringLiteral("btok"), QStringLiteral("Ok"), QRect(235, 80, 68, 20), ButtonKind::Default);
    QFont f = btok->font();
    f.setPointSize(11);
    btok->setFont(f);
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
