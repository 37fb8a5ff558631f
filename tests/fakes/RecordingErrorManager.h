#pragma once

#include "platform/ErrorManager.h"

#include <QStringList>

namespace hvx::test {

// An error manager that keeps what it was told: each member write as "Member=value" in
// order, and each report as "ERROR: text" or "TRACE: text".
class RecordingErrorManager final : public ErrorManager {
  public:
    void SetErrorNumber(long number) override;
    long ErrorNumber() const override { return number_; }
    void SetErrorDescription(const QString& description) override;
    QString ErrorDescription() const override { return description_; }
    void SetErrorText(const QString& text) override;
    QString ErrorText() const override { return text_; }
    void SetErrorSource(const QString& source) override;
    QString ErrorSource() const override { return source_; }
    void SetStartupComplete(bool complete) override;
    bool StartupComplete() const override { return startupComplete_; }
    void SetEnabled(bool enabled) override;
    bool Enabled() const override { return enabled_; }
    void SetLogFile(const QString& path) override;
    QString LogFile() const override { return logFile_; }
    void SetLogFileLimit(double megabytes) override;
    double LogFileLimit() const override { return limit_; }
    void Report(bool& isTrace) override;
    void ClearLogFile() override {
        reports.clear();
        writes.append(QStringLiteral("ClearLogFile()"));
    }
    void Conceal(const QString& secret) override { concealed.append(secret); }

    QStringList writes;
    QStringList reports;
    QStringList concealed;

  private:
    long number_ = 0;
    QString description_;
    QString text_;
    QString source_;
    bool startupComplete_ = false;
    bool enabled_ = false;
    QString logFile_;
    double limit_ = 1.0;
};

}  // namespace hvx::test
