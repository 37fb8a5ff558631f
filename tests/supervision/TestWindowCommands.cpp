#include "HelpDeskFixture.h"
#include "commands/ui/UnattendedMessageWithTurnOff.h"
#include "components/ui/DatabaseTermTranslator.h"
#include "fakes/TestFiles.h"
#include "platform/qt/UnattendedSession.h"
#include "settings/SystemSettings.h"
#include "settings/ui/UnattendedDeleteOldMessages.h"
#include "supervision/frmMonitor.h"

#include <QCheckBox>
#include <QPushButton>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

// A loaded window on a help-desk database with settings as the start-up leaves them. Its
// dialogs answer from `answers` and write a line each into `dialogs`.
struct LoadedWindow {
    explicit LoadedWindow(const std::function<void(LoadedWindow&)>& before = {},
                          const QString& answers = {})
        : db(t), dialogs(t.folder.filePath(QStringLiteral("dialogs"))), session(dialogs, answers) {
        t.ctx->termTranslator = std::make_unique<DatabaseTermTranslator>();
        t.ctx->termTranslator->SetDatabase(t.ctx->databaseManager.get());
        t.ctx->termTranslator->LoadLanguage(QStringLiteral("ENG"), 1);
        t.env.deleteOldMessagesDialog = [this] {
            return std::make_unique<UnattendedDeleteOldMessages>(session, t.boxes);
        };
        t.env.messageWithTurnOffDialog = [this] {
            return std::make_unique<UnattendedMessageWithTurnOff>(*t.ctx, session);
        };
        LoadSystemSettings(*t.ctx, settings);
        if (before) {
            before(*this);
        }
        window = std::make_unique<frmMonitor>(*t.ctx, settings);
        window->Form_Load();
    }
    QCheckBox* box(const char* name) const {
        return window->findChild<QCheckBox*>(QString::fromLatin1(name));
    }
    QString option(const char* name) { return t.control(name, QStringLiteral("Options")); }
    void addOldUnsentMessage() {
        db.execute(
            QStringLiteral("insert into Messages (Recipient, Sent, LastModified) values "
                           "('a', null, '2001-01-01 00:00:00')"));
    }

    TestEnvironment t;
    HelpDeskFixture db;
    QString dialogs;
    UnattendedSession session;
    SystemSettings settings;
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
        QVERIFY(!w.box("chkSendEmail")->isChecked());
        QCOMPARE(w.option("StopSendingEmail"), QStringLiteral("1"));
        QVERIFY(!w.box("chkCheckSLAs")->isEnabled());
        QCOMPARE(w.box("chkCheckSLAs")->text(), QStringLiteral("Check SLAs"));
        QCOMPARE(w.option("StopProcessingSLAs"), QStringLiteral("1"));
        QCOMPARE(w.option("StopReadingEmail"), QStringLiteral("<missing>"));
        QVERIFY(w.t.ctx->traceOn);
        QCOMPARE(w.t.control("Trace"), QStringLiteral("1"));
        QVERIFY(!w.window->loopState().timerEnabled);
    }

    // With the row at "1" the end-to-end run starts supervising at once.
    void noAutoStartRowLeavesTheWindowIdle() {
        LoadedWindow off([](LoadedWindow& l) {
            l.settings.collection->Remove(QStringLiteral("AutoStartMonitor"));
        });
        QVERIFY(!off.window->loopState().timerEnabled);
        QVERIFY(off.t.errors().reports.last().endsWith(
            QStringLiteral("(Code 11062 in HvxMonitor.exe)")));
    }

    // The old-messages question, cancelled: neither the start nor the switch goes ahead.
    void aCancelledOldMessagesQuestionChangesNothing() {
        LoadedWindow w;
        w.addOldUnsentMessage();
        w.window->cmdCommand_Click();
        auto* button = w.window->findChild<QPushButton*>(QStringLiteral("cmdCommand"));
        QCOMPARE(button->text(), QStringLiteral("&Start"));
        QVERIFY(button->isEnabled());
        QVERIFY(!w.window->loopState().timerEnabled);
        QCOMPARE(w.t.control("Command"), QStringLiteral("<missing>"));

        // Unticking asks nothing; ticking again asks.
        w.box("chkSendEmail")->click();
        w.t.setControl("StopSendingEmail", QStringLiteral("kept"), QStringLiteral("Options"));
        w.box("chkSendEmail")->click();
        QVERIFY(!w.box("chkSendEmail")->isChecked());
        QVERIFY(w.t.ctx->stop.sendingEmail);
        QVERIFY(!w.window->loopState().IgnoreSendEmailClick);
        QCOMPARE(w.option("StopSendingEmail"), QStringLiteral("kept"));
        // Both asked: each question is a line, and its answer another.
        QCOMPARE(jsonLines(w.dialogs).size(), 4);
    }

    void serviceBoxesWriteTheirSwitches() {
        LoadedWindow w;
        w.box("chkReadEmail")->click();
        QCOMPARE(w.option("StopReadingEmail"), QStringLiteral("1"));
        w.box("chkReadEmail")->click();
        QCOMPARE(w.option("StopReadingEmail"), QStringLiteral("0"));
        w.box("chkSendEmail")->click();
        QCOMPARE(w.option("StopSendingEmail"), QStringLiteral("1"));
    }

    void runNowAndPreview() {
        LoadedWindow w;
        w.t.setControl("Processing", QStringLiteral("1"));
        w.window->mnuRunNow_Click();
        w.t.setControl("Processing", QStringLiteral("0"));
        w.t.setControl("CoreHasDBIssues", QStringLiteral("1"));
        w.window->mnuRunNow_Click();
        QCOMPARE(w.t.boxes.texts(),
                 QStringList({QStringLiteral("The Monitor is already doing the processing as "
                                             "scheduled."),
                              QStringLiteral("Failed to refresh the System Settings.  Please "
                                             "check the log file for errors.")}));
        QCOMPARE(w.t.control("Command"), QStringLiteral("<missing>"));
        w.t.setControl("CoreHasDBIssues", QStringLiteral("0"));
        w.window->mnuRunNow_Click();
        QCOMPARE(w.t.control("Command"), QStringLiteral("4"));
        w.window->mnuManualMailIn_Click();
        QCOMPARE(w.option("ManualMailIn"), QStringLiteral("1"));
        QCOMPARE(w.t.control("Command"), QStringLiteral("7"));
    }

    void closing_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("busy");
        QTest::addColumn<bool>("turnedOff");
        QTest::addColumn<QString>("answer");  // to the exit confirmation
        QTest::addColumn<bool>("closed");
        QTest::addColumn<int>("confirmations");
        QTest::addColumn<int>("boxes");
        QTest::addColumn<QString>("command");
        QTest::newRow("aborted: nothing asked, no command")
            << 999 << true << false << "no" << true << 0 << 0 << "<missing>";
        QTest::newRow("busy: the busy question instead")
            << 1 << true << false << "yes" << true << 0 << 1 << "5";
        QTest::newRow("confirmation turned off")
            << 1 << false << true << "no" << true << 0 << 0 << "5";
        QTest::newRow("confirmed") << 0 << false << false << "yes" << true << 1 << 0 << "5";
        QTest::newRow("closed with the close box")
            << 0 << false << false << "" << true << 1 << 0 << "5";
        QTest::newRow("declined") << 1 << false << false << "no" << false << 1 << 0 << "<missing>";
    }
    void closing() {
        QFETCH(int, state);
        QFETCH(bool, busy);
        QFETCH(bool, turnedOff);
        QFETCH(QString, answer);
        QFETCH(bool, closed);
        LoadedWindow w({}, answer);
        w.box("chkTrace")->setChecked(true);
        w.t.setControl("State", QString::number(state));
        w.t.setControl("Processing", busy ? QStringLiteral("1") : QStringLiteral("0"));
        w.t.setControl("ExitMonitor", turnedOff ? QStringLiteral("1") : QStringLiteral("0"),
                       QStringLiteral("Warnings"));
        w.t.errors().reports.clear();
        w.t.boxes.queue(MessageAnswer::Yes);
        QCOMPARE(w.window->close(), closed);
        QTEST(static_cast<int>(jsonLines(w.dialogs).size()), "confirmations");
        QTEST(static_cast<int>(w.t.boxes.shown().size()), "boxes");
        QTEST(w.t.control("Command"), "command");
        if (closed) {
            QCOMPARE(w.option("Trace"), QStringLiteral("1"));
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
        QCOMPARE(w.option("Trace"), QStringLiteral("0"));
        QCOMPARE(w.t.control("Trace", QStringLiteral("Options:North")),
                 QStringLiteral("<missing>"));
    }
};

QTEST_MAIN(TestWindowCommands)
#include "TestWindowCommands.moc"
