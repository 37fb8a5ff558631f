#include "AlertValues.h"
#include "commands/NetSendAlerts.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"

#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

QString makeProgram(const QString& folder, bool executable = true) {
    const QString path = folder + QStringLiteral("/hvx-net-send");
    if (executable) {
        writeScript(path, {});
    } else {
        writeFile(path, "#!/bin/sh\n");
    }
    return path;
}

}  // namespace

class TestNetSendAlerts : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void sendsOneRunPerDestination_data() {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("destinations");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<bool>("startsFail");
        const QStringList usual{"supervisor1", "", "help-desk-pc"};
        QTest::newRow("message of only spaces") << "    " << usual << QStringList() << false;
        QTest::newRow("destinations 1 and 3")
            << "Monitor error" << usual << usual.mid(0, 1) + usual.mid(2) << false;
        QTest::newRow("blank destination skipped, ends kept")
            << " Monitor error " << QStringList{"   ", " supervisor1 ", ""}
            << QStringList{" supervisor1 "} << false;
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
            t.launcher.failWith = LaunchResult{false, 8, QStringLiteral("Exec format error")};
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
        QTest::addColumn<QString>("expected");  // "beside", "path" or "" for no run
        QTest::newRow("beside wins") << 1 << true << "beside";
        QTest::newRow("only on the path") << 0 << true << "path";
        QTest::newRow("not executable beside") << 2 << true << "path";
        QTest::newRow("nowhere") << 0 << false << "";
    }
    void findsTheProgramBesideThenOnThePath() {
        QFETCH(int, beside);
        QFETCH(bool, onPath);
        QFETCH(QString, expected);
        TestEnvironment t;
        QTemporaryDir pathFolder;
        const QString besidePath =
            beside == 0 ? QString() : makeProgram(t.env.applicationFolder, beside == 1);
        const QString pathProgram = onPath ? makeProgram(pathFolder.path()) : QString();
        const auto restorePath = qScopeGuard([saved = qgetenv("PATH")] { qputenv("PATH", saved); });
        qputenv("PATH", pathFolder.path().toLocal8Bit());
        storeAlertValues(t, {QStringLiteral("Monitor error"), QStringLiteral("supervisor1")});

        SendOperatorAlerts(*t.ctx);

        QStringList started;
        for (const auto& start : t.launcher.starts) {
            started.append(start.program);
        }
        QCOMPARE(started,
                 expected.isEmpty()
                     ? QStringList()
                     : QStringList{expected == QLatin1String("beside") ? besidePath : pathProgram});
        QVERIFY(t.errors().reports.isEmpty());
    }

    void setupWithoutItsDialogIsReported() {
        TestEnvironment t;
        NetSendSetup(*t.ctx);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(t.errors().reports[0].endsWith(QStringLiteral("(Code 11110 in HvxMonitor.exe)")));
    }
};

QTEST_GUILESS_MAIN(TestNetSendAlerts)
#include "TestNetSendAlerts.moc"
