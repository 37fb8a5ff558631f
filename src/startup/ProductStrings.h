#pragma once

#include <QString>

namespace hvx {

struct AppContext;

// The text of a string-table entry. Errors reach the caller.
QString GetStringResource(AppContext& ctx, long id);
// A product term in the term context. Errors reach the caller.
QString GetProductTerm(AppContext& ctx, const QString& key);
// Finds the local folder (the log's folder): the instance's db.ini folder in multi-instance
// mode, otherwise the local folder component's answer. True when it is not empty.
bool GetLocalFolderPath(AppContext& ctx);

}  // namespace hvx
