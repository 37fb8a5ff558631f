#include "ScratchDatabase.h"

#include "platform/RuntimeError.h"

#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

namespace hvx::test {

namespace {

// Runs one statement on the server's own database with a short-lived connection.
void runOnServer(const PgTestServer& server, const QString& sql) {
    const QString name = QStringLiteral("scratch-admin");
    QString failure;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QODBC"), name);
        db.setDatabaseName(server.dbIni(server.database).odbcConnectionString());
        QSqlQuery query(db);
        if (!db.open()) {
            failure =
                QStringLiteral("Cannot reach the PostgreSQL test server: ") + db.lastError().text();
        } else if (!query.exec(sql)) {
            failure = sql + QStringLiteral(": ") + query.lastError().text();
        }
    }
    QSqlDatabase::removeDatabase(name);
    if (!failure.isEmpty()) {
        throw RuntimeError(0, failure);
    }
}

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
    // Lines of the form PGTEST_NAME='value'.
    static const QRegularExpression line(QStringLiteral("^PGTEST_(\\w+)='(.*)'$"),
                                         QRegularExpression::MultilineOption);
    QHash<QString, QString> values;
    for (const QRegularExpressionMatch& match :
         line.globalMatch(QString::fromUtf8(file.readAll()))) {
        values.insert(match.captured(1), match.captured(2));
    }
    return {values[QStringLiteral("HOST")], values[QStringLiteral("PORT")],
            values[QStringLiteral("USER")], values[QStringLiteral("PASSWORD")],
            values[QStringLiteral("DATABASE")]};
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
