#include "HelpDeskFixture.h"
#include "platform/Dialogs.h"
#include "settings/OldUnsentMessages.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

// Answers like an operator would: the choice, the days and whether Cancel was pressed.
struct DialogScript {
    int choice = DeleteOldMessagesDialog::kNoChoice;
    int days = 0;
    bool cancelled = false;
    int shownWithCount = -1;
    bool busyWhileShown = false;
};

class ScriptedDeleteOldMessages final : public DeleteOldMessagesDialog {
  public:
    ScriptedDeleteOldMessages(DialogScript& script, const FakeUserInterface& ui)
        : script_(script), ui_(ui) {}
    void SetOldUnsentCount(int count) override { count_ = count; }
    void Show() override {
        script_.shownWithCount = count_;
        script_.busyWhileShown = ui_.cursorWaiting;
    }
    int UserChoice() const override { return script_.choice; }
    int DaysToDelete() const override { return script_.days; }
    bool Cancelled() const override { return script_.cancelled; }

  private:
    DialogScript& script_;
    const FakeUserInterface& ui_;
    int count_ = 0;
};

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration run.
class TestOldUnsentMessages : public QObject {
    Q_OBJECT

    DialogScript script_;

    void wire(TestEnvironment& t) {
        script_ = {};
        t.env.deleteOldMessagesDialog = [this, &t] {
            return std::make_unique<ScriptedDeleteOldMessages>(script_, t.userInterface);
        };
    }

    // `count` unsent messages `ageDays` old, and one sent message of the same age.
    static void addMessages(TestEnvironment& t, HelpDeskFixture& db, int count, int ageDays) {
        const QString stamp =
            t.ctx->sqlValueFormatter->FormatDate(t.clock.now().addSeconds(-ageDays * 86400LL));
        for (int i = 0; i < count; ++i) {
            db.execute(QStringLiteral(
                           "insert into Messages (Recipient, Subject, Sent, LastModified) values "
                           "('ops@example.com', 'old', null, %1)")
                           .arg(stamp));
        }
        db.execute(
            QStringLiteral("insert into Messages (Recipient, Subject, Sent, LastModified) values "
                           "('ops@example.com', 'sent', %1, %1)")
                .arg(stamp));
    }

    static int unsent(HelpDeskFixture& db) {
        return db.scalar(QStringLiteral("select count(*) from Messages where Sent is null"))
            .toInt();
    }

  private Q_SLOTS:
    void noDialog_data() {
        QTest::addColumn<bool>("sending");
        QTest::addColumn<int>("ageDays");
        QTest::addColumn<QStringList>("traces");
        QTest::newRow("sending is off, old messages") << false << 30 << QStringList();
        QTest::newRow("no message over a week old")
            << true << 6
            << QStringList{QStringLiteral("TRACE: There are no unsent messages over 1 week old")};
    }
    void noDialog() {
        QFETCH(bool, sending);
        QFETCH(int, ageDays);
        TestEnvironment t;
        HelpDeskFixture db(t);
        wire(t);
        t.ctx->traceOn = true;
        addMessages(t, db, 4, ageDays);
        QCOMPARE(CheckOldUnsentMessages(*t.ctx, sending), oldMessages::kNothingToAsk);
        QCOMPARE(script_.shownWithCount, -1);
        QTEST(t.errors().reports, "traces");
        QCOMPARE(unsent(db), 4);
    }

    void theOperatorDecides_data() {
        QTest::addColumn<int>("choice");
        QTest::addColumn<int>("days");
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("unsentLeft");
        // 12 messages 40 days old, 5 messages 3 days old.
        QTest::newRow("keep") << 1 << 0 << false << 1 << 17;
        QTest::newRow("closed without a choice") << 0 << 0 << false << 1 << 17;
        QTest::newRow("delete all, young ones too") << 2 << 0 << false << 1 << 0;
        QTest::newRow("older than 30 days") << 3 << 30 << false << 1 << 5;
        QTest::newRow("older than 50 days") << 3 << 50 << false << 1 << 17;
        QTest::newRow("cancel") << 2 << 0 << true << 2 << 17;
    }
    void theOperatorDecides() {
        QFETCH(int, choice);
        QFETCH(int, days);
        QFETCH(bool, cancelled);
        TestEnvironment t;
        HelpDeskFixture db(t);
        wire(t);
        t.ctx->traceOn = true;
        addMessages(t, db, 12, 40);
        addMessages(t, db, 5, 3);
        script_.choice = choice;
        script_.days = days;
        script_.cancelled = cancelled;
        QTEST(CheckOldUnsentMessages(*t.ctx, true), "result");
        QCOMPARE(script_.shownWithCount, 12);
        QVERIFY(script_.busyWhileShown);
        QVERIFY(!t.userInterface.cursorWaiting);
        QVERIFY(t.errors().reports.contains(
            QStringLiteral("TRACE: There are 12 unsent messages over 1 week old")));
        QTEST(unsent(db), "unsentLeft");
        QCOMPARE(db.scalar(QStringLiteral("select count(*) from Messages where Sent is not null"))
                     .toInt(),
                 2);
        if (choice >= 2 && !cancelled) {
            QCOMPARE(t.boxes.shown().size(), 1u);
            QVERIFY(t.boxes.shown().front().text.startsWith(QStringLiteral("Deleted all")));
        } else {
            QVERIFY(t.boxes.shown().empty());
        }
    }
};

QTEST_GUILESS_MAIN(TestOldUnsentMessages)
#include "TestOldUnsentMessages.moc"
