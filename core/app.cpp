#include "app.h"

#include "application.h"
#include "dialogs.h"
#include "exceptions.h"
#include "folderitem.h"
#include "text.h"

#include <QCoreApplication>
#include <QVersionNumber>

namespace {
App* g_app = nullptr;
std::function<void()> g_prefsWriteHook;

const char* const kCreateTables[] = {
    "CREATE TABLE Projetos (  id INTEGER PRIMARY KEY, titulo VarChar, datainicio date, datafim date, responsavel "
    "VarChar )",
    "CREATE TABLE Tarefas (  id INTEGER PRIMARY KEY, Projeto VarChar, Titulo VarChar, datainicio VarChar, datafim "
    "VarChar, responsavel VarChar, Label VarChar, Comentarios VarChar, Ok Boolean )",
    "CREATE TABLE Contatos ( id INTEGER PRIMARY KEY, Projeto Integer, Nome VarChar, Endereco VarChar, Serial VarChar, "
    "Versao VarChar,  Data VarChar, ProjetoNome VarChar, Tipo VarChar, Email VarChar)",
    "CREATE TABLE Labels (  id INTEGER PRIMARY KEY, Label1 VarChar,  Label2 VarChar,  Label3 VarChar,  Label4 VarChar, "
    " Label5 VarChar, cLabel1 VarChar, cLabel2 VarChar, cLabel3 VarChar, cLabel4 VarChar, cLabel5 VarChar)",
    "CREATE TABLE Notas (  id INTEGER PRIMARY KEY, Titulo VarChar,  Conteudo VarChar,  Data VarChar,  Campo1 VarChar,  "
    "Campo2 VarChar, Campo3 VarChar)",
    "CREATE TABLE Extra (  id INTEGER PRIMARY KEY, Campo1 VarChar,  Campo2 VarChar,  Campo3 VarChar,  Campo4 VarChar, "
    " Campo5 VarChar, Campo6 VarChar)",
};
} // namespace

App::App()
{
    Q_ASSERT(!g_app);
    g_app = this;
}

App::~App()
{
    if (g_app == this)
        g_app = nullptr;
}

App* App::Instance()
{
    return g_app;
}

Nilable<FolderItem> App::DataFolder()
{
    return SpecialFolder::Documents().Child(QStringLiteral("Tally Vane"));
}

Nilable<FolderItem> App::DatabaseItem()
{
    return DataFolder()->Child(QStringLiteral("Tally Vane.rbd"));
}

Nilable<FolderItem> App::PrefsItem()
{
    return PreferencesFolder().Child(QStringLiteral("Tallyvane"));
}

bool App::Open()
{
    const auto folder = DataFolder();
    if (!folder->Exists())
        folder->CreateAsFolder();
    // Nil when the folder could not be made: there is no path then, and the database steps fail.
    const auto file = DatabaseItem();
    tvDB = std::make_unique<SQLDatabase>();
    tvDB->DatabaseFile = file ? file->NativePath() : QString();
    if (!file || !file->Exists()) {
        if (!tvDB->CreateDatabaseFile()) {
            MsgBox(QStringLiteral("Error: ") + QLatin1Char('\n') + QLatin1Char('\n'));
            Quit(0);
            return false;
        }
        for (const char* sql : kCreateTables)
            tvDB->SQLExecute(QString::fromLatin1(sql));
        EncheLabels();
    }
    if (!tvDB->Connect()) {
        MsgBox(QStringLiteral("DB Error"));
        Quit(0);
        return false;
    }
    LePrefs();
    return true;
}

void App::EncheLabels()
{
    DatabaseRecord r;
    r.Column(QStringLiteral("Label1"), QStringLiteral("Important"));
    r.Column(QStringLiteral("Label2"), QStringLiteral("Pending"));
    r.Column(QStringLiteral("Label3"), QStringLiteral("Ok"));
    r.Column(QStringLiteral("Label4"), QStringLiteral("Urgent"));
    r.Column(QStringLiteral("Label5"), QStringLiteral("Finished"));
    r.Column(QStringLiteral("cLabel1"), QStringLiteral("&hFF0000"));
    r.Column(QStringLiteral("cLabel2"), QStringLiteral("&hE6E801"));
    r.Column(QStringLiteral("cLabel3"), QStringLiteral("&h0000FF"));
    r.Column(QStringLiteral("cLabel4"), QStringLiteral("&h00FF00"));
    r.Column(QStringLiteral("cLabel5"), QStringLiteral("&hFFCC00"));
    tvDB->InsertRecord(QStringLiteral("Labels"), r);
    if (tvDB->Error())
        MsgBox(QStringLiteral("DB Error - Labels"));
    else
        tvDB->Commit();
}

QString* App::projetoColunaSize(int column)
{
    QString* sizes[] = {&ProjetoColunaSize1, &ProjetoColunaSize2, &ProjetoColunaSize3, &ProjetoColunaSize4,
        &ProjetoColunaSize5, &ProjetoColunaSize6, &ProjetoColunaSize7, &ProjetoColunaSize8};
    return sizes[column - 1];
}

QString* App::clientesColunaSize(int column)
{
    QString* sizes[] = {&ClientesColunaSize1, &ClientesColunaSize2, &ClientesColunaSize3, &ClientesColunaSize4,
        &ClientesColunaSize5, &ClientesColunaSize6};
    return sizes[column - 1];
}

void App::LePrefs()
{
    // The reader finds the file by a path text, the writer as a child of the folder.
    const FolderItem f = GetFolderItem(PreferencesFolder().AbsolutePath() + QStringLiteral("Tallyvane"));
    if (f.Exists()) {
        auto in = f.OpenAsTextFile();
        if (!in)
            throw NilObjectException();
        LePrefs(*in);
        in->Close();
    } else {
        PintaFundo = false;
        MailAssunto.clear();
        Mailmail.clear();
        MailMensagem.clear();
        MailNome.clear();
        MailServidor.clear();
        janela_height = 463;
        janela_left = 10;
        janela_top = 110;
        janela_width = 770;
        const char* projeto[] = {"100", "160", "65", "65", "95", "130", "60", "40"};
        for (int c = 1; c <= 8; ++c)
            *projetoColunaSize(c) = QString::fromLatin1(projeto[c - 1]);
        const char* clientes[] = {"170", "100", "50", "75", "150", "165"};
        for (int c = 1; c <= 6; ++c)
            *clientesColunaSize(c) = QString::fromLatin1(clientes[c - 1]);
        ColProjeto1 = QStringLiteral("Project");
        ColProjeto2 = QStringLiteral("Task");
        ColProjeto3 = QStringLiteral("Start Date");
        ColProjeto4 = QStringLiteral("End Date");
        ColProjeto5 = QStringLiteral("Owner");
        ColProjeto6 = QStringLiteral("Comments");
        ColCliente1 = QStringLiteral("Name");
        ColCliente2 = QStringLiteral("Address");
        ColCliente3 = QStringLiteral("Version");
        ColCliente4 = QStringLiteral("Date");
        ColCliente5 = QStringLiteral("Project");
        ColCliente6 = QStringLiteral("Email");
    }
    if (m_mainWindow) {
        m_mainWindow->setHeight(janela_height);
        m_mainWindow->setLeft(janela_left);
        m_mainWindow->setTop(janela_top);
        m_mainWindow->setWidth(janela_width);
    }
}

void App::LePrefs(TextInputStream& in)
{
    PintaFundo = Right(in.ReadLine(), 1) == QLatin1String("1");
    MailAssunto = in.ReadLine();
    Mailmail = in.ReadLine();
    MailMensagem = in.ReadLine();
    MailNome = in.ReadLine();
    MailServidor = in.ReadLine();
    janela_height = ValInt32(in.ReadLine());
    janela_left = ValInt32(in.ReadLine());
    janela_top = ValInt32(in.ReadLine());
    janela_width = ValInt32(in.ReadLine());
    in.ReadLine();
    for (int c = 1; c <= 8; ++c)
        *projetoColunaSize(c) = in.ReadLine();
    in.ReadLine();
    for (int c = 1; c <= 6; ++c)
        *clientesColunaSize(c) = in.ReadLine();
    in.ReadLine();
    ColProjeto1 = in.ReadLine();
    ColProjeto2 = in.ReadLine();
    ColProjeto3 = in.ReadLine();
    ColProjeto4 = in.ReadLine();
    ColProjeto5 = in.ReadLine();
    ColProjeto6 = in.ReadLine();
    in.ReadLine();
    in.ReadLine();
    ColCliente1 = in.ReadLine();
    ColCliente2 = in.ReadLine();
    ColCliente3 = in.ReadLine();
    ColCliente4 = in.ReadLine();
    ColCliente5 = in.ReadLine();
    ColCliente6 = in.ReadLine();
}

void App::setPrefsWriteHook(std::function<void()> hook)
{
    g_prefsWriteHook = std::move(hook);
}

void App::GravaPrefs()
{
    auto out = PrefsItem()->CreateTextFile();
    if (!out)
        throw NilObjectException();
    out->WriteLine(PintaFundo ? QStringLiteral("PintaFundo =1") : QStringLiteral("PintaFundo =0"));
    out->WriteLine(MailAssunto);
    out->WriteLine(Mailmail);
    out->WriteLine(MailMensagem);
    out->WriteLine(MailNome);
    out->WriteLine(MailServidor);
    const MainWindowPort* w = m_mainWindow;
    out->WriteLine(w ? Str(w->Height()) : QString());
    out->WriteLine(w ? Str(w->Left()) : QString());
    out->WriteLine(w ? Str(w->Top()) : QString());
    out->WriteLine(w ? Str(w->Width()) : QString());
    out->WriteLine(QString());
    for (int c = 1; c <= 8; ++c)
        out->WriteLine(w ? Str(w->ProjetosWidthActual(c)) : QString());
    out->WriteLine(QString());
    for (int c = 1; c <= 6; ++c)
        out->WriteLine(w ? Str(w->ContatosWidthActual(c)) : QString());
    out->WriteLine(QString());
    if (g_prefsWriteHook)
        g_prefsWriteHook();
    out->WriteLine(ColProjeto1);
    out->WriteLine(ColProjeto2);
    out->WriteLine(ColProjeto3);
    out->WriteLine(ColProjeto4);
    out->WriteLine(ColProjeto5);
    out->WriteLine(ColProjeto6);
    out->WriteLine(QString());
    out->WriteLine(QString());
    out->WriteLine(ColCliente1);
    out->WriteLine(ColCliente2);
    out->WriteLine(ColCliente3);
    out->WriteLine(ColCliente4);
    out->WriteLine(ColCliente5);
    out->WriteLine(ColCliente6);
    out->Close();
}

int App::MajorVersion()
{
    return QVersionNumber::fromString(QCoreApplication::applicationVersion()).majorVersion();
}

int App::MinorVersion()
{
    return QVersionNumber::fromString(QCoreApplication::applicationVersion()).minorVersion();
}

int App::BugVersion()
{
    return QVersionNumber::fromString(QCoreApplication::applicationVersion()).microVersion();
}
