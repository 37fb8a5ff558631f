#include "OldUnsentMessages.h"

#include "channel/AppContext.h"
#include "channel/ErrorReporting.h"
#include "channel/OperatorMessages.h"
#include "channel/ProcedureCodes.h"
#include "platform/Clock.h"
#include "platform/Conversions.h"
#include "platform/Dialogs.h"
#include "platform/MessageBoxes.h"
#include "platform/OsServices.h"

namespace hvx {

namespace {

const QString kCutOffPieces = QStringLiteral(" and LastModified < ");

void setWaitCursor(AppContext& ctx, bool waiting) {
    if (ctx.env.userInterface != nullptr) {
        ctx.env.userInterface->setWaitCursor(waiting);
    }
}

void trace(AppContext& ctx, const QString& text) {
    if (ctx.traceOn) {
        WriteTrace(ctx, text);
    }
}

int countOldUnsent(AppContext& ctx, int& result) {
    const DateValue weekAgo = required(ctx.env.clock).now().addSeconds(-7LL * 86400);
    const QString query = QStringLiteral("select count(*) from Messages ") +
                          QStringLiteral(" where Sent is null ") + kCutOffPieces +
                          required(ctx.sqlValueFormatter.get()).FormatDate(weekAgo);
    ctx.procedureCode = code::kCheckOldUnsentMessagesQuery;
    auto rows = required(ctx.databaseManager.get()).OpenRecordset(query);
    if (!rows) {
        result = oldMessages::kNoResult;
        return -1;
    }
    ctx.procedureCode = code::kCheckOldUnsentMessagesResult;
    int count = 0;
    if (!(rows->AtStart() && rows->AtEnd()) && !rows->Field(0).isNull()) {
        ctx.procedureCode = code::kCheckOldUnsentMessagesCount;
        count = toWholeNumber(rows->Field(0).toString());
    }
    rows->Close();
    return count;
}

}  // namespace

QString oldMessagesWarning(int count) {
    // The first two sentences are joined by one blank.
    return QStringLiteral("WARNING: There are ") + QString::number(count) +
           QStringLiteral(" unsent messages in the Messages table which are over a week old.") +
           QStringLiteral(" ") +
           QStringLiteral(
               "This suggests that the Monitor has not been used to send email for at "
               "least a week.") +
           QStringLiteral("\r\n\r\n") +
           QStringLiteral(
               "It may be that you are using features such as Email on Assignment, "
               "Email on Closed, etc., but you have not been using ") +
           QStringLiteral("the Monitor to send the related alerts.") + QStringLiteral("\r\n\r\n") +
           QStringLiteral(
               "IF YOU CHOOSE NOT TO DELETE THE OLD MESSAGES, THEY WILL ALL BE SENT NOW.");
}

QString daysRefusal(const QString& text, int& days) {
    QString notANumber = QStringLiteral("Please type the number of days.");
    if (!isNumeric(text)) {
        return notANumber;
    }
    try {
        days = toWholeNumber(text.trimmed());
    } catch (const RuntimeError&) {
        return notANumber;
    }
    return days < 1 ? QStringLiteral("The number of days must be 1 or more.") : QString();
}

int CheckOldUnsentMessages(AppContext& ctx, bool sendEmailTicked) {
    int result = oldMessages::kNothingToAsk;
    RunTrapped(ctx, code::kCheckOldUnsentMessages, [&] {
        if (!sendEmailTicked) {
            return;
        }
        setWaitCursor(ctx, true);
        const int count = countOldUnsent(ctx, result);
        if (count < 0) {
            return;
        }
        if (count == 0) {
            trace(ctx, QStringLiteral("There are no unsent messages over 1 week old"));
            return;
        }
        trace(ctx, QStringLiteral("There are ") + QString::number(count) +
                       QStringLiteral(" unsent messages over 1 week old"));

        ctx.procedureCode = code::kCheckOldUnsentMessagesDialog;
        int choice = DeleteOldMessagesDialog::kNoChoice;
        int days = 0;
        bool cancelled = false;
        {
            auto dialog = create(ctx.env.deleteOldMessagesDialog, "dlgDeleteOldMessages");
            dialog->SetOldUnsentCount(count);
            // The busy pointer stays up over the dialog: the check is not over until it ends.
            dialog->Show();
            choice = dialog->UserChoice();
            days = dialog->DaysToDelete();
            cancelled = dialog->Cancelled();
        }
        if (cancelled) {
            result = oldMessages::kCancelled;
            trace(ctx,
                  QStringLiteral("Unsent message deletion was cancelled.  The Monitor will not "
                                 "be started"));
            return;
        }
        QString statement;
        QString report;
        if (choice == DeleteOldMessagesDialog::kDeleteAll) {
            ctx.procedureCode = code::kCheckOldUnsentMessagesDeleteAll;
            statement = QStringLiteral("delete from Messages where Sent is null");
            report = QStringLiteral("Deleted all the unsent messages");
        } else if (choice == DeleteOldMessagesDialog::kDeleteOlderThanDays) {
            ctx.procedureCode = code::kCheckOldUnsentMessagesDeleteOlder;
            const DateValue cutOff =
                required(ctx.env.clock).now().addSeconds(-static_cast<std::int64_t>(days) * 86400);
            statement = QStringLiteral("delete from Messages ") +
                        QStringLiteral(" where Sent is null ") + kCutOffPieces +
                        required(ctx.sqlValueFormatter.get()).FormatDate(cutOff);
            report = QStringLiteral("Deleted all unsent messages which were created before ") +
                     formatGeneralDate(cutOff);
        } else {
            result = oldMessages::kAnswered;
            return;
        }
        if (required(ctx.databaseManager.get()).ExecuteCommand(statement, 0)) {
            trace(ctx, report);
            tellOperator(ctx, report, MessageIcon::Information);
            result = oldMessages::kAnswered;
        }
    });
    setWaitCursor(ctx, false);
    return result;
}

}  // namespace hvx
