#include "UptimeText.h"

#include <QFontMetrics>
#include <QLocale>

#include <algorithm>

namespace hvx {

namespace {

QString uptimeText(const QString& hours) {
    return QStringLiteral("Monitor uptime: ") + hours + QStringLiteral(" hours.");
}

}  // namespace

QString uptimeText(std::int64_t minutes) {
    // In whole tenths of an hour (a minute is a sixth of one), so that no binary fraction
    // decides a half: halves round away from zero, as a number pattern rounds them. So 9, 21
    // and 27 minutes (0.15, 0.35 and 0.45 hours) give 0.2, 0.4 and 0.5.
    const std::int64_t size = minutes < 0 ? -minutes : minutes;
    const std::int64_t tenths = (size * 2 + 6) / 12;
    const QString sign = minutes < 0 && tenths > 0 ? QStringLiteral("-") : QString();
    return uptimeText(sign + QString::number(tenths / 10) + QLocale::system().decimalPoint() +
                      QString::number(tenths % 10));
}

int longestUptimeWidth(const QFontMetrics& metrics) {
    // Up to 9,999.95 hours rounds to "10000.0": five digits, a separator and one digit, each
    // digit measured at its widest.
    int widest = 0;
    for (char digit = '0'; digit <= '9'; ++digit) {
        const QString digits(5, QLatin1Char(digit));
        widest = std::max(widest, metrics.horizontalAdvance(uptimeText(
                                      digits + QLocale::system().decimalPoint() + digits.left(1))));
    }
    // With room for the panel's margins.
    return widest + metrics.averageCharWidth();
}

}  // namespace hvx
