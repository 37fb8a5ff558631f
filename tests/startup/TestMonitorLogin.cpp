#include "HelpDeskFixture.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "settings/SystemSettings.h"
#include "startup/DatabaseConnection.h"
#include "startup/MonitorLogin.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

const QString kTail = QStringLiteral("Please contact your system administrator for assistance. ");

void withTranslator(TestEnvironment& t) {
    t.env.termTranslator = [] { return std::make_unique<DatabaseTermTranslator>(); };
}

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration run.
class TestMonitorLogin : public QObject {
    Q_OBJECT

    static QVariant monitorColumn(HelpDeskFixture& db, const char* column) {
        return db.scalar(QStringLiteral("select %1 from SystemUsers where Login = 'Monitor'")
                             .arg(QString::fromLatin1(column)));
    }
    static void logInElsewhere(HelpDeskFixture& db, const QString& computer) {
        db.execute(QStringLiteral("update SystemUsers set LoggedIn = 1, ComputerName = ") +
                   db.text(computer) + QStringLiteral(" where Login = 'Monitor'"));
    }

  private Q_SLOTS:
    void databaseVersion_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QString>("message");
        const QString ask =
            QStringLiteral("  Please contact your system administrator for assistance.");
        const QString invalid = QStringLiteral("The DBVersion setting is invalid.") + ask;
        QTest::newRow("12") << "12" << true << QString();
        QTest::newRow("12.4") << "12.4" << true << QString();
        QTest::newRow("12.5 is 12") << "12.5" << true << QString();
        QTest::newRow("13.5 is 14")
            << "13.5" << false
            << QStringLiteral(
                   "The application needs to be upgraded to match the database version.  ") +
                   kTail + QStringLiteral("(Application Version =12, Database Version = 14)");
        QTest::newRow("11")
            << "11" << false
            << QStringLiteral("The application is a later version than the database.  ") + kTail +
                   QStringLiteral("(Application Version =12, Database Version = 11)");
        QTest::newRow("a word") << "twelve" << false << invalid;
        QTest::newRow("empty") << "" << false << invalid;
        QTest::newRow("null") << "<null>" << false
                              << QStringLiteral("The DBVersion setting is missing.") + ask;
        QTest::newRow("no row") << "<none>" << false
                                << QStringLiteral(
                                       "Unable to get the DBVersion setting from the database.");
    }
    void databaseVersion() {
        QFETCH(QString, stored);
        QFETCH(QString, message);
        TestEnvironment t;
        HelpDeskFixture db(t);
        if (stored == QLatin1String("<null>")) {
            db.setSettingNull(QStringLiteral("DBVersion"));
        } else if (stored == QLatin1String("<none>")) {
            db.deleteSetting(QStringLiteral("DBVersion"));
        } else {
            db.setSetting(QStringLiteral("DBVersion"), stored);
        }
        QTEST(CheckDatabaseVersion(*t.ctx), "accepted");
        QCOMPARE(t.boxes.texts(), message.isEmpty() ? QStringList() : QStringList{message});
        if (!message.isEmpty()) {
            QCOMPARE(t.boxes.shown().front().icon, MessageIcon::Critical);
            QCOMPARE(t.boxes.shown().front().title,
                     std::optional<QString>(t.ctx->applicationTitle));
        }
    }

    void loginOnAnotherComputerIsRefusedAndLeftAlone() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        withTranslator(t);
        logInElsewhere(db, QStringLiteral("NIGHT-BOX"));
        SystemSettings settings;
        LoginStatus status = LoginStatus::Refused;
        QVERIFY(!InitialiseFromDatabase(*t.ctx, settings, status));
        QCOMPARE(status, LoginStatus::HeldElsewhere);
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral("The Monitor is already running on 'NIGHT-BOX'.  The "
                                            "Monitor can only be run on one machine at a time.")});
        QVERIFY(!t.ctx->databaseManager);
        db.reconnect();
        QCOMPARE(monitorColumn(db, "ComputerName").toString(), QStringLiteral("NIGHT-BOX"));
        QCOMPARE(monitorColumn(db, "LoggedIn").toInt(), 1);
    }

    void loggedInWithoutAComputerCountsAsAnother() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        db.execute(QStringLiteral(
            "update SystemUsers set LoggedIn = 1, ComputerName = null where Login = 'Monitor'"));
        t.ctx->computerName = QStringLiteral("DESK-01");
        QCOMPARE(CheckMonitorLogin(*t.ctx), LoginStatus::HeldElsewhere);
        QVERIFY(t.boxes.texts().front().contains(QStringLiteral("running on ''.")));
    }

    void thisComputerInAnotherCaseTakesTheLoginOver() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        withTranslator(t);
        logInElsewhere(db, QStringLiteral("desk-01"));
        SystemSettings settings;
        LoginStatus status = LoginStatus::Refused;
        t.clock.set(QTime(7, 30, 5));
        QVERIFY(InitialiseFromDatabase(*t.ctx, settings, status));
        QCOMPARE(status, LoginStatus::Allowed);
        QVERIFY(t.boxes.shown().empty());
        QCOMPARE(monitorColumn(db, "ComputerName").toString(), QStringLiteral("DESK-01"));
        QCOMPARE(monitorColumn(db, "LoggedIn").toInt(), 1);
        QCOMPARE(storedDate(monitorColumn(db, "LoginDate")), t.clock.now());
        QVERIFY(settings.collection);
        QVERIFY(t.ctx->databaseDescription.startsWith(QStringLiteral("v12.00.")));
    }

    void multiInstanceAsksBeforeTakingItOver() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.ctx->multiInstance = true;
        t.ctx->applicationTitle = QStringLiteral("North Monitor");
        logInElsewhere(db, QStringLiteral("DESK-01"));
        t.boxes.queue(MessageAnswer::No);
        LoginStatus status = LoginStatus::Allowed;
        QVERIFY(!LoginMonitor(*t.ctx, status));
        QCOMPARE(status, LoginStatus::Refused);
        const auto& question = t.boxes.shown().front();
        QCOMPARE(question.title, std::optional<QString>(QStringLiteral("Already running")));
        QCOMPARE(question.defaultButton, 2);
        QVERIFY(question.text.startsWith(
            QStringLiteral("The North Monitor user appears to be logged in already.  ")));
        QVERIFY(question.text.endsWith(
            QStringLiteral("\r\n\r\nAre you sure you want to start North Monitor?")));
    }

    void noMonitorRowEndsTheStart() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        withTranslator(t);
        db.execute(QStringLiteral("delete from SystemUsers where Login = 'Monitor'"));
        SystemSettings settings;
        LoginStatus status = LoginStatus::Allowed;
        QVERIFY(!InitialiseFromDatabase(*t.ctx, settings, status));
        QCOMPARE(status, LoginStatus::Refused);
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral("Monitor is not in the System Users table.  Please ask "
                                            "the System Administrator for assistance.")});
    }

    void aNullLoggedInIsLoggedAndEndsTheStart() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        withTranslator(t);
        db.execute(
            QStringLiteral("update SystemUsers set LoggedIn = null where Login = 'Monitor'"));
        SystemSettings settings;
        LoginStatus status = LoginStatus::Refused;
        QVERIFY(!InitialiseFromDatabase(*t.ctx, settings, status));
        QCOMPARE(t.errors().ErrorNumber(), err::InvalidUseOfNull);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(!t.ctx->databaseManager);
    }

    void computerNameMissing() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.computer.name.reset();
        LoginStatus status = LoginStatus::HeldElsewhere;
        QVERIFY(!LoginMonitor(*t.ctx, status));
        QCOMPARE(status, LoginStatus::HeldElsewhere);
        QCOMPARE(t.boxes.texts(),
                 QStringList{QStringLiteral(
                     "Unable to get the computer name.  The application cannot continue.")});
    }

    void logoutClearsTheRow() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        logInElsewhere(db, QStringLiteral("DESK-01"));
        LogoutMonitor(*t.ctx);
        QCOMPARE(monitorColumn(db, "LoggedIn").toInt(), 0);
        QVERIFY(monitorColumn(db, "ComputerName").isNull());
        QVERIFY(monitorColumn(db, "LoginDate").isNull());
    }

    void descriptionNamesVersionAndDatabase() {
        TestEnvironment t;
        HelpDeskFixture db(t);
        BuildDatabaseDescription(*t.ctx);
        const QString kind = t.ctx->databaseManager->DatabaseType() == QLatin1String("JET")
                                 ? QStringLiteral("Access>")
                                 : QStringLiteral("SQL Server>");
        QCOMPARE(t.ctx->databaseDescription, QStringLiteral("v12.00.1 [") + kind +
                                                 t.ctx->databaseManager->DatabaseLocation() +
                                                 QStringLiteral("]"));
    }
};

QTEST_GUILESS_MAIN(TestMonitorLogin)
#include "TestMonitorLogin.moc"
