#pragma once

#include <QIcon>

namespace hvx {

// The shipped application icon, as PNG pictures rendered from its SVG when the program was
// built, at the sizes a desktop shows a window icon (16 to 64 pixels, and 128 for 64 at twice
// the scale). No SVG plugin is loaded to show it.
QIcon applicationIcon();

}  // namespace hvx
