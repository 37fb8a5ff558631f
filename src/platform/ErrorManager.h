#pragma once

#include <QString>

namespace hvx {

// The one error and log object of a process. Members carry the names the rest of the
// product knows them by; the setters are kept separate so the order of writes is visible.
class ErrorManager {
  public:
    virtual ~ErrorManager() = default;

    virtual void SetErrorNumber(long number) = 0;
    virtual long ErrorNumber() const = 0;
    virtual void SetErrorDescription(const QString& description) = 0;
    virtual QString ErrorDescription() const = 0;
    virtual void SetErrorText(const QString& text) = 0;
    virtual QString ErrorText() const = 0;
    virtual void SetErrorSource(const QString& source) = 0;
    virtual QString ErrorSource() const = 0;

    virtual void SetStartupComplete(bool complete) = 0;
    virtual bool StartupComplete() const = 0;
    virtual void SetEnabled(bool enabled) = 0;
    virtual bool Enabled() const = 0;

    virtual void SetLogFile(const QString& path) = 0;
    virtual QString LogFile() const = 0;
    // Megabytes.
    virtual void SetLogFileLimit(double megabytes) = 0;
    virtual double LogFileLimit() const = 0;

    // Records ErrorText: a trace line when isTrace is true, an error or warning otherwise.
    // Never throws: a log that cannot be written costs the line, not the caller.
    virtual void Report(bool& isTrace) = 0;
    virtual void ClearLogFile() = 0;
};

}  // namespace hvx
