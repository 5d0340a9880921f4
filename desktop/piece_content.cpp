#include "piece_content.h"

#include "piece_outline.h"

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
        if (!m_crossfade.animating()) {
            m_frames.stop();
            // Drawn opaque, the window kept both renderings' shapes for the fade.
            if (m_opaqueShape) {
                m_crossfade.finish();
                refreshCut();
                emit imageChanged();
            }
        }
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
    m_outline = PieceOutline::region(next, dpr);
    m_coverage = QImage();
    m_view = std::move(next);
    m_dpr = dpr;
    if (m_opaqueShape) {
        if (!fadesOpaque()) m_crossfade.finish();
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
        m_coverage = QImage();
    }
    emit imageChanged();
    update();
}

void PieceContent::setBackdrop(const QImage& wallpaper, const QColor& colour)
{
    if (wallpaper.isNull() && m_wallpaper.isNull() && colour == m_colour) return;
    m_wallpaper = wallpaper;
    m_colour = colour;
    if (!m_opaqueShape) return;
    if (!fadesOpaque()) m_crossfade.finish();
    refreshCut();
    emit imageChanged();
    update();
}

void PieceContent::refreshCut()
{
    const QImage& piece = m_crossfade.current();
    m_shape = QRegion();
    if (piece.isNull() || !m_view) {
        m_cut = QImage();
        return;
    }
    if (m_wallpaper.isNull() && m_coverage.isNull())
        m_coverage = PieceOutline::coverage(PieceOutline::path(*m_view), piece.deviceIndependentSize(), m_dpr, true);
    m_cut = composeOpaque(piece, m_wallpaper, m_colour, m_coverage, m_shape);
    if (fadesOpaque()) m_shape |= PieceOutline::regionOf(m_crossfade.previous(), 5, m_dpr);
}

// Over a wallpaper the two renderings blend like the window over the desktop. Over a plain colour
// each is cut to its own outline, and renderings of two sizes need the window to change size
// with the fade, which an opaque window would show as wallpaper sampled at every step.
bool PieceContent::fadesOpaque() const
{
    return m_crossfade.animating() && !m_wallpaper.isNull() &&
           m_crossfade.previous().size() == m_crossfade.current().size();
}

QImage PieceContent::composeOpaque(const QImage& piece, const QImage& wallpaper, QColor colour,
                                   const QImage& coverage, QRegion& shape)
{
    const qreal dpr = piece.devicePixelRatio();
    QImage out(piece.size(), QImage::Format_RGB32);
    if (!wallpaper.isNull()) {
        // The shadow's faintest fringe (under 2% cover) differs from the desktop by less than
        // a step of colour; cutting the window there shows no seam.
        {
            QPainter p(&out);
            p.setCompositionMode(QPainter::CompositionMode_Source);
            p.drawImage(0, 0, wallpaper);
        }
        out.setDevicePixelRatio(dpr);
        QPainter(&out).drawImage(QPointF(0, 0), piece);
        shape = PieceOutline::regionOf(piece, 5, dpr);
        return out;
    }
    if (!colour.isValid()) colour = QColor(128, 128, 128);
    out.fill(colour);
    out.setDevicePixelRatio(dpr);
    QPainter(&out).drawImage(QPointF(0, 0), piece);
    // Outside the outline only the colour; along it the piece blended into the colour as the
    // antialiased outline covers each pixel.
    const QRgb bg = colour.rgb();
    for (int y = 0; y < out.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        const uchar* cover = y < coverage.height() ? coverage.constScanLine(y) : nullptr;
        for (int x = 0; x < out.width(); ++x) {
            const int c = cover && x < coverage.width() ? cover[x] : 0;
            if (c == 255) continue;
            const auto mix = [c](int a, int b) { return (a * c + b * (255 - c) + 127) / 255; };
            line[x] = qRgb(mix(qRed(line[x]), qRed(bg)), mix(qGreen(line[x]), qGreen(bg)), mix(qBlue(line[x]), qBlue(bg)));
        }
    }
    shape = PieceOutline::regionOf(coverage, 1, dpr);
    return out;
}

void PieceContent::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setCompositionMode(QPainter::CompositionMode_Source);
    p.fillRect(rect(), Qt::transparent);
    p.setCompositionMode(QPainter::CompositionMode_SourceOver);
    const QImage& current = m_crossfade.current();
    if (m_opaqueShape) {
        if (!fadesOpaque()) {
            if (!m_cut.isNull()) p.drawImage(QPointF(0, 0), m_cut);
            return;
        }
        // The wallpaper is in device pixels, as large as the window.
        p.setCompositionMode(QPainter::CompositionMode_Source);
        p.drawImage(QRectF(rect()), m_wallpaper);
        p.setCompositionMode(QPainter::CompositionMode_SourceOver);
        const QSizeF size = current.deviceIndependentSize();
        m_crossfade.paint(&p, QPointF(size.width() / 2, size.height() / 2), m_crossfade.progress());
        return;
    }
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
