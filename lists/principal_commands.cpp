// The commands of the toolbar and the menus that belong to the window: the mail campaign and the backup.
#include "canvas.h"
#include "dialogs.h"
#include "listbox.h"
#include "principal.h"
#include "progresswheel.h"
#include "smtpsocket1.h"
#include "text.h"
#include "wmailsenha.h"
#include "wmensagem1.h"

#include <QAction>

// ---- Mail campaign

void Principal::CreateMailControls()
{
    SMTPSocket1 = std::make_unique<::SMTPSocket1>();
    SMTPSocket1->setObjectName(QStringLiteral("SMTPSocket1"));
    SMTPSocket1->_SetWindow(this);
    SMTPSocket1->ServerError = [this](qint32 code, const QString& reply, const std::shared_ptr<EmailMessage>& m) {
        SMTPSocket1_ServerError(code, reply, m);
    };
    SMTPSocket1->Error = [this](int) { SMTPSocket1_Error(); };
    SMTPSocket1->MailSent = [this] { SMTPSocket1_MailSent(); };
}

// One HTML message to every selected customer, as blind copies of a single message.
void Principal::Mailing()
{
    App* app = App::Instance();
    if (app->MailServidor.isEmpty() || app->Mailmail.isEmpty() || app->MailNome.isEmpty()
        || app->MailMensagem.isEmpty()) {
        MsgBox(QStringLiteral("Please use preference panel to complete your e-mail preferences."));
        return;
    }
    if (!AbreJanela(QStringLiteral("Confirm send E-Mail to selected clients?"), true, QStringLiteral("Attention")))
        return;
    wMailSenha::Instance()->ShowModal();
    if (app->MailSenha.isEmpty())
        return;

    SMTPSocket1->Address = app->MailServidor;
    SMTPSocket1->Port = 25;
    SMTPSocket1->Username = app->Mailmail;
    SMTPSocket1->Password = app->MailSenha;

    auto mail = std::make_shared<EmailMessage>();
    mail->setFromAddress(app->Mailmail);
    mail->setSubject(app->MailAssunto);

    // Exact in case, in this order.
    static const char16_t* const accents[][2] = {{u"á", u"&aacute;"}, {u"é", u"&eacute;"}, {u"í", u"&iacute;"},
        {u"ó", u"&oacute;"}, {u"ú", u"&uacute;"}, {u"Á", u"&Aacute;"}, {u"É", u"&Eacute;"}, {u"Í", u"&Iacute;"},
        {u"Ó", u"&Oacute;"}, {u"Ú", u"&Uacute;"}, {u"à", u"&agrave;"}, {u"ç", u"&ccedil;"}, {u"À", u"&Agrave;"},
        {u"Ç", u"&Ccedil;"}, {u"ã", u"&atilde;"}, {u"Ã", u"&Atilde;"}, {u"õ", u"&otilde;"}, {u"Õ", u"&Otilde;"}};
    QString text = app->MailMensagem;
    for (const auto& [accented, entity] : accents)
        text = ReplaceAll(text, QString::fromUtf16(accented), QString::fromUtf16(entity));

    mail->Headers->AppendHeader(
        QStringLiteral("Content-type"), QStringLiteral("text/html;charset=ISO-8859-1; delsp=yes; format=flowed"));
    mail->Headers->AppendHeader(QStringLiteral("Mime-Version"), QStringLiteral("1.0"));
    mail->Headers->AppendHeader(QStringLiteral("Content-transfer-encoding"), QStringLiteral("quoted-printable"));
    // Deliberate: the meta line keeps its misplaced quotes; the message text is fixed byte for byte.
    const QString html = QStringLiteral("<html><head>")
        + QStringLiteral("<meta http-equiv=\"Content-Type content=text/html\"; charset=\"ISO-8859-1\">")
        + QStringLiteral("</head><body>") + text + QStringLiteral("</body></html>");

    // Deliberate: asked this late, after the confirmation and the password.
    const int last = Contatos->ListCount() - 1;
    if (Contatos->SelCount() == 0) {
        MsgBox(QStringLiteral("Please select one client"));
        return;
    }
    for (int row = 0; row <= last; ++row) {
        if (Contatos->Selected(row))
            mail->AddBCCRecipient(Trim(Contatos->Cell(row, 6)));
    }
    mail->BodyPlainText = text;
    mail->BodyHTML = html;

    SMTPSocket1->Messages.append(mail);
    SMTPSocket1->SendMail();

    wMensagem1* progress = wMensagem1::Instance();
    progress->ProgressWheel1->setVisible(true);
    progress->Show();
}

void Principal::SMTPSocket1_ServerError(qint32, const QString& reply, const std::shared_ptr<EmailMessage>&)
{
    MsgBox(QStringLiteral("Mail Error - ") + reply);
}

// Deliberate: a connection that fails or drops is not reported; the progress window stays up, and the
// queue waits for a later campaign.
void Principal::SMTPSocket1_Error() { }

void Principal::SMTPSocket1_MailSent()
{
    wMensagem1* progress = wMensagem1::Instance();
    progress->hide();
    progress->ProgressWheel1->setVisible(false);
}

// ---- Commands

namespace {
std::function<void()> g_labelEditor;
}

void Principal::setLabelEditor(std::function<void()> showModal)
{
    g_labelEditor = std::move(showModal);
}

void Principal::showProjectsPage()
{
    m_pagePanel->setValue(1);
    Projetos->SetFocus();
    CarregaProjetos();
}

void Principal::mailFromCustomersPage()
{
    if (m_pagePanel->Value() != 0)
        m_pagePanel->setValue(0);
    Mailing();
}

void Principal::Toolbar11_Action(QAction* item)
{
    const QString name = item->objectName();
    if (name == QLatin1String("tb_projetos")) {
        showProjectsPage();
    } else if (name == QLatin1String("tb_clientes")) {
        // Unlike the menu's Customers, the toolbar loads before it focuses.
        m_pagePanel->setValue(0);
        CarregaContatos();
        Contatos->SetFocus();
    } else if (name == QLatin1String("tb_label")) {
        if (g_labelEditor)
            g_labelEditor();
    } else if (name == QLatin1String("tb_mail")) {
        mailFromCustomersPage();
    } else if (name == QLatin1String("tb_backup")) {
        FazBackup();
    }
}

void Principal::FazBackup()
{
    // The path is rebuilt by name, not asked of the open database.
    const auto db = App::DatabaseItem();
    const std::optional<FolderItem> f = GetSaveFolderItem(QString(), QStringLiteral("Tally Vane.rbd"));
    if (!f)
        return;
    db->CopyFileTo(*f); // not looked at: the message follows every copy
    MsgBox(QStringLiteral("Backup Ok"));
}
