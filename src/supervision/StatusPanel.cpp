#include "StatusPanel.h"

#include <QPainter>
#include <QStyle>

namespace hvx {

namespace {

// Room between the panel's frame and its text.
constexpr int kMargin = 2;

}  // namespace

StatusPanel::StatusPanel(Qt::TextElideMode elide, QWidget* parent)
    : QWidget(parent), elide_(elide) {
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

bool StatusPanel::showText(const QString& text) {
    if (text == text_) {
        return false;
    }
    text_ = text;
    setToolTip(text);
    repaint();
    return true;
}

QSize StatusPanel::sizeHint() const {
    return {0, fontMetrics().height() + 2 * kMargin};
}

QSize StatusPanel::minimumSizeHint() const {
    return sizeHint();
}

void StatusPanel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const QRect area = rect().adjusted(kMargin, 0, -kMargin, 0);
    const QString shown = fontMetrics().elidedText(text_, elide_, area.width());
    style()->drawItemText(&painter, area, Qt::AlignLeft | Qt::AlignVCenter, palette(), isEnabled(),
                          shown, foregroundRole());
}

}  // namespace hvx
