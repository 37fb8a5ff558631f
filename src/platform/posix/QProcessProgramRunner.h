#pragma once

#include "platform/ProgramRunner.h"

namespace hvx {

// Runs the program with QProcess in a local event loop. A program still running at the end of
// the wait keeps running; its QProcess goes when it ends.
class QProcessProgramRunner final : public ProgramRunner {
  public:
    ProgramOutcome run(const QString& program, const QStringList& arguments,
                       int waitMilliseconds) override;
};

}  // namespace hvx
