#pragma once

class QWidget;

namespace hvx {

// Centres a top-level window on its screen by its outer size, the window system's frame
// included: left = (screen width - outer width) / 2, top likewise. The native window is created
// first so that the frame is known where the window system tells it before the window is
// shown; where it does not (an X11 window manager decorates only mapped windows), the frame of
// another window of this program that is on screen stands in for it.
void centreOnScreen(QWidget& window);

}  // namespace hvx
