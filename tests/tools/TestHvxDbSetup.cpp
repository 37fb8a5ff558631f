// Runs the real hvx-dbsetup on SQLite, or on the PostgreSQL test server when
// HVX_TEST_ENGINE=postgres.
#include "ScratchDatabase.h"
#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "fakes/RecordingErrorManager.h"
#include "support/ToolRun.h"

#include <QDateTime>
#include <QtTest>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

namespace {

ToolRun dbsetup(const QStringList& arguments) {
    return runTool(u"hvx-dbsetup"_s, arguments);
}

QString setting(const char* name) {
    return u"select SettingValue from Settings where SettingName = '%1'"_s.arg(QLatin1String(name));
}

// A connection text naming `password`, braced as the ODBC syntax wants.
QString connection(const QString& prefix, const QString& password) {
    return prefix + u";Password={%1}"_s.arg(QString(password).replace(u"}"_s, u"}}"_s));
}

}  // namespace

class TestHvxDbSetup : public QObject {
    Q_OBJECT

    TestEngine engine_ = testEngineFromEnvironment();
    std::unique_ptr<QtSqlDatabaseManager> db_;
    RecordingErrorManager errors_;

    // The first field of each statement's first row.
    QStringList values(const QStringList& statements) {
        QStringList values;
        for (const QString& sql : statements) {
            auto rs = db_->OpenRecordset(sql);
            values.append(rs && !rs->AtEnd() ? rs->Field(0).toString() : u"<none>"_s);
        }
        return values;
    }

  private Q_SLOTS:
    void createsThenRepairsWithoutLosingRows() {
        ScratchDatabase scratch(engine_);
        const DbIni& ini = scratch.ini();
        // A folder that does not exist yet.
        const QString dir = QDir(scratch.folder()).filePath(u"setup/here"_s);
        const QStringList target =
            engine_ == TestEngine::Sqlite
                ? QStringList{"--type", "JET", "--location", "helpdesk.sqlite3"}
                : QStringList{
                      "--type", "SQLSERVER", "--connection",
                      connection(u"Driver={%1};Server=%2;Port=%3;Database=%4;UserId=%5"_s.arg(
                                     ini.driver, ini.server, ini.port, ini.database, ini.userId),
                                 ini.password)};

        const ToolRun first = dbsetup(QStringList{"--db-ini", dir, "--demo"} + target);
        QVERIFY2(first.code == 0, qPrintable(first.err));
        QVERIFY2(ini.password.isEmpty() || !first.out.contains(ini.password),
                 "the password must not be printed");
        // Named relatively: the folder can move.
        QVERIFY(engine_ != TestEngine::Sqlite ||
                DbIni::load(DbIni::pathIn(dir)).location == u"helpdesk.sqlite3"_s);

        db_ = std::make_unique<QtSqlDatabaseManager>();
        db_->SetErrorManager(&errors_);
        db_->SetDbIniFolder(dir);
        QCOMPARE(db_->Connect(QString(), true, QVariant()), 2L);
        // The demo's old unsent messages, counted the way the Monitor counts them.
        SqlLiteralValueFormatter formatter;
        formatter.SetDatabaseType(db_->DatabaseType());
        const QString oldUnsent =
            u"select count(*) from Messages  where Sent is null  and LastModified < "_s +
            formatter.FormatDate(
                DateValue::fromDateTime(QDateTime::currentDateTime()).addSeconds(-7LL * 86400));
        QCOMPARE(
            values(
                {setting("DBVersion"),
                 u"select LoggedIn from SystemUsers where Login = 'Monitor'"_s,
                 u"select TermText from Terms where Language = 'ENG' and TermKey = 'SHORT_COMPANY_NAME'"_s,
                 oldUnsent}),
            QStringList({"12", "0", "Halvex", "3"}));
        if (engine_ == TestEngine::Sqlite) {
            auto plan = db_->OpenRecordset(u"explain query plan "_s + oldUnsent);
            QVERIFY(
                plan &&
                plan->Field(u"detail"_s).toString().contains(HelpDeskSchema::UnsentIndexName()));
        }

        // An operator's change, a lost setting and a lost table.
        for (const QString& change :
             {u"update Settings set SettingValue = '1' where SettingName = 'AutoStartMonitor'"_s,
              u"delete from Settings where SettingName = 'MonitorTicks'"_s,
              u"drop table Terms"_s}) {
            QVERIFY(db_->ExecuteCommand(change, 0));
        }
        db_->CloseConnection(true);
        const ToolRun check = dbsetup({"--db-ini", dir, "--check"});
        QCOMPARE(check.code, 3);
        QVERIFY2(
            check.out.contains(u"setting MonitorTicks"_s) && check.out.contains(u"table Terms"_s),
            qPrintable(check.out));
        QVERIFY(!db_->HasTable(u"Terms"_s));
        db_->CloseConnection(true);

        const ToolRun again = dbsetup({"--db-ini", dir, "--demo"});
        QVERIFY2(again.code == 0 && again.out.contains(u"Missing: "_s),
                 qPrintable(again.out + again.err));
        QCOMPARE(
            values({setting("AutoStartMonitor"), setting("MonitorTicks"),
                    u"select count(*) from Messages"_s, u"select count(*) from Terms"_s}),
            QStringList({"1", "60", "6", QString::number(HelpDeskSchema::EnglishTerms().size())}));
        QCOMPARE(dbsetup({"--db-ini", dir, "--check"}).code, 0);
        db_.reset();
    }

    void refusesBadUsage_data() {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("nothing") << QStringList();
        QTest::newRow("unknown type") << QStringList{"--db-ini", "/tmp", "--type", "ORACLE"};
        QTest::newRow("server without connection")
            << QStringList{"--db-ini", "/tmp", "--type", "SQLSERVER"};
        QTest::newRow("bad connection text")
            << QStringList{"--db-ini", "/tmp", "--type", "SQLSERVER", "--connection", "Pwd={x"};
    }

    void refusesBadUsage() {
        QFETCH(QStringList, arguments);
        const ToolRun outcome = dbsetup(arguments);
        QCOMPARE(outcome.code, 2);
        QVERIFY(outcome.err.contains(u"usage:"_s));
    }

    void unreachableDatabaseFails() {
        QTemporaryDir dir;
        const QString secret =
            engine_ == TestEngine::Sqlite ? QString() : PgTestServer::fromEnvironment().password;
        const QStringList target =
            engine_ == TestEngine::Sqlite
                ? QStringList{"--type", "JET", "--location", "missing.sqlite3", "--check"}
                : QStringList{
                      "--type", "SQLSERVER", "--connection",
                      connection(u"Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=1;UserId=x"_s,
                                 secret)};
        const ToolRun outcome = dbsetup(QStringList{"--db-ini", dir.path()} + target);
        QCOMPARE(outcome.code, 1);
        QVERIFY(outcome.err.contains(u"cannot connect"_s));
        QVERIFY(secret.isEmpty() || !outcome.err.contains(secret));
        QVERIFY(!QFile::exists(DbIni::pathIn(dir.path())));
        QVERIFY(!QFile::exists(dir.filePath(u"missing.sqlite3"_s)));
    }
};

QTEST_GUILESS_MAIN(TestHvxDbSetup)
#include "TestHvxDbSetup.moc"
