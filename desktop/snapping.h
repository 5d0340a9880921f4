#pragma once
// Where a dropped piece comes to rest: the edges of the usable screen area, or a soft grid.
#include "geometry_types.h"


namespace velora::Snapping {

inline constexpr double edgeGap = 16;        // distance kept from an edge
inline constexpr double edgeCapture = 22;    // pulled to an edge closer than this
inline constexpr double gridPitch = 24;
inline constexpr double gridCapture = 7;     // pulled to a grid line closer than this

// Nearest whole number, halves away from zero.
double roundAway(double v);

// frame: the panel in y-up global points; margin: its transparent border; visible: the screen's
// usable frame. Returns the panel origin. Left wins over right and top over bottom when a piece is
// near both; the grid counts columns from the visible frame's left and rows down from its top.
Point snapped(const Rect& frame, double margin, const Rect& visible, bool grid);

} // namespace velora::Snapping
