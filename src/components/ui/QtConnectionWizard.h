#pragma once

#include "platform/ProductComponents.h"

#include <QString>

namespace hvx {

class Clock;

// Asks the operator for the help-desk database: a database file on this computer (with the
// offer to create a new one with the help-desk schema) or a database server through ODBC. It
// tests the connection before it lets the operator finish, and then writes db.ini into the
// application folder.
class QtConnectionWizard final : public ConnectionWizard {
  public:
    QtConnectionWizard(QString applicationFolder, const Clock& clock);

    void SetErrorManager(ErrorManager* errorManager) override { errorManager_ = errorManager; }
    void ShowDialog() override;
    bool Cancelled() const override { return cancelled_; }

  private:
    QString applicationFolder_;
    const Clock& clock_;
    ErrorManager* errorManager_ = nullptr;
    bool cancelled_ = true;
};

// The wizard without an operator, answered from the queue: "cancel", "jet:FILE" (a database
// file; one that does not exist is created with the help-desk schema, as the wizard offers) or
// "odbc:CONNECTION" (Driver=...;Server=...;Port=...;Database=...;Uid=...;Pwd=..., without
// commas). The connection is tested as in the wizard; a failed test is recorded and the next
// token is taken, as an operator goes back and tries again. A passed test writes db.ini into
// the application folder and completes the wizard. An empty queue cancels; any other token is
// refused and cancels. Each step is one JSON line (kind "ConnectionWizard"); the password is
// never recorded.
class UnattendedSession;
class UnattendedConnectionWizard final : public ConnectionWizard {
  public:
    // `session` and `clock` are not owned and must outlive this.
    UnattendedConnectionWizard(UnattendedSession& session, QString applicationFolder,
                               const Clock& clock);
    void SetErrorManager(ErrorManager* errorManager) override { errorManager_ = errorManager; }
    void ShowDialog() override;
    bool Cancelled() const override { return cancelled_; }

  private:
    UnattendedSession& session_;
    QString applicationFolder_;
    const Clock& clock_;
    ErrorManager* errorManager_ = nullptr;
    bool cancelled_ = true;
};

}  // namespace hvx
