#include "waddressbook.h"

#include "abcffunctions.h"
#include "addressbook.h"
#include "app.h"
#include "application.h"
#include "controls.h"
#include "dialogs.h"
#include "listbox.h"
#include "principal.h"
#include "text.h"

#include <QCloseEvent>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <memory>

wAddressBook* wAddressBook::Make()
{
    std::unique_ptr<wAddressBook> w(new wAddressBook(Principal::Live()));
    w->Open();
    return w.release();
}

wAddressBook::wAddressBook(QWidget* parent)
    : QDialog(parent)
{
    SetUpModal(this, QStringLiteral("wAddressBook"), QStringLiteral("Address Book"), QSize(300, 300));
    CreateControls();
}

void wAddressBook::CreateControls()
{
    btCancela = NewButton(
        this, QStringLiteral("btCancela"), QStringLiteral("Cancel"), QRect(151, 260, 65, 20), ButtonKind::Plain);
    btOk = NewButton(this, QStringLiteral("btOk"), QStringLiteral("Ok"), QRect(228, 260, 52, 20), ButtonKind::Default);

    lAddressBook = new Listbox(1, this);
    lAddressBook->setObjectName(QStringLiteral("lAddressBook"));
    lAddressBook->setGeometry(33, 57, 247, 166);
    lAddressBook->horizontalHeader()->hide();
    lAddressBook->horizontalHeader()->setStretchLastSection(true);
    lAddressBook->setSelectionMode(QAbstractItemView::SingleSelection);
    lAddressBook->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    lAddressBook->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);

    StaticText1 = NewLabel(this, QStringLiteral("StaticText1"), QStringLiteral("Please select the group to import"),
        QRect(33, 20, 247, 31), Qt::AlignLeft | Qt::AlignTop);
    StaticText1->setWordWrap(true);
    NameAfterCaption(lAddressBook, StaticText1);
    importando = NewLabel(
        this, QStringLiteral("importando"), QString(), QRect(33, 230, 233, 20), Qt::AlignRight | Qt::AlignVCenter);
    // It is painted once per person: plain and opaque, so that nothing else is painted with it.
    importando->setTextFormat(Qt::PlainText);
    importando->setAutoFillBackground(true);

    connect(btCancela, &QPushButton::clicked, this, &wAddressBook::btCancela_Action);
    // What an import raises ends here, before Qt's frames, which an exception does not unwind cleanly.
    connect(btOk, &QPushButton::clicked, this, [this] { RunGuarded([this] { btOk_Action(); }); });
}

void wAddressBook::ShowModal()
{
    exec();
}

void wAddressBook::btCancela_Action()
{
    hide();
}

void wAddressBook::reject()
{
    if (!m_importing)
        btCancela_Action();
}

void wAddressBook::closeEvent(QCloseEvent* event)
{
    if (m_importing) {
        event->ignore();
        return;
    }
    event->accept();
    hide();
    Forget(this);
    deleteLater();
}

void wAddressBook::btOk_Action()
{
    if (m_importing || lAddressBook->ListIndex() == -1)
        return;
    const QScopedValueRollback<bool> busy(m_importing, true);
    const auto book = System::AddressBook();
    // The groups are read as ever, but a group row does not narrow the import: every person of the
    // book comes in, whichever row is chosen.
    [[maybe_unused]] const auto groups = book->Groups();
    const auto people = book->Contacts();
    const qint64 last = people.size() - 1;
    for (qint64 i = 0; i <= last; ++i) {
        AddressBookContact& person = *people[i];
        const QString firstAndBlank = person.FirstName().Operator_Add(QStringLiteral(" "));
        tContato = person.LastName().Operator_AddRight(firstAndBlank);
        tEmail = person.EmailAddresses().Count() > 0 ? person.EmailAddresses().Operator_Convert() : QString();
        InsereContatoViaAddressBook();
        importando->setText(Str(i) + QStringLiteral(" / ") + Str(last));
        importando->repaint();
        _ABCFFunctions::BackgroundTask();
    }
    importando->setText(QString());
    hide();
    Principal::Instance()->CarregaContatos();
}

void wAddressBook::Open()
{
    const auto book = System::AddressBook();
    const auto groups = book->Groups();
    lAddressBook->AddRow(QStringLiteral("All"));
    for (qsizetype i = 0; i <= groups.size() - 1; ++i) {
        lAddressBook->AddRow(groups[i]->Name().Operator_Convert());
        _ABCFFunctions::BackgroundTask();
    }
}

// Every person is a commit of its own, so those stored before a failure stay stored.
void wAddressBook::InsereContatoViaAddressBook()
{
    DatabaseRecord r;
    r.Column(QStringLiteral("Nome"), tContato);
    r.Column(QStringLiteral("Email"), tEmail);
    SQLDatabase* db = App::Instance()->tvDB.get();
    db->InsertRecord(QStringLiteral("Contatos"), r);
    if (db->Error()) {
        MsgBox(QStringLiteral("DB Error"));
        return;
    }
    db->Commit();
}
