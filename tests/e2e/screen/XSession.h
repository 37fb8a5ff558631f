#pragma once

#include <QImage>
#include <QPoint>
#include <QProcess>
#include <QRect>
#include <QString>
#include <QStringList>

namespace hvx::test {

// How long the screen tests wait for a window to show or change before they give up: a minute,
// since on a machine under heavy load a program's start takes tens of seconds.
constexpr int kScreenWaitMs = 60000;

// A private X display with a real window manager, for tests that look at what the programs
// draw and at how the window manager treats their windows. Xvfb picks a free display itself
// (-displayfd), so tests in parallel never share one; openbox manages it. The session sets
// DISPLAY for this process and everything it starts, and ends both servers when destroyed.
class XSession {
  public:
    XSession() = default;
    ~XSession();
    XSession(const XSession&) = delete;
    XSession& operator=(const XSession&) = delete;

    // False when the tools are not installed (missing() names them) or the servers did not
    // come up (problem() says why). A busy machine gets generous waits and a second start.
    bool start();
    QStringList missing() const { return missing_; }
    QString problem() const { return problem_; }
    bool running() const { return problem_.isEmpty() && missing_.isEmpty(); }

    // The top-level window whose title is exactly `title`, or 0.
    quint64 windowNamed(const QString& title) const;
    QString windowTitle(quint64 window) const;
    // What the window manager says: _NET_ACTIVE_WINDOW, and the ICCCM state of a window
    // ("Normal", "Iconic", "Withdrawn", or empty when it has none).
    quint64 activeWindow() const;
    QString windowState(quint64 window) const;
    // Where the window's own area (without the frame) lies on the screen.
    QRect windowGeometry(quint64 window) const;

    // The whole screen as drawn, in device pixels.
    QImage grab() const;
    void moveMouse(QPoint at) const;
    void click(QPoint at) const;
    // Moves a top-level window (its frame's top left corner) to `to`.
    void moveWindow(quint64 window, QPoint to) const;

  private:
    bool startServers();
    void stopServers();
    QByteArray run(const QString& program, const QStringList& arguments) const;
    QByteArray xdotool(const QStringList& arguments) const;

    QProcess server_;
    QProcess windowManager_;
    QStringList missing_;
    QString problem_ = QStringLiteral("not started");
};

}  // namespace hvx::test
