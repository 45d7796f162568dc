#pragma once

// The codes and constants that cross the bridge, each family written once.

// Property types, as ABTypeOfProperty gives them. From kMultiStringType up a property is a list.
enum PropertyType : int {
    kErrorType = 0,
    kStringType = 1,
    kIntegerType = 2,
    kRealType = 3,
    kDateType = 4,
    kArrayType = 5,
    kDictionaryType = 6,
    kDataType = 7,
    kMultiStringType = 257,
    kMultiDictionaryType = 262,
};

// The comparisons of a search element; the second group is the negation of a first.
enum SearchComparison : int {
    kEqual = 0,
    kNotEqual = 1,
    kLessThan = 2,
    kLessThanOrEqual = 3,
    kGreaterThan = 4,
    kGreaterThanOrEqual = 5,
    kEqualCaseInsensitive = 6,
    kContainsSubString = 7,
    kContainsSubStringCaseInsensitive = 8,
    kPrefixMatch = 9,
    kPrefixMatchCaseInsensitive = 10,
    kBitsInBitFieldMatch = 11,
    kDoesNotContainSubString = 12,
    kDoesNotContainSubStringCaseInsensitive = 13,
    kNotEqualCaseInsensitive = 14,
    kSuffixMatch = 15,
    kSuffixMatchCaseInsensitive = 16,
};

enum SearchConjunction : int { kSearchAnd = 0, kSearchOr = 1 };

// The platform's constants in the bridge's order, each with its text. Labels of one meaning share one
// text, so that a work e-mail label and a work phone label compare equal. X(name, text) gives the
// constant kAB<name> of the bridge and k<name> of the platform.
#define AB_CONSTANTS(X)                                                                                                \
    X(UIDProperty, "UID")                                                                                              \
    X(FirstNameProperty, "First")                                                                                      \
    X(LastNameProperty, "Last")                                                                                        \
    X(BirthdayProperty, "Birthday")                                                                                    \
    X(OrganizationProperty, "Organization")                                                                            \
    X(JobTitleProperty, "JobTitle")                                                                                    \
    X(HomePageProperty, "HomePage")                                                                                    \
    X(EmailProperty, "Email")                                                                                          \
    X(EmailWorkLabel, "Work")                                                                                          \
    X(EmailHomeLabel, "Home")                                                                                          \
    X(AddressProperty, "Address")                                                                                      \
    X(AddressStreetKey, "Street")                                                                                      \
    X(AddressCityKey, "City")                                                                                          \
    X(AddressStateKey, "State")                                                                                        \
    X(AddressZIPKey, "ZIP")                                                                                            \
    X(AddressCountryKey, "Country")                                                                                    \
    X(AddressCountryCodeKey, "CountryCode")                                                                            \
    X(AddressHomeLabel, "Home")                                                                                        \
    X(AddressWorkLabel, "Work")                                                                                        \
    X(PhoneProperty, "Phone")                                                                                          \
    X(PhoneWorkLabel, "Work")                                                                                          \
    X(PhoneHomeLabel, "Home")                                                                                          \
    X(PhoneMobileLabel, "Mobile")                                                                                      \
    X(PhoneMainLabel, "Main")                                                                                          \
    X(PhoneHomeFAXLabel, "HomeFAX")                                                                                    \
    X(PhoneWorkFAXLabel, "WorkFAX")                                                                                    \
    X(PhonePagerLabel, "Pager")                                                                                        \
    X(AIMInstantProperty, "AIMInstant")                                                                                \
    X(AIMWorkLabel, "Work")                                                                                            \
    X(AIMHomeLabel, "Home")                                                                                            \
    X(JabberInstantProperty, "JabberInstant")                                                                          \
    X(JabberWorkLabel, "Work")                                                                                         \
    X(JabberHomeLabel, "Home")                                                                                         \
    X(MSNInstantProperty, "MSNInstant")                                                                                \
    X(MSNWorkLabel, "Work")                                                                                            \
    X(MSNHomeLabel, "Home")                                                                                            \
    X(YahooInstantProperty, "YahooInstant")                                                                            \
    X(YahooWorkLabel, "Work")                                                                                          \
    X(YahooHomeLabel, "Home")                                                                                          \
    X(ICQInstantProperty, "ICQInstant")                                                                                \
    X(NoteProperty, "Note")                                                                                            \
    X(MiddleNameProperty, "Middle")                                                                                    \
    X(GroupNameProperty, "GroupName")                                                                                  \
    X(OtherLabel, "Other")                                                                                             \
    X(PersonRecordType, "ABPerson")                                                                                    \
    X(CreationDateProperty, "Creation")                                                                                \
    X(ModificationDateProperty, "Modification")                                                                        \
    X(FirstNamePhoneticProperty, "FirstPhonetic")                                                                      \
    X(LastNamePhoneticProperty, "LastPhonetic")                                                                        \
    X(ICQWorkLabel, "Work")                                                                                            \
    X(ICQHomeLabel, "Home")                                                                                            \
    X(MiddleNamePhoneticProperty, "MiddlePhonetic")                                                                    \
    X(TitleProperty, "Title")                                                                                          \
    X(SuffixProperty, "Suffix")                                                                                        \
    X(NicknameProperty, "Nickname")                                                                                    \
    X(MaidenNameProperty, "MaidenName")                                                                                \
    X(WorkLabel, "Work")                                                                                               \
    X(HomeLabel, "Home")                                                                                               \
    X(GroupRecordType, "ABGroup")                                                                                      \
    X(DatabaseChangedNotification, "ABDatabaseChangedNotification")                                                    \
    X(DatabaseChangedExternallyNotification, "ABDatabaseChangedExternallyNotification")
