#pragma once
// Large labels drawn once into an image and then copied. Glyphs past a few dozen device pixels
// are filled as outlines on every drawing, which made a caption cost more than a photo.
#include <QColor>
#include <QFont>
#include <QImage>
#include <QRectF>
#include <QString>

class QPainter;

namespace velora::TextImages {

// As painter->drawText(rect, flags, text) with `font` and `color`. On an upright painter with
// text at least `minimumPixels` tall, the text comes from a cache of its renderings (the same
// pixels: drawn at the same fraction of a pixel); turned painters and small text draw directly.
void draw(QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
          const QString& text);

inline constexpr qreal minimumPixels = 40;
inline constexpr int limit = 64; // renderings kept
int count();
void clear();

} // namespace velora::TextImages
