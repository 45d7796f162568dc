#include "abcffunctions.h"
#include "abfclass.h"
#include "addressbook.h"
#include "books.h"
#include "exceptions.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTest>
#include <sys/stat.h>

using namespace _ABCFFunctions;

namespace {

// A fresh home whose vCard folders are the test's, and a fresh platform that will read them.
class Home : public TestHome
{
public:
    Home() { resetAddressBookForTesting(); }
    ~Home() { resetAddressBookForTesting(); }
    QString contacts(const QString& file = QString()) const { return path(".local/share/contacts/" + file); }
    void card(const char* file, const QByteArray& bytes) const { write(contacts(QLatin1String(file)), bytes); }
};

QString describe(AddressBookContact& c)
{
    QStringList out;
    auto single = [&](const char* tag, AddressBookData&& d) {
        if (const QString t = d.Text(); !t.isEmpty())
            out << QLatin1String(tag) + QLatin1Char('=') + t;
    };
    auto list = [&](const char* tag, AddressBookData&& d) {
        QStringList items;
        for (qint32 i = 0; i < d.Count(); ++i) {
            QString value = d.Value(i).StringValue();
            if (const auto a = d.Value(i).ObjectAs<AddressBookAddress>())
                value = QStringList{a->StreetAddress(), a->City(), a->Zip(), a->Country()}.join(QLatin1Char('/'));
            items << d.Label(i) + QLatin1Char(':') + value;
        }
        if (!items.isEmpty())
            out << QLatin1String(tag) + QLatin1Char('=') + items.join(QLatin1Char(','));
    };
    single("first", c.FirstName());
    single("last", c.LastName());
    single("org", c.CompanyName());
    single("title", c.JobTitle());
    single("url", c.Homepage());
    single("note", c.Note());
    if (const Variant b = c.Birthday().Value(0); !b.IsNull()) {
        const QDateTime moment = QDateTime::fromSecsSinceEpoch(qint64(b.DateValue().TotalSeconds()));
        out << "bday=" + moment.toString(moment.time() == QTime(0, 0) ? "yyyy-MM-dd" : "yyyy-MM-ddTHH:mm:ss");
    }
    list("email", c.EmailAddresses());
    list("tel", c.PhoneNumbers());
    list("adr", c.Addresses());
    list("aim", c.AIMScreenNames());
    list("jabber", c.JabberScreenNames());
    list("yahoo", c.YahooScreenNames());
    return out.join(QLatin1Char(';'));
}

QStringList describeAll(AddressBook& book)
{
    QStringList people;
    for (const auto& c : book.Contacts())
        people << describe(*c);
    return people;
}

// "First Last mail" per person, then "Group: last names/subgroups" per group, as the book gives them.
QStringList walk(AddressBook& book)
{
    QStringList out;
    for (const auto& c : book.Contacts())
        out << c->FirstName().Text() + QLatin1Char(' ') + c->LastName().Text() + QLatin1Char(' ')
                + (c->EmailAddresses().Count() ? c->EmailAddresses().Text() : QString());
    for (const auto& g : book.Groups()) {
        QStringList members, subgroups;
        for (const auto& c : g->Contacts())
            members << c->LastName().Text();
        for (const auto& s : g->Groups())
            subgroups << s->Name().Text();
        out << g->Name().Text() + QLatin1String(": ") + members.join(QLatin1Char(',')) + QLatin1Char('/')
                + subgroups.join(QLatin1Char(','));
    }
    return out;
}

QByteArray vcf(const char* uid, const char* last, const char* first, const char* more = "")
{
    return QByteArray("BEGIN:VCARD\nVERSION:3.0\nUID:") + uid + "\nN:" + last + ';' + first + ";;;\n" + more
        + "END:VCARD\n";
}

} // namespace

class TestAddressBook : public QObject
{
    Q_OBJECT

private slots:
    void readPersons_data();
    void readPersons();
    void revisionDates_data();
    void revisionDates();
    void realWriters();
    void find();
    void saveAndReadAgain();
    void rewriteEachVersion_data();
    void rewriteEachVersion();
    void handlesBalance();
    void changedRecordsFreed();
    void bridgeValues();
    void listEditing();
    void unreadableNameStopsTheSave();
    void searchComparisons_data();
    void searchComparisons();
    void sources_data();
    void sources();
    void vdirsyncerLayout();
    void openAgain_data();
    void openAgain();
    void evolutionLive();
    void hostileSources_data();
    void hostileSources();
    void lockedAfterAChange();
    void changedWhileCopied();
};

void TestAddressBook::readPersons_data()
{
    QTest::addColumn<QByteArray>("card");
    QTest::addColumn<QStringList>("expected"); // each person cut at 200 characters
    QTest::newRow("3.0: folding, escapes, groups, labels, file order")
        << QByteArray("BEGIN:VCARD\r\nVERSION:3.0\r\nN:\xc3\x85ngstr\xc3\xb6m;Zo\xc3\xab;;;\r\nFN:Zo\xc3\xab\r\n"
                      "item1.EMAIL;TYPE=INTERNET:first@x.org\r\nitem1.X-ABLabel:_$!<Other>!$_\r\n"
                      "EMAIL;TYPE=WORK:sec\r\n ond@x.org\r\nEMAIL;TYPE=HOME,PREF:third@x.org\r\n"
                      "NOTE:a\\, b\\; c\\nd\r\nORG:Ca\r\n\tf\xc3\xa9\\, Ltd;Sales\r\nBDAY:1970-01-31\r\n"
                      "X-JABBER;TYPE=WORK:z@jab.org\r\nIMPP;X-SERVICE-TYPE=Yahoo:ymsgr:zoey\r\nEND:VCARD\r\n")
        << QStringList{
               QStringLiteral("first=Zoë;last=Ångström;org=Café, Ltd;note=a, b; c\nd;bday=1970-01-31;"
                              "email=Other:first@x.org,Work:second@x.org,Home:third@x.org;jabber=Work:z@jab.org;"
                              "yahoo=Other:zoey")};
    QTest::newRow("2.1: quoted-printable, soft breaks, charsets, bare types")
        << QByteArray("BEGIN:VCARD\nVERSION:2.1\nN;CHARSET=ISO-8859-1;ENCODING=QUOTED-PRINTABLE:M=fcller;J=FCrgen\n"
                      "EMAIL;INTERNET;WORK:j@w.de\nTEL;CELL:+49 1\nTEL;WORK;FAX:+49 2\nX-AIM;HOME:jaim\n"
                      "NOTE;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:eins=0D=0Azwei =\n=C3=A4 drei\n"
                      "ADR;HOME;ENCODING=QUOTED-PRINTABLE:;;Stra=C3=9Fe 1;K=C3=B6ln;;50667;Germany\nEND:VCARD\n")
        << QStringList{
               QStringLiteral("first=Jürgen;last=Müller;note=eins\r\nzwei ä drei;email=Work:j@w.de;"
                              "tel=Mobile:+49 1,Work Fax:+49 2;adr=Home:Straße 1/Köln/50667/Germany;aim=Home:jaim")};
    QTest::newRow("4.0: PREF=1 is not the first, IMPP, uri values")
        << QByteArray("BEGIN:VCARD\r\nVERSION:4.0\r\nKIND:individual\r\nFN:Ana Silva\r\nN:Silva;Ana;;;\r\n"
                      "EMAIL;TYPE=home:one@a.pt\r\nEMAIL;PREF=1;TYPE=work:two@a.pt\r\nIMPP;TYPE=work:xmpp:ana@j.pt\r\n"
                      "IMPP:aim:anaaim\r\nBDAY:19850412T134506\r\nURL:https://a.pt/x,y\r\nTITLE:Engenheira\r\n"
                      "TEL;TYPE=cell;VALUE=uri:tel:+351 9\r\nEND:VCARD\r\n")
        << QStringList{QStringLiteral(
               "first=Ana;last=Silva;title=Engenheira;url=https://a.pt/x,y;bday=1985-04-12T13:45:06;"
               "email=Home:one@a.pt,Work:two@a.pt;tel=Mobile:+351 9;aim=Other:anaaim;jabber=Work:ana@j.pt")};
    QTest::newRow("2.1: a folded line keeps its blank, before VERSION too; a second VERSION changes nothing")
        << QByteArray("BEGIN:VCARD\nN:Van\n Dyke;Dick\nVERSION:2.1\nVERSION:3.0\nNOTE:a\n\tb\nEND:VCARD\n")
        << QStringList{QStringLiteral("first=Dick;last=Van Dyke;note=a\tb")};
    QTest::newRow("only FN: a particle, last name first, one word; companies")
        << QByteArray("BEGIN:VCARD\nVERSION:3.0\nFN:Maria da Silva\nEND:VCARD\n"
                      "BEGIN:VCARD\nVERSION:3.0\nFN:Smith, John\nEND:VCARD\n"
                      "BEGIN:VCARD\nVERSION:4.0\nFN:Madonna\nEND:VCARD\n"
                      "BEGIN:VCARD\nVERSION:3.0\nFN:ACME Corp\nN:;;;;\nORG:ACME Corp\nEND:VCARD\n"
                      "BEGIN:VCARD\nVERSION:3.0\nFN:Padaria Central\nORG:Padaria Lda\nX-ABShowAs:COMPANY\nEND:VCARD\n")
        << QStringList{"first=Maria;last=da Silva", "first=John;last=Smith", "first=Madonna", "org=ACME Corp",
               "org=Padaria Lda"};
    QTest::newRow("20 MB line") << "BEGIN:VCARD\nVERSION:3.0\nFN:Long Line\nNOTE:" + QByteArray(20 << 20, 'x')
            + "\nEND:VCARD\n" << QStringList{QStringLiteral("first=Long;last=Line;note=") + QString(174, 'x')};
    QTest::newRow("20 MB without a line end") << QByteArray(20 << 20, ';') << QStringList();
    QTest::newRow("unterminated cards") << QByteArray("BEGIN:VCARD\nFN:One Two\nBEGIN:VCARD\nN:Four;Three\nEMAIL:t@x")
                                        << QStringList{"first=One;last=Two", "first=Three;last=Four;email=Other:t@x"};
    // The soft line breaks run on into END, so the card stays open to the end of the file.
    QTest::newRow("invalid quoted-printable")
        << QByteArray("BEGIN:VCARD\nVERSION:2.1\nN;ENCODING=QUOTED-PRINTABLE:=ZZ=4;=C3=\n=\nEND:VCARD\n")
        << QStringList{QStringLiteral("first=\u00c3END:VCARD;last==ZZ=4")};
    QTest::newRow("3.0 and 4.0 not in UTF-8: Latin-1, as 2.1")
        << QByteArray("BEGIN:VCARD\nVERSION:3.0\nN:M\xfcller;J\xfcrgen;;;\nEND:VCARD\n"
                      "BEGIN:VCARD\nVERSION:4.0\nFN:\xff\xfe\xc3 bad\nEND:VCARD\n")
        << QStringList{QStringLiteral("first=Jürgen;last=Müller"), QStringLiteral("first=\u00ff\u00fe\u00c3;last=bad")};
    QTest::newRow("lines without colons") << QByteArray("BEGIN:VCARD\n;;;\n:\nEMAIL\nEND:VCARD\n") << QStringList{""};
}

void TestAddressBook::readPersons()
{
    QFETCH(QByteArray, card);
    Home home;
    home.card("card.vcf", card);
    const auto book = System::AddressBook();
    QStringList people = describeAll(*book);
    for (QString& p : people)
        p.truncate(200);
    QTEST(people, "expected");
}

// REV as Evolution and most writers stamp it, and the forms that must fall back to the general reading.
void TestAddressBook::revisionDates_data()
{
    QTest::addColumn<QByteArray>("rev");
    QTest::addColumn<QString>("utc"); // empty: no date
    QTest::newRow("extended") << QByteArray(" 2026-11-25T09:24:47Z") << "2026-11-25T09:24:47Z";
    QTest::newRow("basic") << QByteArray("20261125T092447Z") << "2026-11-25T09:24:47Z";
    QTest::newRow("hour 25: the day at midnight") << QByteArray("2026-11-25T25:24:47Z") << "2026-11-25T00:00:00Z";
    QTest::newRow("no such day") << QByteArray("2026-02-30T09:24:47Z") << "";
    QTest::newRow("minutes only") << QByteArray("2026-11-25T09:24Z") << "2026-11-25T09:24:00Z";
}

void TestAddressBook::revisionDates()
{
    QFETCH(QByteArray, rev);
    Home home;
    home.card("card.vcf", "BEGIN:VCARD\nVERSION:3.0\nFN:A B\nREV:" + rev + "\nEND:VCARD\n");
    const Variant date
        = System::AddressBook()->Contacts().value(0)->_InternalValue(_ABC().kABModificationDateProperty());
    QTEST(date.IsNull()
            ? QString()
            : QDateTime::fromSecsSinceEpoch(qint64(date.DateValue().TotalSeconds()), Qt::UTC).toString(Qt::ISODate),
        "utc");
}

// Cards written by khard and by Python's vobject, in two collections named by khard's configuration.
void TestAddressBook::realWriters()
{
    Home home;
    home.write(home.path(QStringLiteral(".config/khard/khard.conf")),
        "[addressbooks]\n[[mine]]\npath = ~/books/khard/\n[[synced]]\npath = \"~/books/py\"\n[general]\ndebug = no\n");
    QDir().mkpath(home.path(QStringLiteral("books/khard")));
    QDir().mkpath(home.path(QStringLiteral("books/py")));
    const std::pair<QString, QByteArray> made[]
        = {{"3.0",
               "First name : Zoë\nLast name : Ångström\nEmail :\n    work : zoe@work.example\n"
               "Phone :\n    cell : +49 170 1234\nOrganisation : Café Ltd\n"},
            {"4.0",
                "First name : José\nLast name : Núñez\nEmail :\n    home : jose@casa.example\n"
                "Phone :\n    home : +34 91 555\n"}};
    for (const auto& [version, yaml] : made)
        QVERIFY(!run("khard", {"new", "-a", "mine", "--vcard-version", version}, yaml).startsWith("failed"));
    const QString script
        = QStringLiteral("import sys, vobject\n"
                         "for version, given, family, mails in (('3.0', 'Jürgen', 'Müller', ['j@w.de', 'j@home.de']),\n"
                         "                                      ('4.0', 'Ana', 'Silva', ['ana@a.pt'])):\n"
                         "    c = vobject.vCard()\n"
                         "    if version == '4.0': c.add('version').value = version\n"
                         "    c.add('n').value = vobject.vcard.Name(family=family, given=given)\n"
                         "    c.add('fn').value = given + ' ' + family\n"
                         "    for m in mails:\n"
                         "        e = c.add('email'); e.value = m; e.type_param = 'WORK'\n"
                         "    c.add('note').value = 'long note, with; commas ' * 5\n"
                         "    open(sys.argv[1] + '/' + family + '.vcf', 'w').write(c.serialize())\n");
    QCOMPARE(run("/usr/bin/python3", {"-c", script, home.path("books/py")}), QString());
    QStringList people = walk(*System::AddressBook());
    people.sort();
    QCOMPARE(people,
        QStringList({"Ana Silva ana@a.pt", "José Núñez jose@casa.example", "Jürgen Müller j@w.de",
            "Zoë Ångström zoe@work.example"}));
}

// The book in ~/.contacts, the older folder.
void TestAddressBook::find()
{
    Home home;
    home.write(home.path(QStringLiteral(".contacts/p.vcf")),
        "BEGIN:VCARD\nVERSION:3.0\nN:Gon\xc3\xa7\x61lves;Jo\xc3\xa3o;;;\nEMAIL:JG@Example.COM\nEND:VCARD\n"
        "BEGIN:VCARD\nVERSION:3.0\nN:Other;Ann;;;\nNOTE:meets joão on fridays\nEND:VCARD\n"
        "BEGIN:VCARD\nVERSION:3.0\nN:Third;Tom;;;\nEND:VCARD\n");
    const auto book = System::AddressBook();
    auto names = [&](const QString& text) {
        QStringList found;
        for (const auto& r : book->Find(text))
            found << std::dynamic_pointer_cast<AddressBookContact>(r)->FirstName().Text();
        return found;
    };
    QCOMPARE(names(QStringLiteral("JOÃO")), (QStringList{QStringLiteral("João"), QStringLiteral("Ann")}));
    QCOMPARE(names(QStringLiteral("example.com")), QStringList{QStringLiteral("João")});
    QCOMPARE(names(QStringLiteral("nobody")), QStringList());
}

void TestAddressBook::saveAndReadAgain()
{
    Home home;
    const QByteArray existing = "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:ex-1\r\nN:Velho;Rui;;;\r\nFN:Rui Velho\r\n"
                                "item1.EMAIL;TYPE=INTERNET:rui@old.pt\r\nitem1.X-ABLabel:Escola\r\n"
                                "X-CUSTOM;X-PARAM=1:keep me\\; as is\r\nNOTE:old note\r\nEND:VCARD\r\n";
    const QByteArray unterminated = "BEGIN:VCARD\nVERSION:3.0\nN:Aberto;Ivo;;;\n";
    const QByteArray garbage = QByteArray("\x00\x01garbage\xff", 11).repeated(50);
    home.card("existing.vcf", existing);
    home.card("open.vcf", unterminated);
    home.card("zz.vcf", garbage);
    home.card("gone.vcf", "BEGIN:VCARD\nVERSION:4.0\nFN:Gone Soon\nEND:VCARD\n");
    QString newUid;
    {
        const auto book = System::AddressBook();
        const auto people = book->Contacts();
        QCOMPARE(people.size(), 3);
        book->Remove(*people[1]);
        people[0]->setLastName(QStringLiteral("Novo"));
        people[0]->RemoveValue(QStringLiteral("Note")); // read from its card, and gone before the save
        QVERIFY(people[0]->Value(QStringLiteral("Note")).IsNull());
        people[0]->EmailAddresses().Append(QStringLiteral("Work"), Variant(QStringLiteral("rui@new.pt")));
        people[2]->setNote(QStringLiteral("cannot be written"));
        AddressBookContact fresh;
        fresh.setFirstName(QStringLiteral("Nova"));
        fresh.setLastName(QStringLiteral("Pessoa; Filha"));
        fresh.EmailAddresses().Append(QStringLiteral("Home"), Variant(QStringLiteral("nova@x.org")));
        fresh.setBirthday(Date(QDateTime(QDate(1990, 5, 17), QTime(0, 0))));
        book->Add(fresh);
        AddressBookGroup team;
        team.setName(QStringLiteral("Equipa"));
        book->Add(team);
        team.Add(fresh);
        team.Add(*people[0]);
        newUid = fresh.UniqueID().Text();
        QVERIFY(book->HasUnsavedChanges());
        QVERIFY(!book->Save()); // the unterminated card's change cannot be written
    }
    QCOMPARE(home.read(home.contacts(QStringLiteral("open.vcf"))), unterminated);
    QCOMPARE(home.read(home.contacts(QStringLiteral("zz.vcf"))), garbage);
    QVERIFY(!QFile::exists(home.contacts(QStringLiteral("gone.vcf"))));
    const QByteArray rewritten = home.read(home.contacts(QStringLiteral("existing.vcf")));
    QVERIFY(rewritten.contains("\r\nitem1.EMAIL;TYPE=INTERNET:rui@old.pt\r\nEMAIL;TYPE=WORK:rui@new.pt\r\n"));
    QVERIFY(rewritten.contains("\r\nitem1.X-ABLabel:Escola\r\n"));
    QVERIFY(rewritten.contains("X-CUSTOM;X-PARAM=1:keep me\\; as is\r\n"));
    QVERIFY(!rewritten.contains("NOTE"));
    const QString newFile = home.contacts(newUid + QStringLiteral(".vcf"));
    const char* readBack = "import sys, vobject\nc = vobject.readOne(open(sys.argv[1]).read())\n"
                           "print(c.n.value.family, c.email.value, c.bday.value)";
    QCOMPARE(run("/usr/bin/python3", {"-c", readBack, newFile}), QStringLiteral("Pessoa; Filha nova@x.org 1990-05-17"));

    resetAddressBookForTesting();
    const auto again = System::AddressBook();
    QVERIFY(!again->HasUnsavedChanges());
    // The new file's name, an upper-case UID, sorts first.
    QCOMPARE(describeAll(*again),
        (QStringList{QStringLiteral("first=Nova;last=Pessoa; Filha;bday=1990-05-17;email=Home:nova@x.org"),
            QStringLiteral("first=Rui;last=Novo;email=:rui@old.pt,Work:rui@new.pt"),
            QStringLiteral("first=Ivo;last=Aberto")}));
    QCOMPARE(walk(*again).mid(3), QStringList{QStringLiteral("Equipa: Pessoa; Filha,Novo/")});
}

void TestAddressBook::rewriteEachVersion_data()
{
    QTest::addColumn<QByteArray>("version");
    for (const char* version : {"2.1", "3.0", "4.0"})
        QTest::newRow(version) << QByteArray(version);
}

// Changed values come back whole from every version's writing: quoted-printable, escapes, folding.
void TestAddressBook::rewriteEachVersion()
{
    QFETCH(QByteArray, version);
    Home home;
    home.card("p.vcf", "BEGIN:VCARD\r\nVERSION:" + version + "\r\nN:Old;Ana;;;\r\nTEL;TYPE=HOME:1\r\nEND:VCARD\r\n");
    const QString note = QStringLiteral("Zweite Straße; über, alles C:\\new\\, \n") + QString(60, QChar(0x00e9));
    QByteArray photo = "\x89PNG";
    for (int i = 0; i < 300; ++i)
        photo += char(i * 7);
    {
        const auto book = System::AddressBook();
        const auto person = book->Contacts().value(0);
        person->setLastName(QStringLiteral("Ñandú; Øster"));
        person->setNote(note);
        person->PhoneNumbers().Append(QStringLiteral("Mobile"), Variant(QStringLiteral("+34 600")));
        QVERIFY(_ABC().ABPersonSetImageData(person->_ref(), _ABStringToCFData(QString::fromLatin1(photo))));
        QVERIFY(book->Save());
    }
    const QByteArray written = home.read(home.contacts(QStringLiteral("p.vcf")));
    for (const QByteArray& line : written.split('\n'))
        QVERIFY2(line.size() <= 77, line.constData());
    resetAddressBookForTesting();
    const auto again = System::AddressBook();
    QCOMPARE(describeAll(*again),
        QStringList{
            QStringLiteral("first=Ana;last=Ñandú; Øster;note=") + note + QStringLiteral(";tel=Home:1,Mobile:+34 600")});
    const qint32 image = _ABC().ABPersonCopyImageData(again->Contacts().value(0)->_ref());
    QCOMPARE(_ABCFDataGetString(image).toLatin1(), photo);
    _ABRelease(image);
}

// Walking the whole book through the object layer gives back every handle it takes, except what
// Find leaves by design: one search element per property, their combination and the matches.
void TestAddressBook::handlesBalance()
{
    Home home;
    home.card("p.vcf",
        "BEGIN:VCARD\nVERSION:3.0\nUID:p1\nN:Lima;Eva;;;\nEMAIL;TYPE=WORK:e@l.br\nTEL;TYPE=CELL:1\n"
        "ADR;TYPE=HOME:;;Rua 1;Recife;PE;50000;Brasil\nBDAY:1980-02-03\nCATEGORIES:VIP\nEND:VCARD\n"
        "BEGIN:VCARD\nVERSION:4.0\nKIND:group\nFN:Crew\nMEMBER:urn:uuid:p1\nEND:VCARD\n");
    const auto book = System::AddressBook();
    const qint64 before = liveOwnedHandlesForTesting();
    for (const auto& c : book->Contacts()) {
        describe(*c);
        for (auto list :
            {&AddressBookContact::EmailAddresses, &AddressBookContact::PhoneNumbers, &AddressBookContact::Addresses}) {
            QVERIFY(!((*c).*list)().ActualLabel(0).isEmpty());
            QVERIFY(!((*c).*list)().LocalizedLabel(0).isEmpty());
        }
        QVERIFY(!c->VCard().isEmpty());
        QCOMPARE(c->UniqueID().Text(), QStringLiteral("p1"));
        QCOMPARE(c->Value(QStringLiteral("Birthday")).VarType(), int(Variant::TypeDate));
    }
    QCOMPARE(walk(*book), QStringList({"Eva Lima e@l.br", "VIP: Lima/", "Crew: Lima/"}));
    QCOMPARE(liveOwnedHandlesForTesting(), before);
    const qint32 properties = _ABC().ABCopyArrayOfPropertiesForRecordType(book->abref, _ABC().kABPersonRecordType());
    const qint32 propertyCount = _ABArrayGetCount(properties);
    _ABRelease(properties);
    QCOMPARE(book->Find(QStringLiteral("eva")).size(), 1);
    QCOMPARE(liveOwnedHandlesForTesting(), before + propertyCount + 2);
}

// The old state of a changed card is freed once nothing holds it: the values alive come back to their level at
// each opening, while a person and a group the caller holds from before still answer.
void TestAddressBook::changedRecordsFreed()
{
    Home home;
    const QByteArray crew = "BEGIN:VCARD\nVERSION:4.0\nKIND:group\nFN:Crew\nMEMBER:urn:uuid:p1\nEND:VCARD\n";
    home.card("p.vcf", vcf("p1", "Lima", "Eva") + vcf("p2", "Reis", "Rui") + crew);
    const auto first = System::AddressBook();
    const auto person = first->Contacts().value(0);
    const auto group = first->Groups().value(0);
    qint64 level = 0;
    for (int round = 1; round <= 4; ++round) {
        const QByteArray name(round, 'x'); // a size of its own, so that each write is a change
        home.card("p.vcf", vcf("p1", "Lima", name.constData()) + vcf("p2", "Reis", "Rui") + crew);
        QCOMPARE(walk(*System::AddressBook()).value(0), QString::fromLatin1(name + " Lima "));
        level = round == 1 ? liveHandlesForTesting() : level;
        QCOMPARE(liveHandlesForTesting(), level);
    }
    QCOMPARE(person->FirstName().Text(), QStringLiteral("Eva"));
    QCOMPARE(group->Contacts().value(0)->FirstName().Text(), QStringLiteral("Eva"));
}

void TestAddressBook::bridgeValues()
{
    Home home;
    const qint64 before = liveOwnedHandlesForTesting();
    _ABRelease(0);
    _ABRetain(0);
    QVERIFY(_ABCFTypeToVariant(0).IsNull());
    QVERIFY(_ABCFDateToDate(0).IsNull());
    QCOMPARE(_ABC().ABMultiValueCount(0), 0);
    const Date base(QDateTime(QDate(2001, 1, 1), QTime(0, 0)));
    const qint32 date = _ABDateToCFDate(base);
    QCOMPARE(_ABCFDateToDate(date).DateValue().TotalSeconds(), base.TotalSeconds());
    const qint32 empty = _ABStringToCFData(QString());
    QVERIFY(empty != 0);
    QCOMPARE(_ABCFDataGetString(empty), QString());
    const qint32 integer = _ABNumberCreate(qint32(42));
    QCOMPARE(_ABNumberGetValue(integer).VarType(), int(Variant::TypeDouble));
    QCOMPARE(_ABNumberGetValue(integer).DoubleValue(), 42.0);
    const qint32 halves = _ABNumberCreate(2.5); // the Double's first word, which is 0 for 2.5
    QCOMPARE(_ABNumberGetValue(halves).DoubleValue(), 0.0);
    const qint32 key = _ABC().StringToCFString(QStringLiteral("a"));
    QVERIFY(_ABEqual(key, _ABC().kABEmailProperty()) == false
        && _ABEqual(_ABC().kABEmailWorkLabel(), _ABC().kABPhoneWorkLabel()));
    QVERIFY_THROWS_EXCEPTION(UnsupportedFormatException,
        _ABVariantToCFType(Variant(std::shared_ptr<Object>(std::make_shared<AddressBookData>(Variant())))));
    for (qint32 h : {date, empty, integer, halves, key})
        _ABRelease(h);
    _ABRelease(key); // a second release of the same handle changes nothing
    QCOMPARE(liveOwnedHandlesForTesting(), before);
}

void TestAddressBook::listEditing()
{
    Home home;
    home.card("p.vcf", "BEGIN:VCARD\nVERSION:3.0\nN:Doe;Jane;;;\nEMAIL;TYPE=WORK:w@x\nEND:VCARD\n");
    const auto person = System::AddressBook()->Contacts().value(0);
    AddressBookData emails = person->EmailAddresses();
    QCOMPARE(emails.Label(0), QStringLiteral("Work"));
    emails.Insert(1, QStringLiteral("Home"), Variant(QStringLiteral("h@x")));
    QVERIFY_THROWS_EXCEPTION(OutOfBoundsException, emails.Insert(3, "Home", Variant(QStringLiteral("n@x"))));
    emails.Insert(0, QStringLiteral("Other"), Variant(QStringLiteral("o@x")));
    try {
        person->MSNScreenNames().Append(QStringLiteral("Mobile"), Variant(QStringLiteral("m")));
        QFAIL("a label the table lacks");
    } catch (const RuntimeException& e) {
        QCOMPARE(e.Message(), QStringLiteral("Unsupported label. Please use either \"Home\", \"Work\", or \"Other\""));
    }
    AddressBookData custom(person->_ref(), person->abref, QStringLiteral("Nowhere"), QStringLiteral("Nowhere"));
    custom.Append(QStringLiteral("Other"), Variant(QStringLiteral("x")));
    QVERIFY_THROWS_EXCEPTION(RuntimeException, custom.Append(QStringLiteral("Work"), Variant(QStringLiteral("x"))));
    QCOMPARE(describe(*person), QStringLiteral("first=Jane;last=Doe;email=Other:o@x,Work:w@x,Home:h@x"));
}

// A property whose name would not read back stops the save before any file is written. Values the
// reader unescapes or unquotes are read back by the fuzz target's corpus (replay_addressbook).
void TestAddressBook::unreadableNameStopsTheSave()
{
    Home home;
    const QByteArray cards = "BEGIN:VCARD\nVERSION:3.0\nN:Lima;Ana\nitem 1.NOTE:o\nEND:VCARD\n";
    const QByteArray other = "BEGIN:VCARD\nVERSION:3.0\nUID:a\\nb\nN:Lima;Ana;;;\nEND:VCARD\n";
    home.card("a.vcf", cards);
    home.card("b.vcf", other);
    const auto book = System::AddressBook();
    book->Contacts().value(0)->setNote(QStringLiteral("n"));
    QVERIFY_THROWS_EXCEPTION(RuntimeException, book->Save());
    QCOMPARE(home.read(home.contacts("a.vcf")) + home.read(home.contacts("b.vcf")), cards + other);
}

// Every comparison of a search element on text; numbers share the ordering comparisons with text, so
// two rows check that they compare as numbers. The case of the query decides the case-sensitive rows.
void TestAddressBook::searchComparisons_data()
{
    QTest::addColumn<int>("comparison");
    QTest::addColumn<QVariant>("query"); // a string searches the last name, a number the rank
    QTest::addColumn<QString>("found");
    const struct
    {
        SearchComparison c;
        QVariant query;
        const char* found;
    } rows[] = {{kEqual, "Bento", "Bento"}, {kEqual, "bento", ""}, {kNotEqual, "Bento", "Alves Costa"},
        {kLessThan, "Bento", "Alves"}, {kLessThanOrEqual, "Bento", "Alves Bento"}, {kGreaterThan, "Bento", "Costa"},
        {kGreaterThanOrEqual, "Bento", "Bento Costa"}, {kEqualCaseInsensitive, "bENTO", "Bento"},
        {kContainsSubString, "ent", "Bento"}, {kContainsSubString, "ENT", ""},
        {kContainsSubStringCaseInsensitive, "ENT", "Bento"}, {kPrefixMatch, "Co", "Costa"}, {kPrefixMatch, "co", ""},
        {kPrefixMatchCaseInsensitive, "co", "Costa"}, {kDoesNotContainSubString, "l", "Bento Costa"},
        {kDoesNotContainSubString, "L", "Alves Bento Costa"},
        {kDoesNotContainSubStringCaseInsensitive, "L", "Bento Costa"},
        {kNotEqualCaseInsensitive, "alves", "Bento Costa"}, {kSuffixMatch, "ta", "Costa"}, {kSuffixMatch, "TA", ""},
        {kSuffixMatchCaseInsensitive, "TA", "Costa"}, {kEqual, 2, "Bento"}, {kLessThan, 2, "Alves"},
        {kBitsInBitFieldMatch, 1, "Alves Costa"}, {kContainsSubString, 2, ""}};
    for (const auto& r : rows)
        QTest::addRow("%d %s", r.c, qPrintable(r.query.toString()))
            << int(r.c) << r.query << QString::fromLatin1(r.found);
}

void TestAddressBook::searchComparisons()
{
    QFETCH(int, comparison);
    QFETCH(QVariant, query);
    Home home;
    home.card("p.vcf", vcf("a", "Alves", "A") + vcf("b", "Bento", "B") + vcf("c", "Costa", "C"));
    const auto book = System::AddressBook();
    const auto people = book->Contacts();
    for (qint32 i = 0; i < people.size(); ++i) {
        people[i]->setValue(QStringLiteral("Rank"), Variant(0)); // replaced through a key of the same text
        people[i]->setValue(QString::fromLatin1("Rank"), Variant(i + 1));
    }
    _ABFClass& c = _ABC();
    const bool text = query.typeId() == QMetaType::QString;
    const qint32 property = text ? c.kABLastNameProperty() : c.StringToCFString(QStringLiteral("Rank"));
    const qint32 value = text ? c.StringToCFString(query.toString()) : _ABNumberCreate(qint32(query.toInt()));
    const qint32 element = c.ABPersonCreateSearchElement(property, 0, 0, value, comparison);
    const qint32 matches = c.ABCopyArrayOfMatchingRecords(book->abref, element);
    QStringList found;
    for (qint32 i = 0; i < _ABArrayGetCount(matches); ++i)
        found << AddressBookContact(_ABArrayGetValue(matches, i), book->abref).LastName().Text();
    for (qint32 h : {matches, element, value, text ? 0 : property})
        _ABRelease(h);
    QTEST(found.join(QLatin1Char(' ')), "found");
}

void TestAddressBook::sources_data()
{
    QTest::addColumn<QStringList>("files"); // "path|content" under the home; "@path|target": a link
    QTest::addColumn<QStringList>("env"); // "NAME=value", ~ standing for the home
    QTest::addColumn<QByteArray>("abook"); // SQL that fills a Thunderbird book; none if empty
    QTest::addColumn<bool>("wal");
    QTest::addColumn<QString>("root"); // of the Thunderbird profiles
    QTest::addColumn<QStringList>("expected");
    const QByteArray tb = "INSERT INTO properties VALUES ('c1', '_vCard', 'BEGIN:VCARD\nVERSION:4.0\nFN:Ana Silva\n"
                          "N:Silva;Ana;;;\nEMAIL;PREF=1:ana@a.pt\nUID:c1\nEND:VCARD\n'), ('c1', 'DisplayName', "
                          "'Ana S.'), ('c1', 'PrimaryEmail', 'old@a.pt'), ('c2', 'FirstName', 'Bo'), ('c2', "
                          "'LastName', 'Berg'), ('c2', 'PrimaryEmail', 'bo@b.se'), ('c2', 'SecondEmail', 'b2@b.se');\n"
                          "INSERT INTO lists VALUES ('l1', 'Team', '', '');\n"
                          "INSERT INTO list_cards VALUES ('l1', 'c1'), ('l1', 'c2');\n";
    const QStringList thunderbirdBook{"Ana Silva ana@a.pt", "Bo Berg bo@b.se", "Team: Silva,Berg/"};
    QTest::newRow("khard: $VAR, ${VAR}, ~ and KHARD_CONFIG")
        << QStringList{"conf/k.conf|[addressbooks]\n[[a]]\npath = $BOOKS/one\n[[b]]\npath = \"${BOOKS}/two\"\n"
                       "[[c]]\npath = ~/three/\n",
               "books/one/a.vcf|" + vcf("a", "Alves", "Ann"), "books/two/b.vcf|" + vcf("b", "Berg", "Bo"),
               "three/c.vcf|" + vcf("c", "Cruz", "Cy")}
        << QStringList{"KHARD_CONFIG=~/conf/k.conf", "BOOKS=~/books"} << QByteArray() << false << QString()
        << QStringList{"Ann Alves ", "Bo Berg ", "Cy Cruz "};
    QTest::newRow("khard: discover")
        << QStringList{".config/khard/khard.conf|[addressbooks]\n[[all]]\npath = ~/books/*/\ntype = discover\n",
               "books/x/a.vcf|" + vcf("a", "Alves", "Ann"), "books/y/b.vcf|" + vcf("b", "Berg", "Bo")}
        << QStringList() << QByteArray() << false << QString() << QStringList{"Ann Alves ", "Bo Berg "};
    QTest::newRow("vdirsyncer: file extension, collections, calendars left out")
        << QStringList{"vd/config|[general]\nstatus_path = \"~/status/\"\n\n[storage book]\ntype = \"filesystem\"\n"
                       "path = \"~/sync/\"\nfileext = \".vcard\"\n\n[storage cal]\ntype = \"filesystem\"\n"
                       "path = \"~/cal/\"\nfileext = \".ics\"\n",
               "sync/work/a.vcard|" + vcf("a", "Alves", "Ann"), "sync/work/x.vcf|" + vcf("x", "Other", "Ext"),
               "cal/home/e.ics|" + vcf("e", "Event", "Not")}
        << QStringList{"VDIRSYNCER_CONFIG=~/vd/config"} << QByteArray() << false << QString()
        << QStringList{"Ann Alves "};
    // Categories, 4.0 and Apple group cards; members by UID, missing ones skipped; groups in groups, cycles too.
    QTest::newRow("groups") << QStringList{".local/share/contacts/a.vcf|"
            + vcf("a1", "Alves", "A", "CATEGORIES:Friends,Work\n"),
        ".local/share/contacts/b.vcf|BEGIN:VCARD\nVERSION:4.0\nKIND:group\nUID:team\nFN:Team\n"
        "MEMBER:urn:uuid:a1\nMEMBER:urn:uuid:b1\nMEMBER:urn:uuid:nobody\nEND:VCARD\n",
        ".local/share/contacts/c.vcf|" + vcf("b1", "Bento", "B", "CATEGORIES:friends\n"),
        ".local/share/contacts/d.vcf|BEGIN:VCARD\nVERSION:3.0\nX-ADDRESSBOOKSERVER-KIND:group\nFN:Old Club\n"
        "X-ADDRESSBOOKSERVER-MEMBER:b1\nX-ADDRESSBOOKSERVER-MEMBER:urn:uuid:team\nEND:VCARD\n",
        ".local/share/contacts/e.vcf|BEGIN:VCARD\nVERSION:3.0\nX-KIND:group\nUID:self\nFN:Self\n"
        "MEMBER:urn:uuid:self\nEND:VCARD\nBEGIN:VCARD\nVERSION:4.0\nKIND:group\nUID:c1\nFN:Cycle 1\n"
        "MEMBER:urn:uuid:c2\nEND:VCARD\nBEGIN:VCARD\nVERSION:4.0\nKIND:group\nUID:c2\nFN:Cycle 2\n"
        "MEMBER:urn:uuid:c1\nEND:VCARD\n"}
                            << QStringList() << QByteArray() << false << QString()
                            << QStringList{"A Alves ", "B Bento ", "Friends: Alves,Bento/", "Work: Alves/",
                                   "Team: Alves,Bento/", "Old Club: Bento/Team", "Self: /", "Cycle 1: /Cycle 2",
                                   "Cycle 2: /Cycle 1"};
    QTest::newRow("a group and a person with one UID")
        << QStringList{".local/share/contacts/a.vcf|" + vcf("x", "Alves", "Ann"),
               ".local/share/contacts/b.vcf|BEGIN:VCARD\nVERSION:4.0\nKIND:group\nUID:x\nFN:Team\n"
               "MEMBER:urn:uuid:x\nEND:VCARD\n"}
        << QStringList() << QByteArray() << false << QString() << QStringList{"Ann Alves ", "Team: Alves/"};
    // vdirsyncer lists only the names that end with its fileext as written.
    QTest::newRow("names in upper case") << QStringList{".local/share/contacts/B.VCF|" + vcf("b", "Berg", "Bo"),
        ".contacts/C.Vcf|" + vcf("c", "Cruz", "Cy"),
        "vd/config|[storage book]\ntype = \"filesystem\"\npath = \"~/sync/\"\nfileext = \".vcard\"\n",
        "sync/work/a.VCARD|" + vcf("a", "Alves", "Ann")}
                                         << QStringList{"VDIRSYNCER_CONFIG=~/vd/config"} << QByteArray() << false
                                         << QString() << QStringList{"Bo Berg ", "Cy Cruz "};
    const QString storage = "[storage book]\ntype = \"filesystem\"\npath = \"~/%1/\"\nfileext = \".vcf\"\n";
    // vdirsyncer itself looks there first.
    QTest::newRow("vdirsyncer: the older configuration before the newer")
        << QStringList{".vdirsyncer/config|" + storage.arg("old"), ".config/vdirsyncer/config|" + storage.arg("new"),
               "old/work/a.vcf|" + vcf("a", "Alves", "Ann"), "new/work/b.vcf|" + vcf("b", "Berg", "Bo")}
        << QStringList() << QByteArray() << false << QString() << QStringList{"Ann Alves "};
    QTest::newRow("Thunderbird, its log beside")
        << QStringList() << QStringList() << tb << true << QString() << thunderbirdBook;
    QTest::newRow("Thunderbird, no log") << QStringList() << QStringList() << tb << false << QString()
                                         << thunderbirdBook;
    // One folder reached twice, a UID that Thunderbird also has (the folder comes first), and two people
    // who share a name; groups in source order.
    QTest::newRow("one person once")
        << QStringList{".config/khard/khard.conf|[addressbooks]\n[[again]]\npath = ~/.contacts\n",
               ".contacts/a.vcf|" + vcf("c1", "Silva", "Ana", "EMAIL:folder@a.pt\nCATEGORIES:Friends\n"),
               ".contacts/b.vcf|" + vcf("b9", "Berg", "Bo")}
        << QStringList() << tb << false << QString()
        << QStringList{"Ana Silva folder@a.pt", "Bo Berg ", "Bo Berg bo@b.se", "Friends: Silva/", "Team: Silva,Berg/"};
    // The flatpak's folder a link to the snap's: one profile, read once.
    QTest::newRow("Thunderbird as a snap, and as a flatpak through a link")
        << QStringList{"@.var/app/org.mozilla.Thunderbird|snap/thunderbird/common"} << QStringList() << tb << false
        << "snap/thunderbird/common/.thunderbird" << thunderbirdBook;
}

void TestAddressBook::sources()
{
    QFETCH(QStringList, files);
    QFETCH(QStringList, env);
    QFETCH(QByteArray, abook);
    QFETCH(bool, wal);
    QFETCH(QString, root);
    Home home;
    for (const QString& f : std::as_const(files)) {
        const QString path = home.path(f.section(QLatin1Char('|'), 0, 0).remove(QLatin1Char('@')));
        if (!f.startsWith(QLatin1Char('@')))
            home.write(path, f.section(QLatin1Char('|'), 1).toUtf8());
        else if (QDir().mkpath(QFileInfo(path).path()))
            QVERIFY(QFile::link(home.path(f.section(QLatin1Char('|'), 1)), path));
    }
    for (const QString& e : std::as_const(env))
        qputenv(e.section(QLatin1Char('='), 0, 0).toUtf8(),
            e.section(QLatin1Char('='), 1).replace(QLatin1Char('~'), home.path()).toUtf8());
    if (!abook.isEmpty())
        books::thunderbird(home, abook, wal, root.isEmpty() ? QStringLiteral(".thunderbird") : root);
    const QStringList got = walk(*System::AddressBook());
    for (const QString& e : std::as_const(env))
        qunsetenv(e.section(QLatin1Char('='), 0, 0).toUtf8());
    QTEST(got, "expected");
}

// The configuration and the folders as Debian's vdirsyncer itself reads and writes them: it syncs a
// collection from one filesystem storage into another, and the book reads both as one.
void TestAddressBook::vdirsyncerLayout()
{
    Home home;
    home.write(home.path(QStringLiteral(".config/vdirsyncer/config")),
        "[general]\nstatus_path = \"~/.local/share/vdirsyncer/status/\"\n\n[pair contacts]\na = \"local\"\n"
        "b = \"remote\"\ncollections = [\"from b\"]\n\n[storage local]\ntype = \"filesystem\"\n"
        "path = \"~/.local/share/vdirsyncer/contacts/\"\nfileext = \".vcf\"\n\n[storage remote]\n"
        "type = \"filesystem\"\npath = \"~/remote/\"\nfileext = \".vcf\"\n");
    home.write(home.path(QStringLiteral("remote/family/a.vcf")), vcf("a", "Alves", "Ann", "EMAIL:ann@a.org\n"));
    home.write(home.path(QStringLiteral("remote/family/b.vcf")), vcf("b", "Berg", "Bo"));
    QVERIFY(!run("vdirsyncer", {"discover"}, "y\ny\ny\n").startsWith("failed"));
    QVERIFY(!run("vdirsyncer", {"sync"}).startsWith("failed"));
    QCOMPARE(QDir(home.path(".local/share/vdirsyncer/contacts/family")).entryList(QDir::Files).size(), 2);
    QCOMPARE(walk(*System::AddressBook()), (QStringList{"Ann Alves ann@a.org", "Bo Berg "}));
}

void TestAddressBook::openAgain_data()
{
    QTest::addColumn<QStringList>("files"); // "name|content" in the contacts folder
    QTest::addColumn<QString>("edit"); // "remove <last name>" or "join" (the first person joins the first group)
    QTest::addColumn<bool>("saved");
    QTest::addColumn<QStringList>("later"); // files written after the first opening, a second newer
    QTest::addColumn<bool>("fresh"); // the second opening starts afresh rather than in the same run
    QTest::addColumn<QStringList>("expected");
    const QByteArray group = "BEGIN:VCARD\nVERSION:4.0\nKIND:group\nUID:u\nFN:Team\nEND:VCARD\n";
    QTest::newRow("a card rewritten with the same size")
        << QStringList{"a.vcf|" + vcf("a", "Alves", "Ann")} << QString() << true
        << QStringList{"a.vcf|" + vcf("a", "Alves", "Bob")} << false << QStringList{"Bob Alves "};
    QTest::newRow("removal takes the person's cards in other files, not a group's")
        << QStringList{"a.vcf|" + vcf("u", "Alves", "Ann"),
               "b.vcf|" + vcf("b", "Berg", "Bo") + vcf("u", "Alves", "Ann", "EMAIL:ann@b.org\n"), "c.vcf|" + group}
        << "remove Alves" << true << QStringList() << false << QStringList{"Bo Berg ", "Team: /"};
    // The removal waits for a save that can write it, and the book stays as the program left it.
    QTest::newRow("removal from a file that cannot be rewritten")
        << QStringList{"a.vcf|" + vcf("a", "Alves", "Ann") + vcf("b", "Berg", "Bo") + "not a card\n"} << "remove Alves"
        << false << QStringList{"c.vcf|" + vcf("c", "Cruz", "Cy")} << false << QStringList{"Bo Berg "};
    QTest::newRow("a newline in a UID and a member")
        << QStringList{"a.vcf|" + vcf("a\\nb", "Alves", "Ann"), "b.vcf|" + group} << "join" << true << QStringList()
        << true << QStringList{"Ann Alves ", "Team: Alves/"};
}

// The book opened, changed by the program or by another, and opened again.
void TestAddressBook::openAgain()
{
    QFETCH(QStringList, files);
    QFETCH(QString, edit);
    QFETCH(QStringList, later);
    Home home;
    for (const QString& f : std::as_const(files))
        home.write(home.contacts(f.section(QLatin1Char('|'), 0, 0)), f.section(QLatin1Char('|'), 1).toUtf8());
    {
        const auto book = System::AddressBook();
        if (edit == QLatin1String("join"))
            book->Groups().value(0)->Add(*book->Contacts().value(0));
        for (const auto& c : book->Contacts()) {
            if (edit == QLatin1String("remove ") + c->LastName().Text())
                book->Remove(*c);
        }
        if (!edit.isEmpty())
            QTEST(book->Save(), "saved");
    }
    // A second later, since the file system's clock need not tick between two writes.
    const QDateTime next = QDateTime::currentDateTime().addSecs(1);
    for (const QString& f : std::as_const(later)) {
        const QString path = home.contacts(f.section(QLatin1Char('|'), 0, 0));
        home.write(path, f.section(QLatin1Char('|'), 1).toUtf8());
        QFile file(path);
        QVERIFY(file.open(QIODevice::Append) && file.setFileTime(next, QFileDevice::FileModificationTime));
    }
    QFETCH(bool, fresh);
    if (fresh)
        resetAddressBookForTesting();
    QTEST(walk(*System::AddressBook()), "expected");
}

// GNOME's book as Evolution Data Server writes it: people, a category, a contact list; then a change
// and a removal by EDS between two readings, while a record of the first reading is still held.
void TestAddressBook::evolutionLive()
{
    Home home;
    home.card("a.vcf", vcf("u1", "Alves", "Ann", "EMAIL:folder@a.org\n"));
    books::evolution(home,
        "add\n" + vcf("u1", "Alves", "Ann", "EMAIL:eds@a.org\n") + "\nadd\n"
            + vcf("u2", "Berg", "Bo", "EMAIL:bo@b.se\nCATEGORIES:Crew\n") + "\nadd\n" + vcf("u3", "Cruz", "Cy")
            + "\nadd\nBEGIN:VCARD\nVERSION:3.0\nUID:l1\nFN:Team\nX-EVOLUTION-LIST:TRUE\n"
              "EMAIL;X-EVOLUTION-DEST-CONTACT-UID=u2:Bo <bo@b.se>\nEMAIL;X-EVOLUTION-DEST-CONTACT-UID=u3:Cy "
              "<c@c.org>\n"
              "END:VCARD\n");
    QVERIFY(QFileInfo::exists(home.path(QStringLiteral(".local/share/evolution/addressbook/system/contacts.db"))));
    const auto sorted = [](QStringList l) { // EDS stores a batch in an order of its own
        l.sort();
        return l;
    };
    auto book = System::AddressBook();
    QCOMPARE(sorted(walk(*book)),
        (QStringList{"Ann Alves folder@a.org", "Bo Berg bo@b.se", "Crew: Berg/", "Cy Cruz ", "Team: Berg,Cruz/"}));
    std::shared_ptr<AddressBookContact> cy;
    for (const auto& c : book->Contacts())
        cy = c->FirstName().Text() == QLatin1String("Cy") ? c : cy;
    books::evolution(home, "modify\n" + vcf("u2", "Berg", "Bo", "EMAIL:new@b.se\n") + "\nremove\nu3\n");
    QCOMPARE(sorted(walk(*System::AddressBook())),
        (QStringList{"Ann Alves folder@a.org", "Bo Berg new@b.se", "Team: Berg/"}));
    QVERIFY(cy);
    QCOMPARE(cy->FirstName().Text(), QStringLiteral("Cy"));
}

void TestAddressBook::hostileSources_data()
{
    QTest::addColumn<QString>("path"); // under the home
    // "fifo", "link:target", "sql:statements", "lock", "size:bytes" (a card, then a hole) or the bytes
    QTest::addColumn<QByteArray>("make");
    const QString eds = QStringLiteral(".local/share/evolution/addressbook/system/contacts.db");
    const QString tb = QStringLiteral(".thunderbird/p/abook.sqlite");
    const QByteArray edsSql
        = "CREATE TABLE folders (folder_id TEXT); INSERT INTO folders VALUES ('folder_id');"
          "CREATE TABLE folder_id (uid TEXT PRIMARY KEY, vcard TEXT);"
          "INSERT INTO folder_id VALUES ('e1', 'BEGIN:VCARD\nVERSION:3.0\nUID:e1\nFN:Eve Eds\nEND:VCARD\n');";
    QTest::newRow("FIFO .vcf") << QStringLiteral(".local/share/contacts/fifo.vcf") << QByteArray("fifo");
    QTest::newRow("FIFO khard.conf") << QStringLiteral(".config/khard/khard.conf") << QByteArray("fifo");
    QTest::newRow(".vcf linked to /dev/zero") << QString(".local/share/contacts/z.vcf") << QByteArray("link:/dev/zero");
    QTest::newRow(".vcf over the size cap")
        << QStringLiteral(".local/share/contacts/big.vcf") << "size:" + QByteArray::number((qint64(256) << 20) + 1);
    QTest::newRow("contacts.db not SQLite") << eds << QByteArray("BEGIN:VCARD\nFN:Not a database\nEND:VCARD\n");
    QTest::newRow("contacts.db cut short") << eds << "cut:" + edsSql + QByteArray(20000, ' ');
    QTest::newRow("contacts.db without a vCard column")
        << eds << QByteArray("sql:CREATE TABLE folder_id (uid TEXT, x TEXT);");
    QTest::newRow("contacts.db locked") << eds << "lock:" + edsSql;
    QTest::newRow("abook.sqlite not SQLite") << tb << QByteArray(5000, '\x01');
    QTest::newRow("abook.sqlite with other columns")
        << tb << QByteArray("sql:CREATE TABLE properties (card, key, val);");
}

// A hostile source is skipped without blocking, the other sources are read, and no file is changed.
void TestAddressBook::hostileSources()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, make);
    Home home;
    home.card("a.vcf", vcf("a", "Alves", "Ann"));
    home.write(home.path(QStringLiteral(".thunderbird/profiles.ini")), "[Profile0]\nIsRelative=1\nPath=p\n");
    const QString file = home.path(path);
    QDir().mkpath(QFileInfo(file).path());
    QProcess locker;
    if (make == "fifo") {
        QCOMPARE(::mkfifo(QFile::encodeName(file).constData(), 0600), 0);
    } else if (make.startsWith("size:")) {
        home.write(file, vcf("big", "Big", "Too"));
        QVERIFY(QFile(file).resize(make.mid(5).toLongLong()));
    } else if (make.startsWith("link:")) {
        QVERIFY(QFile::link(QString::fromUtf8(make.mid(5)), file));
    } else if (make.contains(':') && QByteArray("sql cut lock").contains(make.left(make.indexOf(':')))) {
        const QByteArray kind = make.left(make.indexOf(':'));
        const char* script
            = "import sqlite3, sys\nc = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
              "c.executescript(sys.argv[2])\nif sys.argv[3] == 'cut': open(sys.argv[1], 'r+b').truncate(3000)\n"
              "if sys.argv[3] == 'lock': c.execute('BEGIN EXCLUSIVE')\n"
              "print('ready', flush=True)\nsys.stdin.read()\n";
        locker.start("/usr/bin/python3", {"-c", script, file, make.mid(kind.size() + 1), kind});
        QVERIFY(locker.waitForReadyRead(30000));
    } else {
        home.write(file, make);
    }
    const QByteArray before = QFileInfo(file).isFile() ? home.read(file) : QByteArray();
    QCOMPARE(walk(*System::AddressBook()), QStringList{QStringLiteral("Ann Alves ")});
    QCOMPARE(QFileInfo(file).isFile() ? home.read(file) : QByteArray(), before);
    locker.closeWriteChannel();
    locker.waitForFinished();
}

// A book changed and then held locked by its writer keeps the people last read from it until it can be
// read again.
void TestAddressBook::lockedAfterAChange()
{
    Home home;
    const QString db = home.path(QStringLiteral(".local/share/evolution/addressbook/system/contacts.db"));
    QDir().mkpath(QFileInfo(db).path());
    const char* writer = "import sqlite3, sys\nc = sqlite3.connect(sys.argv[1], isolation_level=None)\n"
                         "c.execute('CREATE TABLE folder_id (uid TEXT PRIMARY KEY, vcard TEXT)')\n"
                         "add = lambda u, n: c.execute('INSERT INTO folder_id VALUES (?, ?)', (u, "
                         "'BEGIN:VCARD\\nVERSION:3.0\\nUID:%s\\nN:%s;;;;\\nEND:VCARD\\n' % (u, n)))\n"
                         "add('e1', 'Eds')\nprint('1', flush=True)\nsys.stdin.readline()\n"
                         "add('e2', 'Fry')\nc.execute('BEGIN EXCLUSIVE')\nprint('2', flush=True)\n"
                         "sys.stdin.readline()\nc.execute('COMMIT')\nprint('3', flush=True)\nsys.stdin.read()\n";
    QProcess p;
    p.start("/usr/bin/python3", {"-c", writer, db});
    for (const auto& [step, people] :
        {std::pair{"1", QStringList{" Eds "}}, {"2", {" Eds "}}, {"3", {" Eds ", " Fry "}}}) {
        QTRY_VERIFY_WITH_TIMEOUT(p.canReadLine(), 30000);
        QCOMPARE(p.readLine(), QByteArray(step) + '\n');
        QCOMPARE(walk(*System::AddressBook()), people);
        p.write("\n");
    }
    p.closeWriteChannel();
    QVERIFY(p.waitForFinished());
}

// A Thunderbird book that changes while it is copied is copied again; one that changes at each copy keeps the
// people last read from it until a copy holds still.
void TestAddressBook::changedWhileCopied()
{
    Home home;
    books::thunderbird(
        home, "INSERT INTO properties VALUES ('c0', 'FirstName', 'Ana'), ('c0', 'LastName', 'P0');\n", false);
    const QString db = home.path(QStringLiteral(".thunderbird/p/abook.sqlite"));
    int added = 0;
    const auto add = [&] {
        const QString n = QString::number(++added);
        const QString sql = "INSERT INTO properties VALUES ('c" + n + "', 'FirstName', 'Ana'), ('c" + n
            + "', 'LastName', 'P" + n + "')";
        QCOMPARE(run("/usr/bin/sqlite3", {db, sql}), QString());
    };
    int changesLeft = 1;
    setBookCopyHookForTesting([&] {
        if (changesLeft-- > 0)
            add();
    });
    QCOMPARE(walk(*System::AddressBook()), (QStringList{"Ana P0 ", "Ana P1 "})); // the first copy lacks P1
    add();
    changesLeft = 2;
    QCOMPARE(walk(*System::AddressBook()), (QStringList{"Ana P0 ", "Ana P1 "}));
    QCOMPARE(changesLeft, 0); // copied twice, no more
    setBookCopyHookForTesting({});
    QCOMPARE(walk(*System::AddressBook()), (QStringList{"Ana P0 ", "Ana P1 ", "Ana P2 ", "Ana P3 ", "Ana P4 "}));
}

QTEST_GUILESS_MAIN(TestAddressBook)
#include "tst_addressbook.moc"
