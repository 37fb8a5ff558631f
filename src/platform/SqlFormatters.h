#pragma once

#include "DateValue.h"

#include <QString>

namespace hvx {

// Complete SQL literals, delimiters included, for the database type set last ("JET" or
// "SQLSERVER", compared without regard to case). No statement holds a value that did not
// pass through one of these.
class SqlStringFormatter {
  public:
    virtual ~SqlStringFormatter() = default;
    virtual void SetDatabaseType(const QString& type) = 0;
    virtual QString FormatText(const QString& text) const = 0;
};

class SqlValueFormatter {
  public:
    virtual ~SqlValueFormatter() = default;
    virtual void SetDatabaseType(const QString& type) = 0;
    // The database stores exactly the moment the literal names, so a stamp formatted again
    // later compares equal to the stored one.
    virtual QString FormatDate(const DateValue& value) const = 0;
    virtual QString FormatBoolean(bool value) const = 0;
};

}  // namespace hvx
