#pragma once

#include "platform/ErrorManager.h"

#include <QString>

namespace hvx {

// The members every edition of the error manager keeps alike: the fields of the next report,
// the switches, and the log file and its limit. Editions differ only in where a report goes.
class ErrorManagerBase : public ErrorManager {
  public:
    void SetErrorNumber(long number) override { number_ = number; }
    long ErrorNumber() const override { return number_; }
    void SetErrorDescription(const QString& description) override { description_ = description; }
    QString ErrorDescription() const override { return description_; }
    void SetErrorText(const QString& text) override { text_ = text; }
    QString ErrorText() const override { return text_; }
    void SetErrorSource(const QString& source) override { source_ = source; }
    QString ErrorSource() const override { return source_; }
    void SetStartupComplete(bool complete) override { startupComplete_ = complete; }
    bool StartupComplete() const override { return startupComplete_; }
    void SetEnabled(bool enabled) override { enabled_ = enabled; }
    bool Enabled() const override { return enabled_; }
    void SetLogFile(const QString& path) override { logFile_ = path; }
    QString LogFile() const override { return logFile_; }
    // A limit of zero or less is ignored.
    void SetLogFileLimit(double megabytes) override;
    double LogFileLimit() const override { return limitMegabytes_; }

  protected:
    static constexpr double kDefaultLimitMegabytes = 1.0;

  private:
    long number_ = 0;
    QString description_;
    QString text_;
    QString source_;
    bool startupComplete_ = false;
    bool enabled_ = false;
    QString logFile_;
    double limitMegabytes_ = kDefaultLimitMegabytes;
};

}  // namespace hvx
