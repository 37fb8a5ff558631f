#pragma once

#include "platform/StringTable.h"

namespace hvx {

// The texts the Monitor, the core application and the tools share. The registry base path in
// particular must be the same for all of them: it is where the control channel lives.
class BuiltInStringTable final : public StringTable {
  public:
    QString LoadString(long id) const override;
};

}  // namespace hvx
