#include "fields.h"
#include "source.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <array>

// Record to card: the lines of a changed record made anew, and the book's files written back.
namespace abplatform {
namespace {

using vcard::Version;

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

QString dictText(const Dictionary& d, const QString& key)
{
    for (const auto& [k, v] : d.entries) {
        if (platform().text(k) == key)
            return platform().text(v);
    }
    return QString();
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
        if (r.card->props.tag(i) == field && (!name || r.card->props.name(i) == name))
            return i;
    }
    return -1;
}

QString textOf(const Record& r, Constant key)
{
    return platform().text(Taken(r.copy(constantText(key))).handle());
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
    const Taken list(r.copy(constantText(f.key)));
    const auto* mv = P.table.as<MultiValue>(list.handle());
    if (!mv)
        return QByteArray();
    QByteArray out;
    for (const MultiValue::Entry& e : mv->entries) {
        const bool here = e.originCard && e.originCard == r.card;
        if (e.pristine && here) {
            out += r.card->props.raw(e.originIndex);
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

// One card's writing: the record, the version and line end of its file.
struct CardWriting
{
    const Record& r;
    Version v;
    const QByteArray& eol;

    QByteArray line(vcard::Property p, QByteArray value) const
    {
        p.value = std::move(value);
        return vcard::formatProperty(p, v, eol);
    }
    // A line in the place and form of the field's first line in the card, if it has one.
    QByteArray lineOf(int field, const char* name, QByteArray value, bool byName = false) const
    {
        return line(lineFrom(r, firstLine(r, field, byName ? name : nullptr), name), std::move(value));
    }
    QString text(Constant key) const { return textOf(r, key); }
};

QByteArray textLines(const CardWriting& w, const TextField& t)
{
    const QString text = w.text(t.key);
    if (text.isEmpty())
        return QByteArray();
    return w.lineOf(t.field, t.name, t.escaped ? vcard::escapeText(text, w.v) : vcard::escapeUri(text));
}

QByteArray nameLines(const CardWriting& w)
{
    const QString last = w.text(kLastNameProperty), first = w.text(kFirstNameProperty),
                  middle = w.text(kMiddleNameProperty), prefix = w.text(kTitleProperty),
                  suffix = w.text(kSuffixProperty);
    QStringList shown;
    for (const QString& s : {prefix, first, middle, last, suffix}) {
        if (!s.isEmpty())
            shown.append(s);
    }
    QString formatted = shown.join(QLatin1Char(' '));
    if (formatted.isEmpty())
        formatted = w.text(kOrganizationProperty);
    return w.lineOf(FName, "N", vcard::joinComponents({last, first, middle, prefix, suffix}, w.v), true)
        + w.lineOf(FName, "FN", vcard::escapeText(formatted, w.v), true);
}

QByteArray groupNameLines(const CardWriting& w)
{
    const QString name = w.text(kGroupNameProperty);
    QByteArray out = w.lineOf(FGroupName, "FN", vcard::escapeText(name, w.v), true);
    if (firstLine(w.r, FGroupName, "N") >= 0)
        out += w.lineOf(FGroupName, "N", vcard::joinComponents({name, {}, {}, {}, {}}, w.v), true);
    return out;
}

QByteArray orgLines(const CardWriting& w)
{
    const int at = firstLine(w.r, FOrg);
    QStringList parts = at >= 0 ? w.r.card->props[at].components(w.r.card->version) : QStringList();
    const QString org = w.text(kOrganizationProperty);
    if (parts.isEmpty())
        parts.append(QString());
    parts[0] = org;
    if (org.isEmpty() && parts.size() == 1)
        return QByteArray();
    return w.line(lineFrom(w.r, at, "ORG"), vcard::joinComponents(parts, w.v));
}

QByteArray dateLines(const CardWriting& w, int field)
{
    const Taken date(w.r.copy(constantText(field == FBday ? kBirthdayProperty : kModificationDateProperty)));
    const auto* d = platform().table.as<DateValue>(date.handle());
    if (!d)
        return QByteArray();
    return w.lineOf(field, field == FBday ? "BDAY" : "REV", formatDate(d->seconds, field, w.v));
}

QByteArray categoryLines(const CardWriting& w)
{
    const QStringList& cats = static_cast<const Person&>(w.r).categories;
    return cats.isEmpty() ? QByteArray() : w.lineOf(FCategories, "CATEGORIES", vcard::joinComponents(cats, w.v, ','));
}

QByteArray photoLines(const CardWriting& w)
{
    const QByteArray image = personImage(static_cast<const Person&>(w.r));
    if (image.isEmpty())
        return QByteArray();
    const char* type = image.startsWith("\x89PNG") ? "png" : image.startsWith("GIF8") ? "gif" : "jpeg";
    vcard::Property p;
    p.name = "PHOTO";
    if (w.v == Version::V40)
        return w.line(p, "data:image/" + QByteArray(type) + ";base64," + image.toBase64());
    p.params = {{"ENCODING", {w.v == Version::V21 ? "BASE64" : "b"}}, {"TYPE", {QByteArray(type).toUpper()}}};
    return w.line(p, image.toBase64());
}

QByteArray memberLines(const CardWriting& w)
{
    const auto& g = static_cast<const Group&>(w.r);
    vcard::Property p = lineFrom(w.r, firstLine(w.r, FMembers), g.memberName.constData());
    QByteArray out;
    for (const QList<qint32>* list : {&g.members, &g.subgroups}) {
        for (qint32 h : *list) {
            if (const auto* m = static_cast<const Record*>(platform().table.get(h)))
                out += w.line(p, "urn:uuid:" + vcard::escapeUri(m->uid));
        }
    }
    for (const QByteArray& value : g.unresolved)
        out += w.line(p, vcard::escapeUri(QString::fromUtf8(value)));
    return out;
}

// The lines of one part of a record's card, made from its properties.
QByteArray fieldLines(const Record& r, int field, Version v, const QByteArray& eol)
{
    const CardWriting w{r, v, eol};
    if (const ListField* f = listField(field))
        return listLines(r, *f, v, eol);
    for (const TextField& t : kTextFields) {
        if (t.field == field)
            return textLines(w, t);
    }
    switch (field) {
    case FName:
        return nameLines(w);
    case FGroupName:
        return groupNameLines(w);
    case FOrg:
        return orgLines(w);
    case FUid:
        return w.lineOf(FUid, "UID", vcard::escapeUri(r.uid));
    case FBday:
    case FRev:
        return dateLines(w, field);
    case FCategories:
        return categoryLines(w);
    case FPhoto:
        return photoLines(w);
    case FMembers:
        return memberLines(w);
    default:
        return QByteArray();
    }
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
    if (parsed.cards.size() != records.size()) // not what was written: never written over again
        file.clean = false;
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
        for (qsizetype i = 0; i < r.card->props.size(); ++i) {
            const int tag = r.card->props.tag(i);
            if (tag < 0 || !(dirty & bit(tag))) {
                out += r.card->props.raw(i);
            } else if (!(written & bit(tag))) {
                out += fieldLines(r, tag, r.card->version, eol);
                written |= bit(tag);
            }
        }
        for (int f = 0; f < FieldCount; ++f) {
            if ((dirty & bit(f)) && !(written & bit(f)))
                out += fieldLines(r, f, r.card->version, eol);
        }
    }
    return out + "END:VCARD" + eol;
}

// A removed record takes with it the cards the book merged into it: those of its kind and UID in the other
// files that can be rewritten, left out of the lists as duplicates.
void takeMerged(Book& book)
{
    std::array<QSet<QString>, 2> gone; // people's, groups'
    for (qint32 h : std::as_const(book.removed)) {
        if (const Record* r = recordAt(h); r && r->uidInCard)
            gone[r->kind == Kind::Group].insert(r->uid);
    }
    if (gone[0].isEmpty() && gone[1].isEmpty())
        return;
    book.retired.removeIf([&](qint32 h) {
        Record* r = recordAt(h);
        if (!r || !r->file || !r->file->clean || !r->inBook || !r->uidInCard
            || !gone[r->kind == Kind::Group].contains(r->uid))
            return false;
        r->inBook = false;
        book.removed.append(h); // the book's hold goes with it
        return true;
    });
}

} // namespace

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
    takeMerged(book);
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
    // Every card is made before any file is written: a card that cannot be written leaves all files as
    // they are.
    struct Write
    {
        FileRecord* file; // none for a record that gets a file of its own
        QByteArray bytes;
        QList<qint32> kept;
    };
    QList<Write> writes;
    for (FileRecord* file : std::as_const(touched)) {
        if (!file->clean) { // never rewrite what could not be read whole
            ok = false;
            continue;
        }
        QByteArray out = file->gaps.value(0);
        QList<qint32> kept;
        for (qsizetype i = 0; i < file->cards.size(); ++i) {
            const Record* r = recordAt(file->records.value(i));
            if (r && r->file == file && r->inBook) {
                out += r->dirty ? regenerate(*r, file->eol) : file->cards[i]->raw();
                kept.append(file->records[i]);
            }
            out += file->gaps.value(i + 1);
        }
        writes.append({file, out, kept});
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
            writes.append({nullptr, !r->dirty && r->card ? r->card->raw() : regenerate(*r, "\r\n"), {h}});
        }
    }
    for (Write& w : writes) {
        if (w.file && w.kept.isEmpty()) {
            if (!QFile::remove(w.file->path)) {
                ok = false;
                continue;
            }
            w.file->cards.clear();
            w.file->records.clear();
            continue;
        }
        const QString path = w.file ? w.file->path : newFilePath(book.target, recordAt(w.kept[0])->uid);
        if (!writeFile(path, w.bytes)) {
            ok = false;
            continue;
        }
        if (!w.file) {
            book.files.push_back(std::make_unique<FileRecord>());
            w.file = book.files.back().get();
            w.file->path = path;
        }
        adopt(*w.file, w.bytes, w.kept);
        w.file->stamp = fileStamp(path);
    }
    // A removal that could not be written waits, held, for the next save: its file still names the record.
    book.removed.removeIf([&](qint32 h) {
        Record* r = recordAt(h);
        if (r && r->file && r->file->records.contains(h))
            return false;
        if (r)
            r->file = nullptr;
        P.table.release(h);
        return true;
    });
    return ok;
}

QByteArray cardText(const Record& record)
{
    if (record.card && !record.dirty && record.uidInCard)
        return record.card->raw();
    return regenerate(record, record.file ? record.file->eol : QByteArray("\r\n"));
}

QByteArray personImage(const Person& person)
{
    if (person.image || (person.dirty & bit(FPhoto)))
        return platform().table.as<Data>(person.image) ? platform().table.as<Data>(person.image)->bytes : QByteArray();
    const int at = firstLine(person, FPhoto);
    return at >= 0 ? base64Of(person.card->props[at]) : QByteArray();
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

} // namespace abplatform
