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
// The image centred in a transparent canvas of `size` pixels.
QImage padded(const QImage& image, const QSize& size)
{
    if (image.size() == size) return image;
    QImage out(size, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::transparent);
    QPainter p(&out);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    p.drawImage(QRect(QPoint((size.width() - image.width()) / 2, (size.height() - image.height()) / 2), image.size()),
                image, image.rect());
    return out;
}
} // namespace

QImage Crossfade::frame(qreal t) const
{
    if (m_previous.isNull() || t >= 1.0) return m_current;
    const QSize size = m_previous.size().expandedTo(m_current.size());
    const QImage from = padded(m_previous, size);
    const QImage to = padded(m_current, size);
    QImage out(size, QImage::Format_ARGB32_Premultiplied);
    if (out.isNull()) return m_current;
    {
        // Source at constant opacity is a linear blend with what is there: old·(1−w) + new·w, with
        // no dip in coverage halfway. Explicit pixel rectangles: the blend works in pixels.
        QPainter p(&out);
        p.setCompositionMode(QPainter::CompositionMode_Source);
        p.drawImage(out.rect(), to, to.rect());
        p.setOpacity(1.0 - eased(t));
        p.drawImage(out.rect(), from, from.rect());
    }
    out.setDevicePixelRatio(m_current.devicePixelRatio());
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
