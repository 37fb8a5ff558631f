#include "RecordingErrorManager.h"

namespace hvx::test {

void RecordingErrorManager::SetErrorNumber(long number) {
    number_ = number;
    writes.append(QStringLiteral("ErrorNumber=%1").arg(number));
}

void RecordingErrorManager::SetErrorDescription(const QString& description) {
    description_ = description;
    writes.append(QStringLiteral("ErrorDescription=") + description);
}

void RecordingErrorManager::SetErrorText(const QString& text) {
    text_ = text;
    writes.append(QStringLiteral("ErrorText=") + text);
}

void RecordingErrorManager::SetErrorSource(const QString& source) {
    source_ = source;
    writes.append(QStringLiteral("ErrorSource=") + source);
}

void RecordingErrorManager::SetStartupComplete(bool complete) {
    startupComplete_ = complete;
    writes.append(QStringLiteral("StartupComplete=%1").arg(complete));
}

void RecordingErrorManager::SetEnabled(bool enabled) {
    enabled_ = enabled;
    writes.append(QStringLiteral("Enabled=%1").arg(enabled));
}

void RecordingErrorManager::SetLogFile(const QString& path) {
    logFile_ = path;
    writes.append(QStringLiteral("LogFile=") + path);
}

void RecordingErrorManager::SetLogFileLimit(double megabytes) {
    limit_ = megabytes;
    writes.append(QStringLiteral("LogFileLimit=%1").arg(megabytes));
}

void RecordingErrorManager::Report(bool& isTrace) {
    writes.append(QStringLiteral("Report(%1)").arg(isTrace ? "trace" : "error"));
    reports.append((isTrace ? QStringLiteral("TRACE: ") : QStringLiteral("ERROR: ")) + text_);
}

}  // namespace hvx::test
