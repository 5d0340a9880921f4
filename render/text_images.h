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

// As painter->drawText(rect, flags, text) with `font` and `color`. With text at least
// `minimumPixels` tall, upright or turned, the text comes from a cache of its renderings (the
// same pixels: drawn with the same transform, up to whole pixels); small text draws directly.
void draw(QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
          const QString& text);

// Starts making the rendering draw() would use for the same arguments and painter state, on a
// free thread of the global pool (none free: nothing), while the caller goes on; draw() then
// takes it, or waits for it.
void prefetch(const QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
              const QString& text);

inline constexpr qreal minimumPixels = 40;
inline constexpr int limit = 64; // renderings kept
int count();
void clear();

} // namespace velora::TextImages
