#include "frames.h"
#include "case_texts.h"
#include "layout.h"

#include <cmath>

namespace velora {

const FrameInsets FrameInsets::zero{};

namespace {
constexpr std::array<std::string_view, 5> styleRaw = {"gallery", "instant", "film", "bare", "tape"};
} // namespace

std::string_view rawValue(FrameStyle s) { return styleRaw[static_cast<int>(s)]; }

std::optional<FrameStyle> frameStyleFromRaw(std::string_view raw)
{
    return caseFromRaw<FrameStyle>(styleRaw, raw);
}

FrameInsets FrameMetrics::insets(FrameStyle style, Size content, bool vertical, bool caption)
{
    const double w = content.width;
    const double h = content.height;
    const double u = std::sqrt(w * h);
    const double m = h < w ? h : w;
    switch (style) {
    case FrameStyle::gallery:
        return {0.06 * u, 0.06 * u, 0.06 * u + (caption ? 0.09 * u : 0.0), 0.06 * u};
    case FrameStyle::instant:
        return {0.055 * u, 0.055 * u, 0.24 * u, 0.055 * u};
    case FrameStyle::film:
        if (vertical) return {0.03 * m, 0.15 * m, 0.03 * m, 0.15 * m};
        return {0.15 * m, 0.03 * m, 0.15 * m, 0.03 * m};
    case FrameStyle::bare:
        return FrameInsets::zero;
    case FrameStyle::tape:
        return {0.022 * u, 0.022 * u, 0.022 * u, 0.022 * u};
    }
    return FrameInsets::zero;
}

double FrameMetrics::spacing(FrameStyle style, CollageLayout layout, double width)
{
    double factor = 0.014;
    if (layout == CollageLayout::frieze || style == FrameStyle::film)
        factor = 0.02;
    else if (style == FrameStyle::bare)
        factor = 0.025;
    return width * factor;
}

} // namespace velora
