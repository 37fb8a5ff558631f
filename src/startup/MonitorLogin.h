#pragma once

namespace hvx {

struct AppContext;
struct SystemSettings;

// What the login check hands back.
enum class LoginStatus { Refused = 0, Allowed = 1, HeldElsewhere = 2 };

// True when the database's DBVersion is the one this program was built for.
bool CheckDatabaseVersion(AppContext& ctx);
// Loads the terms, logs the Monitor in, loads the system settings and builds the database
// description. On false the database manager has been closed and released.
bool InitialiseFromDatabase(AppContext& ctx, SystemSettings& settings, LoginStatus& status);
// True when the login was written.
bool LoginMonitor(AppContext& ctx, LoginStatus& status);
LoginStatus CheckMonitorLogin(AppContext& ctx);
void LogoutMonitor(AppContext& ctx);

// The database version this program requires.
inline constexpr int kRequiredDatabaseVersion = 12;

}  // namespace hvx
