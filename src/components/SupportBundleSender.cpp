#include "SupportBundleSender.h"

#include "Version.h"
#include "platform/Clock.h"
#include "platform/ErrorManager.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStandardPaths>
#include <QSysInfo>

#include <utility>

namespace hvx {

SupportBundleSender::SupportBundleSender(const Clock& clock, MessageBoxes& boxes,
                                         ProcessLauncher& launcher, QString title)
    : clock_(clock), boxes_(boxes), launcher_(launcher), title_(std::move(title)) {}

QString SupportBundleSender::writeBundle() const {
    const QString log = errorManager_ != nullptr ? errorManager_->LogFile() : QString();
    if (log.isEmpty()) {
        return {};
    }
    const QDateTime now = clock_.now().toDateTime();
    const QString path = QFileInfo(log).absolutePath() + QStringLiteral("/support-") +
                         now.toString(QStringLiteral("yyyyMMdd-HHmmss")) + QStringLiteral(".txt");
    QSaveFile bundle(path);
    if (!bundle.open(QIODevice::WriteOnly)) {
        return {};
    }
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
    QFile source(log);
    if (source.open(QIODevice::ReadOnly)) {
        text += source.readAll();
    } else {
        text += "(no log file)\n";
    }
    bundle.write(text);
    return bundle.commit() ? path : QString();
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
    if (!mailer.isEmpty() && launcher_.start(mailer, arguments, WindowStyle::Normal).started) {
        boxes_.Show(
            {QStringLiteral("Your mail program has been asked to send the support bundle:\r\n") +
                 bundle,
             title_, MessageIcon::Information, MessageButtons::OkOnly, 1});
        return true;
    }
    if (folderOpener_ != nullptr) {
        folderOpener_->openFolder(QFileInfo(bundle).absolutePath());
    }
    boxes_.Show(
        {QStringLiteral("No mail program could be started. The support bundle lies at:\r\n") +
             bundle + QStringLiteral("\r\nPlease send it to support."),
         title_, MessageIcon::Information, MessageButtons::OkOnly, 1});
    return false;
}

}  // namespace hvx
