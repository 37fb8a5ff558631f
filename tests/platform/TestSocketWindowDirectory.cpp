#include "platform/posix/SocketWindowDirectory.h"
#include "support/Patience.h"

#include <QTest>

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>

using namespace Qt::StringLiterals;
using hvx::SocketWindowDirectory;

namespace {

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

class TestSocketWindowDirectory : public QObject {
    Q_OBJECT

    QByteArray session_;

  private Q_SLOTS:
    void init() { session_ = qgetenv("HVX_SESSION"); }
    void cleanup() { qputenv("HVX_SESSION", session_); }

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
        QTRY_VERIFY_WITH_TIMEOUT(windows.findWindow(caption), hvx::test::kPatienceMs);
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

QTEST_GUILESS_MAIN(TestSocketWindowDirectory)
#include "TestSocketWindowDirectory.moc"
