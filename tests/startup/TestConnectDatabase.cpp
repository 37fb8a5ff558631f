#include "fakes/StubDatabaseManager.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/ProductComponents.h"
#include "settings/SystemSettings.h"
#include "startup/DatabaseConnection.h"
#include "startup/MonitorLogin.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <functional>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

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

}  // namespace

class TestConnectDatabase : public QObject {
    Q_OBJECT

  private Q_SLOTS:
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
};

QTEST_GUILESS_MAIN(TestConnectDatabase)
#include "TestConnectDatabase.moc"
