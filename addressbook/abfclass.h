#pragma once

#include "codes.h"

#include <QString>

// The seam to the platform's address book: one operation per function of the platform, under the
// platform's names. Everything crosses it as 32-bit handles, 0 for none. A result of an operation
// with Copy or Create in its name belongs to the caller, who gives it back with _ABRelease; the
// shared book, "me" and the constants are never given back.
class _ABFClass
{
public:
    // The two string conversions.
    qint32 StringToCFString(const QString& s);
    QString CFStringToString(qint32 cfstring);

    // The constants: each a platform string.
#define AB_DECLARE(name, text) qint32 kAB##name();
    AB_CONSTANTS(AB_DECLARE)
#undef AB_DECLARE

    // The functions.
    // Raises RuntimeException where the user has no address book folder at all.
    qint32 ABGetSharedAddressBook();
    qint32 ABCopyArrayOfMatchingRecords(qint32 addressBook, qint32 search);
    bool ABSave(qint32 addressBook);
    bool ABHasUnsavedChanges(qint32 addressBook);
    qint32 ABGetMe(qint32 addressBook);
    bool ABSetMe(qint32 addressBook, qint32 moi);
    qint32 ABAddPropertiesAndTypes(qint32 addressBook, qint32 recordType, qint32 propertiesAnTypes);
    qint32 ABRemoveProperties(qint32 addressBook, qint32 recordType, qint32 properties);
    qint32 ABCopyArrayOfPropertiesForRecordType(qint32 addressBook, qint32 recordType);
    qint32 ABTypeOfProperty(qint32 addressBook, qint32 recordType, qint32 proprty);
    bool ABAddRecord(qint32 addressBook, qint32 record);
    bool ABRemoveRecord(qint32 addressBook, qint32 record);
    qint32 ABCopyArrayOfAllPeople(qint32 addressBook);
    qint32 ABCopyArrayOfAllGroups(qint32 addressBook);
    qint32 ABRecordCopyRecordType(qint32 record);
    qint32 ABRecordCopyValue(qint32 record, qint32 proprty);
    bool ABRecordSetValue(qint32 record, qint32 proprty, qint32 value);
    bool ABRecordRemoveValue(qint32 record, qint32 proprty);
    qint32 ABPersonCreate();
    qint32 ABPersonCreateWithVCardRepresentation(qint32 vCard);
    qint32 ABPersonCopyVCardRepresentation(qint32 person);
    qint32 ABPersonCreateSearchElement(qint32 proprty, qint32 label, qint32 key, qint32 value, qint32 comparison);
    qint32 ABGroupCreate();
    qint32 ABGroupCopyArrayOfAllMembers(qint32 group);
    bool ABGroupAddMember(qint32 group, qint32 personToAdd);
    bool ABGroupRemoveMember(qint32 group, qint32 personToRemove);
    qint32 ABGroupCopyArrayOfAllSubgroups(qint32 group);
    bool ABGroupAddGroup(qint32 group, qint32 groupToAdd);
    bool ABGroupRemoveGroup(qint32 group, qint32 groupToRemove);
    qint32 ABSearchElementCreateWithConjunction(qint32 conjunction, qint32 childrenSearchElement);
    qint32 ABMultiValueCount(qint32 multiValue);
    qint32 ABMultiValueCopyValueAtIndex(qint32 multiValue, qint32 index);
    qint32 ABMultiValueCopyLabelAtIndex(qint32 multiValue, qint32 index);
    qint32 ABMultiValueCreateMutable();
    bool ABMultiValueAdd(qint32 multiValue, qint32 value, qint32 label, qint32& outIdentifier);
    bool ABMultiValueInsert(qint32 multiValue, qint32 value, qint32 label, qint32 index, qint32& outIdentifier);
    bool ABMultiValueRemove(qint32 multiValue, qint32 index);
    bool ABMultiValueReplaceValue(qint32 multiValue, qint32 value, qint32 index);
    qint32 ABMultiValueCreateMutableCopy(qint32 multiValue);
    qint32 ABCopyLocalizedPropertyOrLabel(qint32 labelOrProperty);
    qint32 ABCopyRecordForUniqueId(qint32 addressBook, qint32 uniqueId);
    qint32 ABRecordCopyUniqueId(qint32 record);
    qint32 ABPersonCopyParentGroups(qint32 person);
    bool ABSearchElementMatchesRecord(qint32 searchElement, qint32 record);
    qint32 ABMultiValueCreate();
    qint32 ABMultiValueCopyPrimaryIdentifier(qint32 multiValue);
    qint32 ABMultiValueIndexForIdentifier(qint32 multiValue, qint32 identifier);
    qint32 ABMultiValueCopyIdentifierAtIndex(qint32 multiValue, qint32 index);
    qint32 ABMultiValuePropertyType(qint32 multiValue);
    qint32 ABMultiValueCreateCopy(qint32 multiValue);
    bool ABMultiValueReplaceLabel(qint32 multiValue, qint32 label, qint32 index);
    bool ABMultiValueSetPrimaryIdentifier(qint32 multiValue, qint32 identifier);
    bool ABPersonSetImageData(qint32 person, qint32 imageData);
    qint32 ABPersonCopyImageData(qint32 person);
};
