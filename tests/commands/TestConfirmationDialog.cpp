#include "commands/ui/dlgMessageWithTurnOff.h"
#include "fakes/TestEnvironment.h"

#include <QCheckBox>
#include <QFontMetrics>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

namespace {

// The Monitor's exit question, loaded.
std::unique_ptr<dlgMessageWithTurnOff> question(TestEnvironment& t, const QString& message,
                                                const QString& key = u"ExitMonitor"_s) {
    auto dialog = std::make_unique<dlgMessageWithTurnOff>(*t.ctx);
    dialog->SetMsg(message);
    dialog->SetYesNo(true);
    dialog->SetWarningOffKey(key);
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
    // The box is ticked in every row; `button` empty: the close box.
    void theTurnOffIsRecordedHoweverItCloses_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<long>("response");
        QTest::addColumn<QString>("button");
        QTest::newRow("close box") << "ExitMonitor" << 0L << "";
        QTest::newRow("No") << "ExitMonitor" << 7L << "cmdNo";
        QTest::newRow("empty key: no box") << "" << 6L << "cmdYes";
    }
    void theTurnOffIsRecordedHoweverItCloses() {
        QFETCH(QString, key);
        QFETCH(long, response);
        QFETCH(QString, button);
        TestEnvironment t;
        auto dialog = question(t, u"Are you sure you want to exit?"_s, key);
        auto* box = child<QCheckBox>(dialog.get(), "chkNoMore");
        QCOMPARE(box->isVisibleTo(dialog.get()), !key.isEmpty());
        box->setChecked(true);
        dialog->show();
        if (button.isEmpty()) {
            dialog->close();
        } else {
            child<QPushButton>(dialog.get(), qPrintable(button))->click();
        }
        QCOMPARE(dialog->Response(), response);
        QCOMPARE(dialog->Cancelled(), button.isEmpty());
        QCOMPARE(t.control("ExitMonitor", u"Warnings"_s), key.isEmpty() ? u"<missing>"_s : u"1"_s);
        QCOMPARE(t.control("", u"Warnings"_s), u"<missing>"_s);
    }

    void buttonSets_data() {
        QTest::addColumn<int>("set");
        QTest::addColumn<QStringList>("visible");
        QTest::addColumn<QList<int>>("lefts");
        // The first is the default button.
        QTest::newRow("OK only wins over YesNo") << 0 << QStringList{"cmdOK"} << QList<int>{5550};
        QTest::newRow("OK Cancel")
            << 1 << QStringList{"cmdOK", "cmdCancel"} << QList<int>{4275, 5550};
        QTest::newRow("Yes No") << 2 << QStringList{"cmdYes", "cmdNo"} << QList<int>{4275, 5550};
        QTest::newRow("Yes No Cancel")
            << 3 << QStringList{"cmdYes", "cmdCancel", "cmdNo"} << QList<int>{3000, 5550, 4275};
    }
    void buttonSets() {
        QFETCH(int, set);
        QFETCH(QStringList, visible);
        QFETCH(QList<int>, lefts);
        TestEnvironment t;
        dlgMessageWithTurnOff dialog(*t.ctx);
        dialog.SetMsg(u"Question"_s);
        dialog.SetOKOnly(set == 0);
        dialog.SetYesNo(set == 0 || set == 2);
        dialog.SetOKCancel(set == 1);
        dialog.SetYesNoCancel(set == 3);
        dialog.Form_Load();
        for (const char* name : {"cmdOK", "cmdCancel", "cmdYes", "cmdNo"}) {
            auto* button = child<QPushButton>(&dialog, name);
            const qsizetype at = visible.indexOf(QString::fromLatin1(name));
            QCOMPARE(button->isVisibleTo(&dialog), at >= 0);
            QCOMPARE(button->isDefault(), at == 0);
            if (at >= 0) {
                QCOMPARE(dialog.twipsGeometry(button).left(), lefts[at]);
            }
        }
    }

    // The label takes the lines its wrapped text needs, no more (`lines` 0: not counted); the
    // buttons stay 660 twips below it, inside a dialog centred by its frame.
    void theLayoutFollowsTheMessage_data() {
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("lines");
        QTest::newRow("one word") << "Exit?" << 1;
        QTest::newRow("one sentence") << "Are you sure you want to exit the Monitor?" << 1;
        QTest::newRow("three lines") << "First line\nSecond line\nThird line" << 3;
        QTest::newRow("long") << u"A rather long sentence. "_s.repeated(40) << 0;
    }
    void theLayoutFollowsTheMessage() {
        QFETCH(QString, message);
        QFETCH(int, lines);
        TestEnvironment t;
        auto dialog = question(t, message);
        const auto* label = child<QLabel>(dialog.get(), "Label1");
        const QFontMetrics metrics(label->font());
        if (lines > 0) {
            QVERIFY2(label->height() >= lines * metrics.height() &&
                         label->height() < lines * metrics.lineSpacing() + metrics.height() / 2,
                     qPrintable(QString::number(label->height())));
        }
        auto* yes = child<QPushButton>(dialog.get(), "cmdYes");
        const QRect labelTwips = dialog->twipsGeometry(label);
        const QRect yesTwips = dialog->twipsGeometry(yes);
        QVERIFY2(qAbs(yesTwips.top() - (labelTwips.top() + labelTwips.height()) - 660) <= 15,
                 qPrintable(u"%1 %2"_s.arg(yesTwips.top()).arg(labelTwips.bottom())));
        QVERIFY(dialog->rect().contains(yes->geometry()));

        const QRect frame = dialog->frameGeometry();
        QVERIFY2(frame.width() > dialog->width(), "the platform shows no frame to centre by");
        const QPoint offCentre = frame.center() - dialog->screen()->geometry().center();
        QVERIFY2(qAbs(offCentre.x()) <= 1 && qAbs(offCentre.y()) <= 1,
                 qPrintable(u"%1 %2"_s.arg(offCentre.x()).arg(offCentre.y())));
    }
};

QTEST_MAIN(TestConfirmationDialog)
#include "TestConfirmationDialog.moc"
