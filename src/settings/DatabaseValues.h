#pragma once

#include "platform/DateValue.h"

#include <QString>
#include <QVariant>

namespace hvx {

// Conversions of values read from the database. Failures are RuntimeErrors.

// The value's text, or empty text for a null. The empty text of a null is a null QString and
// that of an empty value is not, for the rare caller that must tell them apart.
QString NullToEmpty(const QVariant& value);
// Numbers (0 is false), the words True and False; a null is error 94.
bool booleanFromField(const QVariant& value);
// A date-time, whether the driver hands back a date-time or its text; a null is the zero date.
// Text that is no date-time is error 13.
DateValue dateFromField(const QVariant& value);

}  // namespace hvx
