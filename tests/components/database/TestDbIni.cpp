#include "components/DbIni.h"
#include "fakes/ErrorOf.h"
#include "platform/RuntimeError.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

using namespace hvx;

class TestDbIni : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void readsWhatOthersWrite();
    void awkwardValuesSurviveSaveAndLoad_data();
    void awkwardValuesSurviveSaveAndLoad();
    void locationIsRelativeToTheIniFolder();
    void missingFileIsError53();
    void aFifoFailsAtOnce();
    void connectionText_data();
    void connectionText();
    void badConnectionText_data();
    void badConnectionText();
};

void TestDbIni::readsWhatOthersWrite() {
    const DbIni ini =
        DbIni::parse(QStringLiteral("; written by hand\r\n[Other]\r\nType=SQLSERVER\r\n"
                                    "[ database ]\r\n  type =  jet  \r\n# comment\r\n"
                                    "LOCATION=data/help desk.sqlite3\rPassword = \"  x\"\"y \"\n"));
    QVERIFY(ini.isJet());
    QCOMPARE(ini.canonicalType(), QStringLiteral("JET"));
    QCOMPARE(ini.location, QStringLiteral("data/help desk.sqlite3"));
    QCOMPARE(ini.password, QStringLiteral("  x\"y "));
}

void TestDbIni::awkwardValuesSurviveSaveAndLoad_data() {
    QTest::addColumn<QString>("password");
    QTest::newRow("plain") << QStringLiteral("secret");
    QTest::newRow("blanks around") << QStringLiteral("  padded  ");
    QTest::newRow("quotes") << QStringLiteral("\"quoted\" \"");
    QTest::newRow("comment and section characters") << QStringLiteral("; # [Database] = x");
    QTest::newRow("braces and semicolons") << QStringLiteral("}{;}}");
    QTest::newRow("non-ASCII") << QStringLiteral("pässwörd€");
}

void TestDbIni::awkwardValuesSurviveSaveAndLoad() {
    QFETCH(QString, password);
    QTemporaryDir dir;
    DbIni ini;
    ini.type = QStringLiteral("SQLSERVER");
    ini.driver = QStringLiteral("PostgreSQL Unicode");
    ini.userId = password;
    ini.password = password;
    const QString path = DbIni::pathIn(dir.path() + QLatin1Char('/'));
    QCOMPARE(path, dir.filePath(QStringLiteral("db.ini")));
    ini.save(path);
    QCOMPARE(QFile::permissions(path) & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
             QFileDevice::Permissions());
    const DbIni back = DbIni::load(path);
    QCOMPARE(back.password, password);
    QCOMPARE(back.userId, password);
    QCOMPARE(back.driver, ini.driver);
    // The ODBC form carries it unchanged as well.
    QCOMPARE(DbIni::fromConnectionString(back.odbcConnectionString()).password, password);
}

void TestDbIni::locationIsRelativeToTheIniFolder() {
    DbIni ini;
    ini.location = QStringLiteral("../data/helpdesk.sqlite3");
    QCOMPARE(ini.databaseFile(QStringLiteral("/srv/monitor")),
             QStringLiteral("/srv/data/helpdesk.sqlite3"));
    ini.location = QStringLiteral("/var/lib/helpdesk.sqlite3");
    QCOMPARE(ini.databaseFile(QStringLiteral("/srv/monitor")), ini.location);
}

void TestDbIni::missingFileIsError53() {
    QTemporaryDir dir;
    QCOMPARE(test::errorOf([&] { DbIni::load(DbIni::pathIn(dir.path())); }), err::FileNotFound);
}

// Read through the reader that takes only a small regular file (its cases lie with the
// instance list): a FIFO fails at once instead of waiting for a writer.
void TestDbIni::aFifoFailsAtOnce() {
    QTemporaryDir dir;
    const QString path = DbIni::pathIn(dir.path());
    QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
    try {
        DbIni::load(path);
        QFAIL("a FIFO was read");
    } catch (const RuntimeError& error) {
        QCOMPARE(error.number(), err::PathFileAccessError);
        QCOMPARE(
            error.description(),
            QStringLiteral("Cannot read %1: Path/File access error: not a regular file").arg(path));
    }
}

void TestDbIni::connectionText_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QString>("password");
    QTest::newRow("plain")
        << "Driver={PostgreSQL Unicode};Server=db1;Port=5432;Database=hd;UserId=u;Password=p"
        << "db1"
        << "u"
        << "p";
    QTest::newRow("ODBC key names, braces") << "DSN=helpdesk;Uid={a;b};Pwd={x}}y;z}"
                                            << ""
                                            << "a;b"
                                            << "x}y;z";
    QTest::newRow("blanks and trailing separator") << " Server = db2 ; Password = {  p  } ;"
                                                   << "db2"
                                                   << ""
                                                   << "  p  ";
}

void TestDbIni::connectionText() {
    QFETCH(QString, text);
    QFETCH(QString, server);
    QFETCH(QString, userId);
    QFETCH(QString, password);
    const DbIni ini = DbIni::fromConnectionString(text);
    QVERIFY(ini.isServer());
    QCOMPARE(ini.server, server);
    QCOMPARE(ini.userId, userId);
    QCOMPARE(ini.password, password);
}

void TestDbIni::badConnectionText_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("unknown key") << "Server=x;Colour=blue";
    QTest::newRow("brace not closed") << "Pwd={abc";
    QTest::newRow("no equals sign") << "Server=x;junk";
}

void TestDbIni::badConnectionText() {
    QFETCH(QString, text);
    QVERIFY_THROWS_EXCEPTION(RuntimeError, DbIni::fromConnectionString(text));
}

QTEST_GUILESS_MAIN(TestDbIni)
#include "TestDbIni.moc"
