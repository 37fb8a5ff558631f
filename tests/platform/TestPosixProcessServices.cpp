// The core application's process as the Monitor sees it on POSIX: started through spawn, and
// its window found by the caption that it announces on a socket of the session.
#include "platform/posix/SocketWindowDirectory.h"
#include "platform/posix/SpawnProcessLauncher.h"
#include "support/Patience.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstring>

using namespace Qt::StringLiterals;
using hvx::SocketWindowDirectory;
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

// A child process that announces `caption` until it is killed.
pid_t holdElsewhere(const QString& caption) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const auto announcement = SocketWindowDirectory().announce(caption);
        ::alarm(300);  // never outlives a failed test by long
        for (;;) {
            ::pause();
        }
    }
    return pid;
}

}  // namespace

class TestPosixProcessServices : public QObject {
    Q_OBJECT

    QByteArray session_;

  private Q_SLOTS:
    void init() { session_ = qgetenv("HVX_SESSION"); }
    void cleanup() { qputenv("HVX_SESSION", session_); }

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

    void announceRenameAndWithdraw() {
        SocketWindowDirectory windows;
        const QString timer = u"Halvex Help Desk Monitor Timer"_s;
        const QString renamed = u"Halvex Help Desk Monitor (Running)"_s;
        QVERIFY(!windows.findWindow(timer));
        {
            auto announcement = windows.announce(timer);
            QVERIFY(windows.findWindow(timer));
            announcement->setCaption(renamed);
            QVERIFY(!windows.findWindow(timer));
            QVERIFY(windows.findWindow(renamed));
            announcement->setCaption(timer);
            QVERIFY(!windows.findWindow(renamed));
            // Asked over and over, the caption stays found (lookups are never accepted, so
            // they pile up on the holder's listening socket).
            for (int i = 0; i < 50; ++i) {
                QVERIFY(windows.findWindow(timer));
            }
        }
        QVERIFY(!windows.findWindow(timer));
    }

    // The session is the one in force when the caption is announced, and when it is asked.
    void onlyTheExactCaptionOfTheSameSessionIsFound_data() {
        QTest::addColumn<QString>("held");
        QTest::addColumn<QByteArray>("heldIn");
        QTest::addColumn<QString>("asked");
        QTest::addColumn<QByteArray>("askedIn");
        QTest::addColumn<bool>("found");
        const QString timer = u"North Monitor Timer"_s;
        const QString zurich = u"Zürich Monitor Timer"_s;
        const QString longCaption(300, QLatin1Char('x'));
        const QByteArray alpha("alpha");
        const QByteArray longSession = "test_supervision_core_launch_and_renewal";
        const auto row = [](const char* name, const QString& held, const QByteArray& heldIn,
                            const QString& asked, const QByteArray& askedIn, bool found) {
            QTest::newRow(name) << held << heldIn << asked << askedIn << found;
        };
        row("same", timer, alpha, timer, alpha, true);
        row("other case", timer, alpha, timer.toUpper(), alpha, false);
        row("trailing blank", timer, alpha, timer + QLatin1Char(' '), alpha, false);
        row("non-ASCII", zurich, alpha, zurich, alpha, true);
        row("decomposed umlaut", zurich, alpha, u"Zu\u0308rich Monitor Timer"_s, alpha, false);
        row("empty", {}, alpha, {}, alpha, true);
        row("long", longCaption, alpha, longCaption, alpha, true);
        row("long, last character differs", longCaption, alpha,
            longCaption.left(299) + QLatin1Char('y'), alpha, false);
        row("other session", timer, alpha, timer, "beta", false);
        row("session against none", timer, alpha, timer, {}, false);
        row("none against none", timer, {}, timer, {}, true);
        row("same long session", timer, longSession, timer, longSession, true);
        row("long sessions differing late", timer, longSession, timer,
            "test_supervision_core_launch_and_timeout", false);
    }
    void onlyTheExactCaptionOfTheSameSessionIsFound() {
        QFETCH(QString, held);
        QFETCH(QByteArray, heldIn);
        QFETCH(QString, asked);
        QFETCH(QByteArray, askedIn);
        qputenv("HVX_SESSION", heldIn);
        SocketWindowDirectory windows;
        const auto announcement = windows.announce(held);
        qputenv("HVX_SESSION", askedIn);
        QTEST(windows.findWindow(asked), "found");
    }

    void anotherProcessHoldsUntilKilled() {
        const QString caption = u"Crash Test Monitor Timer"_s;
        SocketWindowDirectory windows;
        const pid_t holder = holdElsewhere(caption);
        QVERIFY(holder > 0);
        QTRY_VERIFY_WITH_TIMEOUT(windows.findWindow(caption), kPatienceMs);
        // A second announcement of a caption held elsewhere does not take it over, and its end
        // does not withdraw the other process's window.
        windows.announce(caption).reset();
        QVERIFY(windows.findWindow(caption));

        ::kill(holder, SIGKILL);
        QCOMPARE(::waitpid(holder, nullptr, 0), holder);
        // The kernel frees the name with the process: no grace period.
        QVERIFY(!windows.findWindow(caption));
        auto mine = windows.announce(caption);
        QVERIFY(windows.findWindow(caption));
    }
};

QTEST_GUILESS_MAIN(TestPosixProcessServices)
#include "TestPosixProcessServices.moc"
