#pragma once

#include <QtGlobal>

namespace ui {

// Layout rules are given in twips. At 96 dpi logical there are 15 twips to a pixel; Qt scales
// logical pixels for high-dpi screens, so this one factor holds everywhere.
constexpr int kTwipsPerPixel = 15;
inline int Px(int twips) { return qRound(twips / double(kTwipsPerPixel)); }
inline int Twips(int px) { return px * kTwipsPerPixel; }

}  // namespace ui
