#include "wpreferencias.h"

#include "app.h"
#include "application.h"
#include "controls.h"
#include "listbox.h"
#include "principal.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTabWidget>

void PreferencesPage::place(QWidget* control, QRect inWindow)
{
    control->setParent(this);
    m_placed.append({control, inWindow});
    relayout();
}

void PreferencesPage::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    relayout();
}

void PreferencesPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    relayout();
}

void PreferencesPage::relayout()
{
    const QPoint origin = mapTo(window(), QPoint(0, 0));
    for (const auto& [control, rect] : std::as_const(m_placed))
        control->setGeometry(rect.translated(-origin));
}

wPreferencias* wPreferencias::Make()
{
    // A window of its own beside the main one, not held above it; it goes with the main window.
    auto* w = new wPreferencias(nullptr);
    // At once: the main window goes on the loop's last turn, and a later deletion would never come.
    if (Principal::Exists())
        connect(Principal::Instance(), &QObject::destroyed, w, [w] { delete w; });
    w->Open();
    return w;
}

wPreferencias::wPreferencias(QWidget* parent)
    : QDialog(parent)
{
    setObjectName(QStringLiteral("wPreferencias"));
    setWindowFlags(Qt::Window); // a document window, with its own minimise button
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Preferences"));
    setModal(false);
    resize(401, 328);
    setMinimumSize(64, 64);
    setMaximumSize(32000, 32000);
    CreateControls();
}

void wPreferencias::CreateControls()
{
    TabPanel1 = new QTabWidget(this);
    TabPanel1->setObjectName(QStringLiteral("TabPanel1"));
    TabPanel1->setGeometry(20, 7, 361, 285);
    PreferencesPage* pages[4];
    const char* tabs[] = {"General", "E-Mail", "Projects", "Customers"};
    for (int i = 0; i < 4; ++i) {
        pages[i] = new PreferencesPage();
        pages[i]->setObjectName(QStringLiteral("TabPanel1Page%1").arg(i));
        TabPanel1->addTab(pages[i], QString::fromLatin1(tabs[i]));
    }
    TabPanel1->setCurrentIndex(0);

    auto field = [&](QLineEdit*& edit, const QString& name, int tab, QRect where) {
        edit = new QLineEdit();
        edit->setObjectName(name);
        pages[tab]->place(edit, where);
    };
    auto label
        = [&](QLabel*& text, const QString& name, int tab, QRect where, const QString& caption, Qt::Alignment align) {
              text = new QLabel(caption);
              text->setObjectName(name);
              text->setAlignment(align | Qt::AlignVCenter);
              pages[tab]->place(text, where);
          };

    field(eServidor, QStringLiteral("eServidor"), 1, QRect(128, 58, 240, 22));
    field(eMail, QStringLiteral("eMail"), 1, QRect(128, 86, 240, 22));
    field(eNome, QStringLiteral("eNome"), 1, QRect(128, 114, 240, 22));
    field(eAssunto, QStringLiteral("eAssunto"), 1, QRect(128, 142, 240, 22));
    eMensagem = new QPlainTextEdit();
    eMensagem->setObjectName(QStringLiteral("eMensagem"));
    eMensagem->setTabChangesFocus(true);
    pages[1]->place(eMensagem, QRect(128, 172, 240, 105));

    CoresFundo = new QCheckBox(QStringLiteral("Use labels colors in project background"));
    CoresFundo->setObjectName(QStringLiteral("CoresFundo"));
    pages[0]->place(CoresFundo, QRect(43, 56, 318, 34));

    const Qt::Alignment right = Qt::AlignRight;
    label(StaticText1, QStringLiteral("StaticText1"), 1, QRect(31, 58, 85, 20), QStringLiteral("Server"), right);
    label(StaticText2, QStringLiteral("StaticText2"), 1, QRect(31, 86, 85, 20), QStringLiteral("Login"), right);
    label(StaticText3, QStringLiteral("StaticText3"), 1, QRect(31, 114, 85, 20), QStringLiteral("E-Mail"), right);
    label(StaticText4, QStringLiteral("StaticText4"), 1, QRect(31, 168, 85, 20), QStringLiteral("Message"), right);

    btCancela = NewButton(
        this, QStringLiteral("btCancela"), QStringLiteral("Cancel"), QRect(233, 298, 68, 20), ButtonKind::Plain);
    btok = NewButton(this, QStringLiteral("btok"), QStringLiteral("Ok"), QRect(313, 298, 68, 20), ButtonKind::Default);

    label(StaticText5, QStringLiteral("StaticText5"), 1, QRect(31, 142, 85, 20), QStringLiteral("Subject"), right);
    label(StaticText6, QStringLiteral("StaticText6"), 2, QRect(48, 50, 299, 20),
        QStringLiteral("Use these header titles for Project list: "), Qt::AlignLeft);
    label(StaticText13, QStringLiteral("StaticText13"), 3, QRect(48, 50, 299, 20),
        QStringLiteral("Use these header titles for Customers list: "), Qt::AlignLeft);

    QLineEdit** projeto[] = {&tColProjeto1, &tColProjeto2, &tColProjeto3, &tColProjeto4, &tColProjeto5, &tColProjeto6};
    QLineEdit** cliente[] = {&tColCliente1, &tColCliente2, &tColCliente3, &tColCliente4, &tColCliente5, &tColCliente6};
    const int labelTop[] = {84, 116, 150, 183, 218, 252};
    for (int row = 0; row < 6; ++row) {
        const QString number = QStringLiteral("#%1").arg(row + 1);
        const int fieldTop = labelTop[row] - 2;
        QLabel* caption;
        label(caption, QStringLiteral("StaticText%1").arg(7 + row), 2, QRect(45, labelTop[row], 46, 20), number, right);
        field(*projeto[row], QStringLiteral("tColProjeto%1").arg(row + 1), 2, QRect(120, fieldTop, 227, 22));
        // Both heading tabs have captions "#1" to "#6": the tab's title goes before them.
        NameAfterCaption(*projeto[row], caption, TabPanel1->tabText(2));
        (*projeto[row])->setAccessibleDescription(StaticText6->text().trimmed());
        label(
            caption, QStringLiteral("StaticText%1").arg(14 + row), 3, QRect(45, labelTop[row], 46, 20), number, right);
        field(*cliente[row], QStringLiteral("tColCliente%1").arg(row + 1), 3, QRect(120, fieldTop, 227, 22));
        NameAfterCaption(*cliente[row], caption, TabPanel1->tabText(3));
        (*cliente[row])->setAccessibleDescription(StaticText13->text().trimmed());
    }

    NameAfterCaption(eServidor, StaticText1);
    NameAfterCaption(eMail, StaticText2);
    NameAfterCaption(eNome, StaticText3);
    NameAfterCaption(eMensagem, StaticText4);
    NameAfterCaption(eAssunto, StaticText5);
    CoresFundo->setAccessibleDescription(QStringLiteral("Takes effect at once, whichever button closes the window"));

    connect(CoresFundo, &QCheckBox::toggled, this, Guarded(this, &wPreferencias::CoresFundo_Action));
    connect(btCancela, &QPushButton::clicked, this, Guarded(this, &wPreferencias::btCancela_Action));
    connect(btok, &QPushButton::clicked, this, Guarded(this, &wPreferencias::btok_Action));
}

void wPreferencias::Open()
{
    const App* app = App::Instance();
    CoresFundo->setChecked(app->PintaFundo);
    eNome->setText(app->MailNome);
    eServidor->setText(app->MailServidor);
    eAssunto->setText(app->MailAssunto);
    eMail->setText(app->Mailmail);
    eMensagem->setPlainText(app->MailMensagem);
    tColProjeto1->setText(app->ColProjeto1);
    tColProjeto2->setText(app->ColProjeto2);
    tColProjeto3->setText(app->ColProjeto3);
    tColProjeto4->setText(app->ColProjeto4);
    tColProjeto5->setText(app->ColProjeto5);
    tColProjeto6->setText(app->ColProjeto6);
    tColCliente1->setText(app->ColCliente1);
    tColCliente2->setText(app->ColCliente2);
    tColCliente3->setText(app->ColCliente3);
    tColCliente4->setText(app->ColCliente4);
    tColCliente5->setText(app->ColCliente5);
    tColCliente6->setText(app->ColCliente6);
}

// The switch takes effect as it changes, whichever button closes the window afterwards.
void wPreferencias::CoresFundo_Action()
{
    App::Instance()->PintaFundo = CoresFundo->isChecked();
}

void wPreferencias::btok_Action()
{
    App* app = App::Instance();
    app->MailAssunto = eAssunto->text();
    app->Mailmail = eMail->text();
    app->MailMensagem = eMensagem->toPlainText();
    app->MailNome = eNome->text();
    app->MailServidor = eServidor->text();
    app->ColProjeto1 = tColProjeto1->text();
    app->ColProjeto2 = tColProjeto2->text();
    app->ColProjeto3 = tColProjeto3->text();
    app->ColProjeto4 = tColProjeto4->text();
    app->ColProjeto5 = tColProjeto5->text();
    app->ColProjeto6 = tColProjeto6->text();
    app->ColCliente1 = tColCliente1->text();
    app->ColCliente2 = tColCliente2->text();
    app->ColCliente3 = tColCliente3->text();
    app->ColCliente4 = tColCliente4->text();
    app->ColCliente5 = tColCliente5->text();
    app->ColCliente6 = tColCliente6->text();
    hide();
    Principal* w = Principal::Instance();
    w->SetHeadings();
    w->Projetos->viewport()->update();
    w->Contatos->viewport()->update();
    // Only the tasks are reloaded, to draw them with the present paint switch.
    w->CarregaProjetos();
}

void wPreferencias::btCancela_Action()
{
    hide();
}

void wPreferencias::reject()
{
    btCancela->click();
}

void wPreferencias::closeEvent(QCloseEvent* event)
{
    // The close box ends the window for real; the next use builds a new one from App.
    event->accept();
}
