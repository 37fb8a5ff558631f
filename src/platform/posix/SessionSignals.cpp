#include "SessionSignals.h"

#include <QSocketNotifier>

#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>

namespace hvx {

namespace {

// [0] is written by the handler, [1] read by the event loop.
int ends[2] = {-1, -1};

void onSignal(int signalNumber) {
    const int savedErrno = errno;
    const char byte = static_cast<char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(ends[0], &byte, 1);
    errno = savedErrno;
}

}  // namespace

SessionSignals::SessionSignals(std::initializer_list<int> signalNumbers, QObject* parent)
    : QObject(parent), signals_(signalNumbers) {
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0) {
        qWarning("No socket pair for the session's signals; they end the program at once");
        return;
    }
    notifier_ = new QSocketNotifier(ends[1], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (::read(ends[1], &byte, 1) == 1) {
            Q_EMIT received(static_cast<unsigned char>(byte));
        }
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int number : signals_) {
        ::sigaction(number, &action, nullptr);
    }
}

SessionSignals::~SessionSignals() {
    for (const int number : signals_) {
        ::signal(number, SIG_DFL);
    }
    delete notifier_;
    if (ends[0] >= 0) {
        ::close(ends[0]);
        ::close(ends[1]);
        ends[0] = ends[1] = -1;
    }
}

}  // namespace hvx
