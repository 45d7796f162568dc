#pragma once

#include "livewindow.h"

#include <QDialog>

class Listbox;
class QLabel;
class QPushButton;

// Copies every person of the user's address book into the customers. Both buttons only hide it, so
// its rows and selection are there at the next opening; the close box ends it, and the next opening
// reads the groups afresh.
class wAddressBook : public QDialog, public LiveWindow<wAddressBook>
{
    Q_OBJECT

public:
    // Live from its first use, filled as it is made. Where there is no address book the making
    // raises, and no window is left behind.
    // Waits until the window is hidden or closed.
    void ShowModal();

    // The person being inserted: written by btOk_Action, read by InsereContatoViaAddressBook.
    QString tContato;
    QString tEmail;

    QPushButton* btCancela;
    QPushButton* btOk;
    Listbox* lAddressBook;
    QLabel* StaticText1;
    QLabel* importando;

    void btCancela_Action();
    void btOk_Action();
    void Open();
    void InsereContatoViaAddressBook();

protected:
    // Escape is Cancel.
    void reject() override;
    // The close box really closes: no handler of the program stands in the way.
    void closeEvent(QCloseEvent* event) override;

private:
    friend class LiveWindow<wAddressBook>;
    static wAddressBook* Make();
    explicit wAddressBook(QWidget* parent);
    void CreateControls();
    // An import cannot be cancelled, closed or started again from its own yields.
    bool m_importing = false;
};
