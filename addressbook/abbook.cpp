#include "abbook.h"

#include "exceptions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>
#include <QUuid>
#include <span>

namespace abplatform {
namespace {

using vcard::Version;

// The parts of a card that a record's properties are written to. A changed part is written anew;
// every other line of the card goes back as it was read.
enum Field : int {
    FName,
    FOrg,
    FTitle,
    FNickname,
    FUrl,
    FNote,
    FUid,
    FMaiden,
    FPhFirst,
    FPhLast,
    FPhMiddle,
    FBday,
    FRev,
    FEmail,
    FTel,
    FAdr,
    FAim,
    FJabber,
    FMsn,
    FYahoo,
    FIcq,
    FCategories,
    FPhoto,
    FGroupName,
    FMembers,
    FieldCount
};

constexpr quint32 bit(int field)
{
    return 1u << field;
}

struct PropertyInfo
{
    Constant key;
    int type;
    int field;
};

const PropertyInfo kPersonProperties[] = {{kFirstNameProperty, 1, FName}, {kLastNameProperty, 1, FName},
    {kMiddleNameProperty, 1, FName}, {kTitleProperty, 1, FName}, {kSuffixProperty, 1, FName},
    {kNicknameProperty, 1, FNickname}, {kMaidenNameProperty, 1, FMaiden}, {kFirstNamePhoneticProperty, 1, FPhFirst},
    {kLastNamePhoneticProperty, 1, FPhLast}, {kMiddleNamePhoneticProperty, 1, FPhMiddle},
    {kOrganizationProperty, 1, FOrg}, {kJobTitleProperty, 1, FTitle}, {kBirthdayProperty, 4, FBday},
    {kHomePageProperty, 1, FUrl}, {kEmailProperty, 257, FEmail}, {kPhoneProperty, 257, FTel},
    {kAddressProperty, 262, FAdr}, {kAIMInstantProperty, 257, FAim}, {kJabberInstantProperty, 257, FJabber},
    {kMSNInstantProperty, 257, FMsn}, {kYahooInstantProperty, 257, FYahoo}, {kICQInstantProperty, 257, FIcq},
    {kNoteProperty, 1, FNote}, {kUIDProperty, 1, FUid}, {kCreationDateProperty, 4, -1},
    {kModificationDateProperty, 4, FRev}};
const PropertyInfo kGroupProperties[] = {{kUIDProperty, 1, FUid}, {kGroupNameProperty, 1, FGroupName},
    {kCreationDateProperty, 4, -1}, {kModificationDateProperty, 4, FRev}};

// Fields held in one line of text, and the line's name.
struct TextField
{
    int field;
    Constant key;
    const char* name;
    bool escaped; // text, rather than a URI
};
const TextField kTextFields[] = {{FTitle, kJobTitleProperty, "TITLE", true},
    {FNickname, kNicknameProperty, "NICKNAME", true}, {FUrl, kHomePageProperty, "URL", false},
    {FNote, kNoteProperty, "NOTE", true}, {FMaiden, kMaidenNameProperty, "X-MAIDENNAME", true},
    {FPhFirst, kFirstNamePhoneticProperty, "X-PHONETIC-FIRST-NAME", true},
    {FPhLast, kLastNamePhoneticProperty, "X-PHONETIC-LAST-NAME", true},
    {FPhMiddle, kMiddleNamePhoneticProperty, "X-PHONETIC-MIDDLE-NAME", true}};

struct ListField
{
    int field;
    Constant key;
    const char* name; // the line of 2.1 and 3.0
    const char* scheme; // IMPP scheme of an instant messaging service
    const char* service; // its X-SERVICE-TYPE
};
const ListField kListFields[] = {{FEmail, kEmailProperty, "EMAIL", nullptr, nullptr},
    {FTel, kPhoneProperty, "TEL", nullptr, nullptr}, {FAdr, kAddressProperty, "ADR", nullptr, nullptr},
    {FAim, kAIMInstantProperty, "X-AIM", "aim", "AIM"}, {FJabber, kJabberInstantProperty, "X-JABBER", "xmpp", "Jabber"},
    {FMsn, kMSNInstantProperty, "X-MSN", "msnim", "MSN"}, {FYahoo, kYahooInstantProperty, "X-YAHOO", "ymsgr", "Yahoo"},
    {FIcq, kICQInstantProperty, "X-ICQ", "icq", "ICQ"}};

std::span<const PropertyInfo> properties(bool person)
{
    return person ? std::span<const PropertyInfo>(kPersonProperties) : std::span<const PropertyInfo>(kGroupProperties);
}

const ListField* listField(int field)
{
    for (const ListField& f : kListFields) {
        if (f.field == field)
            return &f;
    }
    return nullptr;
}

// The address parts beyond the platform's keys are kept under keys of our own, so nothing is lost.
const char* const kPOBoxKey = "POBox";
const char* const kExtendedKey = "Extended";

bool isIn(const QByteArray& name, std::initializer_list<const char*> names)
{
    for (const char* n : names) {
        if (name == n)
            return true;
    }
    return false;
}

int imField(const vcard::Property& p)
{
    for (const ListField& f : kListFields) {
        if (f.scheme && p.name == f.name)
            return f.field;
    }
    if (p.name != "IMPP")
        return -1;
    const QByteArray scheme = p.value.left(qMax<qsizetype>(p.value.indexOf(':'), 0)).toLower();
    const vcard::Param* service = p.param("X-SERVICE-TYPE");
    for (const ListField& f : kListFields) {
        if (!f.scheme)
            continue;
        if (scheme == f.scheme || (f.field == FMsn && scheme == "msn") || (f.field == FJabber && scheme == "jabber")
            || (f.field == FYahoo && scheme == "yahoo"))
            return f.field;
        if (service && !service->values.isEmpty()
            && service->values.first().toLower() == QByteArray(f.service).toLower())
            return f.field;
    }
    return -1;
}

int fieldOf(const vcard::Property& p, bool group)
{
    if (p.name == "N" || p.name == "FN")
        return group ? FGroupName : FName;
    if (p.name == "ORG")
        return FOrg;
    if (p.name == "UID")
        return FUid;
    if (p.name == "BDAY")
        return FBday;
    if (p.name == "REV")
        return FRev;
    if (p.name == "CATEGORIES")
        return FCategories;
    if (p.name == "PHOTO")
        return FPhoto;
    if (isIn(p.name, {"MEMBER", "X-ADDRESSBOOKSERVER-MEMBER"}))
        return group ? FMembers : -1;
    for (const TextField& t : kTextFields) {
        if (p.name == t.name)
            return t.field;
    }
    if (p.name == "EMAIL")
        return FEmail;
    if (p.name == "TEL")
        return FTel;
    if (p.name == "ADR")
        return FAdr;
    return imField(p);
}

bool manyLines(int field)
{
    return field == FName || field == FGroupName || field == FCategories || field == FMembers || listField(field);
}

void tagCard(vcard::Card& card, bool group)
{
    quint32 seen = 0;
    for (vcard::Property& p : card.props) {
        p.tag = fieldOf(p, group);
        if (p.tag < 0 || manyLines(p.tag))
            continue;
        if (seen & bit(p.tag))
            p.tag = -1; // only the first of a single-valued line is the property's
        else
            seen |= bit(p.tag);
    }
}

bool isGroupCard(const vcard::Card& card)
{
    for (const vcard::Property& p : card.props) {
        if (isIn(p.name, {"KIND", "X-ADDRESSBOOKSERVER-KIND", "X-KIND"}) && p.value.trimmed().toLower() == "group")
            return true;
    }
    return false;
}

QDateTime base2001()
{
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0));
}

std::optional<double> parseDate(const QString& text)
{
    const QString t = text.trimmed();
    QDate d;
    QTime time(0, 0);
    bool utc = false;
    if (t.startsWith(QLatin1String("--"))) { // a birthday without a year
        const QString md = t.mid(2).remove(QLatin1Char('-'));
        d = QDate(1604, md.left(2).toInt(), md.mid(2, 2).toInt());
    } else {
        const QString day = t.section(QLatin1Char('T'), 0, 0).remove(QLatin1Char('-'));
        d = QDate::fromString(day.left(8), QStringLiteral("yyyyMMdd"));
        QString clock = t.section(QLatin1Char('T'), 1);
        if (!clock.isEmpty()) {
            utc = clock.endsWith(QLatin1Char('Z'));
            clock.remove(QLatin1Char(':')).remove(QLatin1Char('Z'));
            const QTime parsed
                = QTime::fromString(clock.left(6).leftJustified(6, QLatin1Char('0')), QStringLiteral("HHmmss"));
            if (parsed.isValid())
                time = parsed;
        }
    }
    if (!d.isValid())
        return std::nullopt;
    return secondsSince2001(utc ? QDateTime(d, time, Qt::UTC) : QDateTime(d, time));
}

QByteArray formatDate(double seconds, int field, Version v)
{
    const QDateTime m = momentOf(seconds);
    if (field == FRev)
        return m.toUTC().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'")).toLatin1();
    const QDate d = m.date();
    if (d.year() == 1604 && v == Version::V40)
        return d.toString(QStringLiteral("'--'MMdd")).toLatin1();
    return d.toString(v == Version::V40 ? QStringLiteral("yyyyMMdd") : QStringLiteral("yyyy-MM-dd")).toLatin1();
}

// "Smith, John"; otherwise the last word is the family name, with the lower-case particles before
// it ("Maria da Silva", "Ludwig van Beethoven").
std::pair<QString, QString> splitFormattedName(const QString& formatted)
{
    const QString s = formatted.simplified();
    if (const qsizetype comma = s.indexOf(QLatin1Char(',')); comma > 0)
        return {s.mid(comma + 1).trimmed(), s.left(comma).trimmed()};
    const QStringList words = s.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    if (words.size() < 2)
        return {s, QString()};
    qsizetype lastStart = words.size() - 1;
    while (lastStart > 1 && words[lastStart - 1].front().isLower())
        --lastStart;
    return {words.mid(0, lastStart).join(QLatin1Char(' ')), words.mid(lastStart).join(QLatin1Char(' '))};
}

qint32 labelFor(const vcard::Property& p, int field, const QHash<QByteArray, QString>& customLabels)
{
    Platform& P = platform();
    if (!p.group.isEmpty()) {
        if (auto it = customLabels.find(p.group.toLower()); it != customLabels.end()) {
            static const std::pair<const char*, Constant> apple[] = {{"_$!<Work>!$_", kWorkLabel},
                {"_$!<Home>!$_", kHomeLabel}, {"_$!<Other>!$_", kOtherLabel}, {"_$!<Mobile>!$_", kPhoneMobileLabel},
                {"_$!<Main>!$_", kPhoneMainLabel}, {"_$!<HomeFAX>!$_", kPhoneHomeFAXLabel},
                {"_$!<WorkFAX>!$_", kPhoneWorkFAXLabel}, {"_$!<Pager>!$_", kPhonePagerLabel}};
            for (const auto& [text, c] : apple) {
                if (*it == QLatin1String(text))
                    return P.constant(c);
            }
            return P.newString(*it, false);
        }
    }
    if (field == FTel) {
        if (p.hasType("cell") || p.hasType("mobile") || p.hasType("iphone"))
            return P.constant(kPhoneMobileLabel);
        if (p.hasType("pager"))
            return P.constant(kPhonePagerLabel);
        if (p.hasType("fax"))
            return P.constant(p.hasType("work") ? kPhoneWorkFAXLabel : kPhoneHomeFAXLabel);
        if (p.hasType("main"))
            return P.constant(kPhoneMainLabel);
    }
    if (p.hasType("work"))
        return P.constant(kWorkLabel);
    if (p.hasType("home"))
        return P.constant(kHomeLabel);
    return P.constant(kOtherLabel);
}

// The TYPE values that say a label, replaced when the label changes.
QList<QByteArray> labelTypes(const QString& label, int field)
{
    if (label == constantText(kWorkLabel))
        return {"WORK"};
    if (label == constantText(kHomeLabel))
        return {"HOME"};
    if (field != FTel)
        return {};
    if (label == constantText(kPhoneMobileLabel))
        return {"CELL"};
    if (label == constantText(kPhoneMainLabel))
        return {"MAIN"};
    if (label == constantText(kPhoneHomeFAXLabel))
        return {"HOME", "FAX"};
    if (label == constantText(kPhoneWorkFAXLabel))
        return {"WORK", "FAX"};
    if (label == constantText(kPhonePagerLabel))
        return {"PAGER"};
    return {};
}

qint32 addressOf(const vcard::Property& p, Version v, const QString& countryCode)
{
    Platform& P = platform();
    const QStringList c = p.components(v);
    auto dict = std::make_unique<Dictionary>();
    auto add = [&](qint32 key, const QString& value) {
        if (!value.isEmpty())
            dict->entries.append({key, P.newString(value, false)});
    };
    const QString part[7] = {c.value(0), c.value(1), c.value(2), c.value(3), c.value(4), c.value(5), c.value(6)};
    add(P.constant(kAddressStreetKey), part[2]);
    add(P.constant(kAddressCityKey), part[3]);
    add(P.constant(kAddressStateKey), part[4]);
    add(P.constant(kAddressZIPKey), part[5]);
    add(P.constant(kAddressCountryKey), part[6]);
    add(P.constant(kAddressCountryCodeKey), countryCode);
    if (!part[0].isEmpty())
        add(P.newString(QLatin1String(kPOBoxKey), false), part[0]);
    if (!part[1].isEmpty())
        add(P.newString(QLatin1String(kExtendedKey), false), part[1]);
    return P.table.add(std::move(dict), false);
}

QString dictText(const Dictionary& d, const QString& key)
{
    for (const auto& [k, v] : d.entries) {
        if (platform().text(k) == key)
            return platform().text(v);
    }
    return QString();
}

void putText(Record& r, Constant key, const QString& text)
{
    if (!text.isEmpty())
        r.put(constantText(key), platform().newString(text, false));
}

// Makes the record's properties from its card.
void loadCard(Record& r, const std::shared_ptr<vcard::Card>& card)
{
    Platform& P = platform();
    const bool group = r.kind == Kind::Group;
    tagCard(*card, group);
    r.card = card;
    const Version v = card->version;
    QHash<QByteArray, QString> customLabels, countryCodes;
    for (const vcard::Property& p : card->props) {
        if (!p.group.isEmpty() && p.name == "X-ABLABEL")
            customLabels.insert(p.group.toLower(), p.text(v));
        else if (!p.group.isEmpty() && p.name == "X-ABADR")
            countryCodes.insert(p.group.toLower(), p.text(v));
    }
    std::array<MultiValue*, FieldCount> lists{};
    QString formatted, org;
    QSet<QString> seenCategories; // folded; a set, so that a card with very many stays linear
    bool named = false;
    const vcard::Property* showAs = card->first("X-ABSHOWAS");
    const bool company = showAs && showAs->value.trimmed().toUpper() == "COMPANY";
    for (int i = 0; i < card->props.size(); ++i) {
        const vcard::Property& p = card->props[i];
        switch (p.tag) {
        case -1:
            break;
        case FName:
            if (p.name == "FN" && formatted.isEmpty()) {
                formatted = p.text(v);
            } else if (p.name == "N" && !named) {
                const QStringList c = p.components(v);
                putText(r, kLastNameProperty, c.value(0));
                putText(r, kFirstNameProperty, c.value(1));
                putText(r, kMiddleNameProperty, c.value(2));
                putText(r, kTitleProperty, c.value(3));
                putText(r, kSuffixProperty, c.value(4));
                named = !c.value(0).isEmpty() || !c.value(1).isEmpty() || !c.value(2).isEmpty();
            }
            break;
        case FGroupName:
            if (p.name == "FN" || formatted.isEmpty())
                formatted = p.name == "FN" ? p.text(v) : p.components(v).value(0);
            break;
        case FOrg:
            org = p.components(v).value(0);
            putText(r, kOrganizationProperty, org);
            break;
        case FUid:
            r.uid = p.text(v).trimmed();
            r.uidInCard = !r.uid.isEmpty();
            break;
        case FBday:
        case FRev:
            if (const auto s = parseDate(p.text(v)))
                r.put(constantText(p.tag == FBday ? kBirthdayProperty : kModificationDateProperty),
                    P.table.add(std::make_unique<DateValue>(*s), false));
            break;
        case FCategories:
            if (r.kind == Kind::Person) {
                auto& cats = static_cast<Person&>(r).categories;
                for (const QString& c : p.components(v, ',')) {
                    const QString name = c.trimmed();
                    if (!name.isEmpty() && !seenCategories.contains(name.toCaseFolded())) {
                        seenCategories.insert(name.toCaseFolded());
                        cats.append(name);
                    }
                }
            }
            break;
        case FMembers:
            static_cast<Group&>(r).memberName = p.name;
            static_cast<Group&>(r).unresolved.append(p.text(v).trimmed().toUtf8());
            break;
        case FPhoto:
            break; // read when asked for
        default:
            if (const ListField* f = listField(p.tag)) {
                MultiValue*& mv = lists[size_t(p.tag)];
                if (!mv) {
                    auto made = std::make_unique<MultiValue>();
                    mv = made.get();
                    r.put(constantText(f->key), P.table.add(std::move(made), false));
                }
                MultiValue::Entry e;
                if (p.tag == FAdr) {
                    e.value = addressOf(p, v, countryCodes.value(p.group.toLower()));
                } else {
                    QString text = p.text(v).trimmed();
                    if (p.name == "IMPP"
                        || (p.tag == FTel && text.startsWith(QLatin1String("tel:"), Qt::CaseInsensitive)))
                        text = text.mid(text.indexOf(QLatin1Char(':')) + 1);
                    e.value = P.newString(text, false);
                }
                e.label = labelFor(p, p.tag, customLabels);
                e.id = mv->nextId++;
                e.originCard = card;
                e.originIndex = i;
                e.pristine = true;
                if (mv->primaryId < 0 && p.isPreferred())
                    mv->primaryId = e.id;
                mv->entries.append(e);
            } else {
                for (const TextField& t : kTextFields) {
                    if (t.field == p.tag)
                        putText(r, t.key, p.text(v));
                }
            }
        }
    }
    if (group) {
        putText(r, kGroupNameProperty, formatted);
    } else if (!named && !formatted.isEmpty() && formatted != org && !company) {
        const auto [first, last] = splitFormattedName(formatted);
        putText(r, kFirstNameProperty, first);
        putText(r, kLastNameProperty, last);
    }
}

qint32 newRecord(const std::shared_ptr<vcard::Card>& card, bool group, bool owned)
{
    std::unique_ptr<Record> r;
    if (group)
        r = std::make_unique<Group>();
    else
        r = std::make_unique<Person>();
    Record* raw = r.get();
    const qint32 h = platform().table.add(std::move(r), owned);
    if (card)
        loadCard(*raw, card);
    if (raw->uid.isEmpty())
        raw->uid = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    raw->put(constantText(kUIDProperty), platform().newString(raw->uid, false));
    return h;
}

// Makes the properties anew from a card just written, so that every value again knows its line.
// Group membership stays as it is: only the member values that name no record are read again.
void reload(Record& r, const std::shared_ptr<vcard::Card>& card)
{
    Platform& P = platform();
    for (const auto& kv : std::as_const(r.values))
        P.table.release(kv.second);
    r.values.clear();
    if (r.kind == Kind::Person)
        static_cast<Person&>(r).categories.clear();
    else
        static_cast<Group&>(r).unresolved.clear();
    loadCard(r, card);
    r.put(constantText(kUIDProperty), P.newString(r.uid, false));
    if (r.kind == Kind::Group) {
        auto& g = static_cast<Group&>(r);
        g.unresolved.removeIf([&](const QByteArray& value) {
            for (const QList<qint32>* list : {&g.members, &g.subgroups}) {
                for (qint32 h : *list) {
                    const auto* m = static_cast<const Record*>(P.table.get(h));
                    if (m && (value == m->uid.toUtf8() || value == "urn:uuid:" + m->uid.toUtf8()))
                        return true;
                }
            }
            return false;
        });
    }
}

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

vcard::Property lineFrom(const Record& r, int originIndex, const char* name)
{
    vcard::Property p;
    if (r.card && originIndex >= 0 && originIndex < r.card->props.size()) {
        const vcard::Property& o = r.card->props[originIndex];
        p.group = o.group;
        p.name = o.name;
        p.params = o.params;
        p.params.removeIf([](const vcard::Param& q) { return q.name == "ENCODING" || q.name == "CHARSET"; });
    } else {
        p.name = name;
    }
    return p;
}

int firstLine(const Record& r, int field, const char* name = nullptr)
{
    if (!r.card)
        return -1;
    for (int i = 0; i < r.card->props.size(); ++i) {
        if (r.card->props[i].tag == field && (!name || r.card->props[i].name == name))
            return i;
    }
    return -1;
}

QString textOf(const Record& r, Constant key)
{
    return platform().text(r.get(constantText(key)));
}

void setTypes(vcard::Property& p, const QList<QByteArray>& add, bool preferred, Version v)
{
    static const char* const labelish[]
        = {"work", "home", "cell", "mobile", "iphone", "fax", "pager", "main", "other", "pref"};
    for (vcard::Param& q : p.params) {
        if (q.name == "TYPE")
            q.values.removeIf([](const QByteArray& t) {
                for (const char* l : labelish) {
                    if (t.toLower() == l)
                        return true;
                }
                return false;
            });
    }
    p.params.removeIf(
        [](const vcard::Param& q) { return (q.name == "TYPE" && q.values.isEmpty()) || q.name == "PREF"; });
    QList<QByteArray> types = add;
    if (preferred && v != Version::V40)
        types.append("PREF");
    if (v == Version::V40) {
        for (QByteArray& t : types)
            t = t.toLower();
    }
    if (!types.isEmpty()) {
        auto it
            = std::find_if(p.params.begin(), p.params.end(), [](const vcard::Param& q) { return q.name == "TYPE"; });
        if (it == p.params.end())
            p.params.append(vcard::Param{"TYPE", types});
        else
            it->values.append(types);
    }
    if (preferred && v == Version::V40)
        p.params.append(vcard::Param{"PREF", {"1"}});
}

QByteArray listLines(const Record& r, const ListField& f, Version v, const QByteArray& eol)
{
    Platform& P = platform();
    const auto* mv = P.table.as<MultiValue>(r.get(constantText(f.key)));
    if (!mv)
        return QByteArray();
    QByteArray out;
    for (const MultiValue::Entry& e : mv->entries) {
        const bool here = e.originCard && e.originCard == r.card;
        if (e.pristine && here) {
            out += r.card->props[e.originIndex].raw;
            continue;
        }
        const bool impp = v == Version::V40 && f.scheme;
        vcard::Property p = lineFrom(r, here ? e.originIndex : -1, impp ? "IMPP" : f.name);
        if (f.field == FAdr) {
            const auto* d = P.table.as<Dictionary>(e.value);
            if (!d)
                continue;
            p.value = vcard::joinComponents(
                {dictText(*d, QLatin1String(kPOBoxKey)), dictText(*d, QLatin1String(kExtendedKey)),
                    dictText(*d, constantText(kAddressStreetKey)), dictText(*d, constantText(kAddressCityKey)),
                    dictText(*d, constantText(kAddressStateKey)), dictText(*d, constantText(kAddressZIPKey)),
                    dictText(*d, constantText(kAddressCountryKey))},
                v);
        } else {
            const QString text = P.text(e.value);
            if (text.isNull())
                continue;
            if (p.name == "IMPP") {
                const qsizetype colon = here ? r.card->props[e.originIndex].value.indexOf(':') : -1;
                p.value = (colon > 0 ? r.card->props[e.originIndex].value.left(colon) : QByteArray(f.scheme)) + ':'
                    + text.toUtf8();
            } else if (const vcard::Param* kind = p.param("VALUE"); kind && kind->values.value(0).toLower() == "uri") {
                p.value = "tel:" + text.toUtf8();
            } else {
                p.value = vcard::escapeText(text, v);
            }
        }
        setTypes(p, labelTypes(P.text(e.label), f.field), e.id == mv->primaryId, v);
        out += vcard::formatProperty(p, v, eol);
    }
    return out;
}

QByteArray base64Of(const vcard::Property& p)
{
    const qsizetype comma = p.value.indexOf(',');
    if (p.value.startsWith("data:") && comma > 0)
        return QByteArray::fromBase64(p.value.mid(comma + 1));
    const vcard::Param* enc = p.param("ENCODING");
    if (enc && !enc->values.isEmpty()
        && (enc->values.first().toUpper() == "B" || enc->values.first().toUpper() == "BASE64"))
        return QByteArray::fromBase64(p.value);
    return QByteArray();
}

// The lines of one part of a record's card, made from its properties.
QByteArray fieldLines(const Record& r, int field, Version v, const QByteArray& eol)
{
    Platform& P = platform();
    auto line = [&](vcard::Property p, QByteArray value) {
        p.value = std::move(value);
        return vcard::formatProperty(p, v, eol);
    };
    if (const ListField* f = listField(field))
        return listLines(r, *f, v, eol);
    for (const TextField& t : kTextFields) {
        if (t.field != field)
            continue;
        const QString text = textOf(r, t.key);
        if (text.isEmpty())
            return QByteArray();
        return line(lineFrom(r, firstLine(r, field), t.name), t.escaped ? vcard::escapeText(text, v) : text.toUtf8());
    }
    switch (field) {
    case FName: {
        const QString last = textOf(r, kLastNameProperty), first = textOf(r, kFirstNameProperty),
                      middle = textOf(r, kMiddleNameProperty), prefix = textOf(r, kTitleProperty),
                      suffix = textOf(r, kSuffixProperty);
        QStringList shown;
        for (const QString& s : {prefix, first, middle, last, suffix}) {
            if (!s.isEmpty())
                shown.append(s);
        }
        QString formatted = shown.join(QLatin1Char(' '));
        if (formatted.isEmpty())
            formatted = textOf(r, kOrganizationProperty);
        return line(lineFrom(r, firstLine(r, field, "N"), "N"),
                   vcard::joinComponents({last, first, middle, prefix, suffix}, v))
            + line(lineFrom(r, firstLine(r, field, "FN"), "FN"), vcard::escapeText(formatted, v));
    }
    case FGroupName: {
        const QString name = textOf(r, kGroupNameProperty);
        QByteArray out = line(lineFrom(r, firstLine(r, field, "FN"), "FN"), vcard::escapeText(name, v));
        if (firstLine(r, field, "N") >= 0)
            out += line(lineFrom(r, firstLine(r, field, "N"), "N"), vcard::joinComponents({name, {}, {}, {}, {}}, v));
        return out;
    }
    case FOrg: {
        const int at = firstLine(r, field);
        QStringList parts = at >= 0 ? r.card->props[at].components(r.card->version) : QStringList();
        const QString org = textOf(r, kOrganizationProperty);
        if (parts.isEmpty())
            parts.append(QString());
        parts[0] = org;
        if (org.isEmpty() && parts.size() == 1)
            return QByteArray();
        return line(lineFrom(r, at, "ORG"), vcard::joinComponents(parts, v));
    }
    case FUid:
        return line(lineFrom(r, firstLine(r, field), "UID"), r.uid.toUtf8());
    case FBday:
    case FRev:
        if (const auto* d = P.table.as<DateValue>(
                r.get(constantText(field == FBday ? kBirthdayProperty : kModificationDateProperty))))
            return line(
                lineFrom(r, firstLine(r, field), field == FBday ? "BDAY" : "REV"), formatDate(d->seconds, field, v));
        return QByteArray();
    case FCategories: {
        const QStringList& cats = static_cast<const Person&>(r).categories;
        return cats.isEmpty()
            ? QByteArray()
            : line(lineFrom(r, firstLine(r, field), "CATEGORIES"), vcard::joinComponents(cats, v, ','));
    }
    case FPhoto: {
        const QByteArray image = personImage(static_cast<const Person&>(r));
        if (image.isEmpty())
            return QByteArray();
        const char* type = image.startsWith("\x89PNG") ? "png" : image.startsWith("GIF8") ? "gif" : "jpeg";
        vcard::Property p;
        p.name = "PHOTO";
        if (v == Version::V40)
            return line(p, "data:image/" + QByteArray(type) + ";base64," + image.toBase64());
        p.params = {{"ENCODING", {v == Version::V21 ? "BASE64" : "b"}}, {"TYPE", {QByteArray(type).toUpper()}}};
        return line(p, image.toBase64());
    }
    case FMembers: {
        const auto& g = static_cast<const Group&>(r);
        vcard::Property p = lineFrom(r, firstLine(r, field), g.memberName.constData());
        QByteArray out;
        for (const QList<qint32>* list : {&g.members, &g.subgroups}) {
            for (qint32 h : *list) {
                if (const auto* m = static_cast<const Record*>(P.table.get(h)))
                    out += line(p, "urn:uuid:" + m->uid.toUtf8());
            }
        }
        for (const QByteArray& value : g.unresolved)
            out += line(p, value);
        return out;
    }
    default:
        return QByteArray();
    }
}

QByteArray regenerate(const Record& r, const QByteArray& eol)
{
    const bool group = r.kind == Kind::Group;
    QByteArray out = "BEGIN:VCARD" + eol;
    if (!r.card) {
        out += "VERSION:3.0" + eol;
        if (group)
            out += "X-ADDRESSBOOKSERVER-KIND:group" + eol;
        for (int f = 0; f < FieldCount; ++f) {
            if ((f == FGroupName || f == FMembers) == group || f == FUid || f == FRev)
                out += fieldLines(r, f, Version::V30, eol);
        }
    } else {
        const quint32 dirty = r.dirty | (r.uidInCard ? 0 : bit(FUid));
        quint32 written = 0;
        for (const vcard::Property& p : r.card->props) {
            if (p.tag < 0 || !(dirty & bit(p.tag))) {
                out += p.raw;
            } else if (!(written & bit(p.tag))) {
                out += fieldLines(r, p.tag, r.card->version, eol);
                written |= bit(p.tag);
            }
        }
        for (int f = 0; f < FieldCount; ++f) {
            if ((dirty & bit(f)) && !(written & bit(f)))
                out += fieldLines(r, f, r.card->version, eol);
        }
    }
    return out + "END:VCARD" + eol;
}

Record* recordAt(qint32 h)
{
    Value* v = platform().table.get(h);
    return v && (v->kind == Kind::Person || v->kind == Kind::Group) ? static_cast<Record*>(v) : nullptr;
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QSaveFile f(path);
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write(bytes);
    return f.commit();
}

// After a write the file's cards are read again, so that later changes start from what is on disk.
void adopt(FileRecord& file, const QByteArray& bytes, const QList<qint32>& records)
{
    vcard::File parsed = vcard::parse(bytes);
    file.gaps = parsed.gaps;
    file.eol = parsed.eol;
    file.clean = parsed.clean;
    file.cards = parsed.cards;
    file.records = records;
    for (qsizetype i = 0; i < records.size() && i < parsed.cards.size(); ++i) {
        Record* r = recordAt(records[i]);
        reload(*r, parsed.cards[i]);
        r->file = &file;
        r->dirty = 0;
    }
}

QString newFilePath(const QString& folder, const QString& uid)
{
    QString stem = uid;
    for (QChar& c : stem) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.unicode() < 32)
            c = QLatin1Char('_');
    }
    if (stem.isEmpty() || stem.startsWith(QLatin1Char('.')))
        stem.prepend(QLatin1String("card"));
    QString path = folder + QLatin1Char('/') + stem + QLatin1String(".vcf");
    for (int n = 1; QFileInfo::exists(path); ++n)
        path = folder + QLatin1Char('/') + stem + QLatin1Char('-') + QString::number(n) + QLatin1String(".vcf");
    return path;
}

} // namespace

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

bool hasUnsavedChanges(const Book& book)
{
    if (!book.removed.isEmpty())
        return true;
    for (const QList<qint32>* list : {&book.people, &book.groups}) {
        for (qint32 h : *list) {
            const Record* r = recordAt(h);
            const bool category = r->kind == Kind::Group && !static_cast<const Group*>(r)->category.isEmpty();
            if (r->dirty || (!r->file && !category))
                return true;
        }
    }
    return false;
}

bool saveBook(Book& book)
{
    Platform& P = platform();
    bool ok = true;
    QList<FileRecord*> touched;
    QSet<FileRecord*> seen;
    for (const QList<qint32>* list : {&book.people, &book.groups, &book.removed}) {
        for (qint32 h : *list) {
            const Record* r = recordAt(h);
            if (r->file && (r->dirty || !r->inBook) && !seen.contains(r->file)) {
                touched.append(r->file);
                seen.insert(r->file);
            }
        }
    }
    for (FileRecord* file : std::as_const(touched)) {
        if (!file->clean) { // never rewrite what could not be read whole
            ok = false;
            continue;
        }
        QByteArray out = file->gaps.value(0);
        QList<qint32> kept;
        for (qsizetype i = 0; i < file->cards.size(); ++i) {
            const Record* r = recordAt(file->records[i]);
            if (r && r->file == file && r->inBook) {
                out += r->dirty ? regenerate(*r, file->eol) : file->cards[i]->raw;
                kept.append(file->records[i]);
            }
            out += file->gaps.value(i + 1);
        }
        if (kept.isEmpty()) {
            ok = QFile::remove(file->path) && ok;
            file->cards.clear();
            file->records.clear();
            continue;
        }
        if (!writeFile(file->path, out)) {
            ok = false;
            continue;
        }
        adopt(*file, out, kept);
    }
    for (const QList<qint32>* list : {&book.people, &book.groups}) {
        for (qint32 h : *list) {
            Record* r = recordAt(h);
            if (r->file || (r->kind == Kind::Group && !static_cast<Group*>(r)->category.isEmpty()))
                continue;
            if (book.target.isEmpty()) {
                ok = false;
                continue;
            }
            const QByteArray bytes = !r->dirty && r->card ? r->card->raw : regenerate(*r, "\r\n");
            const QString path = newFilePath(book.target, r->uid);
            if (!writeFile(path, bytes)) {
                ok = false;
                continue;
            }
            auto file = std::make_unique<FileRecord>();
            file->path = path;
            adopt(*file, bytes, {h});
            book.files.push_back(std::move(file));
        }
    }
    for (qint32 h : std::as_const(book.removed)) {
        if (Record* r = recordAt(h); r && r->file && !r->file->records.contains(h))
            r->file = nullptr;
        P.table.release(h);
    }
    book.removed.clear();
    return ok;
}

qint32 personFromCard(const std::shared_ptr<vcard::Card>& card)
{
    return newRecord(card, false, true);
}
qint32 createRecord(Kind kind)
{
    return newRecord(nullptr, kind == Kind::Group, true);
}

QByteArray cardText(const Record& record)
{
    if (record.card && !record.dirty && record.uidInCard)
        return record.card->raw;
    return regenerate(record, record.file ? record.file->eol : QByteArray("\r\n"));
}

QByteArray personImage(const Person& person)
{
    if (person.image || (person.dirty & bit(FPhoto)))
        return platform().table.as<Data>(person.image) ? platform().table.as<Data>(person.image)->bytes : QByteArray();
    const int at = firstLine(person, FPhoto);
    return at >= 0 ? base64Of(person.card->props[at]) : QByteArray();
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

void touch(Record& record, const QString& key)
{
    const bool person = record.kind == Kind::Person;
    for (const PropertyInfo& p : properties(person)) {
        if (constantText(p.key) == key && p.field >= 0)
            record.dirty |= bit(p.field);
    }
}

void touchMembers(Record& record)
{
    record.dirty |= bit(FMembers);
}
void touchCategories(Person& person)
{
    person.dirty |= bit(FCategories);
}
void touchImage(Person& person)
{
    person.dirty |= bit(FPhoto);
}

double secondsSince2001(const QDateTime& moment)
{
    return double(moment.toSecsSinceEpoch() - base2001().toSecsSinceEpoch());
}

QDateTime momentOf(double seconds)
{
    return base2001().addSecs(qint64(seconds));
}

} // namespace abplatform
