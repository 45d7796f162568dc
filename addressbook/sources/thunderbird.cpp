#include "source.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <array>
#include <optional>

// Thunderbird's local address books: abook.sqlite and abook-N.sqlite in each profile that profiles.ini
// names, for Thunderbird from a .deb or a tarball, as a snap and as a flatpak (history.sqlite holds
// collected addresses, not the user's book). A card is the rows of properties(card, name, value) that
// share its card: its whole vCard in _vCard where there is one, else a few named fields. Mailing lists
// are lists and list_cards. While Thunderbird runs it holds each book under an exclusive lock, so a
// book is read from a private copy.
namespace abplatform {
namespace {

// The folders that hold profiles.ini: a native install's, then the snap's and the flatpak's.
constexpr const char* kRoots[]
    = {"/.thunderbird", "/snap/thunderbird/common/.thunderbird", "/.var/app/org.mozilla.Thunderbird/.thunderbird"};

QStringList profiles(const QString& root)
{
    QStringList out;
    for (const ConfigSection& section : configSections(root + QLatin1String("/profiles.ini"))) {
        const QString path = section.value(QLatin1String("path"));
        if (section.header.startsWith(QLatin1String("[Profile"), Qt::CaseInsensitive) && !path.isEmpty())
            out.append(section.value(QLatin1String("isrelative")) != QLatin1String("0") ? root + QLatin1Char('/') + path
                                                                                        : path);
    }
    return out;
}

int bookNumber(const QString& name)
{
    static const QRegularExpression book(QStringLiteral("^abook(?:-(\\d+))?\\.sqlite$"));
    const auto m = book.match(name);
    return !m.hasMatch() ? -1 : m.captured(1).isEmpty() ? 0 : m.captured(1).toInt() + 1;
}

QByteArray escaped(const QByteArray& value)
{
    return vcard::escapeText(QString::fromUtf8(value), vcard::Version::V30);
}

// The properties of a card that make its vCard; the rest are not read.
enum NamedField { VCardText, FirstName, LastName, DisplayName, PrimaryEmail, SecondEmail, NamedFieldCount };
constexpr QByteArrayView kFieldNames[NamedFieldCount]
    = {"_vCard", "FirstName", "LastName", "DisplayName", "PrimaryEmail", "SecondEmail"};

struct CardFields
{
    QByteArray uid;
    std::array<std::optional<QByteArray>, NamedFieldCount> fields;
    QByteArray value(NamedField f) const { return fields[f].value_or(QByteArray()); }
};

// A card made of the named fields of a card that has no _vCard.
QByteArray namedCard(const CardFields& c)
{
    QByteArray text = "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:" + escaped(c.uid) + "\r\nN:" + escaped(c.value(LastName))
        + ';' + escaped(c.value(FirstName)) + ";;;\r\n";
    if (c.fields[DisplayName])
        text += "FN:" + escaped(c.value(DisplayName)) + "\r\n";
    for (NamedField mail : {PrimaryEmail, SecondEmail}) {
        if (!c.value(mail).isEmpty())
            text += "EMAIL;TYPE=INTERNET:" + escaped(c.value(mail)) + "\r\n";
    }
    return text + "END:VCARD\r\n";
}

// The card's own vCard, with the card's key as its UID when it names none: lists name their
// members by that key.
std::shared_ptr<vcard::Card> cardOf(const CardFields& c)
{
    if (!c.fields[VCardText])
        return vcard::parse(namedCard(c)).cards.value(0);
    auto card = vcard::parse(*c.fields[VCardText]).cards.value(0);
    if (!card || card->first("UID"))
        return card;
    QByteArray text = *c.fields[VCardText];
    const qsizetype eol = text.indexOf('\n');
    text.insert(eol < 0 ? text.size() : eol + 1, "UID:" + escaped(c.uid) + "\r\n");
    return vcard::parse(text).cards.value(0);
}

class Thunderbird final : public Source
{
public:
    explicit Thunderbird(int order)
        : m_order(order)
    {
    }

    bool units(QList<Unit>& out) override
    {
        bool any = false;
        QStringList all;
        for (const char* root : kRoots)
            all += profiles(QDir::homePath() + QLatin1String(root));
        // One profile reached through two folders gives the same canonical paths, which the book reads once.
        for (const QString& profile : std::as_const(all)) {
            QList<std::pair<int, QString>> books;
            for (const QString& name : QDir(profile).entryList({QStringLiteral("abook*.sqlite")}, QDir::Files)) {
                if (const int n = bookNumber(name); n >= 0)
                    books.append({n, QFileInfo(profile + QLatin1Char('/') + name).canonicalFilePath()});
            }
            std::sort(books.begin(), books.end());
            for (const auto& [n, path] : std::as_const(books)) {
                any = true;
                out.append({path, sqliteStamp(path), m_order});
            }
        }
        return any;
    }

    std::optional<vcard::File> read(const Unit& unit) override
    {
        return readPrivateCopy(unit.path, [](SqliteReader& db) { return readBook(db); });
    }

private:
    static std::optional<vcard::File> readBook(SqliteReader& db)
    {
        const QList<QByteArray> columns = db.columns("properties");
        if (!columns.contains("card") || !columns.contains("name") || !columns.contains("value"))
            return std::nullopt;
        QList<CardFields> cards; // in the order of their first row
        QHash<QByteArray, qsizetype> at;
        qsizetype current = -1;
        if (!db.select("SELECT card, name, value FROM properties", [&](const QList<QByteArrayView>& r) {
                // The rows of one card usually follow each other: the hash is asked only when the card changes.
                if (current < 0 || cards[current].uid != r[0]) {
                    const QByteArray uid = r[0].toByteArray();
                    auto it = at.constFind(uid);
                    if (it == at.cend()) {
                        it = at.insert(uid, cards.size());
                        cards.append({uid, {}});
                    }
                    current = *it;
                }
                const auto name = std::find(std::begin(kFieldNames), std::end(kFieldNames), r[1]);
                if (name != std::end(kFieldNames))
                    cards[current].fields[size_t(name - std::begin(kFieldNames))] = r[2].toByteArray();
            }))
            return std::nullopt;
        vcard::File file;
        file.clean = false; // never written
        for (const CardFields& c : std::as_const(cards)) {
            if (auto card = cardOf(c))
                file.cards.append(card);
        }
        QList<QByteArray> lists;
        QHash<QByteArray, QByteArray> lines;
        db.select("SELECT uid, name FROM lists", [&](const QList<QByteArrayView>& r) {
            lists.append(r[0].toByteArray());
            lines.insert(
                lists.last(), "UID:" + escaped(lists.last()) + "\r\nFN:" + escaped(r[1].toByteArray()) + "\r\n");
        });
        db.select("SELECT list, card FROM list_cards", [&](const QList<QByteArrayView>& r) {
            if (auto it = lines.find(r[0].toByteArray()); it != lines.end())
                *it += "X-ADDRESSBOOKSERVER-MEMBER:urn:uuid:" + escaped(r[1].toByteArray()) + "\r\n";
        });
        for (const QByteArray& list : std::as_const(lists)) {
            const QByteArray text = "BEGIN:VCARD\r\nVERSION:3.0\r\nX-ADDRESSBOOKSERVER-KIND:group\r\n"
                + lines.value(list) + "END:VCARD\r\n";
            if (auto card = vcard::parse(text).cards.value(0))
                file.cards.append(card);
        }
        return file;
    }

    int m_order;
};

} // namespace

std::unique_ptr<Source> thunderbirdBooks(int order)
{
    return std::make_unique<Thunderbird>(order);
}

} // namespace abplatform
