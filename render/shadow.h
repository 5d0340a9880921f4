#pragma once
// Soft drop shadows: the shape's alpha, box-blurred three times (close to a Gaussian), tinted black.
#include <QImage>
#include <QPainterPath>
#include <QRectF>

#include <cstdint>
#include <functional>

class QPainter;

namespace velora::Shadow {

// Blurs an 8-bit coverage buffer in place: `passes` box blurs of half-width `radius`, each
// horizontal then vertical. Outside the buffer counts as empty.
void boxBlur(QImage& alpha8, int radius, int passes = 3);

// Paints, beneath what is drawn next, the shadow of whatever `shape` paints within `bounds` (both
// in the painter's current coordinates): black at `opacity`, blurred by `radius` points and moved
// by `offset` (in the same coordinates, so it turns with a tilted piece). The blur runs at reduced
// resolution when the radius is large, which looks the same and costs far less.
void draw(QPainter* painter, const QRectF& bounds, const std::function<void(QPainter*)>& shape, qreal radius,
          QPointF offset, qreal opacity);
void draw(QPainter* painter, const QPainterPath& shape, qreal radius, QPointF offset, qreal opacity);

} // namespace velora::Shadow
