#include "source.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QStandardPaths>
#include <utility>

// Evolution Data Server's books, the ones GNOME Contacts and Evolution show: one SQLite file per book.
// Local books are $XDG_DATA_HOME/evolution/addressbook/<source>/contacts.db, the personal one in system/;
// books of online accounts (CardDAV, Google, Nextcloud) are kept as a cache of the server's cards in
// $XDG_CACHE_HOME/evolution/addressbook/<source>/cache.db. Each contact is kept whole as vCard 3.0 text in
// a column of the book's table; contact lists are cards marked X-EVOLUTION-LIST whose e-mail lines name
// their members. A source the user turned off (Enabled=false in its .source file, or in a parent's) is
// not read, nor is a book moved to trash/ when its source was removed.
namespace abplatform {
namespace {

// The state a cached card has while its local deletion waits to reach the server.
constexpr int kLocallyDeleted = 3;

struct CardColumns
{
    QByteArray table, vcard, state; // state only in a cache
};

QByteArray quoted(QByteArray name)
{
    name.replace('"', "\"\"");
    return '"' + name + '"';
}

// The table that holds the cards, found by its columns: a local book's uid and vcard (the table that
// folders names first), or a cache's ECacheUID and ECacheOBJ.
CardColumns cardColumns(SqliteReader& db)
{
    QList<QByteArray> tables;
    db.select("SELECT folder_id FROM folders",
        [&](const QList<QByteArrayView>& r) { tables.append(r.value(0).toByteArray()); });
    db.select("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY rowid",
        [&](const QList<QByteArrayView>& r) { tables.append(r.value(0).toByteArray()); });
    for (const QByteArray& t : std::as_const(tables)) {
        const QList<QByteArray> columns = db.columns(t);
        if (columns.contains("uid") && columns.contains("vcard"))
            return {t, "vcard", {}};
        if (columns.contains("ecacheuid") && columns.contains("ecacheobj"))
            return {t, "ecacheobj", columns.contains("ecachestate") ? "ecachestate" : QByteArray()};
    }
    return {};
}

QByteArray line(const char* name, const QByteArray& value)
{
    return QByteArray(name) + ':' + value + "\r\n";
}

// A contact list as a group card, its members named by UID.
std::shared_ptr<vcard::Card> listCard(const vcard::Card& list)
{
    QByteArray text = "BEGIN:VCARD\r\nVERSION:3.0\r\nX-ADDRESSBOOKSERVER-KIND:group\r\n";
    for (const vcard::Property& p : list.props) {
        if (p.name == "UID" || p.name == "FN") {
            text += line(p.name.constData(), p.value);
        } else if (p.name == "EMAIL") {
            if (const vcard::Param* uid = p.param("X-EVOLUTION-DEST-CONTACT-UID"); uid && !uid->values.isEmpty())
                text += line("X-ADDRESSBOOKSERVER-MEMBER", "urn:uuid:" + uid->values.first());
        }
    }
    return vcard::parse(text + "END:VCARD\r\n").cards.value(0);
}

// The sources the user turned off, by UID: a source is off when it or any source above it says
// Enabled=false, as the registry counts it.
QSet<QString> disabledSources()
{
    const QString folder
        = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QLatin1String("/evolution/sources");
    QHash<QString, std::pair<bool, QString>> sources; // enabled, parent
    for (const QString& name : QDir(folder).entryList({QStringLiteral("*.source")}, QDir::Files)) {
        bool enabled = true;
        QString parent;
        for (const ConfigSection& section : configSections(folder + QLatin1Char('/') + name)) {
            if (section.header == QLatin1String("[Data Source]")) {
                enabled = section.value(QLatin1String("enabled")) != QLatin1String("false");
                parent = section.value(QLatin1String("parent"));
            }
        }
        sources.insert(name.chopped(7), {enabled, parent});
    }
    QSet<QString> off;
    for (auto it = sources.cbegin(); it != sources.cend(); ++it) {
        QString at = it.key();
        for (int depth = 0; depth < 16 && sources.contains(at); ++depth) { // a loop of parents ends
            if (!sources[at].first) {
                off.insert(it.key());
                break;
            }
            at = sources[at].second;
        }
    }
    return off;
}

class Evolution final : public Source
{
public:
    explicit Evolution(int order)
        : m_order(order)
    {
    }

    bool units(QList<Unit>& out) override
    {
        const QSet<QString> off = disabledSources();
        bool any = false;
        // Local books, the personal one first, then the caches of online books. A book keeps one file: the
        // other name is the one an older or newer backend kept there.
        const std::pair<QStandardPaths::StandardLocation, QStringList> places[]
            = {{QStandardPaths::GenericDataLocation, {QStringLiteral("contacts.db"), QStringLiteral("cache.db")}},
                {QStandardPaths::GenericCacheLocation, {QStringLiteral("cache.db"), QStringLiteral("contacts.db")}}};
        for (const auto& [location, names] : places) {
            const QString root = QStandardPaths::writableLocation(location) + QLatin1String("/evolution/addressbook");
            QStringList books = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
            books.removeOne(QStringLiteral("trash"));
            if (books.removeOne(QStringLiteral("system")))
                books.prepend(QStringLiteral("system"));
            for (const QString& book : std::as_const(books)) {
                const QString uid = book == QLatin1String("system") ? QStringLiteral("system-address-book") : book;
                if (off.contains(uid))
                    continue;
                QString path;
                for (qsizetype i = 0; i < names.size() && path.isEmpty(); ++i)
                    path = QFileInfo(root + QLatin1Char('/') + book + QLatin1Char('/') + names[i]).canonicalFilePath();
                if (path.isEmpty())
                    continue;
                any = true;
                out.append({path, sqliteStamp(path), m_order});
            }
        }
        return any;
    }

    std::optional<vcard::File> read(const Unit& unit) override
    {
        // The rows are taken out in one statement, so that the book's own writer waits for no parsing.
        QList<QByteArray> rows;
        {
            SqliteReader db(unit.path);
            const CardColumns c = cardColumns(db);
            if (c.table.isEmpty())
                return std::nullopt;
            QByteArray sql = "SELECT " + quoted(c.vcard) + " FROM " + quoted(c.table);
            if (!c.state.isEmpty())
                sql += " WHERE " + quoted(c.state) + " IS NOT " + QByteArray::number(kLocallyDeleted);
            if (!db.select(
                    sql.constData(), [&](const QList<QByteArrayView>& r) { rows.append(r.value(0).toByteArray()); }))
                return std::nullopt;
        }
        vcard::File file;
        file.clean = false; // never written
        for (QByteArray& row : rows) {
            for (const std::shared_ptr<vcard::Card>& card : vcard::parse(std::exchange(row, {})).cards) {
                const auto list = card->first("X-EVOLUTION-LIST");
                if (list && list->value.trimmed().toUpper() == "TRUE") {
                    if (auto group = listCard(*card))
                        file.cards.append(group);
                } else {
                    file.cards.append(card);
                }
            }
        }
        return file;
    }

private:
    int m_order;
};

} // namespace

std::unique_ptr<Source> evolutionBooks(int order)
{
    return std::make_unique<Evolution>(order);
}

} // namespace abplatform
