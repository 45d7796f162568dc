#pragma once

#include <QString>

// Text helpers with the semantics the program's code is written against:
// positions count from 1, and searches ignore the case of ASCII letters.

// The number at the start of the text (after leading blanks), 0 if there is none.
double Val(const QString& text);
// Decimal text of a number.
QString Str(qint64 value);
QString Left(const QString& text, qsizetype n);
QString Right(const QString& text, qsizetype n);
