#include "addressbookdata.h"

#include "abcffunctions.h"
#include "abfclass.h"
#include "exceptions.h"
#include "text.h"

using namespace _ABCFFunctions;

namespace {

bool same(const QString& a, const char* b)
{
    return asciiLower(a) == asciiLower(QString::fromLatin1(b));
}

QString keyText(qint32 (_ABFClass::*constant)())
{
    return _ABC().CFStringToString((_ABC().*constant)());
}

} // namespace

AddressBookData::AddressBookData(qint32 recordRef, qint32 bookRef, const QString& property, const QString& name)
    : recref(recordRef)
    , abref(bookRef)
    , mProperty(property)
    , PropertyName(name)
{
    _ABRetain(recref); // a view that outlives its record's object still reads the record
}

AddressBookData::AddressBookData(const Variant& value)
    : InternalOLEValue(value)
{
}

AddressBookData::AddressBookData(AddressBookData&& other) noexcept
    : recref(std::exchange(other.recref, 0))
    , abref(other.abref)
    , mProperty(std::move(other.mProperty))
    , valref(std::exchange(other.valref, 0))
    , PropertyName(std::move(other.PropertyName))
    , IsMutable(other.IsMutable)
    , InternalOLEValue(std::move(other.InternalOLEValue))
    , mCachedType(other.mCachedType)
{
}

AddressBookData::~AddressBookData()
{
    if (valref)
        _ABRelease(valref);
    if (recref)
        _ABRelease(recref);
}

void AddressBookData::LoadValueRef()
{
    if (valref)
        return;
    const qint32 key = _ABC().StringToCFString(mProperty);
    valref = _ABC().ABRecordCopyValue(recref, key);
    _ABRelease(key);
}

qint32 AddressBookData::PropertyType()
{
    if (mCachedType == 0) {
        const qint32 key = _ABC().StringToCFString(mProperty);
        LoadValueRef();
        const qint32 recordType = _ABC().ABRecordCopyRecordType(recref);
        mCachedType = _ABC().ABTypeOfProperty(abref, recordType, key);
        _ABRelease(recordType);
        _ABRelease(key);
    }
    return mCachedType;
}

qint32 AddressBookData::Count()
{
    LoadValueRef();
    return PropertyType() >= kMultiStringType ? _ABC().ABMultiValueCount(valref) : 1;
}

void AddressBookData::boundTest(qint32 index)
{
    if (index >= Count())
        throw OutOfBoundsException();
}

Variant AddressBookData::Value(qint32 index)
{
    boundTest(index);
    LoadValueRef();
    switch (PropertyType()) {
    case kErrorType:
        return Variant();
    case kStringType:
        return Variant(valref ? _ABC().CFStringToString(valref) : QString());
    case kIntegerType:
    case kRealType:
        return _ABNumberGetValue(valref);
    case kDateType:
        return _ABCFDateToDate(valref);
    case kMultiStringType:
    case kMultiDictionaryType:
        return GetMultiValue(index);
    default:
        throw UnsupportedFormatException();
    }
}

Variant AddressBookData::GetMultiValue(qint32 index)
{
    boundTest(index);
    const qint32 value = _ABC().ABMultiValueCopyValueAtIndex(valref, index);
    if (!value)
        return Variant();
    Variant v = _ABCFTypeToVariant(value);
    _ABRelease(value);
    return v;
}

QString AddressBookData::Text()
{
    const Variant v = Value(0);
    if (v.VarType() != Variant::TypeString)
        throw UnsupportedFormatException();
    return v.StringValue();
}

int AddressBookData::Operator_Compare(const QString& s)
{
    const int c = asciiLower(Text()).compare(asciiLower(s));
    return c < 0 ? -1 : c > 0 ? 1 : 0;
}

QString AddressBookData::ActualLabel(qint32 index)
{
    boundTest(index);
    const qint32 label = _ABC().ABMultiValueCopyLabelAtIndex(valref, index);
    const QString text = _ABC().CFStringToString(label);
    _ABRelease(label);
    return text;
}

QString AddressBookData::LocalizedLabel(qint32 index)
{
    boundTest(index);
    const qint32 label = _ABC().ABMultiValueCopyLabelAtIndex(valref, index);
    const qint32 shown = _ABC().ABCopyLocalizedPropertyOrLabel(label);
    const QString text = _ABC().CFStringToString(shown);
    _ABRelease(shown);
    _ABRelease(label);
    return text;
}

QString AddressBookData::Label(qint32 index)
{
    boundTest(index);
    LoadValueRef();
    const qint32 label = _ABC().ABMultiValueCopyLabelAtIndex(valref, index);
    _ABFClass& c = _ABC();
    // The phone labels stand for every property.
    const std::pair<qint32, const char*> known[]
        = {{c.kABPhoneHomeLabel(), "Home"}, {c.kABPhoneHomeFAXLabel(), "Home Fax"}, {c.kABPhoneMainLabel(), "Main"},
            {c.kABPhoneMobileLabel(), "Mobile"}, {c.kABOtherLabel(), "Other"}, {c.kABPhonePagerLabel(), "Pager"},
            {c.kABPhoneWorkLabel(), "Work"}, {c.kABPhoneWorkFAXLabel(), "Work Fax"}};
    QString text;
    for (const auto& [constant, name] : known) {
        if (_ABEqual(label, constant)) {
            text = QString::fromLatin1(name);
            break;
        }
    }
    _ABRelease(label);
    return text;
}

qint32 AddressBookData::_ref()
{
    LoadValueRef();
    return valref;
}

void AddressBookData::MakeMutable()
{
    if (IsMutable)
        return;
    LoadValueRef();
    // The old handle is not given back.
    valref = valref == 0 ? _ABC().ABMultiValueCreateMutable() : _ABC().ABMultiValueCreateMutableCopy(valref);
    IsMutable = true;
}

void AddressBookData::SetMultiValue(qint32 index, const Variant& value)
{
    MakeMutable();
    if (!(index < Count() && Count() >= 0))
        throw OutOfBoundsException();
    const qint32 platformValue = _ABVariantToCFType(value);
    _ABC().ABMultiValueReplaceValue(valref, platformValue, index);
    _ABRelease(platformValue);
}

void AddressBookData::setValue(qint32 index, const Variant& value)
{
    LoadValueRef();
    const qint32 type = PropertyType();
    if (type == kMultiStringType || type == kMultiDictionaryType) {
        SetMultiValue(index, value);
    } else {
        _ABRelease(valref);
        valref = _ABVariantToCFType(value);
    }
    _ABC().ABRecordSetValue(recref, 0, valref);
}

qint32 AddressBookData::LabelForTextLabel(const QString& label, bool& known)
{
    known = true;
    _ABFClass& c = _ABC();
    if (same(label, "Other"))
        return c.kABOtherLabel();
    const bool work = same(label, "Work"), home = same(label, "Home");
    auto pair = [&](qint32 w, qint32 h) { return work ? w : home ? h : 0; };
    if (same(PropertyName, "Addresses"))
        return pair(c.kABAddressWorkLabel(), c.kABAddressHomeLabel());
    if (same(PropertyName, "AIM Screennames"))
        return pair(c.kABAIMWorkLabel(), c.kABAIMHomeLabel());
    if (same(PropertyName, "Email Addresses"))
        return pair(c.kABEmailWorkLabel(), c.kABEmailHomeLabel());
    if (same(PropertyName, "ICQ Numbers"))
        return pair(c.kABAddressWorkLabel(), c.kABAddressHomeLabel());
    if (same(PropertyName, "Jabber Screennames"))
        return pair(c.kABJabberWorkLabel(), c.kABJabberHomeLabel());
    if (same(PropertyName, "MSN Screennames"))
        return pair(c.kABMSNWorkLabel(), c.kABMSNHomeLabel());
    if (same(PropertyName, "Yahoo Screennames"))
        return pair(c.kABYahooWorkLabel(), c.kABYahooHomeLabel());
    if (same(PropertyName, "Phone Numbers")) {
        if (work || home)
            return pair(c.kABPhoneWorkLabel(), c.kABPhoneHomeLabel());
        const std::pair<const char*, qint32> more[] = {{"Home Fax", c.kABPhoneHomeFAXLabel()},
            {"Work Fax", c.kABPhoneWorkFAXLabel()}, {"Main", c.kABPhoneMainLabel()},
            {"Mobile", c.kABPhoneMobileLabel()}, {"Pager", c.kABPhonePagerLabel()}};
        for (const auto& [name, constant] : more) {
            if (same(label, name))
                return constant;
        }
        return 0;
    }
    known = false;
    return 0;
}

void AddressBookData::addWithLabel(qint32 index, const QString& label, const Variant& value, bool insert)
{
    MakeMutable();
    Count();
    const qint32 platformValue = _ABVariantToCFType(value);
    bool known = false;
    const qint32 platformLabel = LabelForTextLabel(label, known);
    if (!platformLabel) {
        _ABRelease(platformValue);
        throw RuntimeException(QStringLiteral("Unsupported label. Please use either \"Home\", \"Work\", or \"Other\""));
    }
    qint32 identifier = 0;
    const bool added = insert ? _ABC().ABMultiValueInsert(valref, platformValue, platformLabel, index, identifier)
                              : _ABC().ABMultiValueAdd(valref, platformValue, platformLabel, identifier);
    if (added) {
        const qint32 key = _ABC().StringToCFString(mProperty);
        _ABC().ABRecordSetValue(recref, key, valref);
        _ABRelease(key);
    }
    _ABRelease(platformValue);
}

void AddressBookData::Append(const QString& label, const Variant& value)
{
    addWithLabel(0, label, value, false);
}

void AddressBookData::Insert(qint32 index, const QString& label, const Variant& value)
{
    const qint32 count = Count();
    if (index < 0 || index > count)
        throw OutOfBoundsException();
    if (index == count)
        Append(label, value);
    else
        addWithLabel(index, label, value, true);
}

void AddressBookData::Remove(qint32 index)
{
    MakeMutable();
    if (!(index < Count() && index >= 0))
        throw OutOfBoundsException();
    if (_ABC().ABMultiValueRemove(valref, index)) {
        const qint32 key = _ABC().StringToCFString(mProperty);
        _ABC().ABRecordSetValue(recref, key, valref);
        _ABRelease(key);
    }
}

AddressBookAddress::AddressBookAddress(qint32 dictionaryRef)
    : ref(dictionaryRef)
{
}

AddressBookAddress::AddressBookAddress()
    : ref(_ABDictionaryCreateMutable())
    , NeedsToRelease(true)
    , isMutable(true)
{
}

AddressBookAddress::~AddressBookAddress()
{
    if (NeedsToRelease)
        _ABRelease(ref);
}

Variant AddressBookAddress::Value(const QString& key)
{
    return _ABDictionaryGetValue(ref, key);
}

void AddressBookAddress::setValue(const QString& key, const Variant& value)
{
    if (!isMutable) {
        const qint32 copy = _ABDictionaryMutableCopy(ref);
        _ABRelease(ref);
        ref = copy;
        isMutable = true;
    }
    // Neither the key nor the value is given back here.
    _ABMDictionarySetValue(ref, _ABC().StringToCFString(key), _ABVariantToCFType(value));
}

QString AddressBookAddress::State()
{
    return Value(keyText(&_ABFClass::kABAddressStateKey)).StringValue();
}
QString AddressBookAddress::StreetAddress()
{
    return Value(keyText(&_ABFClass::kABAddressStreetKey)).StringValue();
}
QString AddressBookAddress::City()
{
    return Value(keyText(&_ABFClass::kABAddressCityKey)).StringValue();
}
QString AddressBookAddress::Zip()
{
    return Value(keyText(&_ABFClass::kABAddressZIPKey)).StringValue();
}
QString AddressBookAddress::Country()
{
    return Value(keyText(&_ABFClass::kABAddressCountryKey)).StringValue();
}
QString AddressBookAddress::CountryCode()
{
    return Value(keyText(&_ABFClass::kABAddressCountryCodeKey)).StringValue();
}
void AddressBookAddress::setState(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressStateKey), Variant(v));
}
void AddressBookAddress::setStreetAddress(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressStreetKey), Variant(v));
}
void AddressBookAddress::setCity(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressCityKey), Variant(v));
}
void AddressBookAddress::setZip(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressZIPKey), Variant(v));
}
void AddressBookAddress::setCountry(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressCountryKey), Variant(v));
}
void AddressBookAddress::setCountryCode(const QString& v)
{
    setValue(keyText(&_ABFClass::kABAddressCountryCodeKey), Variant(v));
}
