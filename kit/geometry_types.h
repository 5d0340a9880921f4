#pragma once
// Plain double-precision geometry values used throughout the kit.
#include <algorithm>
#include <cmath>

namespace velora {

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    // A null rect is the identity of unite(): the first union yields the other rect.
    bool null = false;

    static Rect makeNull() { Rect r; r.null = true; return r; }

    double minX() const { return x; }
    double minY() const { return y; }
    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double midX() const { return x + width * 0.5; }
    double midY() const { return y + height * 0.5; }
    Size size() const { return {width, height}; }

    Rect offsetBy(double dx, double dy) const { return {x + dx, y + dy, width, height}; }

    Rect united(const Rect& o) const
    {
        if (null) return o;
        if (o.null) return *this;
        const double x0 = std::min(minX(), o.minX());
        const double y0 = std::min(minY(), o.minY());
        const double x1 = std::max(maxX(), o.maxX());
        const double y1 = std::max(maxY(), o.maxY());
        return {x0, y0, x1 - x0, y1 - y0};
    }

    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace velora
