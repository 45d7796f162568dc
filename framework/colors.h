#pragma once

#include <QColor>
#include <QString>
#include <QVariant>

// Colours as the tables store them: "&h" and six hexadecimal digits, red, green, blue.
QVariant StringToVariant(const QString& text);
// Reads "&hRRGGBB" (either case) or a number 0xRRGGBB; anything else is black.
QColor VariantToColor(const QVariant& value);
// A variant holding the colour's text, "&h" and six upper-case digits.
QVariant ColorToVariant(const QColor& color);

// The system colour picker. c is changed only when the user picks a colour, and then the result is true.
bool SelectColor(QColor& c, const QString& prompt);
