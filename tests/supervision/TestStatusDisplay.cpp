#include "MonitorRig.h"
#include "app/ApplicationIcon.h"
#include "supervision/UptimeText.h"

#include <QApplication>
#include <QEvent>
#include <QFrame>
#include <QLabel>
#include <QLocale>
#include <QSignalSpy>
#include <QTest>

using namespace hvx;
using namespace hvx::test;

namespace {

// Counts the paint events that reach the watched widgets.
class PaintCounter final : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            ++paints[watched];
        }
        return false;
    }
    QHash<QObject*, int> paints;
};

}  // namespace

class TestStatusDisplay : public QObject {
    Q_OBJECT

  private Q_SLOTS:
    // Halves round away from zero, whatever the digit before them.
    void uptimeInTenthsOfAnHour_data() {
        QTest::addColumn<qint64>("minutes");
        QTest::addColumn<QString>("hours");
        QTest::newRow("9 minutes: 0.15") << 9LL << "0.2";
        QTest::newRow("21 minutes: 0.35") << 21LL << "0.4";
        QTest::newRow("27 minutes: 0.45") << 27LL << "0.5";
        QTest::newRow("89 minutes") << 89LL << "1.5";
        QTest::newRow("2 minutes rounds down") << 2LL << "0.0";
        QTest::newRow("60,000 minutes: no group separator") << 60'000LL << "1000.0";
        QTest::newRow("clock set back 9 minutes") << -9LL << "-0.2";
    }
    void uptimeInTenthsOfAnHour() {
        QFETCH(qint64, minutes);
        QFETCH(QString, hours);
        QCOMPARE(uptimeText(minutes),
                 QStringLiteral("Monitor uptime: ") +
                     hours.replace(QLatin1Char('.'), QLocale::system().decimalPoint()) +
                     QStringLiteral(" hours."));
    }

    // Raised when an error appears, not when its text changes; its text shows from its
    // beginning, line after line, as much as the designed frame holds.
    void theErrorIndicator() {
        Rig r;
        QSignalSpy raised(r.window.get(), &frmMonitor::errorIndicatorRaised);
        auto* label = r.window->findChild<QLabel*>(QStringLiteral("lblErrorLog"));
        const QString info = QStringLiteral("Error 3021 at 09:38:10 in the mail reader:") +
                             QStringLiteral(" no current record").repeated(9);
        r.t.setControl("ErrorInfo", info);
        r.window->ShowStatus();
        for (const char* part : {"ErrorLogFrame", "lblErrorLog", "imgErrorLog"}) {
            QCOMPARE(r.window->findChild<QWidget*>(QString::fromLatin1(part))->toolTip(), info);
        }
        const QString shown = label->text();
        QVERIFY2(shown.endsWith(QChar(0x2026)), qPrintable(shown));
        QVERIFY(label->heightForWidth(label->width()) <= label->height());
        QVERIFY(info.startsWith(shown.chopped(1).replace(QLatin1Char('\n'), QLatin1Char(' '))));

        // A short text shows whole; one that differs only in case changes nothing.
        r.set("ErrorInfo", "Mail server refused");
        r.window->ShowStatus();
        r.set("ErrorInfo", "MAIL SERVER REFUSED");
        r.window->ShowStatus();
        QCOMPARE(label->text(), QStringLiteral("Mail server refused"));
        QCOMPARE(raised.size(), 1);
    }

    // The shipped icon is compiled in and sharp at twice the size too: rendered at that size,
    // not scaled from a small picture. The screen's dark frame runs from 4/64 to 9/64 of the
    // width. The window wears it, and the warning picture only while the indicator is up.
    void theWindowWearsTheIconWhileNoErrorShows() {
        for (const int size : {16, 64, 128}) {
            const QImage image = applicationIcon().pixmap(size, size).toImage();
            QCOMPARE(image.width(), size);
            QCOMPARE(image.pixelColor(size * 6 / 64, size / 2).name(), QStringLiteral("#1f3b5c"));
        }
        QApplication::setWindowIcon(applicationIcon());
        Rig r;
        for (const char* info : {"", "Error 3021", ""}) {
            r.set("ErrorInfo", info);
            r.window->ShowStatus();
            QCOMPARE(r.window->windowIcon().cacheKey() == QApplication::windowIcon().cacheKey(),
                     *info == '\0');
        }
    }

    void aPanelRepaintsOnlyWhenItsTextChanges() {
        Rig r;
        r.t.windows.open.insert(kCoreCaption);
        r.set("State", "1");
        r.set("Status", "Idle: 3 requests processed");
        r.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(r.window.get()));
        r.tick();
        QCoreApplication::processEvents();
        PaintCounter counter;
        for (int number = 1; number <= 3; ++number) {
            r.panel(number)->installEventFilter(&counter);
        }
        r.tick();
        QCoreApplication::processEvents();
        QVERIFY(counter.paints.isEmpty());
        r.set("Status", "Sending 2 messages");
        r.tick();
        // Within the tick itself, before any window event runs.
        QCOMPARE(counter.paints.value(r.panel(2)), 1);
        QCOMPARE(counter.paints.size(), 1);
        // A panel that does not exist is ignored, silently.
        for (int panel : {0, 4}) {
            r.window->UpdateStatusBar(QStringLiteral("out of range"), panel);
        }
        QCOMPARE(counter.paints.size(), 1);
        QVERIFY(r.t.errors().reports.isEmpty());
    }

    void theUptimeShowsOnceStartedKeepsItsWidthAndTheOthersTakeTheRest() {
        const DateValue start = SettableClock().now();
        Rig r(MonitorLoopState{.MonitorStartTime = start, .LastSettingsRefresh = start});
        r.set("State", "0");
        r.t.clock.advanceSeconds(std::int64_t{89} * 60);
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), QString());
        r.set("State", "1");
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), uptimeText(89));
        r.t.clock.advanceSeconds(std::int64_t{6} * 60);
        r.window->ShowStatus();
        QCOMPARE(r.panel(1)->text(), uptimeText(95));
        r.window->show();
        QVERIFY(QTest::qWaitForWindowExposed(r.window.get()));
        StatusPanel* uptime = r.panel(1);
        for (const char* longest :
             {"Monitor uptime: 9999.9 hours.", "Monitor uptime: 10000.0 hours."}) {
            QVERIFY2(uptime->fontMetrics().horizontalAdvance(QString::fromLatin1(longest)) <=
                         uptime->width() - 4,
                     longest);
        }
        // Side by side, none over another.
        QVERIFY(uptime->geometry().right() < r.panel(2)->x());
        QVERIFY(r.panel(2)->geometry().right() < r.panel(3)->x());
        const int widths[3] = {uptime->width(), r.panel(2)->width(), r.panel(3)->width()};
        r.window->resize(r.window->width() + 300, r.window->height());
        QTRY_VERIFY(r.panel(2)->width() > widths[1]);
        QVERIFY(r.panel(3)->width() > widths[2]);
        QCOMPARE(uptime->width(), widths[0]);
    }
};

QTEST_MAIN(TestStatusDisplay)
#include "TestStatusDisplay.moc"
