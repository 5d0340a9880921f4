#include "decorations.h"

#include "shadow.h"
#include "text_images.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <QPaintDevice>
#include <QTextLayout>
#include <QtMath>

#include <algorithm>
#include <cmath>

namespace velora {

namespace {

qreal deviceScale(const QPainter* painter)
{
    const qreal s = std::sqrt(std::abs(painter->deviceTransform().determinant()));
    return std::isfinite(s) && s > 0 ? s : 1.0;
}

} // namespace

void Layers::draw(QPainter* painter, const QRectF& rect, const std::function<void(QPainter*)>& paint)
{
    if (!rect.isValid()) return;
    const qreal scale = std::min<qreal>(deviceScale(painter), 16);
    const QSize px(std::max(1, qCeil(rect.width() * scale)), std::max(1, qCeil(rect.height() * scale)));
    if (px.width() > 16384 || px.height() > 16384) return;
    QImage layer(px, QImage::Format_ARGB32_Premultiplied);
    layer.fill(Qt::transparent);
    {
        QPainter p(&layer);
        p.setRenderHint(QPainter::Antialiasing);
        p.setRenderHint(QPainter::TextAntialiasing);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.scale(px.width() / rect.width(), px.height() / rect.height());
        p.translate(-rect.topLeft());
        paint(&p);
    }
    painter->save();
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    painter->drawImage(rect, layer);
    painter->restore();
}

// --- fonts ----------------------------------------------------------------------------------

QString Fonts::sansFamily()
{
    static const QString family = [] {
        const QStringList installed = QFontDatabase::families();
        for (const char* candidate : {"DejaVu Sans", "Noto Sans", "Liberation Sans", "Nimbus Sans"})
            if (installed.contains(QLatin1String(candidate))) return QString::fromLatin1(candidate);
        return QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    }();
    return family;
}

QFont Fonts::font(const QPainter* painter, const QString& family, qreal points, int weight, bool italic)
{
    QFont f(family);
    // Drawing units are points; a device's logical DPI would otherwise enlarge the text.
    const int dpi = painter && painter->device() ? painter->device()->logicalDpiY() : 72;
    f.setPointSizeF(std::max<qreal>(points, 0.5) * 72.0 / std::max(dpi, 1));
    f.setWeight(static_cast<QFont::Weight>(weight));
    f.setItalic(italic);
    f.setHintingPreference(QFont::PreferNoHinting);
    f.setStyleStrategy(QFont::PreferAntialias);
    return f;
}

// --- handwriting ----------------------------------------------------------------------------

namespace {
int& probes()
{
    static int count = 0;
    return count;
}
} // namespace

const std::optional<QString>& Handwriting::fontName()
{
    static const std::optional<QString> name = []() -> std::optional<QString> {
        ++probes();
        // Ask for each family at size 12 and accept it only when the font that comes back is
        // that family: a listed family may still resolve to a substitute.
        for (const char* candidate : {"Bradley Hand", "Noteworthy", "Chalkboard SE"}) {
            const QString family = QString::fromLatin1(candidate);
            QFont font(family, 12);
            font.setStyleStrategy(QFont::NoFontMerging);
            if (QFontInfo(font).family() == family) return family;
        }
        return std::nullopt;
    }();
    return name;
}

int Handwriting::probeCount() { return probes(); }

QFont Handwriting::font(const QPainter* painter, qreal points)
{
    if (const auto& name = fontName()) return Fonts::font(painter, *name, points);
    return Fonts::font(painter, Fonts::sansFamily(), points, QFont::Normal, true);
}

// --- tape -----------------------------------------------------------------------------------

QPainterPath TornTape::path(const QRectF& r)
{
    const qreal h = r.height();
    const qreal j = 0.09 * h;
    QPainterPath path;
    path.moveTo(r.left() + j, r.top());
    path.lineTo(r.right() - j, r.top());
    for (int k = 0; k <= 5; ++k) path.lineTo(k % 2 == 0 ? r.right() - j : r.right(), r.top() + h * k / 5.0);
    path.lineTo(r.left() + j, r.bottom());
    for (int k = 5; k >= 0; --k) path.lineTo(k % 2 == 1 ? r.left() : r.left() + j, r.top() + h * k / 5.0);
    path.closeSubpath();
    return path;
}

void TapeStrip::draw(QPainter* painter, const QRectF& rect)
{
    const QPainterPath shape = TornTape::path(rect);
    Shadow::draw(painter, shape, 1, {0, 0.5}, 0.12);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(shape, QColor::fromRgbF(0.93f, 0.88f, 0.74f, 0.78f));
    painter->strokePath(shape, QPen(QColor::fromRgbF(1, 1, 1, 0.25f), 0.5));
    painter->restore();
}

qreal TapeStrip::length(const QRectF& box)
{
    return 0.3 * std::min(box.width(), box.height()) + 0.04 * std::sqrt(box.width() * box.height());
}

qreal TapeStrip::inset(const QRectF& box)
{
    return std::min(std::max(0.19 * box.width(), 0.42 * length(box)), 0.5 * box.width());
}

TapeStrip::Caption TapeStrip::caption(const QPainter* painter, const QRectF& box, const QString& text)
{
    const qreal plain = length(box);
    const qreal thickness = 0.3 * plain;
    const qreal pad = 0.08 * plain; // clear of the torn ends
    const qreal edge = 0.1 * thickness;
    const qreal in = inset(box);
    const qreal points = std::max(0.5 * thickness, 9.0);
    const auto fontAt = [painter](qreal size) { return Handwriting::font(painter, size); };
    const QFontMetricsF fm(fontAt(points), painter ? painter->device() : nullptr);
    // As far as the other strip, less a gap; up to three lines at the starting size.
    const QSizeF room(std::max(plain, box.width() - 2 * in - 0.1 * plain) - 2 * pad,
                      std::max(thickness - 2 * edge, 2 * fm.lineSpacing() + fm.height()));
    Caption c;
    c.layout = CaptionFit::fit(painter, text, fontAt, points, std::max(0.6 * points, 7.0), room, 3);
    const qreal length = std::max(plain, c.layout.size.width() + 2 * pad);
    const qreal thick = std::max(thickness, c.layout.size.height() + 2 * edge);
    c.strip = QRectF(-length / 2, -thick / 2, length, thick);
    c.text = QRectF(-c.layout.size.width() / 2, -c.layout.size.height() / 2, c.layout.size.width(),
                    c.layout.size.height());
    // The left end and top edge stay where the plain strip has them; a longer strip turns less, so
    // its far end lifts no further than the plain one's and stays on the canvas.
    const qreal lift = std::min(1.0, plain * std::sin(qDegreesToRadians(9.0)) / length);
    c.toBox.translate(box.left() + in - plain / 2 + length / 2, box.top() + 0.1 * plain - thickness / 2 + thick / 2);
    c.toBox.rotate(-qRadiansToDegrees(std::asin(lift)));
    return c;
}

// --- captions -------------------------------------------------------------------------------

namespace {
// `text` in lines no wider than `width`; `anywhere` also breaks words longer than a line. The
// widest line's width goes to `widest`: above `width` only when a word would not fit.
QStringList wrapped(const QString& text, const QFont& font, QPaintDevice* device, qreal width, bool anywhere,
                    qreal* widest)
{
    QTextLayout layout(text, font, device);
    QTextOption option;
    option.setWrapMode(anywhere ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::WordWrap);
    layout.setTextOption(option);
    layout.beginLayout();
    QStringList lines;
    *widest = 0;
    for (;;) {
        QTextLine line = layout.createLine();
        if (!line.isValid()) break;
        line.setLineWidth(width);
        lines.append(text.mid(line.textStart(), line.textLength()).trimmed());
        *widest = std::max(*widest, line.naturalTextWidth());
    }
    layout.endLayout();
    return lines;
}
} // namespace

CaptionFit::Layout CaptionFit::fit(const QPainter* painter, const QString& text,
                                   const std::function<QFont(qreal)>& fontAt, qreal points, qreal floorPoints,
                                   QSizeF room, int maxLines)
{
    Layout out;
    const QString simple = text.simplified();
    if (!(points > 0) || !std::isfinite(points)) return out;
    floorPoints = std::isfinite(floorPoints) ? std::clamp(floorPoints, 0.5, points) : points;
    out.font = fontAt(points);
    out.points = points;
    if (simple.isEmpty() || !(room.width() > 0) || !(room.height() > 0)) return out;
    QPaintDevice* device = painter ? painter->device() : nullptr;
    for (qreal size = points;; size = std::max(floorPoints, size * 0.93)) {
        const QFont font = fontAt(size);
        const QFontMetricsF fm(font, device);
        const qreal rows = std::floor((room.height() - fm.height()) / fm.lineSpacing()) + 1;
        const int allowed = std::clamp(std::isfinite(rows) ? int(rows) : 1, 1, std::max(maxLines, 1));
        qreal widest = 0;
        QStringList lines = wrapped(simple, font, device, room.width(), true, &widest);
        const bool smallest = size <= floorPoints;
        if (lines.size() > allowed && !smallest) continue;
        if (lines.size() > allowed) {
            // Nothing fits even at the floor: as much as the lines hold, the end elided.
            const QString rest = lines.mid(allowed - 1).join(QLatin1Char(' '));
            lines = lines.mid(0, allowed - 1);
            lines.append(fm.elidedText(rest, Qt::ElideRight, room.width()));
            out.elided = true;
            widest = 0;
            for (const QString& line : lines) widest = std::max(widest, fm.horizontalAdvance(line));
        } else if (lines.size() > 1) {
            // The narrowest width that keeps the count, breaking only between words.
            qreal low = widest / lines.size(), high = widest;
            for (int i = 0; i < 12 && high - low > 0.5; ++i) {
                const qreal middle = (low + high) / 2;
                qreal w = 0;
                const QStringList tried = wrapped(simple, font, device, middle, false, &w);
                if (tried.size() <= lines.size() && w <= middle) {
                    high = middle;
                    lines = tried;
                    widest = w;
                } else {
                    low = middle;
                }
            }
        }
        out.font = font;
        out.points = size;
        out.lines = lines;
        out.lineSpacing = fm.lineSpacing();
        out.ascent = fm.ascent();
        out.size = QSizeF(std::min(widest, room.width()), (lines.size() - 1) * fm.lineSpacing() + fm.height());
        return out;
    }
}

// --- film -----------------------------------------------------------------------------------

FilmStrip::Holes FilmStrip::holes(qreal length, qreal t)
{
    Holes h;
    h.pitch = 0.68 * t;
    h.length = 0.3 * t;
    h.breadth = 0.32 * t;
    h.radius = 0.22 * h.length;
    const qreal fit = h.pitch > 0 ? std::floor((length - h.length) / h.pitch) : 1;
    h.count = std::isfinite(fit) ? static_cast<int>(std::clamp<qreal>(fit, 1, 100000)) : 1;
    h.start = (length - h.count * h.pitch) * 0.5 + (h.pitch - h.length) * 0.5;
    return h;
}

QList<QRectF> FilmStrip::holeRects(QSizeF size, bool vertical, qreal t)
{
    const qreal length = vertical ? size.height() : size.width();
    const Holes h = holes(length, t);
    QList<QRectF> out;
    if (!(t > 0) || h.count > 4096) return out;
    out.reserve(2 * h.count);
    for (int i = 0; i < h.count; ++i) {
        const qreal along = h.start + i * h.pitch;
        if (vertical) {
            out.append(QRectF(0.6 * t - h.breadth / 2, along, h.breadth, h.length));
            out.append(QRectF(size.width() - 0.6 * t - h.breadth / 2, along, h.breadth, h.length));
        } else {
            out.append(QRectF(along, 0.6 * t - h.breadth / 2, h.length, h.breadth));
            out.append(QRectF(along, size.height() - 0.6 * t - h.breadth / 2, h.length, h.breadth));
        }
    }
    return out;
}

QColor FilmStrip::stockColor() { return QColor::fromRgbF(0.085f, 0.075f, 0.07f); }

QPainterPath FilmStrip::punched(const QRectF& box, bool vertical, qreal t)
{
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    path.addRoundedRect(box, 0.08 * t, 0.08 * t);
    const qreal radius = 0.22 * 0.3 * t;
    for (const QRectF& hole : holeRects(box.size(), vertical, t))
        path.addRoundedRect(hole.translated(box.topLeft()), radius, radius);
    return path;
}

void FilmStrip::paint(QPainter* p, const QRectF& box, bool vertical, qreal t)
{
    p->save();
    p->setRenderHint(QPainter::Antialiasing);
    p->setPen(Qt::NoPen);
    p->setBrush(stockColor());
    p->drawRoundedRect(box, 0.08 * t, 0.08 * t);
    // The holes go right through the stock (and its shadow): whatever lies behind shows in them.
    p->setCompositionMode(QPainter::CompositionMode_Clear);
    p->setBrush(Qt::black);
    const qreal radius = 0.22 * 0.3 * t;
    for (const QRectF& hole : holeRects(box.size(), vertical, t))
        p->drawRoundedRect(hole.translated(box.topLeft()), radius, radius);
    p->restore();
}

QImage FilmStrip::render(QSizeF size, bool vertical, qreal t, qreal scale)
{
    if (!(size.width() > 0) || !(size.height() > 0) || !(scale > 0)) return {};
    const QSize px(std::max(1, qCeil(size.width() * scale)), std::max(1, qCeil(size.height() * scale)));
    if (px.width() > 16384 || px.height() > 16384) return {};
    QImage image(px, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.scale(px.width() / size.width(), px.height() / size.height());
    paint(&p, QRectF(QPointF(0, 0), size), vertical, t);
    return image;
}

// --- paper label ----------------------------------------------------------------------------

PaperLabel::Metrics PaperLabel::metrics(qreal unit)
{
    return {std::max(0.034 * unit, 8.0), std::max(0.03 * unit, 6.0), std::max(0.014 * unit, 3.0),
            std::max(0.012 * unit, 3.0)};
}

namespace {
QFont labelFont(const QPainter* painter, qreal unit)
{
    return Fonts::font(painter, Fonts::sansFamily(), PaperLabel::metrics(unit).textSize, QFont::DemiBold);
}
} // namespace

QSizeF PaperLabel::size(const QPainter* painter, const QString& text, qreal unit, qreal maxTextWidth)
{
    const Metrics m = metrics(unit);
    const QFontMetricsF fm(labelFont(painter, unit), painter ? painter->device() : nullptr);
    const qreal textWidth = std::min(fm.horizontalAdvance(text), std::max<qreal>(maxTextWidth, fm.height()));
    return {textWidth + 2 * m.horizontalPadding, fm.height() + 2 * m.verticalPadding};
}

namespace {
// The label's slip, and its text as drawn: font, rectangle, elided text.
struct Label {
    QRectF slip;
    QFont font;
    QRectF textRect;
    QString text;
};

Label labelOf(const QPainter* painter, const QString& text, qreal unit, QPointF bottomLeft, qreal maxTextWidth)
{
    const PaperLabel::Metrics m = PaperLabel::metrics(unit);
    const QFont font = labelFont(painter, unit);
    const QFontMetricsF fm(font, painter->device());
    const QSizeF size = PaperLabel::size(painter, text, unit, maxTextWidth);
    const QRectF rect(bottomLeft.x(), bottomLeft.y() - size.height(), size.width(), size.height());
    const QRectF textRect = rect.adjusted(m.horizontalPadding, m.verticalPadding, -m.horizontalPadding,
                                          -m.verticalPadding);
    return {rect, font, textRect, fm.elidedText(text, Qt::ElideRight, textRect.width() + 0.5)};
}

const QColor labelInk = QColor::fromRgbF(0.2f, 0.2f, 0.2f);
constexpr int labelFlags = Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine;
} // namespace

void PaperLabel::prefetch(const QPainter* painter, const QString& text, qreal unit, QPointF bottomLeft,
                          qreal maxTextWidth)
{
    if (text.isEmpty() || !painter) return;
    const Label label = labelOf(painter, text, unit, bottomLeft, maxTextWidth);
    TextImages::prefetch(painter, label.font, labelInk, label.textRect, labelFlags, label.text);
}

void PaperLabel::draw(QPainter* painter, const QString& text, qreal unit, QPointF bottomLeft, qreal maxTextWidth)
{
    if (text.isEmpty()) return;
    const Metrics m = metrics(unit);
    const Label label = labelOf(painter, text, unit, bottomLeft, maxTextWidth);
    const QRectF& rect = label.slip;
    QPainterPath slip;
    slip.addRoundedRect(rect, m.cornerRadius, m.cornerRadius);
    Shadow::draw(painter, slip, 3, {0, 1}, 0.2);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->fillPath(slip, QColor::fromRgbF(1, 1, 1, 0.94f));
    TextImages::draw(painter, label.font, labelInk, label.textRect, labelFlags, label.text);
    painter->restore();
}

// --- pictograms -----------------------------------------------------------------------------

void Pictogram::photo(QPainter* painter, const QRectF& rect, const QColor& color)
{
    // A landscape frame 5:4, centred in rect.
    qreal w = rect.width();
    qreal h = w * 0.8;
    if (h > rect.height()) {
        h = rect.height();
        w = h * 1.25;
    }
    const QRectF frame(rect.center().x() - w / 2, rect.center().y() - h / 2, w, h);
    const qreal line = std::max<qreal>(0.075 * w, 0.75);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(color, line, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->setBrush(Qt::NoBrush);
    const QRectF inner = frame.adjusted(line / 2, line / 2, -line / 2, -line / 2);
    painter->drawRoundedRect(inner, 0.16 * w, 0.16 * w);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    const qreal sun = 0.13 * w;
    painter->drawEllipse(QPointF(inner.left() + 0.68 * inner.width(), inner.top() + 0.3 * inner.height()), sun, sun);
    QPainterPath hills;
    const qreal base = inner.bottom() - 0.16 * inner.height();
    hills.moveTo(inner.left() + 0.14 * inner.width(), base);
    hills.lineTo(inner.left() + 0.38 * inner.width(), inner.top() + 0.42 * inner.height());
    hills.lineTo(inner.left() + 0.56 * inner.width(), inner.top() + 0.64 * inner.height());
    hills.lineTo(inner.left() + 0.66 * inner.width(), inner.top() + 0.55 * inner.height());
    hills.lineTo(inner.left() + 0.86 * inner.width(), base);
    hills.closeSubpath();
    QPainterPathStroker round;
    round.setWidth(line * 0.6);
    round.setJoinStyle(Qt::RoundJoin);
    painter->drawPath(hills.united(round.createStroke(hills)));
    painter->restore();
}

void Pictogram::photoBadgePlus(QPainter* painter, const QRectF& rect, const QColor& color)
{
    Layers::draw(painter, rect, [&](QPainter* p) {
        p->translate(rect.topLeft());
        const QRectF local(QPointF(0, 0), rect.size());
        photo(p, QRectF(0, 0, local.width() * 0.86, local.height() * 0.86), color);
        const qreal r = 0.24 * std::min(local.width(), local.height());
        const QPointF c(local.right() - r, local.bottom() - r);
        // A gap around the badge, then the badge with its "+" cut out.
        p->setCompositionMode(QPainter::CompositionMode_Clear);
        p->setPen(Qt::NoPen);
        p->setBrush(Qt::black);
        p->drawEllipse(c, r * 1.28, r * 1.28);
        p->setCompositionMode(QPainter::CompositionMode_SourceOver);
        p->setBrush(color);
        p->drawEllipse(c, r, r);
        p->setCompositionMode(QPainter::CompositionMode_Clear);
        p->setPen(QPen(Qt::black, 0.26 * r, Qt::SolidLine, Qt::RoundCap));
        p->drawLine(QPointF(c.x() - 0.5 * r, c.y()), QPointF(c.x() + 0.5 * r, c.y()));
        p->drawLine(QPointF(c.x(), c.y() - 0.5 * r), QPointF(c.x(), c.y() + 0.5 * r));
    });
}

// --- empty piece ----------------------------------------------------------------------------

QSizeF EmptyPieceCard::size(qreal width) { return {width + 32, 0.66 * width + 32}; }

void EmptyPieceCard::draw(QPainter* painter, qreal width)
{
    const QColor secondary = QColor::fromRgbF(0.47f, 0.47f, 0.5f, 0.9f);
    const QRectF card(16, 16, width, 0.66 * width);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    // Stroked inside the edge: the pen runs half its width in.
    QPen pen(secondary, 1.5);
    pen.setDashPattern({6 / 1.5, 5 / 1.5});
    painter->setPen(pen);
    painter->setBrush(Qt::NoBrush);
    painter->drawRoundedRect(card.adjusted(0.75, 0.75, -0.75, -0.75), 14 - 0.75, 14 - 0.75);

    const QFont callout = Fonts::font(painter, Fonts::sansFamily(), 12.5);
    const QFontMetricsF fm(callout, painter->device());
    const qreal symbol = 30;
    const qreal gap = 8;
    const qreal total = symbol + gap + fm.height();
    const qreal top = card.center().y() - total / 2;
    Pictogram::photoBadgePlus(painter, QRectF(card.center().x() - symbol * 0.6, top, symbol * 1.2, symbol), secondary);
    painter->setFont(callout);
    painter->setPen(secondary);
    painter->drawText(QRectF(card.left() + 8, top + symbol + gap, card.width() - 16, fm.height()),
                      Qt::AlignHCenter | Qt::AlignVCenter | Qt::TextSingleLine,
                      fm.elidedText(QCoreApplication::translate("EmptyPieceCard", "No photos yet"), Qt::ElideRight,
                                    card.width() - 16));
    painter->restore();
}

} // namespace velora
