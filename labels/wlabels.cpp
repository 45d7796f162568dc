#include "wlabels.h"

#include "app.h"
#include "application.h"
#include "colors.h"
#include "controls.h"
#include "dialogs.h"
#include "principal.h"
#include "rectangle.h"

#include <QLineEdit>
#include <QPushButton>

namespace {
QColor& savedColour(int index)
{
    Principal* p = Principal::Instance();
    QColor* colours[] = {&p->cLabel1, &p->cLabel2, &p->cLabel3, &p->cLabel4, &p->cLabel5};
    return *colours[index - 1];
}

QString& savedTitle(int index)
{
    Principal* p = Principal::Instance();
    QString* titles[] = {&p->tLabel1, &p->tLabel2, &p->tLabel3, &p->tLabel4, &p->tLabel5};
    return *titles[index - 1];
}

QString colourText(const QColor& c)
{
    return ColorToVariant(c).toString();
}
} // namespace

wLabels* wLabels::Make()
{
    auto* w = new wLabels(Principal::Live());
    for (int i = 1; i <= 5; ++i)
        w->Rectangle_Open(i);
    w->Open();
    return w;
}

wLabels::wLabels(QWidget* parent)
    : QDialog(parent)
{
    SetUpModal(this, QStringLiteral("wLabels"), QStringLiteral("Labels"), QSize(260, 261));
    CreateControls();
}

void wLabels::CreateControls()
{
    const auto makeRectangle = [this](const QString& name, int top) {
        auto* r = new Rectangle(this);
        r->setObjectName(name);
        r->setGeometry(39, top, 24, 23);
        r->setCursor(Qt::PointingHandCursor);
        return r;
    };
    Rectangle1 = makeRectangle(QStringLiteral("Rectangle1"), 24);
    Rectangle2 = makeRectangle(QStringLiteral("Rectangle2"), 58);
    Rectangle3 = makeRectangle(QStringLiteral("Rectangle3"), 92);
    Rectangle4 = makeRectangle(QStringLiteral("Rectangle4"), 126);
    Rectangle5 = makeRectangle(QStringLiteral("Rectangle5"), 160);

    const auto makeField = [this](const QString& name, int top) {
        auto* e = new QLineEdit(this);
        e->setObjectName(name);
        e->setGeometry(88, top, 152, 22);
        e->setMaxLength(15);
        // The limit is for typing: a longer title from the file stays whole and can only get shorter.
        connect(e, &QLineEdit::textEdited, e, [e] { e->setMaxLength(qMax(15, int(e->text().size()))); });
        return e;
    };
    novalabel1 = makeField(QStringLiteral("novalabel1"), 25);
    novalabel2 = makeField(QStringLiteral("novalabel2"), 59);
    novalabel3 = makeField(QStringLiteral("novalabel3"), 93);
    novalabel4 = makeField(QStringLiteral("novalabel4"), 127);
    novalabel5 = makeField(QStringLiteral("novalabel5"), 161);

    btCancela = NewButton(
        this, QStringLiteral("btCancela"), QStringLiteral("Cancel"), QRect(111, 221, 65, 20), ButtonKind::Plain);
    btOk = NewButton(this, QStringLiteral("btOk"), QStringLiteral("Ok"), QRect(188, 221, 52, 20), ButtonKind::Default);

    for (int i = 1; i <= 5; ++i) {
        rectangle(i)->MouseDown = [this, i](int x, int y) { return Rectangle_MouseDown(i, x, y); };
        // The fields have no captions: a screen reader reads the label's number, and its square the title.
        const QString label = QStringLiteral("Label %1").arg(i);
        novalabel(i)->setAccessibleName(label);
        novalabel(i)->setAccessibleDescription(QStringLiteral("The label's title, up to 15 characters"));
        rectangle(i)->setAccessibleDescription(QStringLiteral("Choose the label's colour"));
        const auto nameSquare = [r = rectangle(i), label](const QString& title) {
            r->setAccessibleName(
                title.isEmpty() ? label + QStringLiteral(" colour") : label + QStringLiteral(" colour: ") + title);
        };
        nameSquare(QString());
        connect(novalabel(i), &QLineEdit::textChanged, rectangle(i), nameSquare);
    }
    connect(btOk, &QPushButton::clicked, this, Guarded(this, &wLabels::btOk_Action));
    connect(btCancela, &QPushButton::clicked, this, Guarded(this, &wLabels::btCancela_Action));
}

Rectangle* wLabels::rectangle(int index) const
{
    Rectangle* r[] = {Rectangle1, Rectangle2, Rectangle3, Rectangle4, Rectangle5};
    return r[index - 1];
}

QLineEdit* wLabels::novalabel(int index) const
{
    QLineEdit* e[] = {novalabel1, novalabel2, novalabel3, novalabel4, novalabel5};
    return e[index - 1];
}

QString& wLabels::cor(int index)
{
    QString* c[] = {&cor1, &cor2, &cor3, &cor4, &cor5};
    return *c[index - 1];
}

void wLabels::ShowModal()
{
    exec();
}

void wLabels::Rectangle_Open(int index)
{
    rectangle(index)->setFillColor(savedColour(index));
    cor(index) = colourText(savedColour(index));
}

bool wLabels::Rectangle_MouseDown(int index, int, int)
{
    // The picker starts from the saved colour, and a Cancel leaves c at it: the box falls back to it.
    QColor c = savedColour(index);
    SelectColor(c, QStringLiteral("Select a color"));
    rectangle(index)->setFillColor(c);
    cor(index) = colourText(c);
    return false;
}

void wLabels::Open()
{
    for (int i = 1; i <= 5; ++i) {
        novalabel(i)->setMaxLength(qMax(15, int(savedTitle(i).size())));
        novalabel(i)->setText(savedTitle(i));
    }
}

void wLabels::btCancela_Action()
{
    hide();
}

void wLabels::reject()
{
    btCancela_Action();
}

void wLabels::btOk_Action()
{
    for (int i = 1; i <= 5; ++i)
        savedColour(i) = VariantToColor(StringToVariant(cor(i)));
    GravaCores();
    Principal::Instance()->CarregaContextualMenu();
    hide();
    Principal::Instance()->CarregaProjetos();
}

void wLabels::GravaCores()
{
    SQLDatabase* db = App::Instance()->tvDB.get();
    db->SQLExecute(QStringLiteral("DELETE FROM Labels WHERE id = 1"));
    db->Commit();
    DatabaseRecord r;
    r.Column(QStringLiteral("Label1"), novalabel1->text());
    r.Column(QStringLiteral("Label2"), novalabel2->text());
    r.Column(QStringLiteral("Label3"), novalabel3->text());
    r.Column(QStringLiteral("Label4"), novalabel4->text());
    r.Column(QStringLiteral("Label5"), novalabel5->text());
    r.Column(QStringLiteral("cLabel1"), cor1);
    r.Column(QStringLiteral("cLabel2"), cor2);
    r.Column(QStringLiteral("cLabel3"), cor3);
    r.Column(QStringLiteral("cLabel4"), cor4);
    r.Column(QStringLiteral("cLabel5"), cor5);
    db->InsertRecord(QStringLiteral("Labels"), r);
    if (db->Error()) {
        MsgBox(QStringLiteral("DB Error - Labels"));
        return;
    }
    db->Commit();
    // In label order on the whole table, with the titles as typed: equal or swapped titles merge
    // their tasks, and a title with an apostrophe makes its statement fail, unnoticed.
    for (int i = 1; i <= 5; ++i) {
        db->SQLSelect(QStringLiteral("UPDATE tarefas SET label = '") + novalabel(i)->text()
            + QStringLiteral("' WHERE label = '") + savedTitle(i) + QStringLiteral("'"));
    }
    db->Commit();
    for (int i = 1; i <= 5; ++i)
        savedTitle(i) = novalabel(i)->text();
}
