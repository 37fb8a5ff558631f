// hvx-net-send DESTINATION TEXT: delivers one alert of the Help Desk Monitor (a TEXT of - is
// read from standard input) and tells by its exit status whether it got through. The Monitor
// runs it once per destination and does not wait; people and scripts may run it by hand to
// try a destination.
#include "Alert.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QSysInfo>

#include <curl/curl.h>

#include <cstdio>

namespace {

constexpr int kDelivered = 0;
constexpr int kNotDelivered = 1;
constexpr int kUsage = 2;

const char kUsageText[] =
    "usage: hvx-net-send DESTINATION TEXT\n"
    "\n"
    "Delivers TEXT as one alert of the Help Desk Monitor; a TEXT of - is read from standard\n"
    "input (the Monitor hands over long texts that way). DESTINATION is\n"
    "  http://... or https://...  an HTTP POST of the JSON body\n"
    "                             {\"text\": TEXT, \"computer\": HOST, \"time\": ISO 8601}\n"
    "                             (chat webhooks; 3 s to connect, 5 s in all)\n"
    "  mailto:ADDRESS[,ADDRESS]   a mail through the local sendmail interface\n"
    "  USER                       a message on every terminal of USER on this computer\n"
    "Blanks at the ends of DESTINATION and one pair of enclosing double quotes are ignored.\n"
    "\n"
    "Exit status: 0 delivered, 1 not delivered (the reason on stderr), 2 wrong usage.\n"
    "Environment: HVX_SENDMAIL  the sendmail program (default /usr/sbin/sendmail)\n"
    "             HVX_UTMP      the login records (default the system's)\n";

int usage(const QString& problem) {
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "hvx-net-send: %s\n", problem.toLocal8Bit().constData());
    }
    std::fputs(kUsageText, stderr);
    return kUsage;
}

}  // namespace

int main(int argc, char* argv[]) {
    using namespace hvx::netsend;
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() == 1 &&
        (arguments[0] == QLatin1String("--help") || arguments[0] == QLatin1String("-h"))) {
        std::fputs(kUsageText, stdout);
        return kDelivered;
    }
    if (arguments.size() != 2) {
        return usage(QStringLiteral("expected a destination and a text"));
    }
    const Destination destination = parseDestination(arguments[0]);
    if (destination.kind == DestinationKind::Invalid) {
        return usage(QStringLiteral("'%1' is no user name, http(s) URL or mailto: address")
                         .arg(arguments[0]));
    }
    QString text = arguments[1];
    if (text == QLatin1String("-")) {
        QFile input;
        if (!input.open(stdin, QIODevice::ReadOnly)) {
            return usage(QStringLiteral("cannot read standard input"));
        }
        text = QString::fromUtf8(input.readAll());
    }
    if (text.isEmpty()) {
        return usage(QStringLiteral("the text is empty"));
    }

    Alert alert{text, QSysInfo::machineHostName(), QDateTime::currentDateTime()};
    Outcome outcome;
    switch (destination.kind) {
        case DestinationKind::Webhook:
            curl_global_init(CURL_GLOBAL_DEFAULT);
            outcome = deliverToWebhook(destination.target, alert);
            curl_global_cleanup();
            break;
        case DestinationKind::Mail:
            outcome = deliverByMail(destination.recipients, alert);
            break;
        case DestinationKind::User:
            outcome = deliverToTerminals(destination.target, alert);
            break;
        case DestinationKind::Invalid:
            break;
    }
    if (!outcome.error.isEmpty()) {
        std::fprintf(stderr, "hvx-net-send: %s\n", outcome.error.toLocal8Bit().constData());
    }
    return outcome.delivered ? kDelivered : kNotDelivered;
}
