#pragma once
// Frame styles and the measurements that turn a style into numbers.
#include "geometry_types.h"

#include <array>
#include <optional>
#include <string_view>

namespace velora {

enum class FrameStyle { gallery, instant, film, bare, tape };

inline constexpr std::array<FrameStyle, 5> allFrameStyles = {
    FrameStyle::gallery, FrameStyle::instant, FrameStyle::film, FrameStyle::bare, FrameStyle::tape};

std::string_view rawValue(FrameStyle);
std::optional<FrameStyle> frameStyleFromRaw(std::string_view raw);

struct FrameInsets {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;

    static const FrameInsets zero;
    FrameInsets scaled(double factor) const
    {
        return {top * factor, left * factor, bottom * factor, right * factor};
    }
    friend bool operator==(const FrameInsets&, const FrameInsets&) = default;
};

enum class CollageLayout;

namespace FrameMetrics {
FrameInsets insets(FrameStyle style, Size content, bool vertical, bool caption);
double spacing(FrameStyle style, CollageLayout layout, double width);
} // namespace FrameMetrics

} // namespace velora
