// The start-up: the entry procedure on a help-desk database of its own, and the connection loop
// and the instance list that lead to the database, on scripted answers.
#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "components/StoreLocalFolder.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "fakes/StubDatabaseManager.h"
#include "fakes/TestFiles.h"
#include "platform/ProductComponents.h"
#include "settings/SystemSettings.h"
#include "startup/DatabaseConnection.h"
#include "startup/Driver.h"
#include "startup/MonitorLogin.h"
#include "startup/MonitorNames.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <functional>

#include <sys/stat.h>

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

void writeDbIni(const QString& folder) {
    QVERIFY(writeFile(folder + u"/db.ini"_s, "[Database]\nType = JET\nLocation = help.sqlite3\n"));
}

struct Script {
    long answer = 0;  // of every Connect
    std::function<void()> onConnect;
    bool wizardCancels = false;
    int wizardRuns = 0;
    QString applicationFolder;
};

// Connect answers from the script, and the step ends right after a successful one (no version
// check can read): the tests here are about the connection loop, not what follows it.
class ScriptedDatabase final : public StubDatabaseManager {
  public:
    explicit ScriptedDatabase(Script& script) : script_(script) {}
    long Connect(const QString&, bool, const QVariant&) override {
        if (script_.onConnect) {
            script_.onConnect();
        }
        return script_.answer;
    }

  private:
    Script& script_;
};

// Writes db.ini into the application folder, like the real wizard, unless told to cancel.
class ScriptedWizard final : public ConnectionWizard {
  public:
    explicit ScriptedWizard(Script& script) : script_(script) {}
    void SetErrorManager(ErrorManager*) override {}
    void ShowDialog() override {
        ++script_.wizardRuns;
        if (!script_.wizardCancels) {
            writeDbIni(script_.applicationFolder);
        }
    }
    bool Cancelled() const override { return script_.wizardCancels; }

  private:
    Script& script_;
};

struct Connecting : Script {
    TestEnvironment t;
    const QString appDbIni = t.env.applicationFolder + u"/db.ini"_s;

    Connecting() {
        applicationFolder = t.env.applicationFolder;
        t.env.databaseManager = [this] { return std::make_unique<ScriptedDatabase>(*this); };
        t.env.connectionWizard = [this] { return std::make_unique<ScriptedWizard>(*this); };
    }
    bool connect() {
        SystemSettings settings;
        LoginStatus status = LoginStatus::Refused;
        return ConnectDatabase(*t.ctx, settings, status);
    }
};

QString describe(const MonitorNamesList& list) {
    QStringList shown;
    for (const auto& entry : list.entries) {
        shown.append(entry.name + QLatin1Char('|') + entry.folder);
    }
    return shown.join(QLatin1Char(';'));
}

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

    // The connection loop, on scripted answers.
    // Only a failed connection offers the wizard; No to it ends the start. Answer -1: no
    // database manager can be made.
    void theStartEndsWithoutTheWizard_data() {
        QTest::addColumn<long>("answer");
        QTest::addColumn<QString>("text");
        QTest::newRow("not configured") << 1L
                                        << "The database has not been configured.  Run the main "
                                           "Help Desk application first.";
        QTest::newRow("no connection, and No to the wizard")
            << 0L
            << "Do you want to run the Database Connection Wizard to change the database "
               "connection information?";
        QTest::newRow("no database manager")
            << -1L
            << "Unable to create the Database Manager component.  Please use Control Panel to "
               "remove and reinstall TITLE.";
    }
    void theStartEndsWithoutTheWizard() {
        QFETCH(long, answer);
        QFETCH(QString, text);
        Connecting c;
        writeDbIni(c.t.env.applicationFolder);
        c.answer = answer;
        if (answer < 0) {
            c.t.env.databaseManager = nullptr;
        }
        c.t.boxes.queue(MessageAnswer::No);
        QVERIFY(!c.connect());
        QCOMPARE(c.t.boxes.texts(), QStringList{text.replace("TITLE", c.t.ctx->applicationTitle)});
        const auto& box = c.t.boxes.shown().front();
        if (answer == 0) {
            QVERIFY(!box.title.has_value());
            QCOMPARE(box.buttons, MessageButtons::YesNo);
            QCOMPARE(box.defaultButton, 2);
        } else {
            QCOMPARE(box.title, std::optional<QString>(c.t.ctx->applicationTitle));
        }
        QVERIFY(QFile::exists(c.appDbIni));
        QCOMPARE(c.wizardRuns, 0);
    }

    void noDbIniRunsTheWizardFirst() {
        Connecting c;
        c.wizardCancels = true;
        QVERIFY(!c.connect());
        QCOMPARE(c.wizardRuns, 1);
        QVERIFY(c.t.boxes.shown().empty());
        QVERIFY(c.t.errors().reports.isEmpty());
    }

    // The wizard writes db.ini beside the program; it moves into the instance's folder unless
    // that is the program's own, its name compared without regard to case.
    void theWizardsDbIniGoesToTheInstance_data() {
        QTest::addColumn<bool>("sameFolder");
        QTest::newRow("another folder") << false;
        QTest::newRow("the program's own in capitals") << true;
    }
    void theWizardsDbIniGoesToTheInstance() {
        QFETCH(bool, sameFolder);
        Connecting c;
        QTemporaryDir instance;
        c.t.ctx->instanceDbIniFolder =
            sameFolder ? c.t.env.applicationFolder.toUpper() : instance.path();
        c.answer = 2;
        c.connect();
        QCOMPARE(c.wizardRuns, 1);
        QCOMPARE(QFile::exists(c.appDbIni), sameFolder);
        QCOMPARE(QFile::exists(instance.filePath(u"db.ini"_s)), !sameFolder);
    }

    // The number and the description of a failed copy or deletion are the system's own pair.
    void fileFailuresCarryTheSystemsError_data() {
        QTest::addColumn<bool>("deleting");
        QTest::addColumn<QString>("expected");
        QTest::newRow("copy into a missing folder")
            << false << "No such file or directory (2) when copying APP/db.ini to TARGET";
        QTest::newRow("delete of a folder in the file's place")
            << true << "Is a directory (21) when deleting TARGET/db.ini";
    }
    void fileFailuresCarryTheSystemsError() {
        QFETCH(bool, deleting);
        QFETCH(QString, expected);
        Connecting c;
        QTemporaryDir instance;
        QString target = instance.filePath(u"missing"_s);
        if (deleting) {
            target = instance.path();
            writeDbIni(target);
            c.t.boxes.queue(MessageAnswer::Yes);
            // Between the test for the file and its deletion, a folder takes its place.
            c.onConnect = [&] {
                QFile::remove(target + u"/db.ini"_s);
                QDir().mkpath(target + u"/db.ini/inside"_s);
            };
        }
        c.t.ctx->instanceDbIniFolder = target;
        QVERIFY(!c.connect());
        QCOMPARE(c.t.boxes.texts().constLast(),
                 expected.replace("APP", c.t.env.applicationFolder).replace("TARGET", target));
        QCOMPARE(c.t.boxes.shown().back().icon, MessageIcon::Exclamation);
    }

    // The instance list, which names the folder of the db.ini to connect with.
    // Entries as name|folder; FILE stands for the file's path.
    void reading_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("entries");
        QTest::addColumn<QString>("error");
        QTest::newRow("empty file") << QByteArray() << QString() << QString();
        QTest::newRow("blank and half-empty lines skipped")
            << QByteArray("North,/a\n\n   \n,/b\nSouth,\nWest , /c\n") << u"North|/a;West|/c"_s
            << QString();
        QTest::newRow("blanks around both fields")
            << QByteArray(" Sales , /data/sales/ \n") << u"Sales|/data/sales/"_s << QString();
        QTest::newRow("CR, CR LF and LF end lines")
            << QByteArray("A,/a\rB,/b\r\nC,/c\n") << u"A|/a;B|/b;C|/c"_s << QString();
        QTest::newRow("after a second comma ignored")
            << QByteArray("A,/a,extra\n") << u"A|/a"_s << QString();
        QTest::newRow("same name twice")
            << QByteArray("A,/a\nA,/b\n") << u"A|/a;A|/b"_s << QString();
        QTest::newRow("tabs are no blanks")
            << QByteArray("\tA\t, /a\t\n") << u"\tA\t|/a\t"_s << QString();
        QTest::newRow("a line without a comma stops the reading")
            << QByteArray("North,/a\nnonsense here\nSouth,/b\n") << u"North|/a"_s
            << u"Error 9, Subscript out of range (Code 11087).\r\nFile name is: FILE.\r\n"
               "Current line is: nonsense here."_s;
    }
    void reading() {
        QFETCH(QByteArray, file);
        QFETCH(QString, error);
        TestEnvironment t;
        const QString path = t.folder.filePath(u"monitornames.txt"_s);
        QVERIFY(writeFile(path, file));
        const MonitorNamesList list = readMonitorNames(*t.ctx, path);
        QTEST(describe(list), "entries");
        QCOMPARE(list.error, error.replace(u"FILE"_s, path));
    }

    // Only a regular file of sane size is read: the rest fails at once with the dialog's
    // own message, without waiting for a writer or reading without end.
    void onlyASmallRegularFileIsRead_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("error");
        const QString denied = u"Error 75, Path/File access error: "_s;
        QTest::newRow("FIFO") << "fifo" << denied + "not a regular file";
        QTest::newRow("link to /dev/zero") << "zero" << denied + "not a regular file";
        QTest::newRow("20 MB") << "huge" << denied + "larger than 1 MiB";
        QTest::newRow("a folder") << "folder" << denied + "not a regular file";
        QTest::newRow("missing") << "missing"
                                 << u"Error 53, File not found: No such file or directory"_s;
    }
    void onlyASmallRegularFileIsRead() {
        QFETCH(QString, kind);
        QFETCH(QString, error);
        TestEnvironment t;
        const QString path = t.folder.filePath(u"monitornames.txt"_s);
        if (kind == "fifo") {
            QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else if (kind == "zero") {
            QVERIFY(QFile::link(u"/dev/zero"_s, path));
        } else if (kind == "huge") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.resize(20'000'000));
        }
        // A folder of that name is not the file: the instance list is not offered for it.
        QVERIFY(isMonitorNamesFile(path) == (kind != "missing" && kind != "folder"));
        const MonitorNamesList list = readMonitorNames(*t.ctx, path);
        QVERIFY(list.entries.empty());
        QVERIFY2(list.error.startsWith(error + u" (Code 11086).\r\nFile name is: "_s + path),
                 qPrintable(list.error));
    }

    void okChecks() {
        TestEnvironment t;
        QTemporaryDir good;
        QVERIFY(writeFile(good.filePath(u"db.ini"_s), {}));
        const std::vector<MonitorNameEntry> entries{{u"North"_s, good.path() + u"/"_s},
                                                    {u"East"_s, good.path() + u"//"_s}};
        QCOMPARE(checkInstanceChoice(*t.ctx, {}, -1).refusal.text,
                 u"Please select a Monitor instance."_s);
        const InstanceChoice north = checkInstanceChoice(*t.ctx, entries, 0);
        QVERIFY(north.accepted);
        QCOMPARE(north.folder, good.path());
        // Two trailing separators keep one.
        QCOMPARE(checkInstanceChoice(*t.ctx, entries, 1).folder, good.path() + u"/"_s);
        t.windows.open.insert(u"North Monitor"_s);
        QCOMPARE(checkInstanceChoice(*t.ctx, entries, 0).refusal.text,
                 u"This monitor is already running on this computer."_s);
        // Only the plain title counts.
        t.windows.open = {u"North Monitor (Running)"_s};
        QVERIFY(checkInstanceChoice(*t.ctx, entries, 0).accepted);
    }
};

QTEST_GUILESS_MAIN(TestMain)
#include "TestMain.moc"
