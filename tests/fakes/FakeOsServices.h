#pragma once

#include "SettableClock.h"
#include "platform/OsServices.h"

#include <QSet>
#include <QStringList>

#include <memory>
#include <optional>

#include <vector>

namespace hvx::test {

class FakeComputer final : public ComputerInfo {
  public:
    std::optional<QString> computerName() const override { return name; }
    std::optional<QString> name = QStringLiteral("DESK-01");
};

class FakeInstanceGuard final : public InstanceGuard {
  public:
    bool anotherCopyRunning() override { return running; }
    bool running = false;
};

// Waiting for events moves the settable clock on, so time-bound loops end without real waits.
class FakeUserInterface final : public UserInterface {
  public:
    explicit FakeUserInterface(SettableClock& clock) : clock_(clock) {}
    void processEvents() override {}
    void waitForEvents(int milliseconds) override { clock_.advanceMilliseconds(milliseconds); }
    void setWaitCursor(bool waiting) override { cursorWaiting = waiting; }

    bool cursorWaiting = false;

  private:
    SettableClock& clock_;
};

// Windows that tests open and close by caption.
class FakeWindows final : public WindowDirectory {
  public:
    bool findWindow(const QString& caption) const override { return open.contains(caption); }
    std::unique_ptr<CaptionAnnouncement> announce(const QString& caption) override {
        return std::make_unique<Announcement>(open, caption);
    }

    QSet<QString> open;

  private:
    class Announcement final : public CaptionAnnouncement {
      public:
        Announcement(QSet<QString>& open, const QString& caption) : open_(open) {
            setCaption(caption);
        }
        ~Announcement() override { open_.remove(caption_); }
        void setCaption(const QString& caption) override {
            open_.remove(caption_);
            caption_ = caption;
            open_.insert(caption_);
        }

      private:
        QSet<QString>& open_;
        QString caption_;
    };
};

// Records every start; fails with `failWith` when it is set.
class FakeLauncher final : public ProcessLauncher {
  public:
    struct Start {
        QString program;
        QStringList arguments;
        WindowStyle style;
    };
    using ProcessLauncher::start;
    LaunchResult start(const QString& program, const QStringList& arguments, WindowStyle style,
                       const QByteArray&) override {
        starts.push_back({program, arguments, style});
        return failWith.value_or(LaunchResult{true, 0, {}});
    }

    std::vector<Start> starts;
    std::optional<LaunchResult> failWith;
};

// Answers with a fixed program, or none, and records what it opened.
class FakeFileOpener final : public FileOpener {
  public:
    std::optional<QString> associatedProgram(const QString&) const override { return program; }
    bool open(const QString& with, const QString& file) override {
        opened.append(with + QLatin1Char(' ') + file);
        return opens;
    }
    bool openFolder(const QString& folder) override {
        openedFolders.append(folder);
        return opens;
    }

    std::optional<QString> program = QStringLiteral("/usr/bin/editor");
    bool opens = true;
    QStringList opened;
    QStringList openedFolders;
};

// Records every notification as "summary|body".
class FakeNotifier final : public DesktopNotifier {
  public:
    void notify(const QString& summary, const QString& body) override {
        shown.append(summary + QLatin1Char('|') + body);
    }
    QStringList shown;
};

}  // namespace hvx::test
