#include "principal.h"

#include "application.h"
#include "canvas.h"
#include "confirma.h"
#include "contextualmenu.h"
#include "controls.h"
#include "dialogs.h"
#include "keyboard.h"
#include "listbox.h"
#include "smtpsocket1.h"
#include "wmailsenha.h"
#include "wmensagem1.h"

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

    // A screen reader tells the two lists and the two Add buttons apart by their page.
    NameAfterCaption(Contatos, StaticText1);
    Contatos->setAccessibleDescription(
        QStringLiteral("Double-click a cell to edit it, Return stores the row, Delete removes the selected rows"));
    NameAfterCaption(Projetos, StaticText2);
    Projetos->setAccessibleDescription(Contatos->accessibleDescription());
    bt_inserecontato->setAccessibleName(QStringLiteral("Add customer"));
    bt_inserecontato->setAccessibleDescription(QStringLiteral("Starts a new customer row"));
    bt_insereprojeto->setAccessibleName(QStringLiteral("Add project"));
    bt_insereprojeto->setAccessibleDescription(QStringLiteral("Starts a new task row"));

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
