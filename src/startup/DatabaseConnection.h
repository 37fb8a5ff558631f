#pragma once

namespace hvx {

struct AppContext;
struct SystemSettings;
enum class LoginStatus;

// Connects to the database that db.ini names (running the connection wizard when there is
// none, or when the operator asks after a failed connection), checks its version, and runs
// the rest of the database start-up. True when all of it succeeded.
bool ConnectDatabase(AppContext& ctx, SystemSettings& settings, LoginStatus& status);
// True when the wizard was completed.
bool RunConnectionWizard(AppContext& ctx);
// "v12.00.1 [Access>/path/help.db]": the program version and the database.
void BuildDatabaseDescription(AppContext& ctx);

}  // namespace hvx
