#pragma once

#include "codes.h"
#include "vcard.h"

#include <QHash>
#include <QList>
#include <QString>
#include <array>
#include <deque>
#include <memory>
#include <vector>

// What stands behind the bridge on Linux: reference-counted values reached through 32-bit handles,
// and the shared book, which stands on the user's folders of vCard files.
namespace abplatform {

enum class Kind : quint8 {
    String = 1,
    Number,
    Date,
    Data,
    Array,
    Dictionary,
    MultiValue,
    Person,
    Group,
    SearchElement,
    Book,
    Bundle
};

struct Value
{
    explicit Value(Kind k)
        : kind(k)
    {
    }
    virtual ~Value() = default;
    const Kind kind;
};

struct String final : Value
{
    static constexpr Kind Tag = Kind::String;
    explicit String(QString t)
        : Value(Kind::String)
        , text(std::move(t))
    {
    }
    QString text;
};

struct Number final : Value
{
    static constexpr Kind Tag = Kind::Number;
    explicit Number(double v)
        : Value(Kind::Number)
        , value(v)
    {
    }
    double value;
};

// Seconds from 1 January 2001, 00:00 local time.
struct DateValue final : Value
{
    static constexpr Kind Tag = Kind::Date;
    explicit DateValue(double s)
        : Value(Kind::Date)
        , seconds(s)
    {
    }
    double seconds;
};

struct Data final : Value
{
    static constexpr Kind Tag = Kind::Data;
    explicit Data(QByteArray b)
        : Value(Kind::Data)
        , bytes(std::move(b))
    {
    }
    QByteArray bytes;
};

struct Array final : Value
{
    static constexpr Kind Tag = Kind::Array;
    Array(QList<qint32> i, bool r)
        : Value(Kind::Array)
        , items(std::move(i))
        , retains(r)
    {
    }
    QList<qint32> items;
    bool retains; // arrays made without callbacks do not hold their items
};

struct Dictionary final : Value
{
    static constexpr Kind Tag = Kind::Dictionary;
    Dictionary()
        : Value(Kind::Dictionary)
    {
    }
    QList<std::pair<qint32, qint32>> entries; // key string, value; both held
    bool isMutable = false;
};

struct MultiValue final : Value
{
    static constexpr Kind Tag = Kind::MultiValue;
    MultiValue()
        : Value(Kind::MultiValue)
    {
    }
    struct Entry
    {
        qint32 value = 0;
        qint32 label = 0;
        int id = 0;
        qint32 identifier = 0; // the id as a platform string, made on first request
        // The card line the entry was read from, written back as it stands while the entry is pristine.
        std::shared_ptr<const vcard::Card> originCard;
        int originIndex = -1;
        bool pristine = false;
    };
    QList<Entry> entries;
    bool isMutable = false;
    int primaryId = -1;
    int nextId = 0;
};

struct FileRecord;

// Property keys, each kept once and named by its number: a large book holds millions of them.
qint32 keyId(const QString& key);
const QString& keyText(qint32 id);

struct Record : Value
{
    using Value::Value;
    // The small members first, in the padding after the kind.
    bool uidInCard = false;
    bool inBook = false;
    quint32 dirty = 0; // fields of the card to write anew, one bit each
    // The values the program set: property key (keyId), value held, 0 for one removed from the card. The card's
    // other values are made when asked for and not kept.
    std::unique_ptr<std::vector<std::pair<qint32, qint32>>> values; // made on the first; most records have none
    QString uid;
    std::shared_ptr<vcard::Card> card; // the card it was read from, if any
    FileRecord* file = nullptr;

    // A reference of the caller's to the value under key, or 0.
    qint32 copy(const QString& key) const;
    // Takes over the reference of value; 0 removes.
    void put(const QString& key, qint32 value);
};

struct Person final : Record
{
    static constexpr Kind Tag = Kind::Person;
    Person()
        : Record(Kind::Person)
    {
    }
    QStringList categories;
    qint32 image = 0; // set by the program; otherwise read from the card when asked
};

struct Group final : Record
{
    static constexpr Kind Tag = Kind::Group;
    Group()
        : Record(Kind::Group)
    {
    }
    QList<qint32> members; // persons, held
    QList<qint32> subgroups; // held
    QString category; // set for a group that stands for a CATEGORIES value
    QList<QByteArray> unresolved; // member values that name no record, kept for writing back
    QByteArray memberName = "X-ADDRESSBOOKSERVER-MEMBER";
};

struct SearchElement final : Value
{
    static constexpr Kind Tag = Kind::SearchElement;
    SearchElement()
        : Value(Kind::SearchElement)
    {
    }
    QString property, label, key;
    qint32 value = 0; // held
    int comparison = 0;
    int conjunction = -1; // 0 AND, 1 OR for a combined element
    QList<qint32> children; // held
};

struct FileRecord
{
    QString path;
    QList<std::shared_ptr<vcard::Card>> cards;
    QList<qint32> records; // the record read from each card
    vcard::Gaps gaps;
    QByteArray eol;
    bool clean = true;
    QByteArray stamp; // what the file was when read or written (source.h)
};

struct Book final : Value
{
    static constexpr Kind Tag = Kind::Book;
    Book()
        : Value(Kind::Book)
    {
    }
    QString target; // the folder where new records go
    std::vector<std::unique_ptr<FileRecord>> files;
    QList<qint32> people, groups; // held
    QList<qint32> removed; // held until the next save deletes their cards
    QList<qint32> retired; // held, in no list: duplicates whose card a file still holds
    qint32 me = 0;
    QHash<QString, QHash<QString, int>> customTypes; // record type, property key, property type
};

struct Bundle final : Value
{
    static constexpr Kind Tag = Kind::Bundle;
    explicit Bundle(QString p)
        : Value(Kind::Bundle)
        , path(std::move(p))
    {
    }
    QString path;
};

// References are of two kinds: the platform's own (a record holding its values) and the caller's
// (a Copy or Create result). Only the caller's are counted, and a caller can give back only what it
// holds, so an extra release cannot free a value that something else still holds.
class Table
{
public:
    ~Table();
    qint32 add(std::unique_ptr<Value> value, bool owned);
    Value* get(qint32 handle) const;
    template <class T> T* as(qint32 handle) const
    {
        Value* v = get(handle);
        return v && v->kind == T::Tag ? static_cast<T*>(v) : nullptr;
    }
    void retain(qint32 handle);
    void release(qint32 handle);
    void retainOwned(qint32 handle);
    void releaseOwned(qint32 handle);
    qint32 copyOut(qint32 handle)
    {
        retainOwned(handle);
        return handle;
    }
    void makeImmortal(qint32 handle);
    qint64 ownedCount() const { return m_owned; }
    qint64 liveCount() const { return m_live; }

private:
    // Sixteen bytes: a large book holds millions.
    struct Slot
    {
        std::unique_ptr<Value> value;
        qint32 refs = 0; // of a free slot: the next free one
        qint32 owned = 0; // kImmortal for a value that is never freed
    };
    static constexpr qint32 kImmortal = -1;
    static bool immortal(const Slot& s) { return s.owned == kImmortal; }
    Slot* slot(qint32 handle);
    void drop(qint32 handle);
    std::deque<Slot> m_slots; // grown in blocks: a large book never holds two copies of its table while it grows
    qint32 m_free = 0;
    qint64 m_owned = 0;
    qint64 m_live = 0;
};

// The constants of the platform, in the bridge's order.
enum Constant : int {
#define AB_ENUM(name, text) k##name,
    AB_CONSTANTS(AB_ENUM)
#undef AB_ENUM
        kConstantCount
};

QString constantText(Constant c);

// The whole platform state. It lives from first use until resetPlatform.
struct Platform
{
    Platform();
    Table table;
    std::array<qint32, kConstantCount> constants{};
    qint32 book = 0;

    // The text of a string handle; a null string for anything else.
    QString text(qint32 handle) const;
    qint32 newString(const QString& text, bool owned) { return table.add(std::make_unique<String>(text), owned); }
    qint32 constant(Constant c) const { return constants[size_t(c)]; }
};

Platform& platform();
void resetPlatform();

// A reference of the caller's, given back when this goes.
class Taken
{
public:
    explicit Taken(qint32 handle)
        : m_handle(handle)
    {
    }
    ~Taken() { platform().table.releaseOwned(m_handle); }
    Taken(const Taken&) = delete;
    Taken& operator=(const Taken&) = delete;
    qint32 handle() const { return m_handle; }

private:
    qint32 m_handle;
};

} // namespace abplatform
