#include "channel/AppContext.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/SqliteRegistryStore.h"
#include "fakes/TestFiles.h"
#include "platform/posix/SocketWindowDirectory.h"
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
#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString kControls = u"Controls"_s;
const QString kOptions = u"Options"_s;
const QString kDefaultCaption = u"Halvex Help Desk Monitor Timer"_s;
constexpr char kMissing[] = "<missing>";

QString binary(const QString& name) {
    return qEnvironmentVariable("HVX_BIN_DIR") + QLatin1Char('/') + name;
}

// The control channel of one test, seen the way the Monitor sees it.
class Channel {
  public:
    explicit Channel(const QString& registry) : ctx_(environment_) {
        environment_.registryStore = hvx::SqliteRegistryStore::factory(registry);
        ctx_.registryBasePath =
            hvx::BuiltInStringTable().LoadString(hvx::StringTable::kRegistryBasePath);
    }
    QString get(const QString& section, const QString& name) {
        return hvx::GetRegValue(ctx_, section, name, QString::fromLatin1(kMissing));
    }
    void set(const QString& section, const QString& name, const QString& value) {
        hvx::SaveRegValue(ctx_, section, name, value);
    }

  private:
    hvx::Environment environment_;
    hvx::AppContext ctx_;
};

// One run of HvxMonCore on a private store and session, killed when the test ends.
class Core {
  public:
    Core() : channel(folder.filePath(u"registry.sqlite3"_s)) {}
    ~Core() {
        if (process.state() != QProcess::NotRunning) {
            process.terminate();
            process.waitForFinished(hvx::test::kPatienceMs);
        }
    }

    void start(const QStringList& arguments = {}, const QString& faults = {},
               const QString& program = binary(u"HvxMonCore"_s)) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HVX_REGISTRY"_s, folder.filePath(u"registry.sqlite3"_s));
        environment.insert(u"HVX_CORE_FAULT"_s, faults);
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(program, arguments);
        clock.start();
    }
    bool ended(int expectedCode) {
        return process.waitForFinished(hvx::test::kPatienceMs) &&
               process.exitStatus() == QProcess::NormalExit && process.exitCode() == expectedCode;
    }
    QString get(const char* name, const QString& section = kControls) {
        return channel.get(section, QLatin1String(name));
    }
    void set(const char* name, const QString& value, const QString& section = kControls) {
        channel.set(section, QLatin1String(name), value);
    }
    // The folder holds no db.ini: named as the database folder, it keeps any db.ini beside the
    // binary out of the test.
    void useFolderAsDatabase(const QString& section = kControls) {
        channel.set(section, u"DBINIPath"_s, folder.path());
    }

    QTemporaryDir folder;
    Channel channel;
    QProcess process;
    QElapsedTimer clock;
};

bool shown(const QString& caption) {
    return hvx::SocketWindowDirectory().findWindow(caption);
}

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
        setup.start(binary(u"hvx-dbsetup"_s),
                    {u"--db-ini"_s, databaseTemplate->path(), u"--demo"_s});
        QVERIFY(setup.waitForFinished(hvx::test::kPatienceMs));
        QCOMPARE(setup.exitCode(), 0);
    }
    void cleanupTestCase() {
        delete databaseTemplate;
        databaseTemplate = nullptr;
    }

    void init() {
        // A session of its own per test and per run, so that a window left by one test, or
        // shown by this test run from another build folder at the same time, never counts.
        qputenv("HVX_SESSION", QByteArray("hvx-mon-core-") +
                                   QByteArray::number(QCoreApplication::applicationPid()) + '-' +
                                   QTest::currentTestFunction() + '-' +
                                   QByteArray(QTest::currentDataTag()));
    }

    void commandsDriveStateAndWindow() {
        Core core;
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start();
        QTRY_COMPARE_WITH_TIMEOUT(core.get("State"), u"1"_s, hvx::test::kPatienceMs);
        QCOMPARE(core.get("Command"), u"0"_s);
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").startsWith(u"Running"_s),
                                 hvx::test::kPatienceMs);
        QCOMPARE(core.get("Processing"), u"0"_s);

        const struct {
            const char* command;
            const char* state;
        } steps[] = {{"3", "2"}, {"2", "1"}};
        for (const auto& step : steps) {
            core.set("Command", QLatin1String(step.command));
            // The command is taken (reset) before the new state is written.
            QTRY_COMPARE_WITH_TIMEOUT(core.get("State"), QLatin1String(step.state),
                                      hvx::test::kPatienceMs);
            QCOMPARE(core.get("Command"), u"0"_s);
        }
        // The Monitor clears Status when it gives Suspend or Resume; the core writes it again.
        core.set("Status", QString());
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").startsWith(u"Running"_s),
                                 hvx::test::kPatienceMs);

        core.set("Command", u"5"_s);
        QVERIFY(core.ended(0));
        QVERIFY(!shown(kDefaultCaption));
        QCOMPARE(core.get("Command"), u"0"_s);
    }

    // No close command can reach a copy whose store cannot be used: it ends by itself.
    void endsWhenTheStoreStaysUnusable() {
        Core core;
        QVERIFY(QDir().mkpath(core.folder.filePath(u"registry.sqlite3"_s)));
        core.start();
        QVERIFY(core.process.waitForFinished(90'000));
        QCOMPARE(core.process.exitCode(), 4);
    }

    void renewCommandEndsAndNextCopyGoesOnRunning() {
        Core core;
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
        core.set("Command", u"6"_s);
        QVERIFY(core.ended(0));
        QVERIFY(!shown(kDefaultCaption));
        QCOMPARE(core.get("State"), u"1"_s);

        // The Monitor starts a new copy without a new Start command: it takes up State "1".
        core.set("Status", QString());
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").startsWith(u"Running"_s),
                                 hvx::test::kPatienceMs);
    }

    void instanceUsesItsOwnSectionAndCaption() {
        Core core;
        const QString north = u"Controls:North"_s;
        const QString caption = u"North Monitor Timer"_s;
        core.useFolderAsDatabase(north);
        core.set("Command", u"1"_s, north);
        core.set("Command", u"3"_s);
        core.start({u"North"_s});
        QTRY_COMPARE_WITH_TIMEOUT(core.get("State", north), u"1"_s, hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(shown(caption), hvx::test::kPatienceMs);
        QVERIFY(!shown(kDefaultCaption));
        QCOMPARE(core.get("Command"), u"3"_s);
        QCOMPARE(core.get("State"), QString::fromLatin1(kMissing));

        // SIGTERM ends it as orderly as the close command.
        ::kill(static_cast<pid_t>(core.process.processId()), SIGTERM);
        QVERIFY(core.ended(0));
        QVERIFY(!shown(caption));
    }

    void noWindowNeverShowsOne() {
        Core core;
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start({}, u"no-window, error-after:1"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.get("State"), u"1"_s, hvx::test::kPatienceMs);
        // A second after the start, well after any window would have been shown.
        QTRY_VERIFY_WITH_TIMEOUT(core.get("ErrorInfo") != QLatin1String(kMissing),
                                 hvx::test::kPatienceMs);
        QVERIFY(core.clock.elapsed() >= 900);
        QVERIFY(!core.get("ErrorInfo").trimmed().isEmpty());
        QVERIFY(!shown(kDefaultCaption));
    }

    void slowStartShowsTheWindowLate() {
        Core core;
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start({}, u"slow-start:2"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.get("State"), u"1"_s, hvx::test::kPatienceMs);
        // Running, and no window for two seconds (on a busy machine they may be over already).
        QVERIFY(!shown(kDefaultCaption) || core.clock.elapsed() >= 1900);
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
        QVERIFY(core.clock.elapsed() >= 1900);
    }

    void dbIssuesAndIgnoredCommands() {
        Core core;
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start({}, u"db-issues,ignore-commands"_s);
        QTRY_COMPARE_WITH_TIMEOUT(core.get("CoreHasDBIssues"), u"1"_s, hvx::test::kPatienceMs);
        // The first tick has written the status: had it taken the command, it would have then.
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status") != QLatin1String(kMissing),
                                 hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
        QCOMPARE(core.get("Command"), u"1"_s);
        QVERIFY(core.get("State") != QLatin1String("1"));
        // Signals still end it.
        ::kill(static_cast<pid_t>(core.process.processId()), SIGINT);
        QVERIFY(core.ended(0));
    }

    void sendsUnsentMessagesWhileSendingIsOn() {
        Core core;
        QVERIFY(copyDatabaseInto(core.folder.path()));
        const QString file = core.folder.filePath(u"helpdesk.sqlite3"_s);
        const QString unsent = u"select count(*) from Messages where Sent is null"_s;
        const int demoUnsent = sql(file, unsent);
        QVERIFY(demoUnsent > 0);
        const int alreadySent =
            sql(file, u"select count(*) from Messages where Sent is not null"_s);

        core.useFolderAsDatabase();
        core.set("StopSendingEmail", u"1"_s, kOptions);
        core.set("Command", u"1"_s);
        core.start();
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").contains(u"sending is off"_s),
                                 hvx::test::kPatienceMs);
        QCOMPARE(sql(file, unsent), demoUnsent);

        core.set("StopSendingEmail", u"0"_s, kOptions);
        core.set("Command", u"4"_s);
        QTRY_COMPARE_WITH_TIMEOUT(sql(file, unsent), 0, hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").contains(u"%1 messages sent"_s.arg(demoUnsent)),
                                 hvx::test::kPatienceMs);
        // Stamped with a time, and the message sent before keeps its own stamp.
        QCOMPARE(sql(file, u"select count(*) from Messages where Sent = LastModified"_s),
                 demoUnsent);
        QCOMPARE(sql(file, u"select count(*) from Messages where Sent <> LastModified"_s),
                 alreadySent);
        QCOMPARE(core.get("Processing"), u"0"_s);
        QVERIFY(core.get("CoreHasDBIssues") != QLatin1String("1"));
    }

    void unreachableDatabaseRaisesCoreHasDBIssues() {
        Core core;
        QVERIFY(hvx::test::writeFile(core.folder.filePath(u"db.ini"_s),
                                     "[Database]\nType = JET\nLocation = gone.sqlite3\n"));
        core.useFolderAsDatabase();
        core.set("Command", u"1"_s);
        core.start();
        QTRY_COMPARE_WITH_TIMEOUT(core.get("CoreHasDBIssues"), u"1"_s, hvx::test::kPatienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(core.get("Status").startsWith(u"Running; database unreachable"_s),
                                 hvx::test::kPatienceMs);
        // Without a database the title is the string table's.
        QTRY_VERIFY_WITH_TIMEOUT(shown(kDefaultCaption), hvx::test::kPatienceMs);
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
        const QString program = core.folder.filePath(u"HvxMonCore"_s);
        QVERIFY(QFile::copy(binary(u"HvxMonCore"_s), program));
        QVERIFY(copyDatabaseInto(core.folder.path()));
        if (!termSql.isEmpty()) {
            QCOMPARE(sql(core.folder.filePath(u"helpdesk.sqlite3"_s), termSql), 0);
        }
        core.set("Command", u"1"_s);
        core.start({}, {}, program);
        QTRY_VERIFY_WITH_TIMEOUT(shown(caption), hvx::test::kPatienceMs);
        QCOMPARE(core.get("State"), u"1"_s);
    }
};

QTEST_GUILESS_MAIN(TestHvxMonCore)
#include "TestHvxMonCore.moc"
