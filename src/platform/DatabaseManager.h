#pragma once

#include <QString>
#include <QVariant>

#include <memory>

namespace hvx {

class ErrorManager;

// A forward-only query result. Field values are null QVariants for SQL nulls.
class Recordset {
  public:
    virtual ~Recordset() = default;
    // No current row: past the last row, or the result was empty.
    virtual bool AtEnd() const = 0;
    // Before the first row; an empty result is at its start and its end at once.
    virtual bool AtStart() const = 0;
    // Throws RuntimeError 9 for a column that the result does not have.
    virtual QVariant Field(const QString& name) const = 0;
    virtual QVariant Field(int position) const = 0;
    virtual void MoveNext() = 0;
    virtual void Close() = 0;
};

// The help-desk database, as named by db.ini. Members in the product's order; the ones
// the program does not use are left out.
class DatabaseManager {
  public:
    virtual ~DatabaseManager() = default;

    virtual bool NeedsReset() const = 0;
    // "JET" or "SQLSERVER".
    virtual QString DatabaseType() const = 0;
    virtual QString DatabaseLocation() const = 0;
    virtual QString DatabasePassword() const = 0;
    virtual QString DatabaseUserId() const = 0;
    virtual void SetStartupComplete(bool complete) = 0;
    virtual void SetDbIniFolder(const QString& folder) = 0;
    virtual QString DbIniFolder() const = 0;
    virtual bool UpdatesBlocked() const = 0;
    virtual void CloseConnection(bool release) = 0;
    // Nothing when the statement failed; the failure has been reported to the error manager.
    // Reconnects by itself when the connection was closed.
    virtual std::unique_ptr<Recordset> OpenRecordset(const QString& sql) = 0;
    virtual bool ExecuteCommand(const QString& sql, long options) = 0;
    // rowCount receives the number of rows the statement touched.
    virtual bool ExecuteStatement(const QString& sql, long& rowCount) = 0;
    virtual void Reset(bool needsReset) = 0;
    // Not owned; must outlive the manager.
    virtual void SetErrorManager(ErrorManager* errorManager) = 0;
    // 0 when the file database may not be used (damaged, unwritable); the reason is reported.
    virtual long CheckJetDatabase(const QString& applicationTitle, const QString& unused1,
                                  const QVariant& unused2, const QVariant& unused3,
                                  long unused4) = 0;
    virtual bool OpenConnection(bool unused) = 0;
    // 0: the connection failed; 1: connected, but the database has no schema; 2: connected.
    virtual long Connect(const QString& unused1, bool unused2, const QVariant& unused3) = 0;
};

}  // namespace hvx
