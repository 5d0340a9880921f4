#pragma once
// The numbers every drawing and placement of a piece shares.
#include "frames.h"
#include "layout.h"

#include <cstdint>
#include <vector>

namespace velora {

struct PieceGeometry {
    FrameStyle style = FrameStyle::gallery;
    Arrangement arrangement;
    FrameInsets insets;
    bool perTile = false;
    Size framedSize;
    double margin = 0;
    Size outerSize;

    friend bool operator==(const PieceGeometry&, const PieceGeometry&) = default;

    static PieceGeometry make(CollageLayout layout, FrameStyle style, const std::vector<double>& aspects,
                              double width, bool vertical, std::uint32_t seed, double tilt, bool caption);
    static FrameStyle effectiveStyle(FrameStyle style, CollageLayout layout);
    static Size framedUnit(FrameStyle style, double aspect, bool vertical);
    static FrameInsets tileInsets(FrameStyle style, double aspect, bool vertical, Size tileSize);

    // Whether the canvas is finite and small enough to draw; absurd widths or tilts fail this.
    bool drawable(double maxSide = 16384) const;
};

} // namespace velora
