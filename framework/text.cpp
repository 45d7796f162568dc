#include "text.h"

#include <algorithm>
#include <limits>

double Val(const QString& text)
{
    qsizetype i = 0;
    const qsizetype n = text.size();
    while (i < n && (text[i] == QLatin1Char(' ') || text[i] == QLatin1Char('\t')))
        ++i;
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
