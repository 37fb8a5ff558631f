// The store procedures as the timer loop uses them (a new store component per call, one shared
// connection), on a store holding 10,000 values. Prints the median of each and whether it
// meets its target; exits with 1 when one does not.
//   bench_registry [FOLDER]   the store file goes into FOLDER (default: a temporary folder)

#include "channel/AppContext.h"
#include "channel/RegFunctions.h"
#include "components/BuiltInStringTable.h"
#include "components/SqliteRegistryStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

using namespace hvx;

namespace {

constexpr int kSections = 100;
constexpr int kValuesPerSection = 100;  // 10,000 values in all

QString sectionOf(int index) {
    return QStringLiteral("Section%1").arg(index % kSections);
}

QString nameOf(int index) {
    return QStringLiteral("Value%1").arg(index / kSections);
}

template <typename Call>
double medianMicroseconds(int runs, const Call& call) {
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(runs));
    for (int run = 0; run < runs; ++run) {
        const int index =
            static_cast<int>(QRandomGenerator::global()->bounded(kSections * kValuesPerSection));
        const auto start = std::chrono::steady_clock::now();
        call(index);
        const auto end = std::chrono::steady_clock::now();
        times.push_back(std::chrono::duration<double, std::micro>(end - start).count());
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

bool report(const char* what, double median, double target) {
    const bool met = median <= target;
    std::printf("%-14s median %8.2f us   target <= %6.1f us   %s\n", what, median, target,
                met ? "met" : "MISSED");
    return met;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    const QString folder = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporary.path();
    const QString path = QDir(folder).filePath(QStringLiteral("bench-registry.sqlite3"));
    QFile::remove(path);

    Environment env;
    env.registryStore = SqliteRegistryStore::factory(path);
    AppContext ctx(env);
    ctx.registryBasePath = BuiltInStringTable().LoadString(StringTable::kRegistryBasePath);

    for (int index = 0; index < kSections * kValuesPerSection; ++index) {
        SaveRegValue(ctx, sectionOf(index), nameOf(index), QStringLiteral("value %1").arg(index));
    }
    std::vector<RegistryStore::Entry> entries;
    env.registryStore()->ListValues(RegistryStore::kCurrentUser, ctx.registryBasePath, entries);
    std::printf("store %s holds %zu values\n", qPrintable(path), entries.size());

    const QString missing = QStringLiteral("missing");
    int misses = 0;
    const double get = medianMicroseconds(50'000, [&](int index) {
        misses += GetRegValue(ctx, sectionOf(index), nameOf(index), missing) == missing;
    });
    const double save = medianMicroseconds(10'000, [&](int index) {
        SaveRegValue(ctx, sectionOf(index), nameOf(index), QStringLiteral("changed"));
    });
    if (misses > 0) {
        std::printf("%d reads found no value\n", misses);
        return 1;
    }
    const bool getMet = report("GetRegValue", get, 20.0);
    const bool saveMet = report("SaveRegValue", save, 200.0);
    QFile::remove(path);
    return getMet && saveMet ? 0 : 1;
}
