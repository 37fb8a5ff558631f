#pragma once

#include "platform/DatabaseManager.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>
#include <QVariant>
#include <QVector>

#include <memory>
#include <set>

namespace hvx {

// Error numbers a recordset raises, as the product's recordsets numbered them.
namespace recordset_err {
inline constexpr long NoCurrentRow = 3021;
inline constexpr long Closed = 3704;
}  // namespace recordset_err

class QtSqlRecordset;

// The driver's error number (its native code; 0 when it gives none) and its text.
long sqlErrorNumber(const QSqlError& error);
QString sqlErrorDescription(const QSqlError& error);

// The recordsets of one manager that are still open, so that closing the connection can
// release their queries before the driver goes away.
struct OpenRecordsets {
    std::set<QtSqlRecordset*> live;
    // Masked in the driver's messages.
    QString password;
};

// A forward-only result over one executed QSqlQuery. Each row is copied when it becomes
// current, so fields can be read in any order and any number of times (the ODBC driver
// hands out each column of a forward-only row once). Column names compare without regard
// to case. A date-time comes back as a QDateTime in Qt::UTC holding the stored fields
// unchanged: the stored values are naive, and a local-time QDateTime would be invalid for
// a time that a summer-time change skips. SQLite has no date type: there the stored text
// comes back as it is.
class QtSqlRecordset final : public Recordset {
  public:
    // `query` has been executed and not yet moved; the first row is fetched here. Throws
    // RuntimeError with the driver's number and text when that fetch fails.
    QtSqlRecordset(QSqlQuery query, std::shared_ptr<OpenRecordsets> registry);
    ~QtSqlRecordset() override;

    QtSqlRecordset(const QtSqlRecordset&) = delete;
    QtSqlRecordset& operator=(const QtSqlRecordset&) = delete;

    bool AtEnd() const override;
    bool AtStart() const override;
    QVariant Field(const QString& name) const override;
    QVariant Field(int position) const override;
    void MoveNext() override;
    void Close() override;

    int FieldCount() const { return static_cast<int>(names_.size()); }
    QString FieldName(int position) const { return names_.value(position); }

  private:
    void fetch();
    void release();

    QSqlQuery query_;
    std::shared_ptr<OpenRecordsets> registry_;
    QStringList names_;
    QVector<QVariant> row_;
    bool atEnd_ = true;
    bool empty_ = true;
    bool closed_ = false;
};

}  // namespace hvx
