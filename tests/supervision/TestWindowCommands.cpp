#include "HelpDeskFixture.h"
#include "channel/RegFunctions.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "platform/Dialogs.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QAction>
#include <QCheckBox>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace hvx;
using namespace hvx::test;

namespace {

class CancellingDialog final : public DeleteOldMessagesDialog {
  public:
    void SetOldUnsentCount(int) override {}
    void Show() override {}
    int UserChoice() const override { return kNoChoice; }
    int DaysToDelete() const override { return 0; }
    bool Cancelled() const override { return true; }
};

// Answers the exit confirmation from a script and tells whether it was shown.
class ScriptedConfirmation final : public MessageWithTurnOffDialog {
  public:
    explicit ScriptedConfirmation(long answer, int& shown) : answer_(answer), shown_(shown) {}
    void SetMsg(const QString&) override {}
    void SetYesNo(bool) override {}
    void SetYesNoCancel(bool) override {}
    void SetOKOnly(bool) override {}
    void SetOKCancel(bool) override {}
    void SetWarningOffKey(const QString&) override {}
    void SetWarningOffMessage(const QString&) override {}
    void SetFormCaption(const QString&) override {}
    void SetPictureType(long) override {}
    void Show() override { ++shown_; }
    long Response() const override { return answer_; }
    bool Cancelled() const override { return false; }

  private:
    long answer_;
    int& shown_;
};

// A loaded window on a help-desk database with settings as the start-up leaves them.
struct LoadedWindow {
    explicit LoadedWindow(const std::function<void(LoadedWindow&)>& before = {}) : db(t) {
        t.ctx->applicationTitle = QStringLiteral("Help Desk Monitor");
        t.ctx->termTranslator = std::make_unique<DatabaseTermTranslator>();
        t.ctx->termTranslator->SetDatabase(t.ctx->databaseManager.get());
        t.ctx->termTranslator->LoadLanguage(QStringLiteral("ENG"), 1);
        t.env.deleteOldMessagesDialog = [] { return std::make_unique<CancellingDialog>(); };
        t.env.messageWithTurnOffDialog = [this] {
            return std::make_unique<ScriptedConfirmation>(confirmation, confirmations);
        };
        LoadSystemSettings(*t.ctx, settings);
        if (before) {
            before(*this);
        }
        window = std::make_unique<frmMonitor>(*t.ctx, settings);
        window->Form_Load();
    }
    template <typename T>
    T* find(const char* name) {
        return window->findChild<T*>(QString::fromLatin1(name));
    }

    TestEnvironment t;
    HelpDeskFixture db;
    SystemSettings settings;
    long confirmation = 6;
    int confirmations = 0;
    std::unique_ptr<frmMonitor> window;
};

}  // namespace

class TestWindowCommands : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void loadingWritesBackTheStoppedServices() {
        LoadedWindow w([](LoadedWindow& l) {
            l.t.ctx->stop.sendingEmail = true;
            l.settings.UseSLAs = false;
            l.t.setControl("Trace", QStringLiteral("1"), QStringLiteral("Options"));
        });
        QVERIFY(!w.find<QCheckBox>("chkSendEmail")->isChecked());
        QCOMPARE(w.t.control("StopSendingEmail", QStringLiteral("Options")), QStringLiteral("1"));
        QVERIFY(!w.find<QCheckBox>("chkCheckSLAs")->isEnabled());
        QCOMPARE(w.t.control("StopProcessingSLAs", QStringLiteral("Options")), QStringLiteral("1"));
        QCOMPARE(w.t.control("StopReadingEmail", QStringLiteral("Options")),
                 QStringLiteral("<missing>"));
        QVERIFY(w.t.ctx->traceOn);
        QCOMPARE(w.t.control("Trace"), QStringLiteral("1"));
        QCOMPARE(w.window->windowTitle(), QStringLiteral("Help Desk Monitor"));
        QCOMPARE(w.find<QCheckBox>("chkCheckSLAs")->text(), QStringLiteral("Check SLAs"));
        QVERIFY(!w.window->loopState().timerEnabled);
    }

    void autoStartGivesStartAtOnce() {
        LoadedWindow w([](LoadedWindow& l) {
            l.settings.collection->Item(QStringLiteral("AutoStartMonitor"))
                ->SetSettingValue(QStringLiteral("1"));
        });
        QVERIFY(w.window->loopState().timerEnabled);
        QCOMPARE(w.t.control("Command"), QStringLiteral("1"));
    }

    void withoutAnAutoStartRowTheWindowStaysIdle() {
        LoadedWindow w([](LoadedWindow& l) {
            l.settings.collection->Remove(QStringLiteral("AutoStartMonitor"));
        });
        QVERIFY(!w.window->loopState().timerEnabled);
        QVERIFY(
            w.t.errors().reports.last().endsWith(QStringLiteral("(Code 11062 in HvxMonitor.exe)")));
    }

    void startCancelledAtTheOldMessagesQuestion() {
        LoadedWindow w;
        w.db.execute(
            QStringLiteral("insert into Messages (Recipient, Sent, LastModified) values ('a', "
                           "null, '2001-01-01 00:00:00')"));
        w.window->cmdCommand_Click();
        auto* button = w.find<QPushButton>("cmdCommand");
        QCOMPARE(button->text(), QStringLiteral("&Start"));
        QVERIFY(button->isEnabled());
        QVERIFY(!w.window->loopState().timerEnabled);
        QCOMPARE(w.t.control("Command"), QStringLiteral("<missing>"));
    }

    void sendingSwitchedOnButCancelledStaysOff() {
        LoadedWindow w([](LoadedWindow& l) { l.t.ctx->stop.sendingEmail = true; });
        w.db.execute(
            QStringLiteral("insert into Messages (Recipient, Sent, LastModified) values ('a', "
                           "null, '2001-01-01 00:00:00')"));
        w.t.setControl("StopSendingEmail", QStringLiteral("kept"), QStringLiteral("Options"));
        w.find<QCheckBox>("chkSendEmail")->click();
        QVERIFY(!w.find<QCheckBox>("chkSendEmail")->isChecked());
        QVERIFY(w.t.ctx->stop.sendingEmail);
        QVERIFY(!w.window->loopState().IgnoreSendEmailClick);
        QCOMPARE(w.t.control("StopSendingEmail", QStringLiteral("Options")),
                 QStringLiteral("kept"));
    }

    void serviceBoxesWriteTheirSwitches() {
        LoadedWindow w;
        w.find<QCheckBox>("chkReadEmail")->click();
        QCOMPARE(w.t.control("StopReadingEmail", QStringLiteral("Options")), QStringLiteral("1"));
        w.find<QCheckBox>("chkReadEmail")->click();
        QCOMPARE(w.t.control("StopReadingEmail", QStringLiteral("Options")), QStringLiteral("0"));
        w.find<QCheckBox>("chkSendEmail")->click();
        QCOMPARE(w.t.control("StopSendingEmail", QStringLiteral("Options")), QStringLiteral("1"));
    }

    void runNowAndPreview() {
        LoadedWindow w;
        w.t.setControl("Processing", QStringLiteral("1"));
        w.window->mnuRunNow_Click();
        QCOMPARE(w.t.boxes.texts(),
                 QStringList{
                     QStringLiteral("The Monitor is already doing the processing as scheduled.")});
        w.t.setControl("Processing", QStringLiteral("0"));
        w.t.setControl("CoreHasDBIssues", QStringLiteral("1"));
        w.window->mnuRunNow_Click();
        QCOMPARE(
            w.t.boxes.texts().last(),
            QStringLiteral(
                "Failed to refresh the System Settings.  Please check the log file for errors."));
        QCOMPARE(w.t.control("Command"), QStringLiteral("<missing>"));
        w.t.setControl("CoreHasDBIssues", QStringLiteral("0"));
        w.window->mnuRunNow_Click();
        QCOMPARE(w.t.control("Command"), QStringLiteral("4"));
        w.window->mnuManualMailIn_Click();
        QCOMPARE(w.t.control("ManualMailIn", QStringLiteral("Options")), QStringLiteral("1"));
        QCOMPARE(w.t.control("Command"), QStringLiteral("7"));
    }

    void closing_data() {
        QTest::addColumn<QString>("state");
        QTest::addColumn<QString>("processing");
        QTest::addColumn<QString>("turnedOff");
        QTest::addColumn<long>("confirmation");
        QTest::addColumn<bool>("closed");
        QTest::addColumn<int>("confirmations");
        QTest::addColumn<int>("boxes");
        QTest::addColumn<QString>("command");
        QTest::newRow("aborted: nothing asked, no command")
            << "999"
            << "1"
            << "0" << 7L << true << 0 << 0 << "<missing>";
        QTest::newRow("busy: the busy question instead") << "1"
                                                         << "1"
                                                         << "0" << 6L << true << 0 << 1 << "5";
        QTest::newRow("confirmation turned off") << "1"
                                                 << "0"
                                                 << "1" << 7L << true << 0 << 0 << "5";
        QTest::newRow("confirmed") << "0"
                                   << "0"
                                   << "0" << 6L << true << 1 << 0 << "5";
        QTest::newRow("closed with the close box") << "0"
                                                   << "0"
                                                   << "0" << 0L << true << 1 << 0 << "5";
        QTest::newRow("declined") << "1"
                                  << "0"
                                  << "0" << 7L << false << 1 << 0 << "<missing>";
    }
    void closing() {
        QFETCH(QString, state);
        QFETCH(QString, processing);
        QFETCH(QString, turnedOff);
        LoadedWindow w;
        QFETCH(long, confirmation);
        w.confirmation = confirmation;
        w.find<QCheckBox>("chkTrace")->setChecked(true);
        w.t.setControl("State", state);
        w.t.setControl("Processing", processing);
        w.t.setControl("ExitMonitor", turnedOff, QStringLiteral("Warnings"));
        w.t.errors().reports.clear();
        w.t.boxes.queue(MessageAnswer::Yes);
        QTEST(w.window->close(), "closed");
        QTEST(w.confirmations, "confirmations");
        QTEST(static_cast<int>(w.t.boxes.shown().size()), "boxes");
        QTEST(w.t.control("Command"), "command");
        QFETCH(bool, closed);
        if (closed) {
            QCOMPARE(w.t.control("Trace", QStringLiteral("Options")), QStringLiteral("1"));
            QCOMPARE(w.t.errors().reports.last(), QStringLiteral("TRACE: Closed\r\n"));
            QVERIFY(!w.t.ctx->databaseManager);
            QVERIFY(w.window->loopState().Closing);
        }
    }

    void instanceClosingWritesCommandToItsSectionAndTraceToTheSharedOne() {
        LoadedWindow w([](LoadedWindow& l) {
            l.t.ctx->controlsSection = QStringLiteral("Controls:North");
            l.t.ctx->optionsSection = QStringLiteral("Options:North");
        });
        w.t.setControl("ExitMonitor", QStringLiteral("1"), QStringLiteral("Warnings"));
        QVERIFY(w.window->close());
        QCOMPARE(w.t.control("Command", QStringLiteral("Controls:North")), QStringLiteral("5"));
        QCOMPARE(w.t.control("Command", QStringLiteral("Controls")), QStringLiteral("<missing>"));
        QCOMPARE(w.t.control("Trace", QStringLiteral("Options")), QStringLiteral("0"));
        QCOMPARE(w.t.control("Trace", QStringLiteral("Options:North")),
                 QStringLiteral("<missing>"));
    }
};

QTEST_MAIN(TestWindowCommands)
#include "TestWindowCommands.moc"
