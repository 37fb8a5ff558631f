#pragma once

#include <QObject>

#include <initializer_list>
#include <vector>

class QSocketNotifier;

namespace hvx {

// Turns the session's end-of-work signals (SIGTERM, SIGINT, SIGHUP by default) into a Qt
// signal on the event loop, so the program closes the orderly way instead of dying
// mid-write. The handler only writes the signal number into a socket pair. One per process.
class SessionSignals final : public QObject {
    Q_OBJECT

  public:
    explicit SessionSignals(std::initializer_list<int> signalNumbers, QObject* parent = nullptr);
    ~SessionSignals() override;

    SessionSignals(const SessionSignals&) = delete;
    SessionSignals& operator=(const SessionSignals&) = delete;

  Q_SIGNALS:
    void received(int signalNumber);

  private:
    QSocketNotifier* notifier_ = nullptr;
    std::vector<int> signals_;
};

}  // namespace hvx
