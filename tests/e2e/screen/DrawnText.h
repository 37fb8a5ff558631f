#pragma once

#include <QFont>
#include <QImage>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <QVector>

#include <optional>

namespace hvx::test {

// Finds a text in a screenshot by the shape of its ink, drawn whole.
//
// The text is drawn here with the desktop's default font at the programs' scale, the same
// way the widgets draw their captions (an ampersand marks a mnemonic), and the shape is looked
// for in the picture: every pixel that the text inks firmly must be darker than every pixel it
// leaves clear, around a local threshold. So the colours do not matter (a disabled caption, a
// button's gradient), but a text that the screen shows cut short, cut at the top or the bottom,
// or in another size is not found: a clipped tail leaves its ink pixels light.
class DrawnText {
  public:
    DrawnText(const QString& text, qreal scale, const QFont& font);

    // Where the text's ink begins on the picture, when the picture shows it whole.
    std::optional<QPoint> findIn(const QImage& picture) const;
    QSize size() const { return size_; }

  private:
    struct Pair {
        QPoint ink;
        QPoint clear;
    };
    QVector<QPoint> ink_;
    QVector<QPoint> clear_;
    QVector<Pair> probes_;
    QSize size_;
};

// The words of `text` that the picture does not show whole: for texts that wrap, where the
// line breaks are the label's business but each word must show.
QStringList wordsNotDrawn(const QImage& picture, const QString& text, qreal scale,
                          const QFont& font);

}  // namespace hvx::test
