#pragma once

#include "platform/MessageBoxes.h"

#include <QString>

namespace hvx {

struct AppContext;

// The two kinds of message box most procedures show, titled with the application title.

// A message with an OK button.
void tellOperator(AppContext& ctx, const QString& text, MessageIcon icon);
// A question with Yes and No; true when the operator answers Yes.
bool askOperator(AppContext& ctx, const QString& question, int defaultButton = 1);

}  // namespace hvx
