// Mail delivery through the local sendmail interface (Postfix, Exim, msmtp and the like).
#include "Alert.h"

#include <QFileInfo>
#include <QProcess>

namespace hvx::netsend {

namespace {

constexpr int kStartTimeoutMs = 5000;
constexpr int kFinishTimeoutMs = 30000;

QString sendmailProgram() {
    if (qEnvironmentVariableIsSet("HVX_SENDMAIL")) {
        return qEnvironmentVariable("HVX_SENDMAIL");
    }
    for (const char* candidate : {"/usr/sbin/sendmail", "/usr/lib/sendmail"}) {
        QString path = QString::fromLatin1(candidate);
        if (QFileInfo(path).isExecutable()) {
            return path;
        }
    }
    return {};
}

QByteArray mailMessage(const QStringList& recipients, const Alert& alert) {
    QString body = alert.text;
    body.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    body.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    QByteArray message;
    message += "To: " + recipients.join(QStringLiteral(", ")).toUtf8() + '\n';
    message += "Subject: Help Desk Monitor alert from " + alert.computer.toUtf8() + '\n';
    message += "Date: " + alert.time.toString(Qt::RFC2822Date).toLatin1() + '\n';
    message += "MIME-Version: 1.0\n";
    message += "Content-Type: text/plain; charset=UTF-8\n";
    message += "Content-Transfer-Encoding: 8bit\n\n";
    message += body.toUtf8() + '\n';
    return message;
}

}  // namespace

Outcome deliverByMail(const QStringList& recipients, const Alert& alert) {
    const QString program = sendmailProgram();
    if (program.isEmpty() || !QFileInfo(program).isExecutable()) {
        return {false, QStringLiteral("no local sendmail interface on this computer (looked for ") +
                           (program.isEmpty() ? QStringLiteral("/usr/sbin/sendmail") : program) +
                           QLatin1Char(')')};
    }
    QProcess sendmail;
    sendmail.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // -oi: a line of a single dot is text, not the end of the mail.
    sendmail.start(program, QStringList{QStringLiteral("-oi"), QStringLiteral("--")} + recipients);
    if (!sendmail.waitForStarted(kStartTimeoutMs)) {
        return {false, program + QStringLiteral(": ") + sendmail.errorString()};
    }
    sendmail.write(mailMessage(recipients, alert));
    sendmail.closeWriteChannel();
    if (!sendmail.waitForFinished(kFinishTimeoutMs)) {
        sendmail.kill();
        sendmail.waitForFinished(kStartTimeoutMs);
        return {false, program + QStringLiteral(" did not finish in time")};
    }
    if (sendmail.exitStatus() != QProcess::NormalExit || sendmail.exitCode() != 0) {
        return {false, program + QStringLiteral(" failed with exit status ") +
                           QString::number(sendmail.exitCode())};
    }
    return {true, {}};
}

}  // namespace hvx::netsend
