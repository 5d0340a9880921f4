#pragma once
// Writing a painter's pixels without the raster engine, where that gives the same pixels. Qt
// splits any fill of more than a few dozen rows across its thread pool; for a thin line or a
// shadow's edge the hand-offs cost far more than the pixels.
#include <QImage>
#include <QRect>
#include <QRgb>

class QPainter;

namespace velora::DirectPixels {

// The image `painter` draws on, when its pixels may be written straight: a premultiplied ARGB
// image, no clip, plain source-over at full opacity. Its device coordinates are pixel indexes.
QImage* target(QPainter* painter);

// Source-over of the premultiplied `color` on `rect` (clipped to the image), as the raster
// engine blends a solid colour.
void blend(QImage& image, const QRect& rect, QRgb color);

} // namespace velora::DirectPixels
