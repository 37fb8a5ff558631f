#pragma once

#include "components/ErrorManagerBase.h"

#include <QStringList>

namespace hvx::test {

// An error manager that keeps what it was told: each write of an error member as
// "Member=value" in order, and each report as "ERROR: text" or "TRACE: text".
class RecordingErrorManager final : public ErrorManagerBase {
  public:
    void SetErrorNumber(long number) override {
        ErrorManagerBase::SetErrorNumber(number);
        writes.append(QStringLiteral("ErrorNumber=%1").arg(number));
    }
    void SetErrorDescription(const QString& description) override {
        ErrorManagerBase::SetErrorDescription(description);
        writes.append(QStringLiteral("ErrorDescription=") + description);
    }
    void SetErrorText(const QString& text) override {
        ErrorManagerBase::SetErrorText(text);
        writes.append(QStringLiteral("ErrorText=") + text);
    }
    void SetErrorSource(const QString& source) override {
        ErrorManagerBase::SetErrorSource(source);
        writes.append(QStringLiteral("ErrorSource=") + source);
    }
    void Report(bool& isTrace) override {
        writes.append(QStringLiteral("Report(%1)").arg(isTrace ? "trace" : "error"));
        reports.append((isTrace ? QStringLiteral("TRACE: ") : QStringLiteral("ERROR: ")) +
                       ErrorText());
    }
    void ClearLogFile() override {
        reports.clear();
        writes.append(QStringLiteral("ClearLogFile()"));
    }

    QStringList writes;
    QStringList reports;
};

}  // namespace hvx::test
