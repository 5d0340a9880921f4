#include "piece_renderer.h"

#include "decorations.h"
#include "direct_pixels.h"
#include "image_cache.h"
#include "pixel_buffers.h"
#include "pool_drawing.h"
#include "scaled_images.h"
#include "shadow.h"
#include "text_images.h"

#include <QFontMetricsF>
#include <QMutex>
#include <QMutexLocker>
#include <QPainter>
#include <QPainterPath>
#include <QTextLayout>

#include <algorithm>
#include <cstdlib>
#include <cmath>
#include <functional>
#include <list>
#include <vector>

namespace velora::PieceRenderer {

namespace {

constexpr qreal kMaxSide = 16384;

qreal deviceScale(const QPainter* p)
{
    const qreal s = std::sqrt(std::abs(p->deviceTransform().determinant()));
    return std::isfinite(s) && s > 0 ? s : 1.0;
}

// --- images ---------------------------------------------------------------------------------

// The part of the image that fills `r` when cropped to its aspect.
QRectF fillSource(const QImage& image, const QRectF& r)
{
    const qreal iw = image.width();
    const qreal ih = image.height();
    const qreal fill = std::max(r.width() / iw, r.height() / ih);
    QRectF source(0, 0, r.width() / fill, r.height() / fill);
    source.moveCenter(QPointF(iw / 2, ih / 2));
    return source;
}

// How an upright fill of `r` (mapped by `toDevice`) draws: its device rectangle, the whole pixels
// that cover it, and the photo's pixels scaled onto those.
struct UprightFill {
    QRectF device;
    QRect target;
    QRect crop;
    // No scaling at all: the photo's pixels are the device's.
    bool asIs(const QImage& image) const { return crop == image.rect() && crop.size() == target.size(); }
};

std::optional<UprightFill> uprightFill(const QImage& image, const QRectF& r, const QTransform& toDevice)
{
    const bool upright = toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0;
    const QRectF device = toDevice.mapRect(r);
    if (!upright || !(device.width() <= 8192 && device.height() <= 8192) || !device.isValid() || image.isNull())
        return std::nullopt;
    const QRectF source = fillSource(image, r);
    const QRect target = device.toAlignedRect();
    const qreal kx = source.width() / device.width();
    const qreal ky = source.height() / device.height();
    const QRectF wanted(source.x() + (target.x() - device.x()) * kx, source.y() + (target.y() - device.y()) * ky,
                        target.width() * kx, target.height() * ky);
    const QRect crop(QPoint(qRound(wanted.left()), qRound(wanted.top())),
                     QPoint(qRound(wanted.right()) - 1, qRound(wanted.bottom()) - 1));
    return UprightFill{device, target, crop};
}

// A turned fill of `r` draws from a copy scaled to its device size when the photo is more than
// half again larger: bilinear sampling of large downscales looks aliased.
std::optional<ScaledImages::Request> turnedScaling(const QImage& image, const QRectF& r, qreal scale)
{
    const QRectF source = fillSource(image, r);
    const QSize devicePx(std::max(1, qRound(r.width() * scale)), std::max(1, qRound(r.height() * scale)));
    if (source.width() > 1.5 * devicePx.width() && devicePx.width() <= 8192 && devicePx.height() <= 8192)
        return ScaledImages::Request{image, source.toAlignedRect(), devicePx};
    return std::nullopt;
}

// The scaled copy a fill of `r` (mapped by `toDevice`) with `image` will draw from, if any.
std::optional<ScaledImages::Request> fillScaling(const QImage& image, const QRectF& r, const QTransform& toDevice)
{
    if (image.isNull() || !r.isValid()) return std::nullopt;
    if (const std::optional<UprightFill> plan = uprightFill(image, r, toDevice))
        return plan->asIs(image) ? std::nullopt
                                 : std::optional(ScaledImages::Request{image, plan->crop, plan->target.size()});
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    return turnedScaling(image, r, std::isfinite(scale) && scale > 0 ? scale : 1.0);
}

// Fill the rect with the image, cropped to the rect's aspect, within a rounded clip.
void drawImageFill(QPainter* p, const QImage& image, const QRectF& r, qreal radius)
{
    QRectF source = fillSource(image, r);
    const QTransform toDevice = p->deviceTransform();
    const std::optional<UprightFill> plan = uprightFill(image, r, toDevice);
    // Upright: scale the photo once to exactly the device pixels it covers, then copy pixels.
    // The copy covers every pixel the photo's antialiased outline touches. Without memory for the
    // copy, sampled as a turned one is: the canvas beneath may not have been cleared.
    const QImage drawn = !plan ? QImage()
        : plan->asIs(image)    ? image
                               : ScaledImages::shared().get(image, plan->crop, plan->target.size());
    if (!drawn.isNull()) {
        const QRectF device = plan->device;
        const QRect target = plan->target;
        p->save();
        p->setWorldTransform(p->worldTransform() * toDevice.inverted(), false);
        QBrush brush(drawn);
        brush.setTransform(QTransform::fromTranslate(target.x(), target.y()));
        p->setRenderHint(QPainter::Antialiasing);
        if (radius <= 0 && QRectF(target) == device) {
            // Whole pixels: a straight copy, which the smoothing hints would turn into sampling.
            p->setRenderHint(QPainter::Antialiasing, false);
            p->setRenderHint(QPainter::SmoothPixmapTransform, false);
            p->drawImage(target.topLeft(), drawn);
        } else if (radius <= 0) {
            p->fillRect(device, brush);
        } else {
            QPainterPath clip;
            clip.addRoundedRect(device, radius * toDevice.m11(), radius * toDevice.m22());
            p->fillPath(clip, brush);
        }
        p->restore();
        return;
    }

    // Turned (or upright without memory for its copy): from a copy scaled to the tile's device
    // size when the photo is much larger.
    QImage sampled = image;
    if (const std::optional<ScaledImages::Request> scaling = turnedScaling(image, r, deviceScale(p))) {
        const QImage scaled = ScaledImages::shared().get(image, scaling->source, scaling->size);
        if (!scaled.isNull()) {
            sampled = scaled;
            source = QRectF(sampled.rect());
        }
    }

    p->save();
    p->setRenderHint(QPainter::SmoothPixmapTransform);
    if (radius <= 0) {
        p->drawImage(r, sampled, source);
    } else {
        const qreal kx = r.width() / source.width();
        const qreal ky = r.height() / source.height();
        QBrush brush(sampled);
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

// The decoded photo drawPhotoTile fills `r` with, `scale` device pixels per point: the thumbnail
// when it is large enough.
std::optional<QImage> tileImage(const Photo& photo, const QRectF& r, qreal scale)
{
    return ImageCache::shared().image(photo, std::max(r.width(), r.height()) * scale <= thumbnailLimit);
}

// Whether drawPhotoTile will fill `r` (its size in device pixels given by `scale`) with an opaque
// photo: the photo loads and has no alpha.
bool opaquePhoto(const Photo& photo, const QRectF& r, qreal scale)
{
    const std::optional<QImage> image = tileImage(photo, r, scale);
    return image && !image->isNull() && !image->hasAlphaChannel() && r.isValid();
}

// Clips the painter to everything but `hidden` (device pixels); nothing when it is empty.
void clipOut(QPainter* p, const QRegion& hidden)
{
    if (hidden.isEmpty()) return;
    const QTransform world = p->worldTransform();
    p->setWorldTransform(world * p->deviceTransform().inverted());
    const QRegion everywhere(QRect(-32768, -32768, 65536, 65536));
    p->setClipRegion(everywhere.subtracted(hidden), p->hasClipping() ? Qt::IntersectClip : Qt::ReplaceClip);
    p->setWorldTransform(world);
}

void drawPhotoTile(QPainter* p, const QRectF& r, const Photo& photo, qreal radius, bool shadow,
                   const QString& caption)
{
    if (!(r.width() > 0) || !(r.height() > 0)) return;
    const qreal u = std::sqrt(r.width() * r.height());
    QPainterPath shape;
    shape.addRoundedRect(r, radius, radius);

    const std::optional<QImage> image = tileImage(photo, r, deviceScale(p));
    const bool drawable = image && !image->isNull();
    if (shadow) {
        // An opaque photo hides its own shadow everywhere but past its rounded corners and edges.
        const qreal in = std::max<qreal>(radius, 0);
        const QRectF cover = drawable && !image->hasAlphaChannel() ? r.adjusted(in, in, -in, -in) : QRectF();
        Shadow::draw(p, shape, std::max(0.03 * u, 3.0), {0, std::max(0.012 * u, 1.5)}, 0.3, cover);
    }
    if (drawable) drawImageFill(p, *image, r, radius);
    else drawPlaceholder(p, r, radius);

    if (!caption.isEmpty()) {
        p->save();
        if (radius > 0) p->setClipPath(shape, Qt::IntersectClip);
        drawTileCaption(p, r, caption);
        p->restore();
    }
}

// --- frames ---------------------------------------------------------------------------------

// One line of text, elided to its rectangle.
struct TextLine {
    QFont font;
    QColor color;
    QRectF rect;
    int align;
    QString text;
};

TextLine elided(const QPainter* p, const QFont& font, const QColor& color, const QRectF& rect, int align,
                const QString& text)
{
    const QFontMetricsF fm(font, p->device());
    return {font, color, rect, align | Qt::TextSingleLine, fm.elidedText(text, Qt::ElideRight, rect.width() + 0.5)};
}

void drawLine(QPainter* p, const TextLine& line)
{
    TextImages::draw(p, line.font, line.color, line.rect, line.align, line.text);
}

void drawText(QPainter* p, const QFont& font, const QColor& color, const QRectF& rect, int align,
              const QString& text)
{
    drawLine(p, elided(p, font, color, rect, align, text));
}

// The caption printed on a gallery mat or an instant print's strip; nothing for other frames.
std::optional<TextLine> frameCaption(const QPainter* p, FrameStyle style, const QRectF& box, const QRectF& window,
                                     const FrameInsets& in, const QString& caption)
{
    if (caption.isEmpty()) return std::nullopt;
    const qreal u = std::sqrt(box.width() * box.height());
    if (style == FrameStyle::gallery) {
        QFont font = Fonts::font(p, Fonts::sansFamily(), std::max(0.03 * u, 7.0), QFont::Medium);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 0.004 * u);
        const QFontMetricsF fm(font, p->device());
        const qreal centre = window.bottom() + std::min(0.07 * u, (box.bottom() - window.bottom()) * 0.5);
        return elided(p, font, QColor::fromRgbF(0.38f, 0.38f, 0.38f),
                      QRectF(window.left(), centre - fm.height() / 2, window.width(), fm.height()),
                      Qt::AlignLeft | Qt::AlignVCenter, caption.toUpper());
    }
    if (style == FrameStyle::instant) {
        const qreal i = in.bottom;
        return elided(p, Handwriting::font(p, std::max(0.34 * i, 9.0)), QColor::fromRgbF(0.17f, 0.16f, 0.24f),
                      QRectF(window.left() + 0.02 * u, window.bottom(), window.width() - 0.04 * u, i * 0.92),
                      Qt::AlignCenter, caption);
    }
    return std::nullopt;
}

void fillDevicePixels(QPainter* p, const QRectF& r, const QColor& color);

// `hidden`: device pixels the photos will cover opaquely; the paper need not be filled there.
void drawPaper(QPainter* p, const QRectF& box, const QColor& fill, qreal opacity, qreal radius, qreal offsetY,
               const QRegion& hidden)
{
    QPainterPath shape;
    shape.addRect(box);
    Shadow::draw(p, shape, radius, {0, offsetY}, opacity, box);
    p->save();
    const QTransform toDevice = p->deviceTransform();
    if (toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0 && !p->hasClipping()) {
        // Upright: the partly covered pixels along the edges, then whole ones, less what the photos
        // cover; a fill clipped to that region would go span by span through the thread pool.
        p->setWorldTransform(p->worldTransform() * toDevice.inverted());
        const QRectF d = toDevice.mapRect(box);
        const int left = qCeil(d.left()), top = qCeil(d.top()), right = qFloor(d.right()), bottom = qFloor(d.bottom());
        if (left >= right || top >= bottom) {
            fillDevicePixels(p, d, fill);
        } else {
            const QRectF edges[4] = {QRectF(d.left(), d.top(), d.width(), top - d.top()),
                                     QRectF(d.left(), bottom, d.width(), d.bottom() - bottom),
                                     QRectF(d.left(), top, left - d.left(), bottom - top),
                                     QRectF(right, top, d.right() - right, bottom - top)};
            for (const QRectF& edge : edges)
                if (edge.width() > 0 && edge.height() > 0) fillDevicePixels(p, edge, fill);
            for (const QRect& r : QRegion(QRect(left, top, right - left, bottom - top)).subtracted(hidden))
                p->fillRect(r, fill);
        }
    } else {
        clipOut(p, hidden);
        p->fillRect(box, fill);
    }
    p->restore();
}

const QColor tapeInk = QColor::fromRgbF(0.17f, 0.16f, 0.24f);

// Each line of a tape caption `c`, as drawn with the painter turned onto the strip.
void forTapeLines(const TapeStrip::Caption& c, const std::function<void(const QRectF&, const QString&)>& line)
{
    const CaptionFit::Layout& text = c.layout;
    for (int i = 0; i < text.lines.size(); ++i)
        line(QRectF(c.text.left(), c.text.top() + i * text.lineSpacing, c.text.width(), text.lineSpacing),
             text.lines.at(i));
}
constexpr int tapeLineFlags = Qt::AlignHCenter | Qt::AlignTop | Qt::TextSingleLine;

void drawTape(QPainter* p, const QRectF& box, const std::optional<TapeStrip::Caption>& caption)
{
    const qreal length = TapeStrip::length(box);
    const qreal thickness = 0.3 * length;
    const qreal inset = TapeStrip::inset(box);
    // Across the top edge, a little askew, overhanging no further than the piece's margin allows.
    p->save();
    if (!caption) {
        p->translate(box.left() + inset, box.top() + 0.1 * length);
        p->rotate(-9.0);
        TapeStrip::draw(p, QRectF(-length / 2, -thickness / 2, length, thickness));
    } else {
        p->setTransform(caption->toBox, true);
        TapeStrip::draw(p, caption->strip);
        const QFont& font = caption->layout.font;
        forTapeLines(*caption, [&](const QRectF& r, const QString& text) {
            TextImages::draw(p, font, tapeInk, r, tapeLineFlags, text);
        });
    }
    p->restore();
    p->save();
    p->translate(box.right() - inset, box.top() + 0.1 * length);
    p->rotate(7.0);
    TapeStrip::draw(p, QRectF(-length / 2, -thickness / 2, length, thickness));
    p->restore();
}

void drawFilmPrint(QPainter* p, const QRectF& box, const QRectF& window, bool vertical, qreal t,
                   const QString& caption)
{
    const qreal size = std::max(0.27 * t, 7.0);
    const QString text = caption.toUpper();
    auto fontAt = [&](qreal points) {
        QFont font = Fonts::font(p, Fonts::sansFamily(), points, QFont::Bold);
        font.setLetterSpacing(QFont::AbsoluteSpacing, 0.03 * t * points / size);
        return font;
    };
    // The ink's height per point of size, whatever the letters (accents, a Q's tail).
    const QRectF ink = QFontMetricsF(fontAt(size), p->device()).tightBoundingRect(text);
    if (!(ink.height() > 0)) return;
    // Clear of the holes and the picture by a device pixel, which antialiasing may tint. The
    // space between the hole row (0.76·t in from the edge) and the picture holds the text; when
    // it is too thin for the smallest readable size, the wider one between the holes and the
    // edge does.
    const qreal clear = 1.0 / deviceScale(p);
    const qreal inner = 0.24 * t - 2 * clear;
    const qreal outer = 0.44 * t - 2 * clear;
    const qreal innerSize = std::min(size, size * inner / ink.height());
    const qreal outerSize = std::min(size, size * outer / ink.height());
    // Too thin on either side of the holes for the smallest readable size: the print takes the
    // middle of the band, and the holes along its length are left unpunched (stock over them),
    // the rest of the row carrying on beside it.
    const bool across = std::max(innerSize, outerSize) < 7.0;
    const bool outside = !across && innerSize < 7.0 && outer > inner;
    const qreal points = across ? std::min(size, size * (t - 2 * clear) / ink.height())
                                : outside ? outerSize : innerSize;
    if (!(points > 0)) return;
    const QFont font = fontAt(points);
    const QFontMetricsF fm(font, p->device());
    const QRectF shrunk = fm.tightBoundingRect(text);
    // Distance of the ink's middle from the strip's outer edge, and of the baseline from it.
    const qreal centre = across ? 0.5 * t : outside ? 0.22 * t : 0.88 * t;
    const qreal middle = (shrunk.top() + shrunk.bottom()) / 2;
    const qreal length = (vertical ? window.height() : window.width()) - 0.5 * t;
    const QColor amber = QColor::fromRgbF(0.95f, 0.66f, 0.24f);
    if (across) {
        // The print's extent along the strip, with a little stock either side.
        const qreal from = (vertical ? window.top() - box.top() : window.left() - box.left()) + 0.25 * t;
        const qreal to = from + std::min(length, shrunk.right()) + 0.15 * t;
        const qreal edge = vertical ? box.width() - t : box.height() - t; // the print's band starts here
        for (QRectF hole : FilmStrip::holeRects(box.size(), vertical, t)) {
            const qreal a = vertical ? hole.top() : hole.left();
            const qreal b = vertical ? hole.bottom() : hole.right();
            const qreal across0 = vertical ? hole.left() : hole.top();
            if (across0 < edge || b < from - 0.15 * t || a > to) continue;
            hole = hole.adjusted(-clear, -clear, clear, clear).translated(box.topLeft());
            p->fillRect(hole, FilmStrip::stockColor());
        }
    }
    p->save();
    if (vertical) {
        // Along the right band, reading downwards, letters' tops towards the outer edge.
        p->translate(box.right() - centre, window.top() + 0.25 * t);
        p->rotate(90);
        drawText(p, font, amber, QRectF(0, -middle - fm.ascent(), length, fm.height()), Qt::AlignLeft | Qt::AlignTop,
                 text);
    } else {
        drawText(p, font, amber,
                 QRectF(window.left() + 0.25 * t, box.bottom() - centre - middle - fm.ascent(), length, fm.height()),
                 Qt::AlignLeft | Qt::AlignTop, text);
    }
    p->restore();
}

// Fills `r` (device pixels) with `color` as an antialiased rectangle would, but as whole-pixel
// rectangles: the full inside, then the partly covered edge rows and columns at reduced alpha.
// A thin bar thousands of pixels long costs the rasterizer a span per row; this, a few fills.
void fillDevicePixels(QPainter* p, const QRectF& r, const QColor& color)
{
    struct Piece {
        int from;
        int to; // exclusive
        qreal coverage;
    };
    auto split = [](qreal a, qreal b, Piece out[3]) {
        int n = 0;
        const int ia = qFloor(a), ib = qFloor(b);
        if (ia == ib) {
            if (b > a) out[n++] = {ia, ia + 1, b - a};
            return n;
        }
        if (a > ia) out[n++] = {ia, ia + 1, ia + 1 - a};
        const int full = a > ia ? ia + 1 : ia;
        if (ib > full) out[n++] = {full, ib, 1.0};
        if (b > ib) out[n++] = {ib, ib + 1, b - ib};
        return n;
    };
    Piece columns[3], rows[3];
    const int nc = split(r.left(), r.right(), columns);
    const int nr = split(r.top(), r.bottom(), rows);
    const int across = nc > 0 ? columns[nc - 1].to - columns[0].from : 0;
    if (QImage* image = DirectPixels::target(p)) {
        for (int i = 0; i < nr; ++i)
            for (int j = 0; j < nc; ++j) {
                QColor c = color;
                c.setAlphaF(color.alphaF() * float(rows[i].coverage * columns[j].coverage));
                DirectPixels::blend(*image,
                                    QRect(columns[j].from, rows[i].from, columns[j].to - columns[j].from,
                                          rows[i].to - rows[i].from),
                                    qPremultiply(c.rgba()));
            }
        return;
    }
    for (int i = 0; i < nr; ++i) {
        if (nc > 1 && across <= 4 && rows[i].to - rows[i].from > 8) {
            // A tall thin bar: one row of its few pixels, repeated down, so each row is one span.
            QImage pattern(across, 1, QImage::Format_ARGB32_Premultiplied);
            auto* line = reinterpret_cast<QRgb*>(pattern.scanLine(0));
            for (int j = 0; j < nc; ++j) {
                QColor c = color;
                c.setAlphaF(color.alphaF() * float(rows[i].coverage * columns[j].coverage));
                std::fill(line + columns[j].from - columns[0].from, line + columns[j].to - columns[0].from,
                          qPremultiply(c.rgba()));
            }
            QBrush brush(pattern);
            brush.setTransform(QTransform::fromTranslate(columns[0].from, 0));
            p->fillRect(QRect(columns[0].from, rows[i].from, across, rows[i].to - rows[i].from), brush);
            continue;
        }
        for (int j = 0; j < nc; ++j) {
            QColor c = color;
            c.setAlphaF(color.alphaF() * float(rows[i].coverage * columns[j].coverage));
            p->fillRect(QRect(columns[j].from, rows[i].from, columns[j].to - columns[j].from, rows[i].to - rows[i].from),
                        c);
        }
    }
}

// Fills the ring between `outer` and `inner` (inside it) with `color`: what a mitred pen strokes
// along the rectangle halfway between. Drawn as four bars: a turned ring path costs the
// rasterizer its whole area, four bars only their own.
void fillRing(QPainter* p, const QRectF& outer, const QRectF& inner, const QColor& color)
{
    const QRectF bars[4] = {QRectF(outer.left(), outer.top(), outer.width(), inner.top() - outer.top()),
                            QRectF(outer.left(), inner.bottom(), outer.width(), outer.bottom() - inner.bottom()),
                            QRectF(outer.left(), inner.top(), inner.left() - outer.left(), inner.height()),
                            QRectF(inner.right(), inner.top(), outer.right() - inner.right(), inner.height())};
    const QTransform toDevice = p->deviceTransform();
    p->save();
    if (toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0) {
        p->setWorldTransform(p->worldTransform() * toDevice.inverted(), false);
        for (const QRectF& bar : bars)
            if (bar.width() > 0 && bar.height() > 0) fillDevicePixels(p, toDevice.mapRect(bar), color);
    } else {
        p->setPen(Qt::NoPen);
        p->setBrush(color);
        for (const QRectF& bar : bars) {
            if (!(bar.width() > 0) || !(bar.height() > 0)) continue;
            const QPointF corners[4] = {bar.topLeft(), bar.topRight(), bar.bottomRight(), bar.bottomLeft()};
            p->drawConvexPolygon(corners, 4);
        }
    }
    p->restore();
}

// A sprocket band of a film strip in `box` (stock with its holes punched) as a premultiplied
// layer `scale` pixels per point, to draw over `band`. Kept: a turned strip is drawn the same on
// every rendering.
struct FilmBands {
    QMutex mutex;
    std::list<std::pair<QString, QImage>> kept; // newest first
    static FilmBands& shared()
    {
        static FilmBands instance;
        return instance;
    }
};

QImage filmBand(const QRectF& box, bool vertical, qreal t, const QRectF& band, qreal scale)
{
    const QSize px(std::max(1, qCeil(band.width() * scale)), std::max(1, qCeil(band.height() * scale)));
    if (px.width() > 16384 || px.height() > 16384 || !band.isValid()) return {};
    QMutex& mutex = FilmBands::shared().mutex;
    auto& kept = FilmBands::shared().kept;
    const QString key = QStringLiteral("%1 %2 %3 %4 %5 %6 %7 %8 %9")
                            .arg(box.width(), 0, 'g', 17)
                            .arg(box.height(), 0, 'g', 17)
                            .arg(vertical)
                            .arg(t, 0, 'g', 17)
                            .arg(band.left() - box.left(), 0, 'g', 17)
                            .arg(band.top() - box.top(), 0, 'g', 17)
                            .arg(band.width(), 0, 'g', 17)
                            .arg(band.height(), 0, 'g', 17)
                            .arg(scale, 0, 'g', 17);
    {
        QMutexLocker lock(&mutex);
        for (auto it = kept.begin(); it != kept.end(); ++it)
            if (it->first == key) {
                kept.splice(kept.begin(), kept, it);
                return kept.front().second;
            }
    }
    QImage layer(px, QImage::Format_ARGB32_Premultiplied);
    if (layer.isNull()) return {};
    layer.fill(Qt::transparent);
    {
        QPainter q(&layer);
        q.setRenderHint(QPainter::Antialiasing);
        q.scale(px.width() / band.width(), px.height() / band.height());
        q.translate(-band.topLeft());
        q.fillPath(FilmStrip::punched(box, vertical, t), FilmStrip::stockColor());
    }
    QMutexLocker lock(&mutex);
    kept.emplace_front(key, layer);
    if (kept.size() > 32) kept.pop_back();
    return layer;
}

using Content = std::function<void(const QRectF& window)>;

void drawFramedBox(QPainter* p, const QRectF& box, FrameStyle style, const FrameInsets& in, bool vertical,
                   const QString& caption, const Content& content, const QRegion& hidden = {})
{
    const qreal u = std::sqrt(box.width() * box.height());
    const QRectF window = box.adjusted(in.left, in.top, -in.right, -in.bottom);
    // Large text is slow to set: its rendering starts on another thread while the frame is drawn.
    const std::optional<TextLine> printed = frameCaption(p, style, box, window, in, caption);
    if (printed) TextImages::prefetch(p, printed->font, printed->color, printed->rect, printed->align, printed->text);
    std::optional<TapeStrip::Caption> taped;
    if (style == FrameStyle::tape && !caption.isEmpty()) {
        taped = TapeStrip::caption(p, box, caption);
        p->save();
        p->setTransform(taped->toBox, true);
        forTapeLines(*taped, [&](const QRectF& r, const QString& text) {
            TextImages::prefetch(p, taped->layout.font, tapeInk, r, tapeLineFlags, text);
        });
        p->restore();
    }
    const QPointF labelCorner(box.left() + 0.03 * u, box.bottom() - 0.03 * u);
    const qreal labelWidth = box.width() - 0.06 * u - 2 * PaperLabel::metrics(u).horizontalPadding;
    if (style == FrameStyle::bare) PaperLabel::prefetch(p, caption, u, labelCorner, labelWidth);

    switch (style) {
    case FrameStyle::gallery:
        drawPaper(p, box, QColor::fromRgbF(0.985f, 0.985f, 0.985f), 0.26, std::max(0.03 * u, 3.0),
                  std::max(0.014 * u, 1.5), hidden);
        break;
    case FrameStyle::instant:
        drawPaper(p, box, QColor::fromRgbF(0.985f, 0.975f, 0.955f), 0.24, std::max(0.028 * u, 3.0),
                  std::max(0.014 * u, 1.5), hidden);
        break;
    case FrameStyle::film: {
        const qreal t = vertical ? in.left : in.top;
        const qreal radius = std::max(0.025 * u, 3.0);
        const qreal offset = std::max(0.012 * u, 1.5);
        QPainterPath stock;
        stock.addRoundedRect(box, 0.08 * t, 0.08 * t);
        // The holes show what lies behind the strip, never its own shadow. The shadow is not drawn
        // under the stock's inside, which holds every hole, so the stock with its holes can be
        // painted straight on; only when the holes come too near the edge does a layer punch them.
        const QRectF inside = box.adjusted(0.08 * t, 0.08 * t, -0.08 * t, -0.08 * t);
        const QRegion interior = Shadow::inside(inside, p->deviceTransform(), 1.0);
        const QList<QRectF> holes = FilmStrip::holeRects(box.size(), vertical, t);
        bool direct = !holes.isEmpty();
        for (const QRectF& hole : holes) {
            const QRect mapped = p->deviceTransform().mapRect(hole.translated(box.topLeft())).toAlignedRect();
            if (direct && !QRegion(mapped.adjusted(-1, -1, 1, 1)).subtracted(interior).isEmpty()) direct = false;
        }
        if (direct) {
            const QTransform toDevice = p->deviceTransform();
            const bool upright = toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0;
            // Upright, the shadow of the plain box: its corners round by a tenth of the blur,
            // which the blur hides, and a box's shadow is made exactly and fast.
            QPainterPath plain;
            plain.addRect(box);
            Shadow::draw(p, upright ? plain : stock, radius, {0, offset}, 0.3, inside);
            p->save();
            p->setRenderHint(QPainter::Antialiasing);
            if (upright) {
                // A path full of holes costs the rasterizer its whole area: punch only the two
                // sprocket bands, cut from the plain middle along whole device pixels, and fill
                // the middle as pixels, less what the photos cover.
                const QRectF d = toDevice.mapRect(box);
                const qreal across = t * (vertical ? toDevice.m11() : toDevice.m22());
                const int from = qRound((vertical ? d.left() : d.top()) + across);
                const int to = qRound((vertical ? d.right() : d.bottom()) - across);
                const QRect outer = d.toAlignedRect();
                const QPoint firstEnd = vertical ? QPoint(from - 1, outer.bottom()) : QPoint(outer.right(), from - 1);
                const QPoint secondStart = vertical ? QPoint(to, outer.top()) : QPoint(outer.left(), to);
                const QRect bands[2] = {QRect(outer.topLeft(), firstEnd), QRect(secondStart, outer.bottomRight())};
                const QTransform world = p->worldTransform();
                const QTransform toPixels = world * toDevice.inverted();
                const QTransform fromDevice = toDevice.inverted();
                for (const QRect& band : bands) {
                    if (band.isEmpty()) continue;
                    // The rasterizer walks a path's whole height whatever the clip: each band
                    // gets a path of its own part of the strip.
                    const QRectF local = fromDevice.mapRect(QRectF(band));
                    QPainterPath part;
                    part.addRect(local);
                    QPainterPath edge;
                    edge.addRoundedRect(box, 0.08 * t, 0.08 * t);
                    part = edge.intersected(part);
                    part.setFillRule(Qt::OddEvenFill);
                    for (const QRectF& hole : holes)
                        if (local.contains(hole.translated(box.topLeft()).center()))
                            part.addRoundedRect(hole.translated(box.topLeft()), 0.066 * t, 0.066 * t);
                    p->fillPath(part, FilmStrip::stockColor());
                }
                if (to > from) {
                    p->setWorldTransform(toPixels);
                    // The partly covered pixels along the long edges, then the whole ones.
                    const qreal lo = vertical ? d.top() : d.left(), hi = vertical ? d.bottom() : d.right();
                    const int inLo = qCeil(lo), inHi = qFloor(hi);
                    auto span = [&](qreal a, qreal b) {
                        return vertical ? QRectF(from, a, to - from, b - a) : QRectF(a, from, b - a, to - from);
                    };
                    if (inLo > lo) fillDevicePixels(p, span(lo, std::min<qreal>(inLo, hi)), FilmStrip::stockColor());
                    if (hi > inHi && inHi >= inLo) fillDevicePixels(p, span(inHi, hi), FilmStrip::stockColor());
                    if (inHi > inLo)
                        for (const QRect& r : QRegion(span(inLo, inHi).toRect()).subtracted(hidden))
                            p->fillRect(r, FilmStrip::stockColor());
                }
            } else {
                // Turned, a path full of holes costs the rasterizer its whole area: fill the plain
                // middle straight on and punch the two sprocket bands in small upright layers.
                // They overlap the middle where both are stock, so no seam shows.
                const QRectF middle = vertical ? box.adjusted(0.8 * t, 0, -0.8 * t, 0) : box.adjusted(0, 0.8 * t, 0, -0.8 * t);
                if (middle.isValid()) p->fillRect(middle, FilmStrip::stockColor());
                const QRectF bands[2] = {vertical ? QRectF(box.left(), box.top(), t, box.height())
                                                  : QRectF(box.left(), box.top(), box.width(), t),
                                         vertical ? QRectF(box.right() - t, box.top(), t, box.height())
                                                  : QRectF(box.left(), box.bottom() - t, box.width(), t)};
                const qreal scale = std::min<qreal>(deviceScale(p), 16);
                for (const QRectF& band : bands) {
                    const QImage layer = filmBand(box, vertical, t, band, scale);
                    if (layer.isNull()) continue;
                    p->setRenderHint(QPainter::SmoothPixmapTransform);
                    p->drawImage(band, layer);
                }
            }
            p->restore();
        } else {
            const qreal reach = 1.5 * radius + 2;
            Layers::draw(p, box.adjusted(-reach, -reach, reach, reach + offset), [&](QPainter* q) {
                Shadow::draw(q, stock, radius, {0, offset}, 0.3);
                FilmStrip::paint(q, box, vertical, t);
            });
        }
        break;
    }
    case FrameStyle::bare:
        break;
    case FrameStyle::tape:
        drawPaper(p, box, Qt::white, 0.22, std::max(0.022 * u, 2.5), std::max(0.01 * u, 1.0), hidden);
        break;
    }

    content(window);

    switch (style) {
    case FrameStyle::gallery: {
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        const QColor edge = QColor::fromRgbF(0, 0, 0, 0.07f);
        // Bars, turned or not: a stroked rectangle is a ring path, which costs the rasterizer
        // the whole area inside it.
        fillRing(p, box, box.adjusted(0.5, 0.5, -0.5, -0.5), edge);
        // The mat's cut edge: a fine bevel line just outside the photo window.
        const qreal line = std::max(0.0025 * u, 0.5);
        fillRing(p, window.adjusted(-line, -line, line, line), window, QColor::fromRgbF(0, 0, 0, 0.14f));
        p->restore();
        if (printed) drawLine(p, *printed);
        break;
    }
    case FrameStyle::instant:
        if (printed) drawLine(p, *printed);
        break;
    case FrameStyle::film:
        if (!caption.isEmpty()) drawFilmPrint(p, box, window, vertical, vertical ? in.left : in.top, caption);
        break;
    case FrameStyle::bare:
        if (!caption.isEmpty()) {
            PaperLabel::draw(p, caption, u, labelCorner, labelWidth);
        }
        break;
    case FrameStyle::tape:
        drawTape(p, box, taped);
        break;
    }
}

QRectF toQ(const Rect& r) { return QRectF(r.x, r.y, r.width, r.height); }

// Where a tile of a shared frame sits: its rectangle centred on the origin of the transform that
// places it in the composition.
QTransform tilePlace(const PieceGeometry& g, const PlacedTile& tile)
{
    const QRectF frame = toQ(tile.frame);
    QTransform local;
    local.translate(g.insets.left + frame.center().x(), g.insets.top + frame.center().y());
    local.rotate(std::isfinite(tile.rotation) ? tile.rotation : 0.0);
    return local;
}

QRectF centred(const QSizeF& size) { return QRectF(-size.width() / 2, -size.height() / 2, size.width(), size.height()); }

qreal bareRadius(const QSizeF& size) { return 0.035 * std::sqrt(size.width() * size.height()); }

// The framed arrangement with its top-left corner at the origin.
void drawComposition(QPainter* p, const PieceGeometry& g, const QList<Photo>& shown, const QString& caption,
                     const Piece& piece)
{
    const bool bare = g.style == FrameStyle::bare;
    const bool onFrame = g.style == FrameStyle::film || g.style == FrameStyle::tape;
    if (g.perTile) {
        struct Tile {
            const Photo* photo;
            QRectF box;         // centred on the origin of `local`
            QTransform local;   // into the composition's coordinates
            FrameInsets insets;
            qreal radius;
            QRectF window() const { return box.adjusted(insets.left, insets.top, -insets.right, -insets.bottom); }
        };
        std::vector<Tile> tiles;
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= shown.size()) continue;
            const Photo& photo = shown.at(tile.index);
            const QRectF frame = toQ(tile.frame);
            QTransform local;
            local.translate(frame.center().x(), frame.center().y());
            local.rotate(std::isfinite(tile.rotation) ? tile.rotation : 0.0);
            tiles.push_back({&photo, QRectF(-frame.width() / 2, -frame.height() / 2, frame.width(), frame.height()),
                             local,
                             PieceGeometry::tileInsets(g.style, photo.aspect(), piece.vertical,
                                                       {frame.width(), frame.height()}),
                             bare ? bareRadius(frame.size()) : 0.0});
        }
        // Tiles that overlap (a stack) hide most of those beneath: each tile is clipped to what
        // the opaque parts of the tiles above leave showing, which saves drawing it whole.
        const QTransform toDevice = p->deviceTransform();
        std::vector<QRegion> hidden(tiles.size());
        bool overlap = false;
        for (size_t i = 0; i < tiles.size() && !overlap; ++i)
            for (size_t j = i + 1; j < tiles.size() && !overlap; ++j)
                overlap = tiles[i].local.mapRect(tiles[i].box).intersects(tiles[j].local.mapRect(tiles[j].box));
        if (overlap) {
            QRegion above;
            for (size_t i = tiles.size(); i-- > 0;) {
                hidden[i] = above;
                const Tile& t = tiles[i];
                const QTransform device = t.local * toDevice;
                if (g.style == FrameStyle::gallery || g.style == FrameStyle::instant || g.style == FrameStyle::tape) {
                    above += Shadow::inside(t.box, device, 1.0);
                } else {
                    // Film and bare tiles are opaque only where the photo is (film holes show
                    // through); the photo only when it is there and has no alpha.
                    const QRectF window = t.window();
                    if (opaquePhoto(*t.photo, window, std::sqrt(std::abs(device.determinant()))))
                        above += Shadow::inside(window.adjusted(t.radius, t.radius, -t.radius, -t.radius), device, 1.0);
                }
            }
        }
        // The photos scaled to their tiles are made on another thread while this one draws.
        QList<ScaledImages::Request> scalings;
        for (const Tile& t : tiles) {
            const QRectF window = t.window();
            const QTransform device = t.local * toDevice;
            const qreal scale = std::sqrt(std::abs(device.determinant()));
            const std::optional<QImage> image = tileImage(*t.photo, window, scale);
            if (!image) continue;
            if (const std::optional<ScaledImages::Request> scaling = fillScaling(*image, window, device))
                scalings.append(*scaling);
        }
        ScaledImages::shared().prefetch(scalings);
        for (size_t i = 0; i < tiles.size(); ++i) {
            const Tile& t = tiles[i];
            p->save();
            clipOut(p, hidden[i]);
            p->setWorldTransform(t.local, true);
            const Photo& photo = *t.photo;
            const QRectF window = t.window();
            const QRegion covered = opaquePhoto(photo, window, deviceScale(p))
                ? Shadow::inside(window.adjusted(t.radius, t.radius, -t.radius, -t.radius), p->deviceTransform(), 1.0)
                : QRegion();
            // Film and tape print the piece's caption on the top tile's frame; instant tiles
            // carry their photos' own.
            const QString tileCaption = g.style == FrameStyle::instant ? photo.caption
                : onFrame && i + 1 == tiles.size()                     ? caption
                                                                       : QString();
            drawFramedBox(p, t.box, g.style, t.insets, piece.vertical, tileCaption,
                          [&](const QRectF& w) { drawPhotoTile(p, w, photo, t.radius, false, {}); }, covered);
            p->restore();
        }
        if (!caption.isEmpty() && !onFrame) {
            const qreal u = std::sqrt(g.framedSize.width * g.framedSize.height);
            PaperLabel::draw(p, caption, u, QPointF(0, g.framedSize.height + 0.02 * u),
                             g.framedSize.width - 2 * PaperLabel::metrics(u).horizontalPadding);
        }
        return;
    }

    const QRectF box(0, 0, g.framedSize.width, g.framedSize.height);
    // The photos cover most of the window; the paper beneath them need not be filled.
    QRegion covered;
    // The photos scaled to their tiles are made on another thread while this one draws the frame.
    QList<ScaledImages::Request> scalings;
    for (const PlacedTile& tile : g.arrangement.tiles) {
        if (tile.index < 0 || tile.index >= shown.size()) continue;
        const QTransform device = tilePlace(g, tile) * p->deviceTransform();
        const QRectF r = centred(toQ(tile.frame).size());
        const qreal scale = std::sqrt(std::abs(device.determinant()));
        const std::optional<QImage> image = tileImage(shown.at(tile.index), r, scale);
        if (!image || image->isNull()) continue;
        if (const std::optional<ScaledImages::Request> scaling = fillScaling(*image, r, device))
            scalings.append(*scaling);
        if (!bare && !image->hasAlphaChannel() && r.isValid()) covered += Shadow::inside(r, device, 1.0);
    }
    ScaledImages::shared().prefetch(scalings);
    drawFramedBox(p, box, g.style, g.insets, piece.vertical, caption, [&](const QRectF&) {
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= shown.size()) continue;
            const Photo& photo = shown.at(tile.index);
            const QSizeF size = toQ(tile.frame).size();
            const QString tileCaption = piece.layout == CollageLayout::single ? QString() : photo.caption;
            p->save();
            p->setWorldTransform(tilePlace(g, tile), true);
            drawPhotoTile(p, centred(size), photo, bare ? bareRadius(size) : 0.0, bare, tileCaption);
            p->restore();
        }
    }, covered);
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

void clearCaches()
{
    ScaledImages::shared().clear();
    Shadow::clearMasks();
    TextImages::clear();
    QMutexLocker lock(&FilmBands::shared().mutex);
    FilmBands::shared().kept.clear();
}

namespace {
QImage renderHere(const PieceView& view, qreal devicePixelRatio)
{
    const qreal dpr = std::isfinite(devicePixelRatio) && devicePixelRatio > 0 ? devicePixelRatio : 1.0;
    const Prepared prepared = prepare(view);
    if (prepared.canvas.isEmpty()) return {};
    const qreal w = std::ceil(prepared.canvas.width() * dpr - 1e-6);
    const qreal h = std::ceil(prepared.canvas.height() * dpr - 1e-6);
    if (!(w >= 1 && h >= 1 && w <= kMaxSide && h <= kMaxSide)) return {};
    QImage image = PixelBuffers::image(QSize(static_cast<int>(w), static_cast<int>(h)));
    if (image.isNull()) return {};
    // Clear the canvas except where a paper frame or bare photos are about to cover it opaquely
    // (a column's canvas is millions of pixels; its paper covers most of them).
    QRegion paper;
    const PieceGeometry& g = prepared.geometry;
    QTransform toDevice;
    toDevice.scale(w / prepared.canvas.width(), h / prepared.canvas.height());
    toDevice.translate(prepared.canvas.width() / 2, prepared.canvas.height() / 2);
    toDevice.rotate(view.piece.tilt);
    toDevice.translate(-g.framedSize.width / 2, -g.framedSize.height / 2);
    if (!prepared.empty && !g.perTile
        && (g.style == FrameStyle::gallery || g.style == FrameStyle::instant || g.style == FrameStyle::tape)) {
        paper = Shadow::inside(QRectF(0, 0, g.framedSize.width, g.framedSize.height), toDevice, 1.0);
    } else if (!prepared.empty && !g.perTile && g.style == FrameStyle::bare) {
        // Bare photos cover their insides opaquely, as their shadows leave them.
        for (const PlacedTile& tile : g.arrangement.tiles) {
            if (tile.index < 0 || tile.index >= prepared.shown.size()) continue;
            const QTransform device = tilePlace(g, tile) * toDevice;
            const QSizeF size = toQ(tile.frame).size();
            const qreal in = bareRadius(size);
            if (opaquePhoto(prepared.shown.at(tile.index), centred(size), std::sqrt(std::abs(device.determinant()))))
                paper += Shadow::inside(centred(size).adjusted(in, in, -in, -in), device, 1.0);
        }
    }
    if (paper.isEmpty()) {
        image.fill(Qt::transparent);
    } else {
        for (const QRect& r : QRegion(image.rect()).subtracted(paper))
            for (int y = r.top(); y <= r.bottom(); ++y) {
                auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
                std::fill(line + r.left(), line + r.right() + 1, 0u);
            }
    }
    {
        QPainter p(&image);
        p.scale(w / prepared.canvas.width(), h / prepared.canvas.height());
        drawPrepared(&p, view, prepared);
    }
    image.setDevicePixelRatio(dpr);
    return image;
}
} // namespace

QImage render(const PieceView& view, qreal devicePixelRatio)
{
    return onPoolThread([&] { return renderHere(view, devicePixelRatio); });
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
