#include "abfields.h"
#include "exceptions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

// Finding the user's books and loading them.
namespace abplatform {
namespace {

bool hasVcards(const QString& folder)
{
    for (const QString& name : QDir(folder).entryList({QStringLiteral("*.vcf")}, QDir::Files)) {
        if (!name.startsWith(QLatin1Char('.')))
            return true;
    }
    return false;
}

// Reads one file; its records join the book in file order.
void readFile(Book& book, const QString& path, QHash<QString, qint32>& categoryGroups)
{
    Platform& P = platform();
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return;
    vcard::File parsed = vcard::parse(f.readAll());
    auto file = std::make_unique<FileRecord>();
    file->path = path;
    file->gaps = std::move(parsed.gaps);
    file->eol = parsed.eol;
    file->clean = parsed.clean;
    for (const std::shared_ptr<vcard::Card>& card : parsed.cards) {
        const bool group = isGroupCard(*card);
        const qint32 h = newRecord(card, group, false);
        auto* r = P.table.as<Person>(h) ? static_cast<Record*>(P.table.as<Person>(h)) : P.table.as<Group>(h);
        r->file = file.get();
        r->inBook = true;
        file->cards.append(card);
        file->records.append(h);
        (group ? book.groups : book.people).append(h);
        if (group)
            continue;
        for (const QString& name : static_cast<Person*>(r)->categories) {
            qint32& g = categoryGroups[name.toCaseFolded()];
            if (!g) {
                g = newRecord(nullptr, true, false);
                Group* made = P.table.as<Group>(g);
                made->category = name;
                made->inBook = true;
                made->put(constantText(kGroupNameProperty), P.newString(name, false));
                book.groups.append(g);
            }
            P.table.as<Group>(g)->members.append(h);
            P.table.retain(h);
        }
    }
    book.files.push_back(std::move(file));
}

void resolveMembers(Book& book)
{
    Platform& P = platform();
    QHash<QString, qint32> byUid;
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

} // namespace

Record* recordAt(qint32 h)
{
    Value* v = platform().table.get(h);
    return v && (v->kind == Kind::Person || v->kind == Kind::Group) ? static_cast<Record*>(v) : nullptr;
}

QStringList addressBookPlaces()
{
    const QString home = QDir::homePath();
    QStringList places{
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1String("/contacts"),
        home + QLatin1String("/.contacts")};
    QFile conf(
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1String("/khard/khard.conf"));
    if (conf.open(QIODevice::ReadOnly)) {
        bool inBooks = false;
        while (!conf.atEnd()) {
            const QString line = QString::fromUtf8(conf.readLine()).trimmed();
            if (line.startsWith(QLatin1String("[")) && !line.startsWith(QLatin1String("[["))) {
                inBooks = line.compare(QLatin1String("[addressbooks]"), Qt::CaseInsensitive) == 0;
            } else if (inBooks && line.section(QLatin1Char('='), 0, 0).trimmed() == QLatin1String("path")) {
                QString path = line.section(QLatin1Char('='), 1).trimmed();
                if (path.size() >= 2 && (path.front() == QLatin1Char('"') || path.front() == QLatin1Char('\''))
                    && path.back() == path.front())
                    path = path.mid(1, path.size() - 2);
                if (path == QLatin1String("~") || path.startsWith(QLatin1String("~/")))
                    path = home + path.mid(1);
                places.append(path);
            }
        }
    }
    return places;
}

qint32 loadSharedBook(Platform& P)
{
    QStringList collections;
    QString target;
    bool any = false;
    auto addCollection = [&](const QString& folder) {
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (collections.contains(canonical))
            return;
        collections.append(canonical);
        if (target.isEmpty() && QFileInfo(canonical).isWritable())
            target = canonical;
    };
    QString fallback;
    for (const QString& place : addressBookPlaces()) {
        if (!QFileInfo(place).isDir())
            continue;
        any = true;
        if (fallback.isEmpty() && QFileInfo(place).isWritable())
            fallback = QFileInfo(place).canonicalFilePath();
        if (hasVcards(place))
            addCollection(place);
        for (const QString& sub : QDir(place).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
            if (hasVcards(place + QLatin1Char('/') + sub))
                addCollection(place + QLatin1Char('/') + sub);
        }
    }
    if (!any)
        throw RuntimeException(QStringLiteral("No address book: none of its folders exists"));
    auto book = std::make_unique<Book>();
    Book& b = *book;
    b.target = target.isEmpty() ? fallback : target;
    const qint32 handle = P.table.add(std::move(book), false);
    P.table.makeImmortal(handle);
    QHash<QString, qint32> categoryGroups;
    for (const QString& folder : std::as_const(collections)) {
        for (const QString& name : QDir(folder).entryList({QStringLiteral("*.vcf")}, QDir::Files, QDir::Name)) {
            if (!name.startsWith(QLatin1Char('.')))
                readFile(b, folder + QLatin1Char('/') + name, categoryGroups);
        }
    }
    resolveMembers(b);
    return handle;
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
    for (const PropertyInfo& p : properties(person)) {
        if (constantText(p.key) == key)
            return p.type;
    }
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
