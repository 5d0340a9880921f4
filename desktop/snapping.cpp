#include "snapping.h"

#include <cmath>

namespace velora {

double Snapping::roundAway(double v) { return std::round(v); }

Point Snapping::snapped(const Rect& frame, double margin, const Rect& v, bool grid)
{
    const Rect r{frame.x + margin, frame.y + margin, frame.width - 2 * margin, frame.height - 2 * margin};
    double x = r.minX();
    double y = r.minY();

    if (std::abs(r.minX() - (v.minX() + edgeGap)) < edgeCapture) {
        x = v.minX() + edgeGap;
    } else if (std::abs(r.maxX() - (v.maxX() - edgeGap)) < edgeCapture) {
        x = v.maxX() - edgeGap - r.width;
    } else if (grid) {
        const double g = v.minX() + roundAway((r.minX() - v.minX()) / gridPitch) * gridPitch;
        if (std::abs(g - r.minX()) < gridCapture) x = g;
    }

    if (std::abs(r.maxY() - (v.maxY() - edgeGap)) < edgeCapture) {
        y = v.maxY() - edgeGap - r.height;
    } else if (std::abs(r.minY() - (v.minY() + edgeGap)) < edgeCapture) {
        y = v.minY() + edgeGap;
    } else if (grid) {
        const double g = v.maxY() + roundAway((r.maxY() - v.maxY()) / gridPitch) * gridPitch;
        if (std::abs(g - r.maxY()) < gridCapture) y = g - r.height;
    }
    return {x - margin, y - margin};
}

} // namespace velora
