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

#include <deque>
#include <functional>

using namespace hvx;
using namespace hvx::test;

namespace {

// A database manager that answers Connect from a script and stops there: the tests here are
// about the connection loop, not what follows it.
class ScriptedDatabase final : public StubDatabaseManager {
  public:
    ScriptedDatabase(std::deque<long>& answers, const std::function<void()>& onConnect)
        : answers_(answers), onConnect_(onConnect) {}
    // The version check fails here (no recordset), ending the connection step after a
    // successful Connect.
    long Connect(const QString&, bool, const QVariant&) override {
        if (onConnect_) {
            onConnect_();
        }
        const long answer = answers_.empty() ? 0 : answers_.front();
        if (!answers_.empty()) {
            answers_.pop_front();
        }
        return answer;
    }

  private:
    std::deque<long>& answers_;
    const std::function<void()>& onConnect_;
};

// Writes db.ini into the application folder, like the real wizard, unless told to cancel.
class ScriptedWizard final : public ConnectionWizard {
  public:
    ScriptedWizard(QString folder, bool cancel, int& runs)
        : folder_(std::move(folder)), cancel_(cancel), runs_(runs) {}
    void SetErrorManager(ErrorManager*) override {}
    void ShowDialog() override {
        ++runs_;
        if (!cancel_) {
            QVERIFY(writeFile(folder_ + QStringLiteral("/db.ini"),
                              "[Database]\nType = JET\nLocation = wizard.sqlite3\n"));
        }
    }
    bool Cancelled() const override { return cancel_; }

  private:
    QString folder_;
    bool cancel_;
    int& runs_;
};

}  // namespace

class TestConnectDatabase : public QObject {
    Q_OBJECT

    std::deque<long> answers_;
    std::function<void()> onConnect_;
    int wizardRuns_ = 0;

    void wire(TestEnvironment& t, bool wizardCancels = false) {
        answers_.clear();
        onConnect_ = nullptr;
        wizardRuns_ = 0;
        t.env.databaseManager = [this] {
            return std::make_unique<ScriptedDatabase>(answers_, onConnect_);
        };
        t.env.connectionWizard = [this, &t, wizardCancels] {
            return std::make_unique<ScriptedWizard>(t.env.applicationFolder, wizardCancels,
                                                    wizardRuns_);
        };
        t.ctx->sqlStringFormatter = nullptr;
    }

    static void writeDbIni(const QString& folder) {
        QVERIFY(writeFile(folder + QStringLiteral("/db.ini"),
                          "[Database]\nType = JET\nLocation = help.sqlite3\n"));
    }

    static bool connect(TestEnvironment& t) {
        SystemSettings settings;
        LoginStatus status = LoginStatus::Refused;
        return ConnectDatabase(*t.ctx, settings, status);
    }

  private Q_SLOTS:
    void notConfiguredNeverOffersTheWizard() {
        TestEnvironment t;
        wire(t);
        writeDbIni(t.env.applicationFolder);
        answers_ = {1};
        QVERIFY(!connect(t));
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral("The database has not been configured.  Run the main "
                                            "Help Desk application first.")});
        QCOMPARE(t.boxes.shown().front().title, std::optional<QString>(t.ctx->applicationTitle));
        QCOMPARE(wizardRuns_, 0);
    }

    void aFailedConnectionOffersTheWizard() {
        TestEnvironment t;
        wire(t);
        writeDbIni(t.env.applicationFolder);
        answers_ = {0};
        t.boxes.queue(MessageAnswer::No);
        QVERIFY(!connect(t));
        const auto& question = t.boxes.shown().front();
        QCOMPARE(question.text, QStringLiteral("Do you want to run the Database Connection Wizard "
                                               "to change the database connection information?"));
        QVERIFY(!question.title.has_value());
        QCOMPARE(question.buttons, MessageButtons::YesNo);
        QCOMPARE(question.defaultButton, 2);
        QVERIFY(QFile::exists(t.env.applicationFolder + QStringLiteral("/db.ini")));
        QCOMPARE(wizardRuns_, 0);
    }

    void noDbIniRunsTheWizardFirst() {
        TestEnvironment t;
        wire(t, true);
        QVERIFY(!connect(t));
        QCOMPARE(wizardRuns_, 1);
        QVERIFY(t.boxes.shown().empty());
        QVERIFY(t.errors().reports.isEmpty());
    }

    void instanceFolderGetsTheWizardsDbIni() {
        TestEnvironment t;
        wire(t);
        QTemporaryDir instance;
        t.ctx->instanceDbIniFolder = instance.path();
        answers_ = {2};
        connect(t);
        QCOMPARE(wizardRuns_, 1);
        QVERIFY(QFile::exists(instance.filePath(QStringLiteral("db.ini"))));
        QVERIFY(!QFile::exists(t.env.applicationFolder + QStringLiteral("/db.ini")));
    }

    void theSameFolderInAnotherCaseIsNotCopied() {
        TestEnvironment t;
        wire(t);
        // A folder whose name differs only in case names the application folder itself.
        t.ctx->instanceDbIniFolder = t.env.applicationFolder.toUpper();
        answers_ = {2};
        connect(t);
        QCOMPARE(wizardRuns_, 1);
        QVERIFY(QFile::exists(t.env.applicationFolder + QStringLiteral("/db.ini")));
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
        TestEnvironment t;
        wire(t);
        QTemporaryDir instance;
        QString target = instance.path();
        if (deleting) {
            writeDbIni(target);
            answers_ = {0};
            t.boxes.queue(MessageAnswer::Yes);
            // Between the test for the file and its deletion, a folder takes its place.
            onConnect_ = [&] {
                QFile::remove(target + QStringLiteral("/db.ini"));
                QDir().mkpath(target + QStringLiteral("/db.ini/inside"));
            };
        } else {
            target = instance.filePath(QStringLiteral("missing"));
        }
        t.ctx->instanceDbIniFolder = target;
        QVERIFY(!connect(t));
        QCOMPARE(t.boxes.texts().constLast(),
                 expected.replace("APP", t.env.applicationFolder).replace("TARGET", target));
        QCOMPARE(t.boxes.shown().back().icon, MessageIcon::Exclamation);
    }

    void aMissingManagerIsToldToTheOperator() {
        TestEnvironment t;
        wire(t);
        t.env.databaseManager = nullptr;
        QVERIFY(!connect(t));
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral("Unable to create the Database Manager component.  "
                                            "Please use Control Panel to remove and reinstall ") +
                             t.ctx->applicationTitle + QStringLiteral(".")});
    }
};

QTEST_GUILESS_MAIN(TestConnectDatabase)
#include "TestConnectDatabase.moc"
