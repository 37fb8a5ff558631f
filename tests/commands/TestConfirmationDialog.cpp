#include "channel/RegFunctions.h"
#include "commands/ui/dlgMessageWithTurnOff.h"
#include "fakes/TestEnvironment.h"
#include "platform/RegistryStore.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

std::unique_ptr<dlgMessageWithTurnOff> exitQuestion(TestEnvironment& t, const QString& message) {
    auto dialog = std::make_unique<dlgMessageWithTurnOff>(*t.ctx);
    dialog->SetFormCaption(QStringLiteral("Help Desk Monitor - Exit"));
    dialog->SetMsg(message);
    dialog->SetYesNo(true);
    dialog->SetWarningOffKey(QStringLiteral("ExitMonitor"));
    dialog->SetWarningOffMessage(QStringLiteral("Don't ask me this again"));
    dialog->SetPictureType(MessageWithTurnOffDialog::kQuestion);
    dialog->Form_Load();
    return dialog;
}

template <typename T>
T* child(QWidget* parent, const char* name) {
    return parent->findChild<T*>(QString::fromLatin1(name));
}

}  // namespace

class TestConfirmationDialog : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void theCloseBoxAnswersNothing() {
        TestEnvironment t;
        auto dialog = exitQuestion(t, QStringLiteral("Are you sure you want to exit?"));
        QVERIFY(dialog->Cancelled());
        dialog->close();
        QCOMPARE(dialog->Response(), 0L);
        QVERIFY(dialog->Cancelled());
        QCOMPARE(t.control("ExitMonitor", QStringLiteral("Warnings")), QStringLiteral("<missing>"));
    }

    void aTickedBoxIsRecordedWhateverTheAnswer() {
        TestEnvironment t;
        auto dialog = exitQuestion(t, QStringLiteral("Are you sure you want to exit?"));
        QCOMPARE(child<QCheckBox>(dialog.get(), "chkNoMore")->text(),
                 QStringLiteral("Don't ask me this again"));
        child<QCheckBox>(dialog.get(), "chkNoMore")->setChecked(true);
        child<QPushButton>(dialog.get(), "cmdNo")->click();
        QCOMPARE(dialog->Response(), 7L);
        QVERIFY(!dialog->Cancelled());
        QCOMPARE(t.control("ExitMonitor", QStringLiteral("Warnings")), QStringLiteral("1"));
    }

    void anEmptyKeyHidesTheBoxAndWritesNothing() {
        TestEnvironment t;
        dlgMessageWithTurnOff dialog(*t.ctx);
        dialog.SetMsg(QStringLiteral("Go on?"));
        dialog.SetOKCancel(true);
        dialog.Form_Load();
        QVERIFY(!child<QCheckBox>(&dialog, "chkNoMore")->isVisibleTo(&dialog));
        child<QCheckBox>(&dialog, "chkNoMore")->setChecked(true);
        child<QPushButton>(&dialog, "cmdCancel")->click();
        QCOMPARE(dialog.Response(), 2L);
        QVERIFY(dialog.Cancelled());
        std::vector<RegistryStore::Entry> warnings;
        t.env.registryStore()->ListValues(RegistryStore::kCurrentUser,
                                          sectionKeyPath(*t.ctx, QStringLiteral("Warnings")),
                                          warnings);
        QVERIFY(warnings.empty());
    }

    void buttonSets_data() {
        QTest::addColumn<int>("set");
        QTest::addColumn<QStringList>("visible");
        QTest::addColumn<QList<int>>("lefts");
        QTest::addColumn<QString>("defaultButton");
        const auto row = [](const char* name, int set, const QString& visible,
                            const QList<int>& lefts, const char* defaultButton) {
            QTest::newRow(name) << set << visible.split(QLatin1Char(' ')) << lefts
                                << QString::fromLatin1(defaultButton);
        };
        row("OK only wins over YesNo", 0, QStringLiteral("cmdOK"), {5550}, "cmdOK");
        row("OK Cancel", 1, QStringLiteral("cmdCancel cmdOK"), {5550, 4275}, "cmdOK");
        row("Yes No", 2, QStringLiteral("cmdNo cmdYes"), {5550, 4275}, "cmdYes");
        row("Yes No Cancel", 3, QStringLiteral("cmdCancel cmdNo cmdYes"), {5550, 4275, 3000},
            "cmdYes");
    }
    void buttonSets() {
        QFETCH(int, set);
        QFETCH(QStringList, visible);
        QFETCH(QList<int>, lefts);
        QFETCH(QString, defaultButton);
        TestEnvironment t;
        dlgMessageWithTurnOff dialog(*t.ctx);
        dialog.SetMsg(QStringLiteral("Question"));
        dialog.SetOKOnly(set == 0);
        dialog.SetYesNo(set == 0 || set == 2);
        dialog.SetOKCancel(set == 1);
        dialog.SetYesNoCancel(set == 3);
        dialog.Form_Load();
        for (const char* name : {"cmdOK", "cmdCancel", "cmdYes", "cmdNo"}) {
            auto* button = child<QPushButton>(&dialog, name);
            const qsizetype at = visible.indexOf(QString::fromLatin1(name));
            QCOMPARE(button->isVisibleTo(&dialog), at >= 0);
            if (at >= 0) {
                QCOMPARE(dialog.twipsGeometry(button).left(), lefts[at]);
            }
            QCOMPARE(button->isDefault(), defaultButton == QLatin1String(name));
        }
    }

    // The label takes the lines its wrapped text needs, no more.
    void theLabelFitsItsLines_data() {
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("lines");
        QTest::newRow("one word") << "Exit?" << 1;
        QTest::newRow("one sentence") << "Are you sure you want to exit the Monitor?" << 1;
        QTest::newRow("three lines") << "First line\nSecond line\nThird line" << 3;
    }
    void theLabelFitsItsLines() {
        QFETCH(QString, message);
        QFETCH(int, lines);
        TestEnvironment t;
        auto dialog = exitQuestion(t, message);
        const QLabel* label = child<QLabel>(dialog.get(), "Label1");
        const QFontMetrics metrics(label->font());
        QVERIFY2(label->height() >= lines * metrics.height(),
                 qPrintable(QString::number(label->height())));
        QVERIFY2(label->height() < lines * metrics.lineSpacing() + metrics.height() / 2,
                 qPrintable(QString::number(label->height())));
    }

    // Centred by its outer size: the frame's centre is the screen's.
    void theDialogIsCentredWithItsFrame() {
        TestEnvironment t;
        auto dialog = exitQuestion(t, QStringLiteral("Exit?"));
        const QRect frame = dialog->frameGeometry();
        QVERIFY2(frame.width() > dialog->width(), "the platform shows no frame to centre by");
        const QRect screen = dialog->screen()->geometry();
        QVERIFY(qAbs(frame.center().x() - screen.center().x()) <= 1);
        QVERIFY(qAbs(frame.center().y() - screen.center().y()) <= 1);
    }

    void aLongMessageGrowsTheDialogAndKeepsTheGap() {
        TestEnvironment t;
        auto shortOne = exitQuestion(t, QStringLiteral("Exit?"));
        auto longOne = exitQuestion(
            t, QString(40, QLatin1Char(' '))
                   .replace(QLatin1Char(' '), QStringLiteral("A rather long sentence. ")));
        for (dlgMessageWithTurnOff* dialog : {shortOne.get(), longOne.get()}) {
            const QRect label = dialog->twipsGeometry(child<QLabel>(dialog, "Label1"));
            const QRect yes = dialog->twipsGeometry(child<QPushButton>(dialog, "cmdYes"));
            const QRect box = dialog->twipsGeometry(child<QCheckBox>(dialog, "chkNoMore"));
            QVERIFY2(qAbs(yes.top() - (label.top() + label.height()) - 660) <= 15,
                     qPrintable(QStringLiteral("%1 %2").arg(yes.top()).arg(label.bottom())));
            QVERIFY(qAbs((box.top() + box.height()) - (yes.top() + yes.height())) <= 15);
        }
        QVERIFY(longOne->height() > shortOne->height());
    }
};

QTEST_MAIN(TestConfirmationDialog)
#include "TestConfirmationDialog.moc"
