#include "abfclass.h"

#include "book.h"
#include "matcher.h"

#include <QSet>

using namespace abplatform;

namespace {

Table& table()
{
    return platform().table;
}
QString textOf(qint32 h)
{
    return platform().text(h);
}

Book* sharedBook()
{
    return table().as<Book>(platform().book);
}

Kind recordKindOf(qint32 recordType)
{
    // The constants themselves, as ABRecordCopyRecordType gives them, are known without their text.
    if (recordType == platform().constant(kPersonRecordType))
        return Kind::Person;
    if (recordType == platform().constant(kGroupRecordType))
        return Kind::Group;
    const QString t = textOf(recordType);
    if (t == constantText(kPersonRecordType))
        return Kind::Person;
    if (t == constantText(kGroupRecordType))
        return Kind::Group;
    return Kind::Bundle; // no record type
}

// An owned array of values that something else holds; the array holds them too.
qint32 arrayOf(const QList<qint32>& items)
{
    for (qint32 h : items)
        table().retain(h);
    return table().add(std::make_unique<Array>(items, true), true);
}

std::unique_ptr<MultiValue> copyOf(const MultiValue& mv, bool isMutable)
{
    auto c = std::make_unique<MultiValue>();
    c->entries = mv.entries;
    for (const MultiValue::Entry& e : c->entries) {
        table().retain(e.value);
        table().retain(e.label);
        table().retain(e.identifier);
    }
    c->isMutable = isMutable;
    c->primaryId = mv.primaryId;
    c->nextId = mv.nextId;
    return c;
}

// Records keep copies of lists and dictionaries, so that later changes to the caller's go unseen.
qint32 frozen(qint32 h)
{
    if (const auto* mv = table().as<MultiValue>(h))
        return table().add(copyOf(*mv, false), false);
    if (const auto* d = table().as<Dictionary>(h)) {
        auto c = std::make_unique<Dictionary>();
        c->entries = d->entries;
        for (const auto& [k, v] : c->entries) {
            table().retain(k);
            table().retain(v);
        }
        return table().add(std::move(c), false);
    }
    table().retain(h);
    return h;
}

bool fits(int type, Kind kind)
{
    switch (type) {
    case kStringType:
        return kind == Kind::String;
    case kIntegerType:
    case kRealType:
        return kind == Kind::Number;
    case kDateType:
        return kind == Kind::Date;
    case kArrayType:
        return kind == Kind::Array;
    case kDictionaryType:
        return kind == Kind::Dictionary;
    case kDataType:
        return kind == Kind::Data;
    default:
        return type >= kMultiStringType && kind == Kind::MultiValue;
    }
}

MultiValue* mutableList(qint32 h)
{
    MultiValue* mv = table().as<MultiValue>(h);
    return mv && mv->isMutable ? mv : nullptr;
}

qint32 identifierOf(MultiValue::Entry& e)
{
    if (!e.identifier)
        e.identifier = platform().newString(QString::number(e.id), false);
    return e.identifier;
}

bool addEntry(qint32 multiValue, qint32 value, qint32 label, qint32 index, qint32& outIdentifier)
{
    MultiValue* mv = mutableList(multiValue);
    if (!mv || !table().get(value) || index < 0 || index > mv->entries.size())
        return false;
    MultiValue::Entry e;
    e.value = value;
    e.label = label;
    e.id = mv->nextId++;
    table().retain(value);
    table().retain(label);
    mv->entries.insert(index, e);
    outIdentifier = identifierOf(mv->entries[index]);
    return true;
}

bool reaches(const Group& from, qint32 target, QSet<qint32>& seen)
{
    for (qint32 h : from.subgroups) {
        if (h == target)
            return true;
        if (const Group* g = table().as<Group>(h); g && !seen.contains(h)) {
            seen.insert(h);
            if (reaches(*g, target, seen))
                return true;
        }
    }
    return false;
}

bool dropFrom(QList<qint32>& list, qint32 h)
{
    if (!list.removeOne(h))
        return false;
    table().release(h);
    return true;
}

} // namespace

qint32 _ABFClass::StringToCFString(const QString& s)
{
    return platform().newString(s, true);
}
QString _ABFClass::CFStringToString(qint32 cfstring)
{
    return textOf(cfstring);
}

#define AB_ACCESSOR(name, text)                                                                                        \
    qint32 _ABFClass::kAB##name()                                                                                      \
    {                                                                                                                  \
        return platform().constant(k##name);                                                                           \
    }
AB_CONSTANTS(AB_ACCESSOR)
#undef AB_ACCESSOR

qint32 _ABFClass::ABGetSharedAddressBook()
{
    return loadSharedBook(platform());
}

qint32 _ABFClass::ABCopyArrayOfMatchingRecords(qint32 addressBook, qint32 search)
{
    const Book* b = table().as<Book>(addressBook);
    if (!b || !table().as<SearchElement>(search))
        return 0;
    QList<qint32> found;
    for (qint32 h : b->people) {
        if (matches(search, *recordAt(h)))
            found.append(h);
    }
    return arrayOf(found);
}

bool _ABFClass::ABSave(qint32 addressBook)
{
    Book* b = table().as<Book>(addressBook);
    return b && saveBook(*b);
}

bool _ABFClass::ABHasUnsavedChanges(qint32 addressBook)
{
    const Book* b = table().as<Book>(addressBook);
    return b && hasUnsavedChanges(*b);
}

qint32 _ABFClass::ABGetMe(qint32 addressBook)
{
    const Book* b = table().as<Book>(addressBook);
    return b && table().get(b->me) ? b->me : 0;
}

bool _ABFClass::ABSetMe(qint32 addressBook, qint32 moi)
{
    Book* b = table().as<Book>(addressBook);
    if (!b || !table().as<Person>(moi))
        return false;
    table().retain(moi);
    table().release(b->me);
    b->me = moi;
    return true;
}

qint32 _ABFClass::ABAddPropertiesAndTypes(qint32 addressBook, qint32 recordType, qint32 propertiesAnTypes)
{
    Book* b = table().as<Book>(addressBook);
    const Dictionary* d = table().as<Dictionary>(propertiesAnTypes);
    const Kind kind = recordKindOf(recordType);
    if (!b || !d || kind == Kind::Bundle)
        return 0;
    qint32 added = 0;
    for (const auto& [k, v] : d->entries) {
        const QString key = textOf(k);
        const Number* type = table().as<Number>(v);
        if (!key.isEmpty() && type && type->value > 0 && !propertyType(b, kind, key)) {
            b->customTypes[textOf(recordType)].insert(key, int(type->value));
            ++added;
        }
    }
    return added;
}

qint32 _ABFClass::ABRemoveProperties(qint32 addressBook, qint32 recordType, qint32 properties)
{
    Book* b = table().as<Book>(addressBook);
    const Array* keys = table().as<Array>(properties);
    if (!b || !keys)
        return 0;
    QHash<QString, int>& custom = b->customTypes[textOf(recordType)];
    const Kind kind = recordKindOf(recordType);
    qint32 removed = 0;
    for (qint32 k : keys->items) {
        const QString key = textOf(k);
        if (!custom.remove(key))
            continue;
        ++removed;
        for (qint32 h : kind == Kind::Person ? b->people : b->groups)
            recordAt(h)->put(key, 0);
    }
    return removed;
}

qint32 _ABFClass::ABCopyArrayOfPropertiesForRecordType(qint32 addressBook, qint32 recordType)
{
    const Kind kind = recordKindOf(recordType);
    if (kind == Kind::Bundle)
        return 0;
    QList<qint32> keys;
    for (const QString& key : propertyKeys(table().as<Book>(addressBook), kind))
        keys.append(platform().newString(key, false));
    return table().add(std::make_unique<Array>(keys, true), true);
}

qint32 _ABFClass::ABTypeOfProperty(qint32 addressBook, qint32 recordType, qint32 proprty)
{
    const Kind kind = recordKindOf(recordType);
    const QString key = textOf(proprty);
    if (kind == Kind::Bundle || key.isNull())
        return 0;
    return propertyType(table().as<Book>(addressBook), kind, key);
}

bool _ABFClass::ABAddRecord(qint32 addressBook, qint32 record)
{
    Book* b = table().as<Book>(addressBook);
    Record* r = recordAt(record);
    if (!b || !r || r->inBook)
        return false;
    table().retain(record);
    (r->kind == Kind::Person ? b->people : b->groups).append(record);
    r->inBook = true;
    dropFrom(b->removed, record);
    return true;
}

bool _ABFClass::ABRemoveRecord(qint32 addressBook, qint32 record)
{
    Book* b = table().as<Book>(addressBook);
    Record* r = recordAt(record);
    if (!b || !r || !r->inBook)
        return false;
    r->inBook = false;
    (r->kind == Kind::Person ? b->people : b->groups).removeOne(record);
    for (qint32 gh : b->groups) {
        Group* g = table().as<Group>(gh);
        if (dropFrom(r->kind == Kind::Person ? g->members : g->subgroups, record) && g->category.isEmpty())
            touchMembers(*g);
    }
    if (r->kind == Kind::Group) {
        auto* g = static_cast<Group*>(r);
        for (qint32 ph : g->category.isEmpty() ? QList<qint32>() : g->members) {
            Person* p = table().as<Person>(ph);
            p->categories.removeIf([&](const QString& c) { return c.compare(g->category, Qt::CaseInsensitive) == 0; });
            touchCategories(*p);
        }
    }
    if (b->me == record) {
        b->me = 0;
        table().release(record);
    }
    if (r->file)
        b->removed.append(record); // its card goes at the next save
    else
        table().release(record);
    return true;
}

qint32 _ABFClass::ABCopyArrayOfAllPeople(qint32 addressBook)
{
    const Book* b = table().as<Book>(addressBook);
    return b ? arrayOf(b->people) : 0;
}

qint32 _ABFClass::ABCopyArrayOfAllGroups(qint32 addressBook)
{
    const Book* b = table().as<Book>(addressBook);
    return b ? arrayOf(b->groups) : 0;
}

qint32 _ABFClass::ABRecordCopyRecordType(qint32 record)
{
    const Record* r = recordAt(record);
    if (!r)
        return 0;
    // The constant itself: it is never freed, so the caller's release is harmless and no string is made.
    return table().copyOut(platform().constant(r->kind == Kind::Person ? kPersonRecordType : kGroupRecordType));
}

qint32 _ABFClass::ABRecordCopyValue(qint32 record, qint32 proprty)
{
    const Record* r = recordAt(record);
    const QString key = textOf(proprty);
    return r && !key.isNull() ? r->copy(key) : 0;
}

bool _ABFClass::ABRecordSetValue(qint32 record, qint32 proprty, qint32 value)
{
    Record* r = recordAt(record);
    const QString key = textOf(proprty);
    const Value* v = table().get(value);
    if (!r || key.isNull() || !v || key == constantText(kUIDProperty))
        return false;
    if (!fits(propertyType(sharedBook(), r->kind, key), v->kind))
        return false;
    r->put(key, frozen(value));
    touch(*r, key);
    return true;
}

bool _ABFClass::ABRecordRemoveValue(qint32 record, qint32 proprty)
{
    Record* r = recordAt(record);
    const QString key = textOf(proprty);
    if (!r || key.isNull() || key == constantText(kUIDProperty) || !propertyType(sharedBook(), r->kind, key))
        return false;
    r->put(key, 0);
    touch(*r, key);
    return true;
}

qint32 _ABFClass::ABPersonCreate()
{
    return createRecord(Kind::Person);
}

qint32 _ABFClass::ABPersonCreateWithVCardRepresentation(qint32 vCard)
{
    const Data* d = table().as<Data>(vCard);
    if (!d)
        return 0;
    const vcard::File f = vcard::parse(d->bytes);
    return f.cards.isEmpty() ? 0 : personFromCard(f.cards.first());
}

qint32 _ABFClass::ABPersonCopyVCardRepresentation(qint32 person)
{
    const Person* p = table().as<Person>(person);
    return p ? table().add(std::make_unique<Data>(cardText(*p)), true) : 0;
}

qint32 _ABFClass::ABPersonCreateSearchElement(qint32 proprty, qint32 label, qint32 key, qint32 value, qint32 comparison)
{
    if (textOf(proprty).isNull())
        return 0;
    auto e = std::make_unique<SearchElement>();
    e->property = textOf(proprty);
    e->label = textOf(label);
    e->key = textOf(key);
    e->value = value;
    e->comparison = comparison;
    table().retain(value);
    return table().add(std::move(e), true);
}

qint32 _ABFClass::ABGroupCreate()
{
    return createRecord(Kind::Group);
}

qint32 _ABFClass::ABGroupCopyArrayOfAllMembers(qint32 group)
{
    const Group* g = table().as<Group>(group);
    return g ? arrayOf(g->members) : 0;
}

bool _ABFClass::ABGroupAddMember(qint32 group, qint32 personToAdd)
{
    Group* g = table().as<Group>(group);
    Person* p = table().as<Person>(personToAdd);
    if (!g || !p || g->members.contains(personToAdd))
        return false;
    g->members.append(personToAdd);
    table().retain(personToAdd);
    if (!g->category.isEmpty()) {
        if (!p->categories.contains(g->category, Qt::CaseInsensitive))
            p->categories.append(g->category);
        touchCategories(*p);
    } else {
        touchMembers(*g);
        if (!p->uidInCard) // the group names its members by UID
            touch(*p, constantText(kUIDProperty));
    }
    return true;
}

bool _ABFClass::ABGroupRemoveMember(qint32 group, qint32 personToRemove)
{
    Group* g = table().as<Group>(group);
    Person* p = table().as<Person>(personToRemove);
    if (!g || !p || !dropFrom(g->members, personToRemove))
        return false;
    if (!g->category.isEmpty()) {
        p->categories.removeIf([&](const QString& c) { return c.compare(g->category, Qt::CaseInsensitive) == 0; });
        touchCategories(*p);
    } else {
        touchMembers(*g);
    }
    return true;
}

qint32 _ABFClass::ABGroupCopyArrayOfAllSubgroups(qint32 group)
{
    const Group* g = table().as<Group>(group);
    return g ? arrayOf(g->subgroups) : 0;
}

bool _ABFClass::ABGroupAddGroup(qint32 group, qint32 groupToAdd)
{
    Group* g = table().as<Group>(group);
    Group* sub = table().as<Group>(groupToAdd);
    QSet<qint32> seen;
    // A category holds persons only, and no group may end up inside itself.
    if (!g || !sub || group == groupToAdd || !g->category.isEmpty() || !sub->category.isEmpty()
        || g->subgroups.contains(groupToAdd) || reaches(*sub, group, seen))
        return false;
    g->subgroups.append(groupToAdd);
    table().retain(groupToAdd);
    touchMembers(*g);
    if (!sub->uidInCard)
        touch(*sub, constantText(kUIDProperty));
    return true;
}

bool _ABFClass::ABGroupRemoveGroup(qint32 group, qint32 groupToRemove)
{
    Group* g = table().as<Group>(group);
    if (!g || !dropFrom(g->subgroups, groupToRemove))
        return false;
    touchMembers(*g);
    return true;
}

qint32 _ABFClass::ABSearchElementCreateWithConjunction(qint32 conjunction, qint32 childrenSearchElement)
{
    const Array* children = table().as<Array>(childrenSearchElement);
    if (!children)
        return 0;
    auto e = std::make_unique<SearchElement>();
    e->conjunction = conjunction == kSearchOr ? kSearchOr : kSearchAnd;
    for (qint32 h : children->items) {
        if (table().as<SearchElement>(h)) {
            e->children.append(h);
            table().retain(h);
        }
    }
    return table().add(std::move(e), true);
}

qint32 _ABFClass::ABMultiValueCount(qint32 multiValue)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv ? qint32(mv->entries.size()) : 0;
}

qint32 _ABFClass::ABMultiValueCopyValueAtIndex(qint32 multiValue, qint32 index)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv && index >= 0 && index < mv->entries.size() ? table().copyOut(mv->entries[index].value) : 0;
}

qint32 _ABFClass::ABMultiValueCopyLabelAtIndex(qint32 multiValue, qint32 index)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv && index >= 0 && index < mv->entries.size() ? table().copyOut(mv->entries[index].label) : 0;
}

qint32 _ABFClass::ABMultiValueCreateMutable()
{
    auto mv = std::make_unique<MultiValue>();
    mv->isMutable = true;
    return table().add(std::move(mv), true);
}

bool _ABFClass::ABMultiValueAdd(qint32 multiValue, qint32 value, qint32 label, qint32& outIdentifier)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv && addEntry(multiValue, value, label, qint32(mv->entries.size()), outIdentifier);
}

bool _ABFClass::ABMultiValueInsert(qint32 multiValue, qint32 value, qint32 label, qint32 index, qint32& outIdentifier)
{
    return addEntry(multiValue, value, label, index, outIdentifier);
}

bool _ABFClass::ABMultiValueRemove(qint32 multiValue, qint32 index)
{
    MultiValue* mv = mutableList(multiValue);
    if (!mv || index < 0 || index >= mv->entries.size())
        return false;
    const MultiValue::Entry e = mv->entries.takeAt(index);
    table().release(e.value);
    table().release(e.label);
    table().release(e.identifier);
    return true;
}

bool _ABFClass::ABMultiValueReplaceValue(qint32 multiValue, qint32 value, qint32 index)
{
    MultiValue* mv = mutableList(multiValue);
    if (!mv || !table().get(value) || index < 0 || index >= mv->entries.size())
        return false;
    MultiValue::Entry& e = mv->entries[index];
    table().retain(value);
    table().release(e.value);
    e.value = value;
    e.pristine = false;
    return true;
}

qint32 _ABFClass::ABMultiValueCreateMutableCopy(qint32 multiValue)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv ? table().add(copyOf(*mv, true), true) : 0;
}

qint32 _ABFClass::ABCopyLocalizedPropertyOrLabel(qint32 labelOrProperty)
{
    static const QHash<QString, QString> shown{{QStringLiteral("Work"), QStringLiteral("work")},
        {QStringLiteral("Home"), QStringLiteral("home")}, {QStringLiteral("Other"), QStringLiteral("other")},
        {QStringLiteral("Mobile"), QStringLiteral("mobile")}, {QStringLiteral("Main"), QStringLiteral("main")},
        {QStringLiteral("HomeFAX"), QStringLiteral("home fax")},
        {QStringLiteral("WorkFAX"), QStringLiteral("work fax")}, {QStringLiteral("Pager"), QStringLiteral("pager")},
        {QStringLiteral("First"), QStringLiteral("First Name")}, {QStringLiteral("Last"), QStringLiteral("Last Name")},
        {QStringLiteral("Middle"), QStringLiteral("Middle Name")},
        {QStringLiteral("Organization"), QStringLiteral("Company")},
        {QStringLiteral("JobTitle"), QStringLiteral("Job Title")},
        {QStringLiteral("HomePage"), QStringLiteral("Home Page")}, {QStringLiteral("Phone"), QStringLiteral("Phone")},
        {QStringLiteral("Email"), QStringLiteral("Email")}, {QStringLiteral("Address"), QStringLiteral("Address")},
        {QStringLiteral("GroupName"), QStringLiteral("Group Name")}};
    const QString t = textOf(labelOrProperty);
    return t.isNull() ? 0 : platform().newString(shown.value(t, t), true);
}

qint32 _ABFClass::ABCopyRecordForUniqueId(qint32 addressBook, qint32 uniqueId)
{
    const Book* b = table().as<Book>(addressBook);
    const QString uid = textOf(uniqueId);
    if (!b || uid.isNull())
        return 0;
    for (const QList<qint32>* list : {&b->people, &b->groups}) {
        for (qint32 h : *list) {
            if (recordAt(h)->uid == uid)
                return table().copyOut(h);
        }
    }
    return 0;
}

qint32 _ABFClass::ABRecordCopyUniqueId(qint32 record)
{
    const Record* r = recordAt(record);
    return r ? platform().newString(r->uid, true) : 0;
}

qint32 _ABFClass::ABPersonCopyParentGroups(qint32 person)
{
    const Book* b = sharedBook();
    if (!table().as<Person>(person))
        return 0;
    QList<qint32> parents;
    for (qint32 g : b ? b->groups : QList<qint32>()) {
        if (table().as<Group>(g)->members.contains(person))
            parents.append(g);
    }
    return arrayOf(parents);
}

bool _ABFClass::ABSearchElementMatchesRecord(qint32 searchElement, qint32 record)
{
    const Record* r = recordAt(record);
    return r && matches(searchElement, *r);
}

qint32 _ABFClass::ABMultiValueCreate()
{
    return table().add(std::make_unique<MultiValue>(), true);
}

qint32 _ABFClass::ABMultiValueCopyPrimaryIdentifier(qint32 multiValue)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv && mv->primaryId >= 0 ? platform().newString(QString::number(mv->primaryId), true) : 0;
}

qint32 _ABFClass::ABMultiValueIndexForIdentifier(qint32 multiValue, qint32 identifier)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    const QString id = textOf(identifier);
    for (qsizetype i = 0; mv && i < mv->entries.size(); ++i) {
        if (QString::number(mv->entries[i].id) == id)
            return qint32(i);
    }
    return -1;
}

qint32 _ABFClass::ABMultiValueCopyIdentifierAtIndex(qint32 multiValue, qint32 index)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv && index >= 0 && index < mv->entries.size()
        ? platform().newString(QString::number(mv->entries[index].id), true)
        : 0;
}

qint32 _ABFClass::ABMultiValuePropertyType(qint32 multiValue)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    if (!mv || mv->entries.isEmpty())
        return 0;
    const Value* v = table().get(mv->entries.first().value);
    static const int single[] = {0, 1, 2, 4, 7, 5, 6};
    return v && int(v->kind) <= int(Kind::Dictionary) ? 256 + single[int(v->kind)] : 0;
}

qint32 _ABFClass::ABMultiValueCreateCopy(qint32 multiValue)
{
    const MultiValue* mv = table().as<MultiValue>(multiValue);
    return mv ? table().add(copyOf(*mv, false), true) : 0;
}

bool _ABFClass::ABMultiValueReplaceLabel(qint32 multiValue, qint32 label, qint32 index)
{
    MultiValue* mv = mutableList(multiValue);
    if (!mv || index < 0 || index >= mv->entries.size())
        return false;
    MultiValue::Entry& e = mv->entries[index];
    table().retain(label);
    table().release(e.label);
    e.label = label;
    e.pristine = false;
    return true;
}

bool _ABFClass::ABMultiValueSetPrimaryIdentifier(qint32 multiValue, qint32 identifier)
{
    MultiValue* mv = mutableList(multiValue);
    const qint32 index = ABMultiValueIndexForIdentifier(multiValue, identifier);
    if (!mv || index < 0)
        return false;
    mv->primaryId = mv->entries[index].id;
    return true;
}

bool _ABFClass::ABPersonSetImageData(qint32 person, qint32 imageData)
{
    Person* p = table().as<Person>(person);
    if (!p || (imageData && !table().as<Data>(imageData)))
        return false;
    table().retain(imageData);
    table().release(p->image);
    p->image = imageData;
    touchImage(*p);
    return true;
}

qint32 _ABFClass::ABPersonCopyImageData(qint32 person)
{
    const Person* p = table().as<Person>(person);
    const QByteArray image = p ? personImage(*p) : QByteArray();
    return image.isEmpty() ? 0 : table().add(std::make_unique<Data>(image), true);
}
