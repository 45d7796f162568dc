#pragma once

#include "addressbookdata.h"

#include <QList>
#include <memory>

class AddressBookContact;
class AddressBookGroup;
class AddressBookRecord;

// The system address book. Made through System::AddressBook(); where the user has no address book
// the constructor raises RuntimeException.
class AddressBook : public Object
{
public:
    AddressBook();
    std::shared_ptr<AddressBookContact> CurrentUser();
    bool Save();
    bool HasUnsavedChanges();
    QList<std::shared_ptr<AddressBookContact>> Contacts();
    QList<std::shared_ptr<AddressBookGroup>> Groups();
    // Persons with the text in any property, in any case.
    QList<std::shared_ptr<AddressBookRecord>> Find(const QString& text);
    void setCurrentUser(const AddressBookContact& contact);
    void Add(const AddressBookRecord& record);
    void Remove(const AddressBookRecord& record);

    qint32 abref = 0;
};

// An entry of the book; its properties are read through AddressBookData.
class AddressBookRecord : public Object
{
public:
    AddressBookRecord(qint32 recordRef, qint32 bookRef);
    AddressBookRecord() = default;
    AddressBookRecord(const AddressBookRecord&) = delete;
    AddressBookRecord& operator=(const AddressBookRecord&) = delete;
    ~AddressBookRecord() override;

    AddressBookData UniqueID();
    // nil, a String, a Double (for numbers of either kind), a Date, or an AddressBookData for a list.
    Variant Value(const QString& name);
    Variant _InternalValue(qint32 property);
    // nil removes a property that the program defined; an unknown property is defined on first use.
    void setValue(const QString& name, const Variant& value);
    void setInternalValue(qint32 property, const Variant& value);
    qint32 _ref() const { return ref; }
    void RemoveValue(const QString& name);
    bool DefineProperty(const QString& name, qint32 type);
    bool PropertyExists(const QString& name);
    void RemoveProperty(const QString& name);

    qint32 ref = 0;
    bool needToRelease = false;
    qint32 abref = 0;

protected:
    AddressBookData property(qint32 key, const char* name);
};

class AddressBookGroup : public AddressBookRecord
{
public:
    using AddressBookRecord::AddressBookRecord;
    // A new group of no book, until AddressBook::Add.
    AddressBookGroup();

    AddressBookData Name();
    QList<std::shared_ptr<AddressBookGroup>> Groups();
    QList<std::shared_ptr<AddressBookContact>> Contacts();
    void Add(const AddressBookRecord& record);
    void Remove(const AddressBookRecord& record);
    void setName(const QString& name);
};

class AddressBookContact : public AddressBookRecord
{
public:
    using AddressBookRecord::AddressBookRecord;
    // A new person of no book, until AddressBook::Add.
    AddressBookContact();
    // A person read from the text of a vCard; NilObjectException when there is no data.
    explicit AddressBookContact(const QString& vcard);

    AddressBookData FirstName();
    AddressBookData MiddleName();
    AddressBookData LastName();
    AddressBookData CompanyName();
    AddressBookData JobTitle();
    void setJobTitle(const QString& v);
    void setFirstName(const QString& v);
    AddressBookData Birthday();
    void setCompanyName(const QString& v);
    QString VCard();
    AddressBookData PhoneNumbers();
    void setLastName(const QString& v);
    void setMiddleName(const QString& v);
    void setBirthday(const Date& v);
    void setHomepage(const QString& v);
    AddressBookData Homepage();
    AddressBookData EmailAddresses();
    AddressBookData AIMScreenNames();
    AddressBookData JabberScreenNames();
    AddressBookData MSNScreenNames();
    AddressBookData YahooScreenNames();
    AddressBookData ICQNumbers();
    AddressBookData Note();
    void setNote(const QString& v);
    AddressBookData Addresses();
};
