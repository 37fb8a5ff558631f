#include "channel/ControlValues.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "components/SqliteRegistryStore.h"
#include "fakes/TestEnvironment.h"

#include <QFile>
#include <QTest>

#include <optional>

using namespace hvx;

class TestRegFunctions : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void theDefaultIsOnlyForWhatIsMissing() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        const QString controls = ctx.controlsSection;
        QCOMPARE(GetRegValue(ctx, controls, value::kState, QStringLiteral("default")),
                 QStringLiteral("default"));
        QCOMPARE(ctx.procedureCode, code::kGetRegValue);
        SaveRegValue(ctx, controls, value::kStatus, QString());
        QCOMPARE(GetRegValue(ctx, controls, value::kStatus, QStringLiteral("default")), QString());
    }

    void namesIgnoreCaseAndSectionsComeBack() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        SaveRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("State"), QStringLiteral("1"));
        SaveRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("Command"),
                     QStringLiteral("3"));
        QCOMPARE(GetRegValue(ctx, QStringLiteral("CONTROLS"), QStringLiteral("state"), {}),
                 QStringLiteral("1"));
        ctx.registryBasePath = ctx.registryBasePath.toUpper();
        QCOMPARE(GetRegValue(ctx, QStringLiteral("controls"), QStringLiteral("STATE"), {}),
                 QStringLiteral("1"));

        DeleteRegSection(ctx, QStringLiteral("Controls"));
        QCOMPARE(ctx.procedureCode, code::kDeleteRegSection);
        SaveRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("Command"),
                     QStringLiteral("1"));
        QCOMPARE(GetRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("Command"), {}),
                 QStringLiteral("1"));
        QCOMPARE(GetRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("State"),
                             QStringLiteral("gone")),
                 QStringLiteral("gone"));
    }

    void deletingWhatIsNotThereIsSilent() {
        test::TestEnvironment t;
        const bool completed = RunTrapped(*t.ctx, 11000, [&] {
            DeleteRegValue(*t.ctx, QStringLiteral("Nowhere"), QStringLiteral("Nothing"));
            DeleteRegSection(*t.ctx, QStringLiteral("Nowhere"));
        });
        QVERIFY(completed);
        QVERIFY(t.errors().reports.isEmpty());
        QCOMPARE(t.ctx->procedureCode, code::kDeleteRegSection);
    }

    void instanceSectionsAreTheirOwnKeys() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        const QString north = instanceSection(section::kControls, QStringLiteral("North"));
        QCOMPARE(north, QStringLiteral("Controls:North"));
        SaveRegValue(ctx, north, QStringLiteral("State"), QStringLiteral("2"));
        SaveRegValue(ctx, QStringLiteral("Controls"), QStringLiteral("State"), QStringLiteral("1"));
        DeleteRegSection(ctx, QStringLiteral("Controls"));
        QCOMPARE(GetRegValue(ctx, north, QStringLiteral("State"), {}), QStringLiteral("2"));
    }

    void codesCompareAsText_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isRunning");
        QTest::newRow("1") << "1" << true;
        QTest::newRow("leading zero") << "01" << false;
        QTest::newRow("blank after") << "1 " << false;
    }
    void codesCompareAsText() {
        QFETCH(QString, text);
        QTEST(isCode(text, state::kRunning), "isRunning");
    }

    void aMissingStoreComponentReachesTheCaller() {
        test::TestEnvironment t;
        t.env.registryStore = nullptr;
        for (const bool shared : {false, true}) {
            std::optional<SharedSectionReads> reads;
            if (shared) {
                reads.emplace(*t.ctx, QStringLiteral("Controls"));
            }
            QVERIFY(!RunTrapped(*t.ctx, 11076, [&] {
                GetRegValue(*t.ctx, QStringLiteral("Controls"), QStringLiteral("State"), {});
            }));
            QCOMPARE(t.errors().ErrorNumber(), err::CannotCreateComponent);
            QVERIFY(
                t.errors().ErrorText().endsWith(QStringLiteral("(Code 11051 in HvxMonitor.exe)")));
        }
    }

    // Within a scope, one read of the section answers the reads after it until it is too old
    // or this process writes; another process's writes are seen after that, and after the scope.
    void sharedReadsSeeOwnWritesAtOnceAndOthersSoon() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        const QString controls = ctx.controlsSection;
        SaveRegValue(ctx, controls, value::kState, QStringLiteral("1"));
        SaveRegValue(ctx, controls + QStringLiteral("\\Below"), value::kStatus,
                     QStringLiteral("below"));
        const auto core = SqliteRegistryStore::factory(t.registryPath)();
        const auto coreWrites = [&](const QString& state) {
            core->SetValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, controls),
                           value::kState, state, RegistryStore::kTypeString, true);
        };
        int stores = 0;
        const Factory<RegistryStore> real = t.env.registryStore;
        t.env.registryStore = [&] {
            ++stores;
            return real();
        };
        {
            const SharedSectionReads reads(ctx, controls);
            QCOMPARE(GetRegValue(ctx, controls, QStringLiteral("STATE"), {}), QStringLiteral("1"));
            QCOMPARE(GetRegValue(ctx, controls, value::kStatus, QStringLiteral("none")),
                     QStringLiteral("none"));
            coreWrites(QStringLiteral("2"));
            QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), QStringLiteral("1"));
            QCOMPARE(stores, 1);
            t.clock.advanceMilliseconds(SharedSectionReads::kFreshMilliseconds + 1);
            QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), QStringLiteral("2"));
            SaveRegValue(ctx, controls, value::kCommand, QStringLiteral("4"));
            QCOMPARE(GetRegValue(ctx, controls, value::kCommand, {}), QStringLiteral("4"));
            QCOMPARE(stores, 4);
        }
        coreWrites(QStringLiteral("3"));
        QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), QStringLiteral("3"));
    }

    // A section kept from scope to scope is listed again after any change to the store,
    // whoever made it.
    void aKeptSectionFollowsEveryChange_data() {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("expected");
        QTest::newRow("another process writes") << "other"
                                                << "2";
        QTest::newRow("this process writes") << "own"
                                             << "2";
        QTest::newRow("this process deletes") << "delete"
                                              << "none";
        QTest::newRow("a fresh file takes its place") << "fresh"
                                                      << "none";
    }

    void aKeptSectionFollowsEveryChange() {
        QFETCH(QString, change);
        QFETCH(QString, expected);
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        const QString controls = ctx.controlsSection;
        SaveRegValue(ctx, controls, value::kState, QStringLiteral("1"));
        SectionSnapshot kept;
        const auto read = [&] {
            const SharedSectionReads reads(ctx, controls, kept);
            return GetRegValue(ctx, controls, value::kState, QStringLiteral("none"));
        };
        QCOMPARE(read(), QStringLiteral("1"));
        if (change == QLatin1String("other")) {
            SqliteRegistryStore::factory(t.registryPath)()->SetValue(
                RegistryStore::kCurrentUser, sectionKeyPath(ctx, controls), value::kState,
                QStringLiteral("2"), RegistryStore::kTypeString, true);
        } else if (change == QLatin1String("own")) {
            SaveRegValue(ctx, controls, value::kState, QStringLiteral("2"));
        } else if (change == QLatin1String("delete")) {
            DeleteRegValue(ctx, controls, value::kState);
        } else {
            for (const char* suffix : {"", "-wal", "-shm"}) {
                QFile::remove(t.registryPath + QLatin1String(suffix));
            }
        }
        QCOMPARE(read(), expected);
    }
};

QTEST_GUILESS_MAIN(TestRegFunctions)
#include "TestRegFunctions.moc"
