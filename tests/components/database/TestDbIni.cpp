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

QTEST_GUILESS_MAIN(TestDbIni)
#include "TestDbIni.moc"
