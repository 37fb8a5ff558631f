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

// Without an operator the wizard cannot be answered: it logs one line (kind
// "ConnectionWizard") and counts as cancelled.
class UnattendedSession;
class UnattendedConnectionWizard final : public ConnectionWizard {
  public:
    explicit UnattendedConnectionWizard(UnattendedSession& session) : session_(session) {}
    void SetErrorManager(ErrorManager* /*errorManager*/) override {}
    void ShowDialog() override;
    bool Cancelled() const override { return true; }

  private:
    UnattendedSession& session_;
};

}  // namespace hvx
