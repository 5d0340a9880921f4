#include "piece_content.h"

#include <QBitmap>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace velora {

namespace {
qint64 renders = 0;
}

PieceContent::PieceContent(QWidget* parent)
    : QWidget(parent)
{
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    m_frames.setInterval(16);
    connect(&m_frames, &QTimer::timeout, this, [this] {
        if (!m_crossfade.animating()) m_frames.stop();
        emit fadeStepped();
        update();
    });
}

qint64 PieceContent::renderCount() { return renders; }

PieceView PieceContent::drawnPart(const PieceView& view)
{
    PieceView v = view;
    Piece& p = v.piece;
    p.name.clear();
    p.rotateMinutes = 0;
    p.displayID.reset();
    p.placements.clear();
    p.isVisible = true;
    p.isLocked = false;
    p.created = {};
    return v;
}

void PieceContent::setView(const PieceView& view)
{
    PieceView next = drawnPart(view);
    const qreal dpr = devicePixelRatioF();
    if (m_view && *m_view == next && m_dpr == dpr) return;
    const int before = m_crossfade.renderCount();
    m_crossfade.setView(next, dpr);
    renders += m_crossfade.renderCount() - before;
    m_view = std::move(next);
    m_dpr = dpr;
    if (m_opaqueShape) {
        m_crossfade.finish();
        refreshCut();
    }
    if (m_crossfade.animating()) m_frames.start();
    emit imageChanged();
    update();
}

void PieceContent::setOpaqueShape(bool on)
{
    if (m_opaqueShape == on) return;
    m_opaqueShape = on;
    if (on) {
        m_crossfade.finish();
        refreshCut();
    } else {
        m_cut = QImage();
        m_shape = QRegion();
    }
    emit imageChanged();
    update();
}

void PieceContent::refreshCut()
{
    m_cut = m_crossfade.current();
    m_shape = QRegion();
    if (!m_cut.isNull()) cutOut(m_cut, m_shape);
}

void PieceContent::cutOut(QImage& image, QRegion& shape)
{
    // Without blending a pixel is either in or out: keep those at least half covered, at full
    // strength (un-premultiplied), and cut the window to them.
    image = image.convertToFormat(QImage::Format_ARGB32);
    const qreal dpr = image.devicePixelRatio();
    const int w = std::max(1, int(std::ceil(image.width() / dpr)));
    const int h = std::max(1, int(std::ceil(image.height() / dpr)));
    QImage mask(w, h, QImage::Format_MonoLSB);
    mask.setColor(0, qRgb(255, 255, 255));
    mask.setColor(1, qRgb(0, 0, 0));
    mask.fill(0);
    for (int y = 0; y < image.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
        const int my = std::min(h - 1, int(y / dpr));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(line[x]) >= 128) {
                line[x] |= 0xff000000u;
                mask.setPixel(std::min(w - 1, int(x / dpr)), my, 1);
            } else {
                line[x] = 0;
            }
        }
    }
    shape = QRegion(QBitmap::fromImage(mask));
}

void PieceContent::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    p.fillRect(rect(), Qt::transparent);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (m_opaqueShape) {
        if (!m_cut.isNull()) p.drawImage(QPointF(0, 0), m_cut);
        return;
    }
    const QImage& current = m_crossfade.current();
    if (current.isNull()) return;
    if (!m_crossfade.animating()) {
        p.drawImage(QPointF(0, 0), current);
        return;
    }
    if (m_crossfade.previous().size() != current.size()) {
        paintResizingFade(p);
        return;
    }
    const QSizeF size = current.deviceIndependentSize();
    m_crossfade.paint(&p, QPointF(size.width() / 2, size.height() / 2), m_crossfade.progress());
}

void PieceContent::paintResizingFade(QPainter& p)
{
    // The window is on its way from one size to the other: each rendering is scaled to fit it,
    // top edges together like the piece's, so neither is cut off. Old × (1 − e) plus new × e
    // keeps full coverage where both are opaque.
    const qreal e = Crossfade::eased(m_crossfade.progress());
    const QSizeF area = size();
    const auto place = [&](const QImage& image) {
        const QSizeF s = image.deviceIndependentSize();
        const qreal k = std::min(area.width() / s.width(), area.height() / s.height());
        return QRectF((area.width() - s.width() * k) / 2, 0, s.width() * k, s.height() * k);
    };
    const QImage& before = m_crossfade.previous();
    const QImage& after = m_crossfade.current();
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    p.setOpacity(1 - e);
    p.drawImage(place(before), before);
    p.setCompositionMode(QPainter::CompositionMode_Plus);
    p.setOpacity(e);
    p.drawImage(place(after), after);
}

} // namespace velora
