#pragma once

namespace hvx {

struct AppContext;

// Besides the alerts, the error indicator's rising shows one desktop notification: the
// application title says which Monitor, the body carries the core application's error text.
// Without a notifier, or when the store cannot be read, nothing shows and nothing is
// reported: a notification is a courtesy.
void NotifyErrorLogged(AppContext& ctx);

}  // namespace hvx
