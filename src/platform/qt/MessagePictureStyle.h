#pragma once

#include <QProxyStyle>

namespace hvx {

// The desktop's style, with message pictures (warning, question, information, error) that stay
// sharp at any scale: the icon theme's own when it has them, else the program's SVG pictures.
// Without a desktop icon theme, the style's pictures are small bitmaps that blur when enlarged.
class MessagePictureStyle final : public QProxyStyle {
  public:
    // `baseStyle` names the style it wraps (the one the desktop or the -style option chose).
    explicit MessagePictureStyle(const QString& baseStyle) : QProxyStyle(baseStyle) {}

    QIcon standardIcon(StandardPixmap picture, const QStyleOption* option = nullptr,
                       const QWidget* widget = nullptr) const override;
};

}  // namespace hvx
