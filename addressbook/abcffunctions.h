#pragma once

#include "variant.h"

#include <QList>
#include <functional>
#include <memory>

class _ABFClass;
class AddressBook;

// Wrappers of the platform's basic values, and the conversions between them and the program's
// values. Handles as in _ABFClass: 0 is none.
namespace _ABCFFunctions {

void _ABRelease(qint32 ref);
void _ABRetain(qint32 ref);
qint32 _ABTypeID(qint32 ref);
// A Date, or nil for 0.
Variant _ABCFDateToDate(qint32 ref);
qint32 _ABDateToCFDate(const Date& date);
// 7 for a date, 8 for a string, -1 for anything else.
int _ABCFObjectToType(qint32 ref);
qint32 _ABArrayGetCount(qint32 ref);
// Not owned by the caller.
qint32 _ABArrayGetValue(qint32 ref, qint32 index);
bool _ABEqual(qint32 a, qint32 b);
QString _ABCFDataGetString(qint32 ref);
qint32 _ABStringToCFData(const QString& s);
// The array does not hold its elements.
qint32 _ABArrayCreate(const QList<qint32>& values);
qint32 _ABNumberCreate(qint32 value);
// Deliberate: reads the Double's first four bytes as the Integer form does, since the bridge pairs
// the two forms this way and its callers depend on it.
qint32 _ABNumberCreate(double value);
// Always a Double.
Variant _ABNumberGetValue(qint32 ref);
Variant _ABDictionaryGetValue(qint32 ref, const QString& key);
Variant _ABCFTypeToVariant(qint32 ref);
qint32 _ABDictionaryMutableCopy(qint32 ref);
void _ABMDictionarySetValue(qint32 ref, qint32 key, qint32 value);
// Raises UnsupportedFormatException for what the platform cannot hold.
qint32 _ABVariantToCFType(const Variant& value);
qint32 _ABDictionaryCreateMutable();
_ABFClass& _ABC();
qint32 _ABLoadDataPtr(const QString& frameworkPath, const QString& symbolName);
qint32 _ABkCFTypeDictionaryKeyCallBacks();
qint32 _ABkCFTypeDictionaryValueCallBacks();

// The framework's cooperative yield: gives the event loop a turn where there is one.
void BackgroundTask();

// Use only for testing: the references that callers hold and have not given back yet (the shared
// book and the constants are not counted), and a fresh start that drops the book and every handle,
// so that the next call reads the folders again.
qint64 liveOwnedHandlesForTesting();
// Every value alive, whoever holds it.
qint64 liveHandlesForTesting();
void resetAddressBookForTesting();
// Called after each private copy of a book is made and before it is checked; empty to stop.
void setBookCopyHookForTesting(std::function<void()> hook);

} // namespace _ABCFFunctions

namespace System {
// A new AddressBook on every call.
std::shared_ptr<::AddressBook> AddressBook();
} // namespace System
