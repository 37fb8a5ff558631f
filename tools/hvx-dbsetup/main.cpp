// hvx-dbsetup: creates or checks a help-desk database (tables, default settings, the Monitor
// user, the product's English terms) and writes the db.ini that points at it.

#include "ConsoleErrorManager.h"
#include "components/DbIni.h"
#include "components/HelpDeskSchema.h"
#include "components/PasswordConcealment.h"
#include "components/QtSqlDatabaseManager.h"
#include "platform/RuntimeError.h"
#include "platform/posix/SystemClock.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>
#include <optional>

namespace {

using namespace hvx;

constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;
constexpr int kExitIncomplete = 3;

const QString kProgram = QStringLiteral("hvx-dbsetup");
const QString kDefaultLocation = QStringLiteral("helpdesk.sqlite3");

void print(std::FILE* stream, const QString& text) {
    const QByteArray utf8 = (text + QLatin1Char('\n')).toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<std::size_t>(utf8.size()), stream);
}

const char* const kUsage =
    "usage: hvx-dbsetup --db-ini DIR [--type JET [--location FILE] |\n"
    "                                 --type SQLSERVER --connection TEXT] [--demo] [--check]\n"
    "\n"
    "Creates the help-desk tables, default settings, the Monitor user and the English terms\n"
    "in the database, adding only what is missing (existing rows are kept), then writes\n"
    "DIR/db.ini.\n"
    "\n"
    "  --db-ini DIR        the folder of db.ini\n"
    "  --type JET          a database file (SQLite); --location FILE, relative to DIR unless\n"
    "                      absolute (default helpdesk.sqlite3); created when missing\n"
    "  --type SQLSERVER    a database server through ODBC; --connection\n"
    "                      "
    "\"Driver=...;Server=...;Port=...;Database=...;UserId=...;Password=...\"\n"
    "                      (or DSN=...; a value may be put in {braces}, with }} for })\n"
    "                      Without --type the database of an existing DIR/db.ini is used,\n"
    "                      else a file database helpdesk.sqlite3 in DIR.\n"
    "  --demo              add a few unsent messages, some older than a week, to an empty\n"
    "                      Messages table\n"
    "  --check             change nothing: list what the database lacks\n"
    "\n"
    "Exit status: 0 done (or, with --check, nothing missing), 1 the database could not be\n"
    "reached or changed, 2 bad usage, 3 --check found something missing.\n";

struct Request {
    QString iniFolder;
    DbIni ini;
    bool iniGiven = false;  // from the command line, so db.ini is (re)written
    bool demo = false;
    bool check = false;
};

std::optional<Request> parse(const QStringList& arguments, QString& error) {
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    const QCommandLineOption dbIni(QStringLiteral("db-ini"), QString(), QStringLiteral("DIR"));
    const QCommandLineOption type(QStringLiteral("type"), QString(), QStringLiteral("TYPE"));
    const QCommandLineOption location(QStringLiteral("location"), QString(),
                                      QStringLiteral("FILE"));
    const QCommandLineOption connection(QStringLiteral("connection"), QString(),
                                        QStringLiteral("TEXT"));
    const QCommandLineOption demo(QStringLiteral("demo"));
    const QCommandLineOption check(QStringLiteral("check"));
    parser.addOptions({dbIni, type, location, connection, demo, check});
    if (!parser.parse(arguments)) {
        error = parser.errorText();
        return std::nullopt;
    }
    if (!parser.positionalArguments().isEmpty()) {
        error = QStringLiteral("unexpected argument: ") + parser.positionalArguments().first();
        return std::nullopt;
    }
    if (!parser.isSet(dbIni) || parser.value(dbIni).isEmpty()) {
        error = QStringLiteral("--db-ini DIR is required");
        return std::nullopt;
    }
    Request request;
    request.iniFolder = QDir(parser.value(dbIni)).absolutePath();
    request.demo = parser.isSet(demo);
    request.check = parser.isSet(check);
    if (!parser.isSet(type)) {
        if (parser.isSet(location) || parser.isSet(connection)) {
            error = QStringLiteral("--location and --connection need --type");
            return std::nullopt;
        }
        return request;
    }
    request.iniGiven = true;
    request.ini.type = parser.value(type);
    if (request.ini.isJet()) {
        if (parser.isSet(connection)) {
            error = QStringLiteral("--connection belongs to --type SQLSERVER");
            return std::nullopt;
        }
        request.ini.location = parser.isSet(location) ? parser.value(location) : kDefaultLocation;
    } else if (request.ini.isServer()) {
        if (parser.isSet(location) || !parser.isSet(connection)) {
            error = QStringLiteral("--type SQLSERVER needs --connection and no --location");
            return std::nullopt;
        }
        try {
            request.ini = DbIni::fromConnectionString(parser.value(connection));
        } catch (const RuntimeError& bad) {
            error = bad.description();
            return std::nullopt;
        }
    } else {
        error = QStringLiteral("--type must be JET or SQLSERVER, not ") + request.ini.type;
        return std::nullopt;
    }
    request.ini.type = request.ini.canonicalType();
    return request;
}

// The db.ini keeps a file inside its own folder as a relative name, so the folder can move.
DbIni portable(DbIni ini, const QString& iniFolder) {
    if (ini.isJet()) {
        const QString file = ini.databaseFile(iniFolder);
        const QString relative = QDir(iniFolder).relativeFilePath(file);
        ini.location = relative.startsWith(QLatin1String("../")) ? file : relative;
    }
    return ini;
}

int run(const QStringList& arguments) {
    if (arguments.contains(QStringLiteral("--help")) || arguments.contains(QStringLiteral("-h"))) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    QString error;
    std::optional<Request> request = parse(arguments, error);
    if (!request) {
        print(stderr, kProgram + QStringLiteral(": ") + error);
        std::fputs(kUsage, stderr);
        return kExitUsage;
    }
    ConsoleErrorManager errors(kProgram);
    const QString iniPath = DbIni::pathIn(request->iniFolder);
    if (!request->iniGiven) {
        if (QFileInfo::exists(iniPath)) {
            try {
                request->ini = DbIni::load(iniPath);
            } catch (const RuntimeError& failure) {
                print(stderr, kProgram + QStringLiteral(": ") + failure.description());
                return kExitFailure;
            }
        } else {
            request->iniGiven = true;
            request->ini.type = QStringLiteral("JET");
            request->ini.location = kDefaultLocation;
        }
    }
    DbIni& ini = request->ini;
    // Make sure db.ini can be written before the database is touched.
    if (!request->check && request->iniGiven && !QDir().mkpath(request->iniFolder)) {
        print(stderr,
              kProgram + QStringLiteral(": cannot create the folder ") + request->iniFolder);
        return kExitFailure;
    }

    if (ini.isJet() && !request->check) {
        const QString file = ini.databaseFile(request->iniFolder);
        if (file.isEmpty()) {
            print(stderr, kProgram + QStringLiteral(": db.ini names no database file"));
            return kExitFailure;
        }
        if (!QFileInfo::exists(file)) {
            // SQLite takes an empty file for an empty database.
            QFile created(file);
            if (!QDir().mkpath(QFileInfo(file).absolutePath()) ||
                !created.open(QIODevice::WriteOnly)) {
                print(
                    stderr,
                    kProgram +
                        QStringLiteral(": cannot create %1: %2").arg(file, created.errorString()));
                return kExitFailure;
            }
            print(stdout, QStringLiteral("Created the database file ") + file);
        }
    }

    QtSqlDatabaseManager database;
    database.SetErrorManager(&errors);
    const long connected = database.ConnectWith(ini, request->iniFolder);
    if (connected == 0) {
        print(stderr, kProgram + QStringLiteral(": cannot connect to the database"));
        return kExitFailure;
    }
    print(stdout, QStringLiteral("Database: %1 %2")
                      .arg(database.DatabaseType(), database.DatabaseLocation()));

    const SystemClock clock;
    HelpDeskSchema schema(database, clock.now());
    try {
        const QStringList missing = schema.Missing();
        const bool existing = connected == 2;
        if (request->check || existing) {
            print(stdout, missing.isEmpty()
                              ? QStringLiteral("Nothing is missing.")
                              : QStringLiteral("Missing: ") + missing.join(QStringLiteral(", ")));
        }
        if (request->check) {
            return missing.isEmpty() ? 0 : kExitIncomplete;
        }
        const QStringList added = schema.Create();
        if (!added.isEmpty()) {
            print(stdout, QStringLiteral("Added: ") + added.join(QStringLiteral(", ")));
        }
        if (request->demo) {
            const int messages = schema.AddDemoMessages();
            print(stdout,
                  messages > 0
                      ? QStringLiteral("Added %1 demo messages.").arg(messages)
                      : QStringLiteral("The Messages table is not empty: no demo messages added."));
        }
    } catch (const RuntimeError& failure) {
        print(stderr, kProgram + QStringLiteral(": ") +
                          concealPassword(failure.description(), ini.password));
        return kExitFailure;
    }
    database.CloseConnection(true);

    if (request->iniGiven) {
        try {
            portable(ini, request->iniFolder).save(iniPath);
        } catch (const RuntimeError& failure) {
            print(stderr, kProgram + QStringLiteral(": ") + failure.description());
            return kExitFailure;
        }
        print(stdout, QStringLiteral("Wrote ") + iniPath);
    }
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    return run(arguments);
}
