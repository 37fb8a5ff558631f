#include "platform/posix/SpawnProcessLauncher.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstring>

using namespace Qt::StringLiterals;
using hvx::WindowStyle;
using hvx::test::kPatienceMs;

namespace {

// What a child wrote into `path`, once there is something; empty when nothing comes.
QByteArray writtenBy(const QString& path) {
    QFile file(path);
    const bool written = QTest::qWaitFor([&] { return file.size() > 0; }, kPatienceMs);
    return written && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool processExists(qint64 pid) {
    // A zombie still has its /proc entry; a reaped child has none.
    return QFile::exists(u"/proc/%1"_s.arg(pid));
}

}  // namespace

class TestSpawnProcessLauncher : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    void failureGivesErrnoAndItsText_data() {
        QTest::addColumn<QString>("program");
        QTest::addColumn<int>("errorNumber");
        QTest::newRow("missing file") << u"/nonexistent/HvxMonCore"_s << ENOENT;
        QTest::newRow("missing on PATH") << u"hvx-no-such-program"_s << ENOENT;
        QTest::newRow("not executable") << u"/etc/passwd"_s << EACCES;
        QTest::newRow("a folder") << u"/tmp"_s << EACCES;
    }
    void failureGivesErrnoAndItsText() {
        QFETCH(QString, program);
        QFETCH(int, errorNumber);
        const hvx::LaunchResult result =
            hvx::SpawnProcessLauncher().start(program, {}, WindowStyle::MinimizedNoActivate);
        QVERIFY(!result.started);
        QCOMPARE(result.errorNumber, errorNumber);
        QCOMPARE(result.errorDescription, QString::fromLocal8Bit(std::strerror(errorNumber)));
    }

    // The child, a shell, writes its arguments and its HVX_SHOW_WINDOW entries, each ended by
    // a NUL.
    void argumentsAndWindowStyleReachTheChild_data() {
        QTest::addColumn<WindowStyle>("style");
        QTest::addColumn<QByteArray>("inherited");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("expected");
        // A shell would create the file "x".
        const QStringList quoted{"North Monitor", "  padded  ", "", "it's", "\"q\" t", "'"};
        const QStringList shell{"a; touch x", "$(touch x)", "`touch x`", "| touch x &", "> x"};
        const QStringList data =
            quoted + shell + QStringList{"$HOME", "*", "Zürich 日本", "a\nb\tc"};
        QTest::newRow("minimized, no arguments")
            << WindowStyle::MinimizedNoActivate << QByteArray() << QStringList()
            << QByteArray("minimized-noactivate");
        QTest::newRow("minimized with the focus")
            << WindowStyle::Minimized << QByteArray() << data << QByteArray("minimized");
        QTest::newRow("normal replaces the parent's")
            << WindowStyle::Normal << QByteArray("minimized-noactivate") << data
            << QByteArray("normal");
        QTest::newRow("minimized replaces the parent's")
            << WindowStyle::MinimizedNoActivate << QByteArray("normal") << data
            << QByteArray("minimized-noactivate");
    }
    void argumentsAndWindowStyleReachTheChild() {
        QFETCH(WindowStyle, style);
        QFETCH(QByteArray, inherited);
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, expected);
        QTemporaryDir work;
        const QString record = work.filePath(u"record"_s);
        // A shell run anywhere near would work in this empty folder.
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(work.path()));
        if (!inherited.isNull()) {
            qputenv("HVX_SHOW_WINDOW", inherited);
        }
        // The shell's own variables would hide a second entry; its initial environment does not.
        const QString script =
            uR"({ for a; do printf '%s\0' "$a"; done;
            grep -z '^HVX_SHOW_WINDOW=' /proc/$$/environ; } > "$0.part"; mv "$0.part" "$0")"_s;
        const hvx::LaunchResult result = hvx::SpawnProcessLauncher().start(
            u"/bin/sh"_s, QStringList{u"-c"_s, script, record} + arguments, style);
        qunsetenv("HVX_SHOW_WINDOW");
        QVERIFY(QDir::setCurrent(previous));
        QVERIFY2(result.started, qPrintable(result.errorDescription));

        // The show entry exactly once: a second one would leave the choice to the child's getenv.
        QList<QByteArray> expectedFields;
        for (const QString& argument : arguments) {
            expectedFields.append(argument.toUtf8());
        }
        expectedFields << "HVX_SHOW_WINDOW=" + expected << QByteArray();
        QCOMPARE(writtenBy(record).split('\0'), expectedFields);
        QVERIFY(!QFile::exists(work.filePath(u"x"_s)));
    }

    // start() comes back while the child goes on; one watch per child: the ones that end are
    // collected while another still runs, and that one when it is killed.
    void childrenEndingOnTheirOwnAreEachReaped() {
        QTemporaryDir work;
        hvx::SpawnProcessLauncher launcher;
        QList<qint64> pids;
        for (int exitCode = 0; exitCode < 4; ++exitCode) {
            const QString pidFile = work.filePath(QString::number(exitCode));
            // The first child stays until it is killed.
            const QString end =
                exitCode == 0 ? u"exec sleep 600"_s : u"exit %1"_s.arg(exitCode - 1);
            QVERIFY(launcher
                        .start(u"/bin/sh"_s, {u"-c"_s, u"echo $$ > '%1'; %2"_s.arg(pidFile, end)},
                               WindowStyle::Normal)
                        .started);
            pids.append(writtenBy(pidFile).trimmed().toLongLong());
            QVERIFY(pids.last() > 0);
        }
        for (const qint64 pid : pids.mid(1)) {
            QTRY_VERIFY_WITH_TIMEOUT(!processExists(pid), kPatienceMs);
        }
        QVERIFY(processExists(pids[0]));
        QCOMPARE(::kill(static_cast<pid_t>(pids[0]), SIGTERM), 0);
        QTRY_VERIFY_WITH_TIMEOUT(!processExists(pids[0]), kPatienceMs);
    }
};

QTEST_GUILESS_MAIN(TestSpawnProcessLauncher)
#include "TestSpawnProcessLauncher.moc"
