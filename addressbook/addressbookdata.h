#pragma once

#include "variant.h"

#include <QString>

// One property of one address book entry: a single value or a labelled list. A short-lived view:
// the value is fetched on first need and kept.
class AddressBookData : public Object
{
public:
    AddressBookData(qint32 recordRef, qint32 bookRef, const QString& property, const QString& name);
    // Keeps the value only; nothing in the program makes one this way.
    explicit AddressBookData(const Variant& value);
    AddressBookData(AddressBookData&& other) noexcept;
    AddressBookData(const AddressBookData&) = delete;
    AddressBookData& operator=(const AddressBookData&) = delete;
    ~AddressBookData() override;

    qint32 Count();
    // OutOfBoundsException unless index is below Count.
    Variant Value(qint32 index);
    // "Home", "Work", "Mobile"... from the platform's label; empty when it is none of those.
    QString Label(qint32 index);
    // The first value, which must be a String (UnsupportedFormatException otherwise).
    QString Text();
    Variant GetMultiValue(qint32 index);
    QString Operator_Convert() { return Text(); }
    explicit operator QString() { return Text(); }
    // Case-insensitive: -1, 0 or 1.
    int Operator_Compare(const QString& s);
    QString ActualLabel(qint32 index);
    QString Name() const { return PropertyName; }
    QString LocalizedLabel(qint32 index);
    void SetMultiValue(qint32 index, const Variant& value);
    void setValue(qint32 index, const Variant& value);
    QString Operator_Add(const QString& s) { return Text() + s; }
    QString Operator_AddRight(const QString& s) { return s + Text(); }
    QString operator+(const QString& s) { return Operator_Add(s); }
    qint32 _ref();
    // label is "Home", "Work" or "Other" (and the phone labels for phone numbers).
    void Append(const QString& label, const Variant& value);
    void Remove(qint32 index);
    void Insert(qint32 index, const QString& label, const Variant& value);

    void LoadValueRef();
    qint32 PropertyType();
    void MakeMutable();
    qint32 LabelForTextLabel(const QString& label, bool& known);

    qint32 recref = 0;
    qint32 abref = 0;
    QString mProperty;
    qint32 valref = 0;
    QString PropertyName;
    bool IsMutable = false;
    Variant InternalOLEValue;
    qint32 mCachedType = 0;

private:
    void boundTest(qint32 index);
    void addWithLabel(qint32 index, const QString& label, const Variant& value, bool insert);
};

inline QString operator+(const QString& s, AddressBookData& d)
{
    return d.Operator_AddRight(s);
}
inline QString operator+(const QString& s, AddressBookData&& d)
{
    return d.Operator_AddRight(s);
}

// One postal address: a platform dictionary, copied on its first change.
class AddressBookAddress : public Object
{
public:
    explicit AddressBookAddress(qint32 dictionaryRef);
    AddressBookAddress();
    AddressBookAddress(const AddressBookAddress&) = delete;
    AddressBookAddress& operator=(const AddressBookAddress&) = delete;
    ~AddressBookAddress() override;

    Variant Value(const QString& key);
    void setValue(const QString& key, const Variant& value);
    QString State();
    QString StreetAddress();
    QString City();
    QString Zip();
    QString Country();
    QString CountryCode();
    void setState(const QString& v);
    void setCity(const QString& v);
    void setCountry(const QString& v);
    void setCountryCode(const QString& v);
    void setStreetAddress(const QString& v);
    void setZip(const QString& v);
    qint32 _ref() const { return ref; }

    qint32 ref = 0;
    bool NeedsToRelease = false;
    bool isMutable = false;
};
