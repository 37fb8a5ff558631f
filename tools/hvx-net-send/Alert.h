#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

namespace hvx::netsend {

// One alert as the Monitor hands it over: the text, and where and when it arose.
struct Alert {
    QString text;
    QString computer;
    QDateTime time;
};

// Whether the alert got through; when not, why, in one line for stderr.
struct Outcome {
    bool delivered = false;
    QString error;
};

enum class DestinationKind { Webhook, Mail, User, Invalid };

// A destination as the Monitor stores it: blanks at the ends and one pair of enclosing
// double quotes (needed there for a destination with a blank inside) are not part of it.
struct Destination {
    DestinationKind kind = DestinationKind::Invalid;
    // The URL, the mail recipients, or the user name.
    QString target;
    QStringList recipients;
};

Destination parseDestination(const QString& argument);

// {"text":…,"computer":…,"time":…} with the time in ISO 8601 with its UTC offset.
QByteArray webhookBody(const Alert& alert);

// The text as it may be written to a terminal: control characters shown in caret notation
// (an escape sequence could otherwise take over the reader's terminal), line ends as CR LF.
QByteArray terminalText(const QString& text);

Outcome deliverToWebhook(const QString& url, const Alert& alert);
// Through `sendmail` (HVX_SENDMAIL, else the usual places); fails when there is none.
Outcome deliverByMail(const QStringList& recipients, const Alert& alert);
// To every terminal where the user is logged in on this computer (the login records in
// HVX_UTMP, else the system's) whose owner lets others write to it (mesg y). Delivered when
// at least one terminal took the whole alert.
Outcome deliverToTerminals(const QString& user, const Alert& alert);

}  // namespace hvx::netsend
