#pragma once

#include "platform/SqlFormatters.h"

#include <QString>

namespace hvx {

// The two literal dialects. "JET" is our file database (SQLite); "SQLSERVER" is a database
// server reached through ODBC: Microsoft SQL Server, or PostgreSQL in this project's tests.
// A type that is neither (or none set yet) gets the JET forms: plain ANSI literals are the
// ones most engines accept, and the Monitor treats such a type like neither of the two.
enum class SqlLiteralDialect { Jet, SqlServer };

SqlLiteralDialect sqlLiteralDialect(const QString& databaseType);

// JET: '…' with quotes doubled; a NUL, which no literal can carry through the drivers, is
// joined in as char(0): ('a' || char(0) || 'b').
// SQLSERVER: N'…' with quotes doubled. A few texts need CONCAT(…), which SQL Server (2012
// on) and PostgreSQL both know: a NUL becomes NCHAR(0) (PostgreSQL text cannot hold a NUL,
// so there the statement fails instead of storing something else); a backslash before a
// line break ends a piece, because SQL Server reads backslash-newline inside a literal as a
// line continuation and drops both; and a text that ends in a blank is wrapped, because
// PostgreSQL types N'…' as character(n) and cuts trailing blanks when it is stored.
class SqlLiteralStringFormatter final : public SqlStringFormatter {
  public:
    void SetDatabaseType(const QString& type) override;
    QString FormatText(const QString& text) const override;

  private:
    SqlLiteralDialect dialect_ = SqlLiteralDialect::Jet;
};

// JET: 'yyyy-mm-dd hh:nn:ss' (stored as that text, so equal stamps compare equal as text).
// SQLSERVER: 'yyyy-mm-ddThh:nn:ss', which both servers read the same way whatever their
// date order setting. Booleans are 1 and 0 everywhere: the schema stores them as SMALLINT.
// A date outside the years 1 to 9999 is error 5: no engine would store it as written.
class SqlLiteralValueFormatter final : public SqlValueFormatter {
  public:
    void SetDatabaseType(const QString& type) override;
    QString FormatDate(const DateValue& value) const override;
    QString FormatBoolean(bool value) const override;

  private:
    SqlLiteralDialect dialect_ = SqlLiteralDialect::Jet;
};

}  // namespace hvx
