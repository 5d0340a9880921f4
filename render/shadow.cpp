#include "shadow.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velora::Shadow {

namespace {
// One horizontal box pass over a row; `line` holds a copy of the input.
void boxRow(uchar* data, int count, int radius, std::vector<int>& line)
{
    std::copy(data, data + count, line.begin());
    const int window = 2 * radius + 1;
    int sum = 0;
    for (int i = 0; i <= std::min(radius, count - 1); ++i) sum += line[i];
    for (int i = 0; i < count; ++i) {
        data[i] = static_cast<uchar>((sum + window / 2) / window);
        if (i + radius + 1 < count) sum += line[i + radius + 1];
        if (i - radius >= 0) sum -= line[i - radius];
    }
}

// One vertical box pass, row by row with a running sum per column, so memory is read in order.
void boxColumns(uchar* bits, int w, int h, int bpl, int radius, std::vector<int>& sums, std::vector<uchar>& copy)
{
    const int window = 2 * radius + 1;
    copy.assign(bits, bits + static_cast<size_t>(bpl) * h);
    std::fill(sums.begin(), sums.begin() + w, 0);
    for (int y = 0; y <= std::min(radius, h - 1); ++y) {
        const uchar* row = copy.data() + static_cast<size_t>(y) * bpl;
        for (int x = 0; x < w; ++x) sums[x] += row[x];
    }
    for (int y = 0; y < h; ++y) {
        uchar* out = bits + static_cast<size_t>(y) * bpl;
        for (int x = 0; x < w; ++x) out[x] = static_cast<uchar>((sums[x] + window / 2) / window);
        if (y + radius + 1 < h) {
            const uchar* add = copy.data() + static_cast<size_t>(y + radius + 1) * bpl;
            for (int x = 0; x < w; ++x) sums[x] += add[x];
        }
        if (y - radius >= 0) {
            const uchar* drop = copy.data() + static_cast<size_t>(y - radius) * bpl;
            for (int x = 0; x < w; ++x) sums[x] -= drop[x];
        }
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
    std::vector<int> line(w);
    std::vector<int> sums(w);
    std::vector<uchar> copy;
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) boxRow(bits + static_cast<size_t>(y) * bpl, w, radius, line);
        boxColumns(bits, w, h, bpl, radius, sums, copy);
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
    const qreal reduce = deviceRadius > 6 ? 6 / deviceRadius : 1.0;
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
