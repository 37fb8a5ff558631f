#pragma once

#include <QString>

// What the multi-process store test writes: each value names itself and is long enough that a
// torn or mixed-up write cannot pass for a whole one.
namespace hvx::test::stress {

inline QString keyPath() {
    return QStringLiteral("Software\\Halvex\\Help Desk\\Monitor\\Stress");
}

inline QString valueName(const QString& writer, int index) {
    return QStringLiteral("%1-%2").arg(writer).arg(index);
}

inline QString valueFor(const QString& name) {
    return name + QLatin1Char(':') + QString(200, QLatin1Char('#')) + QLatin1Char(':') + name;
}

inline bool wellFormed(const QString& value) {
    const QString name = value.section(QLatin1Char(':'), 0, 0);
    return !name.isEmpty() && value == valueFor(name);
}

}  // namespace hvx::test::stress
