#include "PrivateSessionBus.h"
#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <sys/mount.h>
#include <csignal>

using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");
const QString kRunning = kTitle + QStringLiteral(" (Running)");
const QString kCore = kTitle + QStringLiteral(" Timer");

// An installation with a demo file database beside the program, as most tests here start from.
struct DemoInstallation : Installation {
    explicit DemoInstallation(const QString& name) : Installation(name) {
        ok = createDatabase(app, true);
    }
    bool ok = false;
};

QStringList damagedStoresIn(const QString& folder) {
    return QDir(folder)
        .entryList({QStringLiteral("registry.sqlite3.damaged-*")})
        .filter(QRegularExpression(QStringLiteral("damaged-[0-9-]+$")));
}

QVariant monitorRow(const Installation& i, const char* column) {
    const QString connection = QStringLiteral("e2e-row");
    QVariant value;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
        db.setDatabaseName(i.app + QStringLiteral("/helpdesk.sqlite3"));
        db.open();
        QSqlQuery query(QStringLiteral("select %1 from SystemUsers where Login = 'Monitor'")
                            .arg(QLatin1String(column)),
                        db);
        value = query.next() ? query.value(0) : QVariant();
    }
    QSqlDatabase::removeDatabase(connection);
    return value;
}

}  // namespace

class TestMonitorEndToEnd : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void supervisesTheCoreFromStartToExit() {
        DemoInstallation i(QStringLiteral("e2e-supervise"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        QCOMPARE(i.control("State"), QStringLiteral("1"));
        QVERIFY(i.window(kCore));
        QCOMPARE(monitorRow(i, "LoggedIn").toInt(), 1);
        QVERIFY(i.boxes().contains(QStringLiteral("\"kind\":\"dlgDeleteOldMessages\"")));

        i.setControl("Command", QStringLiteral("3"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Suspended)")), kPatienceMs);
        QCOMPARE(i.control("State"), QStringLiteral("2"));
        i.setControl("Command", QStringLiteral("2"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);

        QVERIFY(Installation::terminate(monitor));
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
        QCOMPARE(monitorRow(i, "LoggedIn").toInt(), 0);
        // The exit command reaches the core, which closes.
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kCore), kPatienceMs);
    }

    void aSecondCopyIsRefused() {
        DemoInstallation i(QStringLiteral("e2e-second"));
        QVERIFY(i.ok);
        i.startMonitor();
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), kPatienceMs);
        QProcess* second = i.startMonitor();
        QVERIFY(second->waitForFinished(kPatienceMs));
        QVERIFY(second->exitCode() != 0);
        QVERIFY(i.boxes().contains(
            QStringLiteral("Halvex Help Desk Monitor is already running on this computer")));
        QVERIFY(i.window(kTitle));
    }

    void twoInstancesRunSideBySide() {
        Installation i(QStringLiteral("e2e-instances"));
        const QStringList instances{QStringLiteral("North"), QStringLiteral("South")};
        QVERIFY(i.createInstances(instances));
        QProcess* north = i.startMonitor(QStringLiteral("select:North"));
        QProcess* south = i.startMonitor(QStringLiteral("select:South"));
        for (const QString& instance : instances) {
            QTRY_VERIFY_WITH_TIMEOUT(i.window(instance + QStringLiteral(" Monitor")), kPatienceMs);
            const QString section = QStringLiteral("Controls:") + instance;
            QCOMPARE(i.control("DBINIPath", section), i.dir.filePath(instance));
            QVERIFY(!i.control("MonitorTicks", section).isEmpty());
        }
        QProcess* again = i.startMonitor(QStringLiteral("select:North"));
        QVERIFY(again->waitForFinished(kPatienceMs));
        QVERIFY(i.boxes().contains(
            QStringLiteral("This monitor is already running on this computer.")));

        QVERIFY(Installation::terminate(north));
        QVERIFY(Installation::terminate(south));
        for (const QString& instance : instances) {
            QVERIFY(i.log(i.dir.filePath(instance)).trimmed().endsWith(u"TRACE  Closed"));
        }
    }

    // An instance whose database cannot be reached: the operator asks for the wizard, the
    // instance's db.ini is deleted, the wizard writes a new one beside the program, which is
    // copied into the instance's folder and deleted beside the program.
    void theWizardReplacesAnInstancesConnection() {
        Installation i(QStringLiteral("e2e-wizard"));
        const QString folder = i.dir.filePath(QStringLiteral("Sales"));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(
            writeFile(folder + QStringLiteral("/db.ini"),
                      "[Database]\nType = SQLSERVER\nDriver = No Such Driver\nServer = 127.0.0.1\n"
                      "Database = helpdesk\n"));
        QVERIFY(writeFile(i.app + QStringLiteral("/monitornames.txt"),
                          "Sales, " + folder.toUtf8() + "/\n"));
        const QString database = i.dir.filePath(QStringLiteral("fresh.sqlite3"));

        // A refused choice first, its box answered on its own; then the database manager's own
        // report of the failed connection, the wizard question and the wizard.
        QProcess* monitor =
            i.startMonitor(QStringLiteral("select:Nobody,ok,select:Sales,ok,yes,jet:") + database);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(QStringLiteral("Sales Monitor")), kPatienceMs);

        QVERIFY(!QFile::exists(i.app + QStringLiteral("/db.ini")));
        QFile written(folder + QStringLiteral("/db.ini"));
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QByteArray ini = written.readAll();
        QVERIFY2(ini.contains("JET") && ini.contains(database.toUtf8()), ini.constData());
        const QString boxes = i.boxes();
        QVERIFY2(boxes.contains(QStringLiteral(
                     "{\"answer\":\"yes\",\"buttons\":\"YesNo\",\"icon\":\"question\","
                     "\"kind\":\"messagebox\",\"text\":\"Do you want to run the Database "
                     "Connection Wizard to change the database connection information?\"")),
                 qPrintable(boxes));
        QVERIFY(boxes.contains(QStringLiteral("\"completed\":true")));
        QVERIFY(boxes.contains(QStringLiteral(
            "{\"answer\":\"ok\",\"buttons\":\"OKOnly\",\"icon\":\"exclamation\","
            "\"kind\":\"messagebox\",\"text\":\"Please select a Monitor instance.\"")));
        QVERIFY(Installation::terminate(monitor));
    }

    void theLogOfAStartUpHoldsNoPassword_data() {
        QTest::addColumn<QString>("password");
        QTest::newRow("Monitor") << QStringLiteral("Monitor");
        QTest::newRow("0") << QStringLiteral("0");
        QTest::newRow("a") << QStringLiteral("a");
        QTest::newRow("40 characters") << QStringLiteral("x7Qk-").repeated(8);
    }

    void theLogOfAStartUpHoldsNoPassword() {
        QFETCH(QString, password);
        DemoInstallation i(QStringLiteral("e2e-password"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QFile ini(i.app + QStringLiteral("/db.ini"));
        QVERIFY(ini.open(QIODevice::Append));
        ini.write("Password=" + password.toUtf8() + "\n");
        ini.close();
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        QVERIFY(Installation::terminate(monitor));
        const QString log = i.log();
        QVERIFY2(log.contains(QStringLiteral("  TRACE  Monitor Started\n")), qPrintable(log));
        QVERIFY2(!log.contains(QStringLiteral("****")), qPrintable(log));
        if (password.size() >= 8) {
            QVERIFY2(!log.contains(password), qPrintable(log));
        }
        // The core application still gets it through the control channel.
        QCOMPARE(i.control("Pwd"), password);
    }

    // The log folder is a 64 KB tmpfs that fills while the Monitor runs.
    void aFullLogFolderNeitherDamagesTheLogNorStopsSupervision() {
        DemoInstallation i(QStringLiteral("e2e-full-disk"));
        QVERIFY(i.ok);
        const QString folder = i.dir.filePath(QStringLiteral("data/halvex/help-desk"));
        QVERIFY(QDir().mkpath(folder));
        if (::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, "size=64k") != 0) {
            QSKIP("a tmpfs cannot be mounted here (no privilege)");
        }
        const auto unmount =
            qScopeGuard([&] { ::umount2(QFile::encodeName(folder).constData(), MNT_DETACH); });
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        i.setControl("Trace", QStringLiteral("1"), QStringLiteral("Options"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);

        // Fill the folder to the last byte; the tick's trace lines then find no room.
        QFile filler(folder + QStringLiteral("/filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray block(512, 'f');
        while (filler.write(block) == block.size()) {
        }
        filler.write(QByteArray(1, 'f'));
        filler.close();
        // The trace lines of a suspend and a resume use up the free end of the log's last page;
        // from then on a round leaves the log as it was, and supervision goes on.
        const QString logFile = folder + QStringLiteral("/monitorlog.txt");
        qint64 before = -1;
        for (int round = 0; round < 60 && QFileInfo(logFile).size() != before; ++round) {
            before = QFileInfo(logFile).size();
            i.setControl("Command", QStringLiteral("3"));
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Suspended)")),
                                     kPatienceMs);
            i.setControl("Command", QStringLiteral("2"));
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        }
        QVERIFY2(QFileInfo(logFile).size() == before, "the log folder never filled");

        QVERIFY(QFile::remove(filler.fileName()));
        QVERIFY(Installation::terminate(monitor));
        const QString log = i.log();
        QVERIFY2(log.endsWith(QStringLiteral("  TRACE  Closed\n")), qPrintable(log.right(300)));
        // Stamped or a continuation, and no half line with the next one glued to it.
        static const QRegularExpression stamp(
            QStringLiteral(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d  (TRACE|ERROR)  )"));
        for (const QString& line : log.chopped(1).split(QLatin1Char('\n'))) {
            const QRegularExpressionMatch first = stamp.match(line);
            QVERIFY2(line.startsWith(QLatin1Char('\t')) || first.capturedStart() == 0,
                     qPrintable(line));
            QVERIFY2(!stamp.match(line, first.hasMatch() ? first.capturedEnd() : 0).hasMatch(),
                     qPrintable(line));
        }
    }

    // The session's end cannot be declined: the orderly shutdown, without a question.
    void theSessionsEndClosesWithoutAQuestion_data() {
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGTERM") << int{SIGTERM};
        QTest::newRow("SIGHUP") << int{SIGHUP};
    }
    void theSessionsEndClosesWithoutAQuestion() {
        QFETCH(int, signalNumber);
        DemoInstallation i(QStringLiteral("e2e-session-end"));
        QVERIFY(i.ok);
        QProcess* monitor = i.startMonitor(QStringLiteral("no"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), kPatienceMs);
        ::kill(static_cast<pid_t>(monitor->processId()), signalNumber);
        QVERIFY(monitor->waitForFinished(kPatienceMs));
        QCOMPARE(monitor->exitStatus(), QProcess::NormalExit);
        QVERIFY2(!i.boxes().contains(QStringLiteral("dlgMessageWithTurnOff")),
                 qPrintable(i.boxes()));
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
        QCOMPARE(i.control("Command"), QStringLiteral("5"));
        QCOMPARE(monitorRow(i, "LoggedIn").toInt(), 0);
    }

    // Ctrl-C asks like the close box: a No keeps the Monitor running, a Yes closes it.
    void ctrlCAsksFirst() {
        DemoInstallation i(QStringLiteral("e2e-ctrl-c"));
        QVERIFY(i.ok);
        QProcess* monitor = i.startMonitor(QStringLiteral("no,yes"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), kPatienceMs);
        const auto questions = [&i] {
            return i.boxes().count(QStringLiteral("\"kind\":\"dlgMessageWithTurnOff\""));
        };
        ::kill(static_cast<pid_t>(monitor->processId()), SIGINT);
        QTRY_COMPARE_WITH_TIMEOUT(questions(), 1, kPatienceMs);
        // Were the No to close it, the second Ctrl-C would find nobody to ask.
        QVERIFY(monitor->state() == QProcess::Running);
        ::kill(static_cast<pid_t>(monitor->processId()), SIGINT);
        QVERIFY(monitor->waitForFinished(kPatienceMs));
        QCOMPARE(questions(), 2);
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
    }

    // The error warning's rising reaches the desktop's notification service, once.
    void anErrorShowsOneDesktopNotification() {
        PrivateSessionBus bus;
        QVERIFY(!bus.address().isEmpty());
        RecordingNotifications service;
        QVERIFY(service.start(bus.address()));
        DemoInstallation i(QStringLiteral("e2e-notify"));
        QVERIFY(i.ok);
        i.environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                             QString::fromUtf8(bus.address()));
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        i.setControl("ErrorInfo", QStringLiteral("Error 3021 in SendMail"));
        QTRY_COMPARE_WITH_TIMEOUT(service.calls.size(), 1, kPatienceMs);
        QVERIFY2(service.calls.front().endsWith(QStringLiteral("|Error 3021 in SendMail")),
                 qPrintable(service.calls.front()));
        // Ticks go on while the warning stays up; no second notification.
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 1; }, 3000));
        QVERIFY(Installation::terminate(monitor));
    }

    // A store that cannot be used is named before anything starts; a damaged one is put
    // aside, said once, and the Monitor supervises on a fresh one.
    void aStoreThatCannotBeUsedIsNamed_data() {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<bool>("runs");
        QTest::newRow("random bytes") << "random" << true;
        QTest::newRow("a folder in its place") << "folder" << false;
        QTest::newRow("a file that cannot be written") << "read-only" << false;
    }
    void aStoreThatCannotBeUsedIsNamed() {
        QFETCH(QString, damage);
        QFETCH(bool, runs);
        DemoInstallation i(QStringLiteral("e2e-store-") + damage);
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        const QString path = i.registry;
        QByteArray bytes(8192, 'r');
        if (damage == "read-only") {
            i.setControl("Command", QStringLiteral("0"));  // its close folds the journal in
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            bytes = file.readAll();
        }
        if (damage == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else {
            QVERIFY(writeFile(path, bytes));
        }
        if (damage == "read-only") {
            QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
            i.withoutFileOverride = true;
        }
        QProcess* monitor = i.startMonitor(QStringLiteral("ok,keep"));
        if (!runs) {
            QVERIFY(monitor->waitForFinished(kPatienceMs));
            QVERIFY(monitor->exitCode() != 0);
            QVERIFY2(i.boxes().contains(path + QStringLiteral(" cannot be used")),
                     qPrintable(i.boxes()));
            QVERIFY(!i.window(kCore));
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        QVERIFY2(i.boxes().contains(path + QStringLiteral(" was damaged")), qPrintable(i.boxes()));
        // The journal that SQLite made while it read the damaged file lies beside it.
        const QStringList kept = damagedStoresIn(i.dir.path());
        QCOMPARE(kept.size(), 1);
        QFile keptFile(i.dir.filePath(kept[0]));
        QVERIFY(keptFile.open(QIODevice::ReadOnly));
        QCOMPARE(keptFile.readAll(), bytes);
        QVERIFY(Installation::terminate(monitor));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kCore), kPatienceMs);
    }

    // Damaged under the running Monitor and core application: both go on with the same fresh
    // store, so the exit command still reaches the core application.
    void aStoreDamagedWhileRunning() {
        DemoInstallation i(QStringLiteral("e2e-store-running"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        {
            QFile file(i.registry);
            QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Truncate));
            file.write(QByteArray(8192, 'x'));
        }
        QTRY_VERIFY_WITH_TIMEOUT(i.log().contains(i.registry + QStringLiteral(" was damaged")),
                                 kPatienceMs);
        QCOMPARE(damagedStoresIn(i.dir.path()).size(), 1);
        // The core application reports to the fresh store, and the Monitor reads it there.
        QTRY_COMPARE_WITH_TIMEOUT(i.control("State"), QStringLiteral("1"), kPatienceMs);
        QVERIFY(i.window(kCore));
        QVERIFY(Installation::terminate(monitor));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kCore), kPatienceMs);
    }
};

QTEST_GUILESS_MAIN(TestMonitorEndToEnd)
#include "TestMonitorEndToEnd.moc"
