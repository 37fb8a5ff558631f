// Runs the real hvx-dbsetup on SQLite, or on the PostgreSQL test server when
// HVX_TEST_ENGINE=postgres.
#include "ScratchDatabase.h"
#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "fakes/RecordingErrorManager.h"
#include "support/ToolRun.h"

#include <QDateTime>
#include <QProcess>
#include <QtTest>

using namespace hvx;
using namespace hvx::test;

namespace {

ToolRun dbsetup(const QStringList& arguments) {
    return runTool(QStringLiteral("hvx-dbsetup"), arguments);
}

}  // namespace

class TestHvxDbSetup : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void createsThenRepairsWithoutLosingRows();
    void refusesBadUsage_data();
    void refusesBadUsage();
    void unreachableDatabaseFails();

  private:
    QStringList target(const ScratchDatabase& scratch) const;
    QString value(const QString& sql);

    TestEngine engine_ = testEngineFromEnvironment();
    std::unique_ptr<QtSqlDatabaseManager> db_;
    RecordingErrorManager errors_;
};

QStringList TestHvxDbSetup::target(const ScratchDatabase& scratch) const {
    if (engine_ == TestEngine::Sqlite) {
        return {QStringLiteral("--type"), QStringLiteral("JET"), QStringLiteral("--location"),
                QStringLiteral("helpdesk.sqlite3")};
    }
    const DbIni& ini = scratch.ini();
    return {QStringLiteral("--type"), QStringLiteral("SQLSERVER"), QStringLiteral("--connection"),
            QStringLiteral("Driver={%1};Server=%2;Port=%3;Database=%4;UserId=%5;Password={%6}")
                .arg(ini.driver, ini.server, ini.port, ini.database, ini.userId,
                     QString(ini.password).replace(QLatin1String("}"), QLatin1String("}}")))};
}

QString TestHvxDbSetup::value(const QString& sql) {
    auto rs = db_->OpenRecordset(sql);
    return rs && !rs->AtEnd() ? rs->Field(0).toString() : QStringLiteral("<none>");
}

void TestHvxDbSetup::createsThenRepairsWithoutLosingRows() {
    ScratchDatabase scratch(engine_);
    // A folder that does not exist yet.
    const QString dir = QDir(scratch.folder()).filePath(QStringLiteral("setup/here"));
    const QStringList setup = QStringList{QStringLiteral("--db-ini"), dir} + target(scratch);

    ToolRun first = dbsetup(setup + QStringList{QStringLiteral("--demo")});
    QVERIFY2(first.code == 0, qPrintable(first.err));
    if (!scratch.ini().password.isEmpty()) {
        QVERIFY2(!first.out.contains(scratch.ini().password), "the password must not be printed");
    }

    db_ = std::make_unique<QtSqlDatabaseManager>();
    db_->SetErrorManager(&errors_);
    db_->SetDbIniFolder(dir);
    QCOMPARE(db_->Connect(QString(), true, QVariant()), 2L);
    if (engine_ == TestEngine::Sqlite) {
        QVERIFY(DbIni::load(DbIni::pathIn(dir)).location == QLatin1String("helpdesk.sqlite3"));
    }
    SqlLiteralValueFormatter values;
    values.SetDatabaseType(db_->DatabaseType());
    QCOMPARE(
        value(QStringLiteral("select SettingValue from Settings where SettingName = 'DBVersion'")),
        QStringLiteral("12"));
    QCOMPARE(value(QStringLiteral("select LoggedIn from SystemUsers where Login = 'Monitor'")),
             QStringLiteral("0"));
    QCOMPARE(value(QStringLiteral("select TermText from Terms where Language = 'ENG' and TermKey = "
                                  "'SHORT_COMPANY_NAME'")),
             QStringLiteral("Halvex"));
    // The demo's old unsent messages, counted the way the Monitor counts them.
    const DateValue weekAgo =
        DateValue::fromDateTime(QDateTime::currentDateTime()).addSeconds(-7LL * 86400);
    const QString oldUnsent =
        QStringLiteral("select count(*) from Messages  where Sent is null  and LastModified < ") +
        values.FormatDate(weekAgo);
    QCOMPARE(value(oldUnsent), QStringLiteral("3"));
    if (engine_ == TestEngine::Sqlite) {
        auto plan = db_->OpenRecordset(QStringLiteral("explain query plan ") + oldUnsent);
        QVERIFY(plan && plan->Field(QStringLiteral("detail"))
                            .toString()
                            .contains(HelpDeskSchema::UnsentIndexName()));
    }

    // An operator's change, a lost setting and a lost table.
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral(
            "update Settings set SettingValue = '1' where SettingName = 'AutoStartMonitor'"),
        0));
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral("delete from Settings where SettingName = 'MonitorTicks'"), 0));
    QVERIFY(db_->ExecuteCommand(QStringLiteral("drop table Terms"), 0));
    db_->CloseConnection(true);

    ToolRun check = dbsetup({QStringLiteral("--db-ini"), dir, QStringLiteral("--check")});
    QCOMPARE(check.code, 3);
    QVERIFY2(check.out.contains(QLatin1String("setting MonitorTicks")) &&
                 check.out.contains(QLatin1String("table Terms")),
             qPrintable(check.out));
    QVERIFY(!db_->HasTable(QStringLiteral("Terms")));
    db_->CloseConnection(true);

    ToolRun again = dbsetup({QStringLiteral("--db-ini"), dir, QStringLiteral("--demo")});
    QVERIFY2(again.code == 0, qPrintable(again.err));
    QVERIFY2(again.out.contains(QLatin1String("Missing: ")), qPrintable(again.out));
    QCOMPARE(value(QStringLiteral(
                 "select SettingValue from Settings where SettingName = 'AutoStartMonitor'")),
             QStringLiteral("1"));
    QCOMPARE(value(QStringLiteral(
                 "select SettingValue from Settings where SettingName = 'MonitorTicks'")),
             QStringLiteral("60"));
    QCOMPARE(value(QStringLiteral("select count(*) from Messages")), QStringLiteral("6"));
    QCOMPARE(value(QStringLiteral("select count(*) from Terms")),
             QString::number(HelpDeskSchema::EnglishTerms().size()));
    QCOMPARE(dbsetup({QStringLiteral("--db-ini"), dir, QStringLiteral("--check")}).code, 0);
    db_.reset();
}

void TestHvxDbSetup::refusesBadUsage_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("nothing") << QStringList();
    QTest::newRow("no folder") << QStringList{QStringLiteral("--demo")};
    QTest::newRow("unknown type") << QStringList{"--db-ini", "/tmp", "--type", "ORACLE"};
    QTest::newRow("server without connection")
        << QStringList{"--db-ini", "/tmp", "--type", "SQLSERVER"};
    QTest::newRow("connection without type")
        << QStringList{"--db-ini", "/tmp", "--connection", "Server=x"};
    QTest::newRow("connection for a file")
        << QStringList{"--db-ini", "/tmp", "--type", "JET", "--connection", "Server=x"};
    QTest::newRow("bad connection text")
        << QStringList{"--db-ini", "/tmp", "--type", "SQLSERVER", "--connection", "Pwd={x"};
    QTest::newRow("unknown option") << QStringList{"--db-ini", "/tmp", "--colour"};
    QTest::newRow("stray argument") << QStringList{"--db-ini", "/tmp", "extra"};
}

void TestHvxDbSetup::refusesBadUsage() {
    QFETCH(QStringList, arguments);
    const ToolRun outcome = dbsetup(arguments);
    QCOMPARE(outcome.code, 2);
    QVERIFY(outcome.err.contains(QLatin1String("usage:")));
}

void TestHvxDbSetup::unreachableDatabaseFails() {
    QTemporaryDir dir;
    QStringList arguments{QStringLiteral("--db-ini"), dir.path()};
    QString secret;
    if (engine_ == TestEngine::Sqlite) {
        arguments << QStringLiteral("--type") << QStringLiteral("JET")
                  << QStringLiteral("--location") << QStringLiteral("missing.sqlite3")
                  << QStringLiteral("--check");
    } else {
        secret = PgTestServer::fromEnvironment().password;
        arguments
            << QStringLiteral("--type") << QStringLiteral("SQLSERVER")
            << QStringLiteral("--connection")
            << QStringLiteral(
                   "Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=1;UserId=x;Password={%1}")
                   .arg(QString(secret).replace(QLatin1String("}"), QLatin1String("}}")));
    }
    const ToolRun outcome = dbsetup(arguments);
    QCOMPARE(outcome.code, 1);
    QVERIFY(outcome.err.contains(QLatin1String("cannot connect")));
    QVERIFY(secret.isEmpty() || !outcome.err.contains(secret));
    QVERIFY(!QFile::exists(DbIni::pathIn(dir.path())));
    QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("missing.sqlite3"))));
}

QTEST_GUILESS_MAIN(TestHvxDbSetup)
#include "TestHvxDbSetup.moc"
