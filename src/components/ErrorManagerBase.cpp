#include "ErrorManagerBase.h"

namespace hvx {

void ErrorManagerBase::SetLogFileLimit(double megabytes) {
    if (megabytes > 0) {
        limitMegabytes_ = megabytes;
    }
}

void ErrorManagerBase::Conceal(const QString& secret) {
    if (!secret.isEmpty() && !secrets_.contains(secret)) {
        secrets_.append(secret);
    }
}

QString ErrorManagerBase::masked(QString text) const {
    for (const QString& secret : secrets_) {
        text.replace(secret, QStringLiteral("********"));
    }
    return text;
}

}  // namespace hvx
