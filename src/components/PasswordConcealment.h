#pragma once

#include <QString>

namespace hvx {

// A password shorter than this is never searched for in a text: masking every "a" or "0"
// would garble the log and tell the password's length besides. No text of ours holds a
// password outside a connection string, whose password field is masked whatever its length.
inline constexpr qsizetype kMinimumConcealedPasswordLength = 4;

// `text` (a database driver's message, a connection string or a report built from them) with
// the value of every Pwd= or Password= field masked, braced or not, and every occurrence of
// `password` masked when it is at least kMinimumConcealedPasswordLength characters long.
QString concealPassword(QString text, const QString& password);

}  // namespace hvx
