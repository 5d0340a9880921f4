#include "shadow.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velora::Shadow {

namespace {
// One box pass along a line of `count` samples `stride` apart; `line` holds a copy of the input.
void boxLine(uchar* data, int count, int stride, int radius, std::vector<int>& line)
{
    for (int i = 0; i < count; ++i) line[i] = data[i * stride];
    const int window = 2 * radius + 1;
    int sum = 0;
    for (int i = 0; i <= std::min(radius, count - 1); ++i) sum += line[i];
    for (int i = 0; i < count; ++i) {
        data[i * stride] = static_cast<uchar>((sum + window / 2) / window);
        const int add = i + radius + 1;
        const int drop = i - radius;
        if (add < count) sum += line[add];
        if (drop >= 0) sum -= line[drop];
    }
}
} // namespace

void boxBlur(QImage& alpha8, int radius, int passes)
{
    if (radius < 1 || alpha8.isNull() || alpha8.format() != QImage::Format_Alpha8) return;
    const int w = alpha8.width();
    const int h = alpha8.height();
    const int bpl = static_cast<int>(alpha8.bytesPerLine());
    uchar* bits = alpha8.bits();
    std::vector<int> line(std::max(w, h));
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) boxLine(bits + y * bpl, w, 1, radius, line);
        for (int x = 0; x < w; ++x) boxLine(bits + x, h, bpl, radius, line);
    }
}

void draw(QPainter* painter, const QRectF& bounds, const std::function<void(QPainter*)>& shape, qreal radius,
          QPointF offset, qreal opacity)
{
    if (!painter || opacity <= 0 || !bounds.isValid()) return;
    if (!std::isfinite(radius) || radius < 0) radius = 0;

    const QTransform toDevice = painter->deviceTransform();
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    if (!std::isfinite(scale) || scale <= 0) return;

    // Three box passes of width r·scale give σ ≈ r·scale / 2; reduce the buffer so the box stays a
    // few pixels wide, which is where the blur stops being worth full resolution.
    const qreal deviceRadius = radius * scale;
    const qreal reduce = deviceRadius > 8 ? 8 / deviceRadius : 1.0;
    const int box = deviceRadius >= 1 ? std::max(1, qRound(deviceRadius * reduce * 0.5)) : 0;
    const qreal reach = 3.0 * box / reduce + 2;

    QRectF device = toDevice.mapRect(bounds.translated(offset)).adjusted(-reach, -reach, reach, reach);
    // Nothing we draw is larger than a canvas can be; this only bounds the buffer for hostile input.
    device = device.intersected(QRectF(-reach, -reach, 16384 + 2 * reach, 16384 + 2 * reach));
    if (device.isEmpty()) return;
    const QRect deviceRect = device.toAlignedRect();

    const QSize bufferSize(std::max(1, qCeil(deviceRect.width() * reduce)),
                           std::max(1, qCeil(deviceRect.height() * reduce)));
    QImage alpha(bufferSize, QImage::Format_Alpha8);
    alpha.fill(0);
    {
        QPainter p(&alpha);
        p.setRenderHint(QPainter::Antialiasing);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.scale(reduce, reduce);
        p.translate(-deviceRect.topLeft());
        p.setTransform(QTransform::fromTranslate(offset.x(), offset.y()) * toDevice, true);
        shape(&p);
    }
    boxBlur(alpha, box);

    // Black at the given opacity: premultiplied, so only alpha carries a value.
    QImage tinted(bufferSize, QImage::Format_ARGB32_Premultiplied);
    const int level = std::clamp(qRound(opacity * 256), 0, 256);
    for (int y = 0; y < bufferSize.height(); ++y) {
        const uchar* src = alpha.constScanLine(y);
        auto* dst = reinterpret_cast<quint32*>(tinted.scanLine(y));
        for (int x = 0; x < bufferSize.width(); ++x) dst[x] = static_cast<quint32>((src[x] * level) >> 8) << 24;
    }

    // Draw in device pixels, whatever the painter's own scaling (a widget's pixel ratio included).
    painter->save();
    const QTransform hidpi = painter->worldTransform().inverted() * toDevice;
    painter->setWorldTransform(hidpi.inverted());
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(QRectF(deviceRect), tinted);
    painter->restore();
}

void draw(QPainter* painter, const QPainterPath& shape, qreal radius, QPointF offset, qreal opacity)
{
    draw(painter, shape.boundingRect(), [&shape](QPainter* p) { p->fillPath(shape, Qt::black); }, radius, offset,
         opacity);
}

} // namespace velora::Shadow
