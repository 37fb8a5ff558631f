#include "Alert.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <utmpx.h>

namespace hvx::netsend {

namespace {

bool hasBlankOrControl(const QString& text) {
    for (const QChar c : text) {
        if (c.isSpace() || c.category() == QChar::Other_Control) {
            return true;
        }
    }
    return false;
}

QString unquoted(const QString& argument) {
    QString text = argument.trimmed();
    if (text.size() >= 2 && text.startsWith(QLatin1Char('"')) && text.endsWith(QLatin1Char('"'))) {
        text = text.mid(1, text.size() - 2).trimmed();
    }
    return text;
}

// A recipient that sendmail could take for an option, or that would break the header lines,
// is refused rather than passed on.
bool isPlainRecipient(const QString& recipient) {
    return !recipient.isEmpty() && !recipient.startsWith(QLatin1Char('-')) &&
           !hasBlankOrControl(recipient);
}

constexpr qsizetype kUserNameLimit = sizeof(utmpx::ut_user);

}  // namespace

Destination parseDestination(const QString& argument) {
    const QString text = unquoted(argument);
    Destination destination;
    if (text.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) ||
        text.startsWith(QLatin1String("https://"), Qt::CaseInsensitive)) {
        if (!hasBlankOrControl(text)) {
            destination.kind = DestinationKind::Webhook;
            destination.target = text;
        }
        return destination;
    }
    if (text.startsWith(QLatin1String("mailto:"), Qt::CaseInsensitive)) {
        const QString addresses = text.mid(7).section(QLatin1Char('?'), 0, 0);
        for (const QString& part : addresses.split(QLatin1Char(','))) {
            const QString recipient = QUrl::fromPercentEncoding(part.toUtf8()).trimmed();
            if (!isPlainRecipient(recipient)) {
                return destination;
            }
            destination.recipients.append(recipient);
        }
        destination.kind = DestinationKind::Mail;
        destination.target = destination.recipients.join(QStringLiteral(", "));
        return destination;
    }
    if (isPlainRecipient(text) && !text.contains(QLatin1Char('/')) &&
        text.toLocal8Bit().size() <= kUserNameLimit) {
        destination.kind = DestinationKind::User;
        destination.target = text;
    }
    return destination;
}

QByteArray webhookBody(const Alert& alert) {
    const QJsonObject body{
        {QStringLiteral("text"), alert.text},
        {QStringLiteral("computer"), alert.computer},
        {QStringLiteral("time"),
         alert.time.toOffsetFromUtc(alert.time.offsetFromUtc()).toString(Qt::ISODate)},
    };
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

QByteArray terminalText(const QString& text) {
    QString shown;
    shown.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const char16_t code = c.unicode();
        if (code == u'\r' && i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\n')) {
            continue;
        }
        if (code == u'\n' || code == u'\r') {
            shown += QLatin1String("\r\n");
        } else if (code < 0x20 && code != u'\t') {
            shown += QLatin1Char('^');
            shown += QChar(static_cast<char16_t>(code + 0x40));
        } else if (code == 0x7f) {
            shown += QLatin1String("^?");
        } else if (c.category() == QChar::Other_Control && code != u'\t') {
            shown += QLatin1Char('?');
        } else {
            shown += c;
        }
    }
    return shown.toLocal8Bit();
}

}  // namespace hvx::netsend
