#include "DrawnText.h"

#include <QFontMetrics>
#include <QPainter>
#include <QRegularExpression>

#include <algorithm>

namespace hvx::test {

namespace {

constexpr int kFirmInk = 220;       // of 255: a pixel the text covers for the most part
constexpr int kNoInk = 5;           // a pixel the text leaves (almost) untouched
constexpr int kLeastContrast = 40;  // between the text's colour and the ground under it
constexpr int kProbes = 24;
constexpr int kEdgeReach = 3;
constexpr int kSubpixelSteps = 8;

}  // namespace

DrawnText::DrawnText(const QString& text, qreal scale, const QFont& font) {
    for (int step = 0; step < kSubpixelSteps; ++step) {
        shapes_.append(draw(text, scale, font, step / (kSubpixelSteps * scale)));
    }
}

DrawnText::Shape DrawnText::draw(const QString& text, qreal scale, const QFont& font,
                                 qreal offset) {
    const int flags = Qt::AlignLeft | Qt::AlignTop | Qt::TextShowMnemonic;
    const QRect bounds = QFontMetrics(font).boundingRect(QRect(0, 0, 100000, 1000), flags, text);
    const int margin = 4;
    QImage paper((bounds.size() + QSize(2 * margin, 2 * margin)) * scale, QImage::Format_RGB32);
    paper.setDevicePixelRatio(scale);
    paper.fill(Qt::white);
    {
        QPainter painter(&paper);
        painter.setFont(font);
        painter.setPen(Qt::black);
        painter.drawText(QRectF(QPointF(margin + offset, margin), QSizeF(bounds.size())), flags,
                         text);
    }
    const auto inkAt = [&paper](int x, int y) { return 255 - qGray(paper.pixel(x, y)); };
    QRect inked;
    for (int y = 0; y < paper.height(); ++y) {
        for (int x = 0; x < paper.width(); ++x) {
            if (inkAt(x, y) > kNoInk) {
                inked |= QRect(x, y, 1, 1);
            }
        }
    }
    Shape shape;
    shape.size = inked.size();
    for (int y = inked.top(); y <= inked.bottom(); ++y) {
        for (int x = inked.left(); x <= inked.right(); ++x) {
            const QPoint at(x - inked.left(), y - inked.top());
            if (inkAt(x, y) >= kFirmInk) {
                shape.ink.append(at);
                // The left edge of a stroke, with the paper just before it.
                for (int back = 1; back <= kEdgeReach && x - back >= inked.left(); ++back) {
                    if (inkAt(x - back, y) >= kFirmInk) {
                        break;
                    }
                    if (inkAt(x - back, y) <= kNoInk) {
                        shape.probes.append({at, at - QPoint(back, 0)});
                        break;
                    }
                }
            } else if (inkAt(x, y) <= kNoInk) {
                shape.clear.append(at);
            }
        }
    }
    // A few edges spread over the whole text reject almost every place at once.
    if (shape.probes.size() > kProbes) {
        QVector<Pair> spread;
        for (int i = 0; i < kProbes; ++i) {
            spread.append(shape.probes[i * shape.probes.size() / kProbes]);
        }
        shape.probes = spread;
    }
    return shape;
}

std::optional<QPoint> DrawnText::findIn(const QImage& gray) const {
    for (const Shape& shape : shapes_) {
        if (const auto at = find(shape, gray)) {
            return at;
        }
    }
    return std::nullopt;
}

std::optional<QPoint> DrawnText::find(const Shape& shape, const QImage& gray) {
    if (shape.ink.isEmpty() || shape.probes.isEmpty()) {
        return std::nullopt;
    }
    const auto level = [&gray](QPoint at) { return int(gray.constScanLine(at.y())[at.x()]); };
    for (int top = 0; top + shape.size.height() <= gray.height(); ++top) {
        for (int left = 0; left + shape.size.width() <= gray.width(); ++left) {
            const QPoint origin(left, top);
            const bool edges =
                std::all_of(shape.probes.begin(), shape.probes.end(), [&](const Pair& p) {
                    return level(origin + p.clear) - level(origin + p.ink) >= kLeastContrast;
                });
            if (!edges) {
                continue;
            }
            long inkSum = 0;
            for (const QPoint& at : shape.ink) {
                inkSum += level(origin + at);
            }
            long clearSum = 0;
            for (const QPoint& at : shape.clear) {
                clearSum += level(origin + at);
            }
            const long threshold = (inkSum / shape.ink.size() +
                                    (shape.clear.isEmpty() ? 255 : clearSum / shape.clear.size())) /
                                   2;
            const auto lightInk = std::count_if(shape.ink.begin(), shape.ink.end(), [&](QPoint at) {
                return level(origin + at) >= threshold;
            });
            const auto darkClear =
                std::count_if(shape.clear.begin(), shape.clear.end(),
                              [&](QPoint at) { return level(origin + at) < threshold; });
            if (lightInk == 0 && darkClear <= shape.clear.size() / 100) {
                return origin;
            }
        }
    }
    return std::nullopt;
}

QStringList wordsNotDrawn(const QImage& gray, const QString& text, qreal scale, const QFont& font) {
    QStringList missing;
    // A line may also break after a slash or a hyphen (a long path in a message box).
    for (const QString& word :
         text.split(QRegularExpression(QStringLiteral("\\s+|(?<=[/-])")), Qt::SkipEmptyParts)) {
        if (word.size() > 2 && !DrawnText(word, scale, font).findIn(gray)) {
            missing << word;
        }
    }
    return missing;
}

}  // namespace hvx::test
