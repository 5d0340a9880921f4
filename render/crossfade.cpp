#include "crossfade.h"

#include "piece_renderer.h"

#include <QEasingCurve>
#include <QPainter>

#include <algorithm>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velora {

void Crossfade::setView(const PieceView& view, qreal devicePixelRatio)
{
    if (m_view && *m_view == view && m_dpr == devicePixelRatio) return;
    const bool tickOnly = m_view && m_dpr == devicePixelRatio && m_view->tick != view.tick
        && m_view->piece == view.piece && m_view->photos == view.photos && m_view->width == view.width;
    QImage next = PieceRenderer::render(view, devicePixelRatio);
    ++m_renders;
    if (tickOnly && !m_current.isNull() && !next.isNull()) {
        m_previous = m_current;
        m_clock.start();
    } else {
        m_previous = {};
        m_frame = {};
    }
    m_current = std::move(next);
    m_view = view;
    m_dpr = devicePixelRatio;
}

qreal Crossfade::progress() const
{
    if (m_previous.isNull() || !m_clock.isValid()) return 1.0;
    return std::clamp(m_clock.elapsed() / qreal(durationMs), 0.0, 1.0);
}

qreal Crossfade::eased(qreal t)
{
    static const QEasingCurve curve(QEasingCurve::InOutSine);
    return curve.valueForProgress(std::clamp(t, 0.0, 1.0));
}

namespace {

// Premultiplied pixels weighted by `a` out of 256, two channels at a time in 16-bit lanes.
inline quint32 weigh(quint32 p, quint32 a)
{
    return (((p & 0x00ff00ffu) * a >> 8) & 0x00ff00ffu) | ((((p >> 8) & 0x00ff00ffu) * a) & 0xff00ff00u);
}

// from × (256 − a) / 256 + to × a / 256 per channel: a straight blend, no dip in coverage halfway.
void blendSpan(quint32* out, const quint32* from, const quint32* to, int n, quint32 a)
{
    const quint32 b = 256 - a;
    int i = 0;
#if defined(__SSE2__)
    // Four pixels at a time, each channel in a 16-bit lane (the sum of both weights stays < 2^16).
    const __m128i zero = _mm_setzero_si128();
    const __m128i wa = _mm_set1_epi16(short(a));
    const __m128i wb = _mm_set1_epi16(short(b));
    for (; i + 4 <= n; i += 4) {
        const __m128i f = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + i));
        const __m128i t = _mm_loadu_si128(reinterpret_cast<const __m128i*>(to + i));
        const __m128i lo = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(f, zero), wb),
                                                        _mm_mullo_epi16(_mm_unpacklo_epi8(t, zero), wa)), 8);
        const __m128i hi = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(f, zero), wb),
                                                        _mm_mullo_epi16(_mm_unpackhi_epi8(t, zero), wa)), 8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
    }
#endif
    for (; i < n; ++i) {
        const quint32 f = from[i], t = to[i];
        const quint32 rb = ((f & 0x00ff00ffu) * b + (t & 0x00ff00ffu) * a) >> 8;
        const quint32 ag = ((f >> 8) & 0x00ff00ffu) * b + ((t >> 8) & 0x00ff00ffu) * a;
        out[i] = (rb & 0x00ff00ffu) | (ag & 0xff00ff00u);
    }
}

void weighSpan(quint32* out, const quint32* in, int n, quint32 a)
{
    int i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    const __m128i wa = _mm_set1_epi16(short(a));
    for (; i + 4 <= n; i += 4) {
        const __m128i p = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const __m128i lo = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(p, zero), wa), 8);
        const __m128i hi = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(p, zero), wa), 8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
    }
#endif
    for (; i < n; ++i) out[i] = weigh(in[i], a);
}

// Where an image centred in a canvas lies, in canvas pixels.
QRect centred(const QImage& image, const QSize& canvas)
{
    return QRect(QPoint((canvas.width() - image.width()) / 2, (canvas.height() - image.height()) / 2), image.size());
}

const quint32* pixelsAt(const QImage& image, const QRect& place, int x, int y)
{
    return reinterpret_cast<const quint32*>(image.constScanLine(y - place.y())) + (x - place.x());
}

// Row y of the blend of `from` and `to` (each centred in a canvas `width` wide) into `out`.
void blendRow(quint32* out, int y, int width, const QImage& from, const QRect& fromPlace, const QImage& to,
              const QRect& toPlace, quint32 a)
{
    const bool fromRow = y >= fromPlace.top() && y <= fromPlace.bottom();
    const bool toRow = y >= toPlace.top() && y <= toPlace.bottom();
    // Split the row where either image starts or ends; each piece has one rule.
    int cuts[6] = {0, width, 0, 0, 0, 0};
    int n = 2;
    if (fromRow) {
        cuts[n++] = fromPlace.left();
        cuts[n++] = fromPlace.right() + 1;
    }
    if (toRow) {
        cuts[n++] = toPlace.left();
        cuts[n++] = toPlace.right() + 1;
    }
    std::sort(cuts, cuts + n);
    for (int i = 0; i + 1 < n; ++i) {
        const int x0 = cuts[i], x1 = cuts[i + 1];
        if (x1 <= x0) continue;
        const bool f = fromRow && x0 >= fromPlace.left() && x1 <= fromPlace.right() + 1;
        const bool g = toRow && x0 >= toPlace.left() && x1 <= toPlace.right() + 1;
        if (f && g)
            blendSpan(out + x0, pixelsAt(from, fromPlace, x0, y), pixelsAt(to, toPlace, x0, y), x1 - x0, a);
        else if (f)
            weighSpan(out + x0, pixelsAt(from, fromPlace, x0, y), x1 - x0, 256 - a);
        else if (g)
            weighSpan(out + x0, pixelsAt(to, toPlace, x0, y), x1 - x0, a);
        else
            std::fill(out + x0, out + x1, 0u);
    }
}

} // namespace

bool Crossfade::blending(qreal t) const
{
    return !m_previous.isNull() && t < 1.0 && m_previous.format() == QImage::Format_ARGB32_Premultiplied
        && m_current.format() == QImage::Format_ARGB32_Premultiplied;
}

QImage Crossfade::frame(qreal t) const
{
    if (!blending(t)) {
        m_frame = {};
        return m_current;
    }
    const QSize size = m_previous.size().expandedTo(m_current.size());
    // One buffer for every frame of a fade, as long as nobody else holds the last one.
    if (m_frame.size() != size || !m_frame.isDetached()) m_frame = QImage(size, QImage::Format_ARGB32_Premultiplied);
    if (m_frame.isNull()) return m_current;
    const quint32 a = quint32(std::clamp(qRound(eased(t) * 256), 0, 256));
    const QRect fromPlace = centred(m_previous, size);
    const QRect toPlace = centred(m_current, size);
    for (int y = 0; y < size.height(); ++y)
        blendRow(reinterpret_cast<quint32*>(m_frame.scanLine(y)), y, size.width(), m_previous, fromPlace, m_current,
                 toPlace, a);
    m_frame.setDevicePixelRatio(m_current.devicePixelRatio());
    return m_frame;
}

void Crossfade::paint(QPainter* painter, QPointF centre, qreal t) const
{
    const QImage& last = blending(t) ? m_current : current();
    if (last.isNull()) return;
    const QSize size = blending(t) ? m_previous.size().expandedTo(m_current.size()) : last.size();
    const qreal dpr = last.devicePixelRatio();
    const QSizeF points(size.width() / dpr, size.height() / dpr);
    const QRectF target(centre.x() - points.width() / 2, centre.y() - points.height() / 2, points.width(),
                        points.height());
    painter->save();
    const QTransform toDevice = painter->deviceTransform();
    const QRectF device = toDevice.mapRect(target);
    const QPoint corner(qRound(device.left()), qRound(device.top()));
    const bool pixelForPixel = toDevice.type() <= QTransform::TxScale && std::abs(device.left() - corner.x()) < 1e-6
        && std::abs(device.top() - corner.y()) < 1e-6 && std::abs(device.width() - size.width()) < 1e-6
        && std::abs(device.height() - size.height()) < 1e-6;
    if (!pixelForPixel) {
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, frame(t));
    } else {
        // Whole device pixels (a panel at the frame's own ratio): plain copies. A fade is blended
        // a band of rows at a time and each band drawn while it is still in the cache, which
        // spares a full-size frame and a trip through memory.
        painter->setWorldTransform(painter->worldTransform() * toDevice.inverted());
        if (!blending(t)) {
            painter->drawImage(QRectF(corner, size), last, QRectF(last.rect()));
        } else {
            constexpr int bandRows = 128; // about 0.7 MB at 1400 px: stays in a core's cache
            if (m_band.width() != size.width()) m_band = QImage(size.width(), bandRows, QImage::Format_ARGB32_Premultiplied);
            const quint32 a = quint32(std::clamp(qRound(eased(t) * 256), 0, 256));
            const QRect fromPlace = centred(m_previous, size);
            const QRect toPlace = centred(m_current, size);
            for (int y0 = 0; y0 < size.height() && !m_band.isNull(); y0 += bandRows) {
                const int rows = std::min(bandRows, size.height() - y0);
                for (int i = 0; i < rows; ++i)
                    blendRow(reinterpret_cast<quint32*>(m_band.scanLine(i)), y0 + i, size.width(), m_previous,
                             fromPlace, m_current, toPlace, a);
                painter->drawImage(QRectF(corner + QPoint(0, y0), QSizeF(size.width(), rows)), m_band,
                                   QRectF(0, 0, size.width(), rows));
            }
        }
    }
    painter->restore();
}

} // namespace velora
