#include "channel/ErrorReporting.h"
#include "channel/ProcedureCodes.h"
#include "fakes/StubDatabaseManager.h"
#include "fakes/TestEnvironment.h"

#include <QTest>

using namespace hvx;

namespace {

// A database manager that only answers the reset questions.
class ResettableDatabase final : public test::StubDatabaseManager {
  public:
    bool needsReset = false;
    QList<bool> resets;

    bool NeedsReset() const override { return needsReset; }
    void Reset(bool value) override { resets.append(value); }
};

}  // namespace

class TestErrorReporting : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void reportWritesNumberDescriptionTextInOrder() {
        test::TestEnvironment t;
        t.ctx->procedureCode = 11051;
        ReportError(*t.ctx, RuntimeError(13, QStringLiteral("Type mismatch")));
        QCOMPARE(
            t.errors().writes,
            QStringList({QStringLiteral("ErrorNumber=13"),
                         QStringLiteral("ErrorDescription=Type mismatch"),
                         QStringLiteral("ErrorText=Type mismatch (Code 11051 in HvxMonitor.exe)"),
                         QStringLiteral("Report(error)")}));
    }

    void descriptionIsKeptAsItComes() {
        QCOMPARE(errorReportText(QStringLiteral(" two  blanks "), 11000),
                 QStringLiteral(" two  blanks  (Code 11000 in HvxMonitor.exe)"));
    }

    void traceClearsTheErrorFields() {
        test::TestEnvironment t;
        ReportError(*t.ctx, RuntimeError(6, QStringLiteral("Overflow")));
        t.errors().SetErrorSource(QStringLiteral("somewhere"));
        t.errors().writes.clear();
        WriteTrace(*t.ctx, QStringLiteral("P=1;"));
        QCOMPARE(t.errors().writes,
                 QStringList({QStringLiteral("ErrorText=P=1;"), QStringLiteral("ErrorSource="),
                              QStringLiteral("ErrorDescription="), QStringLiteral("ErrorNumber=0"),
                              QStringLiteral("Report(trace)")}));
        QCOMPARE(t.errors().ErrorNumber(), 0);
        QVERIFY(t.errors().ErrorDescription().isEmpty());
        QVERIFY(t.errors().ErrorSource().isEmpty());
        QCOMPARE(t.ctx->procedureCode, code::kWriteTrace);
    }

    void missingErrorManagerShowsTheSystemErrorAndNeverRaises() {
        test::TestEnvironment t;
        t.ctx->errorManager.reset();
        ReportError(*t.ctx, RuntimeError(5, QStringLiteral("anything")));
        QCOMPARE(t.boxes.shown().size(), 1u);
        const auto& box = t.boxes.shown().front();
        QCOMPARE(box.text,
                 QStringLiteral("System Error: Error Manager is Nothing in HvxMonitor.exe"));
        QCOMPARE(box.icon, MessageIcon::Critical);
        QCOMPARE(box.buttons, MessageButtons::OkOnly);
        QVERIFY(!box.title.has_value());
        // Nowhere at all to report to: the report ends quietly, it never raises.
        t.env.messageBoxes = nullptr;
        ReportError(*t.ctx, RuntimeError(5, QStringLiteral("nowhere to go")));
        QCOMPARE(t.boxes.shown().size(), 1u);
    }

    void databaseIsResetOnlyWhenItAsks() {
        test::TestEnvironment t;
        auto database = std::make_unique<ResettableDatabase>();
        auto* db = database.get();
        t.ctx->databaseManager = std::move(database);
        ReportError(*t.ctx, RuntimeError(3146, QStringLiteral("ODBC call failed")));
        QVERIFY(db->resets.isEmpty());
        db->needsReset = true;
        ReportError(*t.ctx, RuntimeError(3146, QStringLiteral("ODBC call failed")));
        QCOMPARE(db->resets, QList<bool>{true});
    }

    void trapReportsWithTheCodeInForceAndEndsTheProcedure() {
        test::TestEnvironment t;
        bool after = false;
        const bool completed = RunTrapped(*t.ctx, 11059, [&] {
            t.ctx->procedureCode = 11060;
            throw RuntimeError(9, QStringLiteral("Subscript out of range"));
            after = true;
        });
        QVERIFY(!completed);
        QVERIFY(!after);
        QCOMPARE(t.errors().reports,
                 QStringList{QStringLiteral(
                     "ERROR: Subscript out of range (Code 11060 in HvxMonitor.exe)")});
        QVERIFY(RunTrapped(*t.ctx, 11059, [] {}));
        QCOMPARE(t.ctx->procedureCode, 11059);
    }

    void trapTurnsOtherExceptionsIntoRunTimeErrors() {
        test::TestEnvironment t;
        RunTrapped(*t.ctx, 11062, [] { throw std::bad_alloc(); });
        QCOMPARE(t.errors().ErrorNumber(), err::OutOfMemory);
    }
};

QTEST_GUILESS_MAIN(TestErrorReporting)
#include "TestErrorReporting.moc"
