#include "text_images.h"

#include "lru_cache.h"

#include <QFontMetricsF>
#include <QMutex>
#include <QMutexLocker>
#include <QPaintDevice>
#include <QPainter>
#include <QSet>
#include <QThreadPool>
#include <QWaitCondition>

#include <cmath>
#include <functional>
#include <optional>

namespace velora::TextImages {

namespace {

struct Cache {
    QMutex mutex;
    QWaitCondition made;
    LruCache<QString, QImage> images{limit};
    QSet<QString> making;
};

// Never destroyed: a prefetch may still be running when the statics go.
Cache& cache()
{
    static Cache* instance = new Cache;
    return *instance;
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

namespace {

// How a text is drawn through the cache: its key, where its image goes (whole device pixels) and
// what the image holds.
struct Plan {
    QString key;
    QPoint origin;
    QSize size;
    QTransform toImage;
    int dpiX = 0, dpiY = 0;
};

// Nothing when the text is drawn directly instead.
std::optional<Plan> plan(const QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect,
                         int flags, const QString& text)
{
    if (!painter || text.isEmpty()) return std::nullopt;
    const QTransform toDevice = painter->deviceTransform();
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    const QPaintDevice* device = painter->device();
    if (toDevice.type() > QTransform::TxRotate || !std::isfinite(scale) || !(scale > 0) || !device
        || !rect.isValid())
        return std::nullopt;
    const QFontMetricsF metrics(font, device);
    if (metrics.height() * scale < minimumPixels) return std::nullopt;
    // Room for what reaches past the rectangle: italic overhangs, descenders of a tight box.
    const qreal pad = metrics.height();
    const QRectF area = rect.adjusted(-pad, -pad, pad, pad);
    const QRectF mapped = toDevice.mapRect(area);
    if (!(mapped.width() < 8192 && mapped.height() < 8192 && std::abs(mapped.left()) < 1e6
          && std::abs(mapped.top()) < 1e6))
        return std::nullopt;
    Plan out;
    out.origin = QPoint(qFloor(mapped.left()), qFloor(mapped.top()));
    const QPointF fraction = mapped.topLeft() - QPointF(out.origin);
    out.size = QSize(qCeil(mapped.right()) - out.origin.x(), qCeil(mapped.bottom()) - out.origin.y());
    out.toImage = toDevice * QTransform::fromTranslate(-out.origin.x(), -out.origin.y());
    out.dpiX = device->logicalDpiX();
    out.dpiY = device->logicalDpiY();
    // Everything the pixels depend on: the turn and scale, and the fraction in 1/256ths of a
    // pixel, far finer than text positioning. Turned text is cached too: a tilted piece or a
    // caption on tape would otherwise fill large glyphs as outlines on every drawing.
    auto fixed = [](qreal v) { return qRound(v * 4096); };
    out.key = QStringLiteral("%1\x1f%2\x1f%3\x1f%4\x1f%5x%6\x1f%7,%8,%9,%10\x1f%11,%12\x1f%13,%14")
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
                  .arg(out.dpiX)
                  .arg(out.dpiY);
    return out;
}

QImage make(const Plan& plan, QPainter::RenderHints hints, const QFont& font, const QColor& color,
            const QRectF& rect, int flags, const QString& text)
{
    QImage image(plan.size, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return {};
    // The target's resolution, so the font comes out the same size.
    image.setDotsPerMeterX(qRound(plan.dpiX / 0.0254));
    image.setDotsPerMeterY(qRound(plan.dpiY / 0.0254));
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHints(hints);
    p.setTransform(plan.toImage);
    p.setFont(font);
    p.setPen(color);
    p.drawText(rect, flags, text);
    return image;
}

// The rendering for `plan`: kept, being made on another thread (waited for), or made here when
// `makeHere`; null when it is not there and not made.
QImage obtain(const Plan& plan, bool makeHere, const std::function<QImage()>& render)
{
    Cache& c = cache();
    {
        QMutexLocker lock(&c.mutex);
        for (;;) {
            if (std::optional<QImage> hit = c.images.get(plan.key)) return *hit;
            if (!c.making.contains(plan.key)) break;
            if (!makeHere) return {};
            c.made.wait(&c.mutex);
        }
        c.making.insert(plan.key);
    }
    const QImage image = render();
    QMutexLocker lock(&c.mutex);
    c.making.remove(plan.key);
    c.made.wakeAll();
    if (!image.isNull() && !c.images.contains(plan.key)) c.images.insert(plan.key, image);
    return image;
}

} // namespace

void draw(QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
          const QString& text)
{
    if (!painter || text.isEmpty()) return;
    const std::optional<Plan> p = plan(painter, font, color, rect, flags, text);
    const QImage image = p ? obtain(*p, true, [&] { return make(*p, painter->renderHints(), font, color, rect, flags, text); })
                           : QImage();
    if (image.isNull()) {
        drawDirectly(painter, font, color, rect, flags, text);
        return;
    }
    painter->save();
    painter->setWorldTransform(painter->worldTransform() * painter->deviceTransform().inverted());
    // Whole pixels: a straight copy, which the smoothing hints would turn into sampling.
    painter->setRenderHint(QPainter::Antialiasing, false);
    painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter->drawImage(p->origin, image);
    painter->restore();
}

void prefetch(const QPainter* painter, const QFont& font, const QColor& color, const QRectF& rect, int flags,
              const QString& text)
{
    const std::optional<Plan> p = plan(painter, font, color, rect, flags, text);
    if (!p) return;
    {
        Cache& c = cache();
        QMutexLocker lock(&c.mutex);
        if (c.images.contains(p->key) || c.making.contains(p->key)) return;
    }
    // Only on a free thread: queued behind other work, draw() would make it sooner itself.
    (void)QThreadPool::globalInstance()->tryStart(
        [p = *p, hints = painter->renderHints(), font, color, rect, flags, text] {
            (void)obtain(p, false, [&] { return make(p, hints, font, color, rect, flags, text); });
        });
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
