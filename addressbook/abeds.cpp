#include "absource.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

// Evolution Data Server's local books, the one GNOME Contacts and Evolution show: one SQLite file
// per book, $XDG_DATA_HOME/evolution/addressbook/<book>/contacts.db, the personal book in system/.
// Each contact is kept whole as vCard 3.0 text in a column of the book's table; contact lists are
// cards marked X-EVOLUTION-LIST whose e-mail lines name their members.
namespace abplatform {
namespace {

// The table that holds the cards: the one named in folders, else any with uid and vcard columns.
QByteArray cardTable(SqliteReader& db)
{
    QList<QByteArray> tables;
    db.select("SELECT folder_id FROM folders",
        [&](const QList<QByteArrayView>& r) { tables.append(r.value(0).toByteArray()); });
    db.select("SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY rowid",
        [&](const QList<QByteArrayView>& r) { tables.append(r.value(0).toByteArray()); });
    for (const QByteArray& t : std::as_const(tables)) {
        const QList<QByteArray> columns = db.columns(t);
        if (columns.contains("uid") && columns.contains("vcard"))
            return t;
    }
    return QByteArray();
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

class Evolution final : public Source
{
public:
    explicit Evolution(int order)
        : m_order(order)
    {
    }

    bool units(QList<Unit>& out) override
    {
        const QString root = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QLatin1String("/evolution/addressbook");
        QStringList books = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        if (books.removeOne(QStringLiteral("system")))
            books.prepend(QStringLiteral("system"));
        bool any = false;
        for (const QString& book : std::as_const(books)) {
            const QString path
                = QFileInfo(root + QLatin1Char('/') + book + QLatin1String("/contacts.db")).canonicalFilePath();
            if (path.isEmpty())
                continue;
            any = true;
            out.append({path, sqliteStamp(path), m_order});
        }
        return any;
    }

    std::optional<vcard::File> read(const Unit& unit) override
    {
        SqliteReader db(unit.path);
        const QByteArray table = cardTable(db);
        if (table.isEmpty())
            return std::nullopt;
        vcard::File file;
        file.clean = false; // never written
        QByteArray quoted = table;
        quoted.replace('"', "\"\"");
        const bool ok
            = db.select(("SELECT vcard FROM \"" + quoted + "\"").constData(), [&](const QList<QByteArrayView>& r) {
                  for (const std::shared_ptr<vcard::Card>& card : vcard::parse(r.value(0).toByteArray()).cards) {
                      const vcard::Property* list = card->first("X-EVOLUTION-LIST");
                      if (list && list->value.trimmed().toUpper() == "TRUE") {
                          if (auto group = listCard(*card))
                              file.cards.append(group);
                      } else {
                          file.cards.append(card);
                      }
                  }
              });
        if (!ok)
            return std::nullopt;
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
