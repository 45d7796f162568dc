#include "text.h"

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
    bool ok = false;
    const double v = QStringView(text).mid(start, i - start).toDouble(&ok);
    return ok ? v : 0.0;
}

QString Str(qint64 value) { return QString::number(value); }

QString Left(const QString& text, qsizetype n) { return n <= 0 ? QString() : text.left(n); }

QString Right(const QString& text, qsizetype n) { return n <= 0 ? QString() : text.right(n); }
