#pragma once
// Collage layouts: aspect ratios and a width in, placed tiles out.
#include "geometry_types.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace velora {

enum class CollageLayout { single, row, column, justified, stack, frieze };

inline constexpr std::array<CollageLayout, 6> allCollageLayouts = {
    CollageLayout::single, CollageLayout::row,   CollageLayout::column,
    CollageLayout::justified, CollageLayout::stack, CollageLayout::frieze};

std::string_view rawValue(CollageLayout);
std::optional<CollageLayout> collageLayoutFromRaw(std::string_view raw);

struct PlacedTile {
    int index = 0;
    Rect frame;
    double rotation = 0;
    friend bool operator==(const PlacedTile&, const PlacedTile&) = default;
};

struct Arrangement {
    std::vector<PlacedTile> tiles;
    Size size;
    friend bool operator==(const Arrangement&, const Arrangement&) = default;
};

// Linear congruential generator; bit-exact so a stack looks the same on every platform.
struct SeededRandom {
    static constexpr std::uint64_t multiplier = 6364136223846793005ULL;
    static constexpr std::uint64_t increment = 1442695040888963407ULL;

    std::uint64_t state = 0;

    explicit SeededRandom(std::uint32_t seed)
        : state(static_cast<std::uint64_t>(seed) * multiplier + increment)
    {
    }

    double next()
    {
        state = state * multiplier + increment;
        return static_cast<double>(state >> 11) * 0x1.0p-53;
    }

    double next(double lower, double upper) { return lower + (upper - lower) * next(); }
};

namespace LayoutMath {
double clamp(double aspect);
double rowHeight(const std::vector<double>& aspects, double width, double spacing);
Arrangement row(const std::vector<double>& aspects, double width, double spacing);
Arrangement column(const std::vector<double>& aspects, double width, double spacing);
std::vector<std::vector<int>> justifiedRows(const std::vector<double>& aspects, double width,
                                            double targetRowHeight, double spacing);
Arrangement justified(const std::vector<double>& aspects, double width, double targetRowHeight,
                      double spacing, bool centerLast);
Arrangement stack(const std::vector<double>& aspects, double width, std::uint32_t seed);
Arrangement arrange(CollageLayout layout, const std::vector<double>& aspects, double width,
                    double spacing, bool vertical, std::uint32_t seed);
Rect rotatedBounds(const Rect& rect, double degrees);
} // namespace LayoutMath

} // namespace velora
