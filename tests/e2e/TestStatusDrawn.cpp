#include "screen/DrawnText.h"
#include "screen/MonitorOnScreen.h"
#include "screen/ScreenTestMain.h"

#include <QDeadlineTimer>

using namespace hvx::test;

namespace {

const QString kRunning = QStringLiteral("Help Desk Monitor (Running)");

}  // namespace

// What the status bar and the error indicator show an operator at the designed window size:
// the whole uptime, elided texts with their whole texts as tool tips, and the whole error.
class TestStatusDrawn : public QObject {
    Q_OBJECT

  public:
    explicit TestStatusDrawn(XSession& session) : session_(session) {}

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

    void startRunning(MonitorOnScreen& monitor) {
        QVERIFY(monitor.ready());
        QVERIFY(monitor.sql(QStringLiteral(
            "update Settings set SettingValue = '1' where SettingName = 'AutoStartMonitor';"
            "delete from Messages;")));
        monitor.start();
        QTRY_VERIFY_WITH_TIMEOUT(session_.windowNamed(kRunning) != 0, kScreenWaitMs);
        QTRY_COMPARE_WITH_TIMEOUT(session_.activeWindow(), session_.windowNamed(kRunning),
                                  kScreenWaitMs);
    }

  private Q_SLOTS:
    void initTestCase() { HVX_REQUIRE_SCREEN(session_); }

    void theUptimeShowsWholeAndTheOtherPanelsElideWithTheirWholeTextAsToolTip() {
        MonitorOnScreen monitor(QStringLiteral("status-bar"));
        startRunning(monitor);
        if (QTest::currentTestFailed()) {
            return;
        }
        // An in-box preview gives the core application's status line some length.
        monitor.setControl(QStringLiteral("Command"), QStringLiteral("7"));
        QTRY_VERIFY_WITH_TIMEOUT(
            monitor.control(QStringLiteral("Status")).contains(QStringLiteral("in-box preview")),
            kScreenWaitMs);
        monitor.shiftClock(qint64{1234} * 60);
        QVERIFY2(drawnWithin(QStringLiteral("Monitor uptime: 20.6 hours."), kScreenWaitMs),
                 "the whole uptime is not drawn");

        const QString status = monitor.control(QStringLiteral("Status"));
        const QString description =
            QStringLiteral("[Access>") + monitor.folder() + QStringLiteral("/helpdesk.sqlite3]");
        // The status elides at its end, the description in its middle. (The jump of the
        // clock refreshes the settings, whose progress text passes through panel 2 first.)
        const auto statusStart = drawnWithin(status.left(8), kScreenWaitMs);
        QVERIFY2(statusStart, qPrintable(status.left(8)));
        QVERIFY(drawnWithin(QStringLiteral("v12"), 1000));
        const auto descriptionEnd = drawnWithin(description.right(3), 1000);
        QVERIFY2(descriptionEnd, "the end of the database description is not drawn");
        const QImage bar = screen();
        QVERIFY2(!DrawnText(status, 1.0, QGuiApplication::font()).findIn(bar),
                 "the status line fits: it cannot show how it elides");
        QVERIFY(!DrawnText(description, 1.0, QGuiApplication::font()).findIn(bar));

        QStringList missing = toolTipWordsMissing(*statusStart + QPoint(4, 4), status);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char(' '))));
        missing = toolTipWordsMissing(*descriptionEnd + QPoint(4, 4), description);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char(' '))));
    }

    void theErrorIndicatorCarriesTheWholeErrorAsToolTip() {
        MonitorOnScreen monitor(QStringLiteral("error-frame"));
        startRunning(monitor);
        if (QTest::currentTestFailed()) {
            return;
        }
        QString error = QStringLiteral(
            "Error 3021 at 09:38:10 in the procedure that sends the queued messages: the mail "
            "server refused the connection because the account is locked; the next attempt "
            "follows after the interval");
        error += QString(200 - error.size(), QLatin1Char('!'));
        QCOMPARE(error.size(), 200);
        monitor.setControl(QStringLiteral("ErrorInfo"), error);
        const auto start = drawnWithin(QStringLiteral("Error"), kScreenWaitMs);
        QVERIFY2(start, "the error indicator does not show the error");
        // Its end lies beyond the frame: only the tool tip can show it.
        QVERIFY(
            !DrawnText(QStringLiteral("interval"), 1.0, QGuiApplication::font()).findIn(screen()));
        const QStringList missing = toolTipWordsMissing(*start + QPoint(4, 4), error);
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QLatin1Char(' '))));
    }

  private:
    XSession& session_;
};

HVX_SCREEN_TEST_MAIN(TestStatusDrawn)
#include "TestStatusDrawn.moc"
