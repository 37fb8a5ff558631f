#pragma once

#include <QString>

namespace hvx {

// The product's string table: texts by number.
class StringTable {
  public:
    // The ids the Monitor loads.
    static constexpr long kLocalFolderRegistryPath = 1024;
    static constexpr long kTermContext = 1028;
    static constexpr long kRegistryBasePath = 1029;
    static constexpr long kApplicationTitle = 1031;

    virtual ~StringTable() = default;
    // Throws RuntimeError 5 for an id the table does not hold.
    virtual QString LoadString(long id) const = 0;
};

}  // namespace hvx
