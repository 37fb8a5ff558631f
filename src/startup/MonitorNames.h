#pragma once

#include "platform/MessageBoxes.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace hvx {

struct AppContext;

// monitornames.txt: one instance a line, its name, a comma, and the folder of its db.ini.
inline constexpr const char* kMonitorNamesFile = "monitornames.txt";

struct MonitorNameEntry {
    QString name;
    QString folder;
};

struct MonitorNamesList {
    // In the order of the file; lines with an empty name or folder are left out.
    std::vector<MonitorNameEntry> entries;
    // The message of an error that stopped the reading (entries hold what came before it).
    QString error;
};

// Reads the list as the instance dialog shows it. Only a regular file of at most 1 MiB is
// read; anything else fails like a file that cannot be read.
MonitorNamesList readMonitorNames(AppContext& ctx, const QString& path);
// The same from the file's contents; `path` only names the file in the error message.
MonitorNamesList parseMonitorNames(AppContext& ctx, const QByteArray& content, const QString& path);
// Whether start-up finds the instance file at `path`: anything of that name but a folder (a
// FIFO or a device then fails in the reading, with the reading's own message).
bool isMonitorNamesFile(const QString& path);

// What OK makes of the entry at `selected` (-1 for none): the chosen name and db.ini folder,
// or the message that keeps the dialog open.
struct InstanceChoice {
    bool accepted = false;
    QString name;
    QString folder;
    MessageBoxRequest refusal;
};
InstanceChoice checkInstanceChoice(AppContext& ctx, const std::vector<MonitorNameEntry>& entries,
                                   int selected);

// Shows the instance dialog. True when an instance was chosen: its name and db.ini folder
// are in the context.
bool SelectMonitorInstance(AppContext& ctx);

}  // namespace hvx
