#pragma once

#include "components/ErrorManagerBase.h"

#include <cstdio>

namespace hvx {

// The error manager of a command-line tool: each error report is one line on stderr,
// prefixed with the program name. Traces are dropped.
class ConsoleErrorManager final : public ErrorManagerBase {
  public:
    explicit ConsoleErrorManager(QString program, std::FILE* stream = stderr);

    void Report(bool& isTrace) override;
    void ClearLogFile() override {}

  private:
    QString program_;
    std::FILE* stream_;
};

}  // namespace hvx
