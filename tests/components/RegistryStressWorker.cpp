// One process of the multi-process store test; each call creates its own store, as the
// Monitor's store procedures do.
//   write PATH WRITER COUNT    writes WRITER-0 .. WRITER-(COUNT-1) in order, each value also
//                              into "Last", which every writer overwrites
//   read PATH WRITER... COUNT  reads at random until each writer's last value is there, then
//                              prints "reads found"
// Exit status: 0 done, 2 usage, 3 a store call failed, 4 a value was not whole, 5 time-out.

#include "RegistryStressValues.h"
#include "components/SqliteRegistryStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QStringList>

#include <cstdio>

using hvx::RegistryStore;
namespace stress = hvx::test::stress;

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 5) {
        return 2;
    }
    const auto newStore = hvx::SqliteRegistryStore::factory(args[2]);
    const QStringList writers = args.mid(3, args.size() - 4);
    const int count = args.last().toInt();
    const QString key = stress::keyPath();
    const QString last = QStringLiteral("Last");

    if (args[1] == QLatin1String("write")) {
        for (int i = 0; i < count; ++i) {
            const QString name = stress::valueName(writers[0], i);
            for (const QString& target : {name, last}) {
                if (newStore()->SetValue(RegistryStore::kCurrentUser, key, target,
                                         stress::valueFor(name), 1, true) != 0) {
                    std::fprintf(stderr, "writing %s failed\n", qPrintable(name));
                    return 3;
                }
            }
        }
        return 0;
    }

    long reads = 0;
    long found = 0;
    // 2 when the value is missing, 4 when it is not whole, 3 when the store failed.
    auto check = [&](const QString& name) {
        QVariant value;
        int type = 0;
        ++reads;
        const int status =
            newStore()->QueryValue(RegistryStore::kCurrentUser, key, name, value, type);
        if (status != 0) {
            return status == RegistryStore::kStatusNotFound ? 2 : 3;
        }
        const bool whole = name == last ? stress::wellFormed(value.toString())
                                        : value.toString() == stress::valueFor(name);
        if (!whole) {
            std::fprintf(stderr, "%s read as %s\n", qPrintable(name), qPrintable(value.toString()));
        }
        return whole ? 0 : 4;
    };
    QElapsedTimer clock;
    clock.start();
    auto* random = QRandomGenerator::global();
    while (clock.elapsed() < 200'000) {
        int missing = 0;
        for (const QString& writer : writers) {
            const int status = check(stress::valueName(writer, count - 1));
            if (status > 2) {
                return status;
            }
            missing += status == 2;
        }
        if (missing == 0) {
            std::printf("%ld %ld\n", reads, found);
            return 0;
        }
        for (int k = 0; k < 100; ++k) {
            const QString& writer = writers[random->bounded(int(writers.size()))];
            for (const QString& name : {stress::valueName(writer, random->bounded(count)), last}) {
                const int status = check(name);
                if (status > 2) {
                    return status;
                }
                found += status == 0 && name != last;
            }
        }
    }
    return 5;
}
