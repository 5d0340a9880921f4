#pragma once
// The small drawn parts that give each frame style its character.
#include "frames.h"

#include <QFont>
#include <QImage>
#include <QList>
#include <QPainterPath>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <QTransform>

#include <functional>
#include <optional>

class QPainter;

namespace velora {

namespace Layers {
// Paints `paint` (in the painter's coordinates, clipped to `rect`) into a private transparent layer
// at device resolution and draws the layer, so clear-mode punches stay inside it.
void draw(QPainter* painter, const QRectF& rect, const std::function<void(QPainter*)>& paint);
} // namespace Layers

namespace Fonts {
// The sans used for every label (DejaVu Sans where installed).
QString sansFamily();
// A font of `points` typographic size on the painter's device (points map 1:1 to drawing units).
QFont font(const QPainter* painter, const QString& family, qreal points, int weight = QFont::Normal,
           bool italic = false);
} // namespace Fonts

namespace Handwriting {
// The first installed of "Bradley Hand", "Noteworthy", "Chalkboard SE"; probed once per process.
const std::optional<QString>& fontName();
// How many times the font list was probed (once, after the first use).
int probeCount();
// The handwriting font at `points`, or the sans in italic when none is installed.
QFont font(const QPainter* painter, qreal points);
} // namespace Handwriting

namespace TornTape {
// The outline of a tape strip in `rect`, with tears 0.09·height deep at both ends.
QPainterPath path(const QRectF& rect);
} // namespace TornTape

namespace CaptionFit {
struct Layout {
    QFont font;
    qreal points = 0;
    QStringList lines;
    qreal lineSpacing = 0;
    qreal ascent = 0;
    QSizeF size;         // the widest line × the lines' height
    bool elided = false; // only when nothing fits at the smallest size
};
// `text` set in `fontAt(points)` within `room` in at most `maxLines` lines: wrapped at the starting
// size when it fits so, else at the largest size down to `floorPoints` that fits, else elided at
// the floor. Lines are as even as the line count allows, so a block sized to them stays compact.
Layout fit(const QPainter* painter, const QString& text, const std::function<QFont(qreal)>& fontAt, qreal points,
           qreal floorPoints, QSizeF room, int maxLines);
} // namespace CaptionFit

namespace TapeStrip {
void draw(QPainter* painter, const QRectF& rect);

// The strip that carries a handwritten caption on a taped box: longer and thicker than the plain
// one as far as the caption needs, from the same left end towards the other strip.
struct Caption {
    QTransform toBox;      // strip coordinates (centred on the strip) into the box's
    QRectF strip;
    QRectF text;           // where the lines go, in strip coordinates
    CaptionFit::Layout layout;
};
// The plain strips' length and thickness for `box`, and the inset of their centres from its sides.
qreal length(const QRectF& box);
qreal inset(const QRectF& box);
Caption caption(const QPainter* painter, const QRectF& box, const QString& text);
} // namespace TapeStrip

namespace FilmStrip {
struct Holes {
    qreal pitch = 0;
    qreal length = 0;   // along the strip
    qreal breadth = 0;  // across the strip
    qreal radius = 0;
    int count = 0;
    qreal start = 0;    // of the first hole, along the strip
};
// Hole row along a strip `length` long with border thickness `t`.
Holes holes(qreal length, qreal t);
// Every hole rectangle (both rows) of a strip of `size`.
QList<QRectF> holeRects(QSizeF size, bool vertical, qreal t);
// The film stock in `box`, its holes cleared to transparency: paint it into a layer of its own.
void paint(QPainter* painter, const QRectF& box, bool vertical, qreal t);
// The stock's outline in `box` with every hole as a hole in the path (odd-even fill), to fill with
// stockColor() straight onto anything.
QPainterPath punched(const QRectF& box, bool vertical, qreal t);
QColor stockColor();
// The same as a premultiplied image `scale` pixels per point.
QImage render(QSizeF size, bool vertical, qreal t, qreal scale);
} // namespace FilmStrip

namespace PaperLabel {
struct Metrics {
    qreal textSize = 0;
    qreal horizontalPadding = 0;
    qreal verticalPadding = 0;
    qreal cornerRadius = 0;
};
Metrics metrics(qreal unit);
// The label's size for `text` (text width limited to maxTextWidth, elided beyond).
QSizeF size(const QPainter* painter, const QString& text, qreal unit, qreal maxTextWidth);
// Draws the label with its bottom-left corner at `bottomLeft`.
void draw(QPainter* painter, const QString& text, qreal unit, QPointF bottomLeft, qreal maxTextWidth);
// Starts setting the text draw() would set with the same arguments, on another thread.
void prefetch(const QPainter* painter, const QString& text, qreal unit, QPointF bottomLeft, qreal maxTextWidth);
} // namespace PaperLabel

namespace Pictogram {
// A framed landscape (mountains and sun), the stand-in for a photo.
void photo(QPainter* painter, const QRectF& rect, const QColor& color);
// The same with a round "+" badge at its lower right.
void photoBadgePlus(QPainter* painter, const QRectF& rect, const QColor& color);
} // namespace Pictogram

namespace EmptyPieceCard {
// width × 0.66·width plus 16 on every side.
QSizeF size(qreal width);
void draw(QPainter* painter, qreal width);
} // namespace EmptyPieceCard

} // namespace velora
