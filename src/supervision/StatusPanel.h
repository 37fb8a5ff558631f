#pragma once

#include <QWidget>

namespace hvx {

// One panel of the status bar. It holds its whole text (also its tool tip) and draws as much
// of it as its width allows, elided where the mode says. A new text is painted at once, so
// progress shows even in the middle of a long operation; the same text again paints nothing,
// and no text changes the panel's size: the bar decides the widths.
class StatusPanel final : public QWidget {
  public:
    StatusPanel(Qt::TextElideMode elide, QWidget* parent);

    QString text() const { return text_; }
    // Answers whether the text changed.
    bool showText(const QString& text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    Qt::TextElideMode elide_;
    QString text_;
};

}  // namespace hvx
