#include "RegistryStressValues.h"
#include "channel/RegFunctions.h"
#include "components/SqliteRegistryStore.h"
#include "fakes/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <sys/stat.h>

using namespace hvx;
namespace stress = hvx::test::stress;

namespace {

constexpr auto kUser = RegistryStore::kCurrentUser;
const QString kBase = QStringLiteral("Software\\Halvex\\Help Desk\\Monitor");

QString under(const QString& section) {
    return kBase + QLatin1Char('\\') + section;
}

int modeOf(const QString& path) {
    struct stat info {};
    return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? int(info.st_mode & 07777) : -1;
}

std::vector<RegistryStore::Entry> listed(const Factory<RegistryStore>& factory,
                                         const QString& keyPath, int* status = nullptr) {
    std::vector<RegistryStore::Entry> entries;
    const int result = factory()->ListValues(kUser, keyPath, entries);
    if (status != nullptr) {
        *status = result;
    }
    return entries;
}

// The names of the stress values in a fresh connection's listing; empty when the listing
// fails or any value is not whole.
QSet<QString> wholeStressValues(const QString& path) {
    int status = -1;
    QSet<QString> names;
    for (const auto& entry :
         listed(SqliteRegistryStore::factory(path), stress::keyPath(), &status)) {
        if (entry.name == "Last" ? !stress::wellFormed(entry.value)
                                 : entry.value != stress::valueFor(entry.name)) {
            return {};
        }
        names.insert(entry.name);
    }
    return status == RegistryStore::kStatusOk ? names : QSet<QString>{};
}

QProcess* startWorker(QObject* parent, const QStringList& arguments) {
    auto* process = new QProcess(parent);
    process->start(QStringLiteral(HVX_STRESS_WORKER), arguments);
    return process;
}

}  // namespace

class TestSqliteRegistryStore : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void namesIgnoreAsciiCaseOnly_data() {
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("same");
        QTest::newRow("ASCII case") << "controls:NORTH\\STATE" << true;
        QTest::newRow("other instance") << "Controls:South\\State" << false;
        QTest::newRow("non-ASCII letters keep case") << "Controls:North\\Ätate" << false;
    }
    void namesIgnoreAsciiCaseOnly() {
        QFETCH(QString, other);
        QFETCH(bool, same);
        test::TestEnvironment t;
        SaveRegValue(*t.ctx, "Controls:North", "ätate", "1");
        SaveRegValue(*t.ctx, "Controls:North", "State", "1");
        SaveRegValue(*t.ctx, other.section('\\', 0, 0), other.section('\\', 1), "2");
        QCOMPARE(GetRegValue(*t.ctx, "Controls:North", "State", {}), same ? "2" : "1");
        // Like the registry, a value keeps the spelling it was first written with.
        const auto entries = listed(t.env.registryStore, kBase);
        QCOMPARE(entries.size(), same ? 2u : 3u);
        QCOMPARE(entries[0].keyPath, under("Controls:North"));
        QCOMPARE(entries[0].name, QStringLiteral("State"));
    }

    void dropKeyTakesTheKeyAndItsSubKeysOnly_data() {
        QTest::addColumn<QString>("drop");
        QTest::addColumn<QStringList>("gone");
        QTest::newRow("key and sub-keys")
            << "Controls" << QStringList{"Controls", "controls\\Sub", "CONTROLS\\Sub\\Deep"};
        QTest::newRow("sub-key, other case")
            << "CONTROLS\\SUB" << QStringList{"controls\\Sub", "CONTROLS\\Sub\\Deep"};
        QTest::newRow("underscore is no wildcard") << "Con_rols" << QStringList{"Con_rols"};
        QTest::newRow("percent is no wildcard") << "Con%" << QStringList{"Con%"};
        QTest::newRow("missing key") << "Nothing" << QStringList{};
    }
    void dropKeyTakesTheKeyAndItsSubKeysOnly() {
        QFETCH(QString, drop);
        QFETCH(QStringList, gone);
        test::TestEnvironment t;
        // "[" sorts right before "\" and "]" right after it: the edges of the sub-keys' range.
        const QStringList keys{"Con%",      "Con_rols",  "Controls",      "Controls:North",
                               "Controls[", "Controls]", "controls\\Sub", "CONTROLS\\Sub\\Deep"};
        for (const QString& key : keys) {
            SaveRegValue(*t.ctx, key, "V", "1");
        }
        QCOMPARE(t.env.registryStore()->DropKey(kUser, under(drop)),
                 gone.isEmpty() ? RegistryStore::kStatusNotFound : RegistryStore::kStatusOk);
        QStringList left;
        for (const auto& entry : listed(t.env.registryStore, kBase)) {
            left << entry.keyPath.mid(kBase.size() + 1);
        }
        QStringList expected = keys;
        for (const QString& key : gone) {
            expected.removeOne(key);
        }
        left.sort();
        expected.sort();
        QCOMPARE(left, expected);
    }

    void textRoundTrips_data() {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QStringLiteral("");
        QTest::newRow("null string") << QString();
        QTest::newRow("NUL inside") << QString::fromUtf16(u"a\0b", 3);
        QTest::newRow("non-ASCII") << QStringLiteral("Grüße, 日本語, 😀");
        QTest::newRow("digits keep their zeros") << QStringLiteral("0042");
        QTest::newRow("blanks, tab, newline, quotes") << QStringLiteral(" a\t'b'\n\"c\"\\ ");
        QTest::newRow("long") << QString(100'000, QLatin1Char('x'));
    }
    void textRoundTrips() {
        QFETCH(QString, text);
        test::TestEnvironment t;
        QCOMPARE(GetRegValue(*t.ctx, "Controls", "Status", "<none>"), "<none>");
        SaveRegValue(*t.ctx, "Controls", "Status", text);
        const QString read = GetRegValue(*t.ctx, "Controls", "Status", "<none>");
        QCOMPARE(read.size(), text.size());
        QCOMPARE(read, text);
    }

    void numbersReadAsDecimalText_data() {
        QTest::addColumn<QVariant>("written");
        QTest::addColumn<QString>("text");  // empty: refused
        QTest::newRow("positive") << QVariant(999) << "999";
        QTest::newRow("32-bit minimum") << QVariant(-2147483647 - 1) << "-2147483648";
        QTest::newRow("numeric text") << QVariant("2147483647") << "2147483647";
        QTest::newRow("beyond 32 bits") << QVariant(qlonglong(1) << 32) << "";
        QTest::newRow("not a number") << QVariant("12abc") << "";
    }
    void numbersReadAsDecimalText() {
        QFETCH(QVariant, written);
        QFETCH(QString, text);
        test::TestEnvironment t;
        const QString key = under("Controls");
        QCOMPARE(t.env.registryStore()->SetValue(kUser, key, "State", written, 4, true),
                 text.isEmpty() ? RegistryStore::kStatusFailure : RegistryStore::kStatusOk);
        QVariant value;
        int type = 0;
        QCOMPARE(t.env.registryStore()->QueryValue(kUser, key, "State", value, type),
                 text.isEmpty() ? RegistryStore::kStatusNotFound : RegistryStore::kStatusOk);
        if (!text.isEmpty()) {
            QCOMPARE(type, RegistryStore::kTypeNumber);
            QCOMPARE(value.typeId(), int(QMetaType::Int));
            QCOMPARE(GetRegValue(*t.ctx, "Controls", "State", {}), text);
            QCOMPARE(listed(t.env.registryStore, key).at(0).value, text);
        }
    }

    // Each damage ends in an error naming the store, or in a fresh store with the damaged
    // file kept byte for byte beside it.
    void aStoreThatCannotBeUsedIsNamed_data() {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<bool>("putAside");
        QTest::addColumn<QString>("reason");
        QTest::newRow("random bytes") << "random" << true << "file is not a database";
        QTest::newRow("truncated") << "truncated" << true << "malformed";
        QTest::newRow("a folder in its place") << "folder" << false << "Is a directory";
        QTest::newRow("random bytes while open") << "random-while-open" << true << "not a database";
        QTest::newRow("truncated while open") << "empty-while-open" << true << "not a database";
    }
    void aStoreThatCannotBeUsedIsNamed() {
        QFETCH(QString, damage);
        QFETCH(bool, putAside);
        QFETCH(QString, reason);
        test::TestEnvironment t;
        const QString path = t.folder.filePath("registry.sqlite3");
        const auto fill = [&] {
            const auto factory = SqliteRegistryStore::factory(path);
            for (int i = 0; i < 200; ++i) {
                factory()->SetValue(kUser, kBase, QString::number(i), QString(100, 'v'), 1, true);
            }
        };
        const auto overwrite = [&](const QByteArray& bytes) {
            QFile file(path);  // in place: the same file, as a stray write would do it
            QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Truncate));
            QCOMPARE(file.write(bytes), bytes.size());
        };
        QByteArray random(8192, '\0');
        for (char& byte : random) {
            byte = static_cast<char>(QRandomGenerator::global()->bounded(256));
        }
        const auto factory = SqliteRegistryStore::factory(path);
        if (damage == "random") {
            overwrite(random);
        } else if (damage == "truncated") {
            fill();
            QFile file(path);
            QVERIFY(file.resize(file.size() / 2));
        } else if (damage == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else {
            QCOMPARE(factory()->SetValue(kUser, kBase, "Before", "1", 1, true), 0);
            overwrite(damage == "random-while-open" ? random : QByteArray());
        }
        QFile damaged(path);
        const QByteArray before = damaged.open(QIODevice::ReadOnly) ? damaged.readAll() : "";
        damaged.close();

        try {
            factory();
            QFAIL("the store was made");
        } catch (const RuntimeError& error) {
            QCOMPARE(error.number(), err::CannotCreateComponent);
            QVERIFY2(error.description().contains(path), qPrintable(error.description()));
            QVERIFY2(error.description().contains(reason), qPrintable(error.description()));
        }
        const QStringList aside =
            QDir(t.folder.path()).entryList({"registry.sqlite3.damaged-*"}, QDir::Files);
        if (!putAside) {
            QVERIFY(aside.isEmpty());
            QVERIFY_THROWS_EXCEPTION(RuntimeError, factory());
            return;
        }
        // Kept, never deleted: the file and, beside it, the journal that went with it.
        const QStringList kept = aside.filter(QRegularExpression("damaged-[0-9-]+$"));
        QCOMPARE(kept.size(), 1);
        QFile keptFile(t.folder.filePath(kept[0]));
        QVERIFY(keptFile.open(QIODevice::ReadOnly));
        QCOMPARE(keptFile.readAll(), before);
        // Said once; then the fresh store works, for this connection and for a new one.
        QCOMPARE(factory()->SetValue(kUser, kBase, "After", "2", 1, true), 0);
        QCOMPARE(listed(SqliteRegistryStore::factory(path), kBase).size(), 1u);
    }

    // Two processes on one store: whichever finds the damage puts the file aside; the other
    // is told too, and both go on with the same fresh store, so a command still gets through.
    void bothUsersOfADamagedStoreGoOnWithTheFreshOne() {
        test::TestEnvironment t;
        const QString path = t.folder.filePath("registry.sqlite3");
        const auto monitor = SqliteRegistryStore::factory(path);
        const auto core = SqliteRegistryStore::factory(path);
        QCOMPARE(monitor()->SetValue(kUser, kBase, "State", "1", 1, true), 0);
        QVariant value;
        int type = 0;
        QCOMPARE(core()->QueryValue(kUser, kBase, "State", value, type), 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QByteArray(4096, 'x'));
        file.close();

        QVERIFY_THROWS_EXCEPTION(RuntimeError, core());
        try {
            monitor();
            QFAIL("the monitor was not told");
        } catch (const RuntimeError& error) {
            QVERIFY2(error.description().contains("damaged") && error.description().contains(path),
                     qPrintable(error.description()));
        }
        QCOMPARE(monitor()->SetValue(kUser, kBase, "Command", "5", 1, true), 0);
        QCOMPARE(core()->QueryValue(kUser, kBase, "Command", value, type), 0);
        QCOMPARE(value.toString(), QStringLiteral("5"));
        QCOMPARE(QDir(t.folder.path()).entryList({"registry.sqlite3.damaged-*"}).size(), 3);
    }

    void theFileIsPrivateToTheUser() {
        test::TestEnvironment t;
        const QString created = t.folder.filePath("new/halvex/registry.sqlite3");
        const QString existing = t.folder.filePath("existing.sqlite3");
        QFile file(existing);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
        // A umask that would leave the folder unwritable and the file read-only.
        const mode_t previous = ::umask(0277);
        const auto stillOpen = SqliteRegistryStore::factory(created);
        const int status =
            stillOpen()->SetValue(kUser, kBase, "Pwd", "x", 1, true) +
            SqliteRegistryStore::factory(existing)()->SetValue(kUser, kBase, "Pwd", "x", 1, true);
        ::umask(previous);
        QCOMPARE(status, 0);
        for (const char* folder : {"new", "new/halvex"}) {
            QCOMPARE(modeOf(t.folder.filePath(folder)), 0700);
        }
        for (const QString& path : {created, created + "-wal", created + "-shm", existing}) {
            QCOMPARE(modeOf(path), 0600);
        }
    }

    void concurrentWritersLoseNothingAndTearNothing() {
        test::TestEnvironment t;
        const QString path = t.folder.filePath("new/registry.sqlite3");
        const QString count = QStringLiteral("10000");
        // All three start on a store that does not exist yet, so they also race to create it.
        QProcess* reader = startWorker(this, {"read", path, "w1", "w2", count});
        QProcess* w1 = startWorker(this, {"write", path, "w1", count});
        QProcess* w2 = startWorker(this, {"write", path, "w2", count});
        for (QProcess* worker : {w1, w2, reader}) {
            QVERIFY(worker->waitForFinished(250'000));
            QVERIFY2(worker->exitStatus() == QProcess::NormalExit && worker->exitCode() == 0,
                     worker->readAllStandardError().constData());
        }
        const QList<QByteArray> counts = reader->readAllStandardOutput().trimmed().split(' ');
        QVERIFY2(counts.size() == 2 && counts[1].toLong() > 0, "no read overlapped the writes");
        QCOMPARE(wholeStressValues(path).size(), 2 * count.toInt() + 1);
    }

    // Another process holds the file in the old journal mode while it sets it up: SQLite turns
    // down the change to WAL at once, without its busy wait, and the store must wait instead.
    void aFileHeldBrieflyElsewhereIsWaitedFor() {
        test::TestEnvironment t;
        const QString path = t.folder.filePath("registry.sqlite3");
        QProcess holder;
        holder.start(QStringLiteral("sh"),
                     {QStringLiteral("-c"),
                      QStringLiteral("{ echo 'CREATE TABLE t(a); BEGIN IMMEDIATE; "
                                     "INSERT INTO t VALUES (1);'; sleep 1; echo 'COMMIT;'; } | "
                                     "sqlite3 \"$0\""),
                      path});
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(path + "-journal"), 10'000);
        QCOMPARE(
            SqliteRegistryStore::factory(path)()->SetValue(kUser, kBase, "State", "1", 1, true), 0);
        QVERIFY(holder.waitForFinished(10'000));
        QCOMPARE(holder.exitCode(), 0);
    }

    void aKilledWriterLeavesAReadableStore() {
        test::TestEnvironment t;
        const QString path = t.folder.filePath("registry.sqlite3");
        const auto factory = SqliteRegistryStore::factory(path);
        QProcess* writer = startWorker(this, {"write", path, "k", "100000000"});
        QTRY_VERIFY_WITH_TIMEOUT(listed(factory, stress::keyPath()).size() >= 500, 60'000);
        writer->kill();  // SIGKILL, somewhere in the middle of a write
        QVERIFY(writer->waitForFinished());

        // A fresh connection recovers the journal: the committed values are the first n, whole.
        const QSet<QString> names = wholeStressValues(path);
        QVERIFY(names.size() >= 500);
        for (int i = 0; i < names.size() - 1; ++i) {
            QVERIFY(names.contains(stress::valueName("k", i)));
        }
        QCOMPARE(factory()->SetValue(kUser, stress::keyPath(), "After", "1", 1, true), 0);
    }
};

QTEST_GUILESS_MAIN(TestSqliteRegistryStore)
#include "TestSqliteRegistryStore.moc"
