// cAppSettings::Find, the load of every Settings row that each settings refresh starts with, on a
// help-desk database holding 10,000 extra rows beside the default ones: on SQLite (a file
// database) and on PostgreSQL through ODBC. Each run fills a fresh collection; the figure is the
// median of the runs on an open connection. The same with the connection opened before and
// closed after each run, as the refresh does it, is printed beside it.
//
//   bench_settings_find [--pg DIR] [--rows N] [--runs N]
//
// --pg DIR names a server made by scripts/pg-test-server (DIR/connection.env); HVX_PG_DIR
// does the same. Without either, only SQLite is measured and PostgreSQL is reported as not run.
// Exit status 1 when a target is missed or a load gave the wrong rows, 2 when the benchmark
// could not be set up.

#include "BenchStats.h"
#include "ScratchDatabase.h"
#include "channel/AppContext.h"
#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"
#include "platform/RuntimeError.h"
#include "settings/cAppSettings.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <vector>

using namespace hvx;
using namespace hvx::bench;
using hvx::test::ScratchDatabase;
using hvx::test::TestEngine;

namespace {

constexpr double kSqliteTargetMs = 50.0;
constexpr double kPostgresTargetMs = 300.0;
constexpr int kRowsPerInsert = 500;

struct Options {
    int rows = 10'000;
    int runs = 15;
    QString pgDir;
};

double millisecondsOf(const QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

// Adds `rows` settings that are not deleted, with values of varied length, in multi-row inserts.
void addSettings(DatabaseManager& db, const SqlStringFormatter& text,
                 const SqlValueFormatter& values, int rows, const DateValue& now) {
    for (int first = 0; first < rows; first += kRowsPerInsert) {
        QString sql = QStringLiteral(
            "insert into Settings (SettingName, SettingType, "
            "SettingValue, Deleted, LastModified) values ");
        for (int row = first; row < std::min(rows, first + kRowsPerInsert); ++row) {
            if (row > first) {
                sql += QLatin1Char(',');
            }
            const QString value =
                QStringLiteral("value %1 ").arg(row) + QString((row * 7) % 60, QLatin1Char('x'));
            sql += QStringLiteral("(%1, %2, %3, %4, %5)")
                       .arg(text.FormatText(
                                QStringLiteral("BenchSetting%1").arg(row, 5, 10, QLatin1Char('0'))),
                            text.FormatText(row % 3 == 0 ? QStringLiteral("Number")
                                                         : QStringLiteral("Text")),
                            text.FormatText(value), values.FormatBoolean(false),
                            values.FormatDate(now.addSeconds(-row)));
        }
        if (!db.ExecuteCommand(sql, 0)) {
            throw RuntimeError(0, QStringLiteral("filling Settings failed"));
        }
    }
}

struct Result {
    double findMs = 0;
    double refreshMs = 0;
    int count = 0;
    bool rowsRight = true;
};

Result measure(TestEngine engine, const Options& options) {
    ScratchDatabase scratch(engine);
    Environment env;
    AppContext ctx(env);
    auto db = std::make_unique<QtSqlDatabaseManager>();
    db->SetDbIniFolder(scratch.folder());
    if (db->ConnectWith(scratch.ini(), scratch.folder()) == 0) {
        throw RuntimeError(0, QStringLiteral("cannot connect: ") + db->LastErrorText());
    }
    const DateValue now = DateValue::fromDateTime(QDateTime::currentDateTime());
    HelpDeskSchema(*db, now).Create();
    ctx.sqlStringFormatter = std::make_unique<SqlLiteralStringFormatter>();
    ctx.sqlValueFormatter = std::make_unique<SqlLiteralValueFormatter>();
    ctx.sqlStringFormatter->SetDatabaseType(db->DatabaseType());
    ctx.sqlValueFormatter->SetDatabaseType(db->DatabaseType());

    QElapsedTimer timer;
    timer.start();
    addSettings(*db, *ctx.sqlStringFormatter, *ctx.sqlValueFormatter, options.rows, now);
    // One deleted row, which Find must leave out.
    db->ExecuteCommand(QStringLiteral("update Settings set Deleted = ") +
                           ctx.sqlValueFormatter->FormatBoolean(true) +
                           QStringLiteral(" where SettingName = ") +
                           ctx.sqlStringFormatter->FormatText(QStringLiteral("BenchSetting00000")),
                       0);
    if (engine == TestEngine::Postgres) {
        db->ExecuteCommand(QStringLiteral("analyze Settings"), 0);
    }
    std::printf("  filled %d rows in %.0f ms\n", options.rows, millisecondsOf(timer));
    QtSqlDatabaseManager* manager = db.get();
    ctx.databaseManager = std::move(db);

    Result result;
    const int expected =
        options.rows - 1 + static_cast<int>(HelpDeskSchema::DefaultSettings().size());
    const auto oneFind = [&](std::vector<double>& samples, bool reconnect) {
        if (reconnect) {
            manager->OpenConnection(false);
        }
        cAppSettings settings(ctx);
        timer.restart();
        const bool found = settings.Find();
        if (reconnect) {
            manager->CloseConnection(true);
        }
        samples.push_back(millisecondsOf(timer));
        result.count = settings.Count();
        // The last row added (looked up by name in another case) must carry its own value.
        const int last = options.rows - 1;
        const bool right =
            found && settings.Count() == expected &&
            (last < 1 ||
             settings.Item(QStringLiteral("benchsetting%1").arg(last, 5, 10, QLatin1Char('0')))
                 ->SettingValue()
                 .toString()
                 .startsWith(QStringLiteral("value %1 ").arg(last))) &&
            settings.Item(1)->SettingName() == QStringLiteral("AutoCloseMonitorMinutes");
        if (!right) {
            std::printf("  a load gave %d rows (expected %d) or the wrong values\n",
                        settings.Count(), expected);
            result.rowsRight = false;
        }
    };
    std::vector<double> warmUp;
    oneFind(warmUp, false);
    std::vector<double> open;
    std::vector<double> refresh;
    for (int run = 0; run < options.runs; ++run) {
        oneFind(open, false);
    }
    // The time of opening the connection is outside the timer; closing is inside, as the
    // refresh closes right after the load.
    for (int run = 0; run < options.runs; ++run) {
        timer.restart();
        manager->OpenConnection(false);
        const double opening = millisecondsOf(timer);
        oneFind(refresh, true);
        refresh.back() += opening;
    }
    result.findMs = median(open);
    result.refreshMs = median(refresh);
    std::printf(
        "  %d rows per load; on an open connection: median %.2f ms (fastest %.2f, "
        "slowest %.2f)\n",
        result.count, result.findMs, percentile(open, 0.0), maximum(open));
    std::printf("  opening the connection, loading and closing: median %.2f ms\n",
                result.refreshMs);
    return result;
}

std::optional<Options> parse(int argc, char* argv[]) {
    Options options;
    options.pgDir = qEnvironmentVariable("HVX_PG_DIR");
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (std::strcmp(argv[i], "--pg") == 0 && hasValue) {
            options.pgDir = QString::fromLocal8Bit(argv[++i]);
        } else if (std::strcmp(argv[i], "--rows") == 0 && hasValue) {
            options.rows = std::max(1, std::atoi(argv[++i]));
        } else if (std::strcmp(argv[i], "--runs") == 0 && hasValue) {
            options.runs = std::max(1, std::atoi(argv[++i]));
        } else {
            std::fprintf(stderr, "usage: bench_settings_find [--pg DIR] [--rows N] [--runs N]\n");
            return std::nullopt;
        }
    }
    return options;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const std::optional<Options> options = parse(argc, argv);
    if (!options) {
        return 2;
    }
    bool allMet = true;
    try {
        std::printf("SQLite, %d extra Settings rows:\n", options->rows);
        const Result sqlite = measure(TestEngine::Sqlite, *options);
        allMet = verdict("bench_settings_find", "Find on SQLite, median", sqlite.findMs,
                         kSqliteTargetMs, "ms") &&
                 allMet;
        allMet = allMet && sqlite.rowsRight;

        if (options->pgDir.isEmpty()) {
            std::printf("PostgreSQL: not run (no --pg DIR and no HVX_PG_DIR)\n");
            std::printf(
                "summary: bench_settings_find | Find on PostgreSQL (ODBC), median | not "
                "run | <= %.0f ms | not run\n",
                kPostgresTargetMs);
        } else {
            qputenv("HVX_PG_DIR", options->pgDir.toLocal8Bit());
            std::printf("PostgreSQL through ODBC, %d extra Settings rows:\n", options->rows);
            const Result postgres = measure(TestEngine::Postgres, *options);
            allMet = verdict("bench_settings_find", "Find on PostgreSQL (ODBC), median",
                             postgres.findMs, kPostgresTargetMs, "ms") &&
                     allMet;
            allMet = allMet && postgres.rowsRight;
        }
    } catch (const RuntimeError& error) {
        std::fprintf(stderr, "bench_settings_find: %s\n", qPrintable(error.description()));
        return 2;
    }
    return allMet ? 0 : 1;
}
