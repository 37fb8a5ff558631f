#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace hvx {

// Services of the machine and the desktop that the procedures ask for instead of calling the
// OS or the toolkit themselves.

class ComputerInfo {
  public:
    virtual ~ComputerInfo() = default;
    // Nothing when the name cannot be had.
    virtual std::optional<QString> computerName() const = 0;
};

// Whether another copy of this program runs for this user. The first copy to ask holds the
// claim for the rest of its life.
class InstanceGuard {
  public:
    virtual ~InstanceGuard() = default;
    virtual bool anotherCopyRunning() = 0;
};

class UserInterface {
  public:
    virtual ~UserInterface() = default;
    // Lets pending window events run once.
    virtual void processEvents() = 0;
    // Lets window events run for up to `milliseconds`, sleeping while there are none.
    virtual void waitForEvents(int milliseconds) = 0;
    virtual void setWaitCursor(bool waiting) = 0;
};

// How a started program is asked to show its window; handed to it in HVX_SHOW_WINDOW.
enum class WindowStyle { Normal, MinimizedNoActivate, Minimized };

struct LaunchResult {
    bool started = false;
    // errno and its text when the start failed.
    long errorNumber = 0;
    QString errorDescription;
};

// Starts programs without a shell and without waiting for them.
class ProcessLauncher {
  public:
    virtual ~ProcessLauncher() = default;
    // The child reads `standardInput` on its standard input, whole, however long, and
    // without this process waiting for it to be read.
    virtual LaunchResult start(const QString& program, const QStringList& arguments,
                               WindowStyle style, const QByteArray& standardInput) = 0;
    // The child's standard input is this process's.
    LaunchResult start(const QString& program, const QStringList& arguments, WindowStyle style) {
        return start(program, arguments, style, inheritStandardInput());
    }

    // A null array, unlike an empty one (which gives the child an empty input).
    static const QByteArray& inheritStandardInput() {
        static const QByteArray none;
        return none;
    }
};

// Held while a top-level window with that caption exists; released when the window goes.
class CaptionAnnouncement {
  public:
    virtual ~CaptionAnnouncement() = default;
    virtual void setCaption(const QString& caption) = 0;
};

// Top-level windows by exact caption, across processes of this user (and HVX_SESSION),
// hidden and minimized windows included.
class WindowDirectory {
  public:
    virtual ~WindowDirectory() = default;
    virtual bool findWindow(const QString& caption) const = 0;
    virtual std::unique_ptr<CaptionAnnouncement> announce(const QString& caption) = 0;
};

// Opens a file with the program the desktop associates with its type.
class FileOpener {
  public:
    virtual ~FileOpener() = default;
    // The program that opens files like this one (an edition's own name for it, handed back to
    // open()); nothing when there is none.
    virtual std::optional<QString> associatedProgram(const QString& file) const = 0;
    // Starts that program on the file without waiting; false when it could not be started.
    virtual bool open(const QString& program, const QString& file) = 0;
    // Shows a folder in the desktop's file manager without waiting; false when there is none
    // or it could not be started.
    virtual bool openFolder(const QString& folder) = 0;
};

// Pop-up notifications of the desktop's notification service.
class DesktopNotifier {
  public:
    virtual ~DesktopNotifier() = default;
    // Shows one notification when the desktop has a notification service. Never waits for the
    // service and never fails: without one, nothing shows.
    virtual void notify(const QString& summary, const QString& body) = 0;
};

}  // namespace hvx
