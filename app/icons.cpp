#include "icons.h"

#include <QApplication>
#include <QIconEngine>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPalette>
#include <QPixmap>
#include <QSvgRenderer>

#include <array>

namespace velora {

namespace {

// Theme names to try, in order: the freedesktop name first, then common theme names.
QStringList themeNames(Glyph g)
{
    switch (g) {
    case Glyph::library: return {QStringLiteral("folder-pictures")};
    case Glyph::eye: return {QStringLiteral("view-visible"), QStringLiteral("view-reveal-symbolic")};
    case Glyph::eyeSlash: return {QStringLiteral("view-hidden"), QStringLiteral("view-conceal-symbolic")};
    case Glyph::lock: return {QStringLiteral("object-locked"), QStringLiteral("changes-prevent-symbolic")};
    case Glyph::lockOpen: return {QStringLiteral("object-unlocked"), QStringLiteral("changes-allow-symbolic")};
    case Glyph::plus: return {QStringLiteral("list-add")};
    case Glyph::trash: return {QStringLiteral("edit-delete")};
    case Glyph::forward: return {QStringLiteral("media-skip-forward")};
    case Glyph::duplicate: return {QStringLiteral("edit-copy")};
    case Glyph::dismiss: return {QStringLiteral("window-close")};
    case Glyph::removeCircle: return {QStringLiteral("list-remove")};
    case Glyph::shuffle: return {QStringLiteral("media-playlist-shuffle")};
    case Glyph::rotateRight: return {QStringLiteral("object-rotate-right")};
    default: return {};
    }
}

// Draws a glyph on a 24 × 24 grid.
void draw(QPainter& p, Glyph g, const QColor& ink)
{
    QPen pen(ink, 1.7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    const auto filled = [&](const QPainterPath& path) { p.fillPath(path, ink); };
    const auto dots = [&](std::initializer_list<QPointF> centres, qreal radius) {
        QPainterPath path;
        for (const QPointF c : centres) path.addEllipse(c, radius, radius);
        filled(path);
    };
    switch (g) {
    case Glyph::pieces: {
        p.save();
        p.translate(9.5, 12);
        p.rotate(-10);
        p.drawRoundedRect(QRectF(-6.5, -6, 13, 11), 1.5, 1.5);
        p.restore();
        p.drawRoundedRect(QRectF(11, 8, 10.5, 12), 1.5, 1.5);
        break;
    }
    case Glyph::library:
        p.drawRoundedRect(QRectF(3.5, 7.5, 14, 12), 1.5, 1.5);
        p.drawPolyline(QPolygonF({{6.5, 5}, {20.5, 5}, {20.5, 16}}));
        p.drawPolyline(QPolygonF({{5.5, 17}, {9.5, 12.5}, {12.5, 15.5}, {14, 14}, {16, 16}}));
        break;
    case Glyph::styles: {
        QPainterPath palette;
        palette.moveTo(12, 3.5);
        palette.cubicTo(6.5, 3.5, 3, 7.5, 3, 12);
        palette.cubicTo(3, 17, 7, 20.5, 11, 20.5);
        palette.cubicTo(13, 20.5, 13.2, 18.8, 12.4, 17.6);
        palette.cubicTo(11.5, 16.2, 12.5, 14.8, 14, 14.8);
        palette.lineTo(16.5, 14.8);
        palette.cubicTo(19.5, 14.8, 21, 13, 21, 10.6);
        palette.cubicTo(21, 6.5, 17, 3.5, 12, 3.5);
        p.drawPath(palette);
        dots({QPointF(7.5, 11), QPointF(9.5, 7.3), QPointF(14, 6.8), QPointF(17.2, 9.6)}, 1.4);
        break;
    }
    case Glyph::inspector:
        p.drawRoundedRect(QRectF(3, 4.5, 18, 15), 2.5, 2.5);
        p.drawLine(QPointF(14.5, 4.5), QPointF(14.5, 19.5));
        p.drawLine(QPointF(16.8, 8), QPointF(18.7, 8));
        p.drawLine(QPointF(16.8, 10.8), QPointF(18.7, 10.8));
        break;
    case Glyph::eye:
    case Glyph::eyeSlash: {
        QPainterPath eye;
        eye.moveTo(2.5, 12);
        eye.cubicTo(5.5, 6.5, 18.5, 6.5, 21.5, 12);
        eye.cubicTo(18.5, 17.5, 5.5, 17.5, 2.5, 12);
        p.drawPath(eye);
        QPainterPath pupil;
        pupil.addEllipse(QPointF(12, 12), 2.8, 2.8);
        filled(pupil);
        if (g == Glyph::eyeSlash) p.drawLine(QPointF(4.5, 4.5), QPointF(19.5, 19.5));
        break;
    }
    case Glyph::lock:
    case Glyph::lockOpen: {
        QPainterPath body;
        body.addRoundedRect(QRectF(5, 10.5, 14, 10), 2, 2);
        filled(body);
        QPainterPath shackle;
        if (g == Glyph::lock) {
            shackle.moveTo(8, 10.5);
            shackle.lineTo(8, 7.5);
            shackle.arcTo(QRectF(8, 3.5, 8, 8), 180, -180);
            shackle.lineTo(16, 10.5);
        } else {
            shackle.moveTo(16, 10.5);
            shackle.lineTo(16, 7.5);
            shackle.arcTo(QRectF(16, 3.5, 8, 8), 180, -180);
            shackle.lineTo(24, 9);
        }
        p.drawPath(shackle);
        break;
    }
    case Glyph::plus:
        p.drawLine(QPointF(12, 5), QPointF(12, 19));
        p.drawLine(QPointF(5, 12), QPointF(19, 12));
        break;
    case Glyph::trash:
        p.drawLine(QPointF(4.5, 6.5), QPointF(19.5, 6.5));
        p.drawPolyline(QPolygonF({{9.5, 6.5}, {9.5, 4}, {14.5, 4}, {14.5, 6.5}}));
        p.drawPolyline(QPolygonF({{6.5, 6.5}, {7.5, 20}, {16.5, 20}, {17.5, 6.5}}));
        p.drawLine(QPointF(10.2, 10), QPointF(10.2, 16.5));
        p.drawLine(QPointF(13.8, 10), QPointF(13.8, 16.5));
        break;
    case Glyph::forward: {
        QPainterPath a;
        a.addPolygon(QPolygonF({{4, 6}, {12, 12}, {4, 18}}));
        a.addPolygon(QPolygonF({{12, 6}, {20, 12}, {12, 18}}));
        filled(a);
        break;
    }
    case Glyph::duplicate:
        p.drawRoundedRect(QRectF(8.5, 8.5, 12, 12), 2, 2);
        p.drawPolyline(QPolygonF({{15.5, 5.5}, {15.5, 3.5}, {3.5, 3.5}, {3.5, 15.5}, {5.5, 15.5}}));
        break;
    case Glyph::photo: {
        p.drawRoundedRect(QRectF(3, 5, 18, 14), 2, 2);
        QPainterPath hill;
        hill.moveTo(3.5, 17.5);
        hill.lineTo(9, 11.5);
        hill.lineTo(13, 15.5);
        hill.lineTo(15.5, 13);
        hill.lineTo(20.5, 17.5);
        p.drawPath(hill);
        QPainterPath sun;
        sun.addEllipse(QPointF(16, 9), 1.6, 1.6);
        filled(sun);
        break;
    }
    case Glyph::drop:
        p.drawPolyline(QPolygonF({{8, 9}, {4, 9}, {4, 20}, {20, 20}, {20, 9}, {16, 9}}));
        p.drawLine(QPointF(12, 3), QPointF(12, 14.5));
        p.drawPolyline(QPolygonF({{8.5, 11}, {12, 14.5}, {15.5, 11}}));
        break;
    case Glyph::sliders:
        for (const auto& [y, knob] : std::array<std::pair<double, double>, 3>{{{6, 15}, {12, 8}, {18, 13}}}) {
            p.drawLine(QPointF(3.5, y), QPointF(20.5, y));
            QPainterPath k;
            k.addEllipse(QPointF(knob, y), 2.3, 2.3);
            p.fillPath(k, QApplication::palette().color(QPalette::Base));
            p.drawPath(k);
        }
        break;
    case Glyph::dismiss:
        p.drawLine(QPointF(7, 7), QPointF(17, 17));
        p.drawLine(QPointF(17, 7), QPointF(7, 17));
        break;
    case Glyph::hand: {
        // Four fingers, a thumb and the palm, drawn as one outline.
        QPainterPath hand;
        hand.moveTo(7.5, 13);
        hand.lineTo(7.5, 6.5);
        hand.arcTo(QRectF(7.5, 5, 3, 3), 180, -180);
        hand.lineTo(10.5, 11.5);
        hand.lineTo(10.5, 4.5);
        hand.arcTo(QRectF(10.5, 3, 3, 3), 180, -180);
        hand.lineTo(13.5, 11.5);
        hand.lineTo(13.5, 5.5);
        hand.arcTo(QRectF(13.5, 4, 3, 3), 180, -180);
        hand.lineTo(16.5, 12);
        hand.lineTo(16.5, 8.5);
        hand.arcTo(QRectF(16.5, 7, 3, 3), 180, -180);
        hand.lineTo(19.5, 14.5);
        hand.cubicTo(19.5, 18.5, 17, 21, 13.5, 21);
        hand.cubicTo(10.5, 21, 9, 19.8, 7.5, 17.8);
        hand.lineTo(4.6, 13.8);
        hand.cubicTo(3.8, 12.6, 5.4, 11.2, 6.5, 12.2);
        hand.lineTo(7.5, 13);
        p.drawPath(hand);
        break;
    }
    case Glyph::removeCircle:
    case Glyph::checkCircle: {
        QPainterPath disc;
        disc.addEllipse(QPointF(12, 12), 9.5, 9.5);
        QPainterPathStroker stroker;
        stroker.setWidth(2.2);
        stroker.setCapStyle(Qt::RoundCap);
        stroker.setJoinStyle(Qt::RoundJoin);
        QPainterPath line;
        if (g == Glyph::removeCircle) {
            line.moveTo(7.5, 12);
            line.lineTo(16.5, 12);
        } else {
            line.moveTo(7.6, 12.4);
            line.lineTo(10.6, 15.3);
            line.lineTo(16.4, 8.9);
        }
        filled(disc.subtracted(stroker.createStroke(line)));
        break;
    }
    case Glyph::widthArrows:
        p.drawLine(QPointF(3.5, 12), QPointF(20.5, 12));
        p.drawPolyline(QPolygonF({{7, 8.5}, {3.5, 12}, {7, 15.5}}));
        p.drawPolyline(QPolygonF({{17, 8.5}, {20.5, 12}, {17, 15.5}}));
        break;
    case Glyph::rotateRight: {
        p.drawRoundedRect(QRectF(3.5, 10.5, 10, 10), 1.5, 1.5);
        QPainterPath arc;
        arc.moveTo(9, 6);
        arc.cubicTo(13, 3.5, 18.5, 5, 19.5, 11);
        p.drawPath(arc);
        p.drawPolyline(QPolygonF({{17, 9.5}, {19.5, 12}, {21.8, 9.2}}));
        break;
    }
    case Glyph::dice:
        p.drawRoundedRect(QRectF(4, 4, 16, 16), 3.5, 3.5);
        dots({QPointF(8.3, 8.3), QPointF(15.7, 8.3), QPointF(12, 12), QPointF(8.3, 15.7), QPointF(15.7, 15.7)}, 1.4);
        break;
    case Glyph::level:
        p.drawRoundedRect(QRectF(2.5, 8.5, 19, 7), 2, 2);
        p.drawRoundedRect(QRectF(9, 10.3, 6, 3.4), 1.7, 1.7);
        p.drawLine(QPointF(8, 9), QPointF(8, 15));
        p.drawLine(QPointF(16, 9), QPointF(16, 15));
        break;
    case Glyph::shuffle:
        p.drawPolyline(QPolygonF({{3.5, 7.5}, {7.5, 7.5}, {15, 16.5}, {20, 16.5}}));
        p.drawPolyline(QPolygonF({{3.5, 16.5}, {7.5, 16.5}, {15, 7.5}, {20, 7.5}}));
        p.drawPolyline(QPolygonF({{17.5, 5}, {20, 7.5}, {17.5, 10}}));
        p.drawPolyline(QPolygonF({{17.5, 14}, {20, 16.5}, {17.5, 19}}));
        break;
    case Glyph::artFrame:
        p.drawRect(QRectF(3.5, 3.5, 17, 17));
        p.drawRect(QRectF(7, 7, 10, 10));
        p.drawPolyline(QPolygonF({{7.5, 16}, {10.5, 12.5}, {12.5, 14.5}, {14, 13}, {16.5, 16}}));
        break;
    case Glyph::instantFrame: {
        p.drawRoundedRect(QRectF(4.5, 3.5, 15, 17), 1.5, 1.5);
        QPainterPath bottom;
        bottom.addRoundedRect(QRectF(4.5, 12, 15, 8.5), 1.5, 1.5);
        filled(bottom);
        break;
    }
    case Glyph::film: {
        p.drawRoundedRect(QRectF(4.5, 3, 15, 18), 1.5, 1.5);
        p.drawLine(QPointF(8, 3), QPointF(8, 21));
        p.drawLine(QPointF(16, 3), QPointF(16, 21));
        QPainterPath holes;
        for (double y : {6.0, 10.0, 14.0, 18.0}) {
            holes.addRect(QRectF(5.6, y - 0.8, 1.3, 1.6));
            holes.addRect(QRectF(17.1, y - 0.8, 1.3, 1.6));
        }
        filled(holes);
        break;
    }
    case Glyph::bareFrame:
        p.drawRoundedRect(QRectF(3.5, 3.5, 17, 17), 4.5, 4.5);
        break;
    case Glyph::tape:
        p.save();
        p.translate(12, 12);
        p.rotate(-40);
        p.drawRoundedRect(QRectF(-10, -4, 20, 8), 4, 4);
        p.drawRect(QRectF(-3.5, -4, 7, 8));
        p.restore();
        break;
    case Glyph::splitRow:
        p.drawRoundedRect(QRectF(2.5, 5.5, 19, 13), 2, 2);
        p.drawLine(QPointF(8.8, 5.5), QPointF(8.8, 18.5));
        p.drawLine(QPointF(15.2, 5.5), QPointF(15.2, 18.5));
        break;
    case Glyph::splitColumn:
        p.drawRoundedRect(QRectF(4.5, 3.5, 15, 17), 2, 2);
        p.drawLine(QPointF(4.5, 12), QPointF(19.5, 12));
        break;
    case Glyph::group3:
        p.drawRoundedRect(QRectF(3, 4, 8, 7), 1.5, 1.5);
        p.drawRoundedRect(QRectF(13, 4, 8, 7), 1.5, 1.5);
        p.drawRoundedRect(QRectF(3, 13, 18, 7), 1.5, 1.5);
        break;
    case Glyph::squareStack:
        p.drawPolyline(QPolygonF({{7.5, 6.5}, {7.5, 3.5}, {20.5, 3.5}, {20.5, 16.5}, {17.5, 16.5}}));
        p.drawRoundedRect(QRectF(3.5, 7.5, 13, 13), 1.5, 1.5);
        break;
    case Glyph::app: {
        // Velora's mark is one SVG drawing, also installed as the desktop's icon.
        static QSvgRenderer mark(QStringLiteral(":/velora/velora.svg"));
        mark.render(&p, QRectF(0, 0, 24, 24));
        break;
    }
    }
}

class GlyphEngine final : public QIconEngine {
public:
    explicit GlyphEngine(Glyph g) : m_glyph(g) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override
    {
        const QPalette palette = QApplication::palette();
        QColor ink = palette.color(mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::WindowText);
        if (mode == QIcon::Disabled) ink.setAlphaF(0.35f);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const qreal side = std::min(rect.width(), rect.height());
        painter->translate(rect.x() + (rect.width() - side) / 2, rect.y() + (rect.height() - side) / 2);
        painter->scale(side / 24.0, side / 24.0);
        draw(*painter, m_glyph, ink);
        painter->restore();
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }

    QPixmap scaledPixmap(const QSize& size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        QPixmap pm(size * scale);
        pm.setDevicePixelRatio(scale);
        pm.fill(Qt::transparent);
        QPainter p(&pm);
        paint(&p, QRect(QPoint(0, 0), size), mode, state);
        return pm;
    }

    QIconEngine* clone() const override { return new GlyphEngine(m_glyph); }
    QString key() const override { return QStringLiteral("velora-glyph"); }

private:
    Glyph m_glyph;
};

} // namespace

QIcon Icons::drawn(Glyph glyph) { return QIcon(new GlyphEngine(glyph)); }

QIcon Icons::icon(Glyph glyph)
{
    for (const QString& name : themeNames(glyph))
        if (QIcon::hasThemeIcon(name)) return QIcon::fromTheme(name);
    return drawn(glyph);
}

QIcon Icons::appIcon() { return drawn(Glyph::app); }

Glyph Icons::glyph(FrameStyle style)
{
    switch (style) {
    case FrameStyle::gallery: return Glyph::artFrame;
    case FrameStyle::instant: return Glyph::instantFrame;
    case FrameStyle::film: return Glyph::film;
    case FrameStyle::bare: return Glyph::bareFrame;
    case FrameStyle::tape: return Glyph::tape;
    }
    return Glyph::artFrame;
}

Glyph Icons::glyph(CollageLayout layout)
{
    switch (layout) {
    case CollageLayout::single: return Glyph::photo;
    case CollageLayout::row: return Glyph::splitRow;
    case CollageLayout::column: return Glyph::splitColumn;
    case CollageLayout::justified: return Glyph::group3;
    case CollageLayout::stack: return Glyph::squareStack;
    case CollageLayout::frieze: return Glyph::film;
    }
    return Glyph::photo;
}

} // namespace velora
