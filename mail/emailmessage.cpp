#include "emailmessage.h"

#include "date.h"
#include "random.h"
#include "text.h"

#include <QHash>
#include <algorithm>
#include <map>
#include <vector>

namespace {
const QString kCRLF = QStringLiteral("\r\n");

// Everything after the first occurrence of what, or nothing.
QString after(const QString& text, const QString& what)
{
    const qsizetype at = InStr(text, what);
    return at == 0 ? QString() : text.mid(at - 1 + what.size());
}
// Finds texts in one multipart text without reading all of it again for every level of nesting. Part
// separators and closing delimiters hold "--": the places of "--" are filed once by the characters
// after them, one table for each length asked about. Letters match in either case.
class PartIndex
{
public:
    explicit PartIndex(const QString& text)
        : m_low(asciiLower(text))
    {
        for (qsizetype i = 0; i + 1 < m_low.size(); ++i) {
            if (m_low[i] == u'-' && m_low[i + 1] == u'-')
                m_dashes.append(i);
            if (m_low[i] == u'\r' && m_low[i + 1] == u'\n')
                m_crlf.append(i);
        }
    }
    PartIndex(const PartIndex&) = delete;
    PartIndex& operator=(const PartIndex&) = delete;

    bool hasCRLF(qsizetype from, qsizetype to) const
    {
        const auto it = std::lower_bound(m_crlf.begin(), m_crlf.end(), from);
        return it != m_crlf.end() && *it + 2 <= to;
    }

    // The first place of what that starts at from or later and ends by to; -1 if there is none.
    qsizetype find(const QString& what, qsizetype from, qsizetype to) const
    {
        const QString w = asciiLower(what);
        const qsizetype dashes = w.indexOf(QStringLiteral("--"));
        const qsizetype keyLength = w.size() - dashes - 2;
        if (dashes < 0 || keyLength > kLongestKey)
            return QStringView(m_low).first(to).indexOf(w, from);
        const auto& places = table(keyLength);
        const auto found = places.constFind(QStringView(w).sliced(dashes + 2));
        if (found == places.cend())
            return -1;
        const QStringView before = QStringView(w).first(dashes);
        for (auto it = std::lower_bound(found->begin(), found->end(), from + dashes);
             it != found->end() && *it - dashes + w.size() <= to; ++it) {
            if (QStringView(m_low).sliced(*it - dashes, dashes) == before)
                return *it - dashes;
        }
        return -1;
    }

private:
    static constexpr qsizetype kLongestKey = 256; // longer texts are searched for directly

    const QHash<QStringView, QList<qsizetype>>& table(qsizetype keyLength) const
    {
        auto [it, made] = m_tables.try_emplace(keyLength);
        if (made) {
            for (qsizetype at : m_dashes) {
                if (at + 2 + keyLength <= m_low.size())
                    it->second[QStringView(m_low).sliced(at + 2, keyLength)].append(at);
            }
        }
        return it->second;
    }

    const QString m_low;
    QList<qsizetype> m_dashes, m_crlf;
    mutable std::map<qsizetype, QHash<QStringView, QList<qsizetype>>> m_tables;
};
} // namespace

EmailMessage::EmailMessage()
    : Headers(std::make_unique<EmailHeaders>())
{
}

void EmailMessage::AddRecipient(const QString& address)
{
    _AddEmailHeader(QStringLiteral("To"), ReplaceAll(address, QStringLiteral(","), QString()));
}

QString EmailMessage::ToAddress() const
{
    return Headers->CommaSeparatedValues(QStringLiteral("To"));
}

void EmailMessage::AddCCRecipient(const QString& address)
{
    _AddEmailHeader(QStringLiteral("CC"), ReplaceAll(address, QStringLiteral(","), QString()));
}

QString EmailMessage::CCAddress() const
{
    return Headers->CommaSeparatedValues(QStringLiteral("CC"));
}

void EmailMessage::AddBCCRecipient(const QString& address)
{
    _AddEmailHeader(QStringLiteral("BCC"), ReplaceAll(address, QStringLiteral(","), QString()));
}

QString EmailMessage::BCCAddress() const
{
    return Headers->CommaSeparatedValues(QStringLiteral("BCC"));
}

void EmailMessage::_AddEmailHeader(const QString& name, const QString& value)
{
    // One entry per address field, holding the whole list. The old entry goes before the list
    // grows, so the text is extended in place rather than copied for every address.
    QString list = Headers->CommaSeparatedValues(name);
    Headers->Delete(name);
    if (list.isEmpty())
        list = value;
    else
        list.append(QStringLiteral(", ")).append(value);
    Headers->SetHeader(name, list);
}

void EmailMessage::setSubject(const QString& text)
{
    Headers->SetHeader(QStringLiteral("Subject"), text);
}

QString EmailMessage::Subject() const
{
    return Headers->Value(QStringLiteral("Subject"));
}

QString EmailMessage::FromAddress() const
{
    return Headers->Value(QStringLiteral("From"));
}

void EmailMessage::setFromAddress(const QString& text)
{
    Headers->SetHeader(QStringLiteral("From"), text);
}

QString EmailMessage::_GetEmailDateStr(const Date* date)
{
    const Date now;
    const Date& d = date ? *date : now;
    return NthField(QStringLiteral("Sun,Mon,Tue,Wed,Thu,Fri,Sat"), QStringLiteral(","), d.DayOfWeek())
        + QStringLiteral(", ") + Str(d.Day()) + QLatin1Char(' ')
        + NthField(QStringLiteral("Jan,Feb,Mar,Apr,May,Jun,Jul,Aug,Sep,Oct,Nov,Dec"), QStringLiteral(","), d.Month())
        + QLatin1Char(' ') + Str(d.Year()) + QLatin1Char(' ') + Format(d.Hour(), QStringLiteral("00"))
        + QLatin1Char(':') + Format(d.Minute(), QStringLiteral("00")) + QLatin1Char(':')
        + Format(d.Second(), QStringLiteral("00")) + QLatin1Char(' ') + _GetGMTOffset();
}

// Hours times 100, so a zone of +5.5 hours reads +0550.
QString EmailMessage::_GetGMTOffset()
{
    return Format(Date().GMTOffset() * 100.0, QStringLiteral("+0000"));
}

QString EmailMessage::_GenerateBoundary()
{
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyz0123456789");
    QString b;
    for (int i = 0; i < 12; ++i)
        b += Mid(alphabet, qsizetype(Rnd() * 36 + 1.0), 1);
    return b;
}

QString EmailMessage::_FormatBody() const
{
    const QString bodies[] = {BodyPlainText, BodyHTML, BodyEnriched};
    const QString types[]
        = {QStringLiteral("text/plain;"), QStringLiteral("text/html;"), QStringLiteral("text/enriched;")};
    int present = 0;
    for (const QString& b : bodies)
        present += !b.isEmpty();
    QString out;
    QString delimiter;
    if (present > 1) {
        const QString boundary = _GenerateBoundary();
        out = QStringLiteral("Content-Type: multipart/alternative; boundary=\"") + boundary + QLatin1Char('"');
        delimiter = QStringLiteral("--") + boundary;
    }
    for (int i = 0; i < 3; ++i) {
        if (bodies[i].isEmpty())
            continue;
        QString type = types[i];
        if (!delimiter.isEmpty())
            out += kCRLF + kCRLF + delimiter + kCRLF;
        else if (Headers->NameCount(QStringLiteral("Content-type")) > 0)
            type = Headers->Value(QStringLiteral("Content-type"));
        out += QStringLiteral("Content-type: ") + type;
        if (Headers->NameCount(QStringLiteral("Content-transfer-encoding")) == 0)
            out += kCRLF + QStringLiteral("Content-transfer-encoding: 7bit");
        out += kCRLF + kCRLF + bodies[i];
    }
    if (!delimiter.isEmpty())
        out += kCRLF + kCRLF + delimiter + QStringLiteral("--");
    return out;
}

QString EmailMessage::Source()
{
    const QString EOL = kCRLF;
    const QString body = _FormatBody();
    Headers->Delete(QStringLiteral("Content-Type"));
    QString result;
    if (Attachments.isEmpty()) {
        // The body's own header lines become headers of the message.
        const QString head = ReplaceAll(NthField(body, EOL + EOL, 1), EOL + QLatin1Char(' '), QStringLiteral(" "));
        const QString rest = after(body, EOL + EOL);
        for (const QString& line : Split(head, EOL))
            Headers->SetHeader(NthField(line, QStringLiteral(":"), 1), after(line, QStringLiteral(": ")));
        result = Headers->_FormatEmailHeaders() + EOL + EOL + rest + EOL + QLatin1Char('.');
    } else {
        const QString b = _GenerateBoundary();
        Headers->SetHeader(
            QStringLiteral("Content-Type"), QStringLiteral("multipart/mixed; boundary=\"") + b + QLatin1Char('"'));
        Headers->SetHeader(QStringLiteral("Mime-Version"), QStringLiteral("1.0"));
        result = Headers->_FormatEmailHeaders() + EOL + EOL + QStringLiteral("--") + b + EOL + body + EOL;
        for (const EmailAttachment& a : std::as_const(Attachments))
            result += EOL + EOL + QStringLiteral("--") + b + EOL + a._FormatAttachment();
        result += EOL + EOL + QStringLiteral("--") + b + QStringLiteral("--") + EOL + QLatin1Char('.');
    }
    return _ConvertEOLCharacter(result, EOL);
}

QString EmailMessage::_ConvertEOLCharacter(const QString& text, const QString& eol)
{
    QString t = text;
    t.replace(kCRLF, QStringLiteral("\n"));
    t.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    t.replace(QStringLiteral("\n"), eol);
    return t;
}

QString EmailMessage::_DetermineEOLCharacter(const QString& text)
{
    return InternetHeaders::_DetermineEOLCharacter(text);
}

void EmailMessage::setSource(const QString& text)
{
    _rawSource = text;
    const QString eol = _DetermineEOLCharacter(text);
    Headers = std::make_unique<EmailHeaders>();
    Headers->_ParseHeaders(NthField(text, eol + eol, 1));
    QString body;
    if (InStr(text, eol + eol) > 0) {
        body = after(text, eol + eol);
        // Always three: right for CR LF and the dot, one too many with a one-character line end.
        if (Right(body, eol.size() + 1) == eol + QLatin1Char('.'))
            body.chop(3);
    }
    BodyPlainText.clear();
    BodyHTML.clear();
    BodyEnriched.clear();
    QString boundary = NthField(Headers->Value(QStringLiteral("Content-Type")), QStringLiteral("boundary="), 2);
    boundary = Trim(ReplaceAll(NthField(boundary, QStringLiteral(";"), 1), QStringLiteral("\""), QString()));
    if (!boundary.isEmpty()) {
        body = NthField(body, eol + QStringLiteral("--") + boundary + QStringLiteral("--"), 1);
        const QString separator = QStringLiteral("--") + boundary + eol;
        _ParseBodyBoundary(after(body, separator), separator);
    } else {
        _ProcessBodyData(QStringLiteral("Content-Type: ") + Headers->Value(QStringLiteral("Content-Type")), body);
    }
}

void EmailMessage::_ParseBodyBoundary(const QString& text, const QString& separator)
{
    // Nesting has no limit: the levels still being read wait on a stack of their own, not on the call
    // stack, and each is a stretch of the one text, read through the index rather than copied.
    const PartIndex index(text);
    struct Level
    {
        qsizetype from, to; // what is left of the level's text
        QString separator, eol;
    };
    std::vector<Level> levels;
    const auto enter = [&](qsizetype from, qsizetype to, const QString& sep) {
        if (from < to) // an empty text has no parts
            levels.push_back({from, to, sep, index.hasCRLF(from, to) ? kCRLF : QStringLiteral("\r")});
    };
    enter(0, text.size(), separator);
    while (!levels.empty()) {
        Level& level = levels.back();
        const QString eol = level.eol;
        const qsizetype start = level.from;
        const qsizetype at = level.separator.isEmpty() ? -1 : index.find(level.separator, start, level.to);
        const qsizetype end = at < 0 ? level.to : at;
        if (at < 0)
            levels.pop_back(); // the last part: the level is done before its part is read
        else
            level.from = at + level.separator.size();

        const qsizetype blank = index.find(eol + eol, start, end);
        const qsizetype dataFrom = blank < 0 ? end : blank + 2 * eol.size();
        const QString headerText = InternetHeaders::unfold(text.mid(start, (blank < 0 ? end : blank) - start), eol);
        QString inner = NthField(NthField(headerText, QStringLiteral("Content-Type: "), 2), eol, 1);
        inner = NthField(NthField(inner, QStringLiteral("boundary="), 2), QStringLiteral(";"), 1);
        inner = ReplaceAll(inner, QStringLiteral("\""), QString());
        if (inner.isEmpty()) {
            _ProcessBodyData(headerText, text.mid(dataFrom, end - dataFrom));
            continue;
        }
        const QString delimiter = QStringLiteral("--") + inner;
        qsizetype cut = index.find(eol + delimiter + QStringLiteral("--"), dataFrom, end);
        if (cut < 0)
            cut = end;
        const qsizetype first = index.find(delimiter + eol, dataFrom, cut);
        if (first >= 0)
            enter(first + delimiter.size() + eol.size(), cut, delimiter + eol);
    }
}

void EmailMessage::_ProcessBodyData(const QString& headerText, const QString& data)
{
    const QString eol = _DetermineEOLCharacter(data);
    QString type
        = NthField(NthField(NthField(headerText, QStringLiteral("Content-Type: "), 2), QStringLiteral(";"), 1), eol, 1);
    if (type.isEmpty())
        type = QStringLiteral("text/plain");
    QString disposition = NthField(NthField(headerText, QStringLiteral("Content-Disposition: "), 2), eol, 1);
    if (asciiLower(disposition) != QLatin1String("attachment")) {
        const QString t = asciiLower(type);
        if (t == QLatin1String("text/plain"))
            BodyPlainText = data;
        else if (t == QLatin1String("text/html"))
            BodyHTML = data;
        else if (t == QLatin1String("text/enriched"))
            BodyEnriched = data;
        else if (!headerText.isEmpty())
            disposition = QStringLiteral("attachment");
        else
            return;
    }
    if (asciiLower(disposition) == QLatin1String("attachment")) {
        EmailAttachment a;
        a.ParseAttachment(type, headerText, data);
        Attachments.append(a);
    }
}
