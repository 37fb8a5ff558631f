#pragma once

#include <QString>

class QFont;
class QSize;

namespace hvx {

// As much of `text` as a word-wrapped box of that size holds in that font: the lines that fit
// whole, the last of them elided at its end when more text follows. Line breaks of the text
// are kept; the result breaks its lines itself, so it wraps the same in any label of that size.
QString fitWrappedText(const QString& text, const QFont& font, const QSize& box);

}  // namespace hvx
