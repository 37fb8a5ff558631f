#include "MonitorWindows.h"

#include "platform/OsServices.h"

namespace hvx {

namespace {

constexpr int kMinutesPerDay = 1440;

}  // namespace

QStringList monitorCaptions(const QString& title) {
    QStringList captions{title + QStringLiteral(" (Running)"), title,
                         title + QStringLiteral(" (Suspended)")};
    // The schedule's start time is shown modulo a day, so a whole day reads 24:00.
    captions.reserve(captions.size() + kMinutesPerDay + 1);
    for (int minutes = 0; minutes <= kMinutesPerDay; ++minutes) {
        captions.append(title + QStringLiteral(" (Suspended until %1:%2)")
                                    .arg(minutes / 60, 2, 10, QLatin1Char('0'))
                                    .arg(minutes % 60, 2, 10, QLatin1Char('0')));
    }
    return captions;
}

QString coreCaption(const QString& title) {
    return title + QStringLiteral(" Timer");
}

std::optional<QString> findWindow(const WindowDirectory& windows, const QStringList& captions) {
    for (const QString& caption : captions) {
        if (windows.findWindow(caption)) {
            return caption;
        }
    }
    return std::nullopt;
}

}  // namespace hvx
