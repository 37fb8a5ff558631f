#pragma once

#include <QString>

namespace hvx {

struct AppContext;

// The program's only way into the per-user store: values in a section below the registry
// base path. Each call creates a store component for itself and releases it; nothing is
// cached, so a value the core application wrote is seen by the very next read.
// No error trap of their own: a store that cannot be created raises error 429 to the caller.

// The value's text, or `defaultValue` when it cannot be read. An empty value is empty text.
QString GetRegValue(AppContext& ctx, const QString& section, const QString& name,
                    const QString& defaultValue);
// Creates the section when it is missing. A failure to write is not detected.
void SaveRegValue(AppContext& ctx, const QString& section, const QString& name,
                  const QString& value);
// Deleting what is not there does nothing.
void DeleteRegValue(AppContext& ctx, const QString& section, const QString& name);
void DeleteRegSection(AppContext& ctx, const QString& section);

// The key path of a section: registry base path, a backslash, the section.
QString sectionKeyPath(const AppContext& ctx, const QString& section);

}  // namespace hvx
