#include "TimerWindow.h"

#include <QCloseEvent>
#include <QLabel>
#include <QVBoxLayout>

namespace hvx {

TimerWindow::TimerWindow(const QString& caption) {
    setObjectName(QStringLiteral("frmTimer"));
    setWindowTitle(caption);
    auto* layout = new QVBoxLayout(this);
    state_ = new QLabel(this);
    state_->setObjectName(QStringLiteral("lblState"));
    status_ = new QLabel(this);
    status_->setObjectName(QStringLiteral("lblStatus"));
    layout->addWidget(state_);
    layout->addWidget(status_);
    setMinimumWidth(360);
}

void TimerWindow::showLines(const QString& state, const QString& status) {
    state_->setText(state);
    status_->setText(status);
}

void TimerWindow::closeEvent(QCloseEvent* event) {
    // The program decides when the window goes: it withdraws the caption first.
    event->ignore();
    Q_EMIT closeRequested();
}

}  // namespace hvx
