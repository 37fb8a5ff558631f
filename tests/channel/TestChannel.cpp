// The store procedures and the error reporting that every part of the program goes through.
#include "channel/ControlValues.h"
#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "channel/RegFunctions.h"
#include "components/SqliteRegistryStore.h"
#include "fakes/StubDatabaseManager.h"
#include "fakes/TestEnvironment.h"

#include <QFile>
#include <QTest>

#include <optional>

using namespace hvx;
using namespace Qt::StringLiterals;

class TestChannel : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void storeProcedures() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        // The default is only for what is missing.
        QCOMPARE(GetRegValue(ctx, u"Controls"_s, u"Status"_s, u"default"_s), u"default"_s);
        QCOMPARE(ctx.procedureCode, code::kGetRegValue);
        SaveRegValue(ctx, u"Controls"_s, u"Status"_s, QString());
        QCOMPARE(GetRegValue(ctx, u"Controls"_s, u"Status"_s, u"default"_s), QString());

        // Names ignore case (the store's own test holds the cases).
        const QString north = instanceSection(section::kControls, u"North"_s);
        QCOMPARE(north, u"Controls:North"_s);
        SaveRegValue(ctx, north, u"State"_s, u"2"_s);
        SaveRegValue(ctx, u"Controls"_s, u"State"_s, u"1"_s);
        QCOMPARE(GetRegValue(ctx, u"CONTROLS"_s, u"state"_s, {}), u"1"_s);

        // The instance's section is a key of its own: deleting "Controls" leaves it.
        DeleteRegSection(ctx, u"Controls"_s);
        QCOMPARE(ctx.procedureCode, code::kDeleteRegSection);
        QCOMPARE(GetRegValue(ctx, north, u"State"_s, {}), u"2"_s);
        SaveRegValue(ctx, u"Controls"_s, u"Command"_s, u"1"_s);
        QCOMPARE(GetRegValue(ctx, u"Controls"_s, u"Command"_s, {}), u"1"_s);
        QCOMPARE(GetRegValue(ctx, u"Controls"_s, u"State"_s, u"gone"_s), u"gone"_s);
        // Deleting what is not there is silent.
        QVERIFY(RunTrapped(ctx, 11000, [&] {
            DeleteRegValue(ctx, u"Nowhere"_s, u"Nothing"_s);
            DeleteRegSection(ctx, u"Nowhere"_s);
        }));
        QVERIFY(t.errors().reports.isEmpty());
    }

    void aMissingStoreComponentReachesTheCaller() {
        test::TestEnvironment t;
        t.env.registryStore = nullptr;
        for (const bool shared : {false, true}) {
            std::optional<SharedSectionReads> reads;
            if (shared) {
                reads.emplace(*t.ctx, u"Controls"_s);
            }
            QVERIFY(!RunTrapped(*t.ctx, 11076,
                                [&] { GetRegValue(*t.ctx, u"Controls"_s, u"State"_s, {}); }));
            QCOMPARE(t.errors().ErrorNumber(), err::CannotCreateComponent);
            QVERIFY(t.errors().ErrorText().endsWith(u"(Code 11051 in HvxMonitor.exe)"_s));
        }
    }

    // Within a scope, one read of the section answers the reads after it until it is too old
    // or this process writes; another process's writes are seen after that, and after the scope.
    void sharedReadsSeeOwnWritesAtOnceAndOthersSoon() {
        test::TestEnvironment t;
        AppContext& ctx = *t.ctx;
        const QString controls = ctx.controlsSection;
        SaveRegValue(ctx, controls, value::kState, u"1"_s);
        SaveRegValue(ctx, controls + u"\\Below"_s, value::kStatus, u"below"_s);
        const auto core = SqliteRegistryStore::factory(t.registryPath)();
        const auto coreWrites = [&](const QString& state) {
            core->SetValue(RegistryStore::kCurrentUser, sectionKeyPath(ctx, controls),
                           value::kState, state, RegistryStore::kTypeString, true);
        };
        {
            const SharedSectionReads reads(ctx, controls);
            QCOMPARE(GetRegValue(ctx, controls, u"STATE"_s, {}), u"1"_s);
            QCOMPARE(GetRegValue(ctx, controls, value::kStatus, u"none"_s), u"none"_s);
            coreWrites(u"2"_s);
            QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), u"1"_s);
            t.clock.advanceMilliseconds(SharedSectionReads::kFreshMilliseconds + 1);
            QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), u"2"_s);
            SaveRegValue(ctx, controls, value::kCommand, u"4"_s);
            QCOMPARE(GetRegValue(ctx, controls, value::kCommand, {}), u"4"_s);
        }
        coreWrites(u"3"_s);
        QCOMPARE(GetRegValue(ctx, controls, value::kState, {}), u"3"_s);
    }

    // The description is kept as it comes, blanks and all.
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

    void reportWritesNumberDescriptionTextInOrder() {
        test::TestEnvironment t;
        t.ctx->procedureCode = 11051;
        ReportError(*t.ctx, RuntimeError(13, u" Type  mismatch "_s));
        QCOMPARE(t.errors().writes,
                 QStringList({"ErrorNumber=13", "ErrorDescription= Type  mismatch ",
                              "ErrorText= Type  mismatch  (Code 11051 in HvxMonitor.exe)",
                              "Report(error)"}));
    }

    void traceClearsTheErrorFields() {
        test::TestEnvironment t;
        ReportError(*t.ctx, RuntimeError(6, u"Overflow"_s));
        t.errors().SetErrorSource(u"somewhere"_s);
        t.errors().writes.clear();
        WriteTrace(*t.ctx, u"P=1;"_s);
        QCOMPARE(t.errors().writes,
                 QStringList({"ErrorText=P=1;", "ErrorSource=", "ErrorDescription=",
                              "ErrorNumber=0", "Report(trace)"}));
        QCOMPARE(t.ctx->procedureCode, code::kWriteTrace);
    }

    void missingErrorManagerShowsTheSystemErrorAndNeverRaises() {
        test::TestEnvironment t;
        t.ctx->errorManager.reset();
        ReportError(*t.ctx, RuntimeError(5, u"anything"_s));
        QCOMPARE(t.boxes.shown().size(), 1u);
        const auto& box = t.boxes.shown().front();
        QCOMPARE(box.text, u"System Error: Error Manager is Nothing in HvxMonitor.exe"_s);
        QCOMPARE(box.icon, MessageIcon::Critical);
        QCOMPARE(box.buttons, MessageButtons::OkOnly);
        QVERIFY(!box.title.has_value());
        // Nowhere at all to report to: the report ends quietly, it never raises.
        t.env.messageBoxes = nullptr;
        ReportError(*t.ctx, RuntimeError(5, u"nowhere to go"_s));
        QCOMPARE(t.boxes.shown().size(), 1u);
    }

    void databaseIsResetOnlyWhenItAsks() {
        test::TestEnvironment t;
        auto database = std::make_unique<test::StubDatabaseManager>();
        auto* db = database.get();
        t.ctx->databaseManager = std::move(database);
        const RuntimeError odbc(3146, u"ODBC call failed"_s);
        ReportError(*t.ctx, odbc);
        QVERIFY(db->resets.isEmpty());
        db->needsReset = true;
        ReportError(*t.ctx, odbc);
        QCOMPARE(db->resets, QList<bool>{true});
    }

    // Other exceptions become run-time errors too.
    void trapReportsWithTheCodeInForceAndEndsTheProcedure() {
        test::TestEnvironment t;
        QVERIFY(!RunTrapped(*t.ctx, 11059, [&] {
            t.ctx->procedureCode = 11060;
            throw RuntimeError(9, u"Subscript out of range"_s);
        }));
        QCOMPARE(t.errors().reports,
                 QStringList{"ERROR: Subscript out of range (Code 11060 in HvxMonitor.exe)"});
        QVERIFY(RunTrapped(*t.ctx, 11059, [] {}));
        QCOMPARE(t.ctx->procedureCode, 11059);
        QVERIFY(!RunTrapped(*t.ctx, 11062, [] { throw std::bad_alloc(); }));
        QCOMPARE(t.errors().ErrorNumber(), err::OutOfMemory);
    }
};

QTEST_GUILESS_MAIN(TestChannel)
#include "TestChannel.moc"
