#include "layout.h"

#include "case_texts.h"

#include <cmath>
#include <numbers>
#include <numeric>

namespace velora {

namespace {
constexpr std::array<std::string_view, 6> layoutRaw = {"single", "row", "column", "justified", "stack", "frieze"};

std::vector<double> clamped(const std::vector<double>& aspects)
{
    std::vector<double> out;
    out.reserve(aspects.size());
    for (double a : aspects) out.push_back(LayoutMath::clamp(a));
    return out;
}

double sum(const std::vector<double>& v) { return std::accumulate(v.begin(), v.end(), 0.0); }

Arrangement emptyArrangement(double width) { return {{}, {width, 0.75 * width}}; }

// Height a row of `count` photos gets when stretched to the full width.
double stretchedHeight(double width, std::size_t count, double spacing, double aspectSum)
{
    return std::max(width - (static_cast<double>(count) - 1) * spacing, 1.0) / aspectSum;
}
} // namespace

std::string_view rawValue(CollageLayout l) { return layoutRaw[static_cast<int>(l)]; }

std::optional<CollageLayout> collageLayoutFromRaw(std::string_view raw)
{
    return caseFromRaw<CollageLayout>(layoutRaw, raw);
}

double LayoutMath::clamp(double aspect)
{
    if (!std::isfinite(aspect) || aspect <= 0) return 1.0;
    return std::min(std::max(aspect, 0.2), 5.0);
}

double LayoutMath::rowHeight(const std::vector<double>& aspects, double width, double spacing)
{
    const double n = static_cast<double>(std::max<std::size_t>(aspects.size(), 1));
    return std::max(width - (n - 1) * spacing, 1.0) / sum(aspects);
}

Arrangement LayoutMath::row(const std::vector<double>& input, double width, double spacing)
{
    const std::vector<double> aspects = clamped(input);
    if (aspects.empty()) return emptyArrangement(width);
    const double h = stretchedHeight(width, aspects.size(), spacing, sum(aspects));
    Arrangement result;
    double x = 0;
    for (std::size_t i = 0; i < aspects.size(); ++i) {
        const double w = (i + 1 == aspects.size()) ? width - x : h * aspects[i];
        result.tiles.push_back({static_cast<int>(i), {x, 0, w, h}, 0});
        x += w + spacing;
    }
    result.size = {width, h};
    return result;
}

Arrangement LayoutMath::column(const std::vector<double>& input, double width, double spacing)
{
    const std::vector<double> aspects = clamped(input);
    if (aspects.empty()) return emptyArrangement(width);
    Arrangement result;
    double y = 0;
    for (std::size_t i = 0; i < aspects.size(); ++i) {
        const double h = width / aspects[i];
        result.tiles.push_back({static_cast<int>(i), {0, y, width, h}, 0});
        y += h + spacing;
    }
    result.size = {width, y - spacing};
    return result;
}

std::vector<std::vector<int>> LayoutMath::justifiedRows(const std::vector<double>& input, double width,
                                                        double target, double spacing)
{
    const std::vector<double> aspects = clamped(input);
    std::vector<std::vector<int>> rows;
    std::vector<int> current;
    double currentSum = 0;
    auto cost = [&](std::size_t count, double aspectSum) {
        return std::abs(std::log(stretchedHeight(width, count, spacing, aspectSum) / target));
    };
    for (std::size_t i = 0; i < aspects.size(); ++i) {
        const double candidateSum = currentSum + aspects[i];
        const std::size_t candidateCount = current.size() + 1;
        const double natural =
            (static_cast<double>(candidateCount) - 1) * spacing + candidateSum * target;
        if (natural < width) {
            current.push_back(static_cast<int>(i));
            currentSum = candidateSum;
            continue;
        }
        if (current.empty()) {
            rows.push_back({static_cast<int>(i)});
            continue;
        }
        if (cost(candidateCount, candidateSum) <= cost(current.size(), currentSum)) {
            current.push_back(static_cast<int>(i));
            rows.push_back(std::move(current));
            current.clear();
            currentSum = 0;
        } else {
            rows.push_back(std::move(current));
            current = {static_cast<int>(i)};
            currentSum = aspects[i];
        }
    }
    if (!current.empty()) rows.push_back(std::move(current));
    return rows;
}

Arrangement LayoutMath::justified(const std::vector<double>& input, double width, double target,
                                  double spacing, bool centerLast)
{
    const std::vector<double> aspects = clamped(input);
    if (aspects.empty()) return emptyArrangement(width);
    const auto rows = justifiedRows(aspects, width, target, spacing);
    const double maxLast = 1.3 * target;
    Arrangement result;
    double y = 0;
    for (std::size_t k = 0; k < rows.size(); ++k) {
        const auto& rowIndices = rows[k];
        const std::size_t m = rowIndices.size();
        double rowSum = 0;
        for (int j : rowIndices) rowSum += aspects[j];
        double h = stretchedHeight(width, m, spacing, rowSum);
        bool stretched = true;
        double x = 0;
        if (rows.size() > 1 && k + 1 == rows.size() && h > maxLast) {
            stretched = false;
            h = target;
            if (centerLast)
                x = (width - ((static_cast<double>(m) - 1) * spacing + rowSum * target)) * 0.5;
        }
        for (std::size_t p = 0; p < m; ++p) {
            const int j = rowIndices[p];
            const double w = (stretched && p + 1 == m) ? width - x : h * aspects[j];
            result.tiles.push_back({j, {x, y, w, h}, 0});
            x += w + spacing;
        }
        y += h + spacing;
    }
    result.size = {width, y - spacing};
    return result;
}

Arrangement LayoutMath::stack(const std::vector<double>& input, double width, std::uint32_t seed)
{
    const std::vector<double> aspects = clamped(input);
    const std::size_t n = aspects.size();
    if (n == 0) return emptyArrangement(width);
    const double f = n == 1 ? 1.0 : (n == 2 ? 0.66 : 0.58);
    const double s = width * f;
    const double half = s * 0.5;
    const double freeSpace = width - s;
    SeededRandom rng(seed);

    Arrangement result;
    Rect bounds = Rect::makeNull();
    for (std::size_t i = 0; i < n; ++i) {
        const double a = aspects[i];
        const double cardW = a >= 1 ? s : s * a;
        const double cardH = a >= 1 ? s / a : s;
        double t = 0.5, dy = 0, rotation = 0;
        if (n > 1) {
            t = static_cast<double>(i) / static_cast<double>(n - 1);
            dy = s * rng.next(-0.06, 0.06);
            rotation = (t - 0.5) * 16 + rng.next(-3, 3);
        }
        const double cx = half + freeSpace * t;
        const double cy = half + dy;
        const Rect frame{cx - cardW / 2, cy - cardH / 2, cardW, cardH};
        result.tiles.push_back({static_cast<int>(i), frame, rotation});
        bounds = bounds.united(rotatedBounds(frame, rotation));
    }
    for (auto& tile : result.tiles) tile.frame = tile.frame.offsetBy(-bounds.minX(), -bounds.minY());
    result.size = bounds.size();
    return result;
}

Arrangement LayoutMath::arrange(CollageLayout layout, const std::vector<double>& aspects, double width,
                                double spacing, bool vertical, std::uint32_t seed)
{
    switch (layout) {
    case CollageLayout::single: {
        std::vector<double> first;
        if (!aspects.empty()) first.push_back(aspects.front());
        return column(first, width, 0);
    }
    case CollageLayout::row: return row(aspects, width, spacing);
    case CollageLayout::column: return column(aspects, width, spacing);
    case CollageLayout::justified: return justified(aspects, width, width / 2.6, spacing, true);
    case CollageLayout::stack: return stack(aspects, width, seed);
    case CollageLayout::frieze:
        return vertical ? column(aspects, width, spacing) : row(aspects, width, spacing);
    }
    return emptyArrangement(width);
}

Rect LayoutMath::rotatedBounds(const Rect& rect, double degrees)
{
    const double theta = degrees * std::numbers::pi / 180.0;
    const double c = std::cos(theta);
    const double s = std::sin(theta);
    const double w = std::abs(rect.width * c) + std::abs(rect.height * s);
    const double h = std::abs(rect.width * s) + std::abs(rect.height * c);
    return {rect.midX() - w / 2, rect.midY() - h / 2, w, h};
}

} // namespace velora
