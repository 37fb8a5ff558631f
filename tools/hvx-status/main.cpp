// hvx-status: one look at a Monitor and its core application, for shells, cron jobs and
// monitoring systems. It reads what the Monitor itself reads (the per-user store and the
// windows by caption) and never talks to the Monitor nor writes to the store.

#include "HelpDeskFacts.h"
#include "MonitorWindows.h"
#include "ReadOnlyStore.h"
#include "StatusReport.h"
#include "channel/ControlValues.h"
#include "components/BuiltInStringTable.h"
#include "components/SqliteRegistryStore.h"
#include "platform/posix/SocketWindowDirectory.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QStringList>

#include <cstdio>
#include <optional>

namespace {

using hvx::Level;

struct Invocation {
    QString instance;
    QString dbIniFolder;
    std::optional<QString> title;
    bool json = false;
};

void write(std::FILE* stream, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<std::size_t>(utf8.size()), stream);
}

// The installed desktop entry when hvx-status runs from an installation, else its place
// under the installation's prefix.
QString desktopEntry() {
    const QString installed = QDir::cleanPath(QCoreApplication::applicationDirPath() +
                                              QStringLiteral("/../share/applications/") +
                                              QStringLiteral("hvxmonitor.desktop"));
    return QFileInfo::exists(installed)
               ? installed
               : QStringLiteral("PREFIX/share/applications/hvxmonitor.desktop");
}

QString usageText() {
    return QStringLiteral(
               "usage: hvx-status [--json] [--db-ini DIR] [--title TITLE] [INSTANCE]\n"
               "\n"
               "One look at a Monitor and its core application, from the per-user store and the\n"
               "windows they show; it never talks to the Monitor and never writes to the store.\n"
               "It tells whether the Monitor's window is up, whether the core application's\n"
               "window is, State in words, Processing, Status, ErrorInfo, CoreHasDBIssues and\n"
               "the service switches. INSTANCE is a name of monitornames.txt, spelt as there\n"
               "(sections Controls:INSTANCE and Options:INSTANCE); without it, the\n"
               "single-instance Monitor.\n"
               "\n"
               "  --json         one JSON object instead of text (fields listed in the README)\n"
               "  --db-ini DIR   also read the Monitor's login row of SystemUsers (who runs it,\n"
               "                 on which computer) from the database of DIR/db.ini\n"
               "  --title TITLE  the single-instance Monitor's title; otherwise it is read from\n"
               "                 the database of --db-ini DIR, or of the db.ini beside hvx-status\n"
               "\n"
               "Exit codes, as monitoring plugins use them (Nagios, Icinga, Zabbix, cron); the\n"
               "first line of the text is the one-line summary:\n"
               "  0 OK        the Monitor and its core application run without error\n"
               "  1 WARNING   suspended, errors logged (ErrorInfo), database issues, or the core\n"
               "              application has not started processing\n"
               "  2 CRITICAL  no Monitor window, the core application aborted, or it does not\n"
               "              run while the Monitor is up\n"
               "  3 UNKNOWN   the store cannot be read, the Monitor's title cannot be told, or\n"
               "              the arguments are wrong\n"
               "\n"
               "The store is $HVX_REGISTRY, else $XDG_CONFIG_HOME/halvex/registry.sqlite3.\n"
               "\n"
               "Starting the Monitor at login, as the desktop does it (XDG autostart): copy its\n"
               "desktop entry into the autostart folder.\n"
               "  mkdir -p \"${XDG_CONFIG_HOME:-$HOME/.config}/autostart\"\n"
               "  cp %1 \"${XDG_CONFIG_HOME:-$HOME/.config}/autostart/\"\n"
               "Without a desktop, run it headless as a systemd user service and watch it:\n"
               "  systemctl --user enable --now hvx-monitor.service\n"
               "  hvx-status || journalctl --user -u hvx-monitor.service -n 20\n")
        .arg(desktopEntry());
}

std::optional<Invocation> parse(const QStringList& arguments, QString& error) {
    Invocation call;
    QStringList positional;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const bool hasNext = i + 1 < arguments.size();
        if (argument == QLatin1String("--json")) {
            call.json = true;
        } else if (argument == QLatin1String("--db-ini") && hasNext) {
            call.dbIniFolder = arguments[++i];
        } else if (argument == QLatin1String("--title") && hasNext) {
            call.title = arguments[++i];
        } else if (argument.startsWith(QLatin1Char('-'))) {
            error = QStringLiteral("unknown option or missing argument: %1").arg(argument);
            return std::nullopt;
        } else {
            positional << argument;
        }
    }
    if (positional.size() > 1) {
        error = QStringLiteral("one instance at a time");
        return std::nullopt;
    }
    call.instance = positional.value(0);
    return call;
}

// Reads the instance's control values and service switches, all from one moment.
void readStore(hvx::Observation& seen, const QString& basePath, QString& userId,
               QString& password) {
    using namespace hvx;
    ReadOnlyStore store(seen.store);
    if (!store.open()) {
        seen.storeError = store.error();
        return;
    }
    const QString controls =
        basePath + QLatin1Char('\\') + instanceSection(section::kControls, seen.instance);
    const QString options =
        basePath + QLatin1Char('\\') + instanceSection(section::kOptions, seen.instance);
    struct Read {
        const QString& keyPath;
        QLatin1String name;
        QLatin1String fallback;
        QString& into;
    };
    const Read reads[] = {
        {controls, value::kState, defaults::kState, seen.state},
        {controls, value::kProcessing, defaults::kProcessing, seen.processing},
        {controls, value::kStatus, defaults::kStatus, seen.status},
        {controls, value::kErrorInfo, defaults::kErrorInfo, seen.errorInfo},
        {controls, value::kCoreHasDBIssues, defaults::kCoreHasDBIssues, seen.coreHasDBIssues},
        {controls, value::kUserId, QLatin1String(""), userId},
        {controls, value::kPwd, QLatin1String(""), password},
        {options, value::kStopReadingEmail, defaults::kStopSwitch, seen.stopSwitches[0]},
        {options, value::kStopSendingEmail, defaults::kStopSwitch, seen.stopSwitches[1]},
        {options, value::kStopProcessingSLAs, defaults::kStopSwitch, seen.stopSwitches[2]},
        {options, value::kStopOnHold, defaults::kStopSwitch, seen.stopSwitches[3]},
        {options, value::kStopArchiving, defaults::kStopSwitch, seen.stopSwitches[4]},
    };
    for (const Read& read : reads) {
        const std::optional<QString> text = store.value(read.keyPath, read.name, read.fallback);
        if (!text) {
            seen.storeError = store.error();
            return;
        }
        read.into = *text;
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    arguments.removeFirst();
    if (arguments.contains(QLatin1String("--help")) || arguments.contains(QLatin1String("-h"))) {
        write(stdout, usageText());
        return 0;
    }
    QString error;
    const std::optional<Invocation> call = parse(arguments, error);
    if (!call) {
        write(stdout, QStringLiteral("HVXMONITOR UNKNOWN - %1\n").arg(error));
        write(stderr, usageText());
        return static_cast<int>(Level::Unknown);
    }

    hvx::Observation seen;
    seen.instance = call->instance;
    seen.store = hvx::SqliteRegistryStore::defaultPath();
    QString userId;
    QString password;
    readStore(seen, hvx::BuiltInStringTable().LoadString(hvx::StringTable::kRegistryBasePath),
              userId, password);

    // A multi-instance Monitor's title follows from its name; the single-instance Monitor
    // takes a term of its database.
    seen.loginAsked = !call->dbIniFolder.isEmpty();
    const bool titleFromDatabase = seen.instance.isEmpty() && !call->title;
    if (seen.loginAsked || titleFromDatabase) {
        const QString folder =
            seen.loginAsked ? call->dbIniFolder : QCoreApplication::applicationDirPath();
        const hvx::HelpDeskFacts facts = hvx::readHelpDeskFacts(folder, userId, password);
        seen.login = facts.login;
        seen.databaseError = facts.error;
        if (titleFromDatabase && facts.error.isEmpty()) {
            seen.title = facts.shortMonitorName;
        } else if (titleFromDatabase) {
            seen.titleError =
                QStringLiteral("%1 (give --db-ini DIR or --title TITLE)").arg(facts.error);
        }
    }
    if (!seen.instance.isEmpty()) {
        seen.title = seen.instance + QStringLiteral(" Monitor");
    } else if (call->title) {
        seen.title = call->title;
    }

    if (seen.title) {
        const hvx::SocketWindowDirectory windows;
        seen.monitorCaption = hvx::findWindow(windows, hvx::monitorCaptions(*seen.title));
        seen.coreWindow = windows.findWindow(hvx::coreCaption(*seen.title));
    }

    const hvx::Verdict verdict = hvx::assess(seen);
    if (call->json) {
        write(stdout,
              QString::fromUtf8(
                  QJsonDocument(hvx::jsonReport(seen, verdict)).toJson(QJsonDocument::Compact)) +
                  QLatin1Char('\n'));
    } else {
        write(stdout, hvx::humanReport(seen, verdict));
    }
    return static_cast<int>(verdict.level);
}
