// View Log File's lookup of the desktop's program for the log, on the window's thread, in a
// fresh process each time (GIO loads its tables once per process):
//   at once   the lookup right after the opener was made, while the warm-up still loads GIO's
//             tables (what a lookup costs without the warm-up)
//   later     the lookup once the warm-up had the time the splash screen gives it (2 s; here
//             0.5 s), which is what the operator's F7 meets
// The machine's own desktop entries and MIME database are used, as the Monitor would.
//
//   bench_file_opener [--runs N]
//
// Exit status 1 when the later lookup misses its target (a frame, 16 ms, at the median).
#include "BenchStats.h"
#include "platform/posix/GioFileOpener.h"

#include <QCoreApplication>
#include <QProcess>
#include <QThread>

#include <cstdio>
#include <vector>

using namespace hvx;
using namespace hvx::bench;

namespace {

double lookUp(bool later) {
    GioFileOpener opener;
    if (later) {
        QThread::msleep(500);
    }
    const auto start = SteadyClock::now();
    opener.associatedProgram(QStringLiteral("/tmp/monitorlog.txt"));
    return microsecondsBetween(start, SteadyClock::now()) / 1000.0;
}

std::vector<double> samples(const QString& kind, int runs) {
    std::vector<double> result;
    for (int run = 0; run < runs; ++run) {
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--one"), kind});
        child.waitForFinished(30000);
        result.push_back(child.readAllStandardOutput().trimmed().toDouble());
    }
    return result;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() == 3 && arguments[1] == QLatin1String("--one")) {
        std::printf("%.3f\n", lookUp(arguments[2] == QLatin1String("later")));
        return 0;
    }
    const int runs =
        arguments.size() == 3 && arguments[1] == QLatin1String("--runs") ? arguments[2].toInt() : 9;
    const std::vector<double> atOnce = samples(QStringLiteral("at-once"), runs);
    const std::vector<double> later = samples(QStringLiteral("later"), runs);
    std::printf("lookup at once: median %.2f ms, max %.2f ms (%d runs)\n", median(atOnce),
                maximum(atOnce), runs);
    std::printf("lookup later: median %.2f ms, max %.2f ms (%d runs)\n", median(later),
                maximum(later), runs);
    return verdict("bench_file_opener", "F7 lookup after the warm-up, median", median(later), 16,
                   "ms")
               ? 0
               : 1;
}
