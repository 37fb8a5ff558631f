#pragma once

#include <QLatin1String>
#include <QString>

namespace hvx {

// The vocabulary of the control channel shared with the core application: section and
// value names, codes and the defaults with which the Monitor reads them. Defined here once.

namespace section {
inline constexpr QLatin1String kControls{"Controls"};
inline constexpr QLatin1String kOptions{"Options"};
// An instance's sections are the plain name, this separator and the instance name.
inline constexpr QLatin1String kInstanceSeparator{":"};
// Shared by every instance.
inline constexpr QLatin1String kSharedOptions{"Options"};
inline constexpr QLatin1String kWarnings{"Warnings"};
}  // namespace section

namespace value {
// Controls section.
inline constexpr QLatin1String kCommand{"Command"};
inline constexpr QLatin1String kState{"State"};
inline constexpr QLatin1String kProcessing{"Processing"};
inline constexpr QLatin1String kStatus{"Status"};
inline constexpr QLatin1String kErrorInfo{"ErrorInfo"};
inline constexpr QLatin1String kCoreHasDBIssues{"CoreHasDBIssues"};
inline constexpr QLatin1String kTrace{"Trace"};
inline constexpr QLatin1String kUserId{"UserId"};
inline constexpr QLatin1String kPwd{"Pwd"};
inline constexpr QLatin1String kDBINIPath{"DBINIPath"};
inline constexpr QLatin1String kUseSLAs{"UseSLAs"};
inline constexpr QLatin1String kRecreateObjects{"RecreateObjects"};
inline constexpr QLatin1String kLogFileSize{"LogFileSize"};
inline constexpr QLatin1String kSLACheckInterval{"SLACheckInterval"};
inline constexpr QLatin1String kEmailSendInterval{"EmailSendInterval"};
inline constexpr QLatin1String kEmailReadInterval{"EmailReadInterval"};
inline constexpr QLatin1String kMonitorTicks{"MonitorTicks"};
inline constexpr QLatin1String kCnnTolerance{"CnnTolerance"};
// Options section.
inline constexpr QLatin1String kStopReadingEmail{"StopReadingEmail"};
inline constexpr QLatin1String kStopSendingEmail{"StopSendingEmail"};
inline constexpr QLatin1String kStopProcessingSLAs{"StopProcessingSLAs"};
inline constexpr QLatin1String kStopOnHold{"StopOnHold"};
inline constexpr QLatin1String kStopArchiving{"StopArchiving"};
inline constexpr QLatin1String kManualMailIn{"ManualMailIn"};
inline constexpr QLatin1String kAlertMsg{"AlertMsg"};
inline constexpr QLatin1String kAlertOp1{"AlertOp1"};
inline constexpr QLatin1String kAlertOp2{"AlertOp2"};
inline constexpr QLatin1String kAlertOp3{"AlertOp3"};
// Warnings section: the key of the exit confirmation.
inline constexpr QLatin1String kExitMonitor{"ExitMonitor"};
}  // namespace value

// Command codes, written by the Monitor only.
namespace command {
inline constexpr QLatin1String kNone{"0"};
inline constexpr QLatin1String kStart{"1"};
inline constexpr QLatin1String kResume{"2"};
inline constexpr QLatin1String kSuspend{"3"};
inline constexpr QLatin1String kRunNow{"4"};
inline constexpr QLatin1String kClose{"5"};
inline constexpr QLatin1String kRenew{"6"};
inline constexpr QLatin1String kPreview{"7"};
}  // namespace command

// State codes, written by the core application.
namespace state {
inline constexpr QLatin1String kNotStarted{"0"};
inline constexpr QLatin1String kRunning{"1"};
inline constexpr QLatin1String kSuspended{"2"};
inline constexpr QLatin1String kAborted{"999"};
}  // namespace state

// Defaults with which the Monitor reads the values: a missing value means the default.
namespace defaults {
inline constexpr QLatin1String kCommand = command::kNone;
inline constexpr QLatin1String kState = state::kNotStarted;
inline constexpr QLatin1String kProcessing{"0"};
inline constexpr QLatin1String kStatus{""};
inline constexpr QLatin1String kErrorInfo{""};
inline constexpr QLatin1String kCoreHasDBIssues{"0"};
inline constexpr QLatin1String kStopSwitch{"0"};
inline constexpr QLatin1String kTrace{"0"};
inline constexpr QLatin1String kWarning{"0"};
inline constexpr QLatin1String kAlert{""};
}  // namespace defaults

// Codes are compared as text without regard to case: "01" is not "1".
inline bool isCode(const QString& text, QLatin1String code) {
    return text.compare(code, Qt::CaseInsensitive) == 0;
}

// "Controls" or "Controls:North".
inline QString instanceSection(QLatin1String plain, const QString& instanceName) {
    return instanceName.isEmpty() ? QString(plain)
                                  : QString(plain) + section::kInstanceSeparator + instanceName;
}

}  // namespace hvx
