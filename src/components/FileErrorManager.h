#pragma once

#include "ErrorManagerBase.h"

namespace hvx {

class Clock;
class MessageBoxes;

// The error manager of our product: one line per report appended to LogFile, stamped with
// the date and time and marked ERROR or TRACE. The file is kept within LogFileLimit
// megabytes by dropping its oldest lines once it outgrows the limit, down to three quarters
// of it, so the cost of trimming is spread over many appends. Until StartupComplete is set,
// error reports are shown to the operator as well (nobody reads the log of a start that
// failed). A log that cannot be written costs the line, never the caller.
class FileErrorManager final : public ErrorManagerBase {
  public:
    // Neither is owned; both must outlive the manager. `boxes` may be null (nothing shown).
    FileErrorManager(const Clock& clock, MessageBoxes* boxes);

    void Report(bool& isTrace) override;
    void ClearLogFile() override;

  private:
    // ErrorText without trailing line breaks and with every secret masked.
    QString reportText() const;
    void append(const QByteArray& line);
    void trimToLimit(qint64 size);
    qint64 limitBytes() const;

    const Clock& clock_;
    MessageBoxes* boxes_;
};

}  // namespace hvx
