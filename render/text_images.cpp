#include "text_images.h"

#include "lru_cache.h"

#include <QFontMetricsF>
#include <QMutex>
#include <QMutexLocker>
#include <QPaintDevice>
#include <QPainter>

#include <cmath>
#include <optional>

namespace velora::TextImages {

namespace {

struct Cache {
    QMutex mutex;
    LruCache<QString, QImage> images{limit};
};

Cache& cache()
{
    static Cache instance;
    return instance;
}

void drawDirectly(QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
                  const QString& text)
{
    painter->save();
    painter->setFont(font);
    painter->setPen(color);
    painter->drawText(rect, flags, text);
    painter->restore();
}

} // namespace

void draw(QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
          const QString& text)
{
    if (!painter || text.isEmpty()) return;
    const QTransform toDevice = painter->deviceTransform();
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    const QPaintDevice* device = painter->device();
    const QFontMetricsF metrics(font, device);
    if (toDevice.type() > QTransform::TxRotate || !std::isfinite(scale) || !(scale > 0) || !device
        || metrics.height() * scale < minimumPixels || !rect.isValid()) {
        drawDirectly(painter, font, color, rect, flags, text);
        return;
    }
    // Room for what reaches past the rectangle: italic overhangs, descenders of a tight box.
    const qreal pad = metrics.height();
    const QRectF area = rect.adjusted(-pad, -pad, pad, pad);
    const QRectF mapped = toDevice.mapRect(area);
    if (!(mapped.width() < 8192 && mapped.height() < 8192 && std::abs(mapped.left()) < 1e6
          && std::abs(mapped.top()) < 1e6)) {
        drawDirectly(painter, font, color, rect, flags, text);
        return;
    }
    const QPoint origin(qFloor(mapped.left()), qFloor(mapped.top()));
    const QPointF fraction = mapped.topLeft() - QPointF(origin);
    const QSize size(qCeil(mapped.right()) - origin.x(), qCeil(mapped.bottom()) - origin.y());
    // Everything the pixels depend on: the turn and scale, and the fraction in 1/256ths of a
    // pixel, far finer than text positioning. Turned text is cached too: a tilted piece or a
    // caption on tape would otherwise fill large glyphs as outlines on every drawing.
    auto fixed = [](qreal v) { return qRound(v * 4096); };
    const QString key = QStringLiteral("%1\x1f%2\x1f%3\x1f%4\x1f%5x%6\x1f%7,%8,%9,%10\x1f%11,%12\x1f%13,%14")
                            .arg(text, font.key())
                            .arg(color.rgba())
                            .arg(flags)
                            .arg(fixed(rect.width()))
                            .arg(fixed(rect.height()))
                            .arg(fixed(toDevice.m11()))
                            .arg(fixed(toDevice.m12()))
                            .arg(fixed(toDevice.m21()))
                            .arg(fixed(toDevice.m22()))
                            .arg(qRound(fraction.x() * 256))
                            .arg(qRound(fraction.y() * 256))
                            .arg(device->logicalDpiX())
                            .arg(device->logicalDpiY());
    Cache& c = cache();
    QImage image;
    {
        QMutexLocker lock(&c.mutex);
        if (std::optional<QImage> hit = c.images.get(key)) image = *hit;
    }
    if (image.isNull()) {
        image = QImage(size, QImage::Format_ARGB32_Premultiplied);
        if (image.isNull()) {
            drawDirectly(painter, font, color, rect, flags, text);
            return;
        }
        // The target's resolution, so the font comes out the same size.
        image.setDotsPerMeterX(qRound(device->logicalDpiX() / 0.0254));
        image.setDotsPerMeterY(qRound(device->logicalDpiY() / 0.0254));
        image.fill(Qt::transparent);
        {
            QPainter p(&image);
            p.setRenderHints(painter->renderHints());
            p.setTransform(toDevice * QTransform::fromTranslate(-origin.x(), -origin.y()));
            p.setFont(font);
            p.setPen(color);
            p.drawText(rect, flags, text);
        }
        QMutexLocker lock(&c.mutex);
        if (!c.images.contains(key)) c.images.insert(key, image);
    }
    painter->save();
    painter->setWorldTransform(painter->worldTransform() * toDevice.inverted());
    // Whole pixels: a straight copy, which the smoothing hints would turn into sampling.
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter->drawImage(origin, image);
    painter->restore();
}

int count()
{
    QMutexLocker lock(&cache().mutex);
    return cache().images.size();
}

void clear()
{
    QMutexLocker lock(&cache().mutex);
    cache().images.clear();
}

} // namespace velora::TextImages
