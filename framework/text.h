#pragma once

#include <QString>
#include <QStringList>

// Text helpers with the semantics the program's code is written against:
// positions count from 1, and searches ignore the case of ASCII letters.

// The number at the start of the text (after leading blanks), 0 if there is none. "&h" starts a
// hexadecimal number.
double Val(const QString& text);
// Val as a 32-bit integer, held within range.
qint32 ValInt32(const QString& text);
// Decimal text of a number.
QString Str(qint64 value);
QString Left(const QString& text, qsizetype n);
QString Right(const QString& text, qsizetype n);
QString Mid(const QString& text, qsizetype start, qsizetype length = -1);
// Position of find in source from start on, 0 when absent; an empty find is found at start.
qsizetype InStr(const QString& source, const QString& find);
qsizetype InStr(qsizetype start, const QString& source, const QString& find);
// The n-th field (from 1) of the text split at separator; empty past the last field.
QString NthField(const QString& text, const QString& separator, qsizetype n);
// The number of fields; 0 for an empty text.
qsizetype CountFields(const QString& text, const QString& separator);
QString ReplaceAll(const QString& source, const QString& find, const QString& replacement);
// Blanks are spaces, tabs and line ends.
QString Trim(const QString& text);
QString LTrim(const QString& text);
// Upper-case hexadecimal digits of the number, as an unsigned 32-bit value when negative.
QString Hex(qint64 value);
// Number formatting for the patterns the program uses: "0" digits with an optional leading sign
// ("+" shows it always), the value rounded to an integer.
QString Format(double value, const QString& pattern);
QString Chr(uint code);
uint Asc(const QString& text);
QChar asciiLower(QChar c);
QString asciiLower(const QString& text);
// All fields at once, as NthField numbers them; an empty text has none.
QStringList Split(const QString& text, const QString& separator);
