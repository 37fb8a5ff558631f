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

    void start(const QString& faults = {}, const QStringList& arguments = {}) {
        QProcessEnvironment env = environment;
        env.insert(u"HVX_CORE_FAULT"_s, faults);
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(app + u"/HvxMonCore"_s, arguments);
        clock.start();
    }
    // Started with Command "1" waiting. The database folder is the test's folder: a db.ini
    // beside the program stays out of the test.
    void startRunning(const QString& faults = {}, const QString& instance = {}) {
        const QString section = instance.isEmpty() ? u"Controls"_s : u"Controls:"_s + instance;
        setControl("DBINIPath", dir.path(), section);
        setControl("Command", u"1"_s, section);
        start(faults, instance.isEmpty() ? QStringList() : QStringList{instance});
    }
    bool ended(int expectedCode) {
        return process.waitForFinished(kPatienceMs) &&
               process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode;
    }
    bool endsOn(int signal) {
        ::kill(static_cast<pid_t>(process.processId()), signal);
        return ended(0);
    }

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
    void followsTheCommandsUntilItsEnd() {
        Core core;
        core.startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), u"1"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").startsWith(u"Running"_s), kPatienceMs);
        QCOMPARE(core.control("Processing"), u"0"_s);
        for (const auto& [command, state] : {std::pair{"3", "2"}, std::pair{"2", "1"}}) {
            core.setControl("Command", QLatin1String(command));
            // The command is taken (reset) before the new state is written.
            QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), QLatin1String(state), kPatienceMs);
            QCOMPARE(core.control("Command"), u"0"_s);
        }
        // The Monitor clears Status when it gives Suspend or Resume; the core writes it again.
        core.setControl("Status", QString());
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").startsWith(u"Running"_s), kPatienceMs);

        // A renewal ends this copy; the next, started without a Start command, runs on.
        core.setControl("Command", u"6"_s);
        QVERIFY(core.ended(0));
        QVERIFY(!core.window(kDefaultCaption));
        core.setControl("Status", QString());
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").startsWith(u"Running"_s), kPatienceMs);

        core.setControl("Command", u"5"_s);
        QVERIFY(core.ended(0));
        QVERIFY(!core.window(kDefaultCaption));
        QCOMPARE(core.control("Command"), u"0"_s);
    }

    // No close command can reach a copy whose store cannot be used: it ends by itself.
    void endsWhenTheStoreStaysUnusable() {
        Core core;
        QVERIFY(QDir().mkpath(core.registry));
        core.start();
        QVERIFY(core.process.waitForFinished(90'000));
        QCOMPARE(core.process.exitCode(), 4);
    }

    void instanceUsesItsOwnSectionAndCaption() {
        Core core;
        const QString north = u"Controls:North"_s;
        const QString caption = u"North Monitor Timer"_s;
        core.setControl("Command", u"3"_s);
        core.startRunning({}, u"North"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State", north), u"1"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QVERIFY(!core.window(kDefaultCaption));
        QCOMPARE(core.control("Command"), u"3"_s);
        QCOMPARE(core.control("State"), QString());
        // SIGTERM ends it as orderly as the close command.
        QVERIFY(core.endsOn(SIGTERM));
        QVERIFY(!core.window(caption));
    }

    // `windowAfterMs`: the earliest the window may show; -1: never.
    void misbehavesOnRequest_data() {
        QTest::addColumn<QString>("faults");
        QTest::addColumn<int>("windowAfterMs");
        QTest::addColumn<bool>("takesCommands");
        QTest::newRow("no window, an error") << "no-window, error-after:1" << -1 << true;
        QTest::newRow("slow start") << "slow-start:2" << 1900 << true;
        QTest::newRow("database issues, deaf") << "db-issues,ignore-commands" << 0 << false;
    }
    void misbehavesOnRequest() {
        QFETCH(QString, faults);
        QFETCH(int, windowAfterMs);
        QFETCH(bool, takesCommands);
        Core core;
        core.startRunning(faults);
        // The first tick writes the status: had it taken the command, it would have then.
        QTRY_VERIFY_WITH_TIMEOUT(!core.control("Status").isEmpty(), kPatienceMs);
        QCOMPARE(core.control("State") == QLatin1String("1"), takesCommands);
        QCOMPARE(core.control("Command"), takesCommands ? u"0"_s : u"1"_s);
        QCOMPARE(core.control("CoreHasDBIssues") == QLatin1String("1"),
                 faults.contains(u"db-issues"_s));
        if (windowAfterMs < 0) {
            QTRY_VERIFY_WITH_TIMEOUT(!core.control("ErrorInfo").trimmed().isEmpty(), kPatienceMs);
            QVERIFY(core.clock.elapsed() >= 900);
            QVERIFY(!core.window(kDefaultCaption));
        } else {
            // On a busy machine the delay may be over already.
            QVERIFY(!core.window(kDefaultCaption) || core.clock.elapsed() >= windowAfterMs);
            QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
            QVERIFY(core.clock.elapsed() >= windowAfterMs);
        }
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
        QCOMPARE(core.control("Processing"), u"0"_s);
        QVERIFY(core.control("CoreHasDBIssues") != QLatin1String("1"));
    }

    void unreachableDatabaseRaisesCoreHasDBIssues() {
        Core core;
        QVERIFY(hvx::test::writeFile(core.dir.filePath(u"db.ini"_s),
                                     "[Database]\nType = JET\nLocation = gone.sqlite3\n"));
        core.startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(core.control("CoreHasDBIssues"), u"1"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            core.control("Status").startsWith(u"Running; database unreachable"_s), kPatienceMs);
        // Without a database the title is the string table's.
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
    }

    void titleFollowsTheMonitors_data() {
        QTest::addColumn<QString>("termSql");
        QTest::addColumn<QString>("caption");
        QTest::newRow("term from the database") << QString() << "Help Desk Monitor Timer";
        QTest::newRow("term missing: its key")
            << "delete from Terms where TermKey = 'SHORT_PRODUCT_NAME_MONITOR'"
            << "SHORT_PRODUCT_NAME_MONITOR Timer";
        QTest::newRow("no Terms table: string table") << "drop table Terms" << kDefaultCaption;
    }
    void titleFollowsTheMonitors() {
        QFETCH(QString, termSql);
        QFETCH(QString, caption);
        // Single-instance and no DBINIPath: the db.ini beside the program counts.
        Core core;
        QVERIFY(core.createDatabase(core.app));
        if (!termSql.isEmpty()) {
            QCOMPARE(sql(core.app + u"/helpdesk.sqlite3"_s, termSql), 0);
        }
        core.setControl("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QCOMPARE(core.control("State"), u"1"_s);
    }
};

QTEST_GUILESS_MAIN(TestHvxMonCore)
#include "TestHvxMonCore.moc"
