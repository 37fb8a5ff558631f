#pragma once

#include "platform/DatabaseManager.h"

#include <QList>

namespace hvx::test {

// A database manager with no database: it connects (Connect answers 2, the schema is there),
// holds its folder, fails every statement, opens no recordset, asks for a reset when told to
// and records the resets. A test overrides what it is about.
class StubDatabaseManager : public DatabaseManager {
  public:
    bool NeedsReset() const override { return needsReset; }
    QString DatabaseType() const override { return QStringLiteral("JET"); }
    QString DatabaseLocation() const override { return {}; }
    QString DatabasePassword() const override { return {}; }
    QString DatabaseUserId() const override { return {}; }
    void SetStartupComplete(bool) override {}
    void SetDbIniFolder(const QString& folder) override { folder_ = folder; }
    QString DbIniFolder() const override { return folder_; }
    bool UpdatesBlocked() const override { return false; }
    void CloseConnection(bool) override {}
    std::unique_ptr<Recordset> OpenRecordset(const QString&) override { return nullptr; }
    bool ExecuteCommand(const QString&, long) override { return false; }
    bool ExecuteStatement(const QString&, long&) override { return false; }
    void Reset(bool value) override { resets.append(value); }
    void SetErrorManager(ErrorManager*) override {}
    long CheckJetDatabase(const QString&, const QString&, const QVariant&, const QVariant&,
                          long) override {
        return 1;
    }
    bool OpenConnection(bool) override { return true; }
    long Connect(const QString&, bool, const QVariant&) override { return 2; }

    bool needsReset = false;
    QList<bool> resets;

  private:
    QString folder_;
};

}  // namespace hvx::test
