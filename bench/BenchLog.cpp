// The error manager appending one line to a log that sits at its limit (1 MB), through Report as
// the Monitor calls it: every append opens, writes and closes the file, and once the file outgrows
// the limit the append also trims it. The figure that counts is amortized: the time of a batch of
// appends (trims included) divided by its size, median over the batches; a batch spans about
// two trims. The single appends'
// median and tail are printed beside it.
//
//   bench_log [FOLDER]     the log goes into a new temporary folder inside FOLDER (default: the
//                          system's temporary folder)
//
// Exit status 1 when the target is missed or the log is found damaged.

#include "BenchStats.h"
#include "components/FileErrorManager.h"
#include "platform/posix/SystemClock.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <vector>

using namespace hvx;
using namespace hvx::bench;

namespace {

constexpr double kTargetMicroseconds = 50.0;
constexpr double kLimitMegabytes = 1.0;
constexpr qint64 kLimitBytes = static_cast<qint64>(kLimitMegabytes * 1024 * 1024);
constexpr int kWarmUp = 2'000;
constexpr int kBatches = 40;
constexpr int kBatchSize = 5'000;

// A line of the length the Monitor's traces and error reports have (about 110 bytes stamped).
QString lineText(int index) {
    return QStringLiteral(
               "Timer1_Timer: P=0;AR=1; state 1, processing 0, status idle, "
               "a trace of the tick's decisions, tick %1")
        .arg(index);
}

void appendOne(FileErrorManager& manager, int index) {
    manager.SetErrorText(lineText(index));
    bool trace = true;
    manager.Report(trace);
}

// The log must stay within the limit and end with the last line, whole.
bool logIsSound(const QString& path, int lastIndex) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        std::printf("the log cannot be read\n");
        return false;
    }
    const QByteArray content = file.readAll();
    if (content.size() > kLimitBytes) {
        std::printf("the log holds %lld bytes, beyond its limit of %lld\n",
                    static_cast<long long>(content.size()), static_cast<long long>(kLimitBytes));
        return false;
    }
    const QByteArray expectedEnd = "  TRACE  " + lineText(lastIndex).toUtf8() + '\n';
    if (!content.endsWith(expectedEnd)) {
        std::printf("the log does not end with the last line appended\n");
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QString parent = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    QDir().mkpath(parent);
    QTemporaryDir dir(QDir(parent).filePath(QStringLiteral("bench-log-XXXXXX")));
    if (!dir.isValid()) {
        std::fprintf(stderr, "cannot make a folder in %s\n", qPrintable(parent));
        return 2;
    }
    const QString path = dir.filePath(QStringLiteral("monitorlog.txt"));

    SystemClock clock;
    FileErrorManager manager(clock, nullptr);
    manager.SetLogFile(path);
    manager.SetLogFileLimit(kLimitMegabytes);
    manager.SetEnabled(true);
    manager.SetStartupComplete(true);

    // Fill the log up to its limit with whole lines, then run into the first trim.
    int index = 0;
    while (QFileInfo(path).size() < kLimitBytes - 200) {
        appendOne(manager, index++);
    }
    for (int i = 0; i < kWarmUp; ++i) {
        appendOne(manager, index++);
    }
    std::printf("log %s at %lld bytes, limit %lld bytes; lines of about %lld bytes\n",
                qPrintable(path), static_cast<long long>(QFileInfo(path).size()),
                static_cast<long long>(kLimitBytes),
                static_cast<long long>(lineText(index).size() + 30));

    std::vector<double> singles;
    std::vector<double> batchMeans;
    singles.reserve(static_cast<std::size_t>(kBatches) * static_cast<std::size_t>(kBatchSize));
    long trims = 0;
    qint64 previousSize = QFileInfo(path).size();
    for (int batch = 0; batch < kBatches; ++batch) {
        double batchTotal = 0.0;
        for (int i = 0; i < kBatchSize; ++i) {
            const auto start = SteadyClock::now();
            appendOne(manager, index++);
            const double took = microsecondsBetween(start, SteadyClock::now());
            singles.push_back(took);
            batchTotal += took;
            // Outside the timed part: a file smaller than before was trimmed by this append.
            const qint64 size = QFileInfo(path).size();
            trims += size < previousSize ? 1 : 0;
            previousSize = size;
        }
        batchMeans.push_back(batchTotal / kBatchSize);
    }

    std::printf("%d appends in %d batches of %d, %ld of them trimmed the log\n",
                kBatches * kBatchSize, kBatches, kBatchSize, trims);
    std::printf("single append: median %.2f us, 99th percentile %.2f us, longest %.2f us\n",
                median(singles), percentile(singles, 0.99), maximum(singles));
    std::printf("amortized over all %d appends (trims included): mean %.2f us\n",
                kBatches * kBatchSize, mean(singles));
    std::printf("amortized per batch of %d: median %.2f us, slowest batch %.2f us\n", kBatchSize,
                median(batchMeans), maximum(batchMeans));

    const bool sound = logIsSound(path, index - 1);
    const bool met = verdict("bench_log", "append at the 1 MB limit, median of batch means",
                             median(batchMeans), kTargetMicroseconds, "us");
    if (!sound) {
        std::printf("the log was damaged: the figures do not count\n");
    }
    return met && sound ? 0 : 1;
}
