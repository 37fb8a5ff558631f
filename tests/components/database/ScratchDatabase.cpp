#include "ScratchDatabase.h"

#include "platform/RuntimeError.h"

#include <QCoreApplication>
#include <QFile>
#include <QRandomGenerator>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

#include <utility>

namespace hvx::test {

namespace {

// Runs one statement on the server's own database with a short-lived connection.
void runOnServer(const PgTestServer& server, const QString& sql) {
    const QString name = QStringLiteral("scratch-admin");
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QODBC"), name);
        db.setDatabaseName(server.dbIni(server.database).odbcConnectionString());
        if (!db.open()) {
            const QString text = db.lastError().text();
            db = QSqlDatabase();
            QSqlDatabase::removeDatabase(name);
            throw RuntimeError(0,
                               QStringLiteral("Cannot reach the PostgreSQL test server: ") + text);
        }
        QSqlQuery query(db);
        const bool ok = query.exec(sql);
        const QString text = query.lastError().text();
        query = QSqlQuery();
        db.close();
        db = QSqlDatabase();
        QSqlDatabase::removeDatabase(name);
        if (!ok) {
            throw RuntimeError(0, sql + QStringLiteral(": ") + text);
        }
    }
}

const std::pair<const char*, QString PgTestServer::*> kConnectionKeys[] = {
    {"PGTEST_HOST", &PgTestServer::host},         {"PGTEST_PORT", &PgTestServer::port},
    {"PGTEST_USER", &PgTestServer::user},         {"PGTEST_PASSWORD", &PgTestServer::password},
    {"PGTEST_DATABASE", &PgTestServer::database}, {"PGTEST_BINDIR", &PgTestServer::bindir}};

}  // namespace

TestEngine testEngineFromEnvironment() {
    return qEnvironmentVariable("HVX_TEST_ENGINE") == QLatin1String("postgres")
               ? TestEngine::Postgres
               : TestEngine::Sqlite;
}

PgTestServer PgTestServer::fromDir(const QString& dir) {
    QFile file(dir + QStringLiteral("/connection.env"));
    if (!file.open(QIODevice::ReadOnly)) {
        throw RuntimeError(
            err::FileNotFound,
            QStringLiteral("No PostgreSQL test server in %1 (scripts/pg-test-server start)")
                .arg(dir));
    }
    PgTestServer server;
    for (const QByteArray& raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (equals < 0) {
            continue;
        }
        QString value = line.mid(equals + 1);
        if (value.size() >= 2 && value.startsWith(QLatin1Char('\'')) &&
            value.endsWith(QLatin1Char('\''))) {
            value = value.mid(1, value.size() - 2);
        }
        const QString key = line.left(equals);
        for (const auto& [name, member] : kConnectionKeys) {
            if (key == QLatin1String(name)) {
                server.*member = value;
            }
        }
    }
    return server;
}

PgTestServer PgTestServer::fromEnvironment() {
    return fromDir(qEnvironmentVariable("HVX_PG_DIR"));
}

DbIni PgTestServer::dbIni(const QString& databaseName) const {
    DbIni ini;
    ini.type = QStringLiteral("SQLSERVER");
    ini.driver = QStringLiteral("PostgreSQL Unicode");
    ini.server = host;
    ini.port = port;
    ini.database = databaseName;
    ini.userId = user;
    ini.password = password;
    return ini;
}

ScratchDatabase::ScratchDatabase(TestEngine engine) : engine_(engine) {
    if (engine == TestEngine::Sqlite) {
        QFile empty(file());
        if (!empty.open(QIODevice::WriteOnly)) {
            throw RuntimeError(err::PathFileAccessError, empty.errorString());
        }
        ini_.type = QStringLiteral("JET");
        ini_.location = QStringLiteral("helpdesk.sqlite3");
    } else {
        server_ = PgTestServer::fromEnvironment();
        pgDatabase_ = QStringLiteral("scratch_%1_%2")
                          .arg(QCoreApplication::applicationPid())
                          .arg(QRandomGenerator::global()->generate());
        runOnServer(server_, QStringLiteral("CREATE DATABASE ") + pgDatabase_);
        ini_ = server_.dbIni(pgDatabase_);
    }
    ini_.save(DbIni::pathIn(folder()));
}

ScratchDatabase::~ScratchDatabase() {
    if (pgDatabase_.isEmpty()) {
        return;
    }
    try {
        runOnServer(server_,
                    QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(pgDatabase_));
    } catch (const RuntimeError& error) {
        qWarning("%s", qPrintable(error.description()));
    }
}

QString ScratchDatabase::file() const {
    return engine_ == TestEngine::Sqlite ? dir_.filePath(QStringLiteral("helpdesk.sqlite3"))
                                         : QString();
}

DateValue storedDate(const QVariant& value) {
    if (value.metaType().id() == QMetaType::QDateTime) {
        return DateValue::fromDateTime(value.toDateTime());
    }
    const QString text = value.toString();
    return DateValue::fromParts(QDate::fromString(text.left(10), Qt::ISODate),
                                QTime::fromString(text.mid(11), QStringLiteral("HH:mm:ss")));
}

}  // namespace hvx::test
