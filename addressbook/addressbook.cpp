#include "addressbook.h"

#include "abcffunctions.h"
#include "abfclass.h"
#include "exceptions.h"

using namespace _ABCFFunctions;

namespace {

// A record held for as long as its object lives, so that one that leaves the book when its card changes keeps
// answering.
template <class T> std::shared_ptr<T> held(qint32 ref, qint32 abref)
{
    auto r = std::make_shared<T>(ref, abref);
    _ABRetain(ref);
    r->needToRelease = true;
    return r;
}

template <class T> QList<std::shared_ptr<T>> recordsOf(qint32 list, qint32 abref)
{
    QList<std::shared_ptr<T>> out;
    const qint32 count = _ABArrayGetCount(list);
    out.reserve(count);
    for (qint32 i = 0; i < count; ++i) {
        const qint32 entry = _ABArrayGetValue(list, i);
        if (entry)
            out.append(held<T>(entry, abref));
        BackgroundTask();
    }
    _ABRelease(list);
    return out;
}

} // namespace

AddressBook::AddressBook()
{
    try {
        abref = _ABC().ABGetSharedAddressBook();
    } catch (const RuntimeException&) {
        throw RuntimeException(QStringLiteral("AddressBook is not supported on Non-Mac OS X 10.2+ Systems"));
    }
}

std::shared_ptr<AddressBookContact> AddressBook::CurrentUser()
{
    const qint32 me = _ABC().ABGetMe(abref);
    return me ? held<AddressBookContact>(me, abref) : nullptr;
}

void AddressBook::setCurrentUser(const AddressBookContact& contact)
{
    _ABC().ABSetMe(abref, contact._ref());
}
bool AddressBook::Save()
{
    return _ABC().ABSave(abref);
}
bool AddressBook::HasUnsavedChanges()
{
    return _ABC().ABHasUnsavedChanges(abref);
}
void AddressBook::Add(const AddressBookRecord& record)
{
    _ABC().ABAddRecord(abref, record._ref());
}
void AddressBook::Remove(const AddressBookRecord& record)
{
    _ABC().ABRemoveRecord(abref, record._ref());
}

QList<std::shared_ptr<AddressBookContact>> AddressBook::Contacts()
{
    const qint32 people = _ABC().ABCopyArrayOfAllPeople(abref);
    return people ? recordsOf<AddressBookContact>(people, abref) : QList<std::shared_ptr<AddressBookContact>>();
}

QList<std::shared_ptr<AddressBookGroup>> AddressBook::Groups()
{
    const qint32 groups = _ABC().ABCopyArrayOfAllGroups(abref);
    return groups ? recordsOf<AddressBookGroup>(groups, abref) : QList<std::shared_ptr<AddressBookGroup>>();
}

QList<std::shared_ptr<AddressBookRecord>> AddressBook::Find(const QString& text)
{
    _ABFClass& c = _ABC();
    const qint32 properties = c.ABCopyArrayOfPropertiesForRecordType(abref, c.kABPersonRecordType());
    const qint32 query = c.StringToCFString(text);
    QList<qint32> elements;
    for (qint32 i = 0; i < _ABArrayGetCount(properties); ++i) {
        elements.append(c.ABPersonCreateSearchElement(
            _ABArrayGetValue(properties, i), 0, 0, query, kContainsSubStringCaseInsensitive));
        BackgroundTask();
    }
    _ABRelease(properties);
    _ABRelease(query);
    const qint32 all = _ABArrayCreate(elements);
    const qint32 search = c.ABSearchElementCreateWithConjunction(kSearchOr, all);
    _ABRelease(all);
    // The elements, the combined search and the matches are not given back.
    const qint32 matches = c.ABCopyArrayOfMatchingRecords(abref, search);
    QList<std::shared_ptr<AddressBookRecord>> found;
    for (qint32 i = 0; i < _ABArrayGetCount(matches); ++i) {
        const qint32 record = _ABArrayGetValue(matches, i);
        const qint32 type = c.ABRecordCopyRecordType(record);
        if (_ABEqual(type, c.kABPersonRecordType()))
            found.append(held<AddressBookContact>(record, abref));
        else
            found.append(held<AddressBookGroup>(record, abref));
        _ABRelease(type);
        BackgroundTask();
    }
    return found;
}

AddressBookRecord::AddressBookRecord(qint32 recordRef, qint32 bookRef)
    : ref(recordRef)
    , abref(bookRef)
{
}

AddressBookRecord::~AddressBookRecord()
{
    if (needToRelease)
        _ABRelease(ref);
}

AddressBookData AddressBookRecord::property(qint32 key, const char* name)
{
    return AddressBookData(ref, abref, _ABC().CFStringToString(key), QString::fromLatin1(name));
}

AddressBookData AddressBookRecord::UniqueID()
{
    return property(_ABC().kABUIDProperty(), "Unique ID");
}

Variant AddressBookRecord::Value(const QString& name)
{
    _ABFClass& c = _ABC();
    const qint32 key = c.StringToCFString(name);
    const qint32 value = c.ABRecordCopyValue(ref, key);
    const qint32 recordType = c.ABRecordCopyRecordType(ref);
    const qint32 type = c.ABTypeOfProperty(abref, recordType, key);
    _ABRelease(recordType);
    _ABRelease(key);
    if (!value)
        return Variant();
    Variant result;
    switch (type) {
    case kErrorType:
        break;
    case kStringType:
        result = Variant(c.CFStringToString(value));
        break;
    case kIntegerType:
    case kRealType:
        result = _ABNumberGetValue(value);
        break;
    case kDateType:
        result = _ABCFDateToDate(value);
        break;
    case kMultiStringType: // the list itself stands as the record of the view, and stays held
        return Variant(
            std::shared_ptr<Object>(std::make_shared<AddressBookData>(value, abref, name, QStringLiteral("Property"))));
    default:
        _ABRelease(value);
        throw UnsupportedFormatException();
    }
    _ABRelease(value);
    return result;
}

Variant AddressBookRecord::_InternalValue(qint32 property)
{
    return Value(_ABC().CFStringToString(property));
}

void AddressBookRecord::setInternalValue(qint32 property, const Variant& value)
{
    setValue(_ABC().CFStringToString(property), value);
}

void AddressBookRecord::setValue(const QString& name, const Variant& value)
{
    qint32 platformValue = 0;
    qint32 propertyType = kErrorType;
    switch (value.VarType()) {
    case Variant::TypeInteger:
        platformValue = _ABNumberCreate(value.IntegerValue());
        propertyType = kIntegerType;
        break;
    case Variant::TypeDouble:
        platformValue = _ABNumberCreate(value.DoubleValue());
        propertyType = kRealType;
        break;
    case Variant::TypeDate:
        platformValue = _ABDateToCFDate(value.DateValue());
        propertyType = kDateType;
        break;
    case Variant::TypeString:
        platformValue = _ABC().StringToCFString(value.StringValue());
        propertyType = kStringType;
        break;
    case Variant::TypeNil:
        if (PropertyExists(name))
            RemoveProperty(name);
        return;
    default:
        throw UnsupportedFormatException();
    }
    const qint32 key = _ABC().StringToCFString(name);
    if (!_ABC().ABRecordSetValue(ref, key, platformValue) && !PropertyExists(name)
        && DefineProperty(name, propertyType))
        _ABC().ABRecordSetValue(ref, key, platformValue);
    _ABRelease(key);
    _ABRelease(platformValue);
}

bool AddressBookRecord::PropertyExists(const QString& name)
{
    const qint32 key = _ABC().StringToCFString(name);
    const qint32 recordType = _ABC().ABRecordCopyRecordType(ref);
    const qint32 type = _ABC().ABTypeOfProperty(abref, recordType, key);
    _ABRelease(recordType);
    _ABRelease(key);
    return type != kErrorType;
}

bool AddressBookRecord::DefineProperty(const QString& name, qint32 type)
{
    const qint32 properties = _ABDictionaryCreateMutable();
    const qint32 key = _ABC().StringToCFString(name);
    const qint32 number = _ABNumberCreate(type);
    _ABMDictionarySetValue(properties, key, number);
    const qint32 recordType = _ABC().ABRecordCopyRecordType(ref);
    const bool added = _ABC().ABAddPropertiesAndTypes(abref, recordType, properties) == 1;
    _ABRelease(recordType);
    _ABRelease(number);
    _ABRelease(key);
    _ABRelease(properties);
    return added;
}

void AddressBookRecord::RemoveProperty(const QString& name)
{
    const qint32 key = _ABC().StringToCFString(name);
    const qint32 keys = _ABArrayCreate({key});
    const qint32 recordType = _ABC().ABRecordCopyRecordType(ref);
    _ABC().ABRemoveProperties(abref, recordType, keys); // nothing removed only matters under a debugger
    _ABRelease(recordType);
    _ABRelease(keys);
    _ABRelease(key);
}

void AddressBookRecord::RemoveValue(const QString& name)
{
    const qint32 key = _ABC().StringToCFString(name);
    _ABC().ABRecordRemoveValue(ref, key);
    _ABRelease(key);
}

AddressBookGroup::AddressBookGroup()
{
    needToRelease = true;
    ref = _ABC().ABGroupCreate();
}

AddressBookData AddressBookGroup::Name()
{
    return property(_ABC().kABGroupNameProperty(), "Name");
}
void AddressBookGroup::setName(const QString& name)
{
    setInternalValue(_ABC().kABGroupNameProperty(), Variant(name));
}

QList<std::shared_ptr<AddressBookGroup>> AddressBookGroup::Groups()
{
    return recordsOf<AddressBookGroup>(_ABC().ABGroupCopyArrayOfAllSubgroups(ref), abref);
}

QList<std::shared_ptr<AddressBookContact>> AddressBookGroup::Contacts()
{
    return recordsOf<AddressBookContact>(_ABC().ABGroupCopyArrayOfAllMembers(ref), abref);
}

void AddressBookGroup::Add(const AddressBookRecord& record)
{
    if (dynamic_cast<const AddressBookContact*>(&record))
        _ABC().ABGroupAddMember(ref, record._ref());
    else if (dynamic_cast<const AddressBookGroup*>(&record))
        _ABC().ABGroupAddGroup(ref, record._ref());
}

void AddressBookGroup::Remove(const AddressBookRecord& record)
{
    if (dynamic_cast<const AddressBookContact*>(&record))
        _ABC().ABGroupRemoveMember(ref, record._ref());
    else if (dynamic_cast<const AddressBookGroup*>(&record))
        _ABC().ABGroupRemoveGroup(ref, record._ref());
}

AddressBookContact::AddressBookContact()
{
    needToRelease = true;
    abref = _ABC().ABGetSharedAddressBook();
    ref = _ABC().ABPersonCreate();
}

AddressBookContact::AddressBookContact(const QString& vcard)
{
    abref = _ABC().ABGetSharedAddressBook();
    const qint32 data = _ABStringToCFData(vcard);
    if (!data)
        throw NilObjectException();
    ref = _ABC().ABPersonCreateWithVCardRepresentation(data);
    _ABRelease(data);
}

QString AddressBookContact::VCard()
{
    const qint32 data = _ABC().ABPersonCopyVCardRepresentation(ref);
    const QString text = _ABCFDataGetString(data);
    _ABRelease(data);
    return text;
}

// clang-format off
AddressBookData AddressBookContact::FirstName() { return property(_ABC().kABFirstNameProperty(), "First Name"); }
AddressBookData AddressBookContact::MiddleName() { return property(_ABC().kABMiddleNameProperty(), "Middle Name"); }
AddressBookData AddressBookContact::LastName() { return property(_ABC().kABLastNameProperty(), "Last Name"); }
AddressBookData AddressBookContact::CompanyName() { return property(_ABC().kABOrganizationProperty(), "Company"); }
AddressBookData AddressBookContact::JobTitle() { return property(_ABC().kABJobTitleProperty(), "Job Title"); }
AddressBookData AddressBookContact::Birthday() { return property(_ABC().kABBirthdayProperty(), "Birthday"); }
AddressBookData AddressBookContact::PhoneNumbers() { return property(_ABC().kABPhoneProperty(), "Phone Numbers"); }
AddressBookData AddressBookContact::Homepage() { return property(_ABC().kABHomePageProperty(), "Homepage"); }
AddressBookData AddressBookContact::EmailAddresses() { return property(_ABC().kABEmailProperty(), "Email Addresses"); }
AddressBookData AddressBookContact::AIMScreenNames() { return property(_ABC().kABAIMInstantProperty(), "AIM Screennames"); }
AddressBookData AddressBookContact::JabberScreenNames() { return property(_ABC().kABJabberInstantProperty(), "Jabber Screennames"); }
AddressBookData AddressBookContact::MSNScreenNames() { return property(_ABC().kABMSNInstantProperty(), "MSN Screennames"); }
AddressBookData AddressBookContact::YahooScreenNames() { return property(_ABC().kABYahooInstantProperty(), "Yahoo Screennames"); }
AddressBookData AddressBookContact::ICQNumbers() { return property(_ABC().kABICQInstantProperty(), "ICQ Numbers"); }
AddressBookData AddressBookContact::Note() { return property(_ABC().kABNoteProperty(), "Note"); }
AddressBookData AddressBookContact::Addresses() { return property(_ABC().kABAddressProperty(), "Addresses"); }

void AddressBookContact::setJobTitle(const QString& v) { setInternalValue(_ABC().kABJobTitleProperty(), Variant(v)); }
void AddressBookContact::setFirstName(const QString& v) { setInternalValue(_ABC().kABFirstNameProperty(), Variant(v)); }
void AddressBookContact::setCompanyName(const QString& v) { setInternalValue(_ABC().kABOrganizationProperty(), Variant(v)); }
void AddressBookContact::setLastName(const QString& v) { setInternalValue(_ABC().kABLastNameProperty(), Variant(v)); }
void AddressBookContact::setMiddleName(const QString& v) { setInternalValue(_ABC().kABMiddleNameProperty(), Variant(v)); }
void AddressBookContact::setBirthday(const Date& v) { setInternalValue(_ABC().kABBirthdayProperty(), Variant(v)); }
void AddressBookContact::setHomepage(const QString& v) { setInternalValue(_ABC().kABHomePageProperty(), Variant(v)); }
void AddressBookContact::setNote(const QString& v) { setInternalValue(_ABC().kABNoteProperty(), Variant(v)); }
// clang-format on
