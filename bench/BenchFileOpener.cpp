// View Log File's first lookup of the desktop's program for the log, in a fresh process each
// time (GIO loads its tables once per process, at the first lookup): how long the lookup takes,
// and the longest time the calling thread (the window's) went without running its events
// meanwhile, seen by a timer that asks every millisecond. The lookup runs beside the events,
// so the window must never stall longer than a frame (16 ms).
// The machine's own desktop entries and MIME database are used, as the Monitor would.
//
//   bench_file_opener [--runs N]
//
// Exit status 1 when the longest stall misses its target at the median.
#include "BenchStats.h"
#include "platform/posix/GioFileOpener.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace hvx;
using namespace hvx::bench;

namespace {

// Prints the lookup's time and the longest stall, in ms.
void lookUpOnce() {
    GioFileOpener opener;
    auto last = SteadyClock::now();
    double longestStall = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const auto now = SteadyClock::now();
        longestStall = std::max(longestStall, microsecondsBetween(last, now) / 1000.0);
        last = now;
    });
    ticker.start(1);
    const auto start = SteadyClock::now();
    last = start;
    opener.associatedProgram(QStringLiteral("/tmp/monitorlog.txt"));
    const auto end = SteadyClock::now();
    longestStall = std::max(longestStall, microsecondsBetween(last, end) / 1000.0);
    std::printf("%.3f %.3f\n", microsecondsBetween(start, end) / 1000.0, longestStall);
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 2 && arguments[1] == QLatin1String("--one")) {
        lookUpOnce();
        return 0;
    }
    const int runs =
        arguments.size() == 3 && arguments[1] == QLatin1String("--runs") ? arguments[2].toInt() : 9;
    std::vector<double> lookups;
    std::vector<double> stalls;
    for (int run = 0; run < runs; ++run) {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--one")});
        child.waitForFinished(30000);
        const QList<QByteArray> figures = child.readAllStandardOutput().trimmed().split(' ');
        if (figures.size() == 2) {
            lookups.push_back(figures[0].toDouble());
            stalls.push_back(figures[1].toDouble());
        }
    }
    if (stalls.empty()) {
        std::printf("no run answered\n");
        return 1;
    }
    std::printf("first lookup: median %.2f ms, max %.2f ms (%zu runs)\n", median(lookups),
                maximum(lookups), lookups.size());
    std::printf("longest stall of the calling thread during it: median %.2f ms, max %.2f ms\n",
                median(stalls), maximum(stalls));
    return verdict("bench_file_opener", "first F7 lookup, longest stall of the window, median",
                   median(stalls), 16, "ms")
               ? 0
               : 1;
}
