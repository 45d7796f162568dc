#include "exceptions.h"
#include "fields.h"
#include "source.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>
#include <array>
#include <unordered_map>

// The shared book as its sources hold it now: read on first use, and at each later use only what
// changed since.
namespace abplatform {
namespace {

// A record that left the book's lists. One that a file of the book still holds (a duplicate) stays, since
// it comes back when the other card goes; the old state of a changed or gone card is given up, and lives on
// only while a caller or a group still holds it.
void retire(Book& book, qint32 h, const QSet<qint32>& inFiles)
{
    if (inFiles.contains(h))
        book.retired.append(h);
    else
        platform().table.release(h);
}

std::unique_ptr<FileRecord> readUnit(Source& source, const Unit& unit)
{
    auto file = std::make_unique<FileRecord>();
    file->path = unit.path;
    std::optional<vcard::File> parsed = source.read(unit);
    if (!parsed) {
        file->clean = false; // and no stamp: tried again at the next opening
        return file;
    }
    file->stamp = unit.stamp;
    file->gaps = std::move(parsed->gaps);
    file->eol = parsed->eol;
    file->clean = parsed->clean;
    file->cards.reserve(parsed->cards.size());
    file->records.reserve(parsed->cards.size());
    for (const std::shared_ptr<vcard::Card>& card : parsed->cards) {
        const qint32 h = newRecord(card, isGroupCard(*card), false);
        Record* r = recordAt(h);
        r->file = file.get();
        r->inBook = true;
        file->cards.append(card);
        file->records.append(h);
    }
    return file;
}

// A group read from a card takes its members from the card again, as they are named there.
void resetMembers(Group& g)
{
    Platform& P = platform();
    for (QList<qint32>* list : {&g.members, &g.subgroups}) {
        for (qint32 h : std::as_const(*list))
            P.table.release(h);
        list->clear();
    }
    if (!g.category.isEmpty() || !g.card)
        return;
    g.unresolved.clear();
    for (qsizetype i = 0; i < g.card->props.size(); ++i) {
        if (g.card->props.tag(i) == FMembers)
            g.unresolved.append(g.card->props[i].text(g.card->version).trimmed().toUtf8());
    }
}

void resolveMembers(Book& book)
{
    if (book.groups.isEmpty())
        return; // a large book of people alone makes no table of them
    Platform& P = platform();
    QHash<QString, qint32> byUid;
    byUid.reserve(book.people.size() + book.groups.size());
    for (const QList<qint32>* list : {&book.people, &book.groups}) {
        for (qint32 h : *list) {
            const auto* r = static_cast<const Record*>(P.table.get(h));
            if (r->uidInCard && !byUid.contains(r->uid))
                byUid.insert(r->uid, h);
        }
    }
    for (qint32 gh : book.groups) {
        Group* g = P.table.as<Group>(gh);
        QList<QByteArray> unknown;
        QSet<qint32> known;
        for (const QByteArray& value : std::as_const(g->unresolved)) {
            QString uid = QString::fromUtf8(value);
            if (uid.startsWith(QLatin1String("urn:uuid:"), Qt::CaseInsensitive))
                uid = uid.mid(9);
            const qint32 m = byUid.value(uid);
            QList<qint32>& into = P.table.as<Person>(m) ? g->members : g->subgroups;
            if (!m || m == gh || known.contains(m)) { // unknown or itself: skipped, but kept in the card
                unknown.append(value);
                continue;
            }
            into.append(m);
            known.insert(m);
            P.table.retain(m);
        }
        g->unresolved = unknown;
    }
}

// The book's lists made anew from its files, in source order: a person whose UID an earlier file already gave
// to a person (the same card reached through two places) is left out, and so is a group whose UID an earlier
// file gave to a group. Handles given out keep answering after their records leave the lists: the caller's
// own reference keeps them.
void compose(Book& book)
{
    Platform& P = platform();
    QSet<qint32> held(book.retired.cbegin(), book.retired.cend());
    for (const QList<qint32>* list : {&book.people, &book.groups})
        held.unite(QSet<qint32>(list->cbegin(), list->cend()));
    QHash<QString, qint32> categories;
    for (qint32 h : std::as_const(book.groups)) {
        if (Group* g = P.table.as<Group>(h); g && !g->category.isEmpty())
            categories.insert(g->category.toCaseFolded(), h);
    }
    QList<qint32> people, groups;
    std::array<QHash<QString, const FileRecord*>, 2> uidFile; // people's, groups'
    qsizetype records = 0;
    for (const auto& file : book.files)
        records += file->records.size();
    uidFile[0].reserve(records);
    held.reserve(held.size() + records);
    QSet<qint32> categoryUsed;
    for (const auto& file : book.files) {
        for (qint32 h : std::as_const(file->records)) {
            held.insert(h);
            Record* r = recordAt(h);
            if (r->uidInCard) {
                auto& firstFile = uidFile[r->kind == Kind::Group];
                const auto it = firstFile.constFind(r->uid);
                if (it != firstFile.cend() && *it != file.get())
                    continue;
                firstFile.insert(r->uid, file.get());
            }
            if (r->kind == Kind::Group) {
                resetMembers(*static_cast<Group*>(r));
                groups.append(h);
                continue;
            }
            people.append(h);
            for (const QString& name : static_cast<Person*>(r)->categories) {
                qint32& g = categories[name.toCaseFolded()];
                if (!g) {
                    g = newRecord(nullptr, true, false);
                    Group* made = P.table.as<Group>(g);
                    made->category = name;
                    made->inBook = true;
                    made->put(constantText(kGroupNameProperty), P.newString(name, false));
                }
                if (!categoryUsed.contains(g)) {
                    categoryUsed.insert(g);
                    resetMembers(*P.table.as<Group>(g));
                    groups.append(g);
                }
                P.table.as<Group>(g)->members.append(h);
                P.table.retain(h);
            }
        }
    }
    for (qint32 g : std::as_const(categories)) {
        if (!categoryUsed.contains(g)) {
            resetMembers(*P.table.as<Group>(g));
            held.insert(g);
        }
    }
    uidFile = {}; // each table of a large book is freed as soon as it has served, so that they do not add up
    book.people = people;
    book.groups = groups;
    {
        QSet<qint32> listed;
        listed.reserve(people.size() + groups.size());
        listed.unite(QSet<qint32>(people.cbegin(), people.cend()));
        listed.unite(QSet<qint32>(groups.cbegin(), groups.cend()));
        QSet<qint32> inFiles;
        inFiles.reserve(records);
        for (const auto& file : book.files)
            inFiles.unite(QSet<qint32>(file->records.cbegin(), file->records.cend()));
        book.retired.clear();
        for (qint32 h : std::as_const(held)) {
            if (!listed.contains(h))
                retire(book, h, inFiles);
        }
        held = {};
    }
    resolveMembers(book);
}

} // namespace

Record* recordAt(qint32 h)
{
    Value* v = platform().table.get(h);
    return v && (v->kind == Kind::Person || v->kind == Kind::Group) ? static_cast<Record*>(v) : nullptr;
}

qint32 loadSharedBook(Platform& P)
{
    std::unique_ptr<Source> sources[] = {vcardFolders(0), evolutionBooks(1), thunderbirdBooks(2)};
    QList<Unit> units;
    bool any = false;
    for (const auto& s : sources)
        any = s->units(units) || any;
    if (!any)
        throw RuntimeException(QStringLiteral("No address book: none of its places exists"));
    if (!P.book) {
        P.book = P.table.add(std::make_unique<Book>(), false);
        P.table.makeImmortal(P.book);
    }
    Book& book = *P.table.as<Book>(P.book);
    book.target = sources[0]->target();
    // The program's own changes wait for Save: until then the book stays as the program left it.
    if (hasUnsavedChanges(book))
        return P.book;
    QSet<QString> seen;
    units.removeIf([&](const Unit& u) {
        const bool twice = seen.contains(u.path);
        seen.insert(u.path);
        return twice;
    });
    const bool same = qsizetype(book.files.size()) == units.size()
        && std::equal(units.cbegin(), units.cend(), book.files.cbegin(), [](const Unit& u, const auto& f) {
               return !u.stamp.isEmpty() && u.path == f->path && u.stamp == f->stamp;
           });
    if (same)
        return P.book;
    std::unordered_map<QString, std::unique_ptr<FileRecord>> old;
    for (auto& f : book.files)
        old.emplace(f->path, std::move(f));
    book.files.clear();
    for (const Unit& u : std::as_const(units)) {
        auto it = old.find(u.path);
        if (it != old.end() && !u.stamp.isEmpty() && it->second->stamp == u.stamp) {
            book.files.push_back(std::move(it->second));
            old.erase(it);
        } else if (auto fresh = readUnit(*sources[u.source], u); !fresh->stamp.isEmpty() || it == old.end()) {
            book.files.push_back(std::move(fresh));
        } else {
            // Briefly unreadable (a writer's lock, a copy caught mid-write): its people stay as last read,
            // and it is read again at the next opening.
            it->second->stamp.clear();
            book.files.push_back(std::move(it->second));
            old.erase(it);
        }
    }
    for (const auto& [path, file] : old) {
        for (qint32 h : std::as_const(file->records)) {
            if (Record* r = recordAt(h); r && r->file == file.get())
                r->file = nullptr;
        }
    }
    compose(book);
    return P.book;
}

qint32 personFromCard(const std::shared_ptr<vcard::Card>& card)
{
    return newRecord(card, false, true);
}
qint32 createRecord(Kind kind)
{
    return newRecord(nullptr, kind == Kind::Group, true);
}

int propertyType(const Book* book, Kind recordKind, const QString& key)
{
    const bool person = recordKind == Kind::Person;
    // Hashed once: every value read through the bridge asks for its property's type.
    static const auto builtIn = [] {
        std::array<QHash<QString, int>, 2> out;
        for (bool isPerson : {false, true}) {
            for (const PropertyInfo& p : properties(isPerson))
                out[isPerson].insert(constantText(p.key), p.type);
        }
        return out;
    }();
    if (const auto it = builtIn[person].constFind(key); it != builtIn[person].cend())
        return *it;
    if (!book)
        return 0;
    return book->customTypes.value(constantText(person ? kPersonRecordType : kGroupRecordType)).value(key);
}

QStringList propertyKeys(const Book* book, Kind recordKind)
{
    const bool person = recordKind == Kind::Person;
    QStringList keys;
    for (const PropertyInfo& p : properties(person))
        keys.append(constantText(p.key));
    if (book)
        keys += book->customTypes.value(constantText(person ? kPersonRecordType : kGroupRecordType)).keys();
    return keys;
}

} // namespace abplatform
