#pragma once

#include "platform/OsServices.h"

namespace hvx {

class QtUserInterface final : public UserInterface {
  public:
    ~QtUserInterface() override;
    void processEvents() override;
    void waitForEvents(int milliseconds) override;
    void setWaitCursor(bool waiting) override;

  private:
    bool waiting_ = false;
};

}  // namespace hvx
