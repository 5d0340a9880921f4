#include "piece_geometry.h"

#include <cmath>

namespace velora {

namespace {
FrameInsets unitInsets(FrameStyle style, double aspect, bool vertical)
{
    return FrameMetrics::insets(style, {1.0, 1.0 / aspect}, vertical, false);
}
} // namespace

FrameStyle PieceGeometry::effectiveStyle(FrameStyle style, CollageLayout layout)
{
    return layout == CollageLayout::frieze ? FrameStyle::film : style;
}

Size PieceGeometry::framedUnit(FrameStyle style, double aspect, bool vertical)
{
    const FrameInsets in = unitInsets(style, aspect, vertical);
    return {1.0 + in.left + in.right, 1.0 / aspect + in.top + in.bottom};
}

FrameInsets PieceGeometry::tileInsets(FrameStyle style, double aspect, bool vertical, Size tileSize)
{
    const double a = LayoutMath::clamp(aspect);
    const Size unit = framedUnit(style, a, vertical);
    return unitInsets(style, a, vertical).scaled(tileSize.width / unit.width);
}

PieceGeometry PieceGeometry::make(CollageLayout layout, FrameStyle style, const std::vector<double>& aspects,
                                  double width, bool vertical, std::uint32_t seed, double tilt, bool caption)
{
    PieceGeometry g;
    g.style = effectiveStyle(style, layout);
    const double spacing = FrameMetrics::spacing(g.style, layout, width);

    if (layout == CollageLayout::stack) {
        std::vector<double> framedAspects;
        framedAspects.reserve(aspects.size());
        for (double raw : aspects) {
            const Size unit = framedUnit(g.style, LayoutMath::clamp(raw), vertical);
            framedAspects.push_back(unit.width / unit.height);
        }
        g.arrangement = LayoutMath::stack(framedAspects, width, seed);
        g.insets = FrameInsets::zero;
        g.perTile = true;
    } else {
        g.arrangement = LayoutMath::arrange(layout, aspects, width, spacing, vertical, seed);
        g.insets = FrameMetrics::insets(g.style, g.arrangement.size, vertical, caption);
        g.perTile = false;
    }

    const Size a = g.arrangement.size;
    g.framedSize = {a.width + g.insets.left + g.insets.right, a.height + g.insets.top + g.insets.bottom};
    g.margin = std::max(0.05 * std::max(g.framedSize.width, g.framedSize.height), 14.0);
    const Rect rotated = LayoutMath::rotatedBounds({0, 0, g.framedSize.width, g.framedSize.height}, tilt);
    g.outerSize = {std::ceil(rotated.width + 2 * g.margin), std::ceil(rotated.height + 2 * g.margin)};
    return g;
}

bool PieceGeometry::drawable(double maxSide) const
{
    auto ok = [maxSide](double v) { return std::isfinite(v) && v >= 1 && v <= maxSide; };
    return ok(outerSize.width) && ok(outerSize.height) && std::isfinite(margin)
        && std::isfinite(framedSize.width) && std::isfinite(framedSize.height) && framedSize.width > 0
        && framedSize.height > 0;
}

} // namespace velora
