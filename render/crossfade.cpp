#include "crossfade.h"

#include "piece_renderer.h"

#include <QEasingCurve>
#include <QPainter>

#include <algorithm>
#include <cmath>

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
// a·(256 − w) + b·w per channel, two channels per multiply.
inline quint32 mix(quint32 a, quint32 b, quint32 w)
{
    const quint32 iw = 256 - w;
    const quint32 rb = (((a & 0x00ff00ff) * iw + (b & 0x00ff00ff) * w) >> 8) & 0x00ff00ff;
    const quint32 ag = ((((a >> 8) & 0x00ff00ff) * iw + ((b >> 8) & 0x00ff00ff) * w)) & 0xff00ff00;
    return rb | ag;
}
} // namespace

QImage Crossfade::frame(qreal t) const
{
    if (m_previous.isNull() || t >= 1.0) return m_current;
    const QImage& from = m_previous;
    const QImage& to = m_current;
    const quint32 w = static_cast<quint32>(std::lround(eased(t) * 256));
    const int width = std::max(from.width(), to.width());
    const int height = std::max(from.height(), to.height());
    QImage out(width, height, QImage::Format_ARGB32_Premultiplied);
    if (out.isNull()) return m_current;
    out.setDevicePixelRatio(to.devicePixelRatio());
    const int fx = (width - from.width()) / 2, fy = (height - from.height()) / 2;
    const int tx = (width - to.width()) / 2, ty = (height - to.height()) / 2;
    const bool sameSize = from.size() == to.size();
    for (int y = 0; y < height; ++y) {
        auto* dst = reinterpret_cast<quint32*>(out.scanLine(y));
        if (sameSize) {
            const auto* a = reinterpret_cast<const quint32*>(from.constScanLine(y));
            const auto* b = reinterpret_cast<const quint32*>(to.constScanLine(y));
            for (int x = 0; x < width; ++x) dst[x] = mix(a[x], b[x], w);
            continue;
        }
        const bool rowA = y >= fy && y < fy + from.height();
        const bool rowB = y >= ty && y < ty + to.height();
        const auto* a = rowA ? reinterpret_cast<const quint32*>(from.constScanLine(y - fy)) : nullptr;
        const auto* b = rowB ? reinterpret_cast<const quint32*>(to.constScanLine(y - ty)) : nullptr;
        for (int x = 0; x < width; ++x) {
            const quint32 pa = a && x >= fx && x < fx + from.width() ? a[x - fx] : 0;
            const quint32 pb = b && x >= tx && x < tx + to.width() ? b[x - tx] : 0;
            dst[x] = mix(pa, pb, w);
        }
    }
    return out;
}

void Crossfade::paint(QPainter* painter, QPointF centre, qreal t) const
{
    const QImage image = frame(t);
    if (image.isNull()) return;
    const QSizeF size = image.deviceIndependentSize();
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(QRectF(centre.x() - size.width() / 2, centre.y() - size.height() / 2, size.width(),
                              size.height()),
                       image);
    painter->restore();
}

} // namespace velora
