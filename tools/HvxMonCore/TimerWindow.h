#pragma once

#include <QWidget>

class QLabel;

namespace hvx {

// The core application's one window. Its caption is how the Monitor knows that the core
// application runs, so closing it by hand ends the program like a close command.
class TimerWindow final : public QWidget {
    Q_OBJECT

  public:
    explicit TimerWindow(const QString& caption);
    void showLines(const QString& state, const QString& status);

  Q_SIGNALS:
    void closeRequested();

  protected:
    void closeEvent(QCloseEvent* event) override;

  private:
    QLabel* state_ = nullptr;
    QLabel* status_ = nullptr;
};

}  // namespace hvx
