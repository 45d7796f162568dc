#pragma once

#include <QDialog>

class Listbox;
class QLabel;
class QPushButton;

// Copies every person of the user's address book into the customers. Both buttons only hide it, so
// its rows and selection are there at the next opening; the close box ends it, and the next opening
// reads the groups afresh.
class wAddressBook : public QDialog
{
    Q_OBJECT

public:
    // The live window, created and filled on first use. Where there is no address book the creation
    // raises, and no window is left behind.
    static wAddressBook* Instance();
    static bool Exists();
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
    explicit wAddressBook(QWidget* parent);
    void CreateControls();
    // An import cannot be cancelled, closed or started again from its own yields.
    bool m_importing = false;
};
