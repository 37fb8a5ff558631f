#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"
#include "support/ToolRun.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

const QString kTitle = u"Help Desk Monitor"_s;
const QString kRunning = kTitle + " (Running)";

struct Status {
    int code = -1;
    QString out;
    QString firstLine() const { return out.section(u'\n', 0, 0); }
    QJsonObject json() const { return QJsonDocument::fromJson(out.toUtf8()).object(); }
};

QJsonObject object(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

// The modification time and content of a file, to show that nothing wrote to it.
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
    environment.insert(u"HVX_REGISTRY"_s, store.isEmpty() ? i.registry : store);
    const ToolRun run = runTool(u"hvx-status"_s, arguments, environment);
    return {run.code, run.out};
}

}  // namespace

class TestStatusEndToEnd : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void followsOneMonitorThroughItsStates() {
        Installation i(u"status-single"_s);
        QVERIFY(i.createDatabase(i.app, true));
        i.setSetting(u"AutoStartMonitor"_s, u"1"_s);
        const QStringList withDatabase{u"--db-ini"_s, i.app};

        Status status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 3);
        QVERIFY2(status.firstLine().startsWith(u"HVXMONITOR UNKNOWN - cannot read the store"_s),
                 qPrintable(status.out));
        QVERIFY(!QFile::exists(i.registry));

        const QString damaged = i.dir.filePath(u"damaged/registry.sqlite3"_s);
        QDir().mkpath(QFileInfo(damaged).path());
        QVERIFY(writeFile(damaged, QByteArray(8192, 'x')));
        const QByteArray damagedBefore = fingerprint(damaged);
        status = runStatus(i, withDatabase, damaged);
        QCOMPARE(status.code, 3);
        QVERIFY2(status.firstLine().contains(damaged), qPrintable(status.out));
        QCOMPARE(fingerprint(damaged), damagedBefore);
        QCOMPARE(QDir(QFileInfo(damaged).path()).entryList(QDir::Files),
                 QStringList{u"registry.sqlite3"_s});

        QProcess* monitor = i.startMonitor(u"keep"_s, u"error-after:3"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(!i.control("ErrorInfo").isEmpty(), kPatienceMs);
        status = runStatus(i, withDatabase + QStringList{u"--json"_s});
        QCOMPARE(status.code, 1);
        // What differs from run to run is checked on its own, then the rest as a whole.
        QJsonObject json = status.json();
        QVERIFY2(json.take(u"summary"_s)
                     .toString()
                     .startsWith(u"HVXMONITOR WARNING - errors logged: Error 3021"_s),
                 qPrintable(status.out));
        QCOMPARE(json.take(u"store"_s).toString(), i.registry);
        QCOMPARE(json.take(u"status"_s).toString(), i.control("Status"));
        QCOMPARE(json.take(u"errorInfo"_s).toString(), i.control("ErrorInfo"));
        QVERIFY(json.take(u"processing"_s).isBool());
        QVERIFY(json.take(u"reasons"_s).isArray());
        QJsonObject login = json.take(u"login"_s).toObject();
        QVERIFY(!login.take(u"loginDate"_s).toString().isEmpty());
        QCOMPARE(login.take(u"computerName"_s).toString(), QSysInfo::machineHostName());
        json.insert(u"login"_s, login);
        QVERIFY2(json == object(R"json({"result": "WARNING", "exitCode": 1, "instance": "",
            "storeError": null, "title": "Help Desk Monitor", "monitorWindow": true,
            "monitorCaption": "Help Desk Monitor (Running)", "coreWindow": true, "state": "1",
            "stateName": "running", "coreHasDBIssues": false, "services": {"readingEmail": true,
            "sendingEmail": true, "processingSLAs": true, "onHold": true, "archiving": true},
            "login": {"found": true, "loggedIn": true, "error": null}})json"),
                 QJsonDocument(json).toJson());

        // The operator clears the warning; a stopped service shows in the text.
        i.setControl("ErrorInfo", QString());
        i.setControl("StopArchiving", u"1"_s, u"Options"_s);
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 0);
        QVERIFY2(status.firstLine().startsWith(u"HVXMONITOR OK - running"_s),
                 qPrintable(status.out));
        QVERIFY2(status.out.contains(u"archiving off"_s), qPrintable(status.out));
        QVERIFY2(status.out.contains(u"logged in on "_s), qPrintable(status.out));

        i.setControl("Command", u"3"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + " (Suspended)"), kPatienceMs);
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 1);
        QCOMPARE(status.firstLine(), u"HVXMONITOR WARNING - suspended (State 2)"_s);

        QVERIFY(Installation::terminate(monitor));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kTitle + " Timer"), kPatienceMs);
        // The journal goes once the last program has closed the store.
        QTRY_VERIFY_WITH_TIMEOUT(!QFile::exists(i.registry + "-wal"), kPatienceMs);
        const QByteArray before = fingerprint(i.registry);
        status = runStatus(i, withDatabase);
        QCOMPARE(status.code, 2);
        QVERIFY2(status.firstLine().startsWith(u"HVXMONITOR CRITICAL - no Monitor window"_s),
                 qPrintable(status.out));
        QVERIFY2(status.out.contains(u"logged out"_s), qPrintable(status.out));
        QCOMPARE(fingerprint(i.registry), before);
    }

    // Two instances side by side, each with its own section and log: North gives up after an
    // abort beyond its tolerance of 0, South runs on, and each is reported apart.
    void reportsInstancesApart() {
        Installation i(u"status-instances"_s);
        QVERIFY(i.createInstances({u"North"_s, u"South"_s}));
        const QString north = i.dir.filePath(u"North"_s);
        const QString south = i.dir.filePath(u"South"_s);
        i.setSetting(u"AutoStartMonitor"_s, u"1"_s, north);
        i.setSetting(u"AutoStartMonitor"_s, u"1"_s, south);
        i.setSetting(u"MonitorCnnTolerance"_s, u"0"_s, north);
        QProcess* northMonitor = i.startMonitor(u"select:North"_s, u"abort-after:3"_s);
        QProcess* southMonitor = i.startMonitor(u"select:South"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(u"South Monitor (Running)"_s), kPatienceMs);
        QCOMPARE(i.control("DBINIPath", u"Controls:South"_s), south);

        QTRY_COMPARE_WITH_TIMEOUT(i.control("State", u"Controls:North"_s), u"999"_s, kPatienceMs);
        // It may have ended while the wait above served events: waitForFinished() is false then.
        QVERIFY2(northMonitor->state() == QProcess::NotRunning ||
                     northMonitor->waitForFinished(kPatienceMs),
                 qPrintable(i.boxes() + i.log(north)));
        const Status northStatus = runStatus(i, {u"North"_s});
        QCOMPARE(northStatus.code, 2);
        QVERIFY2(northStatus.firstLine().startsWith(
                     u"HVXMONITOR CRITICAL - North: no Monitor window; core application aborted "
                     "(State 999)"_s),
                 qPrintable(northStatus.out));
        const Status southStatus = runStatus(i, {u"--json"_s, u"South"_s});
        QCOMPARE(southStatus.code, 0);
        const QJsonObject southJson = southStatus.json();
        QCOMPARE(southJson[u"instance"_s].toString(), u"South"_s);
        QCOMPARE(southJson[u"state"_s].toString(), u"1"_s);
        QCOMPARE(southJson[u"monitorCaption"_s].toString(), u"South Monitor (Running)"_s);
        QVERIFY(southJson[u"login"_s].isNull());

        QVERIFY(Installation::terminate(southMonitor));
        for (const QString& folder : {north, south}) {
            QVERIFY2(i.log(folder).endsWith(u"  TRACE  Closed\n"_s), qPrintable(folder));
        }
    }

    // What cmake --install lays down: the tool, the desktop entry that --help points to for
    // autostart, and a user unit that systemd accepts.
    void installsTheDesktopEntryAndTheUserUnit() {
        QTemporaryDir prefix;
        QProcess install;
        install.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        install.start(
            qEnvironmentVariable("HVX_CMAKE"),
            {u"--install"_s, qEnvironmentVariable("HVX_BUILD_DIR"), u"--prefix"_s, prefix.path()});
        QVERIFY(install.waitForFinished(120000));
        QCOMPARE(install.exitCode(), 0);
        const QString desktop = prefix.filePath(u"share/applications/hvxmonitor.desktop"_s);
        QVERIFY(QFile::exists(desktop));
        QProcess help;
        help.start(prefix.filePath(u"bin/hvx-status"_s), {u"--help"_s});
        QVERIFY(help.waitForFinished(kPatienceMs));
        QCOMPARE(help.exitCode(), 0);
        const QString helpText = QString::fromUtf8(help.readAllStandardOutput());
        QVERIFY2(helpText.contains("cp " + desktop +
                                   " \"${XDG_CONFIG_HOME:-$HOME/.config}/autostart/\""),
                 qPrintable(helpText));

        const QString unit = prefix.filePath(u"share/systemd/user/hvx-monitor.service"_s);
        QFile unitFile(unit);
        QVERIFY(unitFile.open(QIODevice::ReadOnly));
        const QString unitText = QString::fromUtf8(unitFile.readAll());
        QVERIFY(unitText.contains("ExecStart=" + prefix.filePath(u"bin/HvxMonitor"_s) + "\n"));
        QVERIFY(!unitText.contains(u'@'));
        const QString analyze = QStandardPaths::findExecutable(u"systemd-analyze"_s);
        if (analyze.isEmpty()) {
            QSKIP("systemd-analyze is not installed (scripts/setup installs it)");
        }
        QProcess verify;
        verify.setProcessChannelMode(QProcess::MergedChannels);
        verify.start(analyze, {u"--user"_s, u"verify"_s, unit});
        QVERIFY(verify.waitForFinished(60000));
        const QString findings = QString::fromUtf8(verify.readAll());
        QVERIFY2(verify.exitCode() == 0 && findings.trimmed().isEmpty(), qPrintable(findings));
    }
};

QTEST_GUILESS_MAIN(TestStatusEndToEnd)
#include "TestStatusEndToEnd.moc"
