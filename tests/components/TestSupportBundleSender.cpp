#include "components/FileErrorManager.h"
#include "components/SupportBundleSender.h"
#include "fakes/FakeOsServices.h"
#include "fakes/ScriptedMessageBoxes.h"
#include "fakes/SettableClock.h"
#include "fakes/TestFiles.h"
#include "platform/posix/QProcessProgramRunner.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;

class TestSupportBundleSender : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // A stand-in xdg-email on PATH ends as the row says; on failure it tells its arguments.
    void theOperatorLearnsHowTheHandOverWent_data() {
        QTest::addColumn<QByteArray>("script");
        QTest::addColumn<QString>("expected");
        QTest::newRow("mail program refuses")
            << QByteArray("echo \"$*\" >&2\nexit 3\n")
            << QStringLiteral(
                   "Your mail program could not take the support bundle (--subject HvxMonitor log "
                   "--attach %1). The support bundle lies at:\r\n%1\r\nPlease send it to support.");
        QTest::newRow("mail program takes it")
            << QByteArray("exit 0\n")
            << QStringLiteral("Your mail program has been asked to send the support bundle:\r\n%1");
        QTest::newRow("no mail program")
            << QByteArray()
            << QStringLiteral(
                   "No mail program could be started. The support bundle lies "
                   "at:\r\n%1\r\nPlease send it to support.");
    }

    void theOperatorLearnsHowTheHandOverWent() {
        QFETCH(QByteArray, script);
        QFETCH(QString, expected);
        const QTemporaryDir dir;
        QVERIFY(script.isEmpty() ||
                test::writeScript(dir.filePath(QStringLiteral("xdg-email")), script));
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(dir.path()));

        test::SettableClock clock;
        FileErrorManager errors(clock, nullptr);
        errors.SetLogFile(dir.filePath(QStringLiteral("monitorlog.txt")));
        errors.SetErrorText(QStringLiteral("a line of the log"));
        bool trace = true;
        errors.Report(trace);
        test::ScriptedMessageBoxes boxes;
        QProcessProgramRunner runner;
        SupportBundleSender sender(clock, boxes, runner, QStringLiteral("Help Desk Monitor"));
        sender.SetErrorManager(&errors);
        test::FakeFileOpener opener;
        sender.setFolderOpener(&opener);
        const bool sent = sender.SendLog();
        qputenv("PATH", path);

        const QStringList bundles =
            QDir(dir.path()).entryList({QStringLiteral("support-*.txt")}, QDir::Files);
        QCOMPARE(bundles.size(), 1);
        const QString bundle = dir.filePath(bundles.front());
        QCOMPARE(boxes.texts(), QStringList{expected.arg(bundle)});
        QCOMPARE(sent, expected.startsWith(QLatin1String("Your mail program has been")));
        // Where the hand-over failed, the file manager shows the bundle to send by hand.
        QCOMPARE(opener.openedFolders, sent ? QStringList() : QStringList{dir.path()});
        QFile content(bundle);
        QVERIFY(content.open(QIODevice::ReadOnly));
        QVERIFY(content.readAll().endsWith("  TRACE  a line of the log\n"));
    }
};

QTEST_GUILESS_MAIN(TestSupportBundleSender)
#include "TestSupportBundleSender.moc"
