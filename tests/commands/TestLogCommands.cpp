#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "settings/SystemSettings.h"
#include "supervision/frmMonitor.h"

#include <QFile>
#include <QFrame>
#include <QPushButton>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

namespace {

// A window whose core application runs (State "1", button "Suspend"), with a log file.
struct LogRig {
    LogRig() {
        t.errors().SetLogFile(log);
        writeFile(log, "2026-11-23 10:00:00  TRACE  Started\n");
        window.findChild<QPushButton*>(u"cmdCommand"_s)->setText(u"Suspend"_s);
        setState("1");
        t.setControl("Command", u"0"_s);
    }
    void setState(const char* state) { t.setControl("State", QString::fromLatin1(state)); }
    QFrame* indicator() { return window.findChild<QFrame*>(u"ErrorLogFrame"_s); }

    TestEnvironment t;
    SystemSettings settings;
    QString log = t.folder.filePath(u"monitorlog.txt"_s);
    frmMonitor window{*t.ctx, settings};
};

}  // namespace

class TestLogCommands : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Through a double click on the indicator, which views the log as the menu does.
    void aMissingLogIsEmptyWithoutAQuestion() {
        LogRig r;
        QFile::remove(r.log);
        QTest::mouseDClick(r.indicator(), Qt::LeftButton);
        QCOMPARE(r.t.boxes.texts(), QStringList{u"The log file is empty"_s});
        QCOMPARE(r.t.boxes.shown().front().icon, MessageIcon::Information);
        QVERIFY(r.t.fileOpener.opened.isEmpty());
    }

    void viewingWhileRunningOffersToSuspend() {
        LogRig r;
        r.t.boxes.queue(MessageAnswer::No);
        r.window.mnuViewErrorLog_Click();
        QCOMPARE(r.t.boxes.texts(),
                 QStringList{QStringLiteral("The Monitor must be suspended before you do this.  "
                                            "Would you like the Monitor to be suspended now?")});
        QCOMPARE(r.t.control("Command"), u"0"_s);
        QVERIFY(r.t.fileOpener.opened.isEmpty());

        r.t.boxes.queue(MessageAnswer::Yes);
        r.window.mnuViewErrorLog_Click();
        QCOMPARE(r.t.control("Command"), u"3"_s);
        QCOMPARE(r.t.fileOpener.opened, QStringList{u"/usr/bin/editor "_s + r.log});
    }

    void theViewersTwoFailures() {
        LogRig r;
        r.setState("2");
        r.t.fileOpener.program.reset();
        r.window.mnuViewErrorLog_Click();
        r.t.fileOpener.program = u"/usr/bin/editor"_s;
        r.t.fileOpener.opens = false;
        r.window.mnuViewErrorLog_Click();
        const QString advice = u". Please open the file using your normal text editor."_s;
        QCOMPARE(r.t.boxes.texts(),
                 QStringList({u"Could not find a program associated with "_s + r.log + advice,
                              QLatin1Char('"') + r.log + u"\" was not opened"_s + advice}));
        QCOMPARE(r.t.boxes.shown().back().icon, MessageIcon::Exclamation);
    }

    void clearingTheLogNeverAsksToSuspend() {
        LogRig r;
        r.t.boxes.queue(MessageAnswer::Yes);
        r.window.mnuClearLogFile_Click();
        QCOMPARE(r.t.boxes.texts(), QStringList{u"Are you sure you want to clear the log file?"_s});
        QCOMPARE(r.t.errors().writes.last(), u"ClearLogFile()"_s);
        QCOMPARE(r.t.control("Command"), u"0"_s);
    }

    void clearingTheWarningWhileRunningOnlyOffersToSuspend() {
        LogRig r;
        r.t.setControl("ErrorInfo", u"mail down"_s);
        r.window.ShowStatus();
        QVERIFY(r.indicator()->isVisibleTo(&r.window));
        r.t.boxes.queue(MessageAnswer::Yes);
        r.window.mnuClearErrorWarning_Click();
        QVERIFY(r.t.boxes.texts().front().startsWith(QStringLiteral(
            "The Monitor must be suspended and resumed to clear the Error Warning.\r\n\r\n")));
        QCOMPARE(r.t.control("Command"), u"3"_s);
        QCOMPARE(r.t.control("ErrorInfo"), u"mail down"_s);
        QVERIFY(r.indicator()->isVisibleTo(&r.window));

        r.setState("2");
        r.window.mnuClearErrorWarning_Click();
        QCOMPARE(r.t.control("ErrorInfo"), QString());
        QVERIFY(!r.indicator()->isVisibleTo(&r.window));
    }

    void sendingAsksFirst() {
        LogRig r;
        r.t.ctx->shortCompanyName = u"Halvex"_s;
        r.t.boxes.queue(MessageAnswer::No);
        r.window.mnuSendLogToHalvex_Click();
        QCOMPARE(r.t.boxes.texts(),
                 QStringList{QStringLiteral(
                     "Are you sure you want to send the log file to Halvex Support?")});
        QCOMPARE(r.t.control("Command"), u"0"_s);
    }
};

QTEST_MAIN(TestLogCommands)
#include "TestLogCommands.moc"
