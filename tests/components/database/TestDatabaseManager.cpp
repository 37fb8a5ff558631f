// Runs against SQLite, or against the PostgreSQL test server when HVX_TEST_ENGINE=postgres.
#include "ScratchDatabase.h"
#include "components/DbIni.h"
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

#include <sys/stat.h>

Q_DECLARE_METATYPE(hvx::DateValue)
Q_DECLARE_METATYPE(hvx::DbIni)

using namespace hvx;
using namespace hvx::test;

namespace {

// pg-test-server for the private cluster of the restart test.
void pgServer(const QString& command, const QString& dir) {
    QCOMPARE(QProcess::execute(qEnvironmentVariable("HVX_PG_TEST_SERVER"), {command, dir}), 0);
}

}  // namespace

class TestDatabaseManager : public QObject {
    Q_OBJECT

    bool postgres() const { return engine_ == TestEngine::Postgres; }

    // A manager on the db.ini in FOLDER whose Connect answered EXPECTED (-1: any answer).
    std::unique_ptr<QtSqlDatabaseManager> connectTo(const QString& folder, long expected) {
        auto db = std::make_unique<QtSqlDatabaseManager>();
        db->SetErrorManager(&errors_);
        db->SetDbIniFolder(folder);
        const long answer = db->Connect(QString(), true, QVariant());
        if (answer == expected || expected < 0) {
            return db;
        }
        qWarning("Connect answered %ld: %s", answer, qPrintable(db->LastErrorText()));
        return nullptr;
    }

    long countOf(const QString& sql) {
        auto rs = db_->OpenRecordset(sql);
        return rs && !rs->AtEnd() ? rs->Field(0).toInt() : -1;
    }

    TestEngine engine_ = testEngineFromEnvironment();
    std::unique_ptr<ScratchDatabase> scratch_;
    std::unique_ptr<QtSqlDatabaseManager> db_;
    RecordingErrorManager errors_;
    SqlLiteralStringFormatter text_;
    SqlLiteralValueFormatter value_;
    int nextId_ = 0;

  private Q_SLOTS:
    void initTestCase() {
        scratch_ = std::make_unique<ScratchDatabase>(engine_);
        db_ = connectTo(scratch_->folder(), 1);
        QVERIFY(db_);
        text_.SetDatabaseType(db_->DatabaseType());
        value_.SetDatabaseType(db_->DatabaseType());
        QVERIFY(db_->ExecuteCommand(
            QStringLiteral("create table texts (id integer primary key, v text)"), 0));
        QVERIFY(
            db_->ExecuteCommand(QStringLiteral("create table stamps (id integer primary key, d %1)")
                                    .arg(postgres() ? "TIMESTAMP(0)" : "TEXT"),
                                0));
    }

    void cleanupTestCase() {
        db_.reset();
        scratch_.reset();
    }

    void textRoundTrip_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("quotes") << QStringLiteral("it's a 'quoted' \"text\" ''");
        QTest::newRow("backslashes") << QStringLiteral("C:\\path\\to\\ \\' \\\\");
        QTest::newRow("backslash before line breaks")
            << QStringLiteral("one\\\r\ntwo\\\nthree\\\rfour\\");
        QTest::newRow("line breaks") << QStringLiteral("a\r\nb\nc\rd\n");
        QTest::newRow("trailing blanks") << QStringLiteral("padded   ");
        QTest::newRow("control characters") << QStringLiteral("tab\there\x01\x1b[0m\x1f\x7f");
        QTest::newRow("non-ASCII") << QStringLiteral("Grüße, ça va? Ωμέγα Кириллица 中文 😀");
        QTest::newRow("ODBC escapes and markers")
            << QStringLiteral("{fn CONCAT('a','b')} ? :name {d '2024-01-01'} $1 $$x$$");
        QTest::newRow("comment markers") << QStringLiteral("-- no comment /* nor this */ ; GO");
        QTest::newRow("empty") << QString();
        QTest::newRow("long") << QString(6000, QChar(u'ß')) + QStringLiteral("'end ");
        QTest::newRow("NUL inside") << QStringLiteral("a") + QChar(u'\0') + QStringLiteral("b");
        QTest::newRow("only NUL") << QString(QChar(u'\0'));
        QTest::newRow("many NULs") << (QStringLiteral("a") + QChar(u'\0')).repeated(1500);
        QTest::newRow("many backslash line breaks") << QStringLiteral("dir\\\r\n").repeated(400);
    }

    // Inserted, read back and found again by the same literal.
    void textRoundTrip() {
        QFETCH(QString, text);
        const int id = ++nextId_;
        if (postgres() && text.contains(QChar(u'\0'))) {
            QEXPECT_FAIL("", "PostgreSQL text cannot hold a NUL character", Abort);
        }
        const QString literal = text_.FormatText(text);
        QVERIFY2(
            db_->ExecuteCommand(
                QStringLiteral("insert into texts (id, v) values (%1, %2)").arg(id).arg(literal),
                0),
            qPrintable(db_->LastErrorText()));
        auto rs = db_->OpenRecordset(QStringLiteral("select v from texts where id = %1").arg(id));
        QVERIFY(rs && !rs->AtEnd());
        QCOMPARE(rs->Field(QStringLiteral("V")).toString(), text);
        QCOMPARE(countOf(QStringLiteral("select count(*) from texts where id = %1 and v = %2")
                             .arg(id)
                             .arg(literal)),
                 1);
    }

    void stampRoundTrip_data() {
        QTest::addColumn<DateValue>("stamp");
        const auto at = [](int y, int mo, int d, int h, int mi, int s) {
            return DateValue::fromParts(QDate(y, mo, d), QTime(h, mi, s));
        };
        QTest::newRow("ordinary") << at(2024, 5, 17, 13, 45, 9);
        QTest::newRow("zero date") << DateValue::zero();
        QTest::newRow("hour skipped by summer time") << at(2024, 3, 31, 2, 30, 0);
        QTest::newRow("hour repeated by winter time") << at(2024, 10, 27, 2, 30, 0);
        QTest::newRow("year 1753") << at(1753, 1, 1, 0, 0, 1);
        QTest::newRow("year 9999") << at(9999, 12, 31, 23, 59, 58);
    }

    void stampRoundTrip() {
        QFETCH(DateValue, stamp);
        const int id = ++nextId_;
        const QString literal = value_.FormatDate(stamp);
        QVERIFY2(
            db_->ExecuteCommand(
                QStringLiteral("insert into stamps (id, d) values (%1, %2)").arg(id).arg(literal),
                0),
            qPrintable(db_->LastErrorText()));
        auto rs = db_->OpenRecordset(
            QStringLiteral("select d from stamps where id = %1 and d = %2").arg(id).arg(literal));
        QVERIFY(rs && !rs->AtEnd());
        // Also in an hour that local summer time skips: the stored value is naive.
        QCOMPARE(storedDate(rs->Field(0)), stamp);
        // The old-messages count: earlier than a moment one second later, not earlier than itself.
        const QString where =
            QStringLiteral("select count(*) from stamps where id = %1 and d < %2").arg(id);
        QCOMPARE(countOf(where.arg(value_.FormatDate(stamp.addSeconds(1)))), 1);
        QCOMPARE(countOf(where.arg(literal)), 0);
    }

    // Without the schema it answered 1, in initTestCase.
    void connectAnswersTwoOnceTheSchemaIsThere() {
        HelpDeskSchema(*db_, DateValue::zero()).Create();
        auto db = connectTo(scratch_->folder(), 2);
        QVERIFY(db);
        const DbIni& ini = scratch_->ini();
        QCOMPARE(db->DatabaseLocation(),
                 postgres() ? ini.server + QLatin1Char('/') + ini.database : scratch_->file());
    }

    void connectFails_data() {
        QTest::addColumn<DbIni>("ini");  // none written when it has no type
        const auto with = [this](QString DbIni::*field, const QString& value) {
            DbIni ini = scratch_->ini();
            ini.*field = value;
            return ini;
        };
        QTest::newRow("no db.ini") << DbIni();
        if (postgres()) {
            QTest::newRow("server not listening") << with(&DbIni::port, QStringLiteral("1"));
            // The user name as the password: the driver's message names the user.
            QTest::newRow("wrong password") << with(&DbIni::password, scratch_->ini().userId);
            QTest::newRow("no such database")
                << with(&DbIni::database, QStringLiteral("no_such_database"));
        } else {
            QTest::newRow("missing file")
                << with(&DbIni::location, QStringLiteral("missing.sqlite3"));
            QTest::newRow("missing folder")
                << with(&DbIni::location, QStringLiteral("nowhere/helpdesk.sqlite3"));
        }
    }

    void connectFails() {
        QFETCH(DbIni, ini);
        QTemporaryDir folder;
        if (!ini.type.isEmpty()) {
            ini.save(DbIni::pathIn(folder.path()));
        }
        errors_.reports.clear();
        QVERIFY(connectTo(folder.path(), 0));
        QVERIFY(!errors_.reports.isEmpty());
        QVERIFY2(ini.location.isEmpty() || !QFile::exists(folder.filePath(ini.location)),
                 "a missing database file must not be created");
        for (const QString& report : std::as_const(errors_.reports)) {
            QVERIFY2(ini.password.size() < kMinimumConcealedPasswordLength ||
                         !report.contains(ini.password),
                     qPrintable(report));
        }
    }

    void reconnectsAfterClose() {
        auto before = db_->OpenRecordset(QStringLiteral("select count(*) from texts"));
        QVERIFY(before && !before->AtEnd());
        db_->CloseConnection(true);
        QVERIFY(!db_->IsConnected());
        // A recordset does not outlive its connection.
        QVERIFY_THROWS_EXCEPTION(RuntimeError, before->Field(0));
        QCOMPARE(countOf(QStringLiteral("select count(*) from texts where id = 0")), 0);
        db_->CloseConnection(true);
        long rows = -1;
        QVERIFY(db_->ExecuteStatement(QStringLiteral("update texts set v = v where id < 0"), rows));
        QCOMPARE(rows, 0L);
        db_->CloseConnection(true);
        QVERIFY(db_->OpenConnection(false));
        QVERIFY(db_->IsConnected());
    }

    // Reported with the driver's text and the statement; the connection stays as it is.
    void statementFailureIsReported() {
        errors_.writes.clear();
        QVERIFY(!db_->OpenRecordset(QStringLiteral("select nosuch from texts")));
        QCOMPARE(errors_.writes.size(), 4);
        QVERIFY(errors_.writes.at(1).contains(QLatin1String("nosuch")));
        QVERIFY(errors_.writes.at(2).endsWith(QLatin1String("select nosuch from texts")));
        QVERIFY(!db_->ExecuteCommand(QStringLiteral("this is no statement"), 0));
        long rows = 5;
        QVERIFY(!db_->ExecuteStatement(QStringLiteral("delete from nosuch"), rows));
        QCOMPARE(rows, 0L);
        QVERIFY(!db_->NeedsReset());
        QVERIFY(db_->IsConnected());
    }

    void recordsetFollowsTheRows() {
        QVERIFY(db_->ExecuteCommand(
            QStringLiteral("create table pairs (id integer primary key, SomeName text)"), 0));
        long rows = 0;
        QVERIFY(db_->ExecuteStatement(
            QStringLiteral("insert into pairs (id, SomeName) values (1, 'one'), (2, Null)"), rows));
        QCOMPARE(rows, 2L);

        auto empty = db_->OpenRecordset(QStringLiteral("select id from pairs where id > 2"));
        QVERIFY(empty && empty->AtStart() && empty->AtEnd());
        QVERIFY_THROWS_EXCEPTION(RuntimeError, empty->Field(0));

        auto rs = db_->OpenRecordset(QStringLiteral("select id, SomeName from pairs order by id"));
        QVERIFY(rs && !rs->AtStart() && !rs->AtEnd());
        QCOMPARE(rs->Field(QStringLiteral("SOMENAME")).toString(), QStringLiteral("one"));
        QCOMPARE(errorOf([&] { rs->Field(QStringLiteral("nosuch")); }), err::SubscriptOutOfRange);
        rs->MoveNext();
        QCOMPARE(rs->Field(0).toInt(), 2);
        QVERIFY(rs->Field(1).isNull());
        rs->MoveNext();
        QVERIFY(rs->AtEnd() && !rs->AtStart());
        QVERIFY_THROWS_EXCEPTION(RuntimeError, rs->MoveNext());
    }

    void serverRestartIsSurvived() {
        if (!postgres()) {
            QSKIP("A file database has no server to restart");
        }
        QTemporaryDir clusterDir;
        QTemporaryDir iniDir;
        pgServer(QStringLiteral("start"), clusterDir.path());
        const auto stop = qScopeGuard([&] { pgServer(QStringLiteral("stop"), clusterDir.path()); });
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

    void checkJetDatabase_data() {
        QTest::addColumn<qint64>("at");  // where 4 KiB of 0xff go into the file; -1: nowhere
        QTest::addColumn<bool>("readOnly");
        QTest::newRow("healthy") << -1LL << false;
        QTest::newRow("not a database") << 0LL << false;
        QTest::newRow("damaged page") << 3LL * 4096 << false;
        QTest::newRow("read-only file") << -1LL << true;
    }

    // A damaged or read-only file answers 0 and says why.
    void checkJetDatabase() {
        if (postgres()) {
            QSKIP("Only file databases are checked");
        }
        QFETCH(qint64, at);
        QFETCH(bool, readOnly);
        ScratchDatabase scratch(TestEngine::Sqlite);
        {
            auto db = connectTo(scratch.folder(), 1);
            QVERIFY(db);
            HelpDeskSchema(*db, DateValue::zero()).Create();
        }
        QFile file(scratch.file());
        if (at >= 0) {
            QVERIFY(file.open(QIODevice::ReadWrite) && file.seek(at));
            file.write(QByteArray(4096, '\xff'));
            file.close();
        }
        if (readOnly) {
            QVERIFY(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::ReadGroup |
                                        QFileDevice::ReadOther));
        }
        auto db = connectTo(scratch.folder(), -1);
        errors_.reports.clear();
        const bool healthy = at < 0 && !readOnly;
        QCOMPARE(db->CheckJetDatabase(QStringLiteral("Monitor"), {}, {}, {}, 0), healthy ? 1L : 0L);
        QCOMPARE(errors_.reports.isEmpty(), healthy);
    }

    // The literals as written: what only SQL Server would read (NCHAR, a backslash before a line
    // break) is checked here alone.
    void literalsAsWritten_data() {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("literal");
        const QString nul(QChar(u'\0'));
        const auto row = [](const char* name, const char* type, const QString& text,
                            const QString& literal) {
            QTest::newRow(name) << QString::fromLatin1(type) << text << literal;
        };
        row("server type in any case", "SqlServer", "x", "N'x'");
        row("server NUL", "SQLSERVER", "a" + nul, "CONCAT(N'a', NCHAR(0))");
        row("server only NUL", "SQLSERVER", nul, "NCHAR(0)");
        row("server backslash before line break", "SQLSERVER", "a\\\r\nb\\",
            "CONCAT(N'a\\', N'\r\nb\\')");
        row("unknown type as JET", "ORACLE", "it's", "'it''s'");
    }

    void literalsAsWritten() {
        QFETCH(QString, type);
        QFETCH(QString, text);
        QFETCH(QString, literal);
        SqlLiteralStringFormatter formatter;
        formatter.SetDatabaseType(type);
        QCOMPARE(formatter.FormatText(text), literal);
    }

    // The one form that SQL Server reads alike whatever its language.
    void serverDates() {
        SqlLiteralValueFormatter formatter;
        formatter.SetDatabaseType(QStringLiteral("SQLSERVER"));
        QCOMPARE(formatter.FormatDate(DateValue::fromParts(QDate(987, 3, 4), QTime(5, 6, 7))),
                 QStringLiteral("'0987-03-04T05:06:07'"));
    }

    void datesOutsideTheEnginesRange() {
        SqlLiteralValueFormatter formatter;
        const DateValue last = DateValue::fromParts(QDate(9999, 12, 31), QTime(23, 59, 59));
        const DateValue first = DateValue::fromParts(QDate(1, 1, 1), QTime(0, 0));
        QCOMPARE(formatter.FormatDate(first), QStringLiteral("'0001-01-01 00:00:00'"));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, formatter.FormatDate(last.addSeconds(1)));
        QVERIFY_THROWS_EXCEPTION(RuntimeError, formatter.FormatDate(first.addSeconds(-1)));
    }

    // db.ini, which the manager reads.
    void readsWhatOthersWrite() {
        const DbIni ini = DbIni::parse(
            QStringLiteral("; written by hand\r\n[Other]\r\nType=SQLSERVER\r\n"
                           "[ database ]\r\n  type =  jet  \r\n# comment\r\n"
                           "LOCATION=data/help desk.sqlite3\rPassword = \"  x\"\"y \"\n"));
        QCOMPARE(ini.canonicalType(), QStringLiteral("JET"));
        QCOMPARE(ini.location, QStringLiteral("data/help desk.sqlite3"));
        QCOMPARE(ini.password, QStringLiteral("  x\"y "));
    }

    void awkwardValuesSurviveSaveAndLoad_data() {
        QTest::addColumn<QString>("password");
        QTest::newRow("plain") << QStringLiteral("secret");
        // The fuzzer tries many more; these are the ones each layer must quote.
        QTest::newRow("awkward") << QStringLiteral("  \"q\" ; # [Database] = }{;}} pässwörd€  ");
    }

    // Through the file, readable by its owner only, and through the ODBC connection string.
    void awkwardValuesSurviveSaveAndLoad() {
        QFETCH(QString, password);
        QTemporaryDir dir;
        DbIni ini;
        ini.type = QStringLiteral("SQLSERVER");
        ini.driver = QStringLiteral("PostgreSQL Unicode");
        ini.userId = password;
        ini.password = password;
        const QString path = DbIni::pathIn(dir.path() + QLatin1Char('/'));
        ini.save(path);
        QCOMPARE(QFile::permissions(path) & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
                 QFileDevice::Permissions());
        const DbIni back = DbIni::load(dir.filePath(QStringLiteral("db.ini")));
        QCOMPARE(back.password, password);
        QCOMPARE(back.userId, password);
        QCOMPARE(back.driver, ini.driver);
        QCOMPARE(DbIni::fromConnectionString(back.odbcConnectionString()).password, password);
    }

    // Read through the reader that takes only a small regular file (its other cases lie with
    // the instance list): a FIFO fails at once instead of waiting for a writer.
    void aMissingFileOrAFifoFailsAtOnce() {
        QTemporaryDir dir;
        const QString path = DbIni::pathIn(dir.path());
        QCOMPARE(test::errorOf([&] { DbIni::load(path); }), err::FileNotFound);
        QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        try {
            DbIni::load(path);
            QFAIL("a FIFO was read");
        } catch (const RuntimeError& error) {
            QCOMPARE(error.number(), err::PathFileAccessError);
            QCOMPARE(error.description(),
                     QStringLiteral("Cannot read %1: Path/File access error: not a regular file")
                         .arg(path));
        }
    }

    void connectionText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("fields");  // server|userId|password as read; empty: refused
        const auto row = [](const char* name, const char* text, const char* fields) {
            QTest::newRow(name) << QString::fromUtf8(text) << QString::fromUtf8(fields);
        };
        row("plain",
            "Driver={PostgreSQL Unicode};Server=db1;Port=5432;Database=hd;UserId=u;Password=p",
            "db1|u|p");
        row("ODBC key names, braces", "DSN=helpdesk;Uid={a;b};Pwd={x}}y;z}", "|a;b|x}y;z");
        row("blanks and trailing separator", " Server = db2 ; Password = {  p  } ;", "db2||  p  ");
        row("unknown key", "Server=x;Colour=blue", "");
        row("brace not closed", "Pwd={abc", "");
        row("no equals sign", "Server=x;junk", "");
    }

    void connectionText() {
        QFETCH(QString, text);
        QFETCH(QString, fields);
        if (fields.isEmpty()) {
            QVERIFY_THROWS_EXCEPTION(RuntimeError, DbIni::fromConnectionString(text));
            return;
        }
        const DbIni ini = DbIni::fromConnectionString(text);
        QVERIFY(ini.isServer());
        QCOMPARE(QStringList({ini.server, ini.userId, ini.password}).join(QLatin1Char('|')),
                 fields);
    }
};

QTEST_GUILESS_MAIN(TestDatabaseManager)
#include "TestDatabaseManager.moc"
