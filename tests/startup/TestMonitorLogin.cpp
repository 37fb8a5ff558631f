#include "HelpDeskFixture.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "settings/SystemSettings.h"
#include "startup/DatabaseConnection.h"
#include "startup/MonitorLogin.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

// A help-desk database of the test's own, on which the Monitor logs in.
struct LoggingIn {
    TestEnvironment t;
    HelpDeskFixture db{t};
    SystemSettings settings;
    LoginStatus status = LoginStatus::Refused;

    LoggingIn() {
        t.env.termTranslator = [] { return std::make_unique<DatabaseTermTranslator>(); };
    }
    bool initialise() { return InitialiseFromDatabase(*t.ctx, settings, status); }
    QVariant monitor(const char* column) {
        return db.scalar(u"select %1 from SystemUsers where Login = 'Monitor'"_s.arg(
            QString::fromLatin1(column)));
    }
    void logInOn(const QString& computer) {
        db.execute(u"update SystemUsers set LoggedIn = 1, ComputerName = "_s + db.text(computer) +
                   u" where Login = 'Monitor'"_s);
    }
};

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration run.
class TestMonitorLogin : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void databaseVersion_data() {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("message");
        const QString ask = u"  Please contact your system administrator for assistance."_s;
        const QString invalid = u"The DBVersion setting is invalid."_s + ask;
        QTest::newRow("12") << "12" << QString();
        QTest::newRow("12.4") << "12.4" << QString();
        QTest::newRow("12.5 is 12") << "12.5" << QString();
        QTest::newRow("13.5 is 14")
            << "13.5"
            << u"The application needs to be upgraded to match the database "
               "version."_s +
                   ask + u" (Application Version =12, Database Version = 14)"_s;
        QTest::newRow("11") << "11"
                            << u"The application is a later version than the database."_s + ask +
                                   u" (Application Version =12, Database Version = 11)"_s;
        QTest::newRow("a word") << "twelve" << invalid;
        QTest::newRow("empty") << "" << invalid;
        QTest::newRow("null") << "<null>" << u"The DBVersion setting is missing."_s + ask;
        QTest::newRow("no row") << "<none>"
                                << u"Unable to get the DBVersion setting from the database."_s;
    }
    void databaseVersion() {
        QFETCH(QString, stored);
        QFETCH(QString, message);
        LoggingIn l;
        if (stored == QLatin1String("<null>")) {
            l.db.setSettingNull(u"DBVersion"_s);
        } else if (stored == QLatin1String("<none>")) {
            l.db.deleteSetting(u"DBVersion"_s);
        } else {
            l.db.setSetting(u"DBVersion"_s, stored);
        }
        QCOMPARE(CheckDatabaseVersion(*l.t.ctx), message.isEmpty());
        QCOMPARE(l.t.boxes.texts(), message.isEmpty() ? QStringList() : QStringList{message});
        if (!message.isEmpty()) {
            QCOMPARE(l.t.boxes.shown().front().icon, MessageIcon::Critical);
            QCOMPARE(l.t.boxes.shown().front().title,
                     std::optional<QString>(l.t.ctx->applicationTitle));
        }
    }

    // The start ends and the database is let go; a login held elsewhere is left as it was.
    void refusals_data() {
        QTest::addColumn<QString>("statement");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        const QString elsewhere =
            u"The Monitor is already running on '%1'.  The Monitor can only be run on one machine "
            "at a time."_s;
        const int held = int(LoginStatus::HeldElsewhere);
        QTest::newRow("logged in on another computer")
            << "update SystemUsers set LoggedIn = 1, ComputerName = 'NIGHT-BOX'" << held
            << elsewhere.arg(u"NIGHT-BOX"_s);
        QTest::newRow("logged in on no computer")
            << "update SystemUsers set LoggedIn = 1, ComputerName = null" << held
            << elsewhere.arg(QString());
        QTest::newRow("no Monitor row")
            << "delete from SystemUsers" << int(LoginStatus::Refused)
            << "Monitor is not in the System Users table.  Please ask the System Administrator "
               "for assistance.";
        QTest::newRow("a null LoggedIn is logged")
            << "update SystemUsers set LoggedIn = null" << int(LoginStatus::Refused) << QString();
    }
    void refusals() {
        QFETCH(QString, statement);
        QFETCH(QString, message);
        LoggingIn l;
        l.db.execute(statement + u" where Login = 'Monitor'"_s);
        const QVariant computer = l.monitor("ComputerName");
        QVERIFY(!l.initialise());
        QTEST(int(l.status), "status");
        QVERIFY(!l.t.ctx->databaseManager);
        if (message.isEmpty()) {
            QCOMPARE(l.t.errors().ErrorNumber(), err::InvalidUseOfNull);
            QCOMPARE(l.t.errors().reports.size(), 1);
        } else {
            QCOMPARE(l.t.boxes.texts(), QStringList{message});
        }
        if (l.status == LoginStatus::HeldElsewhere) {
            l.db.reconnect();
            QCOMPARE(l.monitor("ComputerName"), computer);
            QCOMPARE(l.monitor("LoggedIn").toInt(), 1);
        }
    }

    void thisComputerInAnotherCaseTakesTheLoginOver() {
        LoggingIn l;
        l.logInOn(u"desk-01"_s);
        l.t.clock.set(QTime(7, 30, 5));
        QVERIFY(l.initialise());
        QVERIFY(l.t.boxes.shown().empty());
        QCOMPARE(l.monitor("ComputerName").toString(), u"DESK-01"_s);
        QCOMPARE(l.monitor("LoggedIn").toInt(), 1);
        QCOMPARE(storedDate(l.monitor("LoginDate")), l.t.clock.now());
        QVERIFY(l.settings.collection);
        const DatabaseManager& database = *l.t.ctx->databaseManager;
        const QString kind = database.DatabaseType() == "JET" ? u"Access>"_s : u"SQL Server>"_s;
        QCOMPARE(l.t.ctx->databaseDescription,
                 u"v12.00.1 ["_s + kind + database.DatabaseLocation() + u"]"_s);
    }

    void multiInstanceAsksBeforeTakingItOver() {
        LoggingIn l;
        l.t.ctx->multiInstance = true;
        l.t.ctx->applicationTitle = u"North Monitor"_s;
        l.logInOn(u"DESK-01"_s);
        l.t.boxes.queue(MessageAnswer::No);
        QVERIFY(!LoginMonitor(*l.t.ctx, l.status));
        QCOMPARE(l.status, LoginStatus::Refused);
        const auto& question = l.t.boxes.shown().front();
        QCOMPARE(question.title, std::optional<QString>(u"Already running"_s));
        QCOMPARE(question.defaultButton, 2);
        QVERIFY(question.text.startsWith(
            u"The North Monitor user appears to be logged in already.  "_s));
        QVERIFY(question.text.endsWith(u"\r\n\r\nAre you sure you want to start North Monitor?"_s));
    }

    void computerNameMissing() {
        LoggingIn l;
        l.t.computer.name.reset();
        l.status = LoginStatus::HeldElsewhere;
        QVERIFY(!LoginMonitor(*l.t.ctx, l.status));
        QCOMPARE(l.status, LoginStatus::HeldElsewhere);
        QCOMPARE(
            l.t.boxes.texts(),
            QStringList{u"Unable to get the computer name.  The application cannot continue."_s});
    }
};

QTEST_GUILESS_MAIN(TestMonitorLogin)
#include "TestMonitorLogin.moc"
