// The address book layer end to end: cards written to a vCard folder on disk, the shared book as the
// program sees it, every person and group walked, edited, saved twice and read again from the files.
// Input: one byte of edits, then the text of the edits up to the first "\x01", then up to three files
// separated by "\x01".
#include "addressbook.h"

#include "abcffunctions.h"
#include "exceptions.h"
#include "fuzz.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {

enum Edit : uint8_t { Note = 1, LastName = 2, Homepage = 4, Email = 8, Rename = 16, Join = 32, AddPerson = 64 };

QString base;

QString folder()
{
    return base + QStringLiteral("/.local/share/contacts");
}

QByteArray read(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

// What every reader of a person gives, so that a walk reaches every property.
void walk(AddressBookContact& c)
{
    using Reader = AddressBookData (AddressBookContact::*)();
    for (Reader single : {&AddressBookContact::FirstName, &AddressBookContact::MiddleName,
             &AddressBookContact::LastName, &AddressBookContact::CompanyName, &AddressBookContact::JobTitle,
             &AddressBookContact::Homepage, &AddressBookContact::Note, &AddressBookContact::Birthday})
        (c.*single)().Value(0);
    for (Reader list : {&AddressBookContact::EmailAddresses, &AddressBookContact::PhoneNumbers,
             &AddressBookContact::Addresses, &AddressBookContact::AIMScreenNames,
             &AddressBookContact::JabberScreenNames, &AddressBookContact::MSNScreenNames,
             &AddressBookContact::YahooScreenNames, &AddressBookContact::ICQNumbers}) {
        AddressBookData d = (c.*list)();
        for (qint32 i = 0; i < d.Count(); ++i) {
            d.Value(i);
            d.Label(i);
        }
    }
    c.VCard();
}

// Whether every version carries the text as it is: 3.0 and 4.0 have no way to write a carriage return or
// a NUL, and a blank at the end of a line is not part of it.
bool carried(const QString& text)
{
    return !text.contains(QLatin1Char('\r')) && !text.contains(QChar(0))
        && (text.isEmpty() || !QStringView(u" \t\v\f").contains(text.back()));
}

QStringList groupsOf(AddressBook& book)
{
    QStringList out;
    for (const auto& g : book.Groups()) {
        g->Name().Value(0);
        out << QString::number(g->Contacts().size()) + QLatin1Char('/') + QString::number(g->Groups().size());
    }
    out.sort();
    return out;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static QCoreApplication app(*argc, *argv);
    static QTemporaryDir home;
    base = home.path();
    qputenv("HOME", base.toUtf8());
    qputenv("XDG_DATA_HOME", (base + QStringLiteral("/.local/share")).toUtf8());
    qputenv("XDG_CONFIG_HOME", (base + QStringLiteral("/.config")).toUtf8());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t edits = data[0];
    const QList<QByteArray> parts = fuzzBytes(data + 1, size - 1).split('\x01');
    const QString value = QString::fromUtf8(parts[0]);
    const bool plain = carried(value);
    QDir(folder()).removeRecursively();
    QDir().mkpath(folder());
    QList<std::pair<QString, QByteArray>> files;
    for (qsizetype i = 1; i < parts.size() && i <= 3; ++i) {
        files.append({folder() + QStringLiteral("/%1.vcf").arg(i), parts[i]});
        QFile f(files.last().first);
        FUZZ_CHECK(f.open(QIODevice::WriteOnly) && f.write(parts[i]) == parts[i].size());
    }
    _ABCFFunctions::resetAddressBookForTesting();
    QHash<QString, QString> notes, lastNames, homepages, mails, names; // by UID
    qsizetype people = 0;
    QStringList groups;
    {
        const auto book = System::AddressBook();
        AddressBookContact fresh;
        if (edits & AddPerson) {
            fresh.setFirstName(value);
            book->Add(fresh);
        }
        const auto contacts = book->Contacts();
        const auto groupList = book->Groups();
        for (const auto& c : contacts)
            walk(*c);
        people = contacts.size();
        bool saved = true;
        for (int round = 0; round < 2; ++round) {
            for (const auto& c : contacts) {
                const QString uid = c->UniqueID().Text();
                if (edits & Note) {
                    c->setNote(value);
                    if (plain)
                        notes[uid] = value;
                }
                if ((edits & LastName) && !value.isEmpty()) {
                    c->setLastName(value);
                    if (plain)
                        lastNames[uid] = value;
                }
                if (edits & Homepage) {
                    c->setHomepage(value);
                    if (plain)
                        homepages[uid] = value;
                }
                if ((edits & Email) && !value.isEmpty()) {
                    c->EmailAddresses().Append(QStringLiteral("Work"), Variant(value));
                    if (plain)
                        mails[uid] = value.trimmed();
                }
            }
            for (const auto& g : groupList) {
                if (edits & Rename) {
                    g->setName(value);
                    if (plain)
                        names[g->UniqueID().Text()] = value;
                }
                if ((edits & Join) && !contacts.isEmpty())
                    g->Add(*contacts.first());
            }
            try {
                saved = book->Save() && saved;
            } catch (const RuntimeException&) {
                FUZZ_CHECK(round == 0); // refused: nothing written
                for (const auto& [path, bytes] : files)
                    FUZZ_CHECK(read(path) == bytes);
                FUZZ_CHECK(QDir(folder()).entryList(QDir::Files).size() == files.size());
                return 0;
            }
        }
        groups = groupsOf(*book);
        if (!saved) // a file that could not be read whole is never rewritten
            return 0;
    }
    for (const QString& name : QDir(folder()).entryList(QDir::Files)) {
        const QString path = folder() + QLatin1Char('/') + name;
        bool before = false;
        for (const auto& [p, bytes] : files)
            before = before || (p == path && bytes == read(path));
        FUZZ_CHECK(before || !read(path).contains('\0'));
    }
    _ABCFFunctions::resetAddressBookForTesting();
    const auto again = System::AddressBook();
    const auto contacts = again->Contacts();
    FUZZ_CHECK(contacts.size() == people);
    FUZZ_CHECK(groupsOf(*again) == groups);
    for (const auto& c : contacts) {
        const QString uid = c->UniqueID().Text();
        if (notes.contains(uid))
            FUZZ_CHECK(c->Note().Text() == notes[uid]);
        if (lastNames.contains(uid))
            FUZZ_CHECK(c->LastName().Text() == lastNames[uid]);
        if (homepages.contains(uid))
            FUZZ_CHECK(c->Homepage().Text() == homepages[uid]);
        if (mails.contains(uid)) {
            AddressBookData list = c->EmailAddresses();
            FUZZ_CHECK(list.Count() > 0 && list.Value(list.Count() - 1).StringValue() == mails[uid]);
        }
    }
    for (const auto& g : again->Groups()) {
        const QString uid = g->UniqueID().Text();
        if (names.contains(uid))
            FUZZ_CHECK(g->Name().Text() == names[uid]);
    }
    return 0;
}
