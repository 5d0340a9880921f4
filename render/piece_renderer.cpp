#include "piece_renderer.h"

#include "decorations.h"
#include "image_cache.h"
#include "shadow.h"

#include <QFontMetricsF>
#include <QHash>
#include <QMutex>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>

#include <algorithm>
#include <cmath>
#include <functional>
#include <list>

namespace velora::PieceRenderer {

namespace {

constexpr qreal kMaxSide = 16384;

qreal deviceScale(const QPainter* p)
{
    const qreal s = std::sqrt(std::abs(p->deviceTransform().determinant()));
    return std::isfinite(s) && s > 0 ? s : 1.0;
}

// --- images ---------------------------------------------------------------------------------

// Large downscales look aliased with bilinear sampling; keep a few properly scaled copies.
class ScaledImages {
public:
    static ScaledImages& shared()
    {
        static ScaledImages instance;
        return instance;
    }

    QImage get(const QImage& image, const QRect& source, const QSize& size)
    {
        const QString key = QStringLiteral("%1/%2,%3,%4,%5/%6x%7")
                                .arg(image.cacheKey())
                                .arg(source.x()).arg(source.y()).arg(source.width()).arg(source.height())
                                .arg(size.width()).arg(size.height());
        {
            QMutexLocker lock(&m_mutex);
            auto it = m_entries.find(key);
            if (it != m_entries.end()) {
                m_order.splice(m_order.begin(), m_order, it->position);
                return it->image;
            }
        }
        QImage scaled = image.copy(source).scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        if (scaled.format() != QImage::Format_ARGB32_Premultiplied && scaled.format() != QImage::Format_RGB32)
            scaled = scaled.convertToFormat(QImage::Format_ARGB32_Premultiplied);
        QMutexLocker lock(&m_mutex);
        if (!m_entries.contains(key)) {
            m_order.push_front(key);
            m_entries.insert(key, Entry{scaled, m_order.begin()});
            m_bytes += scaled.sizeInBytes();
            while (m_bytes > kBudget && m_order.size() > 1) {
                const QString last = m_order.back();
                m_bytes -= m_entries.value(last).image.sizeInBytes();
                m_entries.remove(last);
                m_order.pop_back();
            }
        }
        return scaled;
    }

private:
    static constexpr qsizetype kBudget = 96 * 1024 * 1024;
    struct Entry {
        QImage image;
        std::list<QString>::iterator position;
    };
    QMutex m_mutex;
    std::list<QString> m_order;
    QHash<QString, Entry> m_entries;
    qsizetype m_bytes = 0;
};

// Fill the rect with the image, cropped to the rect's aspect, within a rounded clip.
void drawImageFill(QPainter* p, const QImage& image, const QRectF& r, qreal radius)
{
    const qreal iw = image.width();
    const qreal ih = image.height();
    const qreal fill = std::max(r.width() / iw, r.height() / ih);
    QRectF source(0, 0, r.width() / fill, r.height() / fill);
    source.moveCenter(QPointF(iw / 2, ih / 2));

    QImage drawn = image;
    const qreal scale = deviceScale(p);
    const QSize devicePx(std::max(1, qRound(r.width() * scale)), std::max(1, qRound(r.height() * scale)));
    if (source.width() > 1.5 * devicePx.width() && devicePx.width() <= 8192 && devicePx.height() <= 8192) {
        drawn = ScaledImages::shared().get(image, source.toAlignedRect().intersected(image.rect()), devicePx);
        source = QRectF(drawn.rect());
    }

    p->save();
    p->setRenderHint(QPainter::SmoothPixmapTransform);
    if (radius <= 0) {
        p->drawImage(r, drawn, source);
    } else {
        const qreal kx = r.width() / source.width();
        const qreal ky = r.height() / source.height();
        QBrush brush(drawn);
        brush.setTransform(QTransform(kx, 0, 0, ky, r.x() - source.x() * kx, r.y() - source.y() * ky));
        QPainterPath clip;
        clip.addRoundedRect(r, radius, radius);
        p->setRenderHint(QPainter::Antialiasing);
        p->fillPath(clip, brush);
    }
    p->restore();
}

void drawPlaceholder(QPainter* p, const QRectF& r, qreal radius)
{
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    QPainterPath clip;
    clip.addRoundedRect(r, radius, radius);
    p->fillPath(clip, QColor::fromRgbF(0.5f, 0.5f, 0.5f, 0.3f));
    const qreal side = std::clamp(0.3 * std::min(r.width(), r.height()), 0.0, 96.0);
    QRectF symbol(0, 0, side * 1.25, side);
    symbol.moveCenter(r.center());
    Pictogram::photo(p, symbol, QColor::fromRgbF(0.24f, 0.24f, 0.26f, 0.55f));
    p->restore();
}

// At most `maxLines` lines of `text` wrapped to `width`; the last one elided when more would follow.
QStringList wrap(const QString& text, const QFont& font, const QPaintDevice* device, qreal width, int maxLines)
{
    QStringList lines;
    QTextLayout layout(text, font, const_cast<QPaintDevice*>(device));
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    for (;;) {
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        line.setLineWidth(width);
        if (lines.size() == maxLines - 1) {
            const QFontMetricsF fm(font, device);
            lines.append(fm.elidedText(text.mid(line.textStart()).simplified(), Qt::ElideRight, width));
            break;
        }
        lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
    }
    layout.endLayout();
    return lines;
}

void drawTileCaption(QPainter* p, const QRectF& r, const QString& caption)
{
    const qreal u = std::sqrt(r.width() * r.height());
    const QFont font = Fonts::font(p, Fonts::sansFamily(), std::clamp(0.048 * u, 8.0, 20.0), QFont::DemiBold);
    const QFontMetricsF fm(font, p->device());
    const qreal pad = std::max(0.04 * u, 5.0);
    const qreal width = r.width() - 2 * pad;
    if (width < fm.averageCharWidth() * 2) return;
    const QStringList lines = wrap(caption, font, p->device(), width, 2);
    const qreal lineHeight = fm.lineSpacing();
    const QRectF block(r.left() + pad, r.bottom() - pad - lines.size() * lineHeight, width, lines.size() * lineHeight);
    auto drawLines = [&](QPainter* q, const QColor& color) {
        q->setFont(font);
        q->setPen(color);
        for (int i = 0; i < lines.size(); ++i)
            q->drawText(QPointF(block.left(), block.top() + i * lineHeight + fm.ascent()), lines.at(i));
    };
    // A soft dark halo keeps white text legible on bright photos.
    Shadow::draw(p, block.adjusted(-2, -2, 2, 2), [&](QPainter* q) { drawLines(q, Qt::black); },
                 std::max(0.012 * u, 2.5), {0, 0.5}, 0.75);
    p->save();
    drawLines(p, Qt::white);
    p->restore();
}

void drawPhotoTile(QPainter* p, const QRectF& r, const Photo& photo, qreal radius, bool shadow,
                   const QString& caption)
{
    if (!(r.width() > 0) || !(r.height() > 0)) return;
    const qreal u = std::sqrt(r.width() * r.height());
    QPainterPath shape;
    shape.addRoundedRect(r, radius, radius);
    if (shadow) Shadow::draw(p, shape, std::max(0.03 * u, 3.0), {0, std::max(0.012 * u, 1.5)}, 0.3);

    const bool small = std::max(r.width(), r.height()) * deviceScale(p) <= thumbnailLimit;
    const std::optional<QImage> image = ImageCache::shared().image(photo, small);
    if (image && !image->isNull()) drawImageFill(p, *image, r, radius);
    else drawPlaceholder(p, r, radius);

    if (!caption.isEmpty()) {
        p->save();
        if (radius > 0) p->setClipPath(shape, Qt::IntersectClip);
        drawTileCaption(p, r, caption);
        p->restore();
    }
}

// --- frames ---------------------------------------------------------------------------------

void drawText(QPainter* p, const QFont& font, const QColor& color, const QRectF& rect, int align,
              const QString& text)
{
    const QFontMetricsF fm(font, p->device());
    p->save();
    p->setFont(font);
    p->setPen(color);
    p->drawText(rect, align | Qt::TextSingleLine, fm.elidedText(text, Qt::ElideRight, rect.width() + 0.5));
    p->restore();
}

void drawPaper(QPainter* p, const QRectF& box, const QColor& fill, qreal opacity, qreal radius, qreal offsetY)
{
    QPainterPath shape;
    shape.addRect(box);
    Shadow::draw(p, shape, radius, {0, offsetY}, opacity);
    p->fillRect(box, fill);
}

void drawTape(QPainter* p, const QRectF& box, qreal u, const QString& caption)
{
    const qreal length = 0.3 * std::min(box.width(), box.height()) + 0.04 * u;
    const qreal thickness = 0.3 * length;
    // Across the top edge, a little askew, overhanging no further than the piece's margin allows.
    struct Strip {
        qreal x;
        qreal angle;
    };
    const qreal inset = std::min(std::max(0.19 * box.width(), 0.42 * length), 0.5 * box.width());
    const Strip strips[2] = {{box.left() + inset, -9.0}, {box.right() - inset, 7.0}};
    for (int i = 0; i < 2; ++i) {
        p->save();
        p->translate(strips[i].x, box.top() + 0.1 * length);
        p->rotate(strips[i].angle);
        const QRectF strip(-length / 2, -thickness / 2, length, thickness);
        TapeStrip::draw(p, strip);
        if (i == 0 && !caption.isEmpty()) {
            const QFont font = Handwriting::font(p, std::max(0.5 * thickness, 9.0));
            drawText(p, font, QColor::fromRgbF(0.17f, 0.16f, 0.24f), strip.adjusted(0.08 * length, 0, -0.08 * length, 0),
                     Qt::AlignCenter, caption);
        }
        p->restore();
    }
}

void drawFilmPrint(QPainter* p, const QRectF& box, const QRectF& window, bool vertical, qreal t,
                   const QString& caption)
{
    QFont font = Fonts::font(p, Fonts::sansFamily(), std::max(0.27 * t, 7.0), QFont::Bold);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 0.03 * t);
    const QColor amber = QColor::fromRgbF(0.95f, 0.66f, 0.24f);
    const QString text = caption.toUpper();
    const qreal band = 0.44 * t; // between the outer edge and the holes
    p->save();
    if (vertical) {
        // Along the right band, reading downwards.
        p->translate(box.right(), window.top() + 0.25 * t);
        p->rotate(90);
        drawText(p, font, amber, QRectF(0, 0, window.height() - 0.5 * t, band), Qt::AlignLeft | Qt::AlignVCenter,
                 text);
    } else {
        drawText(p, font, amber, QRectF(window.left() + 0.25 * t, box.bottom() - band, window.width() - 0.5 * t, band),
                 Qt::AlignLeft | Qt::AlignVCenter, text);
    }
    p->restore();
}

using Content = std::function<void(const QRectF& window)>;

void drawFramedBox(QPainter* p, const QRectF& box, FrameStyle style, const FrameInsets& in, bool vertical,
                   const QString& caption, const Content& content)
{
    const qreal u = std::sqrt(box.width() * box.height());
    const QRectF window = box.adjusted(in.left, in.top, -in.right, -in.bottom);

    switch (style) {
    case FrameStyle::gallery:
        drawPaper(p, box, QColor::fromRgbF(0.985f, 0.985f, 0.985f), 0.26, std::max(0.03 * u, 3.0),
                  std::max(0.014 * u, 1.5));
        break;
    case FrameStyle::instant:
        drawPaper(p, box, QColor::fromRgbF(0.985f, 0.975f, 0.955f), 0.24, std::max(0.028 * u, 3.0),
                  std::max(0.014 * u, 1.5));
        break;
    case FrameStyle::film: {
        // Stock, shadow and holes share one layer, so the holes clear the strip's own shadow too.
        const qreal t = vertical ? in.left : in.top;
        const qreal radius = std::max(0.025 * u, 3.0);
        const qreal offset = std::max(0.012 * u, 1.5);
        const qreal reach = 1.5 * radius + 2;
        QPainterPath stock;
        stock.addRoundedRect(box, 0.08 * t, 0.08 * t);
        Layers::draw(p, box.adjusted(-reach, -reach, reach, reach + offset), [&](QPainter* q) {
            Shadow::draw(q, stock, radius, {0, offset}, 0.3);
            FilmStrip::paint(q, box, vertical, t);
        });
        break;
    }
    case FrameStyle::bare:
        break;
    case FrameStyle::tape:
        drawPaper(p, box, Qt::white, 0.22, std::max(0.022 * u, 2.5), std::max(0.01 * u, 1.0));
        break;
    }

    content(window);

    switch (style) {
    case FrameStyle::gallery: {
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        p->setBrush(Qt::NoBrush);
        p->setPen(QPen(QColor::fromRgbF(0, 0, 0, 0.07f), 0.5));
        p->drawRect(box.adjusted(0.25, 0.25, -0.25, -0.25));
        // The mat's cut edge: a fine bevel line just outside the photo window.
        const qreal line = std::max(0.0025 * u, 0.5);
        p->setPen(QPen(QColor::fromRgbF(0, 0, 0, 0.14f), line, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        p->drawRect(window.adjusted(-line / 2, -line / 2, line / 2, line / 2));
        p->restore();
        if (!caption.isEmpty()) {
            QFont font = Fonts::font(p, Fonts::sansFamily(), std::max(0.03 * u, 7.0), QFont::Medium);
            font.setLetterSpacing(QFont::AbsoluteSpacing, 0.004 * u);
            const QFontMetricsF fm(font, p->device());
            const qreal centre = window.bottom() + std::min(0.07 * u, (box.bottom() - window.bottom()) * 0.5);
            drawText(p, font, QColor::fromRgbF(0.38f, 0.38f, 0.38f),
                     QRectF(window.left(), centre - fm.height() / 2, window.width(), fm.height()),
                     Qt::AlignLeft | Qt::AlignVCenter, caption.toUpper());
        }
        break;
    }
    case FrameStyle::instant:
        if (!caption.isEmpty()) {
            const qreal i = in.bottom;
            const QFont font = Handwriting::font(p, std::max(0.34 * i, 9.0));
            drawText(p, font, QColor::fromRgbF(0.17f, 0.16f, 0.24f),
                     QRectF(window.left() + 0.02 * u, window.bottom(), window.width() - 0.04 * u, i * 0.92),
                     Qt::AlignCenter, caption);
        }
        break;
    case FrameStyle::film:
        if (!caption.isEmpty()) drawFilmPrint(p, box, window, vertical, vertical ? in.left : in.top, caption);
        break;
    case FrameStyle::bare:
        if (!caption.isEmpty()) {
            const PaperLabel::Metrics m = PaperLabel::metrics(u);
            PaperLabel::draw(p, caption, u, QPointF(box.left() + 0.03 * u, box.bottom() - 0.03 * u),
                             box.width() - 0.06 * u - 2 * m.horizontalPadding);
        }
        break;
    case FrameStyle::tape:
        drawTape(p, box, u, caption);
        break;
    }
}

QRectF toQ(const Rect& r) { return QRectF(r.x, r.y, r.width, r.height); }

// The framed arrangement with its top-left corner at the origin.
void drawComposition(QPainter* p, const PieceGeometry& g, const QList<Photo>& shown, const QString& caption,
                     const Piece& piece)
{
    const bool bare = g.style == FrameStyle::bare;
    if (g.perTile) {
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= shown.size()) continue;
            const Photo& photo = shown.at(tile.index);
            const QRectF frame = toQ(tile.frame);
            const FrameInsets in = PieceGeometry::tileInsets(g.style, photo.aspect(), piece.vertical,
                                                             {frame.width(), frame.height()});
            const qreal radius = bare ? 0.035 * std::sqrt(frame.width() * frame.height()) : 0.0;
            p->save();
            p->translate(frame.center());
            p->rotate(std::isfinite(tile.rotation) ? tile.rotation : 0.0);
            const QRectF box(-frame.width() / 2, -frame.height() / 2, frame.width(), frame.height());
            drawFramedBox(p, box, g.style, in, piece.vertical,
                          g.style == FrameStyle::instant ? photo.caption : QString(),
                          [&](const QRectF& window) { drawPhotoTile(p, window, photo, radius, false, {}); });
            p->restore();
        }
        if (!caption.isEmpty()) {
            const qreal u = std::sqrt(g.framedSize.width * g.framedSize.height);
            PaperLabel::draw(p, caption, u, QPointF(0, g.framedSize.height + 0.02 * u),
                             g.framedSize.width - 2 * PaperLabel::metrics(u).horizontalPadding);
        }
        return;
    }

    const QRectF box(0, 0, g.framedSize.width, g.framedSize.height);
    drawFramedBox(p, box, g.style, g.insets, piece.vertical, caption, [&](const QRectF& window) {
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= shown.size()) continue;
            const Photo& photo = shown.at(tile.index);
            const QRectF frame = toQ(tile.frame);
            const qreal radius = bare ? 0.035 * std::sqrt(frame.width() * frame.height()) : 0.0;
            const QString tileCaption = piece.layout == CollageLayout::single ? QString() : photo.caption;
            p->save();
            p->translate(window.topLeft() + frame.center());
            p->rotate(std::isfinite(tile.rotation) ? tile.rotation : 0.0);
            drawPhotoTile(p, QRectF(-frame.width() / 2, -frame.height() / 2, frame.width(), frame.height()), photo,
                          radius, bare, tileCaption);
            p->restore();
        }
    });
}

struct Prepared {
    QList<Photo> shown;
    QString caption;
    PieceGeometry geometry;
    QSizeF canvas;        // empty when undrawable
    bool empty = false;   // nothing to show: the empty card
};

Prepared prepare(const PieceView& view)
{
    Prepared out;
    out.shown = view.shown();
    if (out.shown.isEmpty()) {
        out.empty = true;
        const qreal width = view.effectiveWidth();
        if (std::isfinite(width) && width > 0 && width + 32 <= kMaxSide)
            out.canvas = EmptyPieceCard::size(width);
        return out;
    }
    // A piece without a positive width has nothing to draw (a stack would otherwise mirror itself).
    const qreal width = view.effectiveWidth();
    if (!(std::isfinite(width) && width > 0)) return out;
    out.caption = view.caption(out.shown);
    out.geometry = PieceView::geometry(view.piece, out.shown, view.width, !out.caption.isEmpty());
    if (out.geometry.drawable(kMaxSide) && std::isfinite(view.piece.tilt))
        out.canvas = QSizeF(out.geometry.outerSize.width, out.geometry.outerSize.height);
    return out;
}

void drawPrepared(QPainter* p, const PieceView& view, const Prepared& prepared)
{
    p->setRenderHint(QPainter::Antialiasing);
    p->setRenderHint(QPainter::SmoothPixmapTransform);
    p->setRenderHint(QPainter::TextAntialiasing);
    if (prepared.empty) {
        EmptyPieceCard::draw(p, view.effectiveWidth());
        return;
    }
    const PieceGeometry& g = prepared.geometry;
    p->translate(prepared.canvas.width() / 2, prepared.canvas.height() / 2);
    p->rotate(view.piece.tilt);
    p->translate(-g.framedSize.width / 2, -g.framedSize.height / 2);
    drawComposition(p, g, prepared.shown, prepared.caption, view.piece);
}

} // namespace

QSizeF canvasSize(const PieceView& view) { return prepare(view).canvas; }

QImage render(const PieceView& view, qreal devicePixelRatio)
{
    const qreal dpr = std::isfinite(devicePixelRatio) && devicePixelRatio > 0 ? devicePixelRatio : 1.0;
    const Prepared prepared = prepare(view);
    if (prepared.canvas.isEmpty()) return {};
    const qreal w = std::ceil(prepared.canvas.width() * dpr - 1e-6);
    const qreal h = std::ceil(prepared.canvas.height() * dpr - 1e-6);
    if (!(w >= 1 && h >= 1 && w <= kMaxSide && h <= kMaxSide)) return {};
    QImage image(static_cast<int>(w), static_cast<int>(h), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return {};
    image.fill(Qt::transparent);
    {
        QPainter p(&image);
        p.scale(w / prepared.canvas.width(), h / prepared.canvas.height());
        drawPrepared(&p, view, prepared);
    }
    image.setDevicePixelRatio(dpr);
    return image;
}

void paint(QPainter* painter, const PieceView& view, const QRectF& target)
{
    if (!painter || !target.isValid()) return;
    const Prepared prepared = prepare(view);
    if (prepared.canvas.isEmpty()) return;
    painter->save();
    painter->translate(target.topLeft());
    painter->scale(target.width() / prepared.canvas.width(), target.height() / prepared.canvas.height());
    drawPrepared(painter, view, prepared);
    painter->restore();
}

} // namespace velora::PieceRenderer
