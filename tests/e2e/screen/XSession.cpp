#include "XSession.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>

namespace hvx::test {

namespace {

constexpr int kToolTimeoutMs = 60000;
// Each server gets this long to come up. On a 2-core machine under a load of 15 to 20 (a
// parallel build beside the tests) Xvfb and openbox were seen to take 3 to 7 seconds each at
// a quiet time, and beyond 20 seconds at a busy one.
constexpr int kServerTimeoutMs = 90000;
// A session that does not come up (a server that exits, one that never answers) is started
// afresh this many times in all.
constexpr int kSessionAttempts = 2;
constexpr int kPollMs = 250;
// Room for the designed windows at twice the size, and for a long tool tip in one line.
const QStringList kScreen = {QStringLiteral("-screen"), QStringLiteral("0"),
                             QStringLiteral("2560x1600x24")};

quint64 windowIdIn(const QByteArray& text) {
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("window id # (0x[0-9a-fA-F]+)"))
            .match(QString::fromLatin1(text));
    return match.hasMatch() ? match.captured(1).toULongLong(nullptr, 16) : 0;
}

}  // namespace

XSession::~XSession() {
    stopServers();
}

void XSession::stopServers() {
    for (QProcess* server : {&windowManager_, &server_}) {
        if (server->state() != QProcess::NotRunning) {
            server->terminate();
            if (!server->waitForFinished(5000)) {
                server->kill();
                server->waitForFinished(5000);
            }
        }
    }
}

bool XSession::start() {
    for (const char* tool : {"Xvfb", "openbox", "xdotool", "xprop", "import"}) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty()) {
            missing_ << QString::fromLatin1(tool);
        }
    }
    if (!missing_.isEmpty()) {
        return false;
    }
    QStringList problems;
    for (int attempt = 1; attempt <= kSessionAttempts; ++attempt) {
        if (startServers()) {
            return true;
        }
        problems << QStringLiteral("attempt %1: %2").arg(attempt).arg(problem_);
        stopServers();
    }
    problem_ = problems.join(QStringLiteral("; "));
    return false;
}

bool XSession::startServers() {
    QElapsedTimer took;
    took.start();
    server_.start(QStringLiteral("Xvfb"),
                  QStringList{QStringLiteral("-displayfd"), QStringLiteral("1"),
                              QStringLiteral("-nolisten"), QStringLiteral("tcp")} +
                      kScreen);
    QByteArray number;
    const QDeadlineTimer serverDeadline(kServerTimeoutMs);
    while (!number.contains('\n') && !serverDeadline.hasExpired() &&
           server_.state() != QProcess::NotRunning) {
        server_.waitForReadyRead(kPollMs);
        number += server_.readAllStandardOutput();
    }
    if (!number.contains('\n')) {
        problem_ =
            QStringLiteral("Xvfb did not report a display after %1 ms: ").arg(took.elapsed()) +
            QString::fromLocal8Bit(server_.readAllStandardError());
        return false;
    }
    const QString display = QLatin1Char(':') + QString::fromLatin1(number.trimmed());
    qputenv("DISPLAY", display.toLatin1());
    windowManager_.start(QStringLiteral("openbox"), {QStringLiteral("--sm-disable")});
    // The window manager is ready once it names itself on the root window.
    const QDeadlineTimer managerDeadline(kServerTimeoutMs);
    while (windowIdIn(run(QStringLiteral("xprop"),
                          {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})) ==
           0) {
        if (managerDeadline.hasExpired() || windowManager_.state() == QProcess::NotRunning) {
            problem_ = QStringLiteral("openbox did not come up on %1 after %2 ms")
                           .arg(display)
                           .arg(took.elapsed()) +
                       (windowManager_.state() == QProcess::NotRunning
                            ? QStringLiteral(" (it exited: ")
                            : QStringLiteral(" (still starting: ")) +
                       QString::fromLocal8Bit(windowManager_.readAllStandardError()) +
                       QLatin1Char(')');
            return false;
        }
        QThread::msleep(kPollMs);
    }
    display_ = display;
    return true;
}

QByteArray XSession::run(const QString& program, const QStringList& arguments) const {
    QProcess tool;
    tool.start(program, arguments);
    if (!tool.waitForFinished(kToolTimeoutMs)) {
        tool.kill();
        tool.waitForFinished();
        return {};
    }
    return tool.readAllStandardOutput();
}

quint64 XSession::windowNamed(const QString& title) const {
    const QByteArray found =
        run(QStringLiteral("xdotool"),
            {QStringLiteral("search"), QStringLiteral("--name"),
             QLatin1Char('^') + QRegularExpression::escape(title) + QLatin1Char('$')});
    for (const QByteArray& line : found.split('\n')) {
        if (const quint64 window = line.trimmed().toULongLong(); window != 0) {
            return window;
        }
    }
    return 0;
}

QString XSession::windowTitle(quint64 window) const {
    return QString::fromUtf8(run(QStringLiteral("xdotool"),
                                 {QStringLiteral("getwindowname"), QString::number(window)}))
        .trimmed();
}

quint64 XSession::activeWindow() const {
    return windowIdIn(run(QStringLiteral("xprop"),
                          {QStringLiteral("-root"), QStringLiteral("_NET_ACTIVE_WINDOW")}));
}

QString XSession::windowState(quint64 window) const {
    const QByteArray text =
        run(QStringLiteral("xprop"),
            {QStringLiteral("-id"), QString::number(window), QStringLiteral("WM_STATE")});
    const QRegularExpressionMatch match =
        QRegularExpression(QStringLiteral("window state: (\\w+)")).match(QString::fromLatin1(text));
    return match.hasMatch() ? match.captured(1) : QString();
}

QRect XSession::windowGeometry(quint64 window) const {
    QRect geometry;
    const QByteArray shell = run(
        QStringLiteral("xdotool"),
        {QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), QString::number(window)});
    for (const QByteArray& line : shell.split('\n')) {
        const QList<QByteArray> pair = line.split('=');
        if (pair.size() != 2) {
            continue;
        }
        const int value = pair[1].toInt();
        if (pair[0] == "X") {
            geometry.moveLeft(value);
        } else if (pair[0] == "Y") {
            geometry.moveTop(value);
        } else if (pair[0] == "WIDTH") {
            geometry.setWidth(value);
        } else if (pair[0] == "HEIGHT") {
            geometry.setHeight(value);
        }
    }
    return geometry;
}

QImage XSession::grab() const {
    return QImage::fromData(
        run(QStringLiteral("import"),
            {QStringLiteral("-window"), QStringLiteral("root"), QStringLiteral("png:-")}),
        "PNG");
}

void XSession::moveMouse(QPoint at) const {
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y())});
}

void XSession::click(QPoint at) const {
    run(QStringLiteral("xdotool"),
        {QStringLiteral("mousemove"), QString::number(at.x()), QString::number(at.y()),
         QStringLiteral("click"), QStringLiteral("1")});
}

void XSession::moveWindow(quint64 window, QPoint to) const {
    run(QStringLiteral("xdotool"), {QStringLiteral("windowmove"), QString::number(window),
                                    QString::number(to.x()), QString::number(to.y())});
}

}  // namespace hvx::test
