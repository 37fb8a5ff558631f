// How long the count of old unsent messages takes on a file database of a realistic size,
// with the schema (and index) that hvx-dbsetup makes. Target: at most 50 ms.
//
//   bench_database [ROWS]     (default 1,000,000 Messages rows, one in ten unsent)
//
// Exit status 1 when the median count misses the target.

#include "components/HelpDeskSchema.h"
#include "components/QtSqlDatabaseManager.h"
#include "components/SqlLiteralFormatters.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using namespace hvx;

constexpr double kTargetMs = 50.0;
constexpr int kRuns = 25;

double medianMs(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

double millisecondsOf(QElapsedTimer& timer) {
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const long rows = argc > 1 ? std::max(1L, std::atol(argv[1])) : 1000000L;

    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("bench.sqlite3"));
    QFile(file).open(QIODevice::WriteOnly);
    DbIni ini;
    ini.type = QStringLiteral("JET");
    ini.location = file;

    QtSqlDatabaseManager db;
    if (db.ConnectWith(ini, dir.path()) == 0) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(file),
                     qPrintable(db.LastErrorText()));
        return 2;
    }
    // The stamps span two years up to "now", 2026-01-01; one row in ten is unsent.
    const DateValue now = DateValue::fromParts(QDate(2026, 1, 1), QTime(12, 0));
    HelpDeskSchema(db, now).Create();
    QElapsedTimer timer;
    timer.start();
    const bool filled = db.ExecuteCommand(
        QStringLiteral(
            "with recursive n(i) as (select 1 union all select i + 1 from n where i < %1) "
            "insert into Messages (Recipient, Subject, Body, Sent, LastModified) "
            "select 'someone@example.com', 'Request ' || i, 'Body of message ' || i, "
            "case when i % 10 = 0 then null else stamp end, stamp "
            "from (select i, strftime('%Y-%m-%d %H:%M:%S', '2024-01-01 12:00:00', "
            "'+' || ((i * 7919) % 63072000) || ' seconds') as stamp from n)")
            .arg(rows),
        0);
    if (!filled) {
        std::fprintf(stderr, "filling failed: %s\n", qPrintable(db.LastErrorText()));
        return 2;
    }
    std::printf("filled %ld Messages rows in %.0f ms\n", rows, millisecondsOf(timer));

    SqlLiteralValueFormatter values;
    values.SetDatabaseType(db.DatabaseType());
    // The Monitor's query, pieces and blanks as it joins them.
    const QString count =
        QStringLiteral("select count(*) from Messages ") + QStringLiteral(" where Sent is null ") +
        QStringLiteral(" and LastModified < ") + values.FormatDate(now.addSeconds(-7LL * 86400));

    auto plan = db.OpenRecordset(QStringLiteral("explain query plan ") + count);
    std::printf("plan: %s\n",
                plan ? qPrintable(plan->Field(QStringLiteral("detail")).toString()) : "?");
    plan.reset();

    const auto measure = [&](bool reconnect, long long& found) {
        std::vector<double> samples;
        for (int run = 0; run < kRuns; ++run) {
            if (reconnect) {
                db.CloseConnection(true);
            }
            timer.restart();
            auto result = db.OpenRecordset(count);
            found = result && !result->AtEnd() ? result->Field(0).toLongLong() : -1;
            result.reset();
            samples.push_back(millisecondsOf(timer));
        }
        return medianMs(samples);
    };
    long long found = 0;
    const double open = measure(false, found);
    std::printf("count of old unsent messages (%lld): median %.2f ms on an open connection\n",
                found, open);
    const double fresh = measure(true, found);
    std::printf("the same with a new connection each time: median %.2f ms\n", fresh);

    db.ExecuteCommand(QStringLiteral("drop index ") + HelpDeskSchema::UnsentIndexName(), 0);
    const double unindexed = measure(false, found);
    std::printf("without the index: median %.2f ms\n", unindexed);

    const bool met = std::max(open, fresh) <= kTargetMs;
    std::printf("target %.0f ms: %s\n", kTargetMs, met ? "met" : "MISSED");
    return met ? 0 : 1;
}
