#include "components/FileErrorManager.h"
#include "components/LogRecordFormat.h"
#include "components/PasswordConcealment.h"
#include "components/SupportBundleSender.h"
#include "fakes/FakeOsServices.h"
#include "fakes/ScriptedMessageBoxes.h"
#include "fakes/SettableClock.h"
#include "fakes/TestFiles.h"
#include "platform/ProgramRunner.h"
#include "platform/RuntimeError.h"
#include "platform/posix/QProcessProgramRunner.h"

#include <QDir>
#include <QFile>
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
    QByteArrayList lines =
        file.open(QIODevice::ReadOnly) ? file.readAll().split('\n') : QByteArrayList();
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

}  // namespace

class TestFileErrorManager : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    test::SettableClock clock_;
    const QString head_ = QStringLiteral("2026-11-23 10:00:00  TRACE  ");

  private Q_SLOTS:
    void linesAreStampedAndMarkedAndClearingEmptiesTheFile() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(dir_.filePath(QStringLiteral("marks.txt")));
        report(manager, QStringLiteral("Closed\r\n"), true);
        report(manager, QStringLiteral("Overflow (Code 11051 in HvxMonitor.exe)"), false);
        QCOMPARE(logLines(manager.LogFile()),
                 QByteArrayList(
                     {"2026-11-23 10:00:00  TRACE  Closed",
                      "2026-11-23 10:00:00  ERROR  Overflow (Code 11051 in HvxMonitor.exe)"}));
        manager.ClearLogFile();
        QCOMPARE(QFileInfo(manager.LogFile()).size(), 0);
        report(manager, QStringLiteral("after clearing"), true);
        QCOMPARE(logLines(manager.LogFile()).size(), 1);
    }

    // A log folder that cannot be written costs the line, never the caller; the operator
    // still sees the errors of the start-up.
    void errorsAreShownUntilStartupIsCompleteEvenWithoutALog() {
        test::ScriptedMessageBoxes boxes;
        FileErrorManager manager(clock_, &boxes);
        manager.SetLogFile(QStringLiteral("/proc/no-such-folder/monitorlog.txt"));
        report(manager, QStringLiteral("during start"), false);
        report(manager, QStringLiteral("a trace during start"), true);
        manager.SetStartupComplete(true);
        report(manager, QStringLiteral("after start"), false);
        QCOMPARE(boxes.texts(), QStringList{QStringLiteral("during start")});
    }

    void staysWithinItsLimitAndKeepsTheNewestLines() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(dir_.filePath(QStringLiteral("limit.txt")));
        manager.SetLogFileLimit(1.0);
        qint64 largest = 0;
        for (int i = 1; i <= 100000; ++i) {
            report(manager, QStringLiteral("line %1 of the trace").arg(i), true);
            largest = std::max(largest, QFileInfo(manager.LogFile()).size());
        }
        QVERIFY2(largest <= qint64{1024} * 1024, qPrintable(QString::number(largest)));
        // Whole lines only, in order, the newest last.
        const auto lines = logLines(manager.LogFile());
        QVERIFY(lines.size() > 10000);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            QCOMPARE(lines[i].split(' ').at(6).toLongLong(), 100000 - lines.size() + 1 + i);
        }
    }

    void oneReportCannotWipeOrForgeTheLog() {
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(dir_.filePath(QStringLiteral("hostile.txt")));
        manager.SetLogFileLimit(1.0);
        report(manager, QStringLiteral("earlier line"), true);
        // What a hostile core application could put in Status and State.
        report(manager, QString(1'200'000, QLatin1Char('s')), true);
        report(manager, QStringLiteral("999\r\n2026-01-01 00:00:00  ERROR  forged"), false);
        const auto lines = logLines(manager.LogFile());
        QCOMPARE(lines.first(), QByteArray("2026-11-23 10:00:00  TRACE  earlier line"));
        for (const QByteArray& line : lines) {
            QVERIFY2(line.startsWith("2026-11-23 10:00:00  ") || line.startsWith('\t'),
                     line.left(60).constData());
        }
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
        const QByteArray target = QFile::encodeName(victim);
        const QByteArray log = QFile::encodeName(folder.filePath(QStringLiteral("monitorlog.txt")));
        if (kind != QLatin1String("dangling")) {
            QVERIFY(test::writeFile(victim, "precious"));
        }
        if (kind == QLatin1String("hardlink")) {
            QCOMPARE(::link(target.constData(), log.constData()), 0);
        } else if (kind == QLatin1String("fifo")) {
            QCOMPARE(::mkfifo(log.constData(), 0600), 0);
        } else {
            QCOMPARE(::symlink(target.constData(), log.constData()), 0);
        }
        // The name a bundle made at this clock's time used to get.
        QVERIFY(
            QFile::link(victim, folder.filePath(QStringLiteral("support-20261123-100000.txt"))));

        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(QFile::decodeName(log));
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

        QFile file(victim);
        if (file.open(QIODevice::ReadOnly)) {
            QCOMPARE(file.readAll(), QByteArray("precious"));
        }
        QCOMPARE(file.exists(), kind != QLatin1String("dangling"));
        // The bundle got a name of its own, readable by its owner only.
        const QFileInfoList bundles =
            QDir(folder.path())
                .entryInfoList({QStringLiteral("support-*")}, QDir::Files | QDir::System);
        QCOMPARE(bundles.size(), 2);
        const QFileInfo& made = bundles[0].isSymLink() ? bundles[1] : bundles[0];
        QVERIFY(made.fileName().startsWith(QLatin1String("support-20261123-100000-")));
        QCOMPARE(made.permissions() & QFile::Permissions(0x7077),
                 QFile::ReadOwner | QFile::WriteOwner);
        QVERIFY(boxes.texts().front().contains(made.absoluteFilePath()));
    }

    // The disk fills while records go in, then room is made again. A file size limit stands
    // in for the full disk, with SIGXFSZ ignored so that a write beyond it fails.
    void aFullDiskCostsWholeRecordsOnly() {
        const auto record = [](int i) {
            return QStringLiteral("record %1 %2 end").arg(i).arg(QString(i * 37 % 700, 'x'));
        };
        FileErrorManager manager(clock_, nullptr);
        manager.SetLogFile(dir_.filePath(QStringLiteral("full.txt")));
        rlimit room{};
        ::getrlimit(RLIMIT_FSIZE, &room);
        const rlimit full{rlim_t{48} * 1024, room.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &full);
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        for (int i = 0; i < 330; ++i) {
            if (i == 300) {
                ::setrlimit(RLIMIT_FSIZE, &room);
                std::signal(SIGXFSZ, previous);
            }
            report(manager, record(i), true);
        }
        // Every line is one that was reported, whole, and in order; those after the full disk
        // are there.
        QList<int> numbers;
        for (const QByteArray& line : logLines(manager.LogFile())) {
            numbers.append(line.split(' ').at(6).toInt());
            QCOMPARE(line, "2026-11-23 10:00:00  TRACE  " + record(numbers.last()).toUtf8());
        }
        QVERIFY2(numbers.size() < 300, "the disk never filled");
        QVERIFY(std::is_sorted(numbers.begin(), numbers.end()));
        QCOMPARE(numbers.last(), 329);
        QVERIFY(numbers.contains(300));
    }

    // One record as the log holds it, before it reaches the file.
    void records_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("plain") << QStringLiteral("Monitor Started")
                               << QByteArray("Monitor Started\n");
        QTest::newRow("trailing breaks dropped")
            << QStringLiteral("Closed\r\n\r\n") << QByteArray("Closed\n");
        QTest::newRow("forged line after CR LF")
            << QStringLiteral("999\r\n2026-01-01 00:00:00  ERROR  forged")
            << QByteArray("999\n\t2026-01-01 00:00:00  ERROR  forged\n");
        QTest::newRow("lone CR and LF")
            << QStringLiteral("a\rb\nc\n\rd") << QByteArray("a\n\tb\n\tc\n\t\n\td\n");
        QTest::newRow("control characters")
            << QStringLiteral("tab\there, esc\x1b, nul") + QChar(0) + QStringLiteral(" del\x7f")
            << QByteArray("tab\\x09here, esc\\x1B, nul\\x00 del\\x7F\n");
        QTest::newRow("C1 and separators")
            << QString(QChar(0x85)) + QChar(0x2028) + QChar(0x2029) + QStringLiteral("é")
            << QByteArray("\\x85\\u2028\\u2029\xc3\xa9\n");
        QTest::newRow("empty") << QString() << QByteArray("\n");
    }

    void records() {
        QFETCH(QString, text);
        QFETCH(QByteArray, expected);
        QCOMPARE(formatLogRecord(head_, text), head_.toUtf8() + expected);
    }

    void aLongTextKeepsItsStartAndMarksTheCut_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("start");
        QTest::newRow("1.2 MB on one line")
            << QString(1'200'000, QLatin1Char('x')) << QStringLiteral("xxx");
        QTest::newRow("1.2 MB of line breaks")
            << QStringLiteral("y\n").repeated(600'000) << QStringLiteral("y\n\ty\n\ty");
        QTest::newRow("control characters")
            << QString(100'000, QChar(1)) << QStringLiteral("\\x01\\x01");
        // A cut must never separate the halves of a pair (an emoji).
        QTest::newRow("surrogate pairs")
            << QString::fromUtf8("😀").repeated(50'000) << QString::fromUtf8("😀😀");
    }

    void aLongTextKeepsItsStartAndMarksTheCut() {
        QFETCH(QString, text);
        QFETCH(QString, start);
        const QByteArray record = formatLogRecord(head_, text);
        const QString written = QString::fromUtf8(record);
        QVERIFY(!written.contains(QChar(QChar::ReplacementCharacter)));
        const qsizetype cut = written.lastIndexOf(QStringLiteral(" [cut: "));
        QVERIFY(written.endsWith(QStringLiteral(" more characters]\n")));
        QVERIFY(cut - head_.size() <= kMaxLogRecordCharacters);
        QVERIFY(cut - head_.size() > kMaxLogRecordCharacters - 4);
        QCOMPARE(written.left(head_.size() + start.size()), head_ + start);
        const QByteArrayList lines = record.chopped(1).split('\n');
        for (qsizetype i = 1; i < lines.size(); ++i) {
            QVERIFY(lines[i].startsWith(kLogContinuation));
        }
    }

    void passwordsAreConcealedOnlyWhereTheyCanBe_data() {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("short password in a connection string")
            << QStringLiteral("0") << QStringLiteral("Driver={X};Uid=Monitor;Pwd=0;Server=s")
            << QStringLiteral("Driver={X};Uid=Monitor;Pwd=********;Server=s");
        QTest::newRow("braced password with a brace")
            << QStringLiteral("a;b}c") << QStringLiteral("Server=s;PWD={a;b}}c};Database=d")
            << QStringLiteral("Server=s;PWD=********;Database=d");
        QTest::newRow("Password key") << QStringLiteral("Mon") << QStringLiteral("password = Mon")
                                      << QStringLiteral("password = ********");
        QTest::newRow("seven characters in a driver text")
            << QStringLiteral("Monitor") << QStringLiteral("Monitor Started")
            << QStringLiteral("******** Started");
        QTest::newRow("three characters left alone")
            << QStringLiteral("Mon") << QStringLiteral("Monitor Started")
            << QStringLiteral("Monitor Started");
        QTest::newRow("long password in a driver message")
            << QStringLiteral("s3cr3t-pass") << QStringLiteral("login failed: 's3cr3t-pass'")
            << QStringLiteral("login failed: '********'");
    }

    void passwordsAreConcealedOnlyWhereTheyCanBe() {
        QFETCH(QString, password);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(concealPassword(text, password), expected);
    }

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

        FileErrorManager errors(clock_, nullptr);
        errors.SetLogFile(dir.filePath(QStringLiteral("monitorlog.txt")));
        report(errors, QStringLiteral("a line of the log"), true);
        test::ScriptedMessageBoxes boxes;
        QProcessProgramRunner runner;
        SupportBundleSender sender(clock_, boxes, runner, QStringLiteral("Help Desk Monitor"));
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

QTEST_GUILESS_MAIN(TestFileErrorManager)
#include "TestFileErrorManager.moc"
