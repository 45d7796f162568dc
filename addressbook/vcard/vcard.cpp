#include "vcard.h"

#include "exceptions.h"

#include <QHash>
#include <QStringDecoder>
#include <algorithm>
#include <cctype>
#include <cstring>

namespace vcard {
namespace {

bool sameCI(QByteArrayView a, const char* b)
{
    const qsizetype n = qsizetype(std::strlen(b));
    return a.size() == n && qstrnicmp(a.data(), b, size_t(n)) == 0;
}

bool blank(QByteArrayView text)
{
    for (char c : text) {
        if (c != ' ' && c != '\t')
            return false;
    }
    return true;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Invalid sequences stay as they are written.
QByteArray qpDecode(const QByteArray& in)
{
    QByteArray out;
    out.reserve(in.size());
    for (qsizetype i = 0; i < in.size(); ++i) {
        const char c = in[i];
        if (c == '=' && i + 2 < in.size() && hexDigit(in[i + 1]) >= 0 && hexDigit(in[i + 2]) >= 0) {
            out += char(hexDigit(in[i + 1]) * 16 + hexDigit(in[i + 2]));
            i += 2;
        } else {
            out += c;
        }
    }
    return out;
}

QByteArray qpEncode(const QByteArray& in)
{
    static const char hex[] = "0123456789ABCDEF";
    QByteArray out;
    out.reserve(in.size() * 2);
    for (const char ch : in) {
        const uchar c = uchar(ch);
        if ((c < 32 && c != '\t') || c > 126 || c == '=') {
            out += '=';
            out += hex[c >> 4];
            out += hex[c & 15];
        } else {
            out += char(c);
        }
    }
    return out;
}

// 4.0 writes ^n, ^^ and ^' inside parameter values.
QByteArray caretDecode(QByteArrayView v)
{
    QByteArray out;
    out.reserve(v.size());
    for (qsizetype i = 0; i < v.size(); ++i) {
        if (v[i] == '^' && i + 1 < v.size() && (v[i + 1] == 'n' || v[i + 1] == '^' || v[i + 1] == '\'')) {
            out += v[i + 1] == 'n' ? '\n' : v[i + 1] == '^' ? '^' : '"';
            ++i;
        } else {
            out += v[i];
        }
    }
    return out;
}

// Values of a repeated parameter name join its first occurrence. A line with very many parameter
// names looks them up in a table, so that it reads in linear time.
class ParamIndex
{
public:
    void add(Property& p, const QByteArray& name, QByteArray value)
    {
        qsizetype at = -1;
        if (p.params.size() < kScan) {
            for (qsizetype i = 0; i < p.params.size() && at < 0; ++i)
                at = p.params[i].name == name ? i : -1;
        } else {
            if (m_index.isEmpty()) {
                for (qsizetype i = p.params.size() - 1; i >= 0; --i)
                    m_index.insert(p.params[i].name, i);
            }
            at = m_index.value(name, -1);
        }
        if (at >= 0) {
            p.params[at].values.append(std::move(value));
            return;
        }
        if (!m_index.isEmpty())
            m_index.insert(name, p.params.size());
        p.params.append(Param{name, {std::move(value)}});
    }

private:
    static constexpr qsizetype kScan = 16;
    QHash<QByteArray, qsizetype> m_index;
};

// The upper-case form of a name. The common ones are shared, so that reading a large book does not
// make a copy of "EMAIL" or "TYPE" for every line.
QByteArray upperName(QByteArrayView name)
{
    static const QByteArray common[] = {"BEGIN", "VERSION", "N", "FN", "UID", "EMAIL", "TEL", "ADR", "ORG", "TITLE",
        "NOTE", "URL", "BDAY", "REV", "PHOTO", "CATEGORIES", "NICKNAME", "PRODID", "IMPP", "KIND", "MEMBER",
        "X-ABLABEL", "TYPE", "ENCODING", "CHARSET", "PREF", "VALUE", "X-EVOLUTION-UI-SLOT", "X-EVOLUTION-FILE-AS",
        "X-EVOLUTION-LIST", "X-ADDRESSBOOKSERVER-KIND", "X-ADDRESSBOOKSERVER-MEMBER"};
    for (const QByteArray& c : common) {
        if (c.size() == name.size() && qstrnicmp(c.constData(), name.data(), size_t(c.size())) == 0)
            return c;
    }
    return name.toByteArray().toUpper();
}

// A parameter value as read. The common ones are shared, as the names are.
QByteArray paramText(QByteArrayView value)
{
    static const QByteArray common[] = {"INTERNET", "WORK", "HOME", "CELL", "VOICE", "FAX", "PREF", "pref", "OTHER",
        "MAIN", "UTF-8", "QUOTED-PRINTABLE", "BASE64", "B", "b", "internet", "work", "home", "cell", "voice", "fax",
        "X-MOBILE", "x-mobile", "text", "uri", "1"};
    for (const QByteArray& c : common) {
        if (c == value)
            return c;
    }
    return value.toByteArray();
}

void parseParam(QByteArrayView text, Property& p, Version version, ParamIndex& index)
{
    const qsizetype eq = text.indexOf('=');
    if (eq < 0) {
        const QByteArray bare = text.trimmed().toByteArray().toUpper();
        if (bare.isEmpty())
            return;
        const bool encoding
            = bare == "QUOTED-PRINTABLE" || bare == "BASE64" || bare == "B" || bare == "8BIT" || bare == "7BIT";
        index.add(p, encoding ? QByteArrayLiteral("ENCODING") : QByteArrayLiteral("TYPE"), paramText(bare));
        return;
    }
    const QByteArray name = upperName(text.first(eq).trimmed());
    const QByteArrayView values = text.sliced(eq + 1);
    qsizetype start = 0;
    bool quoted = false;
    for (qsizetype i = 0; i <= values.size(); ++i) {
        if (i < values.size() && values[i] == '"')
            quoted = !quoted;
        if (i == values.size() || (values[i] == ',' && !quoted)) {
            QByteArrayView v = values.sliced(start, i - start).trimmed();
            if (v.size() >= 2 && v.front() == '"' && v.back() == '"')
                v = v.sliced(1, v.size() - 2);
            index.add(p, name, version == Version::V40 ? caretDecode(v) : paramText(v));
            start = i + 1;
        }
    }
}

// With view, the value is a view of content's bytes, which the caller keeps alive.
bool parseProperty(QByteArrayView content, Property& p, Version version, bool view = false)
{
    const qsizetype n = content.size();
    qsizetype i = 0;
    while (i < n && content[i] != ';' && content[i] != ':')
        ++i;
    if (i >= n)
        return false;
    const QByteArrayView full = content.first(i).trimmed();
    const qsizetype dot = full.lastIndexOf('.');
    p.group = dot < 0 ? QByteArray() : view ? QByteArray::fromRawData(full.data(), dot) : full.first(dot).toByteArray();
    p.name = upperName(full.sliced(dot + 1));
    if (p.name.isEmpty())
        return false;
    ParamIndex index;
    while (content[i] == ';') {
        const qsizetype start = ++i;
        bool quoted = false;
        while (i < n && (quoted || (content[i] != ';' && content[i] != ':'))) {
            if (content[i] == '"')
                quoted = !quoted;
            ++i;
        }
        if (i >= n)
            return false;
        parseParam(content.sliced(start, i - start), p, version, index);
    }
    const QByteArrayView value = content.sliced(i + 1);
    p.value = view ? QByteArray::fromRawData(value.data(), value.size()) : value.toByteArray();
    return true;
}

bool isQuotedPrintable(const QList<Param>& params)
{
    for (const Param& p : params) {
        if (p.name == "ENCODING")
            return !p.values.isEmpty() && sameCI(p.values.first(), "QUOTED-PRINTABLE");
    }
    return false;
}

Version versionOf(QByteArrayView value)
{
    const QByteArrayView v = value.trimmed();
    if (v.startsWith("2."))
        return Version::V21;
    if (v.startsWith("4."))
        return Version::V40;
    return Version::V30;
}

QString unescape(QStringView s)
{
    if (!s.contains(QLatin1Char('\\')))
        return s.toString();
    QString out;
    out.reserve(s.size());
    for (qsizetype i = 0; i < s.size(); ++i) {
        if (s[i] == QLatin1Char('\\') && i + 1 < s.size()) {
            const QChar c = s[++i];
            if (c == QLatin1Char('n') || c == QLatin1Char('N'))
                out += QLatin1Char('\n');
            else if (c == QLatin1Char('\\') || c == QLatin1Char(',') || c == QLatin1Char(';') || c == QLatin1Char(':'))
                out += c;
            else
                out += QLatin1Char('\\') + c;
        } else {
            out += s[i];
        }
    }
    return out;
}

} // namespace

// Parser state for one file: logical lines are handed over as they are completed.
class Reader
{
public:
    // Data that is itself a view of bytes held elsewhere is copied, since the cards outlive the call.
    explicit Reader(const QByteArray& data)
        : m_data(data.capacity() == 0 ? QByteArray(data.constData(), data.size()) : data)
        , m_store(std::make_shared<Lines::Store>())
    {
        m_store->bytes = m_data;
        // A line per line end at most: the table is not grown by copies.
        m_store->lines.reserve(size_t(std::count(m_data.cbegin(), m_data.cend(), '\n') + 1));
    }

    File run()
    {
        const char* d = m_data.constData();
        const qsizetype n = m_data.size();
        if (const char* lf = static_cast<const char*>(std::memchr(d, '\n', size_t(n))))
            m_file.eol = lf > d && lf[-1] == '\r' ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
        if (std::memchr(d, '\0', size_t(n)))
            m_file.clean = false;
        qsizetype pos = 0;
        while (pos < n) {
            const char* nl = static_cast<const char*>(std::memchr(d + pos, '\n', size_t(n - pos)));
            const qsizetype lineEnd = nl ? nl - d : n;
            qsizetype contentEnd = lineEnd;
            if (contentEnd > pos && d[contentEnd - 1] == '\r')
                --contentEnd;
            const QByteArrayView line(d + pos, contentEnd - pos);
            if (m_logicalStart >= 0 && logical().endsWith('=') && quotedPrintable()) {
                unfold().chop(1); // a soft line break
                m_logical.append(line);
            } else if (m_logicalStart >= 0 && !line.isEmpty() && (line[0] == ' ' || line[0] == '\t')) {
                // 2.1 folds before a blank that belongs to the text; 3.0 and 4.0 insert the blank.
                unfold().append(m_card && m_card->version == Version::V21 ? line : line.sliced(1));
            } else {
                finishLogical(pos);
                m_logicalStart = pos;
                m_line = line;
                m_folded = false;
            }
            pos = nl ? lineEnd + 1 : n;
        }
        finishLogical(n);
        if (m_card) {
            closeCard(n);
            m_file.cards.append(m_card);
            m_file.gaps.append(QByteArray());
            m_file.clean = false;
        } else {
            const QByteArray tail = m_data.mid(m_gapStart);
            if (!blank(QByteArrayView(tail).trimmed()))
                m_file.clean = false;
            m_file.gaps.append(tail);
        }
        if (m_file.cards.isEmpty())
            m_file.clean = false;
        if (std::vector<Lines::Line>& lines = m_store->lines; lines.capacity() - lines.size() > lines.size() / 8)
            lines.shrink_to_fit();
        return std::move(m_file);
    }

private:
    // The logical line so far: a view of the data until a continuation makes it a copy of its own, since
    // most lines are not folded.
    QByteArrayView logical() const { return m_folded ? QByteArrayView(m_logical) : m_line; }
    QByteArray& unfold()
    {
        if (!m_folded) {
            m_logical = m_line.toByteArray();
            m_folded = true;
        }
        return m_logical;
    }

    // Decided by the same parameters that decode the value, once the name and parameters have ended
    // with their ':'. The look resumes where it stopped, so that a long head folded over many lines stays
    // linear.
    bool quotedPrintable()
    {
        if (m_qp == 0) {
            const QByteArrayView text = logical();
            for (; m_scan < text.size(); ++m_scan) {
                const char c = text[m_scan];
                if (m_inParams && c == '"')
                    m_quoted = !m_quoted;
                else if (!m_quoted && c == ';')
                    m_inParams = true;
                else if (!m_quoted && c == ':')
                    break;
            }
            if (m_scan >= text.size())
                return false;
            Property p;
            const QByteArrayView head = text.first(m_scan + 1).trimmed();
            m_qp = parseProperty(head, p, Version::V30) && isQuotedPrintable(p.params) ? 1 : 2;
        }
        return m_qp == 1;
    }

    void finishLogical(qsizetype end)
    {
        if (m_logicalStart < 0)
            return;
        handle(logical().trimmed(), m_logicalStart, end);
        m_logicalStart = -1;
        m_qp = 0;
        m_scan = 0;
        m_quoted = m_inParams = false;
    }

    void startCard(qsizetype start, qsizetype end, QByteArray gap)
    {
        m_file.gaps.append(std::move(gap));
        m_card = std::make_shared<Card>();
        m_card->props.m_first = quint32(m_store->lines.size());
        m_card->version = versionAhead(end);
        m_cardStart = start;
        m_versioned = false;
    }

    // The version named by the card's first VERSION line, looked for before its lines are read: a line folded
    // before that one unfolds as its version folds. Each card's lines are looked at once, up to that line.
    Version versionAhead(qsizetype pos) const
    {
        const char* d = m_data.constData();
        const qsizetype n = m_data.size();
        while (pos < n) {
            const char* nl = static_cast<const char*>(std::memchr(d + pos, '\n', size_t(n - pos)));
            const qsizetype end = nl ? nl - d : n;
            const QByteArrayView line(d + pos, end - pos);
            pos = end + 1;
            if (line.isEmpty() || line[0] == ' ' || line[0] == '\t')
                continue;
            const QByteArrayView content = line.trimmed();
            if (sameCI(content, "END:VCARD") || sameCI(content, "BEGIN:VCARD"))
                break;
            qsizetype head = 0;
            while (head < content.size() && content[head] != ';' && content[head] != ':')
                ++head;
            const QByteArrayView name = content.first(head).trimmed();
            Property p;
            if (sameCI(name.sliced(name.lastIndexOf('.') + 1), "VERSION") && parseProperty(content, p, Version::V30))
                return versionOf(p.value);
        }
        return Version::V30;
    }

    void handle(QByteArrayView content, qsizetype start, qsizetype end)
    {
        const bool begin = sameCI(content, "BEGIN:VCARD");
        if (!m_card) {
            if (begin) {
                QByteArray gap = m_data.mid(m_gapStart, start - m_gapStart);
                if (!blank(QByteArrayView(gap).trimmed()))
                    m_file.clean = false;
                startCard(start, end, std::move(gap));
            } else if (!content.isEmpty()) {
                m_file.clean = false;
            }
            return;
        }
        if (begin) { // the card before had no end
            closeCard(start);
            m_file.cards.append(m_card);
            m_file.clean = false;
            startCard(start, end, QByteArray());
            return;
        }
        if (sameCI(content, "END:VCARD")) {
            closeCard(end);
            m_card->complete = true;
            m_file.cards.append(std::move(m_card));
            m_card.reset();
            m_gapStart = end;
            return;
        }
        if (content.isEmpty())
            return;
        Property p;
        if (!parseProperty(content, p, m_card->version, true)) {
            m_file.clean = false;
            return;
        }
        Lines::Line line;
        line.start = quint32(start);
        line.size = quint32(end - start);
        line.version = quint8(m_card->version);
        if (m_folded) {
            line.folded = true;
            m_store->unfolded.insert(quint32(m_store->lines.size()), content.toByteArray());
        }
        m_store->lines.push_back(line);
        if (p.name == "VERSION" && !m_versioned) { // a second one changes nothing already read
            m_card->version = versionOf(p.value);
            m_versioned = true;
        }
    }

    // The card's place in the bytes read, in which its lines are found again when asked for.
    void closeCard(qsizetype end)
    {
        Lines& lines = m_card->props;
        lines.m_store = m_store;
        lines.m_count = quint32(m_store->lines.size() - lines.m_first);
        lines.m_start = quint32(m_cardStart);
        lines.m_size = quint32(end - m_cardStart);
    }

    const QByteArray m_data;
    std::shared_ptr<Lines::Store> m_store;
    File m_file;
    std::shared_ptr<Card> m_card;
    qsizetype m_cardStart = 0;
    qsizetype m_gapStart = 0;
    QByteArrayView m_line; // the logical line while it is one line of the data
    QByteArray m_logical; // the logical line once folded
    bool m_folded = false;
    qsizetype m_logicalStart = -1;
    int m_qp = 0; // whether the logical line is quoted-printable: 0 not yet known, 1 yes, 2 no
    bool m_versioned = false; // the card's VERSION has been read
    qsizetype m_scan = 0; // how far its head has been looked at
    bool m_quoted = false, m_inParams = false;
};

const Param* Property::param(const char* wanted) const
{
    for (const Param& p : params) {
        if (p.name == wanted)
            return &p;
    }
    return nullptr;
}

bool Property::hasType(const char* type) const
{
    if (const Param* p = param("TYPE")) {
        for (const QByteArray& v : p->values) {
            if (sameCI(v, type))
                return true;
        }
    }
    return false;
}

bool Property::isPreferred() const
{
    return hasType("pref") || param("PREF");
}

QString Property::decoded(Version) const
{
    const QByteArray bytes = isQuotedPrintable(params) ? qpDecode(value) : value;
    if (const Param* cs = param("CHARSET"); cs && !cs->values.isEmpty() && !sameCI(cs->values.first(), "UTF-8")) {
        QStringDecoder named(cs->values.first().constData());
        if (named.isValid())
            return named.decode(bytes);
    }
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    // Old writers often wrote their local 8-bit charset without saying so, whatever version they named.
    if (utf8.hasError())
        return QString::fromLatin1(bytes);
    return text;
}

QString Property::text(Version version) const
{
    return unescape(decoded(version));
}

QStringList Property::components(Version version, char separator) const
{
    const QString all = decoded(version);
    QStringList out;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= all.size(); ++i) {
        if (i < all.size() && all[i] == QLatin1Char('\\')) {
            ++i;
            continue;
        }
        if (i >= all.size() || all[i] == QLatin1Char(separator)) {
            out.append(unescape(QStringView(all).mid(start, qMin(i, all.size()) - start)));
            start = i + 1;
        }
    }
    return out;
}

QByteArrayView Lines::content(qsizetype i) const
{
    const Line& l = line(i);
    if (l.folded)
        return *m_store->unfolded.constFind(m_first + quint32(i));
    return QByteArrayView(m_store->bytes.constData() + l.start, l.size).trimmed();
}

Property Lines::operator[](qsizetype i) const
{
    Property p;
    parseProperty(content(i), p, Version(line(i).version), true);
    p.raw = raw(i);
    p.tag = line(i).tag;
    return p;
}

QByteArray Lines::name(qsizetype i) const
{
    const QByteArrayView c = content(i);
    qsizetype n = 0;
    while (n < c.size() && c[n] != ';' && c[n] != ':')
        ++n;
    const QByteArrayView full = c.first(n).trimmed();
    return upperName(full.sliced(full.lastIndexOf('.') + 1));
}

QByteArray Lines::raw(qsizetype i) const
{
    return QByteArray::fromRawData(m_store->bytes.constData() + line(i).start, line(i).size);
}

QByteArrayView Lines::bytes() const
{
    return m_store ? QByteArrayView(m_store->bytes.constData() + m_start, m_size) : QByteArrayView();
}

std::optional<Property> Card::first(const char* name) const
{
    for (qsizetype i = 0; i < props.size(); ++i) {
        if (props.name(i) == name)
            return props[i];
    }
    return std::nullopt;
}

File parse(const QByteArray& data)
{
    return Reader(data).run();
}

QByteArray escapeText(const QString& text, Version version)
{
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\') || c == QLatin1Char(',') || c == QLatin1Char(';'))
            out += QLatin1Char('\\');
        if (version == Version::V21 || c != QLatin1Char('\n')) {
            if (version == Version::V21 || c != QLatin1Char('\r'))
                out += c; // 2.1 carries line breaks in quoted-printable
        } else {
            out += QLatin1String("\\n");
        }
    }
    return out.toUtf8();
}

QByteArray escapeUri(const QString& text)
{
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        if (c == QLatin1Char('\\'))
            out += QLatin1String("\\\\");
        else if (c == QLatin1Char('\n'))
            out += QLatin1String("\\n");
        else if (c != QLatin1Char('\r') && c != QChar(0))
            out += c;
    }
    return out.toUtf8();
}

QByteArray joinComponents(const QStringList& components, Version version, char separator)
{
    QByteArray out;
    for (qsizetype i = 0; i < components.size(); ++i) {
        if (i)
            out += separator;
        out += escapeText(components[i], version);
    }
    return out;
}

QByteArray versionText(Version version)
{
    return version == Version::V21 ? "2.1" : version == Version::V40 ? "4.0" : "3.0";
}

namespace {

bool isNameChar(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
}

bool isName(QByteArrayView name, bool dots = false)
{
    for (const char c : name) {
        if (!isNameChar(c) && !(dots && c == '.'))
            return false;
    }
    return dots || !name.isEmpty();
}

// Whether the text after "X;N=" reads back as exactly the one value.
bool readsAs(const QByteArray& written, const QByteArray& value, Version version)
{
    Property p;
    return parseProperty(QByteArray("X;N=" + written + ':'), p, version) && p.params.size() == 1
        && p.params.first().values == QList<QByteArray>{value};
}

QByteArray paramValue(const QByteArray& value, Version version)
{
    QByteArray v = value;
    v.replace('\0', "");
    if (version == Version::V40) // RFC 6868
        v.replace('^', "^^").replace('"', "^'").replace('\n', "^n");
    else
        v.replace('\n', ""); // no way to write one
    const bool plain = !v.isEmpty() && !std::isspace(uchar(v.front())) && !std::isspace(uchar(v.back()));
    if (!v.contains('"')) {
        if (plain && !v.contains(':') && !v.contains(';') && !v.contains(','))
            return v;
        return '"' + v + '"';
    }
    // 3.0 and 2.1 have no escape for a quote: the value goes as read, or quoted, if that reads back.
    for (const QByteArray& candidate : {v, '"' + v + '"'}) {
        if (readsAs(candidate, v, version))
            return candidate;
    }
    v.replace('"', "");
    return '"' + v + '"';
}

bool bareType(const QByteArray& v)
{
    static const char* const encodings[] = {"QUOTED-PRINTABLE", "BASE64", "B", "8BIT", "7BIT"};
    if (!isName(v) || v != v.toUpper())
        return false;
    for (const char* e : encodings) {
        if (v == e)
            return false;
    }
    return true;
}

} // namespace

QByteArray formatProperty(const Property& property, Version version, const QByteArray& eol)
{
    // A BEGIN or END line would end or open a card.
    if (!isName(property.name) || !isName(property.group, true) || sameCI(property.name, "BEGIN")
        || sameCI(property.name, "END"))
        throw RuntimeException(QStringLiteral("A vCard property cannot be named \"%1\"")
                                   .arg(QString::fromUtf8(property.group + '.' + property.name)));
    QByteArray value = property.value;
    QList<Param> params = property.params;
    for (const Param& p : params) {
        if (!isName(p.name))
            throw RuntimeException(
                QStringLiteral("A vCard parameter cannot be named \"%1\"").arg(QString::fromUtf8(p.name)));
    }
    if (version == Version::V21) {
        bool ascii = true, breaks = false;
        for (const char c : value) {
            ascii = ascii && uchar(c) < 0x80;
            breaks = breaks || c == '\n' || c == '\r' || c == '\0';
        }
        // Any white space the reader trims from the end of a line, as a parameter value above judges it; the
        // encoding writes all but a blank and a tab itself.
        const char last = value.isEmpty() ? '\0' : value.back();
        const bool edge = std::isspace(uchar(last));
        if (!ascii || breaks || edge) {
            params.removeIf([](const Param& p) { return p.name == "ENCODING" || p.name == "CHARSET"; });
            params.append(Param{"ENCODING", {"QUOTED-PRINTABLE"}});
            if (!ascii)
                params.append(Param{"CHARSET", {"UTF-8"}});
            value = qpEncode(value);
            if (last == ' ' || last == '\t') { // a blank at the end of the line would be lost
                value.chop(1);
                value += last == ' ' ? "=20" : "=09";
            }
        }
    } else {
        value.replace('\0', ""); // a file holding one is never written again
    }
    const bool qp = isQuotedPrintable(params);
    if (qp && value.endsWith('=')) // a soft line break would join the next line to this one
        value = value.chopped(1) + "=3D";
    QByteArray line;
    if (!property.group.isEmpty())
        line += property.group + '.';
    line += property.name;
    for (const Param& p : params) {
        if (version == Version::V21 && p.name == "TYPE" && std::all_of(p.values.begin(), p.values.end(), bareType)) {
            for (const QByteArray& v : p.values)
                line += ';' + v;
            continue;
        }
        line += ';' + p.name + '=';
        for (qsizetype i = 0; i < p.values.size(); ++i)
            line += (i ? "," : "") + paramValue(p.values[i], version);
    }
    line += ':';
    const qsizetype head = line.size();
    line += value;
    // 2.1 keeps the blank that begins a continuation line, so it folds only before a blank of its
    // own; base64 ignores the blank it inserts.
    const Param* enc = nullptr;
    for (const Param& p : params)
        enc = !enc && p.name == "ENCODING" ? &p : enc;
    const bool base64
        = enc && !enc->values.isEmpty() && (sameCI(enc->values.first(), "B") || sameCI(enc->values.first(), "BASE64"));
    const bool keepsBlank = version == Version::V21 && !base64;
    QByteArray out;
    out.reserve(line.size() + line.size() / 70 * 3 + 2);
    qsizetype pos = 0;
    while (line.size() - pos > 75) {
        qsizetype cut = pos + (qp ? 74 : 75) - (pos && !keepsBlank ? 1 : 0);
        if (qp) { // soft breaks only in the value, and never inside an =XX triplet
            cut = qMax(cut, head);
            if (cut >= line.size())
                break;
            if (cut - 1 >= head && line[cut - 1] == '=')
                cut -= 1;
            else if (cut - 2 >= head && line[cut - 2] == '=')
                cut -= 2;
        } else if (keepsBlank) {
            // Nor after a carriage return, which a file of bare line feeds would take for part of its line end.
            const auto fits = [&](qsizetype i) { return (line[i] == ' ' || line[i] == '\t') && line[i - 1] != '\r'; };
            while (cut > pos + 1 && !fits(cut))
                --cut;
            if (!fits(cut)) {
                cut = pos + 76;
                while (cut < line.size() && !fits(cut))
                    ++cut;
                if (cut >= line.size())
                    break;
            }
        } else {
            while (cut > pos + 1 && ((uchar(line[cut]) & 0xC0) == 0x80 || line[cut - 1] == '\r'))
                --cut; // nor inside a UTF-8 sequence
            // A run of carriage returns up to the limit leaves no place before it: the first place after the
            // run, or no fold at all.
            if (line[cut - 1] == '\r') {
                while (cut < line.size() && line[cut - 1] == '\r')
                    ++cut;
                if (cut >= line.size())
                    break;
            }
        }
        out += QByteArrayView(line).sliced(pos, cut - pos);
        out += qp ? '=' + eol : keepsBlank ? eol : eol + ' ';
        pos = cut;
    }
    out += QByteArrayView(line).sliced(pos);
    out += eol;
    return out;
}

} // namespace vcard
