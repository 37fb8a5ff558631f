#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "components/StoreLocalFolder.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "settings/SystemSettings.h"
#include "startup/Driver.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

// Notes when it is first closed.
class ClockedSplash final : public Splash {
  public:
    ClockedSplash(const Clock& clock, std::int64_t& closedAt)
        : clock_(clock), closedAt_(closedAt) {}
    void ShowSplash(long) override {}
    void CloseSplash() override {
        if (closedAt_ < 0) {
            closedAt_ = clock_.milliseconds();
        }
    }

  private:
    const Clock& clock_;
    std::int64_t& closedAt_;
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
        t.env.splash = [this] { return std::make_unique<ClockedSplash>(t.clock, splashClosedAt); };
        qputenv("XDG_DATA_HOME", QFile::encodeName(t.folder.path()));
        t.env.localFolder = [this] {
            return std::make_unique<StoreLocalFolder>(t.env.registryStore);
        };
        t.env.errorManager = [this] {
            auto made = std::make_unique<RecordingErrorManager>();
            errors = made.get();
            return made;
        };
    }
    bool run() {
        startedAt = t.clock.milliseconds();
        return Main(*t.ctx, settings, [this] { ++windowsShown; });
    }
    QVariant monitor(const char* column) {
        db.reconnect();
        return db.scalar(
            u"select %1 from SystemUsers where Login = 'Monitor'"_s.arg(QLatin1String(column)));
    }

    TestEnvironment t;
    HelpDeskFixture db;
    SystemSettings settings;
    RecordingErrorManager* errors = nullptr;
    std::int64_t splashClosedAt = -1;
    std::int64_t startedAt = 0;
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
        QVERIFY(s.splashClosedAt - s.startedAt > 2000);
        QVERIFY(s.splashClosedAt - s.startedAt <= 2100);
        QCOMPARE(s.t.ctx->coreWindowCaption, u"Help Desk Monitor Timer"_s);
        QVERIFY(s.errors->StartupComplete());
        QVERIFY(s.errors->Enabled());
        QCOMPARE(s.errors->LogFile(), s.t.folder.path() + u"/halvex/help-desk/monitorlog.txt"_s);
        QCOMPARE(s.t.control("MonitorTicks"), u"60"_s);
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
            s.db.deleteSetting(u"MonitorLogFileLimit"_s);
        } else {
            s.db.setSetting(u"MonitorLogFileLimit"_s, stored);
        }
        QVERIFY(s.run());
        QTEST(s.errors->LogFileLimit(), "limit");
    }

    void anotherCopyOwnsTheControlsSection() {
        Start s;
        s.t.instanceGuard.running = true;
        s.t.setControl("State", u"1"_s);
        // Its text is shown by the end-to-end run of a second copy.
        QVERIFY(!s.run());
        QCOMPARE(s.t.boxes.shown().at(0).icon, MessageIcon::Information);
        QCOMPARE(s.t.control("State"), u"1"_s);
        QCOMPARE(s.windowsShown, 0);
    }

    void anUnreachableDatabaseLeavesTheChannelAndTheLoginAlone() {
        Start s;
        s.db.execute(u"update SystemUsers set LoggedIn = 1, ComputerName = 'ELSEWHERE'"_s);
        s.t.ctx->databaseManager.reset();
        QVERIFY(QFile::rename(s.db.scratch.file(), s.db.scratch.file() + u".away"_s));
        s.t.boxes.queue(MessageAnswer::No);
        QVERIFY(!s.run());
        QCOMPARE(s.windowsShown, 0);
        QVERIFY(!s.t.ctx->databaseManager);
        // The section was cleared when the start began, and nothing was written after.
        QCOMPARE(s.t.control("MonitorTicks"), u"<missing>"_s);
        QVERIFY(s.splashClosedAt >= 0);
        QVERIFY(QFile::rename(s.db.scratch.file() + u".away"_s, s.db.scratch.file()));
        QCOMPARE(s.monitor("ComputerName").toString(), u"ELSEWHERE"_s);
    }

    void aStopSwitchThatIsNoBooleanFailsTheStart() {
        Start s;
        s.t.setControl("StopOnHold", u"perhaps"_s, u"Options"_s);
        QVERIFY(!s.run());
        QVERIFY(s.errors->reports.last().startsWith(u"ERROR: Type mismatch (Code "_s));
        // The failure exit logs the Monitor out again and clears the section it filled.
        QCOMPARE(s.monitor("LoggedIn").toInt(), 0);
        QVERIFY(s.monitor("ComputerName").isNull());
        QVERIFY(s.monitor("LoginDate").isNull());
        QCOMPARE(s.t.control("MonitorTicks"), u"<missing>"_s);
    }
};

QTEST_GUILESS_MAIN(TestMain)
#include "TestMain.moc"
