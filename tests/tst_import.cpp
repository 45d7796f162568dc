#include "abcffunctions.h"
#include "addressbook.h"
#include "appcommands.h"
#include "books.h"
#include "menubar1.h"
#include "programfixture.h"
#include "waddressbook.h"

#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTimer>
#include <unistd.h>

namespace {

// "first;last;mail,mail;category" as the card of person i.
QByteArray card(int i, QString person)
{
    QStringList f = (person + ";;;").split(';');
    return ("BEGIN:VCARD\r\nVERSION:3.0\r\nUID:p" + QString::number(i) + "\r\nN:" + f[1] + ';' + f[0]
        + ";;;\r\nORG:Firm\r\n" + (f[2].isEmpty() ? "" : "EMAIL:" + f[2].replace(',', "\r\nEMAIL:") + "\r\n")
        + (f[3].isEmpty() ? "" : "CATEGORIES:" + f[3] + "\r\n") + "END:VCARD\r\n")
        .toUtf8();
}

// Between two openings Ann's address changes, Roe leaves and Cy joins.
void changeOnDisk(const QString& folder)
{
    TestHome::write(folder + "+100000.vcf", card(0, "Ann;Lee;9@x.org;Friends"));
    QVERIFY(QFile::remove(folder + "+100001.vcf"));
    TestHome::write(folder + "+100100.vcf", card(100, "Cy;Doe;c@x.org;Club"));
}

// The books as people keep them: Thunderbird running on its book ("running", which the result keeps open),
// installed as a snap or a flatpak, and GNOME's cache of a CardDAV book ("online"). Rita is in Evolution and in
// Thunderbird: Evolution's card is the one read. Sam was removed while the server was away, and Dan's source is off.
std::unique_ptr<books::Running> desktopBooks(const TestHome& home, const QStringList& books)
{
    const auto person = [](const char* uid, const char* first, const char* last, const char* more = "") {
        return QByteArray("BEGIN:VCARD\r\nVERSION:3.0\r\nUID:") + uid + "\r\nFN:" + first + ' ' + last + "\r\nN:" + last
            + ';' + first + ";;;\r\n" + more + "END:VCARD\r\n";
    };
    const std::pair<const char*, QByteArray> profiles[] = {
        {"snap", "snap/thunderbird/common/.thunderbird"}, {"flatpak", ".var/app/org.mozilla.Thunderbird/.thunderbird"}};
    for (const auto& [kind, root] : profiles) {
        const QByteArray first = kind == QByteArrayView("snap") ? "Sue" : "Fay",
                         last = first == "Sue" ? "Snap" : "Flat";
        if (books.contains(kind))
            books::thunderbird(home,
                "INSERT INTO properties VALUES ('" + first + "', 'FirstName', '" + first + "'), ('" + first
                    + "', 'LastName', '" + last + "');",
                false, root);
    }
    if (books.contains("online"))
        books::carddav(home,
            {{"dav1",
                 person("r1", "Rita", "Remote", "EMAIL:rita@r.org\r\nCATEGORIES:Remote\r\n") + '\x1e'
                     + person("r2", "Sam", "Second")},
                {"dav2", person("d1", "Dan", "Hidden", "CATEGORIES:Hidden\r\n")}},
            {"dav1=r2"}, {"dav2"});
    if (!books.contains("running"))
        return nullptr;
    // Rita's own card says where she is; the named fields beside it are older.
    books::thunderbird(home,
        "INSERT INTO properties VALUES ('r1', '_vCard', '" + person("r1", "Rita", "Bird", "EMAIL:rita@bird.org\r\n")
            + "'), ('r1', 'PrimaryEmail', 'old@bird.org'), ('t2', 'FirstName', 'Tom'), ('t2', 'LastName', "
              "'Bird'), ('t2', 'PrimaryEmail', 'tom@t.org');\nINSERT INTO lists VALUES ('l1', 'Birds', '', '');\n"
              "INSERT INTO list_cards VALUES ('l1', 'r1'), ('l1', 't2');\n",
        false);
    return std::make_unique<books::Running>(home.path(".thunderbird/p/abook.sqlite"));
}

} // namespace

// File > Address Book clicked on the real main window: vCard files in a fresh home, rows in the real file.
class TestImport : public QObject
{
    Q_OBJECT

    int m_repaints = 0; // of the dialog's list while an import runs

    bool eventFilter(QObject*, QEvent* event) override { return (m_repaints += event->type() == QEvent::Paint) < 0; }

    static void chooseAddressBook(Principal* w)
    {
        MenuBar1::Instance()->FileMenu->popup(w->pos());
        QTest::mouseClick(MenuBar1::Instance()->FileMenu, Qt::LeftButton, {},
            MenuBar1::Instance()->FileMenu->actionGeometry(MenuBar1::Instance()->FileAddressBook).center());
    }

private slots:
    void import_data()
    {
        // "first;last;mail,mail;category" each; "" alone: an empty book; "@name" each: the desktop's books by name
        QTest::addColumn<QStringList>("people");
        QTest::addColumn<QString>("steps"); // per opening, the row chosen and the button; "New": a group is added
        QTest::addColumn<QString>("lockAt"); // the progress text after which the database turns read-only
        QTest::addColumn<QStringList>("listed"); // at the last opening, "*" marking the selected row
        QTest::addColumn<QStringList>("seen"); // progress read between persons; "open" when Ok left the dialog up
        QTest::addColumn<QStringList>("messages");
        QTest::addColumn<QString>("stored");
        const QStringList book{"Ann;Lee;3@x.org,1@x.org;Friends", ";Roe;;", "Bob;;;", ";;;"}, one{"A;B;;"}, all{"All"};
        const QStringList groups{"All", "Friends"}, four{"0 / 3", "1 / 3", "2 / 3", "3 / 3"}, none;
        const QString everyone = "Ann Lee|3@x.org\n Roe|\nBob |\n |", never;
        QTest::newRow("no row chosen") << book << "-1 Ok" << never << groups << QStringList("open") << none << never;
        QTest::newRow("All: everyone") << book << "0 Ok" << never << groups << four << none << everyone;
        QTest::newRow("a group: everyone") << book << "1 Ok" << never << groups << four << none << everyone;
        QTest::newRow("empty book") << QStringList("") << "0 Ok" << never << all << none << none << never;
        QTest::newRow("one person, no group, Ok, Ok: doubled")
            << one << "0 Ok, New, 0 Ok" << never << QStringList("*All") << QStringList("0 / 0") << none << "A B|\nA B|";
        QTest::newRow("Cancel: old list")
            << book << "1 Cancel, New, 0 Ok" << never << QStringList{"All", "*Friends"} << four << none << everyone;
        QTest::newRow("close box: read again") << book << "1 close, New, 0 Ok" << never
                                               << QStringList{"All", "Friends", "New"} << four << none << everyone;
        QTest::newRow("changed on disk: read again")
            << book << "1 close, Edit, 0 Ok" << never << QStringList{"All", "Friends", "Club"} << four << none
            << "Ann Lee|9@x.org\nBob |\n |\nCy Doe|c@x.org";
        QTest::newRow("no address book") << none << "0 Ok" << never << none << none
                                         << QStringList("An exception of class RuntimeException was not handled.\n"
                                                        "AddressBook is not supported on Non-Mac OS X 10.2+ Systems")
                                         << never;
        QTest::newRow("read-only halfway") << book << "0 Ok" << QString("1 / 3") << groups << four
                                           << QStringList{"DB Error", "DB Error"} << "Ann Lee|3@x.org\n Roe|";
        QStringList many, seen, stored;
        for (int i = 0; i < 5000; ++i)
            many << QString("P;%1;;").arg(i), seen << QString("%1 / 4999").arg(i), stored << QString("P %1|").arg(i);
        QTest::newRow("5,000 people") << many << "0 Ok" << never << all << seen << none << stored.join('\n');
        const QStringList birds{"0 / 1", "1 / 1"};
        QTest::newRow("Thunderbird running")
            << QStringList{"@running"} << "0 Ok" << never << QStringList{"All", "Birds"} << birds << none
            << "Rita Bird|rita@bird.org\nTom Bird|tom@t.org";
        const QStringList alone{"0 / 0"};
        QTest::newRow("Thunderbird as a snap")
            << QStringList{"@snap"} << "0 Ok" << never << all << alone << none << "Sue Snap|";
        QTest::newRow("Thunderbird as a flatpak")
            << QStringList{"@flatpak"} << "0 Ok" << never << all << alone << none << "Fay Flat|";
        QTest::newRow("Evolution synced from a CardDAV server")
            << QStringList{"@online"} << "0 Ok" << never << QStringList{"All", "Remote"} << alone << none
            << "Rita Remote|rita@r.org";
        QTest::newRow("all at once") << QStringList{"@running", "@snap", "@flatpak", "@online"} << "0 Ok" << never
                                     << QStringList{"All", "Remote", "Birds"} << four << none
                                     << "Rita Remote|rita@r.org\nTom Bird|tom@t.org\nSue Snap|\nFay Flat|";
    }
    void import()
    {
        TestHome home;
        _ABCFFunctions::resetAddressBookForTesting();
        QFETCH(QStringList, people);
        const QStringList desktop = people.filter(QRegularExpression("^@")).replaceInStrings("@", "");
        const std::unique_ptr<books::Running> running = desktopBooks(home, desktop);
        QVERIFY(!running || running->ready());
        const QString profile = home.path(".thunderbird/p");
        const auto before = books::snapshot(profile);
        Program program;
        ApplicationAddMenuHandlers();
        QVERIFY(MakeDefaultView() && program.start());
        // The database's folder takes no new file, so the next transaction cannot make its journal: the file
        // is read-only to the program from there on. Root passes over modes, hence the immutable flag too.
        const auto lock = [folder = home.dataFolder()](bool on) {
            QFile::setPermissions(
                folder, QFile::ReadOwner | QFile::ExeOwner | (on ? QFile::Permissions() : QFile::WriteOwner));
            if (geteuid() == 0)
                QProcess::execute("chattr", {on ? "+i" : "-i", folder});
        };
        const auto unlock = qScopeGuard([&] { lock(false); });
        QFETCH(QString, lockAt);
        const QString folder = home.path() + "/.local/share/contacts/";
        // Files named in the people's order.
        for (qsizetype i = 0; i < people.size() && desktop.isEmpty() && QDir().mkpath(folder); ++i) {
            if (!people[i].isEmpty())
                home.write(folder + "+" + QString::number(100000 + i) + ".vcf", card(int(i), people[i]));
        }
        Principal* w = program.window();
        QStringList listed, seen;
        bool listChanged = false;
        QFETCH(QString, steps);
        for (const QString& step : steps.split(", ")) {
            if (step == "New") { // the address book changes while the program runs
                AddressBookGroup added;
                added.setName("New");
                System::AddressBook()->Add(added);
                continue;
            }
            if (step == "Edit") {
                changeOnDisk(folder);
                continue;
            }
            QTimer shown, tick;
            connect(&shown, &QTimer::timeout, this, [&] {
                if (!wAddressBook::Exists() || !wAddressBook::Instance()->isVisible())
                    return; // it reads the book before it shows
                shown.stop();
                wAddressBook* d = wAddressBook::Instance();
                listed = QStringList();
                for (int r = 0; r < d->lAddressBook->ListCount(); ++r)
                    listed << (r == d->lAddressBook->ListIndex() ? "*" : "") + d->lAddressBook->Cell(r, 0);
                d->lAddressBook->viewport()->installEventFilter(this);
                m_repaints = 0;
                connect(&tick, &QTimer::timeout, this, [&, d, before = w->Contatos->ListCount()] {
                    const QString t = d->importando->text();
                    if (!t.isEmpty() && seen.value(seen.size() - 1) != t) {
                        seen << t;
                        if (t == lockAt)
                            lock(true);
                    }
                    listChanged |= w->Contatos->ListCount() != before;
                    d->lAddressBook->viewport()->update();
                });
                if (step.section(' ', 0, 0).toInt() >= 0)
                    Ui::click(d->lAddressBook, step.section(' ', 0, 0).toInt(), 0);
                tick.start(0);
                if (step.endsWith("close"))
                    d->close();
                else
                    QTest::mouseClick(step.endsWith("Ok") ? d->btOk : d->btCancela, Qt::LeftButton);
                tick.stop();
                if (d->isVisible()) {
                    seen << "open";
                    QTest::mouseClick(d->btCancela, Qt::LeftButton);
                }
            });
            shown.start(0);
            chooseAddressBook(w);
        }
        QTEST(listed, "listed");
        QTEST(seen, "seen");
        QTEST(DialogHooks::takeMessages(), "messages");
        QFETCH(QString, stored);
        QCOMPARE(Sql(home.database()).query("SELECT Nome, Email FROM Contatos ORDER BY id"), stored);
        QCOMPARE(w->Contatos->ListCount(), stored.isEmpty() ? 0 : stored.count('\n') + 1);
        QVERIFY(!listChanged); // the main list reloads once, at the end
        QVERIFY(seen.size() < 1000 || m_repaints > 10); // a long import leaves the window responsive
        QCOMPARE(books::snapshot(profile), before); // nothing made or changed beside the book Thunderbird holds
    }
};

QTEST_MAIN(TestImport)
#include "tst_import.moc"
