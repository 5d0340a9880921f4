#pragma once
// Soft drop shadows: the shape's alpha, box-blurred three times (close to a Gaussian), tinted black.
#include <QImage>
#include <QPainterPath>
#include <QRectF>
#include <QRegion>
#include <QTransform>

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
// `cover` (painter coordinates, not moved by the offset), when not empty, is a rectangle that the
// caller fills opaquely right after: the shadow beneath it would never show, so it is not drawn
// there. Most of a paper's shadow lies under the paper; skipping it saves most of the cost.
void draw(QPainter* painter, const QRectF& bounds, const std::function<void(QPainter*)>& shape, qreal radius,
          QPointF offset, qreal opacity, const QRectF& cover = {});
// Outlines given as a path keep their blurred masks (by path, device transform, radius, offset and
// opacity, least recently used out first), so drawing the same piece again only composites. An
// upright rectangle's mask is made at full resolution outside `cover` only, and copied.
void draw(QPainter* painter, const QPainterPath& shape, qreal radius, QPointF offset, qreal opacity,
          const QRectF& cover = {});
inline constexpr int maskLimit = 256;
inline constexpr qsizetype maskBudget = 32 * 1024 * 1024;
int cachedMasks();
void clearMasks();

// The device pixels (in `toDevice`'s coordinates) that lie wholly inside `cover` mapped by
// `toDevice`, `margin` pixels in from its edges; empty when none.
QRegion inside(const QRectF& cover, const QTransform& toDevice, qreal margin);

} // namespace velora::Shadow
