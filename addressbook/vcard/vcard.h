#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <memory>
#include <optional>
#include <vector>

// A small vCard reader and writer for versions 2.1, 3.0 and 4.0. Reading keeps the bytes of every
// line, so that a card can be written back with only the properties that changed made anew.
namespace vcard {

enum class Version { V21, V30, V40 };

struct Param
{
    QByteArray name; // upper case; the bare values of 2.1 count as TYPE (or ENCODING)
    QList<QByteArray> values; // unquoted
};

struct Property
{
    // Of a card read from a file, group, value and raw are views of bytes the card holds: valid while it lives.
    QByteArray group; // "item1" of "item1.EMAIL"
    QByteArray name; // upper case
    QList<Param> params;
    QByteArray value; // unfolded, still escaped and encoded
    QByteArray raw; // the lines as they stand in the file, line ends included
    int tag = -1; // free for the reader's user: which of its fields the line feeds

    const Param* param(const char* name) const;
    // Among the TYPE values, case-insensitive.
    bool hasType(const char* type) const;
    bool isPreferred() const;
    // The value decoded (quoted-printable, charset) and unescaped.
    QString text(Version version) const;
    // The components of a structured value, split at unescaped separators, each unescaped.
    QStringList components(Version version, char separator = ';') const;
    // The decoded value before unescaping.
    QString decoded(Version version) const;
};

// The lines of a card read from a file. Each is kept as its place in the bytes read and read into a Property
// each time it is asked for: a Property of its own per line would cost several times the line, and a large book
// holds every card. The cards of one text share its bytes and one table of their lines, so that a book costs
// little more than its files.
class Lines
{
public:
    qsizetype size() const { return m_count; }
    bool isEmpty() const { return m_count == 0; }
    Property operator[](qsizetype i) const;
    // An empty Property past the end.
    Property value(qsizetype i) const { return i >= 0 && i < size() ? (*this)[i] : Property(); }
    // Cheaper than the whole line.
    QByteArray name(qsizetype i) const;
    QByteArray raw(qsizetype i) const;
    int tag(qsizetype i) const { return line(i).tag; }
    void setTag(qsizetype i, int tag) { m_store->lines[size_t(m_first + i)].tag = qint8(tag); }
    // The card's bytes: a view, valid while the card lives.
    QByteArrayView bytes() const;

    class const_iterator
    {
    public:
        const_iterator(const Lines* lines, qsizetype i)
            : m_lines(lines)
            , m_i(i)
        {
        }
        Property operator*() const { return (*m_lines)[m_i]; }
        const_iterator& operator++()
        {
            ++m_i;
            return *this;
        }
        bool operator!=(const const_iterator& o) const { return m_i != o.m_i; }

    private:
        const Lines* m_lines;
        qsizetype m_i;
    };
    const_iterator begin() const { return {this, 0}; }
    const_iterator end() const { return {this, size()}; }

private:
    friend class Reader;
    // Twelve bytes: a large book holds millions.
    struct Line
    {
        quint32 start = 0; // in the bytes read, line end included
        quint32 size = 0;
        qint8 tag = -1;
        quint8 version = 0; // the card's Version as the line was read
        bool folded = false; // its text, unfolded and trimmed, is in Store::unfolded
    };
    struct Store
    {
        QByteArray bytes;
        std::vector<Line> lines;
        QHash<quint32, QByteArray> unfolded; // by the line's place in lines
    };
    const Line& line(qsizetype i) const { return m_store->lines[size_t(m_first + i)]; }
    QByteArrayView content(qsizetype i) const;
    std::shared_ptr<Store> m_store;
    quint32 m_first = 0, m_count = 0; // the card's lines in the store's
    quint32 m_start = 0, m_size = 0; // the card's bytes in the store's
};

struct Card
{
    Version version = Version::V30;
    bool complete = false; // END:VCARD was seen
    Lines props; // without BEGIN and END
    // From BEGIN to END, line ends included.
    QByteArray raw() const { return props.bytes().toByteArray(); }

    std::optional<Property> first(const char* name) const;
};

// The bytes before, between and after the cards of a file: one more than the cards. Nearly all are empty,
// so only the others are kept.
class Gaps
{
public:
    qsizetype size() const { return m_count; }
    QByteArray value(qsizetype i) const { return m_texts.value(i); }
    QByteArray operator[](qsizetype i) const { return value(i); }
    QByteArray first() const { return value(0); }
    void append(QByteArray gap)
    {
        if (!gap.isEmpty())
            m_texts.insert(m_count, std::move(gap));
        ++m_count;
    }

private:
    QHash<qsizetype, QByteArray> m_texts;
    qsizetype m_count = 0;
};

struct File
{
    QList<std::shared_ptr<Card>> cards;
    Gaps gaps;
    QByteArray eol = "\r\n"; // the line end the file uses
    bool clean = true; // false when anything could not be parsed: such a file is never rewritten
};

File parse(const QByteArray& data);

// Writing. Values are given already escaped where their type needs it: escapeText for text,
// escapeUri for a URI or a UID, which are read with the same unescaping.
QByteArray escapeText(const QString& text, Version version);
QByteArray escapeUri(const QString& text);
QByteArray joinComponents(const QStringList& components, Version version, char separator = ';');
// One property as lines: parameters written in the version's form, quoted-printable for 2.1 values
// that are not plain ASCII, lines folded at 75 octets. Throws RuntimeException for a name, group or
// parameter name that would not read back as this one property (only letters, digits and '-').
QByteArray formatProperty(const Property& property, Version version, const QByteArray& eol);
QByteArray versionText(Version version);

} // namespace vcard
