#pragma once
// What of a piece is drawn, as opposed to its shadow and the transparent margin around it: the
// part of the window that takes the pointer, and without a compositor the part that is not
// desktop. In canvas points, the coordinates of PieceRenderer::render and of the panel.
#include "piece_view.h"

#include <QImage>
#include <QPainterPath>
#include <QRegion>

namespace velora::PieceOutline {

// The frame (or the tiles with their own frames), the tape strips and the caption slip, turned by
// the piece's tilt about the canvas centre; the empty card's rounded rectangle when nothing is
// shown. Empty when the piece cannot be drawn.
QPainterPath path(const PieceView& view);

// How much of each device pixel of a canvas `size` points at `dpr` the path covers (0–255),
// antialiased, or as 0/255 by pixel centres when not.
QImage coverage(const QPainterPath& path, QSizeF size, qreal dpr, bool antialiased);

// The pixels of a Grayscale8 or alpha-carrying image whose value reaches `threshold`, as a region
// of device pixels (dpr 1) or, with `dpr` > 1, of the points that hold any such pixel.
QRegion regionOf(const QImage& image, int threshold, qreal dpr = 1);

// The device pixels whose centres lie inside the outline.
QRegion region(const PieceView& view, qreal dpr);

} // namespace velora::PieceOutline
