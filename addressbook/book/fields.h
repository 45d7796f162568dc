#pragma once

#include "book.h"

#include <span>

// Private to the address book layer: the tables that tie a record's properties to the lines of its
// card, shared by the reader (card to record), the writer (record to card) and the loading of books.
namespace abplatform {

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
    PropertyType type;
    int field;
};

inline constexpr PropertyInfo kPersonProperties[]
    = {{kFirstNameProperty, kStringType, FName}, {kLastNameProperty, kStringType, FName},
        {kMiddleNameProperty, kStringType, FName}, {kTitleProperty, kStringType, FName},
        {kSuffixProperty, kStringType, FName}, {kNicknameProperty, kStringType, FNickname},
        {kMaidenNameProperty, kStringType, FMaiden}, {kFirstNamePhoneticProperty, kStringType, FPhFirst},
        {kLastNamePhoneticProperty, kStringType, FPhLast}, {kMiddleNamePhoneticProperty, kStringType, FPhMiddle},
        {kOrganizationProperty, kStringType, FOrg}, {kJobTitleProperty, kStringType, FTitle},
        {kBirthdayProperty, kDateType, FBday}, {kHomePageProperty, kStringType, FUrl},
        {kEmailProperty, kMultiStringType, FEmail}, {kPhoneProperty, kMultiStringType, FTel},
        {kAddressProperty, kMultiDictionaryType, FAdr}, {kAIMInstantProperty, kMultiStringType, FAim},
        {kJabberInstantProperty, kMultiStringType, FJabber}, {kMSNInstantProperty, kMultiStringType, FMsn},
        {kYahooInstantProperty, kMultiStringType, FYahoo}, {kICQInstantProperty, kMultiStringType, FIcq},
        {kNoteProperty, kStringType, FNote}, {kUIDProperty, kStringType, FUid}, {kCreationDateProperty, kDateType, -1},
        {kModificationDateProperty, kDateType, FRev}};
inline constexpr PropertyInfo kGroupProperties[]
    = {{kUIDProperty, kStringType, FUid}, {kGroupNameProperty, kStringType, FGroupName},
        {kCreationDateProperty, kDateType, -1}, {kModificationDateProperty, kDateType, FRev}};

// Fields held in one line of text, and the line's name.
struct TextField
{
    int field;
    Constant key;
    const char* name;
    bool escaped; // text, rather than a URI
};
inline constexpr TextField kTextFields[] = {{FTitle, kJobTitleProperty, "TITLE", true},
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
inline constexpr ListField kListFields[] = {{FEmail, kEmailProperty, "EMAIL", nullptr, nullptr},
    {FTel, kPhoneProperty, "TEL", nullptr, nullptr}, {FAdr, kAddressProperty, "ADR", nullptr, nullptr},
    {FAim, kAIMInstantProperty, "X-AIM", "aim", "AIM"}, {FJabber, kJabberInstantProperty, "X-JABBER", "xmpp", "Jabber"},
    {FMsn, kMSNInstantProperty, "X-MSN", "msnim", "MSN"}, {FYahoo, kYahooInstantProperty, "X-YAHOO", "ymsgr", "Yahoo"},
    {FIcq, kICQInstantProperty, "X-ICQ", "icq", "ICQ"}};

inline std::span<const PropertyInfo> properties(bool person)
{
    return person ? std::span<const PropertyInfo>(kPersonProperties) : std::span<const PropertyInfo>(kGroupProperties);
}

inline const ListField* listField(int field)
{
    for (const ListField& f : kListFields) {
        if (f.field == field)
            return &f;
    }
    return nullptr;
}

// The address parts beyond the platform's keys are kept under keys of our own, so nothing is lost.
inline constexpr const char* kPOBoxKey = "POBox";
inline constexpr const char* kExtendedKey = "Extended";

// Card to record.
bool isGroupCard(const vcard::Card& card);
qint32 newRecord(const std::shared_ptr<vcard::Card>& card, bool group, bool owned);
// Makes the properties anew from a card just written, so that every value again knows its line.
void reload(Record& r, const std::shared_ptr<vcard::Card>& card);

} // namespace abplatform
