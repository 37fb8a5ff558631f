#include "BuiltInStringTable.h"

#include "platform/RuntimeError.h"

namespace hvx {

QString BuiltInStringTable::LoadString(long id) const {
    switch (id) {
        case kLocalFolderRegistryPath:
            return QStringLiteral("Software\\Halvex\\Help Desk\\Local Folder");
        case kTermContext:
            return QStringLiteral("Monitor");
        case kRegistryBasePath:
            return QStringLiteral("Software\\Halvex\\Help Desk\\Monitor");
        case kApplicationTitle:
            return QStringLiteral("Halvex Help Desk Monitor");
        default:
            throw RuntimeError(err::InvalidArgument,
                               QStringLiteral("String %1 is not in the string table").arg(id));
    }
}

}  // namespace hvx
