// The task list's labels: the right-click menu that sets them and the colours that paint them.
#include "colors.h"
#include "contextualmenu.h"
#include "exceptions.h"
#include "listbox.h"
#include "principal.h"

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
