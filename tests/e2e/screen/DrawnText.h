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
// or in another size is not found: a clipped tail leaves its ink pixels light. Glyphs are placed
// at fractions of a pixel, so a text that does not start on a whole pixel (centred on a button,
// a word within a line) has other shapes: the text is drawn at eighths of a pixel, and only
// pixels inked firmly enough to stay dark at any of those positions count.
class DrawnText {
  public:
    DrawnText(const QString& text, qreal scale, const QFont& font);

    // Where the text's ink begins on the picture (Format_Grayscale8), when it shows whole.
    std::optional<QPoint> findIn(const QImage& gray) const;
    QSize size() const { return shapes_.front().size; }

  private:
    struct Pair {
        QPoint ink;
        QPoint clear;
    };
    struct Shape {
        QVector<QPoint> ink;
        QVector<QPoint> clear;
        QVector<Pair> probes;
        QSize size;
    };
    static Shape draw(const QString& text, qreal scale, const QFont& font, qreal offset);
    static std::optional<QPoint> find(const Shape& shape, const QImage& gray);

    QVector<Shape> shapes_;
};

// The words of `text` that the picture does not show whole: for texts that wrap, where the
// line breaks are the label's business but each word must show (a word is also cut after a slash
// or a hyphen, where a line may break too). Words of one or two letters would be found inside
// others and are not looked for.
QStringList wordsNotDrawn(const QImage& gray, const QString& text, qreal scale, const QFont& font);

}  // namespace hvx::test
