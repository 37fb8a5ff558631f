#include "OperatorMessages.h"

#include "AppContext.h"

namespace hvx {

void tellOperator(AppContext& ctx, const QString& text, MessageIcon icon) {
    required(ctx.env.messageBoxes)
        .Show({text, ctx.applicationTitle, icon, MessageButtons::OkOnly, 1});
}

bool askOperator(AppContext& ctx, const QString& question, int defaultButton) {
    return required(ctx.env.messageBoxes)
               .Show({question, ctx.applicationTitle, MessageIcon::Question, MessageButtons::YesNo,
                      defaultButton}) == MessageAnswer::Yes;
}

}  // namespace hvx
