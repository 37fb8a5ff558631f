#include "HelpDeskFixture.h"
#include "platform/Dialogs.h"
#include "settings/OldUnsentMessages.h"

#include <QTest>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

// Answers like an operator would, and notes how it was asked.
struct Operator {
    int choice = DeleteOldMessagesDialog::kNoChoice;
    int days = 0;
    bool cancelled = false;
    int shownWithCount = -1;
    bool busyWhileShown = false;
};

class ScriptedDeleteOldMessages final : public DeleteOldMessagesDialog {
  public:
    ScriptedDeleteOldMessages(Operator& op, const FakeUserInterface& ui) : op_(op), ui_(ui) {}
    void SetOldUnsentCount(int count) override { count_ = count; }
    void Show() override {
        op_.shownWithCount = count_;
        op_.busyWhileShown = ui_.cursorWaiting;
    }
    int UserChoice() const override { return op_.choice; }
    int DaysToDelete() const override { return op_.days; }
    bool Cancelled() const override { return op_.cancelled; }

  private:
    Operator& op_;
    const FakeUserInterface& ui_;
    int count_ = 0;
};

// `count` unsent messages `ageDays` old, and one sent message of the same age.
void addMessages(TestEnvironment& t, HelpDeskFixture& db, int count, int ageDays) {
    const QString stamp =
        t.ctx->sqlValueFormatter->FormatDate(t.clock.now().addSeconds(-ageDays * 86400LL));
    for (int i = 0; i < count; ++i) {
        db.execute(
            u"insert into Messages (Recipient, Subject, Sent, LastModified) "
            "values ('ops@example.com', 'old', null, %1)"_s.arg(stamp));
    }
    db.execute(
        u"insert into Messages (Recipient, Subject, Sent, LastModified) "
        "values ('ops@example.com', 'sent', %1, %1)"_s.arg(stamp));
}

}  // namespace

// Runs on SQLite, and on PostgreSQL through ODBC in the integration run.
class TestOldUnsentMessages : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // 12 unsent messages `oldest` days old, 5 unsent messages 3 days old, 2 sent ones.
    void theOperatorDecides_data() {
        QTest::addColumn<bool>("sending");
        QTest::addColumn<int>("oldest");
        QTest::addColumn<int>("choice");
        QTest::addColumn<int>("days");
        QTest::addColumn<bool>("cancelled");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("unsentLeft");
        QTest::addColumn<QString>("trace");
        const int none = oldMessages::kNothingToAsk;
        const QString twelve = u"TRACE: There are 12 unsent messages over 1 week old"_s;
        QTest::newRow("sending is off")
            << false << 40 << 2 << 0 << false << none << 17 << QString();
        QTest::newRow("no message over a week old")
            << true << 6 << 2 << 0 << false << none << 17
            << u"TRACE: There are no unsent messages over 1 week old"_s;
        QTest::newRow("keep") << true << 40 << 1 << 0 << false << 1 << 17 << twelve;
        QTest::newRow("closed without a choice")
            << true << 40 << 0 << 0 << false << 1 << 17 << twelve;
        QTest::newRow("delete all, young ones too")
            << true << 40 << 2 << 0 << false << 1 << 0 << twelve;
        QTest::newRow("older than 30 days") << true << 40 << 3 << 30 << false << 1 << 5 << twelve;
        QTest::newRow("older than 50 days") << true << 40 << 3 << 50 << false << 1 << 17 << twelve;
        QTest::newRow("cancel") << true << 40 << 2 << 0 << true << 2 << 17 << twelve;
    }
    void theOperatorDecides() {
        QFETCH(bool, sending);
        QFETCH(int, oldest);
        QFETCH(int, choice);
        QFETCH(int, days);
        QFETCH(bool, cancelled);
        QFETCH(int, result);
        Operator op{.choice = choice, .days = days, .cancelled = cancelled};
        TestEnvironment t;
        HelpDeskFixture db(t);
        t.env.deleteOldMessagesDialog = [&] {
            return std::make_unique<ScriptedDeleteOldMessages>(op, t.userInterface);
        };
        t.ctx->traceOn = true;
        addMessages(t, db, 12, oldest);
        addMessages(t, db, 5, 3);
        QCOMPARE(CheckOldUnsentMessages(*t.ctx, sending), result);
        const bool asked = result != oldMessages::kNothingToAsk;
        QCOMPARE(op.shownWithCount, asked ? 12 : -1);
        QCOMPARE(op.busyWhileShown, asked);
        QVERIFY(!t.userInterface.cursorWaiting);
        QTEST(t.errors().reports.value(0), "trace");
        QTEST(db.scalar(u"select count(*) from Messages where Sent is null"_s).toInt(),
              "unsentLeft");
        QCOMPARE(db.scalar(u"select count(*) from Messages where Sent is not null"_s).toInt(), 2);
        const bool deleted = asked && choice >= 2 && !cancelled;
        QCOMPARE(t.boxes.texts().size(), deleted ? 1 : 0);
        if (deleted) {
            QVERIFY(t.boxes.texts().front().startsWith(u"Deleted all"_s));
        }
    }
};

QTEST_GUILESS_MAIN(TestOldUnsentMessages)
#include "TestOldUnsentMessages.moc"
