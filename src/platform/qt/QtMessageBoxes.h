#pragma once

#include "platform/MessageBoxes.h"

namespace hvx {

// Message boxes on the desktop, modal to the whole program.
class QtMessageBoxes final : public MessageBoxes {
  public:
    MessageAnswer Show(const MessageBoxRequest& request) override;
};

}  // namespace hvx
