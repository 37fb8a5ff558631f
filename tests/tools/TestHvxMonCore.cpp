#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using hvx::test::kPatienceMs;

namespace {

const QString kOptions = u"Options"_s;
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

    void start(const QStringList& arguments = {}, const QString& faults = {}) {
        QProcessEnvironment env = environment;
        env.insert(u"HVX_CORE_FAULT"_s, faults);
        process.setProcessEnvironment(env);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(app + u"/HvxMonCore"_s, arguments);
        clock.start();
    }
    bool ended(int expectedCode) {
        return process.waitForFinished(kPatienceMs) &&
               process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode;
    }
    // The test's folder holds no db.ini: named as the database folder, it keeps any db.ini
    // beside the program out of the test.
    void useFolderAsDatabase(const QString& section = u"Controls"_s) {
        setControl("DBINIPath", dir.path(), section);
    }

    QProcess process;
    QElapsedTimer clock;
};

// A help-desk database with demonstration messages, made once by hvx-dbsetup (which takes
// a while) and copied into each test's folder: db.ini names the file relatively.
QTemporaryDir* databaseTemplate = nullptr;

bool copyDatabaseInto(const QString& folder) {
    const QDir from(databaseTemplate->path());
    for (const QString& name : from.entryList(QDir::Files)) {
        if (!QFile::copy(from.filePath(name), QDir(folder).filePath(name))) {
            return false;
        }
    }
    return QFile::exists(QDir(folder).filePath(u"db.ini"_s));
}

// Runs `statement` on the file database: the first value of its first row (0 when it gives
// no row), or -1 when it failed.
int sql(const QString& file, const QString& statement) {
    int first = -1;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"check"_s);
        db.setDatabaseName(file);
        if (db.open()) {
            QSqlQuery query(db);
            if (query.exec(statement)) {
                first = query.next() ? query.value(0).toInt() : 0;
            }
        }
    }
    QSqlDatabase::removeDatabase(u"check"_s);
    return first;
}

}  // namespace

class TestHvxMonCore : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void initTestCase() {
        databaseTemplate = new QTemporaryDir;
        QProcess setup;
        setup.start(qEnvironmentVariable("HVX_BIN_DIR") + u"/hvx-dbsetup"_s,
                    {u"--db-ini"_s, databaseTemplate->path(), u"--demo"_s});
        QVERIFY(setup.waitForFinished(kPatienceMs));
        QCOMPARE(setup.exitCode(), 0);
    }
    void cleanupTestCase() {
        delete databaseTemplate;
        databaseTemplate = nullptr;
    }

    void commandsDriveStateAndWindow() {
        Core core;
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start();
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), u"1"_s, kPatienceMs);
        QCOMPARE(core.control("Command"), u"0"_s);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").startsWith(u"Running"_s), kPatienceMs);
        QCOMPARE(core.control("Processing"), u"0"_s);

        const struct {
            const char* command;
            const char* state;
        } steps[] = {{"3", "2"}, {"2", "1"}};
        for (const auto& step : steps) {
            core.setControl("Command", QLatin1String(step.command));
            // The command is taken (reset) before the new state is written.
            QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), QLatin1String(step.state),
                                      kPatienceMs);
            QCOMPARE(core.control("Command"), u"0"_s);
        }
        // The Monitor clears Status when it gives Suspend or Resume; the core writes it again.
        core.setControl("Status", QString());
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

    void renewCommandEndsAndNextCopyGoesOnRunning() {
        Core core;
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        core.setControl("Command", u"6"_s);
        QVERIFY(core.ended(0));
        QVERIFY(!core.window(kDefaultCaption));
        QCOMPARE(core.control("State"), u"1"_s);

        // The Monitor starts a new copy without a new Start command: it takes up State "1".
        core.setControl("Status", QString());
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").startsWith(u"Running"_s), kPatienceMs);
    }

    void instanceUsesItsOwnSectionAndCaption() {
        Core core;
        const QString north = u"Controls:North"_s;
        const QString caption = u"North Monitor Timer"_s;
        core.useFolderAsDatabase(north);
        core.setControl("Command", u"1"_s, north);
        core.setControl("Command", u"3"_s);
        core.start({u"North"_s});
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State", north), u"1"_s, kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(caption), kPatienceMs);
        QVERIFY(!core.window(kDefaultCaption));
        QCOMPARE(core.control("Command"), u"3"_s);
        QCOMPARE(core.control("State"), QString());

        // SIGTERM ends it as orderly as the close command.
        ::kill(static_cast<pid_t>(core.process.processId()), SIGTERM);
        QVERIFY(core.ended(0));
        QVERIFY(!core.window(caption));
    }

    void noWindowNeverShowsOne() {
        Core core;
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start({}, u"no-window, error-after:1"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), u"1"_s, kPatienceMs);
        // A second after the start, well after any window would have been shown.
        QTRY_VERIFY_WITH_TIMEOUT(!core.control("ErrorInfo").isEmpty(), kPatienceMs);
        QVERIFY(core.clock.elapsed() >= 900);
        QVERIFY(!core.control("ErrorInfo").trimmed().isEmpty());
        QVERIFY(!core.window(kDefaultCaption));
    }

    void slowStartShowsTheWindowLate() {
        Core core;
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start({}, u"slow-start:2"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.control("State"), u"1"_s, kPatienceMs);
        // Running, and no window for two seconds (on a busy machine they may be over already).
        QVERIFY(!core.window(kDefaultCaption) || core.clock.elapsed() >= 1900);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QVERIFY(core.clock.elapsed() >= 1900);
    }

    void dbIssuesAndIgnoredCommands() {
        Core core;
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start({}, u"db-issues,ignore-commands"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.control("CoreHasDBIssues"), u"1"_s, kPatienceMs);
        // The first tick has written the status: had it taken the command, it would have then.
        QTRY_VERIFY_WITH_TIMEOUT(!core.control("Status").isEmpty(), kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.window(kDefaultCaption), kPatienceMs);
        QCOMPARE(core.control("Command"), u"1"_s);
        QVERIFY(core.control("State") != QLatin1String("1"));
        // Signals still end it.
        ::kill(static_cast<pid_t>(core.process.processId()), SIGINT);
        QVERIFY(core.ended(0));
    }

    void sendsUnsentMessagesWhileSendingIsOn() {
        Core core;
        QVERIFY(copyDatabaseInto(core.dir.path()));
        const QString file = core.dir.filePath(u"helpdesk.sqlite3"_s);
        const QString unsent = u"select count(*) from Messages where Sent is null"_s;
        const int demoUnsent = sql(file, unsent);
        QVERIFY(demoUnsent > 0);
        const int alreadySent =
            sql(file, u"select count(*) from Messages where Sent is not null"_s);

        core.useFolderAsDatabase();
        core.setControl("StopSendingEmail", u"1"_s, kOptions);
        core.setControl("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.control("Status").contains(u"sending is off"_s), kPatienceMs);
        QCOMPARE(sql(file, unsent), demoUnsent);

        core.setControl("StopSendingEmail", u"0"_s, kOptions);
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
        core.useFolderAsDatabase();
        core.setControl("Command", u"1"_s);
        core.start();
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
        QVERIFY(copyDatabaseInto(core.app));
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
