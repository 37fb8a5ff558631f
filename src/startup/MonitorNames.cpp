#include "MonitorNames.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "platform/Conversions.h"
#include "platform/Dialogs.h"
#include "platform/InputFile.h"
#include "platform/OsServices.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace hvx {

namespace {

QString errorText(const RuntimeError& error, long code) {
    return QStringLiteral("Error %1, %2 (Code %3).")
        .arg(error.number())
        .arg(error.description())
        .arg(code);
}

MessageBoxRequest critical(AppContext& ctx, const QString& text) {
    return {text, ctx.applicationTitle, MessageIcon::Critical, MessageButtons::OkOnly, 1};
}

}  // namespace

namespace {

void describeFailure(MonitorNamesList& list, const RuntimeError& error, long code,
                     const QString& path, const QString& line) {
    list.error = errorText(error, code);
    if (!path.isEmpty()) {
        list.error += QStringLiteral("\r\nFile name is: ") + QFileInfo(path).absoluteFilePath() +
                      QStringLiteral(".");
    }
    if (!line.isEmpty()) {
        list.error += QStringLiteral("\r\nCurrent line is: ") + line + QStringLiteral(".");
    }
}

}  // namespace

MonitorNamesList parseMonitorNames(AppContext& ctx, const QByteArray& content,
                                   const QString& path) {
    MonitorNamesList list;
    QString line;
    try {
        // A line ends at CR, CR LF or LF.
        static const QRegularExpression lineEnd(QStringLiteral("\\r\\n|\\r|\\n"));
        for (const QString& read : QString::fromUtf8(content).split(lineEnd)) {
            line = read;
            ctx.procedureCode = code::kMonitorNamesLine;
            if (trimSpaces(line).isEmpty()) {
                continue;
            }
            const QStringList pieces = line.split(QLatin1Char(','));
            if (pieces.size() < 2) {
                throw RuntimeError::standard(err::SubscriptOutOfRange);
            }
            const QString name = trimSpaces(pieces[0]);
            const QString folder = trimSpaces(pieces[1]);
            if (!name.isEmpty() && !folder.isEmpty()) {
                ctx.procedureCode = code::kMonitorNamesEntry;
                list.entries.push_back({name, folder});
            }
        }
    } catch (const RuntimeError& error) {
        describeFailure(list, error, ctx.procedureCode, path, line);
    }
    return list;
}

MonitorNamesList readMonitorNames(AppContext& ctx, const QString& path) {
    ctx.procedureCode = code::kMonitorNamesDialog;
    QByteArray content;
    try {
        content = readInputFile(path);
    } catch (const RuntimeError& error) {
        MonitorNamesList list;
        describeFailure(list, error, ctx.procedureCode, path, QString());
        return list;
    }
    return parseMonitorNames(ctx, content, path);
}

bool isMonitorNamesFile(const QString& path) {
    const QFileInfo info(path);
    return info.exists() && !info.isDir();
}

InstanceChoice checkInstanceChoice(AppContext& ctx, const std::vector<MonitorNameEntry>& entries,
                                   int selected) {
    ctx.procedureCode = code::kMonitorNamesDialog;
    InstanceChoice choice;
    try {
        if (selected < 0 || selected >= static_cast<int>(entries.size())) {
            choice.refusal = {QStringLiteral("Please select a Monitor instance."),
                              ctx.applicationTitle, MessageIcon::Exclamation,
                              MessageButtons::OkOnly, 1};
            return choice;
        }
        const MonitorNameEntry& entry = entries[static_cast<std::size_t>(selected)];
        choice.name = trimSpaces(entry.name);
        if (choice.name.isEmpty()) {
            choice.refusal =
                critical(ctx, QStringLiteral("The monitornames.txt file is invalid.  ") +
                                  QStringLiteral("There must be a name for each instance."));
            return choice;
        }
        choice.folder = trimSpaces(entry.folder);
        if (choice.folder.endsWith(QLatin1Char('/')) || choice.folder.endsWith(QLatin1Char('\\'))) {
            choice.folder.chop(1);
        }
        if (choice.folder.isEmpty()) {
            choice.refusal =
                critical(ctx, QStringLiteral("The monitornames.txt file is invalid.  ") +
                                  QStringLiteral("There must be a db.ini path for each instance."));
            return choice;
        }
        if (!QFileInfo(choice.folder + QStringLiteral("/db.ini")).isFile()) {
            choice.refusal =
                critical(ctx, QStringLiteral("There is no DB.INI file in this folder, ") +
                                  QStringLiteral("or the folder doesn't exist."));
            return choice;
        }
        if (required(ctx.env.windows).findWindow(choice.name + QStringLiteral(" Monitor"))) {
            choice.refusal =
                critical(ctx, QStringLiteral("This monitor is already running on this computer."));
            return choice;
        }
        choice.accepted = true;
    } catch (const RuntimeError& error) {
        QString text = errorText(error, ctx.procedureCode);
        if (!choice.folder.isEmpty()) {
            text += QStringLiteral("\r\ndb.ini path is ") + choice.folder + QStringLiteral(".");
        }
        choice.refusal = critical(ctx, text);
    }
    return choice;
}

bool SelectMonitorInstance(AppContext& ctx) {
    ctx.procedureCode = code::kSelectMonitorInstance;
    try {
        auto dialog = create(ctx.env.monitorNamesDialog, "dlgMonitorNames");
        dialog->Show();
        if (dialog->Cancelled()) {
            return false;
        }
        ctx.instanceDbIniFolder = dialog->DBINIPath();
        ctx.instanceName = dialog->MonitorName();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace hvx
