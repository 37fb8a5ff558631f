#include "commands/NetSendAlerts.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "support/Patience.h"
#include "support/ToolRun.h"
#include "support/WebhookServer.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>
#include <utmpx.h>
#include <cstring>

using namespace Qt::StringLiterals;
using hvx::test::ToolRun;
using hvx::test::WebhookServer;

namespace {

ToolRun netSend(const QStringList& arguments, const char* variable = nullptr,
                const QString& value = {}, const QString& folder = {}) {
    QProcessEnvironment extra;
    if (variable != nullptr) {
        extra.insert(QString::fromLatin1(variable), value);
    }
    return hvx::test::runTool(u"hvx-net-send"_s, arguments, extra, folder);
}

// A pseudo terminal standing in for a login session, in raw mode: reads back exactly what
// was written.
struct Terminal {
    Terminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)) {
        if (master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0) {
            path = QByteArray(ptsname(master));
            slave = ::open(path.constData(), O_RDWR | O_NOCTTY);
            termios raw{};
            tcgetattr(slave, &raw);
            cfmakeraw(&raw);
            tcsetattr(slave, TCSANOW, &raw);
        }
    }
    ~Terminal() {
        ::close(slave);
        ::close(master);
    }
    QByteArray readAll() const {
        QByteArray data;
        char chunk[512];
        for (ssize_t n = 0; (n = ::read(master, chunk, sizeof chunk)) > 0;) {
            data.append(chunk, n);
        }
        return data;
    }
    // The login record of `user` on this terminal.
    void record(QFile& records, short type, const char* user) const {
        utmpx entry{};
        entry.ut_type = type;
        entry.ut_pid = getpid();
        std::strncpy(entry.ut_user, user, sizeof entry.ut_user);
        std::strncpy(entry.ut_line, path.mid(5).constData(), sizeof entry.ut_line);
        records.write(reinterpret_cast<const char*>(&entry), sizeof entry);
    }

    int master = -1;
    int slave = -1;
    QByteArray path;
};

}  // namespace

class TestHvxNetSend : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Straight from the command line, or from the Monitor's alert batch through the real
    // launcher, which hands a text above 64 KiB over on standard input (an argument would fail
    // above 128 KiB).
    void webhookReceivesTheWholeTextAsJson_data() {
        QTest::addColumn<QString>("destination");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("fromTheMonitor");
        QTest::newRow("blanks and quotes around")
            << u"  \"%1\"  "_s << u" Monitor error "_s << false;
        QTest::newRow("shell characters, line breaks, non-ASCII")
            << u"%1"_s
            << u"It's \"down\"; $(touch pwned-a) `touch pwned-b` | touch pwned-c && echo $HOME\n"
               "Grüße\t日本"_s
            << false;
        // Varied, so that a cut or a repeated block cannot pass for the whole.
        constexpr qsizetype kMiB = qsizetype{1024} * 1024;
        QString long_;
        for (int i = 0; long_.size() < kMiB; ++i) {
            long_ += u"alert %1 é; "_s.arg(i);
        }
        QTest::newRow("1 MiB from the Monitor") << u"%1"_s << long_.left(kMiB) << true;
        QTest::newRow("a lone dash from the Monitor") << u"%1"_s << u"-"_s << true;
    }
    void webhookReceivesTheWholeTextAsJson() {
        QFETCH(QString, destination);
        QFETCH(QString, text);
        QFETCH(bool, fromTheMonitor);
        WebhookServer hook;
        QTemporaryDir folder;
        if (fromTheMonitor) {
            hvx::test::TestEnvironment t;
            hvx::SpawnProcessLauncher launcher;
            t.env.launcher = &launcher;
            t.env.applicationFolder = qEnvironmentVariable("HVX_BIN_DIR");
            t.setControl("AlertMsg", text, u"Options"_s);
            t.setControl("AlertOp1", destination.arg(hook.url()), u"Options"_s);
            hvx::SendOperatorAlerts(*t.ctx);
            QTRY_COMPARE_WITH_TIMEOUT(hook.requests().size(), 1u, hvx::test::kPatienceMs);
        } else {
            const ToolRun run = netSend({destination.arg(hook.url()), text}, {}, {}, folder.path());
            QVERIFY2(run.code == 0, qPrintable(run.err));
            QCOMPARE(QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                     QStringList());
        }
        QCOMPARE(hook.requests().size(), 1u);
        const WebhookServer::Request& request = hook.requests()[0];
        QCOMPARE(request.method + ' ' + request.target, QByteArray("POST /hook"));
        QVERIFY(request.headers.value("content-type").startsWith("application/json"));
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QString arrived = body.value(u"text"_s).toString();
        QVERIFY2(arrived == text, qPrintable(QString::number(arrived.size())));
        QCOMPARE(body.value(u"computer"_s).toString(), QSysInfo::machineHostName());
        const QString time = body.value(u"time"_s).toString();
        const QDateTime when = QDateTime::fromString(time, Qt::ISODate);
        QVERIFY2(when.isValid() && when.timeSpec() != Qt::LocalTime, qPrintable(time));
        QVERIFY2(qAbs(when.secsTo(QDateTime::currentDateTime())) < 120, qPrintable(time));
    }

    void webhookFailuresEndWithinTheTimeOut_data() {
        QTest::addColumn<int>("status");  // -1: nothing listens; 0: never answers
        QTest::addColumn<QString>("complaint");
        QTest::addColumn<int>("atLeastMs");
        QTest::newRow("server error") << 500 << "HTTP 500" << 0;
        QTest::newRow("closed port") << -1 << "127.0.0.1" << 0;
        QTest::newRow("silent server") << 0 << "/hook" << 4'000;
    }
    void webhookFailuresEndWithinTheTimeOut() {
        QFETCH(int, status);
        QFETCH(QString, complaint);
        QFETCH(int, atLeastMs);
        WebhookServer hook(std::max(status, 0));
        QString url = hook.url();
        if (status < 0) {
            QTcpServer closed;
            QVERIFY(closed.listen(QHostAddress::LocalHost));
            url = u"http://127.0.0.1:%1/hook"_s.arg(closed.serverPort());
        }

        const ToolRun run = netSend({url, u"Monitor error"_s});

        QCOMPARE(run.code, 1);
        QVERIFY2(run.err.contains(complaint), qPrintable(run.err));
        // The tool gives up after 5 s; the upper bound leaves room for a busy machine, and a
        // tool without a time-out would still hang past it.
        QVERIFY2(run.milliseconds >= atLeastMs && run.milliseconds < 25'000,
                 qPrintable(QString::number(run.milliseconds)));
    }

    void mailGoesThroughSendmail_data() {
        QTest::addColumn<QString>("recipient");
        QTest::addColumn<int>("sendmailStatus");  // -1: no sendmail
        QTest::addColumn<int>("code");
        QTest::newRow("delivered") << "ops@example.com" << 0 << 0;
        QTest::newRow("shell characters") << "a$(touch${IFS}pwned);`id`@example.com" << 0 << 0;
        QTest::newRow("sendmail fails") << "ops@example.com" << 75 << 1;
        QTest::newRow("no sendmail") << "ops@example.com" << -1 << 1;
    }
    void mailGoesThroughSendmail() {
        QFETCH(QString, recipient);
        QFETCH(int, sendmailStatus);
        QFETCH(int, code);
        QTemporaryDir folder;
        const QString sendmail = folder.filePath(u"sendmail"_s);
        if (sendmailStatus >= 0) {
            QVERIFY(hvx::test::writeScript(
                sendmail, "printf '%s\\n' \"$@\" > \"$0.args\"\ncat > \"$0.mail\"\nexit " +
                              QByteArray::number(sendmailStatus) + "\n"));
        }

        const ToolRun run = netSend({u"mailto:"_s + recipient, u"Core down\n.\nstill"_s},
                                    "HVX_SENDMAIL", sendmail, folder.path());

        QVERIFY2(run.code == code, qPrintable(run.err));
        if (sendmailStatus < 0) {
            QVERIFY2(run.err.contains(u"no local sendmail"_s), qPrintable(run.err));
            return;
        }
        QFile arguments(sendmail + u".args"_s);
        QFile mail(sendmail + u".mail"_s);
        QVERIFY(arguments.open(QIODevice::ReadOnly) && mail.open(QIODevice::ReadOnly));
        QCOMPARE(arguments.readAll(), "-oi\n--\n" + recipient.toUtf8() + '\n');
        const QString message = QString::fromUtf8(mail.readAll());
        QVERIFY2(message.startsWith(u"To: "_s + recipient + QLatin1Char('\n')) &&
                     message.contains(u"\nSubject: Help Desk Monitor alert from "_s +
                                      QSysInfo::machineHostName() + QLatin1Char('\n')) &&
                     message.endsWith(u"\n\nCore down\n.\nstill\n"_s),
                 qPrintable(message));
        QVERIFY(!QFile::exists(folder.filePath(u"pwned"_s)));
    }

    // Only the user's live sessions count; a terminal with messages off gets nothing.
    void terminalsOfTheUserGetTheText_data() {
        QTest::addColumn<QString>("user");
        QTest::addColumn<int>("mode");
        QTest::addColumn<QString>("complaint");  // empty: delivered
        QTest::newRow("messages on") << "alertee" << 0620 << "";
        QTest::newRow("messages off") << "alertee" << 0600 << "mesg n";
        QTest::newRow("not logged in") << "nobody-here" << 0620 << "not logged in";
    }
    void terminalsOfTheUserGetTheText() {
        QFETCH(QString, user);
        QFETCH(int, mode);
        QFETCH(QString, complaint);
        Terminal session;
        Terminal ended;
        QVERIFY(session.slave >= 0 && ended.slave >= 0);
        QCOMPARE(::chmod(session.path.constData(), static_cast<mode_t>(mode)), 0);
        QCOMPARE(::chmod(ended.path.constData(), 0620), 0);
        QTemporaryDir folder;
        QFile records(folder.filePath(u"utmp"_s));
        QVERIFY(records.open(QIODevice::WriteOnly));
        ended.record(records, DEAD_PROCESS, "alertee");
        session.record(records, USER_PROCESS, "alertee");
        ended.record(records, USER_PROCESS, "someone");
        records.close();

        const ToolRun run =
            netSend({user, u"Core down\x1b[2J\nsecond line"_s}, "HVX_UTMP", records.fileName());

        QVERIFY2(run.code == (complaint.isEmpty() ? 0 : 1), qPrintable(run.err));
        QVERIFY2(run.err.contains(complaint), qPrintable(run.err));
        // A terminal passes what was written on a moment later.
        QByteArray shown;
        if (complaint.isEmpty()) {
            const QByteArray tail = "\r\nCore down^[[2J\r\nsecond line\r\n";
            QVERIFY2(QTest::qWaitFor([&] { return (shown += session.readAll()).endsWith(tail); },
                                     hvx::test::kPatienceMs),
                     shown.constData());
            QVERIFY2(shown.contains("Alert from the Help Desk Monitor on " +
                                    QSysInfo::machineHostName().toLocal8Bit()),
                     shown.constData());
        }
        QCOMPARE(session.readAll(), QByteArray());
        QCOMPARE(ended.readAll(), QByteArray());
    }

    void wrongUsageExitsWithTwo_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("blank quoted destination") << QStringList{"  \"  \" ", "x"};
        QTest::newRow("option-like user") << QStringList{"-rf", "x"};
        QTest::newRow("option-like recipient") << QStringList{"mailto:-oQ/tmp/x@example.com", "x"};
        QTest::newRow("empty text") << QStringList{"ops", ""};
    }
    void wrongUsageExitsWithTwo() {
        QFETCH(QStringList, arguments);
        const ToolRun run = netSend(arguments);
        QCOMPARE(run.code, 2);
        QVERIFY2(run.err.contains(u"usage: hvx-net-send"_s), qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(TestHvxNetSend)
#include "TestHvxNetSend.moc"
