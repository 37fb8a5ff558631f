#pragma once

#include <QString>

#include <exception>
#include <string>

namespace hvx {

// Classic run-time error numbers. Database errors carry the driver's own number instead.
namespace err {
inline constexpr long InvalidArgument = 5;
inline constexpr long Overflow = 6;
inline constexpr long OutOfMemory = 7;
inline constexpr long SubscriptOutOfRange = 9;
inline constexpr long TypeMismatch = 13;
inline constexpr long FileNotFound = 53;
inline constexpr long PermissionDenied = 70;
inline constexpr long PathFileAccessError = 75;
inline constexpr long ObjectNotSet = 91;
inline constexpr long InvalidUseOfNull = 94;
inline constexpr long CannotCreateComponent = 429;
inline constexpr long KeyAlreadyInCollection = 457;
}  // namespace err

// A run-time error: a number and a description. Procedures with an error trap catch it and
// report it; it must never leave a Qt slot uncaught.
class RuntimeError : public std::exception {
  public:
    RuntimeError(long number, QString description);

    // The error with the classic description of its number.
    static RuntimeError standard(long number);

    long number() const noexcept { return number_; }
    const QString& description() const noexcept { return description_; }
    const char* what() const noexcept override { return what_.c_str(); }

  private:
    long number_;
    QString description_;
    std::string what_;
};

// The classic description of an error number, or a generic text for numbers without one.
QString standardErrorDescription(long number);

}  // namespace hvx
