#include "AlertValues.h"
#include "commands/NetSendAlerts.h"
#include "commands/ui/UnattendedOperatorName.h"
#include "commands/ui/dlgOperatorName.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/RegistryStore.h"
#include "platform/qt/UnattendedSession.h"

#include <QApplication>
#include <QJsonArray>
#include <QJsonObject>
#include <QLineEdit>
#include <QTest>
#include <QTimer>

using namespace hvx;
using namespace hvx::test;

namespace {

const QStringList kBoxes{"txtMsg", "Text1_0", "Text1_1", "Text1_2"};

QStringList shownIn(const QWidget& dialog) {
    QStringList texts;
    for (const QString& name : kBoxes) {
        texts.append(dialog.findChild<QLineEdit*>(name)->text());
    }
    return texts;
}

void type(QWidget& dialog, const QStringList& texts) {
    for (int i = 0; i < texts.size(); ++i) {
        dialog.findChild<QLineEdit*>(kBoxes[i])->setText(texts[i]);
    }
}

}  // namespace

class TestOperatorNameDialog : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // The stored texts are shown as they are, blanks kept. Each box is filled as its value is
    // read: a store that fails part-way leaves only the boxes after the failure empty, in the
    // dialog and in the unattended edition alike.
    void loadShowsWhatWasReadBeforeAFailure_data() {
        QTest::addColumn<int>("readsThatWork");
        QTest::addColumn<QStringList>("shown");
        QTest::newRow("every read works")
            << 4 << QStringList{" Down ", "  ops", "desk", "\"night\" "};
        QTest::newRow("first read fails") << 0 << QStringList(4, QString());
        QTest::newRow("third read fails") << 2 << QStringList{" Down ", "  ops", "", ""};
        QTest::newRow("last read fails") << 3 << QStringList{" Down ", "  ops", "desk", ""};
    }
    void loadShowsWhatWasReadBeforeAFailure() {
        QFETCH(int, readsThatWork);
        QFETCH(QStringList, shown);
        TestEnvironment t;
        storeAlertValues(t, {" Down ", "  ops", "desk", "\"night\" "});
        const Factory<RegistryStore> working = t.env.registryStore;
        int created = 0;
        t.env.registryStore = [&]() -> std::unique_ptr<RegistryStore> {
            return created++ < readsThatWork ? working() : nullptr;
        };
        dlgOperatorName dialog(*t.ctx);
        dialog.Form_Load();
        QCOMPARE(shownIn(dialog), shown);

        created = 0;
        const QString log = t.folder.filePath(QStringLiteral("unattended.jsonl"));
        UnattendedSession session(log, QStringLiteral("cancel"));
        UnattendedOperatorName unattended(*t.ctx, session);
        unattended.Show();
        const QJsonObject loaded = jsonLines(log).value(0);
        QStringList recorded{loaded.value(QStringLiteral("message")).toString()};
        const QJsonArray destinations = loaded.value(QStringLiteral("destinations")).toArray();
        for (const auto& destination : destinations) {
            recorded.append(destination.toString());
        }
        QCOMPARE(recorded, shown);
    }

    void eachDestinationBoxSaysWhatADestinationMayBe() {
        TestEnvironment t;
        dlgOperatorName dialog(*t.ctx);
        for (const QString& name :
             {QStringLiteral("Text1_0"), QStringLiteral("Text1_1"), QStringLiteral("Text1_2")}) {
            const QString tip = dialog.findChild<QLineEdit*>(name)->toolTip();
            for (const char* kind : {"user name", "mailto:ADDRESS", "https://"}) {
                QVERIFY2(tip.contains(QLatin1String(kind)), qPrintable(name + ": " + tip));
            }
        }
    }

    void okSavesWhatWasTypedCancelNothing_data() {
        QTest::addColumn<QStringList>("typed");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<bool>("saved");
        const QStringList good{" Down ", " supervisor1 ", "", "\"help desk\""};
        QTest::newRow("ok saves as typed") << good << true << true;
        QTest::newRow("ok refused stays open")
            << QStringList{"Down", "supervisor1", "help desk", ""} << true << false;
        QTest::newRow("cancel") << good << false << false;
    }
    void okSavesWhatWasTypedCancelNothing() {
        QFETCH(QStringList, typed);
        QFETCH(bool, ok);
        QFETCH(bool, saved);
        TestEnvironment t;
        storeAlertValues(t, {"old", "one", "", ""});
        dlgOperatorName dialog(*t.ctx);
        dialog.Form_Load();
        dialog.show();
        type(dialog, typed);

        if (ok) {
            dialog.cmdOK_Click();
        } else {
            dialog.cmdCancel_Click();
        }

        QCOMPARE(dialog.isVisible(), ok && !saved);
        QCOMPARE(t.boxes.shown().size(), ok && !saved ? 1u : 0u);
        QCOMPARE(storedAlertValues(t), saved ? typed : QStringList({"old", "one", "", ""}));
    }

    // The menu command end to end: the modal dialog from the factory, typed into, Enter.
    void enterInTheShownDialogSaves() {
        TestEnvironment t;
        t.env.operatorNameDialog = [&] { return std::make_unique<dlgOperatorName>(*t.ctx); };
        bool answered = false;
        QTimer driver;
        driver.setInterval(0);
        QObject::connect(&driver, &QTimer::timeout, [&] {
            QWidget* modal = QApplication::activeModalWidget();
            if (modal == nullptr || modal->objectName() != QLatin1String("dlgOperatorName")) {
                return;
            }
            driver.stop();
            QTest::keyClicks(modal->findChild<QLineEdit*>(QStringLiteral("txtMsg")),
                             QStringLiteral("Core down"));
            QTest::keyClicks(modal->findChild<QLineEdit*>(QStringLiteral("Text1_2")),
                             QStringLiteral("ops"));
            QTest::keyClick(modal->findChild<QLineEdit*>(QStringLiteral("Text1_2")),
                            Qt::Key_Return);
            answered = true;
        });
        driver.start();
        QTimer::singleShot(10'000, &driver, [&] {
            driver.stop();
            if (QWidget* modal = QApplication::activeModalWidget()) {
                modal->close();
            }
        });

        NetSendSetup(*t.ctx);

        QVERIFY(answered);
        QCOMPARE(storedAlertValues(t), QStringList({"Core down", "", "", "ops"}));
    }

    // The refusals and tokens that fit nothing are the unattended dialogs' own test.
    void unattendedAnswersFromTheQueue_data() {
        QTest::addColumn<QString>("answers");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("cancel") << "cancel" << QStringList{"old", "one", "", ""};
        QTest::newRow("typed") << "ok:Core down;ops;;\"help desk\""
                               << QStringList{"Core down", "ops", "", "\"help desk\""};
    }
    void unattendedAnswersFromTheQueue() {
        QFETCH(QString, answers);
        QFETCH(QStringList, expected);
        TestEnvironment t;
        storeAlertValues(t, {"old", "one", "", ""});
        const QString log = t.folder.filePath(QStringLiteral("unattended.jsonl"));
        UnattendedSession session(log, answers);
        UnattendedOperatorName dialog(*t.ctx, session);

        dialog.Show();

        QCOMPARE(storedAlertValues(t), expected);
        const QList<QJsonObject> lines = jsonLines(log);
        QCOMPARE(lines.size(), 2);
        QCOMPARE(lines[0].value(QStringLiteral("message")).toString(), QStringLiteral("old"));
    }
};

QTEST_MAIN(TestOperatorNameDialog)
#include "TestOperatorNameDialog.moc"
