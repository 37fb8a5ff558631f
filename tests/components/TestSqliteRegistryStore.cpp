#include "channel/RegFunctions.h"
#include "components/SqliteRegistryStore.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTest>

#include <sys/stat.h>

using namespace hvx;

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
                                         const QString& keyPath) {
    std::vector<RegistryStore::Entry> entries;
    factory()->ListValues(kUser, keyPath, entries);
    return entries;
}

// What the multi-process test writes: each value names itself and is long enough that a torn
// or mixed-up write cannot pass for a whole one.
QString stressName(const QString& writer, int index) {
    return QStringLiteral("%1-%2").arg(writer).arg(index);
}

QString stressValue(const QString& name) {
    return name + QLatin1Char(':') + QString(200, QLatin1Char('#')) + QLatin1Char(':') + name;
}

// The names of the stress values in a fresh connection's listing; empty when any is not whole.
QSet<QString> wholeStressValues(const QString& path) {
    QSet<QString> names;
    for (const auto& entry : listed(SqliteRegistryStore::factory(path), under("Stress"))) {
        if (entry.value != stressValue(entry.name)) {
            return {};
        }
        names.insert(entry.name);
    }
    return names;
}

// This program run again as one writer of the multi-process tests: writes WRITER-0 ..
// WRITER-(COUNT-1) in order, each through a store of its own, as the Monitor's store procedures
// do. Exit status 3: a write failed.
int stressWriter(const QString& path, const QString& writer, int count) {
    const auto newStore = SqliteRegistryStore::factory(path);
    for (int i = 0; i < count; ++i) {
        const QString name = stressName(writer, i);
        if (newStore()->SetValue(kUser, under("Stress"), name, stressValue(name), 1, true) != 0) {
            return 3;
        }
    }
    return 0;
}

QProcess* startWriter(QObject* parent, const QString& path, const QString& writer, int count) {
    auto* process = new QProcess(parent);
    process->start(QCoreApplication::applicationFilePath(),
                   {QStringLiteral("--stress-writer"), path, writer, QString::number(count)});
    return process;
}

// The number and description of the error that getting a store raises.
QString raisedBy(const Factory<RegistryStore>& factory) {
    try {
        factory();
        return QStringLiteral("no error");
    } catch (const RuntimeError& error) {
        return QString::number(error.number()) + QLatin1Char(' ') + error.description();
    }
}

}  // namespace

class TestSqliteRegistryStore : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void namesIgnoreAsciiCaseOnly_data() {
        QTest::addColumn<QString>("other");
        QTest::addColumn<bool>("same");
        QTest::newRow("ASCII case") << "controls:NORTH\\STATE" << true;
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
        for (const QString& key : gone) {
            QVERIFY(!left.contains(key));
        }
        QCOMPARE(left.size(), keys.size() - gone.size());
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
        SaveRegValue(*t.ctx, "Controls", "Status", text);
        QCOMPARE(GetRegValue(*t.ctx, "Controls", "Status", "<none>"), text);
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
        QCOMPARE(
            t.env.registryStore()->SetValue(kUser, under("Controls"), "State", written, 4, true),
            text.isEmpty() ? RegistryStore::kStatusFailure : RegistryStore::kStatusOk);
        QCOMPARE(GetRegValue(*t.ctx, "Controls", "State", "refused"),
                 text.isEmpty() ? QStringLiteral("refused") : text);
    }

    // Each damage ends in an error naming the store and a fresh store with the damaged file
    // kept byte for byte beside it (a folder in its place, which stops the start, is shown by the
    // end-to-end run). Damaged under two open connections (the Monitor's and the
    // core application's), both are told and go on with the same fresh store, so a command
    // still gets through.
    void aStoreThatCannotBeUsedIsNamed_data() {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QString>("reason");
        QTest::newRow("no database") << "bytes"
                                     << "file is not a database";
        QTest::newRow("truncated") << "truncated"
                                   << "malformed";
        QTest::newRow("no database while open") << "bytes-while-open"
                                                << "not a database";
        QTest::newRow("truncated while open") << "empty-while-open"
                                              << "not a database";
    }
    void aStoreThatCannotBeUsedIsNamed() {
        QFETCH(QString, damage);
        QFETCH(QString, reason);
        test::TestEnvironment t;
        const QString path = t.folder.filePath("registry.sqlite3");
        const auto monitor = SqliteRegistryStore::factory(path);
        const auto core = SqliteRegistryStore::factory(path);
        const bool whileOpen = damage.endsWith("while-open");
        QVariant value;
        int type = 0;
        if (damage == "truncated") {
            for (int i = 0; i < 200; ++i) {
                SqliteRegistryStore::factory(path)()->SetValue(kUser, kBase, QString::number(i),
                                                               QString(100, 'v'), 1, true);
            }
            // Its journal folded in by the close of the last connection.
            QVERIFY(QFile(path).resize(QFileInfo(path).size() / 2));
        } else {
            if (whileOpen) {
                QCOMPARE(monitor()->SetValue(kUser, kBase, "Before", "1", 1, true), 0);
                QCOMPARE(core()->QueryValue(kUser, kBase, "Before", value, type), 0);
            }
            // In place: the same file, as a stray write would do it.
            QVERIFY(test::writeFile(
                path, damage.startsWith("empty") ? QByteArray() : QByteArray(8192, 'r')));
        }
        QFile damaged(path);
        const QByteArray before = damaged.open(QIODevice::ReadOnly) ? damaged.readAll() : "";
        damaged.close();

        const QString told = raisedBy(monitor);
        QVERIFY2(told.startsWith(QString::number(err::CannotCreateComponent) + ' ') &&
                     told.contains(path) && told.contains(reason),
                 qPrintable(told));
        const QStringList aside =
            QDir(t.folder.path()).entryList({"registry.sqlite3.damaged-*"}, QDir::Files);
        // Kept, never deleted: the file and, beside it, the journal that went with it.
        const QStringList kept = aside.filter(QRegularExpression("damaged-[0-9-]+$"));
        QCOMPARE(kept.size(), 1);
        QFile keptFile(t.folder.filePath(kept[0]));
        QVERIFY(keptFile.open(QIODevice::ReadOnly));
        QCOMPARE(keptFile.readAll(), before);
        if (whileOpen) {
            QCOMPARE(aside.size(), 3);
            const QString toldToo = raisedBy(core);
            QVERIFY2(toldToo.contains(path + " was damaged"), qPrintable(toldToo));
        }
        // Said once; then the fresh store works, for both connections and for a new one.
        QCOMPARE(monitor()->SetValue(kUser, kBase, "Command", "5", 1, true), 0);
        QCOMPARE(core()->QueryValue(kUser, kBase, "Command", value, type), 0);
        QCOMPARE(value.toString(), QStringLiteral("5"));
        QCOMPARE(listed(SqliteRegistryStore::factory(path), kBase).size(), 1u);
    }

    void theFileIsPrivateToTheUser() {
        test::TestEnvironment t;
        const QString created = t.folder.filePath("new/halvex/registry.sqlite3");
        const QString existing = t.folder.filePath("existing.sqlite3");
        QVERIFY(test::writeFile(existing, {}));
        QVERIFY(QFile::setPermissions(existing,
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
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

    // Two writer processes, and this one reading at random until they have ended. All three
    // start on a store that does not exist yet, so they also race to create it.
    void concurrentWritersLoseNothingAndTearNothing() {
        test::TestEnvironment t;
        const QString path = t.folder.filePath("new/registry.sqlite3");
        const QList<QProcess*> writers{startWriter(this, path, "w1", 10000),
                                       startWriter(this, path, "w2", 10000)};
        const auto reader = SqliteRegistryStore::factory(path);
        int found = 0;
        while (writers[0]->state() != QProcess::NotRunning ||
               writers[1]->state() != QProcess::NotRunning) {
            const QString name = stressName(QRandomGenerator::global()->bounded(2) ? "w1" : "w2",
                                            QRandomGenerator::global()->bounded(10000));
            QVariant value;
            int type = 0;
            const int status = reader()->QueryValue(kUser, under("Stress"), name, value, type);
            QVERIFY2(
                status == RegistryStore::kStatusNotFound || value.toString() == stressValue(name),
                qPrintable(name + " read as " + value.toString()));
            found += status == RegistryStore::kStatusOk;
            QCoreApplication::processEvents();  // to learn that a writer has ended
        }
        for (QProcess* writer : writers) {
            QVERIFY(writer->exitStatus() == QProcess::NormalExit && writer->exitCode() == 0);
        }
        QVERIFY2(found > 0, "no read overlapped the writes");
        QCOMPARE(wholeStressValues(path).size(), 20000);
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
        QProcess* writer = startWriter(this, path, "k", 100'000'000);
        QTRY_VERIFY_WITH_TIMEOUT(wholeStressValues(path).size() >= 500, 60'000);
        writer->kill();  // SIGKILL, somewhere in the middle of a write
        QVERIFY(writer->waitForFinished());

        // A fresh connection recovers the journal: the committed values are the first n, whole.
        const QSet<QString> names = wholeStressValues(path);
        QVERIFY(names.size() >= 500);
        for (int i = 0; i < names.size(); ++i) {
            QVERIFY(names.contains(stressName("k", i)));
        }
        QCOMPARE(
            SqliteRegistryStore::factory(path)()->SetValue(kUser, kBase, "After", "1", 1, true), 0);
    }
};

int main(int argc, char* argv[]) {
    const QCoreApplication app(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() == 5 && args[1] == QLatin1String("--stress-writer")) {
        return stressWriter(args[2], args[3], args[4].toInt());
    }
    TestSqliteRegistryStore test;
    return QTest::qExec(&test, argc, argv);
}
#include "TestSqliteRegistryStore.moc"
