#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"
#include "support/ToolRun.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");

struct Status {
    int code = -1;
    QString out;
    QString firstLine() const { return out.section(QLatin1Char('\n'), 0, 0); }
    QJsonObject json() const { return QJsonDocument::fromJson(out.toUtf8()).object(); }
};

// The size, modification time and content of a file, to show that nothing wrote to it.
QByteArray fingerprint(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return "missing";
    }
    const QDateTime modified = QFileInfo(path).fileTime(QFileDevice::FileModificationTime);
    return QByteArray::number(modified.toMSecsSinceEpoch()) + ' ' +
           QCryptographicHash::hash(file.readAll(), QCryptographicHash::Sha256).toHex();
}

// hvx-status run as an operator would, on the installation's store or another.
Status runStatus(const Installation& i, const QStringList& arguments, const QString& store = {}) {
    QProcessEnvironment environment = i.environment;
    environment.insert(QStringLiteral("HVX_REGISTRY"), store.isEmpty() ? i.registry : store);
    const ToolRun run = runTool(QStringLiteral("hvx-status"), arguments, environment);
    return {run.code, run.out};
}

}  // namespace

class TestStatusEndToEnd : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void followsOneMonitorThroughItsStates() {
        Installation i(QStringLiteral("status-single"));
        QVERIFY(i.createDatabase(i.app, true));
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        const QStringList withDatabase{QStringLiteral("--db-ini"), i.app};

        Status status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 3);
        QVERIFY2(status.firstLine().startsWith(QStringLiteral("HVXMONITOR UNKNOWN - cannot read "
                                                              "the store")),
                 qPrintable(status.out));
        QVERIFY(!QFile::exists(i.registry));

        const QString damaged = i.dir.filePath(QStringLiteral("damaged/registry.sqlite3"));
        QDir().mkpath(QFileInfo(damaged).path());
        QVERIFY(writeFile(damaged, QByteArray(8192, 'x')));
        const QByteArray damagedBefore = fingerprint(damaged);
        status = runStatus(i, withDatabase, damaged);
        QCOMPARE(status.code, 3);
        QVERIFY2(status.firstLine().contains(damaged), qPrintable(status.out));
        QCOMPARE(fingerprint(damaged), damagedBefore);
        QCOMPARE(QDir(QFileInfo(damaged).path()).entryList(QDir::Files),
                 QStringList{QStringLiteral("registry.sqlite3")});

        QProcess* monitor = i.startMonitor(QStringLiteral("keep"), QStringLiteral("error-after:3"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!i.control("ErrorInfo").isEmpty(), kPatienceMs);
        status = runStatus(i, withDatabase + QStringList{QStringLiteral("--json")});
        QCOMPARE(status.code, 1);
        const QJsonObject json = status.json();
        const QStringList fields{"coreHasDBIssues", "coreWindow", "errorInfo",      "exitCode",
                                 "instance",        "login",      "monitorCaption", "monitorWindow",
                                 "processing",      "reasons",    "result",         "services",
                                 "state",           "stateName",  "status",         "store",
                                 "storeError",      "summary",    "title"};
        QCOMPARE(json.keys(), fields);
        QCOMPARE(json[QStringLiteral("result")].toString(), QStringLiteral("WARNING"));
        QCOMPARE(json[QStringLiteral("exitCode")].toInt(), 1);
        QVERIFY2(json[QStringLiteral("summary")].toString().startsWith(
                     QStringLiteral("HVXMONITOR WARNING - errors logged: Error 3021")),
                 qPrintable(status.out));
        QCOMPARE(json[QStringLiteral("instance")].toString(), QString());
        QCOMPARE(json[QStringLiteral("title")].toString(), kTitle);
        QCOMPARE(json[QStringLiteral("monitorWindow")].toBool(), true);
        QCOMPARE(json[QStringLiteral("monitorCaption")].toString(),
                 kTitle + QStringLiteral(" (Running)"));
        QCOMPARE(json[QStringLiteral("coreWindow")].toBool(), true);
        QCOMPARE(json[QStringLiteral("state")].toString(), QStringLiteral("1"));
        QCOMPARE(json[QStringLiteral("stateName")].toString(), QStringLiteral("running"));
        QVERIFY(json[QStringLiteral("processing")].isBool());
        QCOMPARE(json[QStringLiteral("status")].toString(), i.control("Status"));
        QCOMPARE(json[QStringLiteral("errorInfo")].toString(), i.control("ErrorInfo"));
        QCOMPARE(json[QStringLiteral("coreHasDBIssues")].toBool(true), false);
        QCOMPARE(json[QStringLiteral("services")].toObject(), QJsonObject({{"readingEmail", true},
                                                                           {"sendingEmail", true},
                                                                           {"processingSLAs", true},
                                                                           {"onHold", true},
                                                                           {"archiving", true}}));
        const QJsonObject login = json[QStringLiteral("login")].toObject();
        QCOMPARE(login[QStringLiteral("found")].toBool(), true);
        QCOMPARE(login[QStringLiteral("loggedIn")].toBool(), true);
        QCOMPARE(login[QStringLiteral("computerName")].toString(), QSysInfo::machineHostName());
        QVERIFY(!login[QStringLiteral("loginDate")].toString().isEmpty());
        QVERIFY(login[QStringLiteral("error")].isNull());

        // The operator clears the warning; a stopped service shows in the text.
        i.setControl("ErrorInfo", QString());
        i.setControl("StopArchiving", QStringLiteral("1"), QStringLiteral("Options"));
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 0);
        QVERIFY2(status.firstLine().startsWith(QStringLiteral("HVXMONITOR OK - running")),
                 qPrintable(status.out));
        QVERIFY2(status.out.contains(QStringLiteral("archiving off")), qPrintable(status.out));
        QVERIFY2(status.out.contains(QStringLiteral("logged in on ")), qPrintable(status.out));

        i.setControl("Command", QStringLiteral("3"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Suspended)")), kPatienceMs);
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 1);
        QCOMPARE(status.firstLine(), QStringLiteral("HVXMONITOR WARNING - suspended (State 2)"));

        QVERIFY(Installation::terminate(monitor));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kTitle + QStringLiteral(" Timer")), kPatienceMs);
        // The journal goes once the last program has closed the store.
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(i.registry + QStringLiteral("-wal")), kPatienceMs);
        const QByteArray before = fingerprint(i.registry);
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 2);
        QVERIFY2(status.firstLine().startsWith(
                     QStringLiteral("HVXMONITOR CRITICAL - no Monitor window")),
                 qPrintable(status.out));
        QVERIFY2(status.out.contains(QStringLiteral("logged out")), qPrintable(status.out));
        QCOMPARE(fingerprint(i.registry), before);
    }

    // Two instances side by side: North gives up after an abort beyond its tolerance of 0,
    // South runs on.
    void reportsInstancesApart() {
        Installation i(QStringLiteral("status-instances"));
        QVERIFY(i.createInstances({QStringLiteral("North"), QStringLiteral("South")}));
        for (const char* instance : {"North", "South"}) {
            i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"),
                         i.dir.filePath(QLatin1String(instance)));
        }
        i.setSetting(QStringLiteral("MonitorCnnTolerance"), QStringLiteral("0"),
                     i.dir.filePath(QStringLiteral("North")));
        QProcess* north =
            i.startMonitor(QStringLiteral("select:North"), QStringLiteral("abort-after:3"));
        QProcess* south = i.startMonitor(QStringLiteral("select:South"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(QStringLiteral("South Monitor (Running)")), kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(i.control("State", QStringLiteral("Controls:North")),
                                  QStringLiteral("999"), 60000);
        QFile northLog(i.dir.filePath(QStringLiteral("North/monitorlog.txt")));
        northLog.open(QIODevice::ReadOnly);
        // It may have ended while the wait above served events: waitForFinished() is false then.
        QVERIFY2(north->state() == QProcess::NotRunning || north->waitForFinished(kPatienceMs),
                 qPrintable(i.boxes() + QString::fromUtf8(northLog.readAll())));

        const Status northStatus = runStatus(i, {QStringLiteral("North")});
        QCOMPARE(northStatus.code, 2);
        QVERIFY2(northStatus.firstLine().startsWith(QStringLiteral(
                     "HVXMONITOR CRITICAL - North: no Monitor window; core application aborted "
                     "(State 999)")),
                 qPrintable(northStatus.out));
        const Status southStatus =
            runStatus(i, {QStringLiteral("--json"), QStringLiteral("South")});
        QCOMPARE(southStatus.code, 0);
        const QJsonObject southJson = southStatus.json();
        QCOMPARE(southJson[QStringLiteral("instance")].toString(), QStringLiteral("South"));
        QCOMPARE(southJson[QStringLiteral("state")].toString(), QStringLiteral("1"));
        QCOMPARE(southJson[QStringLiteral("monitorCaption")].toString(),
                 QStringLiteral("South Monitor (Running)"));
        QVERIFY(southJson[QStringLiteral("login")].isNull());
        QVERIFY(Installation::terminate(south));
    }

    // What cmake --install lays down: the tool, the desktop entry that --help points to for
    // autostart, and a user unit that systemd accepts.
    void installsTheDesktopEntryAndTheUserUnit() {
        QTemporaryDir prefix;
        QProcess install;
        install.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        install.start(qEnvironmentVariable("HVX_CMAKE"),
                      {QStringLiteral("--install"), qEnvironmentVariable("HVX_BUILD_DIR"),
                       QStringLiteral("--prefix"), prefix.path()});
        QVERIFY(install.waitForFinished(120000));
        QCOMPARE(install.exitCode(), 0);
        const QString desktop =
            prefix.filePath(QStringLiteral("share/applications/hvxmonitor.desktop"));
        QVERIFY(QFile::exists(desktop));

        QProcess help;
        help.start(prefix.filePath(QStringLiteral("bin/hvx-status")), {QStringLiteral("--help")});
        QVERIFY(help.waitForFinished(kPatienceMs));
        QCOMPARE(help.exitCode(), 0);
        const QString helpText = QString::fromUtf8(help.readAllStandardOutput());
        QVERIFY2(
            helpText.contains(QStringLiteral("cp ") + desktop +
                              QStringLiteral(" \"${XDG_CONFIG_HOME:-$HOME/.config}/autostart/\"")),
            qPrintable(helpText));

        const QString unit =
            prefix.filePath(QStringLiteral("share/systemd/user/hvx-monitor.service"));
        QFile unitFile(unit);
        QVERIFY(unitFile.open(QIODevice::ReadOnly));
        const QString unitText = QString::fromUtf8(unitFile.readAll());
        QVERIFY(unitText.contains(QStringLiteral("ExecStart=") +
                                  prefix.filePath(QStringLiteral("bin/HvxMonitor")) +
                                  QLatin1Char('\n')));
        QVERIFY(!unitText.contains(QLatin1Char('@')));

        const QString analyze = QStandardPaths::findExecutable(QStringLiteral("systemd-analyze"));
        if (analyze.isEmpty()) {
            QSKIP("systemd-analyze is not installed (scripts/setup installs it)");
        }
        QProcess verify;
        verify.setProcessChannelMode(QProcess::MergedChannels);
        verify.start(analyze, {QStringLiteral("--user"), QStringLiteral("verify"), unit});
        QVERIFY(verify.waitForFinished(60000));
        const QString findings = QString::fromUtf8(verify.readAll());
        QVERIFY2(verify.exitCode() == 0 && findings.trimmed().isEmpty(), qPrintable(findings));
    }
};

QTEST_GUILESS_MAIN(TestStatusEndToEnd)
#include "TestStatusEndToEnd.moc"
