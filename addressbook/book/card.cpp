#include "fields.h"

#include <QSet>
#include <QUuid>
#include <algorithm>
#include <bit>
#include <optional>
#include <utility>

// Card to record: how the lines of a card become a record's properties.
namespace abplatform {
namespace {

using vcard::Version;

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
    // Hashed once: every line of every card of a large book is looked up here.
    static const QHash<QByteArray, int> byName = [] {
        QHash<QByteArray, int> h{{"N", FName}, {"FN", FName}, {"ORG", FOrg}, {"UID", FUid}, {"BDAY", FBday},
            {"REV", FRev}, {"CATEGORIES", FCategories}, {"PHOTO", FPhoto}, {"MEMBER", FMembers},
            {"X-ADDRESSBOOKSERVER-MEMBER", FMembers}, {"EMAIL", FEmail}, {"TEL", FTel}, {"ADR", FAdr}};
        for (const TextField& t : kTextFields)
            h.insert(t.name, t.field);
        return h;
    }();
    const auto it = byName.constFind(p.name);
    if (it == byName.cend())
        return imField(p);
    if (*it == FName)
        return group ? FGroupName : FName;
    if (*it == FMembers)
        return group ? FMembers : -1;
    return *it;
}

bool manyLines(int field)
{
    return field == FName || field == FGroupName || field == FCategories || field == FMembers || listField(field);
}

// The card's lines, read once, each tagged in the card and in the list with the field it feeds.
QList<vcard::Property> tagCard(vcard::Card& card, bool group)
{
    QList<vcard::Property> props;
    props.reserve(card.props.size());
    quint32 seen = 0;
    for (qsizetype i = 0; i < card.props.size(); ++i) {
        vcard::Property& p = props.emplace_back(card.props[i]);
        p.tag = fieldOf(p, group);
        if (p.tag >= 0 && !manyLines(p.tag)) {
            if (seen & bit(p.tag))
                p.tag = -1; // only the first of a single-valued line is the property's
            else
                seen |= bit(p.tag);
        }
        card.props.setTag(i, p.tag);
    }
    return props;
}

QDateTime base2001()
{
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0));
}

// base2001() in seconds since the epoch. Working out a local time costs a look at the zone file, once per
// date of a large book otherwise, so it is done again only when the TZ setting changes.
qint64 base2001Secs()
{
    static std::optional<QByteArray> zone;
    static qint64 secs = 0;
    const QByteArray now = qgetenv("TZ");
    if (!zone || *zone != now) {
        zone = now;
        secs = base2001().toSecsSinceEpoch();
    }
    return secs;
}

// The number written in exactly n ASCII digits from `from`, or -1.
int digitsAt(QStringView s, qsizetype from, qsizetype n)
{
    if (from + n > s.size())
        return -1;
    int value = 0;
    for (qsizetype i = from; i < from + n; ++i) {
        const char16_t c = s[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        value = value * 10 + (c - u'0');
    }
    return value;
}

// yyyyMMdd and HHmmss in digits, as nearly every card writes them, without the general date parser,
// which otherwise dominates the reading of a large book; anything else goes to that parser.
QDate dayOf(const QString& day)
{
    if (day.size() >= 8) {
        const int y = digitsAt(day, 0, 4), m = digitsAt(day, 4, 2), d = digitsAt(day, 6, 2);
        if (y >= 0 && m >= 0 && d >= 0)
            return QDate(y, m, d);
    }
    return QDate::fromString(day.left(8), QStringLiteral("yyyyMMdd"));
}

QTime clockOf(const QString& clock)
{
    if (clock.size() == 6) {
        const int h = digitsAt(clock, 0, 2), m = digitsAt(clock, 2, 2), s = digitsAt(clock, 4, 2);
        if (h >= 0 && m >= 0 && s >= 0)
            return QTime(h, m, s);
    }
    return QTime::fromString(clock, QStringLiteral("HHmmss"));
}

// 2026-11-25T09:24:47Z and 20261125T092447Z, as Evolution and most writers stamp REV, read without
// making the pieces the general reading below makes.
std::optional<double> stampDate(QStringView t)
{
    const bool extended = t.size() == 20;
    if (!(extended || t.size() == 16) || t.back() != u'Z' || t[extended ? 10 : 8] != u'T')
        return std::nullopt;
    if (extended && (t[4] != u'-' || t[7] != u'-' || t[13] != u':' || t[16] != u':'))
        return std::nullopt;
    const int step = extended ? 1 : 0;
    const int y = digitsAt(t, 0, 4), mo = digitsAt(t, 4 + step, 2), d = digitsAt(t, 6 + 2 * step, 2);
    const qsizetype clock = extended ? 11 : 9;
    const int h = digitsAt(t, clock, 2), mi = digitsAt(t, clock + 2 + step, 2),
              sec = digitsAt(t, clock + 4 + 2 * step, 2);
    const QDate day(y, mo, d);
    const QTime time(h, mi, sec);
    if (y < 0 || mo < 0 || d < 0 || h < 0 || mi < 0 || sec < 0 || !day.isValid() || !time.isValid())
        return std::nullopt;
    return secondsSince2001(QDateTime(day, time, Qt::UTC));
}

std::optional<double> parseDate(const QString& text)
{
    if (const auto stamp = stampDate(QStringView(text).trimmed()))
        return stamp;
    const QString t = text.trimmed();
    QDate d;
    QTime time(0, 0);
    bool utc = false;
    if (t.startsWith(QLatin1String("--"))) { // a birthday without a year
        const QString md = t.mid(2).remove(QLatin1Char('-'));
        d = QDate(1604, md.left(2).toInt(), md.mid(2, 2).toInt());
    } else {
        const QString day = t.section(QLatin1Char('T'), 0, 0).remove(QLatin1Char('-'));
        d = dayOf(day);
        QString clock = t.section(QLatin1Char('T'), 1);
        if (!clock.isEmpty()) {
            utc = clock.endsWith(QLatin1Char('Z'));
            clock.remove(QLatin1Char(':')).remove(QLatin1Char('Z'));
            const QTime parsed = clockOf(clock.left(6).leftJustified(6, QLatin1Char('0')));
            if (parsed.isValid())
                time = parsed;
        }
    }
    if (!d.isValid())
        return std::nullopt;
    return secondsSince2001(utc ? QDateTime(d, time, Qt::UTC) : QDateTime(d, time));
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

// What one card's reading carries from line to line. A reading either fills the parts of the record that the
// book itself needs (its UID, categories and members), or makes the value of one property, which the record
// does not keep: a large book holds every card, and a value of its own for each line would cost many times
// the line.
struct CardReading
{
    CardReading(Kind kind, const std::shared_ptr<vcard::Card>& read, Constant wanted)
        : card(read)
        , v(read->version)
        , group(kind == Kind::Group)
        , want(wanted)
    {
    }
    ~CardReading()
    {
        for (const qint32 h : lists)
            platform().table.release(h);
        platform().table.release(out);
    }
    const std::shared_ptr<vcard::Card>& card;
    Version v;
    bool group;
    Constant want;
    Record* record = nullptr; // the record whose book parts are read, or null
    qint32 out = 0; // the wanted value, held
    QHash<QByteArray, QString> customLabels, countryCodes;
    std::array<qint32, FieldCount> lists{}; // held
    QString formatted, org;
    QSet<QString> seenCategories; // folded; a set, so that a card with very many stays linear
    bool named = false;

    // Takes over the reference of h.
    void put(Constant key, qint32 h)
    {
        Table& t = platform().table;
        if (key == want)
            std::swap(out, h);
        t.release(h);
    }
    void putText(Constant key, const QString& text)
    {
        if (!text.isEmpty() && key == want)
            put(key, platform().newString(text, false));
    }
};

void readName(CardReading& c, const vcard::Property& p)
{
    if (p.name == "FN" && c.formatted.isEmpty()) {
        c.formatted = p.text(c.v);
    } else if (p.name == "N" && !c.named) {
        const QStringList n = p.components(c.v);
        c.putText(kLastNameProperty, n.value(0));
        c.putText(kFirstNameProperty, n.value(1));
        c.putText(kMiddleNameProperty, n.value(2));
        c.putText(kTitleProperty, n.value(3));
        c.putText(kSuffixProperty, n.value(4));
        c.named = !n.value(0).isEmpty() || !n.value(1).isEmpty() || !n.value(2).isEmpty();
    }
}

void readGroupName(CardReading& c, const vcard::Property& p)
{
    if (p.name == "FN" || c.formatted.isEmpty())
        c.formatted = p.name == "FN" ? p.text(c.v) : p.components(c.v).value(0);
}

void readDate(CardReading& c, const vcard::Property& p)
{
    const Constant key = p.tag == FBday ? kBirthdayProperty : kModificationDateProperty;
    if (key != c.want)
        return;
    if (const auto s = parseDate(p.text(c.v)))
        c.put(key, platform().table.add(std::make_unique<DateValue>(*s), false));
}

void readCategories(CardReading& c, const vcard::Property& p)
{
    if (!c.record || c.record->kind != Kind::Person)
        return;
    auto& cats = static_cast<Person*>(c.record)->categories;
    for (QString part : p.components(c.v, ',')) {
        // Without what no card can carry, as for the UID: a category names a group, and it must name the
        // same one after its line is written again.
        const QString name = part.remove(QLatin1Char('\r')).remove(QChar(0)).trimmed();
        if (!name.isEmpty() && !c.seenCategories.contains(name.toCaseFolded())) {
            c.seenCategories.insert(name.toCaseFolded());
            cats.append(name);
        }
    }
}

void readListEntry(CardReading& c, const vcard::Property& p, const ListField& f, int index)
{
    if (f.key != c.want)
        return;
    Platform& P = platform();
    qint32& list = c.lists[size_t(p.tag)];
    if (!list)
        list = P.table.add(std::make_unique<MultiValue>(), false);
    auto* mv = P.table.as<MultiValue>(list);
    MultiValue::Entry e;
    if (p.tag == FAdr) {
        e.value = addressOf(p, c.v, c.countryCodes.value(p.group.toLower()));
    } else {
        QString text = p.text(c.v).trimmed();
        if (p.name == "IMPP" || (p.tag == FTel && text.startsWith(QLatin1String("tel:"), Qt::CaseInsensitive)))
            text = text.mid(text.indexOf(QLatin1Char(':')) + 1);
        e.value = P.newString(text, false);
    }
    e.label = labelFor(p, p.tag, c.customLabels);
    e.id = mv->nextId++;
    e.originCard = c.card;
    e.originIndex = index;
    e.pristine = true;
    if (mv->primaryId < 0 && p.isPreferred())
        mv->primaryId = e.id;
    mv->entries.append(e);
}

void readLine(CardReading& c, const vcard::Property& p, int index)
{
    switch (p.tag) {
    case -1:
    case FPhoto: // read when asked for
        break;
    case FName:
        readName(c, p);
        break;
    case FGroupName:
        readGroupName(c, p);
        break;
    case FOrg:
        c.org = p.components(c.v).value(0);
        c.putText(kOrganizationProperty, c.org);
        break;
    case FUid: // without what no card can carry, so that the UID reads the same from the lines that name it
        if (c.record) {
            c.record->uid = p.text(c.v).trimmed().remove(QLatin1Char('\r')).remove(QChar(0));
            c.record->uidInCard = !c.record->uid.isEmpty();
        }
        break;
    case FBday:
    case FRev:
        readDate(c, p);
        break;
    case FCategories:
        readCategories(c, p);
        break;
    case FMembers:
        if (c.record) {
            static_cast<Group*>(c.record)->memberName = p.name;
            static_cast<Group*>(c.record)->unresolved.append(p.text(c.v).trimmed().toUtf8());
        }
        break;
    default:
        if (const ListField* f = listField(p.tag)) {
            readListEntry(c, p, *f, index);
            break;
        }
        for (const TextField& t : kTextFields) {
            if (t.field == p.tag)
                c.putText(t.key, p.text(c.v));
        }
    }
}

// Reads the parts of the record that the book needs of every card at once: its UID, its categories, which make
// groups, and a group's members.
void loadCard(Record& r, const std::shared_ptr<vcard::Card>& card)
{
    const bool group = r.kind == Kind::Group;
    const QList<vcard::Property> props = tagCard(*card, group);
    r.card = card;
    CardReading c{r.kind, card, kConstantCount};
    c.record = &r;
    for (int i = 0; i < props.size(); ++i) {
        const int tag = props[i].tag;
        if (tag == FUid || tag == FCategories || tag == FMembers)
            readLine(c, props[i], i);
    }
}

// The card-backed properties: the constant of each, and the fields whose lines make its value.
struct CardKey
{
    Constant key;
    quint32 fields;
};

std::optional<CardKey> cardKey(Kind kind, const QString& key)
{
    static const auto byKey = [] {
        std::array<QHash<QString, CardKey>, 2> out;
        for (bool person : {false, true}) {
            for (const PropertyInfo& p : properties(person)) {
                if (p.field < 0 || p.field == FUid)
                    continue;
                // A person's name may come from FN when N names nobody, unless FN is the organisation's.
                const quint32 fields = p.field == FName ? bit(FName) | bit(FOrg) : bit(p.field);
                out[person].insert(constantText(p.key), CardKey{p.key, fields});
            }
        }
        return out;
    }();
    const auto& table = byKey[kind == Kind::Person];
    const auto it = table.constFind(key);
    return it == table.cend() ? std::nullopt : std::optional<CardKey>(*it);
}

// The value of one property as the record's card gives it, with a reference of the caller's; 0 for none.
qint32 valueFromCard(const Record& r, const QString& key)
{
    const auto wanted = r.card ? cardKey(r.kind, key) : std::nullopt;
    if (!wanted)
        return 0;
    const vcard::Lines& lines = r.card->props;
    CardReading c{r.kind, r.card, wanted->key};
    const ListField* list = listField(std::countr_zero(wanted->fields));
    bool company = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines.tag(i) >= 0)
            continue;
        const QByteArray name = lines.name(i);
        if (list && (name == "X-ABLABEL" || name == "X-ABADR")) {
            const vcard::Property p = lines[i];
            if (!p.group.isEmpty())
                (name == "X-ABLABEL" ? c.customLabels : c.countryCodes).insert(p.group.toLower(), p.text(c.v));
        } else if (name == "X-ABSHOWAS" && wanted->fields & bit(FName)) {
            company = company || lines[i].value.trimmed().toUpper() == "COMPANY";
        }
    }
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const int tag = lines.tag(i);
        if (tag >= 0 && wanted->fields & bit(tag))
            readLine(c, lines[i], int(i));
    }
    Table& t = platform().table;
    if (list) {
        if (qint32& made = c.lists[size_t(list->field)]) {
            // Grown one by one, and seldom changed: it keeps none of the spare.
            t.as<MultiValue>(made)->entries.squeeze();
            c.put(list->key, std::exchange(made, 0));
        }
    } else if (c.group) {
        c.putText(kGroupNameProperty, c.formatted);
    } else if (!c.named && !c.formatted.isEmpty() && c.formatted != c.org && !company) {
        const auto [first, last] = splitFormattedName(c.formatted);
        c.putText(kFirstNameProperty, first);
        c.putText(kLastNameProperty, last);
    }
    const qint32 out = std::exchange(c.out, 0);
    t.retainOwned(out);
    t.release(out);
    return out;
}

} // namespace

bool isGroupCard(const vcard::Card& card)
{
    for (qsizetype i = 0; i < card.props.size(); ++i) {
        static const QByteArray kinds[] = {"KIND", "X-ADDRESSBOOKSERVER-KIND", "X-KIND"};
        if (std::find(std::begin(kinds), std::end(kinds), card.props.name(i)) != std::end(kinds)
            && card.props[i].value.trimmed().toLower() == "group")
            return true;
    }
    return false;
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
    return h;
}

void reload(Record& r, const std::shared_ptr<vcard::Card>& card)
{
    Platform& P = platform();
    if (r.values) {
        for (const auto& kv : *r.values)
            P.table.release(kv.second);
        r.values.reset();
    }
    if (r.kind == Kind::Person)
        static_cast<Person&>(r).categories.clear();
    else
        static_cast<Group&>(r).unresolved.clear();
    loadCard(r, card);
    if (r.kind == Kind::Group) {
        auto& g = static_cast<Group&>(r);
        QSet<QByteArray> named; // a set, so that a group of many members saves in linear time
        for (const QList<qint32>* list : {&g.members, &g.subgroups}) {
            for (qint32 h : *list) {
                if (const auto* m = static_cast<const Record*>(P.table.get(h))) {
                    named.insert(m->uid.toUtf8());
                    named.insert("urn:uuid:" + m->uid.toUtf8());
                }
            }
        }
        g.unresolved.removeIf([&](const QByteArray& value) { return named.contains(value); });
    }
}

qint32 Record::copy(const QString& key) const
{
    for (const auto& [id, v] : values ? *values : std::span<const std::pair<qint32, qint32>>()) {
        const QString& k = keyText(id);
        // Keys are nearly always the shared texts of the constants, found by their address alone.
        if (k.size() == key.size() && (k.constData() == key.constData() || k == key))
            return platform().table.copyOut(v);
    }
    if (key == constantText(kUIDProperty))
        return platform().newString(uid, true);
    return valueFromCard(*this, key);
}

void Record::put(const QString& key, qint32 value)
{
    // A value removed from what the card gives is kept as none, so that the card's value does not show through.
    const bool keepNone = card && cardKey(kind, key);
    if (!values) {
        if (!value && !keepNone)
            return; // most records never get one: nothing is made for them
        values = std::make_unique<std::vector<std::pair<qint32, qint32>>>();
    }
    for (auto it = values->begin(); it != values->end(); ++it) {
        if (keyText(it->first) == key) {
            platform().table.release(it->second);
            it->second = value;
            if (!value && !keepNone)
                values->erase(it);
            return;
        }
    }
    if (value || keepNone)
        values->push_back({keyId(key), value});
}

double secondsSince2001(const QDateTime& moment)
{
    return double(moment.toSecsSinceEpoch() - base2001Secs());
}

QDateTime momentOf(double seconds)
{
    return base2001().addSecs(qint64(seconds));
}

} // namespace abplatform
