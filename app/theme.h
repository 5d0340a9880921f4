#pragma once
// Velora's look beyond the platform style: the brand gradient, secondary text, card surfaces.
#include <QColor>
#include <QLinearGradient>
#include <QPalette>
#include <QRectF>

namespace velora::Theme {

inline QColor brandStart() { return QColor(0xff, 0x8a, 0x5c); }
inline QColor brandEnd() { return QColor(0xb4, 0x4c, 0xe0); }

// Corner to corner across `r`.
inline QLinearGradient brand(const QRectF& r)
{
    QLinearGradient g(r.topLeft(), r.bottomRight());
    g.setColorAt(0, brandStart());
    g.setColorAt(1, brandEnd());
    return g;
}

// The palette's text colour at a weaker strength: secondary 0.6, tertiary 0.4.
inline QColor secondary(const QPalette& p, qreal strength = 0.6)
{
    QColor c = p.color(QPalette::WindowText);
    c.setAlphaF(float(strength));
    return c;
}

// A card: the base colour lifted slightly off the window.
inline QColor card(const QPalette& p)
{
    const QColor window = p.color(QPalette::Window);
    return window.lightness() > 128 ? p.color(QPalette::Base) : window.lighter(125);
}

inline QColor cardBorder(const QPalette& p) { return secondary(p, 0.14); }

} // namespace velora::Theme
