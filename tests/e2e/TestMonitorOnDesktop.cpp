#include "screen/DrawnText.h"
#include "screen/MonitorOnScreen.h"
#include "screen/ScreenTestMain.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>

using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

const QString kRunning = u"Help Desk Monitor (Running)"_s;

}  // namespace

// The running Monitor under a real window manager, at the designed window size: the core
// application stays out of the way, and the status bar and the error indicator show the whole
// uptime, elided texts with their whole texts as tool tips, and the whole error.
class TestMonitorOnDesktop : public QObject {
    Q_OBJECT

  public:
    explicit TestMonitorOnDesktop(XSession& session) : session_(session) {}

  private:
    QImage screen() const { return session_.grab().convertToFormat(QImage::Format_Grayscale8); }

    std::optional<QPoint> drawnWithin(const QString& text, int ms) const {
        const DrawnText drawn(text, 1.0, QGuiApplication::font());
        const QDeadlineTimer deadline(ms);
        do {
            if (const auto at = drawn.findIn(screen())) {
                return at;
            }
            QTest::qWait(250);
        } while (!deadline.hasExpired());
        return std::nullopt;
    }

    // Rests the mouse on `at` until a tool tip shows every word of `text` in the band of the
    // screen around it; a tool tip that does not come within a few seconds is asked for again.
    QStringList toolTipWordsMissing(QPoint at, const QString& text) const {
        QStringList missing;
        const QDeadlineTimer deadline(kScreenWaitMs);
        do {
            session_.moveMouse(at + QPoint(200, 200));
            QTest::qWait(300);
            session_.moveMouse(at);
            // Tool tips come after the mouse has rested for most of a second.
            QTest::qWait(1500);
            const QImage whole = screen();
            const QImage band = whole.copy(0, at.y() - 80, whole.width(), 200);
            missing = wordsNotDrawn(band, text, 1.0, QGuiApplication::font());
        } while (!missing.isEmpty() && !deadline.hasExpired());
        return missing;
    }

    // Starts the Monitor supervising the core application, its window active.
    void startRunning(MonitorOnScreen& monitor) {
        QVERIFY(monitor.ready());
        monitor.setSetting(u"AutoStartMonitor"_s, u"1"_s);
        monitor.query(u"delete from Messages"_s);
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(session_.windowNamed(kRunning) != 0, kScreenWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(session_.activeWindow(), session_.windowNamed(kRunning),
                                  kScreenWaitMs);
    }

  private Q_SLOTS:
    void initTestCase() { HVX_REQUIRE_SCREEN(session_); }

    void theCoreStartsIconicWithoutTakingTheFocus() {
        MonitorOnScreen monitor(u"core-window"_s);
        startRunning(monitor);
        if (QTest::currentTestFailed()) {
            return;
        }
        const quint64 window = session_.windowNamed(kRunning);
        quint64 core = 0;
        QTRY_VERIFY_WITH_TIMEOUT((core = session_.windowNamed(u"Help Desk Monitor Timer"_s)) != 0,
                                 kScreenWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(session_.windowState(core), u"Iconic"_s, kScreenWaitMs);
        // The window manager decides about the focus when it maps the window: watch a while.
        QElapsedTimer watching;
        watching.start();
        while (watching.elapsed() < 2000) {
            QCOMPARE(session_.activeWindow(), window);
            QCOMPARE(session_.windowState(core), u"Iconic"_s);
            QTest::qWait(200);
        }
    }

    void theUptimeShowsWholeAndTheOtherPanelsElideWithTheirWholeTextAsToolTip() {
        MonitorOnScreen monitor(u"status-bar"_s);
        startRunning(monitor);
        if (QTest::currentTestFailed()) {
            return;
        }
        // An in-box preview gives the core application's status line some length.
        monitor.setControl("Command", u"7"_s);
        QTRY_VERIFY_WITH_TIMEOUT(monitor.control("Status").contains(u"in-box preview"_s),
                                 kScreenWaitMs);
        monitor.shiftClock(qint64{1234} * 60);
        QVERIFY2(drawnWithin(u"Monitor uptime: 20.6 hours."_s, kScreenWaitMs),
                 "the whole uptime is not drawn");

        const QString status = monitor.control("Status");
        const QString description = "[Access>" + monitor.app + "/helpdesk.sqlite3]";
        // The status elides at its end, the description in its middle. (The jump of the
        // clock refreshes the settings, whose progress text passes through panel 2 first.)
        const auto statusStart = drawnWithin(status.left(8), kScreenWaitMs);
        QVERIFY2(statusStart, qPrintable(status.left(8)));
        QVERIFY(drawnWithin(u"v12"_s, 1000));
        const auto descriptionEnd = drawnWithin(description.right(3), 1000);
        QVERIFY2(descriptionEnd, "the end of the database description is not drawn");
        const QImage bar = screen();
        QVERIFY2(!DrawnText(status, 1.0, QGuiApplication::font()).findIn(bar),
                 "the status line fits: it cannot show how it elides");
        QVERIFY(!DrawnText(description, 1.0, QGuiApplication::font()).findIn(bar));

        QStringList missing = toolTipWordsMissing(*statusStart + QPoint(4, 4), status);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(u' ')));
        missing = toolTipWordsMissing(*descriptionEnd + QPoint(4, 4), description);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(u' ')));
    }

    void theErrorIndicatorCarriesTheWholeErrorAsToolTip() {
        MonitorOnScreen monitor(u"error-frame"_s);
        startRunning(monitor);
        if (QTest::currentTestFailed()) {
            return;
        }
        QString error =
            u"Error 3021 at 09:38:10 in the procedure that sends the queued messages: the mail "
            "server refused the connection because the account is locked; the next attempt "
            "follows after the interval"_s;
        error += QString(200 - error.size(), u'!');
        monitor.setControl("ErrorInfo", error);
        const auto start = drawnWithin(u"Error"_s, kScreenWaitMs);
        QVERIFY2(start, "the error indicator does not show the error");
        // Its end lies beyond the frame: only the tool tip can show it.
        QVERIFY(!DrawnText(u"interval"_s, 1.0, QGuiApplication::font()).findIn(screen()));
        const QStringList missing = toolTipWordsMissing(*start + QPoint(4, 4), error);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(u' ')));
    }

  private:
    XSession& session_;
};

HVX_SCREEN_TEST_MAIN(TestMonitorOnDesktop)
#include "TestMonitorOnDesktop.moc"
