// HvxMonitor: builds the real Environment (our editions of the product components and the
// Linux and Qt editions of the platform services) and runs the entry procedure.
#include "channel/AppContext.h"
#include "commands/ui/UnattendedMessageWithTurnOff.h"
#include "commands/ui/UnattendedOperatorName.h"
#include "commands/ui/dlgMessageWithTurnOff.h"
#include "commands/ui/dlgOperatorName.h"
#include "components/BuiltInStringTable.h"
#include "components/FileErrorManager.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "components/SqliteRegistryStore.h"
#include "components/StoreLocalFolder.h"
#include "components/SupportBundleSender.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "components/ui/QtConnectionWizard.h"
#include "components/ui/QtSplash.h"
#include "platform/posix/PosixOsServices.h"
#include "platform/posix/SessionSignals.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "platform/posix/SystemClock.h"
#include "platform/posix/XdgFileOpener.h"
#include "platform/qt/QtMessageBoxes.h"
#include "platform/qt/QtUserInterface.h"
#include "platform/qt/UnattendedMessageBoxes.h"
#include "platform/qt/UnattendedSession.h"
#include "settings/SystemSettings.h"
#include "settings/ui/UnattendedDeleteOldMessages.h"
#include "settings/ui/dlgDeleteOldMessages.h"
#include "startup/Driver.h"
#include "startup/ui/dlgMonitorNames.h"
#include "supervision/frmMonitor.h"

#include <QApplication>

#include <csignal>
#include <memory>
#include <optional>

int main(int argc, char* argv[]) {
    using namespace hvx;
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("HvxMonitor"));

    SystemClock clock;
    std::optional<UnattendedSession> unattended = UnattendedSession::fromEnvironment();
    QtMessageBoxes desktopBoxes;
    std::optional<UnattendedMessageBoxes> unattendedBoxes;
    if (unattended) {
        unattendedBoxes.emplace(*unattended, QApplication::applicationName());
    }
    MessageBoxes& boxes = unattendedBoxes ? static_cast<MessageBoxes&>(*unattendedBoxes)
                                          : static_cast<MessageBoxes&>(desktopBoxes);
    HostComputerInfo computer;
    SocketInstanceGuard instanceGuard(QCoreApplication::applicationFilePath());
    QtUserInterface userInterface;
    SpawnProcessLauncher launcher;
    SocketWindowDirectory windows;
    XdgFileOpener fileOpener(launcher);

    Environment env;
    env.applicationFolder = QCoreApplication::applicationDirPath();
    env.clock = &clock;
    env.messageBoxes = &boxes;
    env.computer = &computer;
    env.instanceGuard = &instanceGuard;
    env.userInterface = &userInterface;
    env.launcher = &launcher;
    env.windows = &windows;
    env.fileOpener = &fileOpener;

    AppContext ctx(env);
    SystemSettings settings;

    const QString registry = SqliteRegistryStore::defaultPath();
    env.registryStore = SqliteRegistryStore::factory(registry);
    env.errorManager = [&] { return std::make_unique<FileErrorManager>(clock, &boxes); };
    env.databaseManager = QtSqlDatabaseManager::factory();
    env.sqlStringFormatter = [] { return std::make_unique<SqlLiteralStringFormatter>(); };
    env.sqlValueFormatter = [] { return std::make_unique<SqlLiteralValueFormatter>(); };
    env.stringTable = [] { return std::make_unique<BuiltInStringTable>(); };
    env.localFolder = [&] { return std::make_unique<StoreLocalFolder>(env.registryStore); };
    env.splash = [] {
        return std::make_unique<QtSplash>(QStringLiteral("Halvex Help Desk Monitor"));
    };
    env.termTranslator = [] { return std::make_unique<DatabaseTermTranslator>(); };
    env.logSender = [&] {
        return std::make_unique<SupportBundleSender>(clock, boxes, launcher, ctx.applicationTitle);
    };
    if (unattended) {
        env.connectionWizard = [&] {
            return std::make_unique<UnattendedConnectionWizard>(*unattended);
        };
        env.deleteOldMessagesDialog = [&] {
            return std::make_unique<UnattendedDeleteOldMessages>(*unattended, boxes);
        };
        env.messageWithTurnOffDialog = [&] {
            return std::make_unique<UnattendedMessageWithTurnOff>(ctx, *unattended);
        };
        env.monitorNamesDialog = [&] {
            return std::make_unique<UnattendedMonitorNames>(ctx, *unattended);
        };
        env.operatorNameDialog = [&] {
            return std::make_unique<UnattendedOperatorName>(ctx, *unattended);
        };
    } else {
        env.connectionWizard = [&] {
            return std::make_unique<QtConnectionWizard>(env.applicationFolder, clock);
        };
        env.deleteOldMessagesDialog = [&] { return std::make_unique<dlgDeleteOldMessages>(boxes); };
        env.messageWithTurnOffDialog = [&] { return std::make_unique<dlgMessageWithTurnOff>(ctx); };
        env.monitorNamesDialog = [&] { return std::make_unique<dlgMonitorNames>(ctx); };
        env.operatorNameDialog = [&] { return std::make_unique<dlgOperatorName>(ctx); };
    }

    std::unique_ptr<frmMonitor> window;
    const bool shown = Main(ctx, settings, [&] {
        window = std::make_unique<frmMonitor>(ctx, settings);
        window->Form_Load();
    });
    if (!shown) {
        return 1;
    }
    // The session's signals ask the window to close, the same path as the close box.
    SessionSignals sessionEnd({SIGTERM, SIGINT, SIGHUP});
    QObject::connect(&sessionEnd, &SessionSignals::received, window.get(), [&] {
        if (!window->close()) {
            // Declined by the operator while the session ends: the session wins.
            window->Form_Unload();
            QApplication::quit();
        }
    });
    return QApplication::exec();
}
