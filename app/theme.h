#pragma once
// Velora's look beyond the platform style: the brand gradient, secondary text, card surfaces.
#include <QColor>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
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

struct CardLook {
    qreal radius = 12;
    bool marked = false;    // outlined in the brand's colours (selected, current, default)
    bool hover = false;
    bool focus = false;     // a dashed ring inside
    qreal markWidth = 2.5;
    QColor tint = {};       // over the surface, when valid
};

// A card's surface and outline within `outer`.
inline void paintCard(QPainter& p, const QRectF& outer, const QPalette& pal, const CardLook& look)
{
    QPainterPath path;
    path.addRoundedRect(outer, look.radius, look.radius);
    p.fillPath(path, card(pal));
    if (look.tint.isValid()) p.fillPath(path, look.tint);
    if (look.marked)
        p.setPen(QPen(QBrush(brand(outer)), look.markWidth));
    else
        p.setPen(QPen(look.hover ? secondary(pal, 0.3) : cardBorder(pal), 1));
    p.drawPath(path);
    if (look.focus) {
        p.setPen(QPen(pal.color(QPalette::Highlight), 1.5, Qt::DashLine));
        p.drawRoundedRect(outer.adjusted(3, 3, -3, -3), look.radius - 3, look.radius - 3);
    }
}

// The sunken well a preview sits in.
inline void paintWell(QPainter& p, const QRect& box, const QPalette& pal)
{
    QPainterPath well;
    well.addRoundedRect(box, 8, 8);
    const bool dark = pal.color(QPalette::Window).lightness() < 128;
    p.fillPath(well, dark ? QColor(255, 255, 255, 14) : QColor(60, 50, 40, 14));
}

// A picture centred in `box` at its own size.
inline void paintCentred(QPainter& p, const QRect& box, const QImage& image)
{
    if (image.isNull()) return;
    const QSizeF size = image.deviceIndependentSize();
    p.drawImage(QPointF(box.x() + (box.width() - size.width()) / 2, box.y() + (box.height() - size.height()) / 2), image);
}

} // namespace velora::Theme
