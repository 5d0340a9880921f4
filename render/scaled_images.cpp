#include "scaled_images.h"

#include "pixel_buffers.h"

#include <QHashFunctions>
#include <QMutexLocker>
#include <QPainter>
#include <QThreadPool>

#include <algorithm>

namespace velora {

namespace {

constexpr int kMaxSide = 8192;

// The picture halved in both directions, each pixel the rounded mean of a 2 × 2 block. Works on
// premultiplied ARGB and on RGB32 alike (opaque alpha stays opaque).
QImage halved(const QImage& in)
{
    const int w = in.width() / 2;
    const int h = in.height() / 2;
    QImage out = PixelBuffers::image(QSize(w, h), in.format());
    if (out.isNull()) return {};
    for (int y = 0; y < h; ++y) {
        const auto* a = reinterpret_cast<const quint32*>(in.constScanLine(2 * y));
        const auto* b = reinterpret_cast<const quint32*>(in.constScanLine(2 * y + 1));
        auto* o = reinterpret_cast<quint32*>(out.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const quint32 p[4] = {a[2 * x], a[2 * x + 1], b[2 * x], b[2 * x + 1]};
            // Two channels at a time: red and blue, then alpha and green, each in 16 bits.
            quint32 rb = 0x00020002u, ag = 0x00020002u;
            for (quint32 q : p) {
                rb += q & 0x00ff00ffu;
                ag += (q >> 8) & 0x00ff00ffu;
            }
            o[x] = ((rb >> 2) & 0x00ff00ffu) | (((ag >> 2) & 0x00ff00ffu) << 8);
        }
    }
    return out;
}

} // namespace

size_t ScaledImages::KeyHash::operator()(const Key& k) const noexcept
{
    return qHashMulti(0, k.image, k.source.x(), k.source.y(), k.source.width(), k.source.height(), k.size.width(),
                      k.size.height());
}

ScaledImages& ScaledImages::shared()
{
    static ScaledImages instance;
    return instance;
}

QImage ScaledImages::scale(const QImage& image, const QRect& source, const QSize& size)
{
    const QRect clamped = source.intersected(image.rect());
    if (clamped.isEmpty() || size.isEmpty() || size.width() > kMaxSide || size.height() > kMaxSide) return {};
    QImage from = image;
    if (from.format() != QImage::Format_ARGB32_Premultiplied && from.format() != QImage::Format_RGB32)
        from = from.convertToFormat(from.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                           : QImage::Format_RGB32);
    // A view of the source rectangle, without copying it.
    QImage view(from.constBits() + clamped.y() * from.bytesPerLine() + clamped.x() * 4, clamped.width(),
                clamped.height(), from.bytesPerLine(), from.format());
    QImage reduced;
    while (view.width() / 2 >= size.width() && view.height() / 2 >= size.height()) {
        reduced = halved(view);
        if (reduced.isNull()) return {};
        view = reduced;
    }
    if (view.size() == size) return reduced.isNull() ? view.copy() : reduced;
    // Within 2× (or enlarging), bilinear sampling looks the same as area averaging: each output
    // pixel mixes the two source pixels nearest its centre, about the width it covers. It costs
    // a fraction; beyond 2×, it would skip pixels and alias.
    if (view.width() < 2 * size.width() && view.height() < 2 * size.height()) {
        QImage out = PixelBuffers::image(size, view.format());
        if (out.isNull()) return {};
        QPainter p(&out);
        p.setCompositionMode(QPainter::CompositionMode_Source);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.drawImage(QRectF(out.rect()), view, QRectF(view.rect()));
        return out;
    }
    return view.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

QImage ScaledImages::get(const QImage& image, const QRect& source, const QSize& size)
{
    return make(image, source, size, true);
}

ScaledImages::Key ScaledImages::keyOf(const QImage& image, const QRect& source, const QSize& size)
{
    return {image.cacheKey(), source.intersected(image.rect()), size};
}

QImage ScaledImages::make(const QImage& image, const QRect& source, const QSize& size, bool wait)
{
    const Key key = keyOf(image, source, size);
    {
        QMutexLocker lock(&m_mutex);
        for (;;) {
            if (std::optional<QImage> hit = m_images.get(key)) return *hit;
            if (!m_making.count(key)) break;
            if (!wait) return {};
            m_made.wait(&m_mutex);
        }
        m_making.insert(key);
    }
    QImage scaled = scale(image, source, size);
    QMutexLocker lock(&m_mutex);
    m_making.erase(key);
    m_made.wakeAll();
    if (scaled.isNull()) return {};
    ++m_scalings;
    if (!m_images.contains(key)) m_images.insert(key, scaled, scaled.sizeInBytes());
    return scaled;
}

void ScaledImages::prefetch(const QList<Request>& requests)
{
    QList<Request> missing;
    {
        QMutexLocker lock(&m_mutex);
        for (const Request& r : requests) {
            const Key key = keyOf(r.image, r.source, r.size);
            if (!m_images.contains(key) && !m_making.count(key)) missing.append(r);
        }
        if (missing.isEmpty()) return;
        ++m_prefetching;
    }
    // Only on a free thread: queued behind other work, it would only hold the caller up.
    const bool started = QThreadPool::globalInstance()->tryStart([this, missing] {
        // Last first: the caller, once its frame is drawn, takes them from the front.
        for (auto r = missing.crbegin(); r != missing.crend(); ++r) (void)make(r->image, r->source, r->size, false);
        QMutexLocker lock(&m_mutex);
        --m_prefetching;
        m_made.wakeAll();
    });
    if (!started) {
        QMutexLocker lock(&m_mutex);
        --m_prefetching;
    }
}

ScaledImages::~ScaledImages()
{
    QMutexLocker lock(&m_mutex);
    while (m_prefetching > 0) m_made.wait(&m_mutex);
}

int ScaledImages::count() const
{
    QMutexLocker lock(&m_mutex);
    return m_images.size();
}

qsizetype ScaledImages::bytes() const
{
    QMutexLocker lock(&m_mutex);
    return m_images.cost();
}

qsizetype ScaledImages::budget() const
{
    QMutexLocker lock(&m_mutex);
    return m_images.costLimit();
}

void ScaledImages::setBudget(qsizetype budget)
{
    QMutexLocker lock(&m_mutex);
    m_images.setCostLimit(std::max<qsizetype>(budget, 0));
}

void ScaledImages::clear()
{
    QMutexLocker lock(&m_mutex);
    m_images.clear();
}

int ScaledImages::scalings() const
{
    QMutexLocker lock(&m_mutex);
    return m_scalings;
}

} // namespace velora
