#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "settings/SystemSettings.h"
#include "startup/Driver.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

class ClockedSplash final : public Splash {
  public:
    ClockedSplash(const Clock& clock, std::vector<std::int64_t>& closes)
        : clock_(clock), closes_(closes) {}
    void ShowSplash(long) override {}
    void CloseSplash() override { closes_.push_back(clock_.milliseconds()); }

  private:
    const Clock& clock_;
    std::vector<std::int64_t>& closes_;
};

class FixedFolder final : public LocalFolder {
  public:
    explicit FixedFolder(QString folder) : folder_(std::move(folder)) {}
    void SetRegistryPath(const QString&) override {}
    QString GetLocalFolder() override { return folder_; }

  private:
    QString folder_;
};

// The entry procedure on a test environment with the real components, on a help-desk
// database of its own; the error manager's record outlives the run.
struct Start {
    Start() : db(t) {
        // What the start sets too, for the tests that prepare the store before it.
        t.ctx->registryBasePath = BuiltInStringTable().LoadString(StringTable::kRegistryBasePath);
        t.ctx->instanceDbIniFolder = db.scratch.folder();
        t.env.stringTable = [] { return std::make_unique<BuiltInStringTable>(); };
        t.env.databaseManager = QtSqlDatabaseManager::factory();
        t.env.sqlStringFormatter = [] { return std::make_unique<SqlLiteralStringFormatter>(); };
        t.env.sqlValueFormatter = [] { return std::make_unique<SqlLiteralValueFormatter>(); };
        t.env.termTranslator = [] { return std::make_unique<DatabaseTermTranslator>(); };
        t.env.splash = [this] {
            return std::make_unique<ClockedSplash>(t.clock, splashCloseMilliseconds);
        };
        t.env.localFolder = [this] { return std::make_unique<FixedFolder>(t.folder.path()); };
        t.env.errorManager = [this] {
            auto made = std::make_unique<RecordingErrorManager>();
            errors = made.get();
            return made;
        };
    }
    bool run() {
        startedMilliseconds = t.clock.milliseconds();
        return Main(*t.ctx, settings, [this] { ++windowsShown; });
    }

    TestEnvironment t;
    HelpDeskFixture db;
    SystemSettings settings;
    RecordingErrorManager* errors = nullptr;
    std::vector<std::int64_t> splashCloseMilliseconds;
    std::int64_t startedMilliseconds = 0;
    int windowsShown = 0;
};

}  // namespace

class TestMain : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void aSuccessfulStartShowsTheWindowAfterTheSplash() {
        Start s;
        QVERIFY(s.run());
        QCOMPARE(s.windowsShown, 1);
        QVERIFY(s.splashCloseMilliseconds.front() - s.startedMilliseconds > 2000);
        QVERIFY(s.splashCloseMilliseconds.front() - s.startedMilliseconds <= 2100);
        QCOMPARE(s.t.ctx->applicationTitle, QStringLiteral("Help Desk Monitor"));
        QCOMPARE(s.t.ctx->coreWindowCaption, QStringLiteral("Help Desk Monitor Timer"));
        QVERIFY(s.errors->StartupComplete());
        QVERIFY(s.errors->Enabled());
        QCOMPARE(s.errors->LogFile(), s.t.folder.path() + QStringLiteral("/monitorlog.txt"));
        QCOMPARE(s.t.control("MonitorTicks"), QStringLiteral("60"));
    }

    void logFileLimit_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<double>("limit");
        QTest::newRow("0.1 is taken") << "0.1" << 0.1;
        QTest::newRow("0.09 is not") << "0.09" << 1.0;
        QTest::newRow("999.9 is taken") << "999.9" << 999.9;
        QTest::newRow("1000 is not") << "1000" << 1.0;
        QTest::newRow("a word is not") << "big" << 1.0;
        QTest::newRow("a missing row is not") << "<none>" << 1.0;
    }
    void logFileLimit() {
        QFETCH(QString, stored);
        Start s;
        if (stored == QLatin1String("<none>")) {
            s.db.deleteSetting(QStringLiteral("MonitorLogFileLimit"));
        } else {
            s.db.setSetting(QStringLiteral("MonitorLogFileLimit"), stored);
        }
        QVERIFY(s.run());
        QTEST(s.errors->LogFileLimit(), "limit");
    }

    void anotherCopyOwnsTheControlsSection() {
        Start s;
        s.t.instanceGuard.running = true;
        s.t.setControl("State", QStringLiteral("1"));
        QVERIFY(!s.run());
        QCOMPARE(s.t.boxes.texts(),
                 QStringList{QStringLiteral(
                     "Halvex Help Desk Monitor is already running on this computer")});
        QCOMPARE(s.t.boxes.shown().front().icon, MessageIcon::Information);
        QCOMPARE(s.t.control("State"), QStringLiteral("1"));
        QCOMPARE(s.windowsShown, 0);
    }

    void anUnreachableDatabaseLeavesTheChannelAndTheLoginAlone() {
        Start s;
        s.db.execute(
            QStringLiteral("update SystemUsers set LoggedIn = 1, ComputerName = 'ELSEWHERE'"));
        s.t.ctx->databaseManager.reset();
        QVERIFY(QFile::rename(s.db.scratch.file(), s.db.scratch.file() + QStringLiteral(".away")));
        s.t.boxes.queue(MessageAnswer::No);
        QVERIFY(!s.run());
        QCOMPARE(s.windowsShown, 0);
        QVERIFY(!s.t.ctx->databaseManager);
        // The section was cleared when the start began, and nothing was written after.
        QCOMPARE(s.t.control("MonitorTicks"), QStringLiteral("<missing>"));
        QVERIFY(!s.splashCloseMilliseconds.empty());
        QVERIFY(QFile::rename(s.db.scratch.file() + QStringLiteral(".away"), s.db.scratch.file()));
        s.db.reconnect();
        QCOMPARE(s.db.scalar(QStringLiteral(
                                 "select ComputerName from SystemUsers where Login = 'Monitor'"))
                     .toString(),
                 QStringLiteral("ELSEWHERE"));
    }

    void aStopSwitchThatIsNoBooleanFailsTheStart() {
        Start s;
        s.t.setControl("StopOnHold", QStringLiteral("perhaps"), QStringLiteral("Options"));
        QVERIFY(!s.run());
        QVERIFY(s.errors->reports.last().startsWith(QStringLiteral("ERROR: Type mismatch (Code ")));
        // The failure exit logs the Monitor out again and clears the section it filled.
        s.db.reconnect();
        QCOMPARE(
            s.db.scalar(QStringLiteral("select LoggedIn from SystemUsers where Login = 'Monitor'"))
                .toInt(),
            0);
        QCOMPARE(s.t.control("MonitorTicks"), QStringLiteral("<missing>"));
    }
};

QTEST_GUILESS_MAIN(TestMain)
#include "TestMain.moc"
