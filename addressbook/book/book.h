#pragma once

#include "platform.h"

#include <QDateTime>
#include <optional>

// The shared book over the user's vCard folders: where it is, how a card becomes a record, and how
// changed records go back into their files.
namespace abplatform {

// The person or group behind a handle, or null.
Record* recordAt(qint32 h);

// The shared book as its sources hold it now (see source.h), read again where they changed; throws
// RuntimeException when no source is there. Tests move the sources by pointing HOME, XDG_DATA_HOME and
// XDG_CONFIG_HOME at a temporary folder.
qint32 loadSharedBook(Platform& p);
bool saveBook(Book& book);
bool hasUnsavedChanges(const Book& book);

// A new person or group, with one reference of the caller's.
qint32 createRecord(Kind kind);
// A person read from a card that belongs to no file, with one reference of the caller's.
qint32 personFromCard(const std::shared_ptr<vcard::Card>& card);
// The card of a record as it would be written now.
QByteArray cardText(const Record& record);
// The picture of a person: the one the program set, or the one in its card.
QByteArray personImage(const Person& person);

// Property types: 0 for an unknown property, else the codes of the bridge.
int propertyType(const Book* book, Kind recordKind, const QString& key);
QStringList propertyKeys(const Book* book, Kind recordKind);
// Marks the part of the card that holds this property for writing.
void touch(Record& record, const QString& key);
void touchMembers(Record& record);
void touchCategories(Person& person);
void touchImage(Person& person);

// Platform dates count seconds from 1 January 2001, 00:00 local time.
double secondsSince2001(const QDateTime& moment);
QDateTime momentOf(double seconds);

} // namespace abplatform
