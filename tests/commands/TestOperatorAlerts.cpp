// Operator alerts: the batch that runs hvx-net-send once per destination, and the set-up
// dialog with its unattended edition.
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
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::StringLiterals;
using namespace hvx;
using namespace hvx::test;

namespace {

const QStringList kAlertValues{"AlertMsg", "AlertOp1", "AlertOp2", "AlertOp3"};
const QStringList kStored{"old", "one", "", ""};

// The message, then the destinations.
void storeAlertValues(TestEnvironment& t, const QStringList& values) {
    for (int i = 0; i < values.size(); ++i) {
        t.setControl(qPrintable(kAlertValues[i]), values[i], u"Options"_s);
    }
}

// "<missing>" for a value that is not there.
QStringList storedAlertValues(TestEnvironment& t) {
    QStringList values;
    for (const QString& name : kAlertValues) {
        values.append(t.control(qPrintable(name), u"Options"_s));
    }
    return values;
}

QString makeProgram(const QString& folder, bool executable = true) {
    QString path = folder + u"/hvx-net-send"_s;
    if (executable) {
        writeScript(path, {});
    } else {
        writeFile(path, "#!/bin/sh\n");
    }
    return path;
}

QLineEdit* box(const QWidget& dialog, int i) {
    static const QStringList names{"txtMsg", "Text1_0", "Text1_1", "Text1_2"};
    return dialog.findChild<QLineEdit*>(names[i]);
}

}  // namespace

class TestOperatorAlerts : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void sendsOneRunPerDestination_data() {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("destinations");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("startsFail");
        QTest::newRow("message of only spaces")
            << "    " << QStringList{"supervisor1"} << QStringList() << false;
        QTest::newRow("destinations 1 and 3, untrimmed")
            << " Monitor error " << QStringList{" supervisor1 ", "   ", "help-desk-pc"}
            << QStringList{" supervisor1 ", "help-desk-pc"} << false;
        QTest::newRow("shell characters are data")
            << "It's \"down\"; $(touch pwned) `id` | cat > x && echo $HOME"
            << QStringList{"ops;touch pwned", "$(id)", "\"help desk\" 'a'"}
            << QStringList{"ops;touch pwned", "$(id)", "\"help desk\" 'a'"} << false;
        // The destinations after a failed start get nothing, and nobody is told.
        QTest::newRow("a failed start ends the batch")
            << "Monitor error" << QStringList{"one", "two", "three"} << QStringList{"one"} << true;
    }
    void sendsOneRunPerDestination() {
        QFETCH(QString, message);
        QFETCH(QStringList, destinations);
        QFETCH(QStringList, expected);
        QFETCH(bool, startsFail);
        TestEnvironment t;
        const QString program = makeProgram(t.env.applicationFolder);
        storeAlertValues(t, QStringList{message} + destinations);
        if (startsFail) {
            t.launcher.failWith = LaunchResult{false, 8, u"Exec format error"_s};
        }

        SendOperatorAlerts(*t.ctx);

        QCOMPARE(t.launcher.starts.size(), static_cast<std::size_t>(expected.size()));
        for (int i = 0; i < expected.size(); ++i) {
            QCOMPARE(t.launcher.starts[i].program, program);
            QCOMPARE(t.launcher.starts[i].arguments, QStringList({expected[i], message}));
            QCOMPARE(t.launcher.starts[i].style, WindowStyle::Minimized);
        }
        QVERIFY(t.errors().reports.isEmpty());
        QVERIFY(t.boxes.shown().empty());
    }

    void findsTheProgramBesideThenOnThePath_data() {
        QTest::addColumn<int>("beside");  // 0 none, 1 executable, 2 not executable
        QTest::addColumn<bool>("onPath");
        QTest::addColumn<int>("found");  // 0 none, 1 beside, 2 on the path
        QTest::newRow("beside wins") << 1 << true << 1;
        QTest::newRow("only on the path") << 0 << true << 2;
        QTest::newRow("not executable beside") << 2 << true << 2;
        QTest::newRow("nowhere") << 0 << false << 0;
    }
    void findsTheProgramBesideThenOnThePath() {
        QFETCH(int, beside);
        QFETCH(bool, onPath);
        QFETCH(int, found);
        TestEnvironment t;
        QTemporaryDir pathFolder;
        const QString programs[] = {
            QString(), beside == 0 ? QString() : makeProgram(t.env.applicationFolder, beside == 1),
            onPath ? makeProgram(pathFolder.path()) : QString()};
        const auto restorePath = qScopeGuard([saved = qgetenv("PATH")] { qputenv("PATH", saved); });
        qputenv("PATH", pathFolder.path().toLocal8Bit());
        storeAlertValues(t, {u"Monitor error"_s, u"supervisor1"_s});

        SendOperatorAlerts(*t.ctx);

        QCOMPARE(t.launcher.starts.size(), found == 0 ? 0u : 1u);
        QVERIFY(found == 0 || t.launcher.starts[0].program == programs[found]);
        QVERIFY(t.errors().reports.isEmpty());
    }

    void setupWithoutItsDialogIsReported() {
        TestEnvironment t;
        NetSendSetup(*t.ctx);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(t.errors().reports[0].endsWith(u"(Code 11110 in HvxMonitor.exe)"_s));
    }

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
        QStringList texts;
        for (int i = 0; i < 4; ++i) {
            texts.append(box(dialog, i)->text());
        }
        QCOMPARE(texts, shown);

        created = 0;
        const QString log = t.folder.filePath(u"unattended.jsonl"_s);
        UnattendedSession session(log, u"cancel"_s);
        UnattendedOperatorName(*t.ctx, session).Show();
        const QJsonObject loaded = jsonLines(log).value(0);
        texts = QStringList{loaded.value(u"message"_s).toString()};
        for (const auto& destination : loaded.value(u"destinations"_s).toArray()) {
            texts.append(destination.toString());
        }
        QCOMPARE(texts, shown);
    }

    // A destination with an inner blank needs quotes at both ends, or OK is refused.
    void okSavesWhatWasTypedCancelNothing_data() {
        QTest::addColumn<QStringList>("typed");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<bool>("saved");
        const QStringList good{" Down ", "  supervisor1  ", "  \"help desk\" ", ""};
        QTest::newRow("ok saves as typed") << good << true << true;
        QTest::newRow("cancel") << good << false << false;
        QTest::newRow("inner blank") << QStringList{"Down", "help desk", "", ""} << true << false;
        QTest::newRow("opening quote only")
            << QStringList{"Down", "\"help desk", "", ""} << true << false;
        QTest::newRow("closing quote only")
            << QStringList{"Down", "help desk\"", "", ""} << true << false;
        QTest::newRow("offender in the third box")
            << QStringList{"Down", "ops", "", "a b"} << true << false;
    }
    void okSavesWhatWasTypedCancelNothing() {
        QFETCH(QStringList, typed);
        QFETCH(bool, ok);
        QFETCH(bool, saved);
        TestEnvironment t;
        storeAlertValues(t, kStored);
        dlgOperatorName dialog(*t.ctx);
        dialog.Form_Load();
        dialog.show();
        for (int i = 0; i < 4; ++i) {
            box(dialog, i)->setText(typed[i]);
        }

        if (ok) {
            dialog.cmdOK_Click();
        } else {
            dialog.cmdCancel_Click();
        }

        QCOMPARE(dialog.isVisible(), ok && !saved);
        QCOMPARE(storedAlertValues(t), saved ? typed : kStored);
        QCOMPARE(t.boxes.texts(),
                 ok && !saved
                     ? QStringList{"Net Send destinations with spaces must be contained in quotes."}
                     : QStringList());
    }

    // The menu command end to end: the modal dialog from the factory, typed into, Enter.
    void enterInTheShownDialogSaves() {
        TestEnvironment t;
        t.env.operatorNameDialog = [&] { return std::make_unique<dlgOperatorName>(*t.ctx); };
        bool answered = false;
        const QObject scope;
        QTimer::singleShot(0, &scope, [&] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                QTest::keyClicks(box(*modal, 0), u"Core down"_s);
                QTest::keyClicks(box(*modal, 3), u"ops"_s);
                QTest::keyClick(box(*modal, 3), Qt::Key_Return);
                answered = true;
            }
        });
        // Should Enter not close it, the test goes on.
        QTimer::singleShot(10'000, &scope, [] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                modal->close();
            }
        });

        NetSendSetup(*t.ctx);

        QVERIFY(answered);
        QCOMPARE(storedAlertValues(t), QStringList({"Core down", "", "", "ops"}));
    }

    // The refusals and tokens that fit nothing are the unattended dialogs' own test.
    void unattendedTakesTheTypedTexts() {
        TestEnvironment t;
        storeAlertValues(t, kStored);
        UnattendedSession session(t.folder.filePath(u"unattended.jsonl"_s),
                                  u"ok:Core down;ops;;\"help desk\""_s);

        UnattendedOperatorName(*t.ctx, session).Show();

        QCOMPARE(storedAlertValues(t), QStringList({"Core down", "ops", "", "\"help desk\""}));
    }
};

QTEST_MAIN(TestOperatorAlerts)
#include "TestOperatorAlerts.moc"
