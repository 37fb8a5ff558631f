#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using hvx::test::kPatienceMs;

namespace {

const QString kDefaultCaption = u"Halvex Help Desk Monitor Timer"_s;

// One run of HvxMonCore on a private store and a session of its own per test (a window left
// by another test, or shown by this test run from another build folder, never counts),
// ended when the test ends.
class Core : public hvx::test::Installation {
  public:
    Core()
        : Installation(u"hvx-mon-core-%1-%2"_s.arg(QLatin1String(QTest::currentTestFunction()),
                                                   QLatin1String(QTest::currentDataTag()))) {}
    ~Core() {
        if (process.state() != QProcess::NotRunning) {
            process.terminate();
            process.waitForFinished(kPatienceMs);
        }
    }

    void start(const QString& faults = {}) {
        QProcessEnvironment env = environment;
        env.insert(u"HVX_CORE_FAULT"_s, faults);
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(app + u"/HvxMonCore"_s,
                      instance.isEmpty() ? QStringList() : QStringList{instance});
        clock.start();
    }
    // Started with Command "1" waiting. The database folder is the test's folder: a db.ini
    // beside the program stays out of the test.
    void startRunning(const QString& faults = {}) {
        setControl("DBINIPath", dir.path(), section());
        setControl("Command", u"1"_s, section());
        start(faults);
    }
    QString section() const {
        return instance.isEmpty() ? u"Controls"_s : u"Controls:"_s + instance;
    }
    QString value(const char* name) const { return control(name, section()); }
    bool ended(int expectedCode) {
        return process.waitForFinished(kPatienceMs) &&
               process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode;
    }
    bool endsOn(int signal) {
        ::kill(static_cast<pid_t>(process.processId()), signal);
        return ended(0);
    }

    QString instance;
    QProcess process;
    QElapsedTimer clock;
};

// The first value of the first row of `statement` on the file database (0 without a row), or
// -1 when it failed.
int sql(const QString& file, const QString& statement) {
    int first = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"check"_s);
        db.setDatabaseName(file);
        QSqlQuery query(db);
        if (db.open() && query.exec(statement)) {
            first = query.next() ? query.value(0).toInt() : 0;
        }
    }
    QSqlDatabase::removeDatabase(u"check"_s);
    return first;
}

}  // namespace

class TestHvxMonCore : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void followsTheCommandsUntilItsEnd_data() {
        QTest::addColumn<QString>("instance");
        QTest::addColumn<QString>("caption");
        QTest::newRow("single instance") << QString() << kDefaultCaption;
        QTest::newRow("instance North") << u"North"_s << u"North Monitor Timer"_s;
    }
    void followsTheCommandsUntilItsEnd() {
        QFETCH(QString, instance);
        QFETCH(QString, caption);
        Core core;
        core.instance = instance;
        // An instance leaves the single-instance section alone.
        core.setControl("Command", u"3"_s);
        core.startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(core.value("State"), u"1"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.value("Status").startsWith(u"Running"_s), kPatienceMs);
        QCOMPARE(core.value("Processing"), u"0"_s);
        // Suspend and Resume are the Monitor's own end-to-end test.
        // The Monitor clears Status when it gives Suspend or Resume; the core writes it again.
        core.setControl("Status", QString(), core.section());
        QTRY_VERIFY_WITH_TIMEOUT(core.value("Status").startsWith(u"Running"_s), kPatienceMs);

        // A renewal ends this copy; the next, started without a Start command, runs on.
        core.setControl("Command", u"6"_s, core.section());
        QVERIFY(core.ended(0));
        QVERIFY(!core.window(caption));
        core.setControl("Status", QString(), core.section());
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.value("Status").startsWith(u"Running"_s), kPatienceMs);
        // The close command ends it, and so does SIGTERM.
        if (instance.isEmpty()) {
            core.setControl("Command", u"5"_s);
            QVERIFY(core.ended(0));
            QCOMPARE(core.value("Command"), u"0"_s);
        } else {
            QVERIFY(core.endsOn(SIGTERM));
        }
        QVERIFY(!core.window(caption));
        QVERIFY(instance.isEmpty() || core.control("Command") + core.control("State") == u"3"_s);
    }

    // No close command can reach a copy whose store cannot be used: it ends by itself.
    void endsWhenTheStoreStaysUnusable() {
        Core core;
        QVERIFY(QDir().mkpath(core.registry));
        core.start();
        QVERIFY(core.process.waitForFinished(90'000));
        QCOMPARE(core.process.exitCode(), 4);
    }

    // Misbehaviour on request, for trying the Monitor by hand: no window, database issues,
    // commands ignored and an error after a second.
    void misbehavesOnRequest() {
        Core core;
        core.startRunning(u"no-window, db-issues,ignore-commands,error-after:1"_s);
        QTRY_VERIFY_WITH_TIMEOUT(!core.value("ErrorInfo").trimmed().isEmpty(), kPatienceMs);
        QVERIFY(core.clock.elapsed() >= 900);
        QCOMPARE(core.value("CoreHasDBIssues"), u"1"_s);
        QCOMPARE(core.value("Command"), u"1"_s);
        QVERIFY(core.value("State") != QLatin1String("1"));
        QVERIFY(!core.window(kDefaultCaption));
        QVERIFY(core.endsOn(SIGINT));
    }

    void sendsUnsentMessagesWhileSendingIsOn() {
        Core core;
        QVERIFY(core.createDatabase(core.dir.path(), true));
        const QString file = core.dir.filePath(u"helpdesk.sqlite3"_s);
        const QString unsent = u"select count(*) from Messages where Sent is null"_s;
        const int demoUnsent = sql(file, unsent);
        QVERIFY(demoUnsent > 0);
        const int alreadySent =
            sql(file, u"select count(*) from Messages where Sent is not null"_s);

        core.setControl("StopSendingEmail", u"1"_s, u"Options"_s);
        core.startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").contains(u"sending is off"_s), kPatienceMs);
        QCOMPARE(sql(file, unsent), demoUnsent);

        core.setControl("StopSendingEmail", u"0"_s, u"Options"_s);
        core.setControl("Command", u"4"_s);
        QTRY_COMPARE_WITH_TIMEOUT(sql(file, unsent), 0, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            core.control("Status").contains(u"%1 messages sent"_s.arg(demoUnsent)), kPatienceMs);
        // Stamped with a time, and the message sent before keeps its own stamp.
        QCOMPARE(sql(file, u"select count(*) from Messages where Sent = LastModified"_s),
                 demoUnsent);
        QCOMPARE(sql(file, u"select count(*) from Messages where Sent <> LastModified"_s),
                 alreadySent);
    }

    void titleFollowsTheMonitors_data() {
        QTest::addColumn<QString>("termSql");
        QTest::addColumn<QString>("caption");
        // The term from the database is the Monitor's end-to-end test.
        QTest::newRow("term missing: its key")
            << "delete from Terms where TermKey = 'SHORT_PRODUCT_NAME_MONITOR'"
            << "SHORT_PRODUCT_NAME_MONITOR Timer";
        QTest::newRow("no Terms table: string table") << "drop table Terms" << kDefaultCaption;
        QTest::newRow("database unreachable: string table") << "unreachable" << kDefaultCaption;
    }
    void titleFollowsTheMonitors() {
        QFETCH(QString, termSql);
        QFETCH(QString, caption);
        // Single-instance and no DBINIPath: the db.ini beside the program counts.
        Core core;
        QVERIFY(core.createDatabase(core.app));
        const QString file = core.app + u"/helpdesk.sqlite3"_s;
        const bool unreachable = termSql == QLatin1String("unreachable");
        QVERIFY(termSql.isEmpty() || (unreachable ? QFile::remove(file) : sql(file, termSql) == 0));
        core.setControl("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            core.value("Status").startsWith(unreachable ? u"Running; database unreachable"_s
                                                        : u"Running"_s),
            kPatienceMs);
        QCOMPARE(core.value("CoreHasDBIssues") == QLatin1String("1"), unreachable);
    }
};

QTEST_GUILESS_MAIN(TestHvxMonCore)
#include "TestHvxMonCore.moc"
