#include "text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace {
bool isHexDigit(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
}

bool same(QChar a, QChar b)
{
    return asciiLower(a) == asciiLower(b);
}

// The framework's text comparisons ignore the case of ASCII letters only. A long separator comes
// from the text itself (a boundary), so it is searched in one pass whatever it repeats (Knuth,
// Morris and Pratt); a short one is compared at each place, which costs no more.
qsizetype find(QStringView source, QStringView what, qsizetype from)
{
    const qsizetype n = source.size(), m = what.size();
    if (m <= 16) {
        for (qsizetype i = from; i + m <= n; ++i) {
            qsizetype j = 0;
            while (j < m && same(source[i + j], what[j]))
                ++j;
            if (j == m)
                return i;
        }
        return -1;
    }
    // border[j]: the length of the longest proper prefix of what[0..j] that also ends it.
    std::vector<qsizetype> border(size_t(m), 0);
    for (qsizetype j = 1, k = 0; j < m; ++j) {
        while (k > 0 && !same(what[j], what[k]))
            k = border[size_t(k - 1)];
        if (same(what[j], what[k]))
            ++k;
        border[size_t(j)] = k;
    }
    for (qsizetype i = from, k = 0; i < n; ++i) {
        while (k > 0 && !same(source[i], what[k]))
            k = border[size_t(k - 1)];
        if (same(source[i], what[k]) && ++k == m)
            return i - m + 1;
    }
    return -1;
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\r') || c == QLatin1Char('\n');
}
} // namespace

QChar asciiLower(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 'A' && u <= 'Z') ? QChar(u + 32) : c;
}

QString asciiLower(const QString& text)
{
    QString out = text;
    for (QChar& c : out)
        c = asciiLower(c);
    return out;
}

double Val(const QString& text)
{
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && (text[i] == QLatin1Char(' ') || text[i] == QLatin1Char('\t')))
        ++i;
    if (i + 1 < n && text[i] == QLatin1Char('&')
        && (text[i + 1] == QLatin1Char('h') || text[i + 1] == QLatin1Char('H'))) {
        double v = 0;
        for (i += 2; i < n && isHexDigit(text[i]); ++i)
            v = v * 16 + QStringView(text).mid(i, 1).toInt(nullptr, 16);
        return v;
    }
    const qsizetype start = i;
    if (i < n && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+')))
        ++i;
    while (i < n && text[i].isDigit() && text[i].unicode() < 128)
        ++i;
    if (i < n && text[i] == QLatin1Char('.')) {
        ++i;
        while (i < n && text[i].isDigit() && text[i].unicode() < 128)
            ++i;
    }
    if (i < n && (text[i] == QLatin1Char('e') || text[i] == QLatin1Char('E'))) {
        qsizetype j = i + 1;
        if (j < n && (text[j] == QLatin1Char('-') || text[j] == QLatin1Char('+')))
            ++j;
        if (j < n && text[j].isDigit() && text[j].unicode() < 128) {
            while (j < n && text[j].isDigit() && text[j].unicode() < 128)
                ++j;
            i = j;
        }
    }
    const QStringView number = QStringView(text).mid(start, i - start);
    bool ok = false;
    const double v = number.toDouble(&ok);
    if (ok)
        return v;
    // Digits too many for a double: the value is out of range, not absent.
    const bool digits = std::any_of(number.begin(), number.end(), [](QChar c) { return c.isDigit(); });
    if (!digits)
        return 0.0;
    return number.startsWith(QLatin1Char('-')) ? -std::numeric_limits<double>::infinity()
                                               : std::numeric_limits<double>::infinity();
}

QString Str(qint64 value)
{
    return QString::number(value);
}

QString Left(const QString& text, qsizetype n)
{
    return n <= 0 ? QString() : text.left(n);
}

QString Right(const QString& text, qsizetype n)
{
    return n <= 0 ? QString() : text.right(n);
}

qint32 ValInt32(const QString& text)
{
    const double v = Val(text);
    if (!(v == v))
        return 0;
    if (v >= 2147483647.0)
        return std::numeric_limits<qint32>::max();
    if (v <= -2147483648.0)
        return std::numeric_limits<qint32>::min();
    return static_cast<qint32>(v);
}

QString Mid(const QString& text, qsizetype start, qsizetype length)
{
    if (start < 1)
        start = 1;
    if (start > text.size())
        return QString();
    return length < 0 ? text.mid(start - 1) : text.mid(start - 1, length);
}

qsizetype InStr(const QString& source, const QString& find)
{
    return InStr(1, source, find);
}

qsizetype InStr(qsizetype start, const QString& source, const QString& what)
{
    if (start < 1)
        start = 1;
    if (start > source.size() + 1)
        return 0;
    if (what.isEmpty())
        return start;
    return find(source, what, start - 1) + 1;
}

QString NthField(const QString& text, const QString& separator, qsizetype n)
{
    if (n < 1)
        return QString();
    if (separator.isEmpty())
        return n == 1 ? text : QString();
    qsizetype from = 0;
    for (qsizetype field = 1;; ++field) {
        const qsizetype at = find(text, separator, from);
        if (field == n)
            return at < 0 ? text.mid(from) : text.mid(from, at - from);
        if (at < 0)
            return QString();
        from = at + separator.size();
    }
}

qsizetype CountFields(const QString& text, const QString& separator)
{
    if (text.isEmpty())
        return 0;
    if (separator.isEmpty())
        return 1;
    qsizetype count = 1;
    for (qsizetype at = find(text, separator, 0); at >= 0; at = find(text, separator, at + separator.size()))
        ++count;
    return count;
}

QString ReplaceAll(const QString& source, const QString& what, const QString& replacement)
{
    if (what.isEmpty())
        return source;
    QString out;
    qsizetype from = 0;
    for (qsizetype at = find(source, what, 0); at >= 0; at = find(source, what, from)) {
        out += QStringView(source).mid(from, at - from);
        out += replacement;
        from = at + what.size();
    }
    out += QStringView(source).mid(from);
    return out;
}

QString Trim(const QString& text)
{
    qsizetype a = 0, b = text.size();
    while (a < b && isBlank(text[a]))
        ++a;
    while (b > a && isBlank(text[b - 1]))
        --b;
    return text.mid(a, b - a);
}

QString LTrim(const QString& text)
{
    qsizetype a = 0;
    while (a < text.size() && isBlank(text[a]))
        ++a;
    return text.mid(a);
}

QString Hex(qint64 value)
{
    const quint64 v = value < 0 ? static_cast<quint32>(value) : static_cast<quint64>(value);
    return QString::number(v, 16).toUpper();
}

QString Format(double value, const QString& pattern)
{
    const bool plus = pattern.startsWith(QLatin1Char('+'));
    const qsizetype digits = pattern.count(QLatin1Char('0'));
    const double r = std::round(value);
    QString number = QString::number(std::fabs(r), 'f', 0).rightJustified(digits, QLatin1Char('0'));
    if (r < 0)
        return QLatin1Char('-') + number;
    return plus ? QLatin1Char('+') + number : number;
}

QString Chr(uint code)
{
    return QString::fromUcs4(reinterpret_cast<const char32_t*>(&code), 1);
}

uint Asc(const QString& text)
{
    if (text.isEmpty())
        return 0;
    return text.at(0).isHighSurrogate() && text.size() > 1 ? QChar::surrogateToUcs4(text[0], text[1])
                                                           : text.at(0).unicode();
}

QStringList Split(const QString& text, const QString& separator)
{
    QStringList fields;
    if (text.isEmpty())
        return fields;
    if (separator.isEmpty())
        return {text};
    qsizetype from = 0;
    for (qsizetype at = find(text, separator, 0); at >= 0; at = find(text, separator, from)) {
        fields << text.mid(from, at - from);
        from = at + separator.size();
    }
    fields << text.mid(from);
    return fields;
}
