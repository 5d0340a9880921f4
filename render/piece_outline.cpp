#include "piece_outline.h"

#include "decorations.h"
#include "piece_renderer.h"

#include <QPainter>

#include <algorithm>
#include <cmath>
#include <vector>

namespace velora::PieceOutline {

namespace {

QRectF toQ(const Rect& r) { return QRectF(r.x, r.y, r.width, r.height); }

QPainterPath mapped(const QTransform& t, const QRectF& r, qreal radius = 0)
{
    QPainterPath p;
    if (radius > 0) p.addRoundedRect(r, radius, radius);
    else p.addRect(r);
    return t.map(p);
}

// The two strips drawTape lays across the top edge of `box`.
void addTape(QPainterPath& out, const QTransform& t, const QRectF& box)
{
    const qreal u = std::sqrt(box.width() * box.height());
    const qreal length = 0.3 * std::min(box.width(), box.height()) + 0.04 * u;
    const qreal thickness = 0.3 * length;
    const qreal inset = std::min(std::max(0.19 * box.width(), 0.42 * length), 0.5 * box.width());
    const std::pair<qreal, qreal> strips[2] = {{box.left() + inset, -9.0}, {box.right() - inset, 7.0}};
    for (const auto& [x, angle] : strips) {
        QTransform local;
        local.translate(x, box.top() + 0.1 * length);
        local.rotate(angle);
        out.addPath((local * t).map(TornTape::path(QRectF(-length / 2, -thickness / 2, length, thickness))));
    }
}

void addLabel(QPainterPath& out, const QTransform& t, const QString& caption, qreal u, QPointF bottomLeft,
              qreal maxTextWidth)
{
    if (caption.isEmpty()) return;
    const PaperLabel::Metrics m = PaperLabel::metrics(u);
    // Measured on an image, as the renderer measures it: a screen's resolution would differ.
    QImage device(1, 1, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&device);
    const QSizeF size = PaperLabel::size(&painter, caption, u, maxTextWidth);
    out.addPath(mapped(t, QRectF(bottomLeft.x(), bottomLeft.y() - size.height(), size.width(), size.height()),
                       m.cornerRadius));
}

} // namespace

QPainterPath path(const PieceView& view)
{
    QPainterPath out;
    out.setFillRule(Qt::WindingFill);
    const QList<Photo> shown = view.shown();
    const qreal width = view.effectiveWidth();
    if (shown.isEmpty()) {
        if (PieceRenderer::canvasSize(view).isEmpty()) return out;
        out.addRoundedRect(QRectF(16, 16, width, 0.66 * width), 14, 14);
        return out;
    }
    const QSizeF canvas = PieceRenderer::canvasSize(view);
    if (canvas.isEmpty()) return out;
    const QString caption = view.caption(shown);
    const PieceGeometry g = PieceView::geometry(view.piece, shown, view.width, !caption.isEmpty());
    const Piece& piece = view.piece;

    // As drawPrepared: the framed composition turned about the canvas centre.
    QTransform t;
    t.translate(canvas.width() / 2, canvas.height() / 2);
    t.rotate(piece.tilt);
    t.translate(-g.framedSize.width / 2, -g.framedSize.height / 2);

    const bool bare = g.style == FrameStyle::bare;
    const QRectF box(0, 0, g.framedSize.width, g.framedSize.height);
    const qreal u = std::sqrt(box.width() * box.height());
    auto tileTransform = [](const QRectF& frame, double rotation, QPointF offset) {
        QTransform local;
        local.translate(offset.x() + frame.center().x(), offset.y() + frame.center().y());
        local.rotate(std::isfinite(rotation) ? rotation : 0.0);
        return local;
    };
    auto centred = [](const QRectF& f) { return QRectF(-f.width() / 2, -f.height() / 2, f.width(), f.height()); };

    if (g.perTile) {
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= shown.size()) continue;
            const QRectF frame = toQ(tile.frame);
            const QTransform local = tileTransform(frame, tile.rotation, {}) * t;
            const QRectF tileBox = centred(frame);
            out.addPath(mapped(local, tileBox, bare ? 0.035 * std::sqrt(frame.width() * frame.height()) : 0.0));
            if (g.style == FrameStyle::tape) addTape(out, local, tileBox);
        }
        addLabel(out, t, caption, u, QPointF(0, g.framedSize.height + 0.02 * u),
                 g.framedSize.width - 2 * PaperLabel::metrics(u).horizontalPadding);
        return out;
    }

    if (!bare) {
        out.addPath(mapped(t, box));
        if (g.style == FrameStyle::tape) addTape(out, t, box);
        return out;
    }
    // Bare photos have no frame: each rounded photo, and the caption slip.
    const QPointF corner(g.insets.left, g.insets.top);
    for (const PlacedTile& tile : g.arrangement.tiles) {
        if (tile.index < 0 || tile.index >= shown.size()) continue;
        const QRectF frame = toQ(tile.frame);
        out.addPath(mapped(tileTransform(frame, tile.rotation, corner) * t, centred(frame),
                           0.035 * std::sqrt(frame.width() * frame.height())));
    }
    const PaperLabel::Metrics m = PaperLabel::metrics(u);
    addLabel(out, t, caption, u, QPointF(box.left() + 0.03 * u, box.bottom() - 0.03 * u),
             box.width() - 0.06 * u - 2 * m.horizontalPadding);
    return out;
}

QImage coverage(const QPainterPath& path, QSizeF size, qreal dpr, bool antialiased)
{
    const int w = std::max(1, int(std::ceil(size.width() * dpr - 1e-6)));
    const int h = std::max(1, int(std::ceil(size.height() * dpr - 1e-6)));
    QImage image(w, h, QImage::Format_Grayscale8);
    image.fill(0);
    if (path.isEmpty()) return image;
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, antialiased);
    p.scale(dpr, dpr);
    p.fillPath(path, Qt::white);
    return image;
}

namespace {

// Rows of runs (half-open column intervals, sorted, apart) into a region's y-x bands; a row with
// the same runs as the one above extends that band.
class Bands {
public:
    void addRow(int y, const std::vector<std::pair<int, int>>& runs)
    {
        if (!runs.empty() && runs == m_above && m_rects.size() > m_aboveFrom && y == m_aboveY + 1) {
            for (size_t i = m_aboveFrom; i < m_rects.size(); ++i) m_rects[i].setBottom(y);
            m_aboveY = y;
            return;
        }
        m_aboveFrom = m_rects.size();
        for (const auto& [from, to] : runs) m_rects.emplace_back(from, y, to - from, 1);
        m_above = runs;
        m_aboveY = y;
    }
    QRegion region() const
    {
        QRegion out;
        if (!m_rects.empty()) out.setRects(m_rects.data(), int(m_rects.size()));
        return out;
    }

private:
    std::vector<QRect> m_rects;
    std::vector<std::pair<int, int>> m_above;
    size_t m_aboveFrom = 0;
    int m_aboveY = -2;
};

} // namespace

QRegion regionOf(const QImage& image, int threshold, qreal dpr)
{
    const bool gray = image.format() == QImage::Format_Grayscale8;
    const QImage source = gray ? image : image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const qreal k = std::max<qreal>(dpr, 1);
    const int w = int(std::ceil(source.width() / k - 1e-6));
    const int h = int(std::ceil(source.height() / k - 1e-6));
    std::vector<int> column(size_t(source.width()));
    for (int x = 0; x < source.width(); ++x) column[size_t(x)] = std::min(w - 1, int(x / k));
    std::vector<char> row(size_t(std::max(w, 0)));
    std::vector<std::pair<int, int>> runs;
    Bands bands;
    for (int py = 0; py < h; ++py) {
        std::fill(row.begin(), row.end(), 0);
        const int y0 = int(py * k), y1 = std::min(source.height(), int(std::ceil((py + 1) * k - 1e-6)));
        for (int y = y0; y < y1; ++y) {
            const uchar* line = source.constScanLine(y);
            if (gray) {
                for (int x = 0; x < source.width(); ++x)
                    if (line[x] >= threshold) row[size_t(column[size_t(x)])] = 1;
            } else {
                const auto* pixels = reinterpret_cast<const QRgb*>(line);
                const QRgb least = QRgb(threshold) << 24;
                for (int x = 0; x < source.width(); ++x)
                    if (pixels[x] >= least) row[size_t(column[size_t(x)])] = 1;
            }
        }
        runs.clear();
        for (int x = 0; x < w;) {
            if (!row[size_t(x)]) {
                ++x;
                continue;
            }
            const int start = x;
            while (x < w && row[size_t(x)]) ++x;
            runs.emplace_back(start, x);
        }
        bands.addRow(py, runs);
    }
    return bands.region();
}

QRegion region(const PieceView& view, qreal dpr)
{
    const QSizeF canvas = PieceRenderer::canvasSize(view);
    if (canvas.isEmpty()) return {};
    const int w = int(std::ceil(canvas.width() * dpr - 1e-6));
    const int h = int(std::ceil(canvas.height() * dpr - 1e-6));
    // Scanlines through pixel centres, as a rasterizer without antialiasing fills: each shape
    // (a subpath, filled on its own) gives the spans between its crossings; the shapes unite.
    const QList<QPolygonF> shapes = QTransform::fromScale(dpr, dpr).map(path(view)).toSubpathPolygons();
    std::vector<std::pair<int, int>> spans, runs;
    std::vector<double> crossings;
    Bands bands;
    for (int y = 0; y < h; ++y) {
        const double yc = y + 0.5;
        spans.clear();
        for (const QPolygonF& shape : shapes) {
            crossings.clear();
            for (qsizetype i = 0, n = shape.size(); i < n; ++i) {
                const QPointF a = shape[i], b = shape[(i + 1) % n];
                if ((a.y() <= yc) == (b.y() <= yc)) continue;
                crossings.push_back(a.x() + (yc - a.y()) * (b.x() - a.x()) / (b.y() - a.y()));
            }
            std::sort(crossings.begin(), crossings.end());
            for (size_t i = 0; i + 1 < crossings.size(); i += 2) {
                const int from = std::max(0, int(std::ceil(crossings[i] - 0.5)));
                const int to = std::min(w, int(std::ceil(crossings[i + 1] - 0.5)));
                if (to > from) spans.emplace_back(from, to);
            }
        }
        std::sort(spans.begin(), spans.end());
        runs.clear();
        for (const auto& span : spans) {
            if (!runs.empty() && span.first <= runs.back().second) runs.back().second = std::max(runs.back().second, span.second);
            else runs.push_back(span);
        }
        bands.addRow(y, runs);
    }
    return bands.region();
}

} // namespace velora::PieceOutline
