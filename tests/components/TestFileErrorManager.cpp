#include "components/FileErrorManager.h"
#include "fakes/ScriptedMessageBoxes.h"
#include "fakes/SettableClock.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace hvx;

namespace {

QByteArrayList logLines(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QByteArrayList lines = file.readAll().split('\n');
    if (!lines.isEmpty() && lines.last().isEmpty()) {
        lines.removeLast();
    }
    return lines;
}

void report(ErrorManager& manager, const QString& text, bool trace) {
    manager.SetErrorText(text);
    manager.Report(trace);
}

}  // namespace

class TestFileErrorManager : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    test::SettableClock clock_;
    test::ScriptedMessageBoxes boxes_;

    QString freshLog(const char* name) { return dir_.filePath(QString::fromLatin1(name)); }

  private Q_SLOTS:
    void linesAreStampedAndMarked() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(freshLog("marks.txt"));
        report(manager, QStringLiteral("Started"), true);
        report(manager, QStringLiteral("Closed\r\n"), true);
        report(manager, QStringLiteral("Overflow (Code 11051 in HvxMonitor.exe)"), false);
        const auto lines = logLines(manager.LogFile());
        QCOMPARE(lines.size(), 3);
        QCOMPARE(lines[0], QByteArray("2026-11-23 10:00:00  TRACE  Started"));
        QCOMPARE(lines[1], QByteArray("2026-11-23 10:00:00  TRACE  Closed"));
        QVERIFY(lines[2].endsWith("  ERROR  Overflow (Code 11051 in HvxMonitor.exe)"));
    }

    void errorsAreShownOnlyUntilStartupIsComplete() {
        FileErrorManager manager(clock_, &boxes_);
        manager.SetLogFile(freshLog("shown.txt"));
        report(manager, QStringLiteral("during start"), false);
        report(manager, QStringLiteral("a trace during start"), true);
        manager.SetStartupComplete(true);
        report(manager, QStringLiteral("after start"), false);
        QCOMPARE(boxes_.texts(), QStringList{QStringLiteral("during start")});
        QCOMPARE(logLines(manager.LogFile()).size(), 3);
    }

    void staysWithinItsLimitAndKeepsTheNewestLines() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(freshLog("limit.txt"));
        manager.SetLogFileLimit(1.0);
        const qint64 limit = 1024LL * 1024;
        qint64 largest = 0;
        for (int i = 1; i <= 100000; ++i) {
            report(manager, QStringLiteral("line %1 of the trace").arg(i), true);
            largest = std::max(largest, QFileInfo(manager.LogFile()).size());
        }
        QVERIFY2(largest <= limit, qPrintable(QString::number(largest)));
        const auto lines = logLines(manager.LogFile());
        QVERIFY(lines.last().endsWith("line 100000 of the trace"));
        // Whole lines only, and in order: each line's number is one more than the previous one.
        const auto numberOf = [](const QByteArray& line) { return line.split(' ').at(6).toInt(); };
        for (qsizetype i = 1; i < lines.size(); ++i) {
            QCOMPARE(numberOf(lines[i]), numberOf(lines[i - 1]) + 1);
        }
        QVERIFY(lines.size() > 10000);
    }

    void clearLogFileEmptiesIt() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(freshLog("clear.txt"));
        report(manager, QStringLiteral("something"), true);
        manager.ClearLogFile();
        QCOMPARE(QFileInfo(manager.LogFile()).size(), 0);
        report(manager, QStringLiteral("after clearing"), true);
        QCOMPARE(logLines(manager.LogFile()).size(), 1);
    }

    void anUnwritableFolderCostsTheLineOnly() {
        FileErrorManager manager(clock_, &boxes_);
        manager.SetLogFile(QStringLiteral("/proc/no-such-folder/monitorlog.txt"));
        report(manager, QStringLiteral("lost line"), false);
        // The operator still hears of the error during start-up.
        QVERIFY(boxes_.texts().contains(QStringLiteral("lost line")));
        QVERIFY(!QFile::exists(manager.LogFile()));
    }

    void concealedTextsNeverReachTheLog() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(freshLog("secret.txt"));
        manager.Conceal(QStringLiteral("s3cr3t"));
        report(manager, QStringLiteral("login failed for pwd=s3cr3t;"), false);
        const auto lines = logLines(manager.LogFile());
        QVERIFY(!lines[0].contains("s3cr3t"));
        QVERIFY(lines[0].endsWith("pwd=********;"));
    }
};

QTEST_GUILESS_MAIN(TestFileErrorManager)
#include "TestFileErrorManager.moc"
