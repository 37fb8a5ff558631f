#include "RecordingErrorManager.h"

namespace hvx::test {

void RecordingErrorManager::SetErrorNumber(long number) {
    ErrorManagerBase::SetErrorNumber(number);
    writes.append(QStringLiteral("ErrorNumber=%1").arg(number));
}

void RecordingErrorManager::SetErrorDescription(const QString& description) {
    ErrorManagerBase::SetErrorDescription(description);
    writes.append(QStringLiteral("ErrorDescription=") + description);
}

void RecordingErrorManager::SetErrorText(const QString& text) {
    ErrorManagerBase::SetErrorText(text);
    writes.append(QStringLiteral("ErrorText=") + text);
}

void RecordingErrorManager::SetErrorSource(const QString& source) {
    ErrorManagerBase::SetErrorSource(source);
    writes.append(QStringLiteral("ErrorSource=") + source);
}

void RecordingErrorManager::SetStartupComplete(bool complete) {
    ErrorManagerBase::SetStartupComplete(complete);
    writes.append(QStringLiteral("StartupComplete=%1").arg(complete));
}

void RecordingErrorManager::SetEnabled(bool enabled) {
    ErrorManagerBase::SetEnabled(enabled);
    writes.append(QStringLiteral("Enabled=%1").arg(enabled));
}

void RecordingErrorManager::SetLogFile(const QString& path) {
    ErrorManagerBase::SetLogFile(path);
    writes.append(QStringLiteral("LogFile=") + path);
}

void RecordingErrorManager::SetLogFileLimit(double megabytes) {
    ErrorManagerBase::SetLogFileLimit(megabytes);
    writes.append(QStringLiteral("LogFileLimit=%1").arg(megabytes));
}

void RecordingErrorManager::Report(bool& isTrace) {
    writes.append(QStringLiteral("Report(%1)").arg(isTrace ? "trace" : "error"));
    reports.append((isTrace ? QStringLiteral("TRACE: ") : QStringLiteral("ERROR: ")) + ErrorText());
}

}  // namespace hvx::test
