#pragma once

#include <QPaintDevice>
#include <QRect>

namespace hvx {

// Layouts are designed in twips (1440 to the logical inch) and converted at the edge.
inline constexpr int kTwipsPerInch = 1440;

inline int twipsToPixels(const QPaintDevice& device, int twips) {
    return (twips * device.logicalDpiX() + kTwipsPerInch / 2) / kTwipsPerInch;
}

inline int pixelsToTwips(const QPaintDevice& device, int pixels) {
    return (pixels * kTwipsPerInch + device.logicalDpiX() / 2) / device.logicalDpiX();
}

inline QRect twipsToPixels(const QPaintDevice& device, const QRect& twips) {
    return {twipsToPixels(device, twips.x()), twipsToPixels(device, twips.y()),
            twipsToPixels(device, twips.width()), twipsToPixels(device, twips.height())};
}

inline QRect pixelsToTwips(const QPaintDevice& device, const QRect& pixels) {
    return {pixelsToTwips(device, pixels.x()), pixelsToTwips(device, pixels.y()),
            pixelsToTwips(device, pixels.width()), pixelsToTwips(device, pixels.height())};
}

}  // namespace hvx
