#include "SupportBundleSender.h"

#include "OwnLogFile.h"
#include "Version.h"
#include "platform/Clock.h"
#include "platform/ErrorManager.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"
#include "platform/ProgramRunner.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTemporaryFile>

#include <utility>

namespace hvx {

namespace {

constexpr qint64 kCopyChunk = qint64{64} * 1024;
// xdg-email ends at once when it has handed over; one that runs the mail client in the
// foreground is taken to have handed over once this wait is up.
constexpr int kHandOverWaitMs = 10000;

}  // namespace

SupportBundleSender::SupportBundleSender(const Clock& clock, MessageBoxes& boxes,
                                         ProgramRunner& runner, QString title)
    : clock_(clock), boxes_(boxes), runner_(runner), title_(std::move(title)) {}

QByteArray SupportBundleSender::header(const QString& log) const {
    const QDateTime now = clock_.now().toDateTime();
    QByteArray text = "HvxMonitor support bundle\n";
    text += "Version: " + QByteArray(version::kText) + "\n";
    text += "Qt: " + QByteArray(qVersion()) + "\n";
    text += "System: " + QSysInfo::prettyProductName().toUtf8() + " (" +
            QSysInfo::kernelType().toUtf8() + " " + QSysInfo::kernelVersion().toUtf8() + ", " +
            QSysInfo::currentCpuArchitecture().toUtf8() + ")\n";
    text += "Computer: " + QSysInfo::machineHostName().toUtf8() + "\n";
    text += "Created: " + now.toString(Qt::ISODate).toUtf8() + "\n";
    text += "Trace: " + QByteArray(trace_ ? "on" : "off") + "\n";
    text += "----- " + QFileInfo(log).fileName().toUtf8() + " -----\n";
    return text;
}

QString SupportBundleSender::writeBundle() const {
    const QString log = errorManager_ != nullptr ? errorManager_->LogFile() : QString();
    if (log.isEmpty()) {
        return {};
    }
    const QString stamp = clock_.now().toDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QTemporaryFile bundle(QFileInfo(log).absolutePath() + QStringLiteral("/support-") + stamp +
                          QStringLiteral("-XXXXXX.txt"));
    if (!bundle.open()) {
        return {};
    }
    const QByteArray head = header(log);
    if (bundle.write(head) != head.size()) {
        return {};
    }
    const OwnLogFile source(log, OwnLogFile::Use::Read);
    if (!source.isOpen()) {
        const QByteArray none = "(no log file)\n";
        if (bundle.write(none) != none.size()) {
            return {};
        }
    }
    const qint64 size = source.size();
    for (qint64 offset = 0; offset < size; offset += kCopyChunk) {
        const QByteArray chunk = source.read(offset, kCopyChunk);
        if (chunk.isEmpty() || bundle.write(chunk) != chunk.size()) {
            return {};
        }
    }
    if (!bundle.flush()) {
        return {};
    }
    bundle.setAutoRemove(false);
    return bundle.fileName();
}

bool SupportBundleSender::SendLog() {
    const QString bundle = writeBundle();
    if (bundle.isEmpty()) {
        boxes_.Show({QStringLiteral("The support bundle could not be written beside the log file."),
                     title_, MessageIcon::Exclamation, MessageButtons::OkOnly, 1});
        return false;
    }
    QStringList arguments{QStringLiteral("--subject"), QStringLiteral("HvxMonitor log"),
                          QStringLiteral("--attach"), bundle};
    const QString address = translator_ != nullptr
                                ? translator_->GetTerm(QStringLiteral("SUPPORT_EMAIL"), QString())
                                : QString();
    if (address.contains(QLatin1Char('@'))) {
        arguments.append(address);
    }
    const QString mailer = QStandardPaths::findExecutable(QStringLiteral("xdg-email"));
    const ProgramOutcome outcome =
        mailer.isEmpty() ? ProgramOutcome{} : runner_.run(mailer, arguments, kHandOverWaitMs);
    if (!outcome.started) {
        tellWhereBundleLies(QStringLiteral("No mail program could be started."), bundle);
        return false;
    }
    if (!outcome.stillRunning && outcome.exitCode != 0) {
        const QString reason =
            outcome.message.isEmpty() ? QStringLiteral("it ended with a failure") : outcome.message;
        tellWhereBundleLies(
            QStringLiteral("Your mail program could not take the support bundle (") + reason +
                QStringLiteral(")."),
            bundle);
        return false;
    }
    boxes_.Show(
        {QStringLiteral("Your mail program has been asked to send the support bundle:\r\n") +
             bundle,
         title_, MessageIcon::Information, MessageButtons::OkOnly, 1});
    return true;
}

void SupportBundleSender::tellWhereBundleLies(const QString& what, const QString& bundle) {
    // The file manager shows the operator the bundle to send by hand.
    if (folderOpener_ != nullptr) {
        folderOpener_->openFolder(QFileInfo(bundle).absolutePath());
    }
    boxes_.Show({what + QStringLiteral(" The support bundle lies at:\r\n") + bundle +
                     QStringLiteral("\r\nPlease send it to support."),
                 title_, MessageIcon::Exclamation, MessageButtons::OkOnly, 1});
}

}  // namespace hvx
