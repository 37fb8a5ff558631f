#pragma once

#include "ControlValues.h"
#include "platform/DatabaseManager.h"
#include "platform/Environment.h"
#include "platform/ErrorManager.h"
#include "platform/ProductComponents.h"
#include "platform/SqlFormatters.h"
#include "platform/StringTable.h"

#include <QString>

#include <memory>

namespace hvx {

class SharedSectionReads;

// The five service switches kept in the Options section; true means the service is off.
struct StopSwitches {
    bool readingEmail = false;
    bool sendingEmail = false;
    bool processingSLAs = false;
    bool onHold = false;
    bool archiving = false;
};

// The process-wide state of one Monitor: created by the entry procedure and handed to every
// procedure that needs it, so nothing of it hides in globals.
struct AppContext {
    explicit AppContext(Environment& environment) : env(environment) {}

    Environment& env;

    // The code of the procedure step in force; error reports quote it.
    long procedureCode = 0;

    QString dateFormat;
    QString dateTimeFormat;
    QString termContext;
    QString applicationTitle;
    QString localFolderRegistryPath;
    QString registryBasePath;

    bool multiInstance = false;
    QString instanceName;
    QString instanceDbIniFolder;
    QString controlsSection = QString(section::kControls);
    QString optionsSection = QString(section::kOptions);

    std::unique_ptr<ErrorManager> errorManager;
    std::unique_ptr<DatabaseManager> databaseManager;
    std::unique_ptr<SqlStringFormatter> sqlStringFormatter;
    std::unique_ptr<SqlValueFormatter> sqlValueFormatter;
    std::unique_ptr<StringTable> stringTable;
    std::unique_ptr<TermTranslator> termTranslator;

    QString localFolder;
    QString computerName;
    QString shortCompanyName;
    QString shortProductName;
    QString databaseUserId;
    QString databasePassword;
    // Program version and database, for the status bar and the log.
    QString databaseDescription;

    // The reads of one section shared for a while (see RegFunctions.h); null when none are.
    SharedSectionReads* sharedReads = nullptr;

    bool traceOn = false;
    StopSwitches stop;
    QString coreWindowCaption;
};

}  // namespace hvx
