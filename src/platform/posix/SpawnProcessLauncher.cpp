#include "SpawnProcessLauncher.h"

#include <QFile>
#include <QScopeGuard>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

extern char** environ;

namespace hvx {

namespace {

constexpr char kShowWindowVariable[] = "HVX_SHOW_WINDOW";

QString errnoText(int number) {
    char buffer[256] = {};
    // The GNU strerror_r: the text may or may not be written into the buffer.
    return QString::fromLocal8Bit(::strerror_r(number, buffer, sizeof buffer));
}

// Owns the C strings of a NULL-terminated vector handed to posix_spawn.
class CStringList {
  public:
    void append(QByteArray text) { storage_.push_back(std::move(text)); }
    char* const* data() {
        pointers_.clear();
        for (QByteArray& text : storage_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

  private:
    std::vector<QByteArray> storage_;
    std::vector<char*> pointers_;
};

CStringList childEnvironment(WindowStyle style) {
    const QByteArray prefix = QByteArray(kShowWindowVariable) + '=';
    CStringList result;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, prefix.constData(), static_cast<size_t>(prefix.size())) != 0) {
            result.append(QByteArray(*entry));
        }
    }
    result.append(prefix + SpawnProcessLauncher::showWindowValue(style));
    return result;
}

bool writeWhole(int fd, const QByteArray& bytes) {
    const char* data = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, static_cast<size_t>(left));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return false;
        }
        data += written;
        left -= written;
    }
    return true;
}

// True once the child has been collected. ECHILD: someone else reaped it (a SIGCHLD handler
// set to ignore); it is gone all the same.
bool reaped(pid_t pid) {
    int status = 0;
    const pid_t result = ::waitpid(pid, &status, WNOHANG);
    return result == pid || (result < 0 && errno == ECHILD);
}

// RAII for the two spawn objects, so every early return destroys them.
struct SpawnSetup {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SpawnSetup() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;
};

}  // namespace

SpawnProcessLauncher::SpawnProcessLauncher() = default;

SpawnProcessLauncher::Child::Child(pid_t processId, int descriptor)
    : pid(processId), pidfd(descriptor) {}

SpawnProcessLauncher::Child::~Child() {
    endWatch.reset();
    if (pidfd >= 0) {
        ::close(pidfd);
    }
}

SpawnProcessLauncher::~SpawnProcessLauncher() {
    reapEnded();
}

QByteArray SpawnProcessLauncher::showWindowValue(WindowStyle style) {
    switch (style) {
        case WindowStyle::MinimizedNoActivate:
            return QByteArrayLiteral("minimized-noactivate");
        case WindowStyle::Minimized:
            return QByteArrayLiteral("minimized");
        case WindowStyle::Normal:
            break;
    }
    return QByteArrayLiteral("normal");
}

LaunchResult SpawnProcessLauncher::start(const QString& program, const QStringList& arguments,
                                         WindowStyle style, const QByteArray& standardInput) {
    reapEnded();

    // The input lies in an anonymous file rather than a pipe: however long it is, it is
    // written before the child starts, and nobody has to wait for the child to read it.
    int input = -1;
    if (!standardInput.isNull()) {
        input = ::memfd_create("standard-input", MFD_CLOEXEC);
        if (input < 0 || !writeWhole(input, standardInput) || ::lseek(input, 0, SEEK_SET) != 0) {
            const int error = errno;
            if (input >= 0) {
                ::close(input);
            }
            return {false, error, errnoText(error)};
        }
    }
    const auto closeInput = qScopeGuard([input] {
        if (input >= 0) {
            ::close(input);
        }
    });

    const QByteArray path = QFile::encodeName(program);
    CStringList argv;
    argv.append(path);
    for (const QString& argument : arguments) {
        argv.append(QFile::encodeName(argument));
    }
    CStringList envp = childEnvironment(style);

    SpawnSetup setup;
    // Handlers and blocked signals of this process (a quit handler, an ignored SIGPIPE) are
    // no business of the child.
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    for (const int signal :
         {SIGPIPE, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGCHLD, SIGUSR1, SIGUSR2}) {
        sigaddset(&defaults, signal);
    }
    posix_spawnattr_setsigmask(&setup.attributes, &none);
    posix_spawnattr_setsigdefault(&setup.attributes, &defaults);
    posix_spawnattr_setflags(&setup.attributes,
                             static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    // A descriptor opened without close-on-exec by any library must not keep, for example, a
    // database file or a held socket name alive in the child.
    if (input >= 0) {
        posix_spawn_file_actions_adddup2(&setup.actions, input, STDIN_FILENO);
    }
    posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3);

    pid_t pid = -1;
    const bool searchPath = !path.contains('/');
    const int error = searchPath ? ::posix_spawnp(&pid, path.constData(), &setup.actions,
                                                  &setup.attributes, argv.data(), envp.data())
                                 : ::posix_spawn(&pid, path.constData(), &setup.actions,
                                                 &setup.attributes, argv.data(), envp.data());
    if (error != 0) {
        return {false, error, errnoText(error)};
    }
    watch(pid);
    return {true, 0, QString()};
}

void SpawnProcessLauncher::watch(pid_t pid) {
    // The child is not collected before its descriptor is open, so the number cannot have
    // passed to another process yet.
    // The system call itself: this C library's header for it lacks C++ linkage.
    const int pidfd = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    auto& child = children_.emplace_back(std::make_unique<Child>(pid, pidfd));
    if (pidfd < 0) {
        return;
    }
    // A process descriptor becomes readable when the process ends.
    child->endWatch = std::make_unique<QSocketNotifier>(pidfd, QSocketNotifier::Read);
    QObject::connect(child->endWatch.get(), &QSocketNotifier::activated,
                     [this, pid] { collect(pid); });
}

void SpawnProcessLauncher::collect(pid_t pid) {
    const auto it = std::find_if(children_.begin(), children_.end(),
                                 [pid](const auto& child) { return child->pid == pid; });
    if (it == children_.end() || !reaped(pid)) {
        return;
    }
    // This runs inside the notifier's own signal: it goes when the event loop comes back.
    QSocketNotifier* notifier = (*it)->endWatch.release();
    notifier->setEnabled(false);
    notifier->deleteLater();
    children_.erase(it);
}

void SpawnProcessLauncher::reapEnded() {
    children_.erase(std::remove_if(children_.begin(), children_.end(),
                                   [](const auto& child) { return reaped(child->pid); }),
                    children_.end());
}

}  // namespace hvx
