#pragma once

#include "platform/ErrorManager.h"

#include <QStringList>

namespace hvx {

class Clock;
class MessageBoxes;

// The error manager of our product: one line per report appended to LogFile, stamped with
// the date and time and marked ERROR or TRACE. The file is kept within LogFileLimit
// megabytes by dropping its oldest lines once it outgrows the limit, down to three quarters
// of it, so the cost of trimming is spread over many appends. Until StartupComplete is set,
// error reports are shown to the operator as well (nobody reads the log of a start that
// failed). A log that cannot be written costs the line, never the caller.
class FileErrorManager final : public ErrorManager {
  public:
    static constexpr double kDefaultLimitMegabytes = 1.0;

    // Neither is owned; both must outlive the manager. `boxes` may be null (nothing shown).
    FileErrorManager(const Clock& clock, MessageBoxes* boxes);

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
    void SetLogFileLimit(double megabytes) override;
    double LogFileLimit() const override { return limitMegabytes_; }

    void Report(bool& isTrace) override;
    void ClearLogFile() override;
    void Conceal(const QString& secret) override;

  private:
    // ErrorText without trailing line breaks and with every secret masked.
    QString reportText() const;
    void append(const QByteArray& line);
    void trimToLimit(qint64 size);
    qint64 limitBytes() const;

    const Clock& clock_;
    MessageBoxes* boxes_;
    long number_ = 0;
    QString description_;
    QString text_;
    QString source_;
    bool startupComplete_ = false;
    bool enabled_ = false;
    QString logFile_;
    double limitMegabytes_ = kDefaultLimitMegabytes;
    QStringList secrets_;
};

}  // namespace hvx
