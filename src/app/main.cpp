// HvxMonitor: builds the real Environment (our editions of the product components and the
// Linux and Qt editions of the platform services) and runs the entry procedure.
#include "app/ApplicationIcon.h"
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
#include "platform/dbus/FreedesktopNotifier.h"
#include "platform/posix/GioFileOpener.h"
#include "platform/posix/PosixOsServices.h"
#include "platform/posix/QProcessProgramRunner.h"
#include "platform/posix/SessionSignals.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "platform/posix/SystemClock.h"
#include "platform/qt/MessagePictureStyle.h"
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
#include <QStyle>
#include <QTimer>

#include <csignal>
#include <memory>
#include <optional>

int main(int argc, char* argv[]) {
    using namespace hvx;
    // Without TZ the C library looks at /etc/localtime again on every local-time conversion,
    // several times a tick; named this way it reads the zone once. A zone changed while the
    // Monitor runs counts from its next start.
    if (qEnvironmentVariableIsEmpty("TZ")) {
        qputenv("TZ", ":/etc/localtime");
    }
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("HvxMonitor"));
    // Every window's icon, and the desktop entry that the desktop matches the windows with.
    QApplication::setWindowIcon(applicationIcon());
    QGuiApplication::setDesktopFileName(QStringLiteral("hvxmonitor"));
    // Message pictures that stay sharp when the desktop is scaled.
    QApplication::setStyle(new MessagePictureStyle(QApplication::style()->name()));

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
    QProcessProgramRunner programRunner;
    SocketWindowDirectory windows;
    GioFileOpener fileOpener;
    FreedesktopNotifier notifier(QApplication::applicationName(), QStringLiteral("hvxmonitor"));

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
    env.notifier = &notifier;

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
        auto sender = std::make_unique<SupportBundleSender>(clock, boxes, programRunner,
                                                            ctx.applicationTitle);
        sender->setFolderOpener(&fileOpener);
        return sender;
    };
    if (unattended) {
        env.connectionWizard = [&] {
            return std::make_unique<UnattendedConnectionWizard>(*unattended, env.applicationFolder,
                                                                clock);
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

    // The store is the channel to the core application. The error manager that would report
    // a store that cannot be used does not exist yet when start-up first needs the store, so
    // say it here, naming the file; a damaged store put aside is said once, and start-up goes
    // on with the fresh one.
    try {
        env.registryStore();
    } catch (const RuntimeError& error) {
        boxes.Show(
            {error.description(), std::nullopt, MessageIcon::Critical, MessageButtons::OkOnly, 1});
        try {
            env.registryStore();
        } catch (const RuntimeError&) {
            return 1;
        }
    }

    // SIGTERM and SIGHUP (the session ends, a service manager stops the Monitor) cannot be
    // declined: the orderly shutdown runs without a question. SIGINT (Ctrl-C in the terminal)
    // is the operator's own close request: the close box's path, and a No keeps running. A
    // second Ctrl-C while that question is open is not asked again. A signal that arrives
    // during start-up (also while the window loads and lets events through) waits for the
    // event loop: an exit asked before the loop runs would be lost, and the Monitor would
    // stay up after its orderly shutdown.
    SessionSignals sessionEnd({SIGTERM, SIGINT, SIGHUP});
    std::unique_ptr<frmMonitor> window;
    bool started = false;
    int signalDuringStartUp = 0;
    bool asking = false;
    const auto endBySignal = [&](int number) {
        if (!started) {
            signalDuringStartUp = number;
        } else if (number != SIGINT) {
            window->Form_Unload();
            // Unlike quit(), which windows and dialogs may decline.
            QApplication::exit(0);
        } else if (!asking) {
            asking = true;
            window->close();
            asking = false;
        }
    };
    QObject::connect(&sessionEnd, &SessionSignals::received, &application, endBySignal);

    const bool shown = Main(ctx, settings, [&] {
        window = std::make_unique<frmMonitor>(ctx, settings);
        window->Form_Load();
    });
    if (!shown) {
        return 1;
    }
    started = true;
    if (signalDuringStartUp != 0) {
        QTimer::singleShot(0, &application, [&] { endBySignal(signalDuringStartUp); });
    }
    return QApplication::exec();
}
