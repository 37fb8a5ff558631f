// The alert set-up as the store holds it: the message, then the three destinations.
#pragma once

#include "fakes/TestEnvironment.h"

#include <QStringList>

namespace hvx::test {

inline const QStringList kAlertValues{"AlertMsg", "AlertOp1", "AlertOp2", "AlertOp3"};

inline void storeAlertValues(TestEnvironment& t, const QStringList& values) {
    for (int i = 0; i < values.size(); ++i) {
        t.setControl(qPrintable(kAlertValues[i]), values[i], QStringLiteral("Options"));
    }
}

// "<missing>" for a value that is not there.
inline QStringList storedAlertValues(TestEnvironment& t) {
    QStringList values;
    for (const QString& name : kAlertValues) {
        values.append(t.control(qPrintable(name), QStringLiteral("Options")));
    }
    return values;
}

}  // namespace hvx::test
