#pragma once

#include <QString>

#include <cstdint>

namespace hvx {

// Text-to-value conversions with the program's rules. Every failure is a RuntimeError:
// a text that is no number is error 13 (type mismatch), a value out of range error 6.

// True for optional blanks, an optional sign, digits with at most one decimal point, an
// optional exponent, and optional blanks: " 12 ", "-2.5", "1e3". Empty text is no number.
bool isNumeric(const QString& text);

double toDouble(const QString& text);

// A 32-bit whole number; halves go to the even neighbour (2.5 gives 2, 3.5 gives 4).
std::int32_t toWholeNumber(double value);
std::int32_t toWholeNumber(const QString& text);

// "0" and other numbers (zero is false), and the words True and False in any case.
bool toBoolean(const QString& text);

// How the program writes a Boolean into the store: "1" or "0".
QString booleanText(bool value);

// Removes blanks at both ends. Blanks are spaces: tabs and line breaks are kept.
QString trimSpaces(const QString& text);

}  // namespace hvx
