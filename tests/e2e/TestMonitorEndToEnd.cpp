#include "PrivateSessionBus.h"
#include "fakes/TestFiles.h"
#include "support/Installation.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QTest>

#include <sys/mount.h>
#include <csignal>

using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

const QString kTitle = u"Help Desk Monitor"_s;
const QString kRunning = kTitle + " (Running)";
const QString kSuspended = kTitle + " (Suspended)";
const QString kCore = kTitle + " Timer";

// An installation with a demo file database beside the program, as every test here starts from.
struct DemoInstallation : Installation {
    explicit DemoInstallation(const QString& name, bool autoStart = true) : Installation(name) {
        ok = createDatabase(app, true);
        if (ok && autoStart) {
            setSetting("AutoStartMonitor", "1");
        }
    }
    // The Monitor once it supervises the core application; null when it does not in time.
    QProcess* startSupervising(const QString& answers = u"keep"_s) {
        QProcess* monitor = startMonitor(answers);
        return QTest::qWaitFor([this] { return window(kRunning); }, kPatienceMs) ? monitor
                                                                                 : nullptr;
    }
    bool ok = false;
};

QStringList damagedStoresIn(const QString& folder) {
    return QDir(folder)
        .entryList({u"registry.sqlite3.damaged-*"_s})
        .filter(QRegularExpression(u"damaged-[0-9-]+$"_s));
}

int monitorLoggedIn(const Installation& i) {
    return i.query(u"select LoggedIn from SystemUsers where Login = 'Monitor'"_s).toInt();
}

bool endsClosed(const QString& log) {
    return log.endsWith(u"  TRACE  Closed\n"_s);
}

}  // namespace

class TestMonitorEndToEnd : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // From the start to the orderly exit: the core runs, a second copy is refused, an error
    // reaches the desktop's notification service, suspend and resume go through the store,
    // and SIGTERM logs the Monitor out and sends the core the exit command.
    void supervisesTheCoreFromStartToExit() {
        PrivateSessionBus bus;
        RecordingNotifications service;
        QVERIFY(service.start(bus.address()));
        DemoInstallation i(u"e2e-supervise"_s);
        QVERIFY(i.ok);
        i.environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, QString::fromUtf8(bus.address()));
        QProcess* monitor = i.startSupervising();
        QVERIFY(monitor);
        QCOMPARE(i.control("State"), u"1"_s);
        QVERIFY(i.window(kCore));
        QCOMPARE(monitorLoggedIn(i), 1);
        QVERIFY(i.boxes().contains(u"\"kind\":\"dlgDeleteOldMessages\""_s));

        QProcess* second = i.startMonitor();
        QVERIFY(second->waitForFinished(kPatienceMs));
        QVERIFY(second->exitCode() != 0);
        QVERIFY(
            i.boxes().contains(u"Halvex Help Desk Monitor is already running on this computer"_s));

        i.setControl("ErrorInfo", u"Error 3021 in SendMail"_s);
        QTRY_COMPARE_WITH_TIMEOUT(service.calls.size(), 1, kPatienceMs);
        QVERIFY2(service.calls.front().endsWith(u"|Error 3021 in SendMail"_s),
                 qPrintable(service.calls.front()));

        i.setControl("Command", u"3"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kSuspended), kPatienceMs);
        QCOMPARE(i.control("State"), u"2"_s);
        i.setControl("Command", u"2"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);

        QVERIFY(Installation::terminate(monitor));
        QVERIFY2(endsClosed(i.log()), qPrintable(i.log()));
        QCOMPARE(monitorLoggedIn(i), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kCore), kPatienceMs);
    }

    // An instance whose database cannot be reached: the operator asks for the wizard, the
    // instance's db.ini is deleted, the wizard writes a new one beside the program, which is
    // copied into the instance's folder and deleted beside the program.
    void theWizardReplacesAnInstancesConnection() {
        Installation i(u"e2e-wizard"_s);
        const QString folder = i.dir.filePath(u"Sales"_s);
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(writeFile(folder + u"/db.ini"_s,
                          "[Database]\nType = SQLSERVER\nDriver = No Such Driver\n"
                          "Server = 127.0.0.1\nDatabase = helpdesk\n"));
        QVERIFY(writeFile(i.app + u"/monitornames.txt"_s, "Sales, " + folder.toUtf8() + "/\n"));
        const QString database = i.dir.filePath(u"fresh.sqlite3"_s);

        // A refused choice first, its box answered on its own; then the database manager's own
        // report of the failed connection, the wizard question and the wizard.
        QProcess* monitor =
            i.startMonitor(u"select:Nobody,ok,select:Sales,ok,yes,jet:"_s + database);
        QVERIFY2(QTest::qWaitFor([&] { return i.window(u"Sales Monitor"_s); }, kPatienceMs),
                 qPrintable(i.boxes()));

        QVERIFY(!QFile::exists(i.app + u"/db.ini"_s));
        QFile written(folder + u"/db.ini"_s);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QByteArray ini = written.readAll();
        QVERIFY2(ini.contains("JET") && ini.contains(database.toUtf8()), ini.constData());
        const QString boxes = i.boxes();
        for (const QString& shown :
             {u"{\"answer\":\"yes\",\"buttons\":\"YesNo\",\"icon\":\"question\",\"kind\":"
              u"\"messagebox\",\"text\":\"Do you want to run the Database Connection Wizard to "
              u"change the database connection information?\""_s,
              u"\"completed\":true"_s,
              u"{\"answer\":\"ok\",\"buttons\":\"OKOnly\",\"icon\":\"exclamation\",\"kind\":"
              u"\"messagebox\",\"text\":\"Please select a Monitor instance.\""_s}) {
            QVERIFY2(boxes.contains(shown), qPrintable(boxes));
        }
        QVERIFY(Installation::terminate(monitor));
    }

    void theLogOfAStartUpHoldsNoPassword_data() {
        QTest::addColumn<QString>("password");
        QTest::newRow("Monitor") << u"Monitor"_s;
        QTest::newRow("0") << u"0"_s;
        QTest::newRow("a") << u"a"_s;
        QTest::newRow("40 characters") << u"x7Qk-"_s.repeated(8);
    }
    void theLogOfAStartUpHoldsNoPassword() {
        QFETCH(QString, password);
        DemoInstallation i(u"e2e-password"_s);
        QVERIFY(i.ok);
        QFile ini(i.app + "/db.ini");
        QVERIFY(ini.open(QIODevice::Append));
        ini.write("Password=" + password.toUtf8() + "\n");
        ini.close();
        QProcess* monitor = i.startSupervising();
        QVERIFY(monitor);
        QVERIFY(Installation::terminate(monitor));
        const QString log = i.log();
        QVERIFY2(log.contains(u"  TRACE  Monitor Started\n"_s), qPrintable(log));
        QVERIFY2(!log.contains(u"****"_s), qPrintable(log));
        if (password.size() >= 8) {
            QVERIFY2(!log.contains(password), qPrintable(log));
        }
        // The core application still gets it through the control channel.
        QCOMPARE(i.control("Pwd"), password);
    }

    // The log folder is a 64 KB tmpfs that fills while the Monitor runs.
    void aFullLogFolderNeitherDamagesTheLogNorStopsSupervision() {
        DemoInstallation i(u"e2e-full-disk"_s);
        QVERIFY(i.ok);
        const QString folder = i.dir.filePath(u"data/halvex/help-desk"_s);
        QVERIFY(QDir().mkpath(folder));
        if (::mount("tmpfs", QFile::encodeName(folder).constData(), "tmpfs", 0, "size=64k") != 0) {
            QSKIP("a tmpfs cannot be mounted here (no privilege)");
        }
        const auto unmount =
            qScopeGuard([&] { ::umount2(QFile::encodeName(folder).constData(), MNT_DETACH); });
        i.setControl("Trace", u"1"_s, u"Options"_s);
        QProcess* monitor = i.startSupervising();
        QVERIFY(monitor);

        // Fill the folder to the last byte; the tick's trace lines then find no room.
        QFile filler(folder + "/filler");
        QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray block(512, 'f');
        while (filler.write(block) == block.size()) {
        }
        filler.write("f");
        filler.close();
        // The trace lines of a suspend and a resume use up the free end of the log's last page;
        // from then on a round leaves the log as it was, and supervision goes on.
        const QString logFile = folder + "/monitorlog.txt";
        qint64 before = -1;
        for (int round = 0; round < 60 && QFileInfo(logFile).size() != before; ++round) {
            before = QFileInfo(logFile).size();
            i.setControl("Command", u"3"_s);
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kSuspended), kPatienceMs);
            i.setControl("Command", u"2"_s);
            QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        }
        QVERIFY2(QFileInfo(logFile).size() == before, "the log folder never filled");

        QVERIFY(filler.remove());
        QVERIFY(Installation::terminate(monitor));
        const QString log = i.log();
        QVERIFY2(endsClosed(log), qPrintable(log.right(300)));
        // Stamped or a continuation, and no half line with the next one glued to it.
        static const QRegularExpression stamp(
            u"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d  (TRACE|ERROR)  "_s);
        for (const QString& line : log.chopped(1).split(u'\n')) {
            const QRegularExpressionMatch first = stamp.match(line);
            QVERIFY2(line.startsWith(u'\t') || first.capturedStart() == 0, qPrintable(line));
            QVERIFY2(!stamp.match(line, first.hasMatch() ? first.capturedEnd() : 0).hasMatch(),
                     qPrintable(line));
        }
    }

    // Ctrl-C asks like the close box, and a No keeps the Monitor running; the session's end
    // cannot be declined: the orderly shutdown, without a question.
    void signalsEndItAsTheOperatorOrTheSessionAsks_data() {
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGTERM") << int{SIGTERM};
        QTest::newRow("SIGHUP") << int{SIGHUP};
    }
    void signalsEndItAsTheOperatorOrTheSessionAsks() {
        QFETCH(int, signalNumber);
        DemoInstallation i(u"e2e-signals"_s, false);
        QVERIFY(i.ok);
        QProcess* monitor = i.startMonitor(u"no,no"_s);
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kTitle), kPatienceMs);
        const auto questions = [&i] {
            return i.boxes().count(u"\"kind\":\"dlgMessageWithTurnOff\""_s);
        };
        const auto send = [monitor](int number) {
            ::kill(static_cast<pid_t>(monitor->processId()), number);
        };
        send(SIGINT);
        QTRY_COMPARE_WITH_TIMEOUT(questions(), 1, kPatienceMs);
        // Were the No to close it, the second Ctrl-C would find nobody to ask.
        send(SIGINT);
        QTRY_COMPARE_WITH_TIMEOUT(questions(), 2, kPatienceMs);
        send(signalNumber);
        QVERIFY(monitor->waitForFinished(kPatienceMs));
        QCOMPARE(monitor->exitStatus(), QProcess::NormalExit);
        QCOMPARE(questions(), 2);
        QVERIFY2(endsClosed(i.log()), qPrintable(i.log()));
        QCOMPARE(i.control("Command"), u"5"_s);
    }

    // A store that cannot be used is named before anything starts. A damaged one, found at the
    // start or under the running programs, is put aside, said once, and the Monitor and the core
    // application go on with a fresh one, so the exit command still reaches the core.
    void aStoreThatCannotBeUsedIsNamed_data() {
        QTest::addColumn<QString>("damage");
        QTest::newRow("random bytes") << u"random"_s;
        QTest::newRow("a folder in its place") << u"folder"_s;
        QTest::newRow("a file that cannot be written") << u"read-only"_s;
    }
    void aStoreThatCannotBeUsedIsNamed() {
        QFETCH(QString, damage);
        DemoInstallation i("e2e-store-" + damage);
        QVERIFY(i.ok);
        const QString path = i.registry;
        QByteArray bytes(8192, 'r');
        if (damage == "read-only") {
            i.setControl("Command", u"0"_s);  // its close folds the journal in
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            bytes = file.readAll();
        }
        QVERIFY(damage == "folder" ? QDir().mkpath(path) : writeFile(path, bytes));
        if (damage == "read-only") {
            QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
            i.withoutFileOverride = true;
        }
        QProcess* monitor = i.startMonitor(u"ok,keep"_s);
        if (damage != "random") {
            QVERIFY(monitor->waitForFinished(kPatienceMs));
            QVERIFY(monitor->exitCode() != 0);
            QVERIFY2(i.boxes().contains(path + " cannot be used"), qPrintable(i.boxes()));
            QVERIFY(!i.window(kCore));
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(i.window(kRunning), kPatienceMs);
        QVERIFY2(i.boxes().contains(path + " was damaged"), qPrintable(i.boxes()));
        const QStringList kept = damagedStoresIn(i.dir.path());
        QCOMPARE(kept.size(), 1);
        QFile keptFile(i.dir.filePath(kept[0]));
        QVERIFY(keptFile.open(QIODevice::ReadOnly));
        QCOMPARE(keptFile.readAll(), bytes);

        const qsizetype toldBefore = i.log().count(path + " was damaged");
        QVERIFY(writeFile(path, QByteArray(8192, 'x')));
        QTRY_VERIFY_WITH_TIMEOUT(i.log().count(path + " was damaged") > toldBefore, kPatienceMs);
        QCOMPARE(damagedStoresIn(i.dir.path()).size(), 2);
        // The core application reports to the fresh store, and the Monitor reads it there.
        QTRY_COMPARE_WITH_TIMEOUT(i.control("State"), u"1"_s, kPatienceMs);
        QVERIFY(Installation::terminate(monitor));
        QTRY_VERIFY_WITH_TIMEOUT(!i.window(kCore), kPatienceMs);
    }
};

QTEST_GUILESS_MAIN(TestMonitorEndToEnd)
#include "TestMonitorEndToEnd.moc"
