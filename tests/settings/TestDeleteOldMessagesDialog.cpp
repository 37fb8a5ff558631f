#include "fakes/ScriptedMessageBoxes.h"
#include "settings/ui/dlgDeleteOldMessages.h"

#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QTest>
#include <QTimer>

using namespace hvx;
using namespace hvx::test;
using namespace Qt::StringLiterals;

class TestDeleteOldMessagesDialog : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Days are read only for the third choice.
    void choicesAndDays_data() {
        QTest::addColumn<int>("option");
        QTest::addColumn<QString>("days");
        QTest::addColumn<QString>("refusal");
        QTest::addColumn<int>("choice");
        QTest::addColumn<int>("daysToDelete");
        QTest::newRow("a word") << 2 << "thirty" << u"Please type the number of days."_s << 0 << 0;
        QTest::newRow("zero") << 2 << "0" << u"The number of days must be 1 or more."_s << 0 << 0;
        QTest::newRow("thirty") << 2 << " 30 " << QString() << 3 << 30;
        QTest::newRow("keep") << 0 << "thirty" << QString() << 1 << 0;
        QTest::newRow("delete all") << 1 << "" << QString() << 2 << 0;
    }
    void choicesAndDays() {
        QFETCH(int, option);
        QFETCH(QString, days);
        QFETCH(QString, refusal);
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.findChild<QRadioButton*>(u"Option1_%1"_s.arg(option))->setChecked(true);
        dialog.findChild<QLineEdit*>(u"txtDays"_s)->setText(days);
        dialog.cmdOK_Click();
        QCOMPARE(boxes.texts(), refusal.isEmpty() ? QStringList() : QStringList{refusal});
        if (!refusal.isEmpty()) {
            QCOMPARE(boxes.shown().front().title, std::optional<QString>(u"Halvex Help Desk"_s));
        }
        QTEST(dialog.UserChoice(), "choice");
        QTEST(dialog.DaysToDelete(), "daysToDelete");
        QVERIFY(!dialog.Cancelled());
    }

    void escapeCancelsAndTheWarningIsShown() {
        ScriptedMessageBoxes boxes;
        dlgDeleteOldMessages dialog(boxes);
        dialog.SetOldUnsentCount(12);
        QString warning;
        QTimer::singleShot(0, &dialog, [&] {
            warning = dialog.findChild<QLabel*>(u"lblExplain"_s)->text();
            QTest::keyClick(&dialog, Qt::Key_Escape);
        });
        dialog.Show();
        QVERIFY2(warning.startsWith(u"WARNING: There are 12 unsent messages"_s),
                 qPrintable(warning));
        QVERIFY(dialog.Cancelled());
        QCOMPARE(dialog.UserChoice(), DeleteOldMessagesDialog::kNoChoice);
    }
};

QTEST_MAIN(TestDeleteOldMessagesDialog)
#include "TestDeleteOldMessagesDialog.moc"
