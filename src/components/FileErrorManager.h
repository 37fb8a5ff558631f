#pragma once

#include "ErrorManagerBase.h"

namespace hvx {

class Clock;
class MessageBoxes;

// The error manager of our product: one record per report appended to LogFile, stamped with
// the date and time and marked ERROR or TRACE (see formatLogRecord for what a record may
// hold). The file is kept within LogFileLimit megabytes by dropping its oldest records once it
// outgrows the limit, down to three quarters of it, so the cost of trimming is spread over
// many appends. Only a file of the Monitor's is written, trimmed or emptied (OwnLogFile).
// Until StartupComplete is set, error reports are shown to the operator as well (nobody reads
// the log of a start that failed). A log that cannot be written costs the record, never the
// caller and never the records around it.
class FileErrorManager final : public ErrorManagerBase {
  public:
    // Neither is owned; both must outlive the manager. `boxes` may be null (nothing shown).
    FileErrorManager(const Clock& clock, MessageBoxes* boxes);

    void Report(bool& isTrace) override;
    // Error 70 when the file is there but is not one of the Monitor's (a link, another
    // user's file): it is left as it is.
    void ClearLogFile() override;

  private:
    void append(const QByteArray& record);
    void trimToLimit();
    qint64 limitBytes() const;

    const Clock& clock_;
    MessageBoxes* boxes_;
};

}  // namespace hvx
