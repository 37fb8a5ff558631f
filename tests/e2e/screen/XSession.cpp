#include "XSession.h"

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>

using namespace Qt::StringLiterals;

namespace hvx::test {

namespace {

constexpr int kToolTimeoutMs = 60000;
// Each server gets this long to come up. On a 2-core machine under a load of 15 to 20 (a
// parallel build beside the tests) Xvfb and openbox were seen to take 3 to 7 seconds each at
// a quiet time, and beyond 20 seconds at a busy one.
constexpr int kServerTimeoutMs = 90000;
constexpr int kPollMs = 250;

QString captured(const QByteArray& text, const QString& pattern) {
    return QRegularExpression(pattern, QRegularExpression::MultilineOption)
        .match(QString::fromUtf8(text))
        .captured(1);
}

quint64 windowIdIn(const QByteArray& text) {
    return captured(text, u"window id # (0x[0-9a-fA-F]+)"_s).toULongLong(nullptr, 16);
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
    // A session that does not come up (a server that exits, one that never answers) is
    // started afresh once.
    QStringList problems;
    for (int attempt = 1; missing_.isEmpty() && attempt <= 2; ++attempt) {
        if (startServers()) {
            problem_.clear();
            return true;
        }
        problems << u"attempt %1: %2"_s.arg(attempt).arg(problem_);
        stopServers();
    }
    problem_ = problems.join(u"; "_s);
    return false;
}

bool XSession::startServers() {
    QElapsedTimer took;
    took.start();
    // Room for the designed windows at twice the size, and for a long tool tip in one line.
    server_.start(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-nolisten"_s, u"tcp"_s, u"-screen"_s,
                              u"0"_s, u"2560x1600x24"_s});
    QByteArray number;
    const QDeadlineTimer serverDeadline(kServerTimeoutMs);
    while (!number.contains('\n') && !serverDeadline.hasExpired() &&
           server_.state() != QProcess::NotRunning) {
        server_.waitForReadyRead(kPollMs);
        number += server_.readAllStandardOutput();
    }
    if (!number.contains('\n')) {
        problem_ = u"Xvfb reported no display after %1 ms: %2"_s.arg(took.elapsed())
                       .arg(QString::fromLocal8Bit(server_.readAllStandardError()));
        return false;
    }
    qputenv("DISPLAY", ':' + number.trimmed());
    windowManager_.start(u"openbox"_s, {u"--sm-disable"_s});
    // The window manager is ready once it names itself on the root window.
    const QDeadlineTimer managerDeadline(kServerTimeoutMs);
    while (windowIdIn(run(u"xprop"_s, {u"-root"_s, u"_NET_SUPPORTING_WM_CHECK"_s})) == 0) {
        if (managerDeadline.hasExpired() || windowManager_.state() == QProcess::NotRunning) {
            problem_ = u"openbox did not come up after %1 ms: %2"_s.arg(took.elapsed())
                           .arg(QString::fromLocal8Bit(windowManager_.readAllStandardError()));
            return false;
        }
        QThread::msleep(kPollMs);
    }
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

QByteArray XSession::xdotool(const QStringList& arguments) const {
    return run(u"xdotool"_s, arguments);
}

quint64 XSession::windowNamed(const QString& title) const {
    const QString exactly = '^' + QRegularExpression::escape(title) + '$';
    return xdotool({u"search"_s, u"--name"_s, exactly}).split('\n').value(0).toULongLong();
}

QString XSession::windowTitle(quint64 window) const {
    return QString::fromUtf8(xdotool({u"getwindowname"_s, QString::number(window)})).trimmed();
}

quint64 XSession::activeWindow() const {
    return windowIdIn(run(u"xprop"_s, {u"-root"_s, u"_NET_ACTIVE_WINDOW"_s}));
}

QString XSession::windowState(quint64 window) const {
    return captured(run(u"xprop"_s, {u"-id"_s, QString::number(window), u"WM_STATE"_s}),
                    u"window state: (\\w+)"_s);
}

QRect XSession::windowGeometry(quint64 window) const {
    const QByteArray shell =
        xdotool({u"getwindowgeometry"_s, u"--shell"_s, QString::number(window)});
    const auto value = [&shell](const QString& name) {
        return captured(shell, '^' + name + u"=(-?\\d+)$"_s).toInt();
    };
    return {value(u"X"_s), value(u"Y"_s), value(u"WIDTH"_s), value(u"HEIGHT"_s)};
}

QImage XSession::grab() const {
    return QImage::fromData(run(u"import"_s, {u"-window"_s, u"root"_s, u"png:-"_s}), "PNG");
}

void XSession::moveMouse(QPoint at) const {
    xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y())});
}

void XSession::click(QPoint at) const {
    xdotool({u"mousemove"_s, QString::number(at.x()), QString::number(at.y()), u"click"_s, u"1"_s});
}

void XSession::moveWindow(quint64 window, QPoint to) const {
    xdotool({u"windowmove"_s, QString::number(window), QString::number(to.x()),
             QString::number(to.y())});
}

}  // namespace hvx::test
