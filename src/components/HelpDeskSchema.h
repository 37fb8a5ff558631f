#pragma once

#include "SqlLiteralFormatters.h"
#include "platform/DateValue.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace hvx {

class QtSqlDatabaseManager;

// The help-desk tables the Monitor and the core application work on, their default rows, and
// the index that serves the count of old unsent messages. Made by hvx-dbsetup (never by the
// Monitor) and by tests. Booleans are SMALLINT 1 and 0 on every engine; date-times are
// TIMESTAMP(0) on PostgreSQL, DATETIME2(0) on SQL Server and 'yyyy-mm-dd hh:nn:ss' text on
// SQLite, where the formatter's literals compare correctly as text.
//
// Every value in a statement goes through the SQL formatters. Statements run through the
// manager, which reports each failure to its error manager; a failure also throws
// RuntimeError with the driver's number, so nothing is half-done silently.
class HelpDeskSchema {
  public:
    static constexpr int kDatabaseVersion = 12;

    struct Setting {
        const char* name;
        const char* type;
        const char* value;
    };
    struct Term {
        const char* key;
        const char* text;
    };

    // The manager must be connected. `now` stamps the rows this adds.
    HelpDeskSchema(QtSqlDatabaseManager& database, const DateValue& now);

    // What the database lacks, one line each: "table Messages", "column Messages.Subject",
    // "index IX_Messages_Unsent", "setting DBVersion", "SystemUsers row Monitor",
    // "term ENG SLAS". Empty when the schema is complete.
    QStringList Missing();
    // Adds what is missing and keeps every table, column and row that is there. Answers what
    // it added, in the same words as Missing. A missing key column of an existing table
    // cannot be added and is error 5.
    QStringList Create();
    // A few unsent messages, some of them older than a week, and one sent one; only into an
    // empty Messages table, so a second run adds nothing. Answers how many it added.
    int AddDemoMessages();

    static const std::vector<Setting>& DefaultSettings();
    static const std::vector<Term>& EnglishTerms();
    static QString UnsentIndexName() { return QStringLiteral("IX_Messages_Unsent"); }

  private:
    QStringList inspect(bool repair);
    void execute(const QString& sql);
    QStringList columnsOf(const QString& table);
    bool hasUnsentIndex();
    QStringList firstColumn(const QString& sql);

    QtSqlDatabaseManager& database_;
    DateValue now_;
    SqlLiteralStringFormatter text_;
    SqlLiteralValueFormatter value_;
};

}  // namespace hvx
