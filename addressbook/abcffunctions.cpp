#include "abcffunctions.h"

#include "abfclass.h"
#include "addressbook.h"
#include "addressbookdata.h"
#include "book.h"
#include "dictionary.h"
#include "exceptions.h"
#include "source.h"

#include <QCoreApplication>
#include <cstring>

namespace ab = abplatform;

namespace _ABCFFunctions {
namespace {

std::unique_ptr<_ABFClass> mABC;
std::unique_ptr<Dictionary> mLoadedBundles;
qint32 mKeyCallBacks = 0;
qint32 mValueCallBacks = 0; // nothing ever writes it

ab::Table& table()
{
    return ab::platform().table;
}

Date dateBase()
{
    return Date(QDateTime(QDate(2001, 1, 1), QTime(0, 0)));
}

} // namespace

void _ABRelease(qint32 ref)
{
    if (ref)
        table().releaseOwned(ref);
}

void _ABRetain(qint32 ref)
{
    if (ref)
        table().retainOwned(ref);
}

qint32 _ABTypeID(qint32 ref)
{
    const ab::Value* v = table().get(ref);
    return v ? qint32(v->kind) : 0;
}

Variant _ABCFDateToDate(qint32 ref)
{
    const auto* d = table().as<ab::DateValue>(ref);
    if (!d)
        return Variant();
    return Variant(Date(QDateTime::fromSecsSinceEpoch(qint64(dateBase().TotalSeconds() + d->seconds))));
}

qint32 _ABDateToCFDate(const Date& date)
{
    return table().add(std::make_unique<ab::DateValue>(date.TotalSeconds() - dateBase().TotalSeconds()), true);
}

int _ABCFObjectToType(qint32 ref)
{
    if (table().as<ab::DateValue>(ref))
        return Variant::TypeDate;
    if (table().as<ab::String>(ref))
        return Variant::TypeString;
    return -1;
}

qint32 _ABArrayGetCount(qint32 ref)
{
    const ab::Array* a = table().as<ab::Array>(ref);
    return a ? qint32(a->items.size()) : 0;
}

qint32 _ABArrayGetValue(qint32 ref, qint32 index)
{
    const ab::Array* a = table().as<ab::Array>(ref);
    return a && index >= 0 && index < a->items.size() ? a->items[index] : 0;
}

bool _ABEqual(qint32 a, qint32 b)
{
    if (a == b)
        return a != 0;
    const ab::Value* x = table().get(a);
    const ab::Value* y = table().get(b);
    if (!x || !y || x->kind != y->kind)
        return false;
    switch (x->kind) {
    case ab::Kind::String:
        return static_cast<const ab::String*>(x)->text == static_cast<const ab::String*>(y)->text;
    case ab::Kind::Number:
        return static_cast<const ab::Number*>(x)->value == static_cast<const ab::Number*>(y)->value;
    case ab::Kind::Date:
        return static_cast<const ab::DateValue*>(x)->seconds == static_cast<const ab::DateValue*>(y)->seconds;
    case ab::Kind::Data:
        return static_cast<const ab::Data*>(x)->bytes == static_cast<const ab::Data*>(y)->bytes;
    default:
        return false;
    }
}

QString _ABCFDataGetString(qint32 ref)
{
    const ab::Data* d = table().as<ab::Data>(ref);
    return d ? QString::fromUtf8(d->bytes) : QString();
}

qint32 _ABStringToCFData(const QString& s)
{
    return table().add(std::make_unique<ab::Data>(s.toUtf8()), true);
}

qint32 _ABArrayCreate(const QList<qint32>& values)
{
    QList<qint32> items;
    for (qint32 v : values) {
        items.append(v);
        BackgroundTask();
    }
    return table().add(std::make_unique<ab::Array>(items, false), true);
}

qint32 _ABNumberCreate(qint32 value)
{
    return table().add(std::make_unique<ab::Number>(value), true);
}

qint32 _ABNumberCreate(double value)
{
    qint32 firstWord = 0;
    std::memcpy(&firstWord, &value, sizeof firstWord);
    return _ABNumberCreate(firstWord);
}

Variant _ABNumberGetValue(qint32 ref)
{
    const ab::Number* n = table().as<ab::Number>(ref);
    return Variant(n ? n->value : 0.0);
}

Variant _ABDictionaryGetValue(qint32 ref, const QString& key)
{
    const qint32 k = _ABC().StringToCFString(key);
    qint32 found = 0;
    if (const auto* d = table().as<ab::Dictionary>(ref)) {
        for (const auto& [dk, dv] : d->entries) {
            if (_ABEqual(dk, k))
                found = dv;
        }
    }
    _ABRelease(k);
    return _ABCFTypeToVariant(found);
}

Variant _ABCFTypeToVariant(qint32 ref)
{
    const ab::Value* v = table().get(ref);
    if (!v)
        return Variant();
    switch (v->kind) {
    case ab::Kind::Number:
        return _ABNumberGetValue(ref);
    case ab::Kind::String:
        return Variant(static_cast<const ab::String*>(v)->text);
    case ab::Kind::Date:
        return _ABCFDateToDate(ref);
    case ab::Kind::Dictionary:
        return Variant(std::shared_ptr<Object>(std::make_shared<AddressBookAddress>(ref)));
    default:
        return Variant();
    }
}

qint32 _ABDictionaryMutableCopy(qint32 ref)
{
    auto copy = std::make_unique<ab::Dictionary>();
    copy->isMutable = true;
    if (const auto* d = table().as<ab::Dictionary>(ref)) {
        copy->entries = d->entries;
        for (const auto& [k, v] : copy->entries) {
            table().retain(k);
            table().retain(v);
        }
    }
    return table().add(std::move(copy), true);
}

void _ABMDictionarySetValue(qint32 ref, qint32 key, qint32 value)
{
    auto* d = table().as<ab::Dictionary>(ref);
    if (!d || !d->isMutable || !table().as<ab::String>(key) || !table().get(value))
        return;
    table().retain(key);
    table().retain(value);
    for (auto& [k, v] : d->entries) {
        if (_ABEqual(k, key)) {
            table().release(k);
            table().release(v);
            k = key;
            v = value;
            return;
        }
    }
    d->entries.append({key, value});
}

qint32 _ABVariantToCFType(const Variant& value)
{
    switch (value.VarType()) {
    case Variant::TypeInteger:
        return _ABNumberCreate(value.IntegerValue());
    case Variant::TypeDouble:
        return _ABNumberCreate(value.DoubleValue());
    case Variant::TypeDate:
        return _ABDateToCFDate(value.DateValue());
    case Variant::TypeString:
        return _ABC().StringToCFString(value.StringValue());
    case Variant::TypeObject:
        if (const auto address = value.ObjectAs<AddressBookAddress>()) {
            _ABRetain(address->_ref());
            return address->_ref();
        }
        throw UnsupportedFormatException();
    default:
        throw UnsupportedFormatException();
    }
}

qint32 _ABDictionaryCreateMutable()
{
    // The platform asks for its callback words here; this one needs none, but the lookups stay.
    _ABkCFTypeDictionaryKeyCallBacks();
    _ABkCFTypeDictionaryValueCallBacks();
    auto d = std::make_unique<ab::Dictionary>();
    d->isMutable = true;
    return table().add(std::move(d), true);
}

_ABFClass& _ABC()
{
    if (!mABC)
        mABC = std::make_unique<_ABFClass>();
    return *mABC;
}

qint32 _ABLoadDataPtr(const QString& frameworkPath, const QString& symbolName)
{
    if (!mLoadedBundles)
        mLoadedBundles = std::make_unique<Dictionary>();
    if (!mLoadedBundles->HasKey(frameworkPath)) { // bundles are never given back
        const qint32 bundle = table().add(std::make_unique<ab::Bundle>(frameworkPath), false);
        table().makeImmortal(bundle);
        mLoadedBundles->setValue(frameworkPath, QString::number(bundle));
    }
    Q_UNUSED(symbolName); // no bundle here exports data symbols: the pointer is always nil
    return 0;
}

qint32 _ABkCFTypeDictionaryKeyCallBacks()
{
    if (mKeyCallBacks == 0)
        mKeyCallBacks = _ABLoadDataPtr(QStringLiteral("/System/Library/Frameworks/CoreFoundation.framework"),
            QStringLiteral("kCFTypeDictionaryKeyCallBacks"));
    return mKeyCallBacks;
}

qint32 _ABkCFTypeDictionaryValueCallBacks()
{
    // Looks the key symbol up and stores it as the key word; the value word stays 0.
    if (mValueCallBacks == 0)
        mKeyCallBacks = _ABLoadDataPtr(QStringLiteral("/System/Library/Frameworks/CoreFoundation.framework"),
            QStringLiteral("kCFTypeDictionaryKeyCallBacks"));
    return mValueCallBacks;
}

void BackgroundTask()
{
    if (QCoreApplication::instance())
        QCoreApplication::processEvents();
}

qint64 liveOwnedHandlesForTesting()
{
    return table().ownedCount();
}

qint64 liveHandlesForTesting()
{
    return table().liveCount();
}

void resetAddressBookForTesting()
{
    mABC.reset();
    mLoadedBundles.reset();
    mKeyCallBacks = 0;
    ab::resetPlatform();
}

void setBookCopyHookForTesting(std::function<void()> hook)
{
    ab::setCopyHookForTesting(std::move(hook));
}

} // namespace _ABCFFunctions

std::shared_ptr<AddressBook> System::AddressBook()
{
    return std::make_shared<::AddressBook>();
}
