#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace hvx {

class WindowDirectory;

// Every caption the Monitor's main window can carry under `title`: the plain title, then
// " (Running)", " (Suspended)" and " (Suspended until hh:mm)" for each time of day the
// schedule can name (00:00 to 24:00). The likely ones come first.
QStringList monitorCaptions(const QString& title);

// The caption of the core application's window.
QString coreCaption(const QString& title);

// The first of `captions` that a window carries.
std::optional<QString> findWindow(const WindowDirectory& windows, const QStringList& captions);

}  // namespace hvx
