#pragma once

#include <QString>

namespace hvx {

struct AppContext;

// Answers of the old-messages check. Only kCancelled stops the caller.
namespace oldMessages {
inline constexpr int kNoResult = 0;
inline constexpr int kAnswered = 1;
inline constexpr int kCancelled = 2;
inline constexpr int kNothingToAsk = 5;
}  // namespace oldMessages

// Before email sending starts: counts the unsent messages more than a week old and lets the
// operator keep them, delete them all or delete those older than some days. Does nothing
// while `sendEmailTicked` is false.
int CheckOldUnsentMessages(AppContext& ctx, bool sendEmailTicked);

// The dialog's check of the number of days typed for "delete older than": empty when `text`
// is accepted (the number is in `days`), otherwise the message that refuses it.
QString daysRefusal(const QString& text, int& days);

// The dialog's warning for `count` old unsent messages.
QString oldMessagesWarning(int count);

}  // namespace hvx
