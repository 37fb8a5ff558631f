#include "fakes/ScriptedMessageBoxes.h"
#include "settings/ui/dlgDeleteOldMessages.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

using namespace hvx;
using namespace hvx::test;

class TestDeleteOldMessagesDialog : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void daysAreChecked_data() {
        QTest::addColumn<QString>("days");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<int>("choice");
        QTest::addColumn<int>("daysToDelete");
        QTest::newRow("empty") << ""
                               << "Please type the number of days." << 0 << 0;
        QTest::newRow("a word") << "thirty"
                                << "Please type the number of days." << 0 << 0;
        QTest::newRow("zero") << "0"
                              << "The number of days must be 1 or more." << 0 << 0;
        QTest::newRow("thirty") << " 30 " << QString() << 3 << 30;
        QTest::newRow("half to even") << "2.5" << QString() << 3 << 2;
    }
    void daysAreChecked() {
        QFETCH(QString, days);
        QFETCH(QString, refusal);
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.findChild<QLineEdit*>(QStringLiteral("txtDays"))->setText(days);
        dialog.cmdOK_Click();
        QCOMPARE(boxes.texts(), refusal.isEmpty() ? QStringList() : QStringList{refusal});
        if (!refusal.isEmpty()) {
            QCOMPARE(boxes.shown().front().title,
                     std::optional<QString>(QStringLiteral("Halvex Help Desk")));
        }
        QTEST(dialog.UserChoice(), "choice");
        QTEST(dialog.DaysToDelete(), "daysToDelete");
        QVERIFY(!dialog.Cancelled());
    }

    void theOtherChoices() {
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages keep(boxes);
        keep.findChild<QRadioButton*>(QStringLiteral("Option1_0"))->setChecked(true);
        keep.cmdOK_Click();
        QCOMPARE(keep.UserChoice(), DeleteOldMessagesDialog::kKeep);
        dlgDeleteOldMessages all(boxes);
        all.findChild<QRadioButton*>(QStringLiteral("Option1_1"))->setChecked(true);
        all.cmdOK_Click();
        QCOMPARE(all.UserChoice(), DeleteOldMessagesDialog::kDeleteAll);
        QVERIFY(boxes.shown().empty());
    }

    void escapeCancelsAndTheWarningIsShown() {
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.SetOldUnsentCount(12);
        QTimer escape;
        escape.setInterval(0);
        connect(&escape, &QTimer::timeout, [&] {
            if (QApplication::activeModalWidget() == &dialog) {
                QVERIFY(dialog.findChild<QLabel*>(QStringLiteral("lblExplain"))
                            ->text()
                            .startsWith(QStringLiteral("WARNING: There are 12 unsent messages")));
                QTest::keyClick(&dialog, Qt::Key_Escape);
                escape.stop();
            }
        });
        escape.start();
        dialog.Show();
        QVERIFY(dialog.Cancelled());
        QCOMPARE(dialog.UserChoice(), DeleteOldMessagesDialog::kNoChoice);
    }
};

QTEST_MAIN(TestDeleteOldMessagesDialog)
#include "TestDeleteOldMessagesDialog.moc"
