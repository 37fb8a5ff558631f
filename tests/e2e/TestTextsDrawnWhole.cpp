#include "platform/qt/MessagePictureStyle.h"
#include "screen/DrawnText.h"
#include "screen/MonitorOnScreen.h"
#include "screen/ScreenTestMain.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QStyle>

#include <algorithm>
#include <optional>

using namespace hvx::test;

namespace {

const QString kTitle = QStringLiteral("Help Desk Monitor");

const QString kBoxTitle = QStringLiteral("HvxMonitor");

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

// Every caption of every window and dialog shows whole, as the operator's desktop draws it,
// at the designed sizes and at twice the scale.
class TestTextsDrawnWhole : public QObject {
    Q_OBJECT

  public:
    explicit TestTextsDrawnWhole(XSession& session) : session_(session) {}

  private:
    // The screen around the active window, with room for the menus it opens, in gray; the
    // splash lies in the middle of the screen, whatever window is active.
    QImage screenAround(const QString& window, qreal scale, QPoint& origin) const {
        const QImage screen = session_.grab();
        const int room = static_cast<int>(320 * scale);
        QRect area = session_.windowGeometry(session_.activeWindow())
                         .adjusted(-room / 8, -room / 4, room, room);
        if (window == QLatin1String("splash")) {
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
                    missing << caption.text.left(20) + QStringLiteral("... (words: ") +
                                   words.join(QLatin1Char(' ')) + QLatin1Char(')');
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
        QStringList missing = notDrawn(window, captions, scale);
        const QDeadlineTimer shown(kScreenWaitMs);
        while (missing.size() == captions.size() && !shown.hasExpired()) {
            QTest::qWait(200);
            missing = notDrawn(window, captions, scale);
        }
        const QDeadlineTimer painted(10000);
        while (!missing.isEmpty() && !painted.hasExpired()) {
            QTest::qWait(200);
            missing = notDrawn(window, captions, scale);
        }
        // HVX_SCREEN_GRABS=FOLDER keeps what each row saw, to look at by eye.
        if (const QString folder = qEnvironmentVariable("HVX_SCREEN_GRABS"); !folder.isEmpty()) {
            QPoint origin;
            screenAround(window, scale, origin)
                .save(folder + QLatin1Char('/') + QString::fromLatin1(QTest::currentDataTag()) +
                      QStringLiteral(".png"));
        }
        return missing;
    }

    bool clickText(const QString& text, qreal scale) const {
        const DrawnText drawn(text, scale, QApplication::font());
        const QDeadlineTimer deadline(kScreenWaitMs);
        do {
            QPoint origin;
            if (const auto at = drawn.findIn(screenAround(QString(), scale, origin))) {
                session_.click(origin + *at +
                               QPoint(drawn.size().width() / 2, drawn.size().height() / 2));
                return true;
            }
            QTest::qWait(200);
        } while (!deadline.hasExpired());
        return false;
    }

    // Brings `window` up on the screen as an operator would meet it.
    void open(MonitorOnScreen& monitor, const QString& window, qreal scale) {
        QVERIFY(monitor.ready());
        const auto is = [&window](const char* name) { return window == QLatin1String(name); };
        if (is("dlgMonitorNames")) {
            QFile names(monitor.folder() + QStringLiteral("/monitornames.txt"));
            QVERIFY(names.open(QIODevice::WriteOnly));
            names.write("North, " + monitor.folder().toUtf8() + "\n");
        }
        if (is("dlgDeleteOldMessages") || is("error indicator")) {
            // The demo's old unsent messages are questioned at the first Start.
            QVERIFY(
                monitor.sql(QStringLiteral("update Settings set SettingValue = '1' "
                                           "where SettingName = 'AutoStartMonitor'")));
        }
        if (is("error indicator")) {
            QVERIFY(monitor.sql(QStringLiteral("delete from Messages")));
        }
        if (window.startsWith(QLatin1String("ConnectionWizard"))) {
            QVERIFY(QFile::remove(monitor.folder() + QStringLiteral("/db.ini")));
        }
        if (is("splash") || is("critical box")) {
            // Start-up stops at the report of a database file that is none, the splash still up.
            QFile database(monitor.folder() + QStringLiteral("/helpdesk.sqlite3"));
            QVERIFY(database.open(QIODevice::WriteOnly | QIODevice::Truncate));
            database.write(QByteArray("This is no database.\n").repeated(200));
        }
        if (is("information box")) {
            // A mail program that takes the support bundle.
            const QString standIn = monitor.folder() + QStringLiteral("/stand-in");
            QVERIFY(QDir().mkpath(standIn));
            QFile mailer(standIn + QStringLiteral("/xdg-email"));
            QVERIFY(mailer.open(QIODevice::WriteOnly));
            mailer.write("#!/bin/sh\nexit 0\n");
            mailer.close();
            QVERIFY(mailer.setPermissions(mailer.permissions() | QFileDevice::ExeOwner));
            monitor.setEnvironment(QStringLiteral("PATH"),
                                   standIn + QLatin1Char(':') + qEnvironmentVariable("PATH"));
        }
        monitor.start(scale);
        if (is("splash")) {
            // The report's box covers part of the splash: out of the way with it.
            // The window manager places the box once shown; it moves it only after that.
            const auto boxAside = [&] {
                const quint64 box = session_.activeWindow();
                if (box == 0 || session_.windowTitle(box) != kBoxTitle) {
                    return false;
                }
                session_.moveWindow(box, QPoint(0, 0));
                return session_.windowGeometry(box).top() < 100;
            };
            QVERIFY(within(kScreenWaitMs, boxAside));
        }
        if (is("mnuMonitor") || is("dlgOperatorName")) {
            QVERIFY(clickText(QStringLiteral("&Monitor"), scale));
        }
        if (is("dlgOperatorName")) {
            QVERIFY(clickText(QStringLiteral("&Configure Net Send options..."), scale));
        }
        if (is("dlgMessageWithTurnOff")) {
            QVERIFY(clickText(QStringLiteral("&Exit"), scale));
        }
        if (is("ConnectionWizard's server page")) {
            QVERIFY(clickText(QStringLiteral("A database &server (through ODBC)"), scale));
        }
        if (is("ConnectionWizard's server page") || is("ConnectionWizard's file page")) {
            QVERIFY(clickText(QStringLiteral("&Next >"), scale));
        }
        if (is("mnulog") || is("question box") || is("information box")) {
            QVERIFY(clickText(QStringLiteral("&Log"), scale));
        }
        if (is("question box") || is("information box")) {
            QVERIFY(clickText(QStringLiteral("Send Log File to Halvex Support"), scale));
        }
        if (is("information box")) {
            QVERIFY(clickText(QStringLiteral("&Yes"), scale));
        }
        if (is("error indicator")) {
            QTRY_VERIFY_WITH_TIMEOUT(
                session_.windowNamed(QStringLiteral("Help Desk Monitor (Running)")) != 0,
                kScreenWaitMs);
            monitor.setControl(QStringLiteral("ErrorInfo"), QStringLiteral("Error 3021"));
        }
    }

    // The support bundle that the information box names, once written.
    static QString supportBundle(const MonitorOnScreen& monitor) {
        const QStringList bundles =
            QDir(monitor.logFolder()).entryList({QStringLiteral("support-*.txt")}, QDir::Files);
        return bundles.size() == 1 ? monitor.logFolder() + QLatin1Char('/') + bundles.front()
                                   : QString();
    }

  private Q_SLOTS:
    void initTestCase() {
        HVX_REQUIRE_SCREEN(session_);
        // The pictures as the Monitor's style gives them.
        QApplication::setStyle(new hvx::MessagePictureStyle(QApplication::style()->name()));
    }

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
        const QList<Caption> logMenu = {{QStringLiteral("&View Log File")},
                                        {QStringLiteral("Send Log File to Halvex Support")},
                                        {QStringLiteral("&Clear Log File")}};
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

        const QList<Caption> splash = {
            {.text = QStringLiteral("Halvex Help Desk Monitor"),
             .pointSize = 18,
             .bold = true,
             .light = true},
            {.text = QStringLiteral("Starting..."), .pointSize = 10, .light = true}};
        const QList<Caption> wizardButtons = {
            {QStringLiteral("< &Back")}, {QStringLiteral("&Next >")}, {QStringLiteral("Cancel")}};
        const QList<Caption> wizardKind =
            QList<Caption>{{.text = QStringLiteral("Help-desk database"), .bold = true},
                           {QStringLiteral("Where does the help-desk database lie?")},
                           {QStringLiteral("A database &file on this computer")},
                           {QStringLiteral("A database &server (through ODBC)")}} +
            wizardButtons;
        const QList<Caption> wizardFile =
            QList<Caption>{
                {.text = QStringLiteral("Database file"), .bold = true},
                {QStringLiteral("Choose the help-desk database file, or name a new one.")},
                {QStringLiteral("&Browse...")},
                {QStringLiteral("&Create a new help-desk database in this file")}} +
            wizardButtons;
        const QList<Caption> wizardServer =
            QList<Caption>{{.text = QStringLiteral("Database server"), .bold = true},
                           {QStringLiteral("How is the database server reached?")},
                           {QStringLiteral("ODBC &driver:")},
                           {QStringLiteral("PostgreSQL Unicode")},
                           {QStringLiteral("&Server:")},
                           {QStringLiteral("&Port:")},
                           {QStringLiteral("D&atabase:")},
                           {QStringLiteral("&User:")},
                           {QStringLiteral("Pass&word:")}} +
            wizardButtons;
        const QList<Caption> critical = {
            {QStringLiteral("file is not a database (Unable to execute statement) in the "
                            "statement: select name from sqlite_master where type = 'table'"),
             true},
            {QStringLiteral("OK")}};
        const QList<Caption> question = {
            {QStringLiteral("Are you sure you want to send the log file to Halvex Support?")},
            {QStringLiteral("&Yes")},
            {QStringLiteral("&No")}};
        // The bundle's path follows once it is written.
        const QList<Caption> information = {
            {QStringLiteral("Your mail program has been asked to send the support bundle:"), true},
            {QStringLiteral("OK")}};

        for (const qreal scale : {1.0, 2.0}) {
            const QByteArray at = " at scale " + QByteArray::number(scale);
            const auto row = [&](const char* window, const QList<Caption>& captions) {
                QTest::newRow(window + at) << QString::fromLatin1(window) << scale << captions;
            };
            row("frmMonitor", main);
            QTest::newRow("frmMonitor's Monitor menu" + at)
                << QStringLiteral("mnuMonitor") << scale << monitorMenu;
            QTest::newRow("frmMonitor's Log menu" + at)
                << QStringLiteral("mnulog") << scale << logMenu;
            row("dlgMonitorNames", names);
            row("dlgOperatorName", alert);
            row("dlgMessageWithTurnOff", exit);
            row("dlgDeleteOldMessages", oldMessages);
            row("splash", splash);
            row("ConnectionWizard", wizardKind);
            row("ConnectionWizard's file page", wizardFile);
            row("ConnectionWizard's server page", wizardServer);
            row("critical box", critical);
            row("question box", question);
            row("information box", information);
        }
    }

    void everyCaptionShowsWhole() {
        QFETCH(QString, window);
        QFETCH(qreal, scale);
        QFETCH(QList<Caption>, captions);

        MonitorOnScreen monitor(QStringLiteral("texts"));
        open(monitor, window, scale);
        if (QTest::currentTestFailed()) {
            return;
        }
        if (window == QLatin1String("information box")) {
            QTRY_VERIFY_WITH_TIMEOUT(!supportBundle(monitor).isEmpty(), kScreenWaitMs);
            captions.append({supportBundle(monitor), true});
        }
        const QStringList missing = missingOnceShown(window, captions, scale);
        QVERIFY2(missing.isEmpty(), qPrintable(QStringLiteral("not drawn whole: ") +
                                               missing.join(QStringLiteral(" | "))));
    }

    // The pictures are drawn for the screen's pixels at twice the scale, not enlarged from
    // pictures made for one.
    void everyPictureIsDrawnSharp_data() {
        QTest::addColumn<QString>("window");
        QTest::addColumn<int>("picture");
        QTest::addColumn<int>("size");
        const int boxIcon = QApplication::style()->pixelMetric(QStyle::PM_MessageBoxIconSize);
        QTest::newRow("error indicator's warning")
            << QStringLiteral("error indicator") << int(QStyle::SP_MessageBoxWarning) << 32;
        QTest::newRow("dlgDeleteOldMessages' warning")
            << QStringLiteral("dlgDeleteOldMessages") << int(QStyle::SP_MessageBoxWarning) << 32;
        QTest::newRow("dlgMessageWithTurnOff's question")
            << QStringLiteral("dlgMessageWithTurnOff") << int(QStyle::SP_MessageBoxQuestion) << 32;
        QTest::newRow("critical box")
            << QStringLiteral("critical box") << int(QStyle::SP_MessageBoxCritical) << boxIcon;
        QTest::newRow("information box") << QStringLiteral("information box")
                                         << int(QStyle::SP_MessageBoxInformation) << boxIcon;
    }

    void everyPictureIsDrawnSharp() {
        QFETCH(QString, window);
        QFETCH(int, picture);
        QFETCH(int, size);
        const qreal scale = 2.0;
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

        MonitorOnScreen monitor(QStringLiteral("pictures"));
        open(monitor, window, scale);
        if (QTest::currentTestFailed()) {
            return;
        }
        QPoint origin;
        QVERIFY2(within(kScreenWaitMs,
                        [&] { return pictureIn(screenAround(window, scale, origin), sharp); }),
                 "the picture is not drawn for the screen's pixels");
    }

  private:
    XSession& session_;
};

HVX_SCREEN_TEST_MAIN(TestTextsDrawnWhole)
#include "TestTextsDrawnWhole.moc"
