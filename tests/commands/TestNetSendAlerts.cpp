#include "AlertValues.h"
#include "channel/ProcedureCodes.h"
#include "commands/NetSendAlerts.h"
#include "fakes/TestEnvironment.h"
#include "fakes/TestFiles.h"
#include "platform/Dialogs.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

QString makeProgram(const QString& folder, bool executable = true) {
    QString path = folder + QStringLiteral("/hvx-net-send");
    writeFile(path, "#!/bin/sh\n");
    QFile::setPermissions(path, executable ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                           : QFile::ReadOwner | QFile::WriteOwner);
    return path;
}

// Sets PATH for one test and puts it back.
class ScopedPath {
  public:
    explicit ScopedPath(const QString& path) : saved_(qgetenv("PATH")) {
        qputenv("PATH", path.toLocal8Bit());
    }
    ~ScopedPath() { qputenv("PATH", saved_); }

  private:
    QByteArray saved_;
};

class CountingDialog final : public OperatorNameDialog {
  public:
    explicit CountingDialog(int& shown) : shown_(shown) {}
    void Show() override { ++shown_; }

  private:
    int& shown_;
};

}  // namespace

class TestNetSendAlerts : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void sendsOneRunPerDestination_data() {
        QTest::addColumn<QString>("message");
        QTest::addColumn<QStringList>("destinations");
        QTest::addColumn<QStringList>("expected");
        const QStringList usual{"supervisor1", "", "help-desk-pc"};
        QTest::newRow("message of only spaces") << "    " << usual << QStringList();
        QTest::newRow("empty message") << "" << usual << QStringList();
        QTest::newRow("destinations 1 and 3")
            << "Monitor error" << usual << usual.mid(0, 1) + usual.mid(2);
        QTest::newRow("blank destination skipped, ends kept")
            << " Monitor error " << QStringList{"   ", " supervisor1 ", ""}
            << QStringList{" supervisor1 "};
        QTest::newRow("quoted destination is one argument")
            << "Monitor error" << QStringList{"", "\"help desk\"", ""}
            << QStringList{"\"help desk\""};
        QTest::newRow("shell characters are data")
            << "It's \"down\"; $(touch pwned) `id` | cat > x && echo $HOME"
            << QStringList{"ops;touch pwned", "$(id)", "`id` 'a' \"b\""}
            << QStringList{"ops;touch pwned", "$(id)", "`id` 'a' \"b\""};
    }
    void sendsOneRunPerDestination() {
        QFETCH(QString, message);
        QFETCH(QStringList, destinations);
        QFETCH(QStringList, expected);
        TestEnvironment t;
        const QString program = makeProgram(t.env.applicationFolder);
        storeAlertValues(t, QStringList{message} + destinations);

        SendOperatorAlerts(*t.ctx);

        QCOMPARE(t.launcher.starts.size(), static_cast<std::size_t>(expected.size()));
        for (int i = 0; i < expected.size(); ++i) {
            QCOMPARE(t.launcher.starts[i].program, program);
            QCOMPARE(t.launcher.starts[i].arguments, QStringList({expected[i], message}));
            QCOMPARE(t.launcher.starts[i].style, WindowStyle::Minimized);
        }
        QVERIFY(t.errors().reports.isEmpty());
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
        const ScopedPath path(pathFolder.path());
        storeAlertValues(t, {QStringLiteral("Monitor error"), QStringLiteral("supervisor1")});

        SendOperatorAlerts(*t.ctx);

        if (expected.isEmpty()) {
            QVERIFY(t.launcher.starts.empty());
        } else {
            QCOMPARE(t.launcher.starts.size(), 1u);
            QCOMPARE(t.launcher.starts[0].program,
                     expected == QLatin1String("beside") ? besidePath : pathProgram);
        }
        QVERIFY(t.errors().reports.isEmpty());
    }

    void aFailedStartEndsTheBatchSilently() {
        TestEnvironment t;
        makeProgram(t.env.applicationFolder);
        storeAlertValues(t, {"Monitor error", "one", "two", "three"});
        t.launcher.failWith = LaunchResult{false, 8, QStringLiteral("Exec format error")};

        SendOperatorAlerts(*t.ctx);

        QCOMPARE(t.launcher.starts.size(), 1u);
        QVERIFY(t.errors().reports.isEmpty());
        QVERIFY(t.boxes.shown().empty());
        QCOMPARE(t.ctx->procedureCode, code::kSendOperatorAlerts);
    }

    void okAppliesTheQuotesRule_data() {
        QTest::addColumn<QStringList>("destinations");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("plain names") << QStringList{"supervisor1", "", "help-desk-pc"} << true;
        QTest::newRow("blanks only at the ends") << QStringList{"  supervisor1  ", " ", ""} << true;
        QTest::newRow("inner space") << QStringList{"help desk", "", ""} << false;
        QTest::newRow("opening quote only") << QStringList{"\"help desk", "", ""} << false;
        QTest::newRow("closing quote only") << QStringList{"help desk\"", "", ""} << false;
        QTest::newRow("quotes at both ends") << QStringList{"\"help desk\"", "", ""} << true;
        QTest::newRow("quotes inside end blanks")
            << QStringList{"  \"help desk\" ", "", ""} << true;
        QTest::newRow("offender in the third box") << QStringList{"ok", "", "a b"} << false;
        QTest::newRow("two offenders") << QStringList{"a b", "c d", ""} << false;
    }
    void okAppliesTheQuotesRule() {
        QFETCH(QStringList, destinations);
        QFETCH(bool, accepted);
        TestEnvironment t;
        const AlertSetup setup{QStringLiteral(" Monitor error "),
                               {destinations[0], destinations[1], destinations[2]}};

        QCOMPARE(SaveAlertSetup(*t.ctx, setup), accepted);

        if (accepted) {
            QVERIFY(t.boxes.shown().empty());
            QCOMPARE(storedAlertValues(t), QStringList{setup.message} + destinations);
        } else {
            QCOMPARE(t.boxes.shown().size(), 1u);
            const MessageBoxRequest& box = t.boxes.shown()[0];
            QCOMPARE(
                box.text,
                QStringLiteral("Net Send destinations with spaces must be contained in quotes."));
            QCOMPARE(box.title.value_or(QString()), t.ctx->applicationTitle);
            QCOMPARE(box.icon, MessageIcon::Exclamation);
            QCOMPARE(box.buttons, MessageButtons::OkOnly);
            QCOMPARE(storedAlertValues(t), QStringList(4, QStringLiteral("<missing>")));
        }
    }

    void setupShowsTheDialogOrReportsItsAbsence() {
        TestEnvironment t;
        NetSendSetup(*t.ctx);
        QCOMPARE(t.errors().reports.size(), 1);
        QVERIFY(t.errors().reports[0].endsWith(QStringLiteral("(Code 11110 in HvxMonitor.exe)")));

        int shown = 0;
        t.env.operatorNameDialog = [&] { return std::make_unique<CountingDialog>(shown); };
        NetSendSetup(*t.ctx);
        QCOMPARE(shown, 1);
        QCOMPARE(t.errors().reports.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestNetSendAlerts)
#include "TestNetSendAlerts.moc"
