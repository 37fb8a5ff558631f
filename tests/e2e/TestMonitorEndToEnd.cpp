#include "channel/ControlValues.h"
#include "components/SqliteRegistryStore.h"
#include "platform/posix/SocketWindowDirectory.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

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
        monitor->start(app + QStringLiteral("/HvxMonitor"), {});
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
        setControl("Command", "5");
        QTRY_VERIFY_WITH_TIMEOUT(!window(kTitle + QStringLiteral(" Timer")), test::kPatienceMs);
    }

    QString session;
    QTemporaryDir dir;
    QString app;
    bool ok = false;
    QProcessEnvironment environment;
    Factory<RegistryStore> store;
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
};

QTEST_GUILESS_MAIN(TestMonitorEndToEnd)
#include "TestMonitorEndToEnd.moc"
