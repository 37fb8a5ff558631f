#include "DrawnText.h"

#include <QFontMetrics>
#include <QPainter>
#include <QRegularExpression>

#include <algorithm>

namespace hvx::test {

namespace {

constexpr int kFirmInk = 140;       // of 255: a pixel the text covers for the most part
constexpr int kNoInk = 5;           // a pixel the text leaves (almost) untouched
constexpr int kLeastContrast = 40;  // between the text's colour and the ground under it
constexpr int kProbes = 24;

}  // namespace

DrawnText::DrawnText(const QString& text, qreal scale, const QFont& font) {
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
        painter.drawText(QRect(QPoint(margin, margin), bounds.size()), flags, text);
    }
    QRect inked;
    for (int y = 0; y < paper.height(); ++y) {
        for (int x = 0; x < paper.width(); ++x) {
            if (255 - qGray(paper.pixel(x, y)) > kNoInk) {
                inked |= QRect(x, y, 1, 1);
            }
        }
    }
    size_ = inked.size();
    for (int y = inked.top(); y <= inked.bottom(); ++y) {
        for (int x = inked.left(); x <= inked.right(); ++x) {
            const int ink = 255 - qGray(paper.pixel(x, y));
            const QPoint at(x - inked.left(), y - inked.top());
            if (ink >= kFirmInk) {
                ink_.append(at);
                if (x > inked.left() && 255 - qGray(paper.pixel(x - 1, y)) <= kNoInk) {
                    probes_.append({at, at - QPoint(1, 0)});
                }
            } else if (ink <= kNoInk) {
                clear_.append(at);
            }
        }
    }
    // A few edges spread over the whole text reject almost every place at once.
    if (probes_.size() > kProbes) {
        QVector<Pair> spread;
        for (int i = 0; i < kProbes; ++i) {
            spread.append(probes_[i * probes_.size() / kProbes]);
        }
        probes_ = spread;
    }
}

std::optional<QPoint> DrawnText::findIn(const QImage& picture) const {
    if (ink_.isEmpty() || probes_.isEmpty()) {
        return std::nullopt;
    }
    const QImage gray = picture.convertToFormat(QImage::Format_Grayscale8);
    const auto level = [&gray](QPoint at) { return int(gray.constScanLine(at.y())[at.x()]); };
    for (int top = 0; top + size_.height() <= gray.height(); ++top) {
        for (int left = 0; left + size_.width() <= gray.width(); ++left) {
            const QPoint origin(left, top);
            const bool edges = std::all_of(probes_.begin(), probes_.end(), [&](const Pair& p) {
                return level(origin + p.clear) - level(origin + p.ink) >= kLeastContrast;
            });
            if (!edges) {
                continue;
            }
            long inkSum = 0;
            for (const QPoint& at : ink_) {
                inkSum += level(origin + at);
            }
            long clearSum = 0;
            for (const QPoint& at : clear_) {
                clearSum += level(origin + at);
            }
            const long threshold =
                (inkSum / ink_.size() + (clear_.isEmpty() ? 255 : clearSum / clear_.size())) / 2;
            const auto lightInk = std::count_if(ink_.begin(), ink_.end(), [&](QPoint at) {
                return level(origin + at) >= threshold;
            });
            const auto darkClear = std::count_if(clear_.begin(), clear_.end(), [&](QPoint at) {
                return level(origin + at) < threshold;
            });
            if (lightInk == 0 && darkClear <= clear_.size() / 100) {
                return origin;
            }
        }
    }
    return std::nullopt;
}

QStringList wordsNotDrawn(const QImage& picture, const QString& text, qreal scale,
                          const QFont& font) {
    QStringList missing;
    for (const QString& word :
         text.split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts)) {
        if (!DrawnText(word, scale, font).findIn(picture)) {
            missing << word;
        }
    }
    return missing;
}

}  // namespace hvx::test
