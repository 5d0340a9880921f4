#include "frames.h"
#include "case_texts.h"
#include "layout.h"

#include <cmath>

namespace velora {

const FrameInsets FrameInsets::zero{};

namespace {
constexpr std::array<CaseTexts, 5> styleTexts = {{
    {"gallery", "Gallery", "photo.artframe",
     "A thin white mat and a soft shadow, like a print on a gallery wall."},
    {"instant", "Instant", "rectangle.bottomhalf.filled",
     "A deep bottom border with your caption written by hand."},
    {"film", "Film strip", "film", "A dark strip with sprocket holes you can see the desktop through."},
    {"bare", "Bare", "app", "Just the photo, with softly rounded corners."},
    {"tape", "Tape", "bandage", "A print stuck up with two strips of masking tape."},
}};

const CaseTexts& texts(FrameStyle s) { return styleTexts[static_cast<int>(s)]; }
} // namespace

std::string_view rawValue(FrameStyle s) { return texts(s).raw; }
std::string_view title(FrameStyle s) { return texts(s).title; }
std::string_view blurb(FrameStyle s) { return texts(s).blurb; }
std::string_view symbol(FrameStyle s) { return texts(s).symbol; }

std::optional<FrameStyle> frameStyleFromRaw(std::string_view raw)
{
    return caseFromRaw<FrameStyle>(styleTexts, raw);
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
