#include "components/FileErrorManager.h"
#include "components/SupportBundleSender.h"
#include "fakes/ScriptedMessageBoxes.h"
#include "fakes/SettableClock.h"
#include "fakes/TestFiles.h"
#include "platform/ProgramRunner.h"
#include "platform/RuntimeError.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <csignal>

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

class NoMailProgram final : public ProgramRunner {
  public:
    ProgramOutcome run(const QString&, const QStringList&, int) override { return {}; }
};

// A full disk as the log's writes meet it, without privileges: a file size limit on this
// process, with SIGXFSZ ignored so that a write beyond it fails instead of ending the process.
// (The end-to-end test fills a real 64 KB tmpfs where one can be mounted.)
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        rlimit limit = saved_;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
        previous_ = std::signal(SIGXFSZ, SIG_IGN);
    }
    ~FileSizeLimit() { lift(); }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    void lift() {
        if (previous_ != SIG_ERR) {
            ::setrlimit(RLIMIT_FSIZE, &saved_);
            std::signal(SIGXFSZ, previous_);
            previous_ = SIG_ERR;
        }
    }

  private:
    rlimit saved_{};
    void (*previous_)(int) = SIG_ERR;
};

}  // namespace

class TestFileErrorManager : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    test::SettableClock clock_;
    test::ScriptedMessageBoxes boxes_;

    QString freshLog(const char* name) { return dir_.filePath(QString::fromLatin1(name)); }

  private Q_SLOTS:
    void linesAreStampedAndMarkedAndClearingEmptiesTheFile() {
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
        manager.ClearLogFile();
        QCOMPARE(QFileInfo(manager.LogFile()).size(), 0);
        report(manager, QStringLiteral("after clearing"), true);
        QCOMPARE(logLines(manager.LogFile()).size(), 1);
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

    void anUnwritableFolderCostsTheLineOnly() {
        FileErrorManager manager(clock_, &boxes_);
        manager.SetLogFile(QStringLiteral("/proc/no-such-folder/monitorlog.txt"));
        report(manager, QStringLiteral("lost line"), false);
        // The operator still hears of the error during start-up.
        QVERIFY(boxes_.texts().contains(QStringLiteral("lost line")));
        QVERIFY(!QFile::exists(manager.LogFile()));
    }

    void oneReportCannotWipeOrForgeTheLog() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(freshLog("hostile.txt"));
        manager.SetLogFileLimit(1.0);
        for (int i = 1; i <= 50; ++i) {
            report(manager, QStringLiteral("earlier line %1").arg(i), true);
        }
        // What a hostile core application could put in Status and State.
        report(manager, QString(1'200'000, QLatin1Char('s')), true);
        report(manager, QStringLiteral("999\r\n2026-01-01 00:00:00  ERROR  forged"), false);
        const auto lines = logLines(manager.LogFile());
        QVERIFY(lines.size() >= 53);
        for (int i = 1; i <= 50; ++i) {
            QVERIFY(lines[i - 1].endsWith("  TRACE  earlier line " + QByteArray::number(i)));
        }
        for (const QByteArray& line : lines) {
            QVERIFY2(line.startsWith("2026-11-23 10:00:00  ") || line.startsWith('\t'),
                     line.left(60).constData());
        }
        QVERIFY(QFileInfo(manager.LogFile()).size() < 100'000);
    }

    void aPlantedFileIsNeverWritten_data() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("symbolic link") << QStringLiteral("symlink");
        QTest::newRow("dangling symbolic link") << QStringLiteral("dangling");
        QTest::newRow("hard link") << QStringLiteral("hardlink");
        QTest::newRow("FIFO") << QStringLiteral("fifo");
    }

    // Appends, a trim, Clear Log File and Send Log File through a log folder where somebody
    // planted monitorlog.txt and a support bundle's name.
    void aPlantedFileIsNeverWritten() {
        QFETCH(QString, kind);
        const QTemporaryDir folder;
        const QString victim = folder.filePath(QStringLiteral("victim.txt"));
        const QString log = folder.filePath(QStringLiteral("monitorlog.txt"));
        const QByteArray precious = "precious\ncontent";
        if (kind != QLatin1String("dangling")) {
            QVERIFY(test::writeFile(victim, precious));
        }
        const QByteArray victimName = QFile::encodeName(victim);
        const QByteArray logName = QFile::encodeName(log);
        if (kind == QLatin1String("hardlink")) {
            QCOMPARE(::link(victimName.constData(), logName.constData()), 0);
        } else if (kind == QLatin1String("fifo")) {
            QCOMPARE(::mkfifo(logName.constData(), 0600), 0);
        } else {
            QCOMPARE(::symlink(victimName.constData(), logName.constData()), 0);
        }
        // The name a bundle made at this clock's time used to get.
        QVERIFY(
            QFile::link(victim, folder.filePath(QStringLiteral("support-20261123-100000.txt"))));

        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(log);
        manager.SetLogFileLimit(0.1);
        for (int i = 0; i < 300; ++i) {
            report(manager, QString(1000, QLatin1Char('x')), true);
        }
        QVERIFY_THROWS_EXCEPTION(RuntimeError, manager.ClearLogFile());
        test::ScriptedMessageBoxes boxes;
        NoMailProgram runner;
        SupportBundleSender sender(clock_, boxes, runner, QStringLiteral("Help Desk Monitor"));
        sender.SetErrorManager(&manager);
        QVERIFY(!sender.SendLog());

        if (kind == QLatin1String("dangling")) {
            QVERIFY(!QFileInfo::exists(victim));
        } else {
            QFile file(victim);
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), precious);
        }
        const QStringList bundles =
            QDir(folder.path())
                .entryList({QStringLiteral("support-*")}, QDir::Files | QDir::System);
        QCOMPARE(bundles.size(), 2);
        for (const QString& name : bundles) {
            const QFileInfo bundle(folder.filePath(name));
            if (!bundle.isSymLink()) {
                QVERIFY(name.startsWith(QLatin1String("support-20261123-100000-")));
                const QFile::Permissions ownerGroupOther(0x7077);
                QCOMPARE(bundle.permissions() & ownerGroupOther,
                         QFile::ReadOwner | QFile::WriteOwner);
                QVERIFY(boxes.texts().front().contains(bundle.absoluteFilePath()));
            }
        }
    }

    // The disk fills while records go in, then room is made again. Every record in the file
    // must be one that was reported, whole, and the ones after the full disk must be there.
    void aFullDiskCostsWholeRecordsOnly() {
        const QTemporaryDir dir;
        FileSizeLimit full(rlim_t{48} * 1024);
        const auto text = [](int i) {
            QString t =
                QStringLiteral("record %1 ").arg(i) + QString(i * 37 % 700, QLatin1Char('x'));
            if (i % 3 == 0) {
                t += QStringLiteral("\r\nsecond line\nthird");
            }
            return t + QStringLiteral(" end");
        };
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(dir.filePath(QStringLiteral("monitorlog.txt")));
        for (int i = 0; i < 300; ++i) {
            report(manager, text(i), i % 2 == 0);
        }
        full.lift();
        for (int i = 300; i < 330; ++i) {
            report(manager, text(i), true);
        }

        QFile file(manager.LogFile());
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray content = file.readAll();
        QVERIFY(content.endsWith('\n'));
        static const QRegularExpression head(
            QStringLiteral("^2026-11-23 10:00:00  (TRACE|ERROR)  "));
        QList<int> numbers;
        QString record;
        const auto check = [&] {
            if (record.isEmpty()) {
                return;
            }
            const int number = record.section(QLatin1Char(' '), 1, 1).toInt();
            QCOMPARE(record, text(number).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
            numbers.append(number);
        };
        for (const QByteArray& line : content.chopped(1).split('\n')) {
            const QString l = QString::fromUtf8(line);
            if (l.startsWith(QLatin1Char('\t'))) {
                QVERIFY(!record.isEmpty());
                record += QLatin1Char('\n') + l.mid(1);
                continue;
            }
            const QRegularExpressionMatch match = head.match(l);
            QVERIFY2(match.hasMatch(), line.left(60).constData());
            check();
            record = l.mid(match.capturedLength());
        }
        check();
        QVERIFY(std::is_sorted(numbers.begin(), numbers.end()));
        QVERIFY2(numbers.size() < 300, "the disk never filled");
        QCOMPARE(numbers.last(), 329);
        QVERIFY(numbers.contains(300));
    }
};

QTEST_GUILESS_MAIN(TestFileErrorManager)
#include "TestFileErrorManager.moc"
