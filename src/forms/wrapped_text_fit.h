#pragma once
// Minimum heights for panels of wrapped text and proportional pictures. Qt's layouts do not carry a
// height that depends on the width (a wrapped label, a help video kept at 4:3) into a window's minimum
// size, so at the minimum size such texts were cut off or drawn over the picture below them.

class QWidget;

namespace tembrix {

// Gives every word-wrapped label directly in `panel` the height its text needs at its width, and
// `panel` the height its whole layout needs at the panel's width. Call once the panel's width is final
// (a fixed width, or at the window's show). Main thread only.
void ClaimWrappedHeight(QWidget* panel);

}  // namespace tembrix
