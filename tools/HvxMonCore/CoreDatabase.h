#pragma once

#include "platform/DateValue.h"

#include <QString>

#include <optional>

namespace hvx {

struct AppContext;
class QtSqlDatabaseManager;

// The core application's work on the help-desk database. Each call connects afresh through
// db.ini and lets the connection go again, as the Monitor does: between runs nothing is held
// open, so the database may be moved or restarted.
class CoreDatabase {
  public:
    // `ctx` gives the Controls section (DBINIPath, the login) and must outlive this.
    CoreDatabase(AppContext& ctx, QString applicationFolder);

    // DBINIPath of the Controls section when the Monitor wrote one (the instance's database),
    // else the application folder.
    QString dbIniFolder() const;
    bool configured() const;

    // The term SHORT_PRODUCT_NAME_MONITOR (its key when the term is missing, like the
    // Monitor's term lookup); nothing when the database or the store cannot be reached.
    std::optional<QString> shortMonitorName();

    struct SendResult {
        enum class Outcome { NoDatabase, Failed, SendingOff, Done };
        Outcome outcome = Outcome::NoDatabase;
        long sent = 0;
        QString error;
    };
    // A processing run's sending: every unsent message (Sent is null) is stamped sent now.
    // With sending off it only checks that the database can be reached.
    SendResult sendUnsent(bool sendingOn, const DateValue& now);

  private:
    std::optional<QString> lookUpShortMonitorName();
    // Connected, or the reason why not.
    bool connect(QtSqlDatabaseManager& database, QString& error);

    AppContext& ctx_;
    QString applicationFolder_;
};

}  // namespace hvx
