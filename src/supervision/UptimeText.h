#pragma once

#include <QString>

#include <cstdint>

class QFontMetrics;

namespace hvx {

// The first status panel's text for an uptime in minutes: "Monitor uptime: " & hours with one
// decimal (the system's decimal separator, no group separator) & " hours.".
QString uptimeText(std::int64_t minutes);

// The width in pixels that every uptime text below 10,000 hours needs in that font.
int longestUptimeWidth(const QFontMetrics& metrics);

}  // namespace hvx
