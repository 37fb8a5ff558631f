#include "screen/DrawnText.h"
#include "screen/MonitorOnScreen.h"
#include "screen/ScreenTestMain.h"

#include <QDeadlineTimer>
#include <QFile>

using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");

// A text as the window shows it; a wrapped one is looked for word by word, since where its
// lines break is the label's business.
struct Caption {
    QString text;
    bool wraps = false;
};

}  // namespace

Q_DECLARE_METATYPE(QList<Caption>)

// Every caption of every window and dialog shows whole, as the operator's desktop draws it,
// at the designed sizes and at twice the scale.
class TestTextsDrawnWhole : public QObject {
    Q_OBJECT

  public:
    explicit TestTextsDrawnWhole(XSession& session) : session_(session) {}

  private:
    // The screen around the active window, with room for the menus it opens, in gray.
    QImage screenAroundActiveWindow(qreal scale, QPoint& origin) const {
        const QImage screen = session_.grab();
        const int room = static_cast<int>(320 * scale);
        const QRect area = session_.windowGeometry(session_.activeWindow())
                               .adjusted(-room / 8, -room / 4, room, room)
                               .intersected(screen.rect());
        origin = area.isEmpty() ? QPoint() : area.topLeft();
        return (area.isEmpty() ? screen : screen.copy(area))
            .convertToFormat(QImage::Format_Grayscale8);
    }

    QStringList notDrawn(const QList<Caption>& captions, qreal scale) const {
        QPoint origin;
        const QImage screen = screenAroundActiveWindow(scale, origin);
        QStringList missing;
        for (const Caption& caption : captions) {
            if (caption.wraps) {
                const QStringList words =
                    wordsNotDrawn(screen, caption.text, scale, QGuiApplication::font());
                if (!words.isEmpty()) {
                    missing << caption.text.left(20) + QStringLiteral("... (words: ") +
                                   words.join(QLatin1Char(' ')) + QLatin1Char(')');
                }
            } else if (!DrawnText(caption.text, scale, QGuiApplication::font()).findIn(screen)) {
                missing << caption.text;
            }
        }
        return missing;
    }

    // Waits for the window to show something of its own, then a little for all of it.
    QStringList missingOnceShown(const QList<Caption>& captions, qreal scale) const {
        QStringList missing = notDrawn(captions, scale);
        const QDeadlineTimer shown(20000);
        while (missing.size() == captions.size() && !shown.hasExpired()) {
            QTest::qWait(200);
            missing = notDrawn(captions, scale);
        }
        const QDeadlineTimer painted(3000);
        while (!missing.isEmpty() && !painted.hasExpired()) {
            QTest::qWait(200);
            missing = notDrawn(captions, scale);
        }
        return missing;
    }

    bool clickText(const QString& text, qreal scale) const {
        const DrawnText drawn(text, scale, QGuiApplication::font());
        const QDeadlineTimer deadline(20000);
        do {
            QPoint origin;
            if (const auto at = drawn.findIn(screenAroundActiveWindow(scale, origin))) {
                session_.click(origin + *at +
                               QPoint(drawn.size().width() / 2, drawn.size().height() / 2));
                return true;
            }
            QTest::qWait(200);
        } while (!deadline.hasExpired());
        return false;
    }

  private Q_SLOTS:
    void initTestCase() { HVX_REQUIRE_SCREEN(session_); }

    void everyCaptionShowsWhole_data() {
        QTest::addColumn<QString>("window");
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QList<Caption>>("captions");

        const QList<Caption> main = {{QStringLiteral("Services ")},
                                     {QStringLiteral("Read Email")},
                                     {QStringLiteral("Send Email")},
                                     {QStringLiteral("Check SLAs")},
                                     {QStringLiteral("Process On-Hold Requests")},
                                     {QStringLiteral("Trace")},
                                     {QStringLiteral("&Start")},
                                     {QStringLiteral("&Exit")},
                                     {QStringLiteral("&File")},
                                     {QStringLiteral("&Monitor")},
                                     {QStringLiteral("&Log")}};
        const QList<Caption> monitorMenu = {{QStringLiteral("&Start")},
                                            {QStringLiteral("&Run now")},
                                            {QStringLiteral("&Preview In-Box Messages")},
                                            {QStringLiteral("&Clear Error Warning")},
                                            {QStringLiteral("&Configure Net Send options...")}};
        const QList<Caption> names = {
            {QStringLiteral("Select the Monitor instance you want to start:")},
            {QStringLiteral("North")},
            {QStringLiteral("OK")},
            {QStringLiteral("Cancel")}};
        const QList<Caption> alert = {
            {QStringLiteral("The Monitor can use Windows 'Net Send' command to send alerts if "
                            "the Monitor logs an error.  The alerts are sent when an error is "
                            "first logged."),
             true},
            {QStringLiteral("Send this message:")},
            {QStringLiteral("Send to up to three users (or other valid Net Send destinations):")},
            {QStringLiteral("OK")},
            {QStringLiteral("Cancel")}};
        const QList<Caption> exit = {{QStringLiteral("Are you sure you want to exit?")},
                                     {QStringLiteral("Don't ask me this again")},
                                     {QStringLiteral("Yes")},
                                     {QStringLiteral("No")}};
        const QList<Caption> oldMessages = {
            {QStringLiteral("unsent messages in the Messages table which are over a week old. "
                            "This suggests that the Monitor has not been used to send email for "
                            "at least a week. It may be that you are using features such as "
                            "Email on Assignment, Email on Closed, etc., but you have not been "
                            "using the Monitor to send the related alerts. IF YOU CHOOSE NOT TO "
                            "DELETE THE OLD MESSAGES, THEY WILL ALL BE SENT NOW."),
             true},
            {QStringLiteral("Do not delete any messages")},
            {QStringLiteral("Delete ALL unsent messages")},
            {QStringLiteral("Delete all messages more than")},
            {QStringLiteral("days old")},
            {QStringLiteral("OK")},
            {QStringLiteral("Cancel")}};

        for (const qreal scale : {1.0, 2.0}) {
            const QByteArray at = " at scale " + QByteArray::number(scale);
            QTest::newRow("frmMonitor" + at) << QStringLiteral("frmMonitor") << scale << main;
            QTest::newRow("frmMonitor's Monitor menu" + at)
                << QStringLiteral("mnuMonitor") << scale << monitorMenu;
            QTest::newRow("dlgMonitorNames" + at)
                << QStringLiteral("dlgMonitorNames") << scale << names;
            QTest::newRow("dlgOperatorName" + at)
                << QStringLiteral("dlgOperatorName") << scale << alert;
            QTest::newRow("dlgMessageWithTurnOff" + at)
                << QStringLiteral("dlgMessageWithTurnOff") << scale << exit;
            QTest::newRow("dlgDeleteOldMessages" + at)
                << QStringLiteral("dlgDeleteOldMessages") << scale << oldMessages;
        }
    }

    void everyCaptionShowsWhole() {
        QFETCH(QString, window);
        QFETCH(qreal, scale);
        QFETCH(QList<Caption>, captions);

        MonitorOnScreen monitor(QStringLiteral("texts"));
        QVERIFY(monitor.ready());
        if (window == QLatin1String("dlgMonitorNames")) {
            QFile names(monitor.folder() + QStringLiteral("/monitornames.txt"));
            QVERIFY(names.open(QIODevice::WriteOnly));
            names.write("North, " + monitor.folder().toUtf8() + "\n");
        }
        if (window == QLatin1String("dlgDeleteOldMessages")) {
            // The demo's old unsent messages are questioned at the first Start.
            QVERIFY(
                monitor.sql(QStringLiteral("update Settings set SettingValue = '1' "
                                           "where SettingName = 'AutoStartMonitor'")));
        }
        monitor.start(scale);
        if (window == QLatin1String("mnuMonitor") || window == QLatin1String("dlgOperatorName")) {
            QVERIFY(clickText(QStringLiteral("&Monitor"), scale));
        }
        if (window == QLatin1String("dlgOperatorName")) {
            QVERIFY(clickText(QStringLiteral("&Configure Net Send options..."), scale));
        }
        if (window == QLatin1String("dlgMessageWithTurnOff")) {
            QVERIFY(clickText(QStringLiteral("&Exit"), scale));
        }
        const QStringList missing = missingOnceShown(captions, scale);
        QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("not drawn whole: ") +
                                               missing.join(QStringLiteral(" | "))));
    }

  private:
    XSession& session_;
};

HVX_SCREEN_TEST_MAIN(TestTextsDrawnWhole)
#include "TestTextsDrawnWhole.moc"
