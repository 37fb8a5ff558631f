// Runs against SQLite, or against the PostgreSQL test server when HVX_TEST_ENGINE=postgres.
#include "ScratchDatabase.h"
#include "components/HelpDeskSchema.h"
#include "components/PasswordConcealment.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/QtSqlRecordset.h"
#include "components/SqlLiteralFormatters.h"
#include "fakes/ErrorOf.h"
#include "fakes/RecordingErrorManager.h"
#include "platform/RuntimeError.h"

#include <QFile>
#include <QProcess>
#include <QtTest>

#include <memory>

Q_DECLARE_METATYPE(hvx::DateValue)

using namespace hvx;
using namespace hvx::test;

namespace {

QString hex(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    const QString shown = QString::fromLatin1(bytes.left(160).toHex(' '));
    return bytes.size() > 160 ? shown + QStringLiteral(" … (%1 bytes)").arg(bytes.size()) : shown;
}

// pg-test-server for the private clusters of the restart test.
void pgServer(const QString& command, const QString& dir) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.start(qEnvironmentVariable("HVX_PG_TEST_SERVER"), {command, dir});
    QVERIFY2(process.waitForFinished(120000) && process.exitCode() == 0, qPrintable(command));
}

}  // namespace

class TestDatabaseManager : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void textRoundTrip_data();
    void textRoundTrip();
    void stampRoundTrip_data();
    void stampRoundTrip();
    void connectAnswersWhetherTheSchemaIsThere();
    void connectFails_data();
    void connectFails();
    void reconnectsAfterClose();
    void statementFailureIsReported();
    void recordsetFollowsTheRows();
    void serverRestartIsSurvived();
    void checkJetDatabase_data();
    void checkJetDatabase();

  private:
    bool postgres() const { return engine_ == TestEngine::Postgres; }
    std::unique_ptr<QtSqlDatabaseManager> connectTo(const QString& folder, long expected);
    long countOf(const QString& sql);

    TestEngine engine_ = TestEngine::Sqlite;
    std::unique_ptr<ScratchDatabase> scratch_;
    std::unique_ptr<QtSqlDatabaseManager> db_;
    RecordingErrorManager errors_;
    SqlLiteralStringFormatter text_;
    SqlLiteralValueFormatter value_;
    int nextId_ = 0;
};

std::unique_ptr<QtSqlDatabaseManager> TestDatabaseManager::connectTo(const QString& folder,
                                                                     long expected) {
    auto db = std::make_unique<QtSqlDatabaseManager>();
    db->SetErrorManager(&errors_);
    db->SetDbIniFolder(folder);
    const long answer = db->Connect(QString(), true, QVariant());
    if (answer != expected) {
        qWarning("Connect answered %ld, expected %ld: %s", answer, expected,
                 qPrintable(db->LastErrorText()));
        return nullptr;
    }
    return db;
}

long TestDatabaseManager::countOf(const QString& sql) {
    auto rs = db_->OpenRecordset(sql);
    return rs && !rs->AtEnd() ? rs->Field(0).toInt() : -1;
}

void TestDatabaseManager::initTestCase() {
    engine_ = testEngineFromEnvironment();
    scratch_ = std::make_unique<ScratchDatabase>(engine_);
    db_ = connectTo(scratch_->folder(), 1);
    QVERIFY(db_);
    text_.SetDatabaseType(db_->DatabaseType());
    value_.SetDatabaseType(db_->DatabaseType());
    const QString stampType = postgres() ? QStringLiteral("TIMESTAMP(0)") : QStringLiteral("TEXT");
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral("create table texts (id integer primary key, v text)"), 0));
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral("create table stamps (id integer primary key, d %1)").arg(stampType), 0));
    if (!postgres()) {
        QVERIFY(db_->ExecuteCommand(QStringLiteral("PRAGMA synchronous = OFF"), 0));
    }
}

void TestDatabaseManager::cleanupTestCase() {
    db_.reset();
    scratch_.reset();
}

void TestDatabaseManager::textRoundTrip_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("quotes") << QStringLiteral("it's a 'quoted' \"text\" ''");
    QTest::newRow("backslashes") << QStringLiteral("C:\\path\\to\\ \\' \\\\");
    QTest::newRow("backslash before line breaks")
        << QStringLiteral("one\\\r\ntwo\\\nthree\\\rfour\\");
    QTest::newRow("percent and underscore") << QStringLiteral("100% _done_ %s %% %d");
    QTest::newRow("line breaks") << QStringLiteral("a\r\nb\nc\rd\n");
    QTest::newRow("trailing blanks") << QStringLiteral("padded   ");
    QTest::newRow("only blanks") << QStringLiteral("   ");
    QTest::newRow("control characters") << QStringLiteral("tab\there\x01\x1b[0m\x1f\x7f");
    QTest::newRow("non-ASCII") << QStringLiteral("Grüße, ça va? Ωμέγα Кириллица 中文 😀");
    QTest::newRow("ODBC escapes and markers")
        << QStringLiteral("{fn CONCAT('a','b')} ? :name {d '2024-01-01'} $1 $$x$$");
    QTest::newRow("comment markers") << QStringLiteral("-- no comment /* nor this */ ; GO");
    QTest::newRow("empty") << QString();
    QTest::newRow("long") << QString(6000, QChar(u'ß')) + QStringLiteral("'end ");
    QTest::newRow("NUL inside") << QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b");
    QTest::newRow("NUL at both ends") << QChar(u'\0') + QStringLiteral("middle'\\") + QChar(u'\0');
    QTest::newRow("only NUL") << QString(QChar(u'\0'));
    QTest::newRow("many NULs") << (QStringLiteral("a") + QChar(u'\0')).repeated(1500);
    QTest::newRow("many backslash line breaks") << QStringLiteral("dir\\\r\n").repeated(400);
}

void TestDatabaseManager::textRoundTrip() {
    QFETCH(QString, text);
    const int id = ++nextId_;
    if (postgres() && text.contains(QChar(u'\0'))) {
        QEXPECT_FAIL("", "PostgreSQL text cannot hold a NUL character", Abort);
    }
    QVERIFY2(db_->ExecuteCommand(QStringLiteral("insert into texts (id, v) values (%1, %2)")
                                     .arg(id)
                                     .arg(text_.FormatText(text)),
                                 0),
             qPrintable(db_->LastErrorText()));
    auto rs = db_->OpenRecordset(QStringLiteral("select v from texts where id = %1").arg(id));
    QVERIFY(rs && !rs->AtEnd());
    const QString stored = rs->Field(QStringLiteral("V")).toString();
    QVERIFY2(stored == text,
             qPrintable(QStringLiteral("stored %1, wrote %2").arg(hex(stored), hex(text))));
    QCOMPARE(countOf(QStringLiteral("select count(*) from texts where id = %1 and v = %2")
                         .arg(id)
                         .arg(text_.FormatText(text))),
             1);
}

void TestDatabaseManager::stampRoundTrip_data() {
    QTest::addColumn<DateValue>("stamp");
    const auto at = [](int y, int mo, int d, int h, int mi, int s) {
        return DateValue::fromParts(QDate(y, mo, d), QTime(h, mi, s));
    };
    QTest::newRow("ordinary") << at(2024, 5, 17, 13, 45, 9);
    QTest::newRow("midnight") << at(2024, 1, 1, 0, 0, 0);
    QTest::newRow("last second of a year") << at(2023, 12, 31, 23, 59, 59);
    QTest::newRow("leap day") << at(2024, 2, 29, 12, 0, 0);
    QTest::newRow("zero date") << DateValue::zero();
    QTest::newRow("hour skipped by summer time") << at(2024, 3, 31, 2, 30, 0);
    QTest::newRow("hour repeated by winter time") << at(2024, 10, 27, 2, 30, 0);
    QTest::newRow("year 1753") << at(1753, 1, 1, 0, 0, 1);
    QTest::newRow("year 9999") << at(9999, 12, 31, 23, 59, 58);
}

void TestDatabaseManager::stampRoundTrip() {
    QFETCH(DateValue, stamp);
    const int id = ++nextId_;
    const QString literal = value_.FormatDate(stamp);
    QVERIFY2(
        db_->ExecuteCommand(
            QStringLiteral("insert into stamps (id, d) values (%1, %2)").arg(id).arg(literal), 0),
        qPrintable(db_->LastErrorText()));
    auto rs = db_->OpenRecordset(
        QStringLiteral("select d from stamps where id = %1 and d = %2").arg(id).arg(literal));
    QVERIFY(rs && !rs->AtEnd());
    const QVariant field = rs->Field(0);
    if (field.metaType().id() == QMetaType::QDateTime) {
        // Also in an hour that local summer time skips: the stored value is naive.
        QVERIFY(field.toDateTime().isValid());
    }
    const DateValue stored = storedDate(field);
    QCOMPARE(value_.FormatDate(stored), literal);
    QCOMPARE(stored, stamp);
    // The old-messages count: earlier than a moment one second later, not earlier than itself.
    const QString where =
        QStringLiteral("select count(*) from stamps where id = %1 and d < %2").arg(id);
    QCOMPARE(countOf(where.arg(value_.FormatDate(stamp.addSeconds(1)))), 1);
    QCOMPARE(countOf(where.arg(literal)), 0);
}

void TestDatabaseManager::connectAnswersWhetherTheSchemaIsThere() {
    ScratchDatabase fresh(engine_);
    auto db = connectTo(fresh.folder(), 1);
    QVERIFY(db);
    HelpDeskSchema(*db, DateValue::fromParts(QDate(2024, 6, 1), QTime(8, 0))).Create();
    db = connectTo(fresh.folder(), 2);
    QVERIFY(db);
    QCOMPARE(db->DatabaseType(), postgres() ? QStringLiteral("SQLSERVER") : QStringLiteral("JET"));
    QCOMPARE(
        db->DatabaseLocation(),
        postgres() ? fresh.ini().server + QLatin1Char('/') + fresh.ini().database : fresh.file());
}

void TestDatabaseManager::connectFails_data() {
    QTest::addColumn<QString>("field");
    QTest::addColumn<QString>("value");
    QTest::newRow("no db.ini") << QString() << QString();
    if (postgres()) {
        QTest::newRow("server not listening") << QStringLiteral("port") << QStringLiteral("1");
        QTest::newRow("wrong password")
            << QStringLiteral("password") << QStringLiteral("not-the-password}");
        QTest::newRow("no such database")
            << QStringLiteral("database") << QStringLiteral("no_such_database");
    } else {
        QTest::newRow("missing file")
            << QStringLiteral("location") << QStringLiteral("missing.sqlite3");
        QTest::newRow("missing folder")
            << QStringLiteral("location") << QStringLiteral("nowhere/helpdesk.sqlite3");
    }
}

void TestDatabaseManager::connectFails() {
    QFETCH(QString, field);
    QFETCH(QString, value);
    QTemporaryDir folder;
    DbIni ini = scratch_->ini();
    const bool written = !field.isEmpty();
    if (written) {
        QString DbIni::*member = field == QLatin1String("port")       ? &DbIni::port
                                 : field == QLatin1String("password") ? &DbIni::password
                                 : field == QLatin1String("database") ? &DbIni::database
                                                                      : &DbIni::location;
        ini.*member = value;
        ini.save(DbIni::pathIn(folder.path()));
    }
    errors_.reports.clear();
    QVERIFY(connectTo(folder.path(), 0));
    QVERIFY(!errors_.reports.isEmpty());
    if (written && !ini.location.isEmpty()) {
        QVERIFY2(!QFile::exists(folder.filePath(ini.location)),
                 "a missing database file must not be created");
    }
    if (written && ini.password.size() >= kMinimumConcealedPasswordLength) {
        for (const QString& report : std::as_const(errors_.reports)) {
            QVERIFY2(!report.contains(ini.password), qPrintable(report));
        }
    }
}

void TestDatabaseManager::reconnectsAfterClose() {
    auto before = db_->OpenRecordset(QStringLiteral("select count(*) from texts"));
    QVERIFY(before && !before->AtEnd());
    db_->CloseConnection(true);
    QVERIFY(!db_->IsConnected());
    // A recordset does not outlive its connection.
    QVERIFY_THROWS_EXCEPTION(RuntimeError, before->Field(0));
    QCOMPARE(countOf(QStringLiteral("select count(*) from texts where id = 0")), 0);
    QVERIFY(db_->IsConnected());
    db_->CloseConnection(true);
    long rows = -1;
    QVERIFY(db_->ExecuteStatement(QStringLiteral("update texts set v = v where id < 0"), rows));
    QCOMPARE(rows, 0L);
    db_->CloseConnection(true);
    QVERIFY(db_->OpenConnection(false));
    QVERIFY(db_->IsConnected());
}

void TestDatabaseManager::statementFailureIsReported() {
    errors_.writes.clear();
    QVERIFY(!db_->OpenRecordset(QStringLiteral("select nosuch from texts")));
    QCOMPARE(errors_.writes.size(), 4);
    QVERIFY(errors_.writes.at(0).startsWith(QLatin1String("ErrorNumber=")));
    QVERIFY(errors_.writes.at(1).startsWith(QLatin1String("ErrorDescription=")));
    QVERIFY(errors_.writes.at(1).contains(QLatin1String("nosuch")));
    QVERIFY(errors_.writes.at(2).endsWith(QLatin1String("select nosuch from texts")));
    QCOMPARE(errors_.writes.at(3), QStringLiteral("Report(error)"));
    QVERIFY(!db_->ExecuteCommand(QStringLiteral("this is no statement"), 0));
    long rows = 5;
    QVERIFY(!db_->ExecuteStatement(QStringLiteral("delete from nosuch"), rows));
    QCOMPARE(rows, 0L);
    // A bad statement leaves the connection as it is.
    QVERIFY(!db_->NeedsReset());
    QVERIFY(db_->IsConnected());
}

void TestDatabaseManager::recordsetFollowsTheRows() {
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral("create table pairs (id integer primary key, SomeName text)"), 0));
    QVERIFY(db_->ExecuteCommand(
        QStringLiteral("insert into pairs (id, SomeName) values (1, 'one')"), 0));
    long rows = 0;
    QVERIFY(db_->ExecuteStatement(
        QStringLiteral("insert into pairs (id, SomeName) values (2, Null)"), rows));
    QCOMPARE(rows, 1L);
    QVERIFY(db_->ExecuteStatement(
        QStringLiteral("update pairs set SomeName = SomeName where id > 0"), rows));
    QCOMPARE(rows, 2L);

    auto empty = db_->OpenRecordset(QStringLiteral("select id from pairs where id > 2"));
    QVERIFY(empty && empty->AtStart() && empty->AtEnd());
    QVERIFY_THROWS_EXCEPTION(RuntimeError, empty->Field(0));

    auto rs = db_->OpenRecordset(QStringLiteral("select id, SomeName from pairs order by id"));
    QVERIFY(rs && !rs->AtStart() && !rs->AtEnd());
    QCOMPARE(rs->Field(QStringLiteral("somename")).toString(), QStringLiteral("one"));
    QCOMPARE(rs->Field(QStringLiteral("SOMENAME")).toString(), QStringLiteral("one"));
    QCOMPARE(errorOf([&] { rs->Field(QStringLiteral("nosuch")); }), err::SubscriptOutOfRange);
    rs->MoveNext();
    QCOMPARE(rs->Field(0).toInt(), 2);
    QVERIFY(rs->Field(1).isNull());
    rs->MoveNext();
    QVERIFY(rs->AtEnd() && !rs->AtStart());
    QVERIFY_THROWS_EXCEPTION(RuntimeError, rs->MoveNext());
}

void TestDatabaseManager::serverRestartIsSurvived() {
    if (!postgres()) {
        QSKIP("A file database has no server to restart");
    }
    QTemporaryDir clusterDir;
    QTemporaryDir iniDir;
    pgServer(QStringLiteral("start"), clusterDir.path());
    struct Stop {
        QString dir;
        ~Stop() {
            QProcess::execute(qEnvironmentVariable("HVX_PG_TEST_SERVER"),
                              {QStringLiteral("stop"), dir});
        }
    } stop{clusterDir.path()};
    const PgTestServer server = PgTestServer::fromDir(clusterDir.path());
    server.dbIni(server.database).save(DbIni::pathIn(iniDir.path()));
    auto db = connectTo(iniDir.path(), 1);
    QVERIFY(db);
    const QString probe = QStringLiteral("select 1");

    pgServer(QStringLiteral("pause"), clusterDir.path());
    errors_.reports.clear();
    QVERIFY(!db->ExecuteCommand(probe, 0));
    QVERIFY(db->NeedsReset());
    QVERIFY(!errors_.reports.isEmpty());
    db->Reset(true);  // what the program's error report does when NeedsReset is set
    QVERIFY(!db->NeedsReset());
    pgServer(QStringLiteral("resume"), clusterDir.path());
    QVERIFY2(db->ExecuteCommand(probe, 0), qPrintable(db->LastErrorText()));

    // Without a Reset the next statement after the failure connects afresh as well.
    pgServer(QStringLiteral("pause"), clusterDir.path());
    QVERIFY(!db->OpenRecordset(probe));
    pgServer(QStringLiteral("resume"), clusterDir.path());
    auto rs = db->OpenRecordset(probe);
    QVERIFY2(rs && rs->Field(0).toInt() == 1, qPrintable(db->LastErrorText()));
}

void TestDatabaseManager::checkJetDatabase_data() {
    QTest::addColumn<QString>("damage");
    QTest::addColumn<long>("expected");
    QTest::newRow("healthy") << QString() << 1L;
    QTest::newRow("not a database") << QStringLiteral("garbage") << 0L;
    QTest::newRow("damaged page") << QStringLiteral("page") << 0L;
    QTest::newRow("read-only file") << QStringLiteral("read-only") << 0L;
}

void TestDatabaseManager::checkJetDatabase() {
    if (postgres()) {
        QSKIP("Only file databases are checked");
    }
    QFETCH(QString, damage);
    QFETCH(long, expected);
    ScratchDatabase scratch(TestEngine::Sqlite);
    {
        auto db = connectTo(scratch.folder(), 1);
        QVERIFY(db);
        QVERIFY(db->ExecuteCommand(
            QStringLiteral("create table filler (id integer primary key, v text)"), 0));
        QVERIFY(db->ExecuteCommand(QStringLiteral("create index filler_v on filler (v)"), 0));
        QVERIFY(db->ExecuteCommand(
            QStringLiteral("with recursive n(i) as (select 1 union all select i + 1 from n "
                           "where i < 3000) insert into filler select i, 'row ' || i from n"),
            0));
    }
    QFile file(scratch.file());
    if (damage == QLatin1String("garbage")) {
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(8192, 'x'));
    } else if (damage == QLatin1String("page")) {
        QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(3LL * 4096));
        file.write(QByteArray(4096, '\xff'));
    } else if (damage == QLatin1String("read-only")) {
        QVERIFY(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::ReadGroup |
                                    QFileDevice::ReadOther));
    }
    file.close();

    auto db = std::make_unique<QtSqlDatabaseManager>();
    db->SetErrorManager(&errors_);
    db->SetDbIniFolder(scratch.folder());
    db->Connect(QString(), true, QVariant());
    errors_.reports.clear();
    QCOMPARE(db->CheckJetDatabase(QStringLiteral("Monitor"), QString(), QVariant(), QVariant(), 0),
             expected);
    QCOMPARE(errors_.reports.isEmpty(), expected == 1);
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
}

QTEST_GUILESS_MAIN(TestDatabaseManager)
#include "TestDatabaseManager.moc"
