#pragma once

#include "components/ErrorManagerBase.h"

#include <QStringList>

namespace hvx::test {

// An error manager that keeps what it was told: each member write as "Member=value" in
// order, and each report as "ERROR: text" or "TRACE: text".
class RecordingErrorManager final : public ErrorManagerBase {
  public:
    void SetErrorNumber(long number) override;
    void SetErrorDescription(const QString& description) override;
    void SetErrorText(const QString& text) override;
    void SetErrorSource(const QString& source) override;
    void SetStartupComplete(bool complete) override;
    void SetEnabled(bool enabled) override;
    void SetLogFile(const QString& path) override;
    void SetLogFileLimit(double megabytes) override;
    void Report(bool& isTrace) override;
    void ClearLogFile() override {
        reports.clear();
        writes.append(QStringLiteral("ClearLogFile()"));
    }

    QStringList writes;
    QStringList reports;
};

}  // namespace hvx::test
