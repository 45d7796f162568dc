#include "app.h"

#include "corehooks.h"
#include "exceptions.h"
#include "folderitem.h"
#include "text.h"

#include <QCoreApplication>
#include <QVersionNumber>
#include <iterator>

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
            Core::MsgBox(QStringLiteral("Error: ") + QLatin1Char('\n') + QLatin1Char('\n'));
            Core::Quit(0);
            return false;
        }
        for (const char* sql : kCreateTables)
            tvDB->SQLExecute(QString::fromLatin1(sql));
        EncheLabels();
    }
    if (!tvDB->Connect()) {
        Core::MsgBox(QStringLiteral("DB Error"));
        Core::Quit(0);
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
        Core::MsgBox(QStringLiteral("DB Error - Labels"));
    else
        tvDB->Commit();
}

namespace {
// One line of the preferences file. Its kind says how each side treats it; the differences between
// the reader and the writer are the file's format and stay as they are.
struct PrefsLine
{
    enum Kind {
        PaintFlag, // written "PintaFundo =1" or "=0"; only the last character is read
        Text, // written and read as it stands
        Geometry, // written from the live window; read through Val into a 32-bit member
        ProjetosWidth, // written from the live column; read as text
        ContatosWidth, // the same for the customer list
        Blank, // written empty; skipped by position when read, whatever it holds
    };
    Kind kind;
    QString App::*text = nullptr; // Text and widths: the member read into
    qint32 App::*number = nullptr; // Geometry: the member read into
    int (MainWindowPort::*live)() const = nullptr; // Geometry: what the writer writes
    int column = 0; // widths: the list's column
    const char* fallback = ""; // the value without a file, as text
    qint32 fallbackNumber = 0; // the same for Geometry
};

constexpr PrefsLine text(QString App::*member, const char* fallback = "")
{
    return {PrefsLine::Text, member, nullptr, nullptr, 0, fallback};
}
constexpr PrefsLine geometry(qint32 App::*member, int (MainWindowPort::*live)() const, qint32 fallback)
{
    return {PrefsLine::Geometry, nullptr, member, live, 0, "", fallback};
}
constexpr PrefsLine width(PrefsLine::Kind kind, QString App::*member, int column, const char* fallback)
{
    return {kind, member, nullptr, nullptr, column, fallback};
}
constexpr PrefsLine blank()
{
    return {PrefsLine::Blank};
}

// The file, line by line; lines 2 to 6 and 7 to 10 keep the file's order, not the declarations'.
const PrefsLine kPrefsLines[] = {
    {PrefsLine::PaintFlag},
    text(&App::MailAssunto),
    text(&App::Mailmail),
    text(&App::MailMensagem),
    text(&App::MailNome),
    text(&App::MailServidor),
    geometry(&App::janela_height, &MainWindowPort::Height, 463),
    geometry(&App::janela_left, &MainWindowPort::Left, 10),
    geometry(&App::janela_top, &MainWindowPort::Top, 110),
    geometry(&App::janela_width, &MainWindowPort::Width, 770),
    blank(),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize1, 1, "100"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize2, 2, "160"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize3, 3, "65"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize4, 4, "65"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize5, 5, "95"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize6, 6, "130"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize7, 7, "60"),
    width(PrefsLine::ProjetosWidth, &App::ProjetoColunaSize8, 8, "40"),
    blank(),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize1, 1, "170"),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize2, 2, "100"),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize3, 3, "50"),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize4, 4, "75"),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize5, 5, "150"),
    width(PrefsLine::ContatosWidth, &App::ClientesColunaSize6, 6, "165"),
    blank(),
    text(&App::ColProjeto1, "Project"),
    text(&App::ColProjeto2, "Task"),
    text(&App::ColProjeto3, "Start Date"),
    text(&App::ColProjeto4, "End Date"),
    text(&App::ColProjeto5, "Owner"),
    text(&App::ColProjeto6, "Comments"),
    blank(),
    blank(),
    text(&App::ColCliente1, "Name"),
    text(&App::ColCliente2, "Address"),
    text(&App::ColCliente3, "Version"),
    text(&App::ColCliente4, "Date"),
    text(&App::ColCliente5, "Project"),
    text(&App::ColCliente6, "Email"),
};
static_assert(std::size(kPrefsLines) == 41);
// The write hook runs before this line, with the file half written.
constexpr int kPrefsHookLine = 27;
} // namespace

void App::LePrefs()
{
    // Deliberate: the reader finds the file by a path text, the writer as a child of the folder.
    const FolderItem f = GetFolderItem(PreferencesFolder().AbsolutePath() + QStringLiteral("Tallyvane"));
    if (f.Exists()) {
        auto in = f.OpenAsTextFile();
        if (!in)
            throw NilObjectException();
        LePrefs(*in);
        in->Close();
    } else {
        for (const PrefsLine& line : kPrefsLines) {
            if (line.kind == PrefsLine::PaintFlag)
                PintaFundo = false;
            else if (line.number)
                this->*line.number = line.fallbackNumber;
            else if (line.text)
                this->*line.text = QString::fromLatin1(line.fallback);
        }
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
    for (const PrefsLine& line : kPrefsLines) {
        const QString value = in.ReadLine();
        if (line.kind == PrefsLine::PaintFlag)
            PintaFundo = Right(value, 1) == QLatin1String("1");
        else if (line.number)
            this->*line.number = ValInt32(value);
        else if (line.text)
            this->*line.text = value;
    }
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
    const MainWindowPort* w = m_mainWindow;
    int index = 0;
    for (const PrefsLine& line : kPrefsLines) {
        if (index++ == kPrefsHookLine && g_prefsWriteHook)
            g_prefsWriteHook();
        switch (line.kind) {
        case PrefsLine::PaintFlag:
            out->WriteLine(PintaFundo ? QStringLiteral("PintaFundo =1") : QStringLiteral("PintaFundo =0"));
            break;
        case PrefsLine::Text:
            out->WriteLine(this->*line.text);
            break;
        case PrefsLine::Geometry:
            out->WriteLine(w ? Str((w->*line.live)()) : QString());
            break;
        case PrefsLine::ProjetosWidth:
            out->WriteLine(w ? Str(w->ProjetosWidthActual(line.column)) : QString());
            break;
        case PrefsLine::ContatosWidth:
            out->WriteLine(w ? Str(w->ContatosWidthActual(line.column)) : QString());
            break;
        case PrefsLine::Blank:
            out->WriteLine(QString());
            break;
        }
    }
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
