#include "vcard.h"

#include <QStringDecoder>
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

void addParamValue(Property& p, const QByteArray& name, QByteArray value)
{
    for (Param& q : p.params) {
        if (q.name == name) {
            q.values.append(std::move(value));
            return;
        }
    }
    p.params.append(Param{name, {std::move(value)}});
}

void parseParam(QByteArrayView text, Property& p, Version version)
{
    const qsizetype eq = text.indexOf('=');
    if (eq < 0) {
        const QByteArray bare = text.trimmed().toByteArray().toUpper();
        if (bare.isEmpty())
            return;
        const bool encoding
            = bare == "QUOTED-PRINTABLE" || bare == "BASE64" || bare == "B" || bare == "8BIT" || bare == "7BIT";
        addParamValue(p, encoding ? QByteArrayLiteral("ENCODING") : QByteArrayLiteral("TYPE"), bare);
        return;
    }
    const QByteArray name = text.first(eq).trimmed().toByteArray().toUpper();
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
            addParamValue(p, name, version == Version::V40 ? caretDecode(v) : v.toByteArray());
            start = i + 1;
        }
    }
}

bool parseProperty(QByteArrayView content, Property& p, Version version)
{
    const qsizetype n = content.size();
    qsizetype i = 0;
    while (i < n && content[i] != ';' && content[i] != ':')
        ++i;
    if (i >= n)
        return false;
    const QByteArrayView full = content.first(i).trimmed();
    const qsizetype dot = full.lastIndexOf('.');
    p.group = dot < 0 ? QByteArray() : full.first(dot).toByteArray();
    p.name = full.sliced(dot + 1).toByteArray().toUpper();
    if (p.name.isEmpty())
        return false;
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
        parseParam(content.sliced(start, i - start), p, version);
    }
    p.value = content.sliced(i + 1).toByteArray();
    return true;
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

// Parser state for one file: logical lines are handed over as they are completed.
class Reader
{
public:
    explicit Reader(const QByteArray& data)
        : m_data(data)
    {
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
            if (m_logicalStart >= 0 && m_logical.endsWith('=') && quotedPrintable()) {
                m_logical.chop(1); // a soft line break
                m_logical.append(line);
            } else if (m_logicalStart >= 0 && !line.isEmpty() && (line[0] == ' ' || line[0] == '\t')) {
                m_logical.append(line.sliced(1));
            } else {
                finishLogical(pos);
                m_logicalStart = pos;
                m_logical = line.toByteArray();
            }
            pos = nl ? lineEnd + 1 : n;
        }
        finishLogical(n);
        if (m_card) {
            m_card->raw = m_data.mid(m_cardStart);
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
        return std::move(m_file);
    }

private:
    bool quotedPrintable()
    {
        if (m_qp == 0) {
            const qsizetype colon = m_logical.indexOf(':');
            m_qp = colon >= 0 && m_logical.left(colon).toUpper().contains("QUOTED-PRINTABLE") ? 1 : 2;
        }
        return m_qp == 1;
    }

    void finishLogical(qsizetype end)
    {
        if (m_logicalStart < 0)
            return;
        handle(QByteArrayView(m_logical).trimmed(), m_logicalStart, end);
        m_logicalStart = -1;
        m_qp = 0;
    }

    void startCard(qsizetype start, QByteArray gap)
    {
        m_file.gaps.append(std::move(gap));
        m_card = std::make_shared<Card>();
        m_cardStart = start;
    }

    void handle(QByteArrayView content, qsizetype start, qsizetype end)
    {
        const bool begin = sameCI(content, "BEGIN:VCARD");
        if (!m_card) {
            if (begin) {
                QByteArray gap = m_data.mid(m_gapStart, start - m_gapStart);
                if (!blank(QByteArrayView(gap).trimmed()))
                    m_file.clean = false;
                startCard(start, std::move(gap));
            } else if (!content.isEmpty()) {
                m_file.clean = false;
            }
            return;
        }
        if (begin) { // the card before had no end
            m_card->raw = m_data.mid(m_cardStart, start - m_cardStart);
            m_file.cards.append(m_card);
            m_file.clean = false;
            startCard(start, QByteArray());
            return;
        }
        if (sameCI(content, "END:VCARD")) {
            m_card->raw = m_data.mid(m_cardStart, end - m_cardStart);
            m_card->complete = true;
            m_file.cards.append(std::move(m_card));
            m_card.reset();
            m_gapStart = end;
            return;
        }
        if (content.isEmpty())
            return;
        Property p;
        if (!parseProperty(content, p, m_card->version)) {
            m_file.clean = false;
            return;
        }
        p.raw = m_data.mid(start, end - start);
        if (p.name == "VERSION")
            m_card->version = versionOf(p.value);
        m_card->props.append(std::move(p));
    }

    const QByteArray& m_data;
    File m_file;
    std::shared_ptr<Card> m_card;
    qsizetype m_cardStart = 0;
    qsizetype m_gapStart = 0;
    QByteArray m_logical;
    qsizetype m_logicalStart = -1;
    int m_qp = 0; // whether the logical line is quoted-printable: 0 not yet known, 1 yes, 2 no
};

} // namespace

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

QString Property::decoded(Version version) const
{
    const Param* enc = param("ENCODING");
    const QByteArray bytes
        = enc && !enc->values.isEmpty() && sameCI(enc->values.first(), "QUOTED-PRINTABLE") ? qpDecode(value) : value;
    if (const Param* cs = param("CHARSET"); cs && !cs->values.isEmpty() && !sameCI(cs->values.first(), "UTF-8")) {
        QStringDecoder named(cs->values.first().constData());
        if (named.isValid())
            return named.decode(bytes);
    }
    QStringDecoder utf8(QStringDecoder::Utf8);
    QString text = utf8.decode(bytes);
    // Old 2.1 writers often wrote their local 8-bit charset without saying so.
    if (utf8.hasError() && version == Version::V21)
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

const Property* Card::first(const char* name) const
{
    for (const Property& p : props) {
        if (p.name == name)
            return &p;
    }
    return nullptr;
}

File parse(const QByteArray& data)
{
    return Reader(data).run();
}

QByteArray escapeText(const QString& text, Version version)
{
    QString out;
    out.reserve(text.size() + 8);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (version == Version::V21) {
            if (c == QLatin1Char(';'))
                out += QLatin1Char('\\');
            out += c;
        } else if (c == QLatin1Char('\\') || c == QLatin1Char(',') || c == QLatin1Char(';')) {
            out += QLatin1Char('\\') + c;
        } else if (c == QLatin1Char('\n')) {
            out += QLatin1String("\\n");
        } else if (c != QLatin1Char('\r')) {
            out += c;
        }
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

QByteArray formatProperty(const Property& property, Version version, const QByteArray& eol)
{
    QByteArray value = property.value;
    QList<Param> params = property.params;
    bool qp = false;
    if (version == Version::V21) {
        bool ascii = true, breaks = false;
        for (const char c : value) {
            ascii = ascii && uchar(c) < 0x80;
            breaks = breaks || c == '\n' || c == '\r';
        }
        if (!ascii || breaks) {
            params.removeIf([](const Param& p) { return p.name == "ENCODING" || p.name == "CHARSET"; });
            params.append(Param{"ENCODING", {"QUOTED-PRINTABLE"}});
            if (!ascii)
                params.append(Param{"CHARSET", {"UTF-8"}});
            value = qpEncode(value);
            qp = true;
        }
    }
    QByteArray line;
    if (!property.group.isEmpty())
        line += property.group + '.';
    line += property.name;
    for (const Param& p : params) {
        if (version == Version::V21 && p.name == "TYPE") {
            for (const QByteArray& v : p.values)
                line += ';' + v;
            continue;
        }
        line += ';' + p.name + '=';
        for (qsizetype i = 0; i < p.values.size(); ++i) {
            const QByteArray& v = p.values[i];
            const bool quote = v.contains(':') || v.contains(';') || v.contains(',');
            line += (i ? "," : "") + (quote ? '"' + v + '"' : v);
        }
    }
    line += ':' + value;
    QByteArray out;
    out.reserve(line.size() + line.size() / 70 * 3 + 2);
    qsizetype pos = 0;
    while (line.size() - pos > 75) {
        qsizetype cut = pos + (qp ? 74 : 75) - (pos ? 1 : 0);
        if (qp) { // never split an =XX triplet
            if (line[cut - 1] == '=')
                cut -= 1;
            else if (line[cut - 2] == '=')
                cut -= 2;
        } else {
            while (cut > pos + 1 && (uchar(line[cut]) & 0xC0) == 0x80)
                --cut; // nor a UTF-8 sequence
        }
        out += QByteArrayView(line).sliced(pos, cut - pos);
        out += qp ? '=' + eol : eol + ' ';
        pos = cut;
    }
    out += QByteArrayView(line).sliced(pos);
    out += eol;
    return out;
}

} // namespace vcard
