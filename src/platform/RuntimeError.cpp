#include "RuntimeError.h"

#include <utility>

namespace hvx {

RuntimeError::RuntimeError(long number, QString description)
    : number_(number),
      description_(std::move(description)),
      what_(QStringLiteral("%1 (error %2)").arg(description_).arg(number).toStdString()) {}

RuntimeError RuntimeError::standard(long number) {
    return {number, standardErrorDescription(number)};
}

QString standardErrorDescription(long number) {
    switch (number) {
        case err::InvalidArgument:
            return QStringLiteral("Invalid procedure call or argument");
        case err::Overflow:
            return QStringLiteral("Overflow");
        case err::OutOfMemory:
            return QStringLiteral("Out of memory");
        case err::SubscriptOutOfRange:
            return QStringLiteral("Subscript out of range");
        case err::TypeMismatch:
            return QStringLiteral("Type mismatch");
        case err::FileNotFound:
            return QStringLiteral("File not found");
        case err::PermissionDenied:
            return QStringLiteral("Permission denied");
        case err::PathFileAccessError:
            return QStringLiteral("Path/File access error");
        case err::ObjectNotSet:
            return QStringLiteral("Object variable not set");
        case err::InvalidUseOfNull:
            return QStringLiteral("Invalid use of Null");
        case err::CannotCreateComponent:
            return QStringLiteral("Component cannot be created");
        case err::KeyAlreadyInCollection:
            return QStringLiteral(
                "This key is already associated with an element of this collection");
        default:
            return QStringLiteral("Application-defined or object-defined error");
    }
}

}  // namespace hvx
