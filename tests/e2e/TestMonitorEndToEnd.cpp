#include "PrivateSessionBus.h"
#include "channel/ControlValues.h"
#include "components/SqliteRegistryStore.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "support/LeftoverPrograms.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <sys/mount.h>
#include <csignal>

#include <unistd.h>

using namespace hvx;

namespace {

const QString kBase = QStringLiteral("Software\\Halvex\\Help Desk\\Monitor\\");
const QString kTitle = QStringLiteral("Help Desk Monitor");

// The real programs in an application folder of their own, on a demo file database, with a
// private store, session and log folder, answering every box and dialog from a queue.
class Installation {
  public:
    // The session is made unique to this run: two runs of this test on one machine (two build
    // folders) must not see each other's windows.
    explicit Installation(const QString& name)
        : session(QStringLiteral("%1-%2").arg(name).arg(QCoreApplication::applicationPid())) {
        const QString bin = qEnvironmentVariable("HVX_BIN_DIR");
        app = dir.filePath(QStringLiteral("app"));
        QDir().mkpath(app);
        for (const char* program : {"HvxMonitor", "HvxMonCore"}) {
            QFile::copy(bin + QLatin1Char('/') + QLatin1String(program),
                        app + QLatin1Char('/') + QLatin1String(program));
        }
        QProcess setup;
        setup.start(bin + QStringLiteral("/hvx-dbsetup"),
                    {QStringLiteral("--db-ini"), app, QStringLiteral("--demo")});
        setup.waitForFinished(30000);
        ok = setup.exitCode() == 0;
        environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("HVX_REGISTRY"),
                           dir.filePath(QStringLiteral("registry.sqlite3")));
        environment.insert(QStringLiteral("HVX_SESSION"), session);
        environment.insert(QStringLiteral("XDG_DATA_HOME"), dir.filePath(QStringLiteral("data")));
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("HVX_UNATTENDED"),
                           dir.filePath(QStringLiteral("boxes.jsonl")));
        // This process looks up the programs' windows in the same session.
        qputenv("HVX_SESSION", session.toUtf8());
        store = SqliteRegistryStore::factory(dir.filePath(QStringLiteral("registry.sqlite3")));
    }

    void setSetting(const QString& name, const QString& value) {
        const QString connection = QStringLiteral("e2e-settings");
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            db.setDatabaseName(app + QStringLiteral("/helpdesk.sqlite3"));
            db.open();
            QSqlQuery query(db);
            query.prepare(
                QStringLiteral("update Settings set SettingValue = ? where SettingName = ?"));
            query.addBindValue(value);
            query.addBindValue(name);
            query.exec();
        }
        QSqlDatabase::removeDatabase(connection);
    }

    QProcess* startMonitor(const QString& answers = {}) {
        auto* monitor = new QProcess;
        QProcessEnvironment env = environment;
        env.insert(QStringLiteral("HVX_ANSWERS"), answers);
        monitor->setProcessEnvironment(env);
        monitor->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        const QString program = app + QStringLiteral("/HvxMonitor");
        if (withoutFileOverride && ::geteuid() == 0) {
            // Root passes file permissions by its capabilities; without them it meets them.
            monitor->start(QStringLiteral("setpriv"),
                           {QStringLiteral("--bounding-set=-dac_override,-dac_read_search,-fowner"),
                            QStringLiteral("--"), program});
        } else {
            monitor->start(program, {});
        }
        monitor->waitForStarted();
        monitors.emplace_back(monitor);
        return monitor;
    }

    QString control(const char* name) {
        QVariant value;
        int type = 0;
        const int status =
            store()->QueryValue(RegistryStore::kCurrentUser, kBase + QStringLiteral("Controls"),
                                QString::fromLatin1(name), value, type);
        return status == RegistryStore::kStatusOk ? value.toString() : QStringLiteral("<missing>");
    }
    void setControl(const char* name, const char* value) {
        store()->SetValue(RegistryStore::kCurrentUser, kBase + QStringLiteral("Controls"),
                          QString::fromLatin1(name), QString::fromLatin1(value),
                          RegistryStore::kTypeString, true);
    }
    bool window(const QString& caption) const { return windows.findWindow(caption); }
    QString boxes() const {
        QFile file(dir.filePath(QStringLiteral("boxes.jsonl")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    QString log() const {
        QFile file(dir.filePath(QStringLiteral("data/halvex/help-desk/monitorlog.txt")));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    QVariant monitorRow(const char* column) {
        const QString connection = QStringLiteral("e2e-row");
        QVariant value;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            db.setDatabaseName(app + QStringLiteral("/helpdesk.sqlite3"));
            db.open();
            QSqlQuery query(QStringLiteral("select %1 from SystemUsers where Login = 'Monitor'")
                                .arg(QLatin1String(column)),
                            db);
            value = query.next() ? query.value(0) : QVariant();
        }
        QSqlDatabase::removeDatabase(connection);
        return value;
    }

    ~Installation() {
        for (auto& monitor : monitors) {
            if (monitor->state() != QProcess::NotRunning) {
                monitor->kill();
                monitor->waitForFinished(5000);
            }
        }
        // A core left running would keep the folder busy: ask it to close.
        try {
            store = SqliteRegistryStore::factory(dir.filePath(QStringLiteral("registry.sqlite3")));
            setControl("Command", "5");
        } catch (const RuntimeError& error) {
            // A store that a test made unusable: the core never ran on it.
            qWarning().noquote() << error.description();
        }
        const bool closed = QTest::qWaitFor(
            [this] { return !window(kTitle + QStringLiteral(" Timer")); }, test::kPatienceMs);
        test::killProgramsIn(app);
        QVERIFY2(closed, "the core application did not take the close command");
    }

    QString session;
    QTemporaryDir dir;
    QString app;
    bool ok = false;
    QProcessEnvironment environment;
    Factory<RegistryStore> store;
    // Runs the Monitor so that file permissions bind it, as root too.
    bool withoutFileOverride = false;
    SocketWindowDirectory windows;
    std::vector<std::unique_ptr<QProcess>> monitors;
};

}  // namespace

class TestMonitorEndToEnd : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void supervisesTheCoreFromStartToExit() {
        Installation i(QStringLiteral("e2e-supervise"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")),
                                 test::kPatienceMs);
        QCOMPARE(i.control("State"), QStringLiteral("1"));
        QVERIFY(i.window(kTitle + QStringLiteral(" Timer")));
        QCOMPARE(i.monitorRow("LoggedIn").toInt(), 1);
        QVERIFY(i.boxes().contains(QStringLiteral("\"kind\":\"dlgDeleteOldMessages\"")));

        i.setControl("Command", "3");
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Suspended)")),
                                 test::kPatienceMs);
        QCOMPARE(i.control("State"), QStringLiteral("2"));
        i.setControl("Command", "2");
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")),
                                 test::kPatienceMs);

        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10000));
        QCOMPARE(monitor->exitStatus(), QProcess::NormalExit);
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
        QCOMPARE(i.monitorRow("LoggedIn").toInt(), 0);
        // The exit command reaches the core, which closes.
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kTitle + QStringLiteral(" Timer")), test::kPatienceMs);
    }

    void aSecondCopyIsRefused() {
        Installation i(QStringLiteral("e2e-second"));
        QVERIFY(i.ok);
        i.startMonitor();
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), test::kPatienceMs);
        QProcess* second = i.startMonitor();
        QVERIFY(second->waitForFinished(10000));
        QVERIFY(second->exitCode() != 0);
        QVERIFY(i.boxes().contains(
            QStringLiteral("Halvex Help Desk Monitor is already running on this computer")));
        QVERIFY(i.window(kTitle));
    }

    void twoInstancesRunSideBySide() {
        Installation i(QStringLiteral("e2e-instances"));
        QVERIFY(i.ok);
        const QString bin = qEnvironmentVariable("HVX_BIN_DIR");
        QFile names(i.app + QStringLiteral("/monitornames.txt"));
        QVERIFY(names.open(QIODevice::WriteOnly));
        for (const char* instance : {"North", "South"}) {
            const QString folder = i.dir.filePath(QString::fromLatin1(instance));
            QDir().mkpath(folder);
            QProcess setup;
            setup.start(bin + QStringLiteral("/hvx-dbsetup"), {QStringLiteral("--db-ini"), folder});
            QVERIFY(setup.waitForFinished(30000) && setup.exitCode() == 0);
            names.write(QByteArray(instance) + ", " + folder.toUtf8() + "/\n");
        }
        names.close();
        QProcess* north = i.startMonitor(QStringLiteral("select:North"));
        QProcess* south = i.startMonitor(QStringLiteral("select:South"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(QStringLiteral("North Monitor")), test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(QStringLiteral("South Monitor")), test::kPatienceMs);
        QVariant value;
        int type = 0;
        for (const char* instance : {"North", "South"}) {
            const QString section = kBase + QStringLiteral("Controls:") + QLatin1String(instance);
            QCOMPARE(i.store()->QueryValue(RegistryStore::kCurrentUser, section,
                                           QStringLiteral("DBINIPath"), value, type),
                     0);
            QCOMPARE(value.toString(), i.dir.filePath(QString::fromLatin1(instance)));
            QCOMPARE(i.store()->QueryValue(RegistryStore::kCurrentUser, section,
                                           QStringLiteral("MonitorTicks"), value, type),
                     0);
        }
        QProcess* again = i.startMonitor(QStringLiteral("select:North"));
        QVERIFY(again->waitForFinished(15000));
        QVERIFY(i.boxes().contains(
            QStringLiteral("This monitor is already running on this computer.")));

        for (QProcess* monitor : {north, south}) {
            ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
            QVERIFY(monitor->waitForFinished(10000));
        }
        for (const char* instance : {"North", "South"}) {
            QFile log(i.dir.filePath(QString::fromLatin1(instance)) +
                      QStringLiteral("/monitorlog.txt"));
            QVERIFY(log.open(QIODevice::ReadOnly));
            QVERIFY(log.readAll().trimmed().endsWith("TRACE  Closed"));
        }
    }

    // The relaunch a minute later, and the tolerance, are the timer loop's: its unit test pins
    // them to the second with a settable clock. What needs the real programs is that the core's
    // abort reaches the Monitor through the store and the window lookup.
    void anAbortOfTheRealCoreIsHandled() {
        Installation i(QStringLiteral("e2e-abort"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        i.environment.insert(QStringLiteral("HVX_CORE_FAULT"), QStringLiteral("abort-after:3"));
        i.store()->SetValue(RegistryStore::kCurrentUser, kBase + QStringLiteral("Options"),
                            QStringLiteral("Trace"), QStringLiteral("1"),
                            RegistryStore::kTypeString, true);
        i.startMonitor(QStringLiteral("keep"));
        const QString core = kTitle + QStringLiteral(" Timer");
        QTRY_VERIFY_WITH_TIMEOUT(i.window(core), test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(i.log().contains(QStringLiteral(
                                     "Requesting the core application to restart in one minute.")),
                                 test::kPatienceMs);
        QTRY_COMPARE_WITH_TIMEOUT(i.control("State"), QStringLiteral("1"), test::kPatienceMs);
        QVERIFY(!i.window(core));
    }

    // An instance whose database cannot be reached: the operator asks for the wizard, the
    // instance's db.ini is deleted, the wizard writes a new one beside the program, which is
    // copied into the instance's folder and deleted beside the program.
    void theWizardReplacesAnInstancesConnection() {
        Installation i(QStringLiteral("e2e-wizard"));
        QVERIFY(i.ok);
        QVERIFY(QFile::remove(i.app + QStringLiteral("/db.ini")));
        const QString folder = i.dir.filePath(QStringLiteral("Sales"));
        QDir().mkpath(folder);
        QFile broken(folder + QStringLiteral("/db.ini"));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write(
            "[Database]\nType = SQLSERVER\nDriver = No Such Driver\nServer = 127.0.0.1\n"
            "Database = helpdesk\n");
        broken.close();
        QFile names(i.app + QStringLiteral("/monitornames.txt"));
        QVERIFY(names.open(QIODevice::WriteOnly));
        names.write("Sales, " + folder.toUtf8() + "/\n");
        names.close();
        const QString database = i.dir.filePath(QStringLiteral("fresh.sqlite3"));

        // A refused choice first, its box answered on its own; then the database manager's own
        // report of the failed connection, the wizard question and the wizard.
        QProcess* monitor =
            i.startMonitor(QStringLiteral("select:Nobody,ok,select:Sales,ok,yes,jet:") + database);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(QStringLiteral("Sales Monitor")), 20000);

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

        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10000));
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
        Installation i(QStringLiteral("e2e-password"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QFile ini(i.app + QStringLiteral("/db.ini"));
        QVERIFY(ini.open(QIODevice::Append));
        ini.write("Password=" + password.toUtf8() + "\n");
        ini.close();
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), 15000);
        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10000));
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
        Installation i(QStringLiteral("e2e-full-disk"));
        QVERIFY(i.ok);
        const QString folder = i.dir.filePath(QStringLiteral("data/halvex/help-desk"));
        QVERIFY(QDir().mkpath(folder));
        if (::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, "size=64k") != 0) {
            QSKIP("a tmpfs cannot be mounted here (no privilege)");
        }
        const auto unmount =
            qScopeGuard([&] { ::umount2(QFile::encodeName(folder).constData(), MNT_DETACH); });
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        i.store()->SetValue(RegistryStore::kCurrentUser, kBase + QStringLiteral("Options"),
                            QStringLiteral("Trace"), QStringLiteral("1"),
                            RegistryStore::kTypeString, true);
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), 15000);

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
            i.setControl("Command", "3");
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Suspended)")),
                                     test::kPatienceMs);
            i.setControl("Command", "2");
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")),
                                     test::kPatienceMs);
        }
        QVERIFY2(QFileInfo(logFile).size() == before, "the log folder never filled");

        QVERIFY(QFile::remove(filler.fileName()));
        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10000));
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
        Installation i(QStringLiteral("e2e-session-end"));
        QVERIFY(i.ok);
        QProcess* monitor = i.startMonitor(QStringLiteral("no"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), 15000);
        ::kill(static_cast<pid_t>(monitor->processId()), signalNumber);
        QVERIFY(monitor->waitForFinished(10000));
        QCOMPARE(monitor->exitStatus(), QProcess::NormalExit);
        QVERIFY2(!i.boxes().contains(QStringLiteral("dlgMessageWithTurnOff")),
                 qPrintable(i.boxes()));
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
        QCOMPARE(i.control("Command"), QStringLiteral("5"));
        QCOMPARE(i.monitorRow("LoggedIn").toInt(), 0);
    }

    // Ctrl-C asks like the close box: a No keeps the Monitor running, a Yes closes it.
    void ctrlCAsksFirst() {
        Installation i(QStringLiteral("e2e-ctrl-c"));
        QVERIFY(i.ok);
        QProcess* monitor = i.startMonitor(QStringLiteral("no,yes"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), 15000);
        const auto questions = [&i] {
            return i.boxes().count(QStringLiteral("\"kind\":\"dlgMessageWithTurnOff\""));
        };
        ::kill(static_cast<pid_t>(monitor->processId()), SIGINT);
        QTRY_COMPARE_WITH_TIMEOUT(questions(), 1, 10000);
        // Were the No to close it, the second Ctrl-C would find nobody to ask.
        QVERIFY(monitor->state() == QProcess::Running);
        ::kill(static_cast<pid_t>(monitor->processId()), SIGINT);
        QVERIFY(monitor->waitForFinished(10000));
        QCOMPARE(questions(), 2);
        QVERIFY2(i.log().trimmed().endsWith(QStringLiteral("TRACE  Closed")), qPrintable(i.log()));
    }

    // The error warning's rising reaches the desktop's notification service, once.
    void anErrorShowsOneDesktopNotification() {
        test::PrivateSessionBus bus;
        QVERIFY(!bus.address().isEmpty());
        test::RecordingNotifications service;
        QVERIFY(service.start(bus.address()));
        Installation i(QStringLiteral("e2e-notify"));
        QVERIFY(i.ok);
        i.environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                             QString::fromUtf8(bus.address()));
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), 15000);
        i.setControl("ErrorInfo", "Error 3021 in SendMail");
        QTRY_COMPARE_WITH_TIMEOUT(service.calls.size(), 1, 15000);
        QVERIFY2(service.calls.front().endsWith(QStringLiteral("|Error 3021 in SendMail")),
                 qPrintable(service.calls.front()));
        // Ticks go on while the warning stays up; no second notification.
        QVERIFY(!QTest::qWaitFor([&] { return service.calls.size() > 1; }, 3000));
        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10000));
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
        Installation i(QStringLiteral("e2e-store-") + damage);
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        const QString path = i.dir.filePath(QStringLiteral("registry.sqlite3"));
        QByteArray bytes(8192, 'r');
        if (damage == "read-only") {
            i.setControl("Command", "0");
            i.store = nullptr;  // closes the connection, which folds the journal into the file
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            bytes = file.readAll();
        }
        if (damage == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(bytes);
        }
        if (damage == "read-only") {
            QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
            i.withoutFileOverride = true;
        }
        QProcess* monitor = i.startMonitor(QStringLiteral("ok,keep"));
        const QString core = kTitle + QStringLiteral(" Timer");
        if (!runs) {
            QVERIFY(monitor->waitForFinished(15'000));
            QVERIFY(monitor->exitCode() != 0);
            QVERIFY2(i.boxes().contains(path + QStringLiteral(" cannot be used")),
                     qPrintable(i.boxes()));
            QVERIFY(!i.window(core));
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), 15'000);
        QVERIFY2(i.boxes().contains(path + QStringLiteral(" was damaged")), qPrintable(i.boxes()));
        // The journal that SQLite made while it read the damaged file lies beside it.
        const QStringList kept =
            QDir(i.dir.path())
                .entryList({QStringLiteral("registry.sqlite3.damaged-*")})
                .filter(QRegularExpression(QStringLiteral("damaged-[0-9-]+$")));
        QCOMPARE(kept.size(), 1);
        QFile keptFile(i.dir.filePath(kept[0]));
        QVERIFY(keptFile.open(QIODevice::ReadOnly));
        QCOMPARE(keptFile.readAll(), bytes);
        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10'000));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(core), 6'000);
    }

    // Damaged under the running Monitor and core application: both go on with the same fresh
    // store, so the exit command still reaches the core application.
    void aStoreDamagedWhileRunning() {
        Installation i(QStringLiteral("e2e-store-running"));
        QVERIFY(i.ok);
        i.setSetting(QStringLiteral("AutoStartMonitor"), QStringLiteral("1"));
        QProcess* monitor = i.startMonitor(QStringLiteral("keep"));
        const QString core = kTitle + QStringLiteral(" Timer");
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle + QStringLiteral(" (Running)")), 15'000);
        const QString path = i.dir.filePath(QStringLiteral("registry.sqlite3"));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Truncate));
            file.write(QByteArray(8192, 'x'));
        }
        QTRY_VERIFY_WITH_TIMEOUT(i.log().contains(path + QStringLiteral(" was damaged")), 10'000);
        QCOMPARE(QDir(i.dir.path())
                     .entryList({QStringLiteral("registry.sqlite3.damaged-*")})
                     .filter(QRegularExpression(QStringLiteral("damaged-[0-9-]+$")))
                     .size(),
                 1);
        // The core application reports to the fresh store, and the Monitor reads it there.
        QTRY_COMPARE_WITH_TIMEOUT(i.control("State"), QStringLiteral("1"), 10'000);
        QVERIFY(i.window(core));
        ::kill(static_cast<pid_t>(monitor->processId()), SIGTERM);
        QVERIFY(monitor->waitForFinished(10'000));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(core), 6'000);
    }
};

QTEST_GUILESS_MAIN(TestMonitorEndToEnd)
#include "TestMonitorEndToEnd.moc"
