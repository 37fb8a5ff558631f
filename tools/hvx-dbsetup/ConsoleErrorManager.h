#pragma once

#include "platform/ErrorManager.h"

#include <QStringList>

#include <cstdio>

namespace hvx {

// The error manager of a command-line tool: each error report is one line on stderr,
// prefixed with the program name, with every concealed text masked. Traces are dropped.
class ConsoleErrorManager final : public ErrorManager {
  public:
    explicit ConsoleErrorManager(QString program, std::FILE* stream = stderr);

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
    void SetLogFileLimit(double megabytes) override { limit_ = megabytes; }
    double LogFileLimit() const override { return limit_; }

    void Report(bool& isTrace) override;
    void ClearLogFile() override {}
    void Conceal(const QString& secret) override;

    // Masks the concealed texts in any text the tool prints itself.
    QString masked(QString text) const;

  private:
    QString program_;
    std::FILE* stream_;
    long number_ = 0;
    QString description_;
    QString text_;
    QString source_;
    bool startupComplete_ = false;
    bool enabled_ = true;
    QString logFile_;
    double limit_ = 1.0;
    QStringList secrets_;
};

}  // namespace hvx
