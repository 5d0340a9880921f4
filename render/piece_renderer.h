#pragma once
// The one drawing of a piece, shared by desktop panels, manager previews and snapshots.
#include "piece_view.h"

#include <QImage>
#include <QRectF>
#include <QSizeF>

class QPainter;

namespace velora::PieceRenderer {

// The canvas of a view in points: the geometry's outerSize, or the empty card's size when nothing
// is shown. Empty when the piece cannot be drawn (absurd width or tilt).
QSizeF canvasSize(const PieceView& view);

// A premultiplied ARGB image of exactly canvasSize × devicePixelRatio device pixels, with that
// pixel ratio set; transparent around the piece. Null when the piece cannot be drawn or the canvas
// would exceed 16384 pixels on a side.
QImage render(const PieceView& view, qreal devicePixelRatio);

// Draws the canvas of `view` scaled into `target` (any painter: a widget, a larger image).
void paint(QPainter* painter, const PieceView& view, const QRectF& target);

// Drops what the renderer keeps between renderings (photos scaled to tile size, shadow masks,
// large text, punched film bands); the next rendering makes them again. Decoded photos (ImageCache) stay.
void clearCaches();

// The largest side, in device pixels, at which a tile draws from the thumbnail.
inline constexpr qreal thumbnailLimit = 640;

} // namespace velora::PieceRenderer
