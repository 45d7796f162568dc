#include "principal.h"

#include "application.h"
#include "canvas.h"
#include "colors.h"
#include "confirma.h"
#include "contextualmenu.h"
#include "dialogs.h"
#include "exceptions.h"
#include "keyboard.h"
#include "listbox.h"
#include "progresswheel.h"
#include "smtpsocket1.h"
#include "text.h"
#include "wmailsenha.h"
#include "wmensagem1.h"

#include <QAction>
#include <QCloseEvent>
#include <QFontMetrics>
#include <QLabel>
#include <QPushButton>
#include <QToolBar>
#include <algorithm>

namespace {
const QString kTab = QStringLiteral("\t");

bool isReturn(const QString& key)
{
    return isKey(key, KeyCode::Return) || isKey(key, KeyCode::Enter);
}
} // namespace

bool Principal::Start()
{
    Principal* w = Instance();
    if (!App::Instance()->Open())
        return false;
    w->OpenControls();
    w->Open();
    w->show();
    return true;
}

Principal::Principal()
{
    setObjectName(QStringLiteral("Principal"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Tallyvane"));
    setMinimumSize(64, 64);
    setMaximumSize(32000, 32000);
    resize(796, 529);
    CreateControls();
    App::Instance()->setMainWindow(this);
}

Principal::~Principal()
{
    // The question stands on the screen, not over this window, so it is no child of it.
    confirma::Release();
    wMailSenha::Release();
    wMensagem1::Release();
    if (App::Instance() && App::Instance()->mainWindow() == this)
        App::Instance()->setMainWindow(nullptr);
}

void Principal::CreateControls()
{
    auto* canvas = new Canvas(QSize(796, 529));
    setCentralWidget(canvas);
    m_pagePanel = new PagePanel(2, QSize(758, 509));
    m_pagePanel->setObjectName(QStringLiteral("PagePanel"));
    canvas->place(m_pagePanel, QRect(17, 0, 758, 509), LockAll);
    Canvas* page0 = m_pagePanel->page(0);
    Canvas* page1 = m_pagePanel->page(1);
    // Page controls are given in window coordinates; the panel stands at 17, 0.
    auto onPage = [](int left, int top, int width, int height) { return QRect(left - 17, top, width, height); };

    Contatos = new Listbox(7);
    Contatos->setObjectName(QStringLiteral("Contatos"));
    page0->place(Contatos, onPage(18, 35, 757, 430), LockAll);
    Projetos = new Listbox(9);
    Projetos->setObjectName(QStringLiteral("Projetos"));
    page1->place(Projetos, onPage(18, 35, 757, 430), LockAll);

    bt_inserecontato = new QPushButton(QStringLiteral("Add"));
    bt_inserecontato->setObjectName(QStringLiteral("bt_inserecontato"));
    page0->place(bt_inserecontato, onPage(18, 480, 54, 20), LockLeft | LockBottom);
    bt_insereprojeto = new QPushButton(QStringLiteral("Add"));
    bt_insereprojeto->setObjectName(QStringLiteral("bt_insereprojeto"));
    page1->place(bt_insereprojeto, onPage(18, 480, 54, 20), LockLeft | LockBottom);

    // A title is 100 by 20, or as much larger as the platform's font needs to show it whole; its lines
    // stand on the bottom edge, where the space above the capitals is not needed.
    auto title = [onPage](Canvas* page, const QString& text, const QString& name, int left, int top) {
        auto* label = new QLabel(text);
        label->setObjectName(name);
        QFont f = label->font();
        f.setPointSize(14);
        label->setFont(f);
        label->setAlignment(Qt::AlignLeft | Qt::AlignBottom);
        QPalette p = label->palette();
        p.setColor(QPalette::WindowText, Qt::black);
        label->setPalette(p);
        const QFontMetrics fm(f);
        const QRect ink = fm.tightBoundingRect(text);
        const int width = std::max({100, int(fm.horizontalAdvance(text)), ink.right() + 1});
        page->place(label, onPage(left, top, width, qMax(20, fm.descent() - ink.top())), 0);
        return label;
    };
    StaticText1 = title(page0, QStringLiteral("Customers"), QStringLiteral("StaticText1"), 17, 9);
    StaticText2 = title(page1, QStringLiteral("Projects"), QStringLiteral("StaticText2"), 17, 8);

    Contatos->CellClick = [this](int r, int c, int x, int y) { return Contatos_CellClick(r, c, x, y); };
    Contatos->DoubleClick = [this] { Contatos_DoubleClick(); };
    Contatos->CellKeyDown = [this](int r, int c, const QString& k) { return Contatos_CellKeyDown(r, c, k); };
    Contatos->KeyDown = [this](const QString& k) { return Contatos_KeyDown(k); };
    Projetos->CellClick = [this](int r, int c, int x, int y) { return Projetos_CellClick(r, c, x, y); };
    Projetos->DoubleClick = [this] { Projetos_DoubleClick(); };
    Projetos->CellKeyDown = [this](int r, int c, const QString& k) { return Projetos_CellKeyDown(r, c, k); };
    Projetos->KeyDown = [this](const QString& k) { return Projetos_KeyDown(k); };
    Projetos->CellLostFocus = [this](int r, int c) { Projetos_CellLostFocus(r, c); };
    Projetos->CellAction = [this](int r, int c) { Projetos_CellAction(r, c); };
    connect(bt_inserecontato, &QPushButton::clicked, this, Guarded(this, &Principal::bt_inserecontato_Action));
    connect(bt_insereprojeto, &QPushButton::clicked, this, Guarded(this, &Principal::bt_insereprojeto_Action));
    CreateLabelControls();
    CreateMailControls();
}

void Principal::OpenControls()
{
    Contatos_Open();
    Projetos_Open();
    // Each control's Open is an event of its own: a failure there must not keep the window from opening.
    try {
        ContextualMenu1_Open();
    } catch (const std::exception& e) {
        Application::ReportUnhandled(e);
    }
}

void Principal::Contatos_Open() { }

void Principal::Projetos_Open()
{
    Projetos->setColumnType(8, Listbox::TypeCheckbox);
}

// The headings from the preferences; the task list adds its two fixed ones.
void Principal::SetHeadings()
{
    const App* app = App::Instance();
    Projetos->setInitialValue(kTab + app->ColProjeto1 + kTab + app->ColProjeto2 + kTab + app->ColProjeto3 + kTab
        + app->ColProjeto4 + kTab + app->ColProjeto5 + kTab + app->ColProjeto6 + kTab + QStringLiteral("Label") + kTab
        + QStringLiteral("Ok"));
    Contatos->setInitialValue(kTab + app->ColCliente1 + kTab + app->ColCliente2 + kTab + app->ColCliente3 + kTab
        + app->ColCliente4 + kTab + app->ColCliente5 + kTab + app->ColCliente6);
}

void Principal::Open()
{
    App* app = App::Instance();
    app->LePrefs();
    Projetos->setColumnWidths(QStringLiteral("0,")
        + QStringList(
            {app->ProjetoColunaSize1, app->ProjetoColunaSize2, app->ProjetoColunaSize3, app->ProjetoColunaSize4,
                app->ProjetoColunaSize5, app->ProjetoColunaSize6, app->ProjetoColunaSize7, app->ProjetoColunaSize8})
              .join(QStringLiteral(",  ")));
    Contatos->setColumnWidths(QStringLiteral("0,")
        + QStringList({app->ClientesColunaSize1, app->ClientesColunaSize2, app->ClientesColunaSize3,
                          app->ClientesColunaSize4, app->ClientesColunaSize5, app->ClientesColunaSize6})
              .join(QStringLiteral(",  ")));
    SetHeadings();
    CarregaContatos();
    CarregaProjetos();
    m_pagePanel->setValue(1);
    Projetos->SetFocus();
    m_opened = true;
}

void Principal::Close()
{
    SQLDatabase* db = App::Instance()->tvDB.get();
    db->SQLExecute(QStringLiteral("VACUUM Clientes"));
    db->SQLExecute(QStringLiteral("VACUUM Projetos"));
    db->SQLExecute(QStringLiteral("VACUUM Tarefas"));
    db->Close();
    App::Instance()->GravaPrefs();
    Quit(0);
}

void Principal::closeEvent(QCloseEvent* event)
{
    // Quitting cannot be refused, and a window that never opened has nothing to store.
    event->accept();
    if (!m_opened)
        return;
    m_opened = false;
    try {
        Close();
    } catch (const std::exception& e) {
        Application::ReportUnhandled(e);
        Quit(0);
    }
}

// The height of the pages, as designed: the menu bar and toolbar above them are not counted, so the
// lists keep their size whether or not the bars stand there.
int Principal::barsHeight() const
{
    int h = menuWidget() ? menuWidget()->sizeHint().height() : 0;
    if (Toolbar11 && !Toolbar11->isHidden())
        h += Toolbar11->sizeHint().height();
    return h;
}
int Principal::Height() const
{
    return geometry().height() - barsHeight();
}
int Principal::Left() const
{
    return geometry().x();
}
int Principal::Top() const
{
    return geometry().y();
}
int Principal::Width() const
{
    return geometry().width();
}

namespace {
// A place or size from the preferences may be any 32-bit number. Computed wide and kept within what a
// window can have, so that no sum overflows; the window then is as large, small or far out as the
// platform lets it be.
int windowSpan(qint64 value)
{
    return int(std::clamp<qint64>(value, -QWIDGETSIZE_MAX, QWIDGETSIZE_MAX));
}
} // namespace

void Principal::setHeight(int value)
{
    QRect g = geometry();
    g.setHeight(windowSpan(qint64(value) + barsHeight()));
    setGeometry(g);
}

void Principal::setLeft(int value)
{
    QRect g = geometry();
    g.moveLeft(windowSpan(value));
    setGeometry(g);
}

void Principal::setTop(int value)
{
    QRect g = geometry();
    g.moveTop(windowSpan(value));
    setGeometry(g);
}

void Principal::setWidth(int value)
{
    QRect g = geometry();
    g.setWidth(windowSpan(value));
    setGeometry(g);
}

int Principal::ProjetosWidthActual(int column) const
{
    return Projetos->WidthActual(column);
}
int Principal::ContatosWidthActual(int column) const
{
    return Contatos->WidthActual(column);
}

// ---- What both lists do alike

namespace {
// A list row's cell and the field of the record it shows, as the loaders and the writers pair them.
struct CellField
{
    int cell;
    int field;
};
struct CellColumn
{
    int cell;
    const char* column;
};

// Rebuilds a list from a query, a row per record. Deliberate: every field after the first writes the
// row's cells again; the list makes such repeated writes cheap rather than the loop skipping them.
void fillList(
    Listbox* list, const QString& sql, std::initializer_list<CellField> cells, int checkCell = -1, int checkField = 0)
{
    auto rs = App::Instance()->tvDB->SQLSelect(sql);
    list->DeleteAllRows();
    if (!rs)
        return;
    const int n = rs->FieldCount();
    while (!rs->Eof()) {
        for (int i = 1; i <= n; ++i) {
            if (i == 1) {
                list->AddRowUtf8(rs->IdxField(1).Utf8());
                continue;
            }
            const int r = list->LastIndex();
            for (const CellField& c : cells)
                list->setCellUtf8(r, c.cell, rs->IdxField(c.field).Utf8());
            if (checkCell >= 0)
                list->setCellCheck(r, checkCell, rs->IdxField(checkField).BooleanValue());
        }
        rs->MoveNext();
    }
}

DatabaseRecord recordOf(const Listbox* list, int row, std::initializer_list<CellColumn> columns)
{
    DatabaseRecord r;
    for (const CellColumn& c : columns)
        r.Column(QString::fromLatin1(c.column), list->Cell(row, c.cell));
    return r;
}

// The fields the user types in are cells 1 to 6; a row with all of them empty holds no data.
bool cellsEmpty(const Listbox* list, int row)
{
    for (int c = 1; c <= 6; ++c) {
        if (!list->Cell(row, c).isEmpty())
            return false;
    }
    return true;
}

// Tab and Shift-Tab: the next or the previous column, held within 0 and last.
int tabColumn(int column, int last)
{
    column = Keyboard::ShiftKey() ? column - 1 : column + 1;
    return qBound(0, column, last);
}

bool insertCommitted(const QString& table, const DatabaseRecord& record)
{
    SQLDatabase* db = App::Instance()->tvDB.get();
    db->InsertRecord(table, record);
    if (db->Error()) {
        MsgBox(QStringLiteral("DB Error"));
        return false;
    }
    db->Commit();
    return true;
}

void deleteById(SQLDatabase* db, const QString& table, const QString& id)
{
    db->SQLExecute(QStringLiteral("DELETE FROM ") + table + QStringLiteral(" where id='") + id + QStringLiteral("'"));
}

// A change is a delete by id and a new insert, each committed: the record comes back under a new id.
bool replaceById(const QString& table, const QString& id, const DatabaseRecord& record)
{
    SQLDatabase* db = App::Instance()->tvDB.get();
    deleteById(db, table, id);
    db->Commit();
    return insertCommitted(table, record);
}

// False when no row is selected: then nothing changes.
bool deleteSelectedRows(const Listbox* list, const QString& table)
{
    const int n = list->ListCount();
    if (list->SelCount() == 0)
        return false;
    SQLDatabase* db = App::Instance()->tvDB.get();
    for (int i = 0; i < n; ++i) {
        if (list->Selected(i))
            deleteById(db, table, list->Cell(i, 0));
    }
    db->Commit();
    return true;
}
} // namespace

// The cell opened by Tab shows its text selected, so typing replaces it.
void Principal::editCellSelected(Listbox* list, int row, int column)
{
    RowEditada = row;
    list->EditCell(row, column);
    if (auto cell = list->ActiveCell()) {
        cell->setSelStart(0);
        cell->setSelLength(999999);
    }
}

// Return stores the open row: a new one is inserted, any other changed.
void Principal::storeEditedRow(bool& insertMode, void (Principal::*insere)(), void (Principal::*altera)())
{
    if (insertMode) {
        (this->*insere)();
        insertMode = false;
    } else {
        (this->*altera)();
    }
}

// Backspace or Delete over selected rows asks before anything goes.
bool Principal::deleteConfirmed(const Listbox* list, const QString& key)
{
    return list->SelCount() != 0 && (isKey(key, KeyCode::Backspace) || isKey(key, KeyCode::Delete))
        && AbreJanela(QStringLiteral("Are you sure to delete?"), true, QStringLiteral("Attention"));
}

void Principal::startNewRow(Listbox* list)
{
    list->InsertRow(0, QString(), 0);
    list->EditCell(list->LastIndex(), 1);
}

// ---- Customers

void Principal::CarregaContatos()
{
    fillList(Contatos, QStringLiteral("SELECT * from Contatos ORDER BY Nome"),
        {{0, 1}, {1, 3}, {2, 5}, {3, 6}, {4, 7}, {5, 8}, {6, 10}});
    m_pagePanel->setValue(0);
    Contatos->SetFocus();
}

bool Principal::Contatos_CellClick(int row, int column, int, int)
{
    RowClicked = row;
    ColumnClicked = column;
    return false;
}

void Principal::Contatos_DoubleClick()
{
    Contatos->EditCell(RowClicked, ColumnClicked);
}

bool Principal::Contatos_CellKeyDown(int row, int column, const QString& key)
{
    if (isKey(key, KeyCode::Tab)) {
        editCellSelected(Contatos, row, tabColumn(column, Contatos->ColumnCount() - 1));
        return true;
    }
    if (isReturn(key))
        storeEditedRow(modo_insere, &Principal::InsereContato, &Principal::AlteraContato);
    return false;
}

bool Principal::Contatos_KeyDown(const QString& key)
{
    if (deleteConfirmed(Contatos, key))
        ApagaContato();
    return false;
}

void Principal::bt_inserecontato_Action()
{
    modo_insere = true;
    startNewRow(Contatos);
}

DatabaseRecord Principal::contatoRecord(int row) const
{
    return recordOf(
        Contatos, row, {{1, "Nome"}, {6, "Email"}, {2, "Serial"}, {3, "Versao"}, {4, "Data"}, {5, "ProjetoNome"}});
}

void Principal::InsereContato()
{
    const int r = Contatos->ListIndex();
    if (cellsEmpty(Contatos, r)) {
        MsgBox(QStringLiteral("Invalid Data"));
        return;
    }
    if (insertCommitted(QStringLiteral("Contatos"), contatoRecord(r)))
        CarregaContatos();
}

void Principal::AlteraContato()
{
    const int r = Contatos->ListIndex();
    if (cellsEmpty(Contatos, r)) {
        MsgBox(QStringLiteral("Invalid Data"));
        return;
    }
    if (replaceById(QStringLiteral("Contatos"), Contatos->Cell(r, 0), contatoRecord(r)))
        CarregaContatos();
}

void Principal::ApagaContato()
{
    if (deleteSelectedRows(Contatos, QStringLiteral("Contatos")))
        CarregaContatos();
}

bool Principal::AbreJanela(const QString& text, bool ask, const QString& title)
{
    confirma* w = confirma::Instance();
    w->mensagem->setText(text);
    w->setWindowTitle(title);
    if (ask) {
        w->BT_cancela->setVisible(true);
        w->BT_ok->move(134, w->BT_ok->y());
        w->BT_cancela->setDefault(true);
        w->BT_ok->setDefault(false);
    } else {
        w->BT_cancela->setVisible(false);
        w->BT_ok->move(172, w->BT_ok->y());
        w->BT_ok->setDefault(true);
        w->BT_cancela->setDefault(false);
    }
    // Any way out of the window but Ok reads as no.
    w->opcao = false;
    if (auto answer = DialogHooks::takeAnswer(Dialog::Confirma))
        return answer->toBool();
    w->exec();
    return w->opcao;
}

// ---- Tasks

void Principal::CarregaProjetos()
{
    // The label is field 7 and the comments field 8, shown the other way round.
    fillList(Projetos, QStringLiteral("SELECT * from Tarefas ORDER BY Projeto"),
        {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5}, {5, 6}, {7, 7}, {6, 8}}, 8, 9);
}

bool Principal::Projetos_CellClick(int row, int column, int, int)
{
    RowClicked = row;
    ColumnClicked = column;
    if (IsContextualClick()) {
        ContextualMenu1->Open();
        return true;
    }
    return false;
}

void Principal::Projetos_DoubleClick()
{
    if (ColumnClicked != 6)
        Projetos->EditCell(RowClicked, ColumnClicked);
}

bool Principal::Projetos_CellKeyDown(int row, int column, const QString& key)
{
    if (isKey(key, KeyCode::Escape))
        CarregaProjetos();
    if (isKey(key, KeyCode::Tab)) {
        // The check box column is never opened, and the label column gives way to the comments.
        column = tabColumn(column, Projetos->ColumnCount() - 2);
        editCellSelected(Projetos, row, column == 7 ? 6 : column);
        return true;
    }
    if (isReturn(key))
        storeEditedRow(modo_insere2, &Principal::InsereProjeto, &Principal::AlteraProjeto);
    return false;
}

bool Principal::Projetos_KeyDown(const QString& key)
{
    if (deleteConfirmed(Projetos, key))
        ApagaProjeto();
    return false;
}

void Principal::Projetos_CellLostFocus(int, int) { }

void Principal::Projetos_CellAction(int, int column)
{
    if (column == 8 && !modo_insere2)
        AlteraProjeto();
}

void Principal::bt_insereprojeto_Action()
{
    modo_insere2 = true;
    startNewRow(Projetos);
}

DatabaseRecord Principal::projetoRecord(int row) const
{
    DatabaseRecord r = recordOf(Projetos, row,
        {{1, "Projeto"}, {2, "Titulo"}, {3, "DataInicio"}, {4, "DataFim"}, {5, "Responsavel"}, {7, "Label"},
            {6, "Comentarios"}});
    r.BooleanColumn(QStringLiteral("Ok"), Projetos->CellCheck(row, 8));
    return r;
}

// Unlike a customer's, an empty new task is dropped without a message.
void Principal::InsereProjeto()
{
    const int r = Projetos->ListIndex();
    if (cellsEmpty(Projetos, r)) {
        CarregaProjetos();
        return;
    }
    if (!insertCommitted(QStringLiteral("Tarefas"), projetoRecord(r)))
        return;
    modo_insere2 = false;
    CarregaProjetos();
}

// The row is the one last clicked, not the selected one.
void Principal::AlteraProjeto()
{
    const int r = RowClicked;
    if (cellsEmpty(Projetos, r)) {
        MsgBox(QStringLiteral("Invalid Data"));
        return;
    }
    if (replaceById(QStringLiteral("Tarefas"), Projetos->Cell(r, 0), projetoRecord(r)))
        CarregaProjetos();
}

void Principal::ApagaProjeto()
{
    if (deleteSelectedRows(Projetos, QStringLiteral("Tarefas")))
        CarregaProjetos();
}

// ---- Labels

namespace {
// What App::EncheLabels seeds; used only while no label row has been read in this run.
const QStringList kDefaultTitles = {QStringLiteral("Important"), QStringLiteral("Pending"), QStringLiteral("Ok"),
    QStringLiteral("Urgent"), QStringLiteral("Finished")};
const QStringList kDefaultColours = {QStringLiteral("&hFF0000"), QStringLiteral("&hE6E801"), QStringLiteral("&h0000FF"),
    QStringLiteral("&h00FF00"), QStringLiteral("&hFFCC00")};

// Titles match whatever the case of ASCII letters; other letters must be equal.
bool sameTitle(const QString& a, const QString& b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        const char16_t x = a.at(i).unicode(), y = b.at(i).unicode();
        const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; };
        if (lower(x) != lower(y))
            return false;
    }
    return true;
}
} // namespace

void Principal::CreateLabelControls()
{
    ContextualMenu1 = new ContextualMenu(this);
    ContextualMenu1->setObjectName(QStringLiteral("ContextualMenu1"));
    ContextualMenu1->Action = [this](const QString& item) { ContextualMenu1_Action(item); };
    // The right click belongs to the label menu; no other menu may come up over it.
    Projetos->setContextMenuPolicy(Qt::PreventContextMenu);
    Projetos->CellBackgroundPaint = [this](Graphics& g, int r, int c) { return Projetos_CellBackgroundPaint(g, r, c); };
    Projetos->CellTextPaint
        = [this](Graphics& g, int r, int c, int x, int y) { return Projetos_CellTextPaint(g, r, c, x, y); };
}

void Principal::ContextualMenu1_Open()
{
    CarregaContextualMenu();
}

void Principal::CarregaContextualMenu()
{
    auto rs = App::Instance()->tvDB->SQLSelect(QStringLiteral("SELECT * from Labels WHERE id = 1"));
    ContextualMenu1->DeleteAllRows();
    if (!rs)
        throw NilObjectException(); // no Labels table: the menu stays empty, the set in use stays
    if (!rs->Eof()) {
        QStringList titles, colours;
        for (int i = 2; i <= 6; ++i)
            titles << rs->IdxField(i).StringValue();
        for (int i = 7; i <= 11; ++i)
            colours << rs->IdxField(i).StringValue();
        setLabelSet(titles, colours);
    } else if (!m_labelsLoaded) {
        // The row is gone (a failed save, or a file made elsewhere). Keep the set in use, or the seeded
        // one at the first load, so that unlabelled tasks do not all match five empty titles.
        setLabelSet(kDefaultTitles, kDefaultColours);
    }
    m_labelsLoaded = true;
    for (const QString& t : {tLabel1, tLabel2, tLabel3, tLabel4, tLabel5})
        ContextualMenu1->AddRow(t);
}

void Principal::setLabelSet(const QStringList& titles, const QStringList& colours)
{
    tLabel1 = titles.at(0);
    tLabel2 = titles.at(1);
    tLabel3 = titles.at(2);
    tLabel4 = titles.at(3);
    tLabel5 = titles.at(4);
    cLabel1 = VariantToColor(StringToVariant(colours.at(0)));
    cLabel2 = VariantToColor(StringToVariant(colours.at(1)));
    cLabel3 = VariantToColor(StringToVariant(colours.at(2)));
    cLabel4 = VariantToColor(StringToVariant(colours.at(3)));
    cLabel5 = VariantToColor(StringToVariant(colours.at(4)));
}

void Principal::ContextualMenu1_Action(const QString& item)
{
    Projetos->setCell(RowClicked, 7, item);
    AlteraProjeto();
}

const QColor* Principal::labelColor(int row) const
{
    const QString label = Projetos->Cell(row, 7);
    if (sameTitle(label, tLabel1))
        return &cLabel1;
    if (sameTitle(label, tLabel2))
        return &cLabel2;
    if (sameTitle(label, tLabel3))
        return &cLabel3;
    if (sameTitle(label, tLabel4))
        return &cLabel4;
    if (sameTitle(label, tLabel5))
        return &cLabel5;
    return nullptr;
}

bool Principal::Projetos_CellBackgroundPaint(Graphics& g, int row, int)
{
    if (!App::Instance()->PintaFundo)
        return false;
    g.ForeColor = QColor(255, 255, 255);
    if (row < Projetos->ListCount()) {
        if (const QColor* c = labelColor(row))
            g.ForeColor = *c;
    }
    g.FillRect(0, 0, g.Width(), g.Height());
    return false;
}

bool Principal::Projetos_CellTextPaint(Graphics& g, int row, int, int, int)
{
    if (row == Projetos->ListIndex())
        g.ForeColor = QColor(255, 255, 255);
    else if (Projetos->Cell(row, 7).isEmpty())
        g.ForeColor = RGB(0, 0, 0);
    else
        g.ForeColor = RGB(255, 255, 255);
    if (!App::Instance()->PintaFundo && row < Projetos->ListCount()) {
        const QColor* c = labelColor(row);
        g.ForeColor = c ? *c : QColor(0, 0, 0);
    }
    return false;
}

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
