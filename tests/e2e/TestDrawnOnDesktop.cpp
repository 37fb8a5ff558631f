#include "fakes/TestFiles.h"
#include "platform/qt/MessagePictureStyle.h"
#include "screen/DrawnText.h"
#include "screen/XSession.h"
#include "support/Installation.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QIcon>
#include <QStyle>
#include <QTest>

#include <algorithm>
#include <optional>

using namespace hvx::test;
using namespace Qt::StringLiterals;

namespace {

const QString kRunning = u"Help Desk Monitor (Running)"_s;
const QString kCore = u"Help Desk Monitor Timer"_s;
const QString kBoxTitle = u"HvxMonitor"_s;

// The real Monitor and core application of an installation (a demo file database beside the
// program) shown on the X display as an operator would see them: no unattended mode, the real
// windows and dialogs. One known locale, since the uptime's decimal separator follows it, and a
// clock that the test moves on while the programs run.
struct MonitorOnScreen : Installation {
    explicit MonitorOnScreen(const QString& name) : Installation(name) {
        environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
        environment.remove(u"HVX_UNATTENDED"_s);
        environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
        environment.insert(u"HVX_CLOCK_SHIFT_FILE"_s, dir.filePath(u"clock-shift"_s));
        ready = createDatabase(app, true);
    }
    // Moves the programs' clock forward by `seconds`, at once.
    bool shiftClock(qint64 seconds) const {
        return writeFile(dir.filePath(u"clock-shift"_s), QByteArray::number(seconds));
    }
    void start(qreal scale) {
        environment.insert(u"QT_SCALE_FACTOR"_s, QString::number(scale));
        startMonitor();
    }
    // Where the Monitor keeps its log and writes its support bundles.
    QString logFolder() const { return dir.filePath(u"data/halvex/help-desk"_s); }
    bool ready = false;
};

// A text as the window shows it; a wrapped one is looked for word by word, since where its
// lines break is the label's business. Some are drawn in a font of their own (the splash's, a
// wizard page's title), some light on a dark ground.
struct Caption {
    QString text;
    bool wraps = false;
    int pointSize = 0;
    bool bold = false;
    bool light = false;

    QFont font() const {
        QFont font = QApplication::font();
        if (pointSize > 0) {
            font.setPointSize(pointSize);
        }
        font.setBold(bold);
        return font;
    }
};

// Captions in the desktop's default font, each on one line.
QList<Caption> plain(const QStringList& texts) {
    QList<Caption> captions;
    for (const QString& text : texts) {
        captions.append({text});
    }
    return captions;
}

constexpr int kPictureTolerance = 24;

// The pixels that `picture` covers fully (ARGB), as gray levels, spread in an order that meets
// the picture's edges early.
QVector<QPair<QPoint, int>> opaqueLevels(const QImage& picture) {
    QVector<QPair<QPoint, int>> in;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (const QRgb pixel = picture.pixel(x, y); qAlpha(pixel) == 255) {
                in.append({QPoint(x, y), qGray(pixel)});
            }
        }
    }
    QVector<QPair<QPoint, int>> spread;
    for (int i = 0; i < in.size(); ++i) {
        spread.append(in[static_cast<int>((qint64{i} * 7919) % in.size())]);
    }
    return spread;
}

// Where the gray screen shows every fully covered pixel of `picture`, each within a few levels.
std::optional<QPoint> pictureIn(const QImage& gray, const QImage& picture) {
    const auto levels = opaqueLevels(picture);
    for (int top = 0; top + picture.height() <= gray.height(); ++top) {
        for (int left = 0; left + picture.width() <= gray.width(); ++left) {
            const bool same = std::all_of(levels.begin(), levels.end(), [&](const auto& pixel) {
                const QPoint at = pixel.first + QPoint(left, top);
                return qAbs(gray.constScanLine(at.y())[at.x()] - pixel.second) <= kPictureTolerance;
            });
            if (!levels.isEmpty() && same) {
                return QPoint(left, top);
            }
        }
    }
    return std::nullopt;
}

// The fully covered pixels of `sharp` that `other` (of the same size) draws clearly otherwise.
int pixelsThatDiffer(const QImage& sharp, const QImage& other) {
    const auto levels = opaqueLevels(sharp);
    return static_cast<int>(std::count_if(levels.begin(), levels.end(), [&](const auto& pixel) {
        return qAbs(qGray(other.pixel(pixel.first)) - pixel.second) > kPictureTolerance;
    }));
}

// Polls `condition` until it holds or `ms` have passed. (QTRY_* counts its steps instead of the
// time, which runs long when each try grabs the screen.)
template <typename Condition>
bool within(int ms, const Condition& condition) {
    const QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QTest::qWait(200);
    }
    return true;
}

}  // namespace

Q_DECLARE_METATYPE(QList<Caption>)

// What the operator sees, as the desktop draws it under a real window manager: every caption
// of every window and dialog whole, at the designed sizes and at twice the scale; the core
// application out of the way of the running Monitor; the whole uptime, and elided status texts
// and the error with their whole texts as tool tips.
class TestDrawnOnDesktop : public QObject {
    Q_OBJECT

  public:
    explicit TestDrawnOnDesktop(XSession& session) : session_(session) {}

  private:
    QImage screen() const { return session_.grab().convertToFormat(QImage::Format_Grayscale8); }

    std::optional<QPoint> drawnWithin(const QString& text, int ms) const {
        const DrawnText drawn(text, 1.0, QGuiApplication::font());
        std::optional<QPoint> at;
        within(ms, [&] { return (at = drawn.findIn(screen())).has_value(); });
        return at;
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

    // The screen around the active window, with room for the menus it opens, in gray; the
    // splash lies in the middle of the screen, whatever window is active.
    QImage screenAround(const QString& window, qreal scale, QPoint& origin) const {
        const QImage screen = session_.grab();
        const int room = static_cast<int>(320 * scale);
        QRect area = session_.windowGeometry(session_.activeWindow())
                         .adjusted(-room / 8, -room / 4, room, room);
        if (window == "splash") {
            area = QRect(QPoint(), QSize(480, 240) * scale);
            area.moveCenter(screen.rect().center());
        }
        area = area.intersected(screen.rect());
        origin = area.isEmpty() ? QPoint() : area.topLeft();
        return (area.isEmpty() ? screen : screen.copy(area))
            .convertToFormat(QImage::Format_Grayscale8);
    }

    QStringList notDrawn(const QString& window, const QList<Caption>& captions, qreal scale) const {
        QPoint origin;
        const QImage screen = screenAround(window, scale, origin);
        QImage inverted = screen;
        inverted.invertPixels();
        QStringList missing;
        for (const Caption& caption : captions) {
            const QImage& ground = caption.light ? inverted : screen;
            if (caption.wraps) {
                const QStringList words =
                    wordsNotDrawn(ground, caption.text, scale, caption.font());
                if (!words.isEmpty()) {
                    missing << caption.text.left(20) + "... (words: " + words.join(' ') + ')';
                }
            } else if (!DrawnText(caption.text, scale, caption.font()).findIn(ground)) {
                missing << caption.text;
            }
        }
        return missing;
    }

    // Waits for the window to show something of its own, then a little for all of it.
    QStringList missingOnceShown(const QString& window, const QList<Caption>& captions,
                                 qreal scale) const {
        QStringList missing;
        within(kScreenWaitMs, [&] {
            missing = notDrawn(window, captions, scale);
            return missing.size() < captions.size();
        });
        within(10000, [&] {
            missing = notDrawn(window, captions, scale);
            return missing.isEmpty();
        });
        // HVX_SCREEN_GRABS=FOLDER keeps what each row saw, to look at by eye.
        if (const QString folder = qEnvironmentVariable("HVX_SCREEN_GRABS"); !folder.isEmpty()) {
            QPoint origin;
            screenAround(window, scale, origin)
                .save(folder + '/' + QString::fromLatin1(QTest::currentDataTag()) + ".png");
        }
        return missing;
    }

    bool clickText(const QString& text, qreal scale) const {
        const DrawnText drawn(text, scale, QApplication::font());
        return within(kScreenWaitMs, [&] {
            QPoint origin;
            const auto at = drawn.findIn(screenAround(QString(), scale, origin));
            if (at) {
                session_.click(origin + *at +
                               QPoint(drawn.size().width(), drawn.size().height()) / 2);
            }
            return at.has_value();
        });
    }

    // Brings `window` up on the screen as an operator would meet it.
    void open(MonitorOnScreen& monitor, const QString& window, qreal scale) {
        QVERIFY(monitor.ready);
        if (window == "dlgMonitorNames") {
            QVERIFY(writeFile(monitor.app + "/monitornames.txt",
                              "North, " + monitor.app.toUtf8() + "\n"));
        }
        const bool running = window == "running" || window == "error indicator";
        if (window == "dlgDeleteOldMessages" || running) {
            // The demo's old unsent messages are questioned at the first Start.
            monitor.setSetting(u"AutoStartMonitor"_s, u"1"_s);
        }
        if (running) {
            monitor.query(u"delete from Messages"_s);
        }
        if (window.startsWith(u"ConnectionWizard")) {
            QVERIFY(QFile::remove(monitor.app + "/db.ini"));
        }
        if (window == "splash" || window == "critical box") {
            // Start-up stops at the report of a database file that is none, the splash still up.
            QVERIFY(writeFile(monitor.app + "/helpdesk.sqlite3",
                              QByteArray("This is no database.\n").repeated(200)));
        }
        if (window == "information box") {
            // A mail program that takes the support bundle.
            QVERIFY(QDir().mkpath(monitor.app + "/stand-in"));
            QVERIFY(writeScript(monitor.app + "/stand-in/xdg-email", "exit 0\n"));
            monitor.environment.insert(u"PATH"_s,
                                       monitor.app + "/stand-in:" + qEnvironmentVariable("PATH"));
        }
        monitor.start(scale);
        if (window == "splash") {
            // The report's box covers part of the splash: out of the way with it. The window
            // manager places the box once shown; it moves it only after that.
            QVERIFY(within(kScreenWaitMs, [&] {
                const quint64 box = session_.activeWindow();
                if (box == 0 || session_.windowTitle(box) != kBoxTitle) {
                    return false;
                }
                session_.moveWindow(box, QPoint(0, 0));
                return session_.windowGeometry(box).top() < 100;
            }));
        }
        // What the operator clicks, in order, to bring the window up once the Monitor shows.
        static const QHash<QString, QStringList> clicks{
            {"frmMonitor's Monitor menu", {"&Monitor"}},
            {"frmMonitor's Log menu", {"&Log"}},
            {"dlgOperatorName", {"&Monitor", "&Configure Net Send options..."}},
            {"dlgMessageWithTurnOff", {"&Exit"}},
            {"ConnectionWizard's file page", {"&Next >"}},
            {"ConnectionWizard's server page", {"A database &server (through ODBC)", "&Next >"}},
            {"question box", {"&Log", "Send Log File to Halvex Support"}},
            {"information box", {"&Log", "Send Log File to Halvex Support", "&Yes"}}};
        for (const QString& text : clicks.value(window)) {
            QVERIFY2(clickText(text, scale), qPrintable(text));
        }
        if (running) {
            // The core application that the Monitor starts comes up iconic and leaves the focus
            // where it was; the window manager decides about the focus when it maps the window.
            quint64 main = 0;
            quint64 core = 0;
            QTRY_VERIFY_WITH_TIMEOUT((main = session_.windowNamed(kRunning)) != 0, kScreenWaitMs);
            QTRY_COMPARE_WITH_TIMEOUT(session_.activeWindow(), main, kScreenWaitMs);
            QTRY_VERIFY_WITH_TIMEOUT((core = session_.windowNamed(kCore)) != 0, kScreenWaitMs);
            QTRY_COMPARE_WITH_TIMEOUT(session_.windowState(core), u"Iconic"_s, kScreenWaitMs);
            const QDeadlineTimer watching(2000);
            while (!watching.hasExpired()) {
                QCOMPARE(session_.activeWindow(), main);
                QCOMPARE(session_.windowState(core), u"Iconic"_s);
                QTest::qWait(200);
            }
        }
        if (window == "error indicator") {
            monitor.setControl("ErrorInfo", u"Error 3021"_s);
        }
    }

    // The support bundle that the information box names, once written.
    static QString supportBundle(const MonitorOnScreen& monitor) {
        const QStringList bundles =
            QDir(monitor.logFolder()).entryList({u"support-*.txt"_s}, QDir::Files);
        return bundles.size() == 1 ? monitor.logFolder() + '/' + bundles.front() : QString();
    }

  private Q_SLOTS:
    void initTestCase() {
        if (!session_.missing().isEmpty()) {
            QSKIP(qPrintable("not installed: " + session_.missing().join(u", "_s)));
        }
        QVERIFY2(session_.running(), qPrintable(session_.problem()));
        // The pictures as the Monitor's style gives them.
        QApplication::setStyle(new hvx::MessagePictureStyle(QApplication::style()->name()));
    }

    void everyCaptionShowsWhole_data() {
        QTest::addColumn<QString>("window");
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<QList<Caption>>("captions");
        QTest::addColumn<int>("picture");
        QTest::addColumn<int>("size");

        const QList<Caption> main = plain({"Services ", "Read Email", "Send Email", "Check SLAs",
                                           "Process On-Hold Requests", "Trace", "&Start", "&Exit",
                                           "&File", "&Monitor", "&Log"});
        const QList<Caption> monitorMenu =
            plain({"&Start", "&Run now", "&Preview In-Box Messages", "&Clear Error Warning",
                   "&Configure Net Send options..."});
        const QList<Caption> logMenu =
            plain({"&View Log File", "Send Log File to Halvex Support", "&Clear Log File"});
        const QList<Caption> names =
            plain({"Select the Monitor instance you want to start:", "North", "OK", "Cancel"});
        const QList<Caption> alert =
            QList<Caption>{{u"The Monitor can use Windows 'Net Send' command to send alerts if the "
                            "Monitor logs an error.  The alerts are sent when an error is first "
                            "logged."_s,
                            true}} +
            plain({"Send this message:",
                   "Send to up to three users (or other valid Net Send destinations):", "OK",
                   "Cancel"});
        const QList<Caption> exit =
            plain({"Are you sure you want to exit?", "Don't ask me this again", "Yes", "No"});
        const QList<Caption> oldMessages =
            QList<Caption>{
                {u"unsent messages in the Messages table which are over a week old. This suggests "
                 "that the Monitor has not been used to send email for at least a week. It may be "
                 "that you are using features such as Email on Assignment, Email on Closed, etc., "
                 "but you have not been using the Monitor to send the related alerts. IF YOU "
                 "CHOOSE NOT TO DELETE THE OLD MESSAGES, THEY WILL ALL BE SENT NOW."_s,
                 true}} +
            plain({"Do not delete any messages", "Delete ALL unsent messages",
                   "Delete all messages more than", "days old", "OK", "Cancel"});
        const QList<Caption> splash = {
            {.text = u"Halvex Help Desk Monitor"_s, .pointSize = 18, .bold = true, .light = true},
            {.text = u"Starting..."_s, .pointSize = 10, .light = true}};
        const QList<Caption> wizardButtons = plain({"< &Back", "&Next >", "Cancel"});
        const QList<Caption> wizardKind =
            QList<Caption>{{.text = u"Help-desk database"_s, .bold = true}} +
            plain({"Where does the help-desk database lie?", "A database &file on this computer",
                   "A database &server (through ODBC)"}) +
            wizardButtons;
        const QList<Caption> wizardFile =
            QList<Caption>{{.text = u"Database file"_s, .bold = true}} +
            plain({"Choose the help-desk database file, or name a new one.", "&Browse...",
                   "&Create a new help-desk database in this file"}) +
            wizardButtons;
        const QList<Caption> wizardServer =
            QList<Caption>{{.text = u"Database server"_s, .bold = true}} +
            plain({"How is the database server reached?", "ODBC &driver:", "PostgreSQL Unicode",
                   "&Server:", "&Port:", "D&atabase:", "&User:", "Pass&word:"}) +
            wizardButtons;
        const QList<Caption> critical = {
            {u"file is not a database (Unable to execute statement) in the statement: select "
             "name from sqlite_master where type = 'table'"_s,
             true},
            {u"OK"_s}};
        const QList<Caption> question =
            plain({"Are you sure you want to send the log file to Halvex Support?", "&Yes", "&No"});
        // The bundle's path follows once it is written.
        const QList<Caption> information = {
            {u"Your mail program has been asked to send the support bundle:"_s, true}, {u"OK"_s}};

        const QList<Caption> errorIndicator = {{u"Error 3021"_s, true}};

        const int boxIcon = QApplication::style()->pixelMetric(QStyle::PM_MessageBoxIconSize);
        for (const qreal scale : {1.0, 2.0}) {
            const auto row = [scale](const char* window, const QList<Caption>& captions,
                                     int picture = -1, int size = 32) {
                QTest::newRow(window + " at scale "_ba + QByteArray::number(scale))
                    << QString::fromLatin1(window) << scale << captions << picture << size;
            };
            row("frmMonitor", main);
            row("frmMonitor's Monitor menu", monitorMenu);
            row("frmMonitor's Log menu", logMenu);
            row("error indicator", errorIndicator, QStyle::SP_MessageBoxWarning);
            row("dlgMonitorNames", names);
            row("dlgOperatorName", alert);
            row("dlgMessageWithTurnOff", exit, QStyle::SP_MessageBoxQuestion);
            row("dlgDeleteOldMessages", oldMessages, QStyle::SP_MessageBoxWarning);
            row("splash", splash);
            row("ConnectionWizard", wizardKind);
            row("ConnectionWizard's file page", wizardFile);
            row("ConnectionWizard's server page", wizardServer);
            row("critical box", critical, QStyle::SP_MessageBoxCritical, boxIcon);
            row("question box", question);
            row("information box", information, QStyle::SP_MessageBoxInformation, boxIcon);
        }
    }

    // At twice the scale, the window's picture too is drawn for the screen's pixels, not
    // enlarged from a picture made for one.
    void everyCaptionShowsWhole() {
        QFETCH(QString, window);
        QFETCH(qreal, scale);
        QFETCH(QList<Caption>, captions);
        QFETCH(int, picture);
        QFETCH(int, size);

        MonitorOnScreen monitor(u"texts"_s);
        open(monitor, window, scale);
        if (QTest::currentTestFailed()) {
            return;
        }
        if (window == "information box") {
            QTRY_VERIFY_WITH_TIMEOUT(!supportBundle(monitor).isEmpty(), kScreenWaitMs);
            captions.append({supportBundle(monitor), true});
        }
        const QStringList missing = missingOnceShown(window, captions, scale);
        QVERIFY2(missing.isEmpty(), qPrintable("not drawn whole: " + missing.join(u" | "_s)));
        if (picture < 0 || scale != 2.0) {
            return;
        }
        const QIcon icon =
            QApplication::style()->standardIcon(static_cast<QStyle::StandardPixmap>(picture));
        const QImage sharp =
            icon.pixmap(QSize(size, size), scale).toImage().convertToFormat(QImage::Format_ARGB32);
        const QImage small = icon.pixmap(QSize(size, size), 1.0).toImage();
        // Unless the enlarged pictures differ from the sharp one, finding it proves nothing.
        const int least = static_cast<int>(opaqueLevels(sharp).size() / 50);
        for (const auto mode : {Qt::FastTransformation, Qt::SmoothTransformation}) {
            const QImage enlarged = small.scaled(sharp.size(), Qt::IgnoreAspectRatio, mode);
            QVERIFY2(pixelsThatDiffer(sharp, enlarged) > least,
                     "the enlarged picture cannot be told from the sharp one");
        }
        QPoint origin;
        QVERIFY2(within(kScreenWaitMs,
                        [&] { return pictureIn(screenAround(window, scale, origin), sharp); }),
                 "the picture is not drawn for the screen's pixels");
    }

    void theUptimeShowsWholeAndTheOtherPanelsElideWithTheirWholeTextAsToolTip() {
        MonitorOnScreen monitor(u"status-bar"_s);
        open(monitor, u"running"_s, 1.0);
        if (QTest::currentTestFailed()) {
            return;
        }
        // An in-box preview gives the core application's status line some length.
        monitor.setControl("Command", u"7"_s);
        QTRY_VERIFY_WITH_TIMEOUT(monitor.control("Status").contains(u"in-box preview"_s),
                                 kScreenWaitMs);
        QVERIFY(monitor.shiftClock(qint64{1234} * 60));
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
        open(monitor, u"running"_s, 1.0);
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

// The test process joins the private display too, so it draws the expected texts and pictures
// with the same fonts, style and icons as the programs under test. Without Xvfb or openbox it
// stays offscreen and the test skips.
int main(int argc, char* argv[]) {
    XSession session;
    if (session.start()) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
    QApplication application(argc, argv);
    TestDrawnOnDesktop test(session);
    return QTest::qExec(&test, argc, argv);
}
#include "TestDrawnOnDesktop.moc"
