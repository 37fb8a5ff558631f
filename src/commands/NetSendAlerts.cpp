#include "NetSendAlerts.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "platform/Dialogs.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace hvx {

namespace {

constexpr std::array<QLatin1String, 3> kDestinationValues{value::kAlertOp1, value::kAlertOp2,
                                                          value::kAlertOp3};

// The alert command starts minimized and takes the focus.
constexpr WindowStyle kAlertWindowStyle = WindowStyle::Minimized;

// Above this a message goes on standard input: an argument list has a limit of its own
// (128 KiB for one argument on Linux), standard input has none.
constexpr qsizetype kLongestMessageArgument = qsizetype{64} * 1024;

LaunchResult startNetSend(AppContext& ctx, const QString& program, const QString& destination,
                          const QString& message) {
    ProcessLauncher& launcher = required(ctx.env.launcher);
    const QByteArray bytes = message.toUtf8();
    // A message of "-" alone would be taken for the sign to read standard input.
    if (bytes.size() <= kLongestMessageArgument && message != kReadTextFromInput) {
        return launcher.start(program, {destination, message}, kAlertWindowStyle);
    }
    return launcher.start(program, {destination, QString(kReadTextFromInput)}, kAlertWindowStyle,
                          bytes);
}

QString readOption(AppContext& ctx, QLatin1String name) {
    return GetRegValue(ctx, ctx.optionsSection, QString(name), QString(defaults::kAlert));
}

}  // namespace

bool isAcceptableDestination(const QString& destination) {
    const QString trimmed = trimSpaces(destination);
    if (!trimmed.contains(QLatin1Char(' '))) {
        return true;
    }
    return trimmed.startsWith(QLatin1Char('"')) && trimmed.endsWith(QLatin1Char('"'));
}

void ReadAlertSetup(AppContext& ctx, AlertSetup& setup) {
    setup.message = readOption(ctx, value::kAlertMsg);
    for (std::size_t i = 0; i < kDestinationValues.size(); ++i) {
        setup.destinations[i] = readOption(ctx, kDestinationValues[i]);
    }
}

bool SaveAlertSetup(AppContext& ctx, const AlertSetup& setup) {
    try {
        for (const QString& destination : setup.destinations) {
            if (!isAcceptableDestination(destination)) {
                MessageBoxRequest box;
                box.text = QString(kQuotesMessage);
                box.title = ctx.applicationTitle;
                box.icon = MessageIcon::Exclamation;
                required(ctx.env.messageBoxes).Show(box);
                return false;
            }
        }
        SaveRegValue(ctx, ctx.optionsSection, QString(value::kAlertMsg), setup.message);
        for (std::size_t i = 0; i < kDestinationValues.size(); ++i) {
            SaveRegValue(ctx, ctx.optionsSection, QString(kDestinationValues[i]),
                         setup.destinations[i]);
        }
        return true;
    } catch (...) {
        return false;
    }
}

void NetSendSetup(AppContext& ctx) {
    RunTrapped(ctx, code::kMnuNetSendSetupClick, [&] {
        auto dialog = create(ctx.env.operatorNameDialog, "dlgOperatorName");
        dialog->Show();
    });
}

QString NetSendProgram(const AppContext& ctx) {
    const QFileInfo beside(QDir(ctx.env.applicationFolder).filePath(QString(kNetSendProgram)));
    if (!ctx.env.applicationFolder.isEmpty() && beside.isFile() && beside.isExecutable()) {
        return beside.absoluteFilePath();
    }
    QString onPath = QStandardPaths::findExecutable(QString(kNetSendProgram));
    if (onPath.isEmpty()) {
        throw RuntimeError(err::FileNotFound,
                           QStringLiteral("File not found: ") + QString(kNetSendProgram));
    }
    return onPath;
}

void SendOperatorAlerts(AppContext& ctx) {
    ctx.procedureCode = code::kSendOperatorAlerts;
    try {
        const QString message = readOption(ctx, value::kAlertMsg);
        ctx.procedureCode = code::kSendOperatorAlerts;
        if (trimSpaces(message).isEmpty()) {
            return;
        }
        std::array<QString, 3> destinations;
        for (std::size_t i = 0; i < kDestinationValues.size(); ++i) {
            destinations[i] = readOption(ctx, kDestinationValues[i]);
        }
        ctx.procedureCode = code::kSendOperatorAlerts;
        QString program;
        for (const QString& destination : destinations) {
            if (trimSpaces(destination).isEmpty()) {
                continue;
            }
            if (program.isEmpty()) {
                program = NetSendProgram(ctx);
            }
            const LaunchResult launched = startNetSend(ctx, program, destination, message);
            if (!launched.started) {
                throw RuntimeError(launched.errorNumber, launched.errorDescription);
            }
        }
    } catch (...) {
        // Alerts are a courtesy: no message and no log entry.
    }
}

}  // namespace hvx
