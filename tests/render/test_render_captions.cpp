// Captions drawn on frames: handwriting on tape shown whole, film edge print clear of the holes.
#include "testing.h"

#include "decorations.h"
#include "piece_renderer.h"
#include "render_fixtures.h"

#include <QFontMetricsF>
#include <QTemporaryDir>

#include <cmath>

using namespace velora;
using namespace velora::testing;

namespace {

const QString kLong = QStringLiteral("Grandma's garden in late June, after the rain");

// Where a framed box's coordinates land on the canvas of an untilted piece: the whole frame, or
// the tile drawn last (on top) of a stack.
QTransform topBox(const PieceGeometry& g, QRectF* box)
{
    const QPointF corner = onCanvas(g, {0, 0});
    if (!g.perTile) {
        *box = QRectF(0, 0, g.framedSize.width, g.framedSize.height);
        return QTransform::fromTranslate(corner.x(), corner.y());
    }
    const Rect& f = g.arrangement.tiles.back().frame;
    *box = QRectF(-f.width / 2, -f.height / 2, f.width, f.height);
    QTransform t = QTransform::fromTranslate(corner.x() + f.x + f.width / 2, corner.y() + f.y + f.height / 2);
    return t.rotate(g.arrangement.tiles.back().rotation);
}

// Amber edge print, alone or blended over the dark stock or transparency.
bool amber(QRgb p)
{
    return qRed(p) > 60 && qRed(p) >= 2 * qBlue(p) + 30 && qGreen(p) > qBlue(p) + 15;
}

} // namespace

class TestRenderCaptions : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QList<Photo> m_photos;

private slots:
    void initTestCase()
    {
        QVERIFY(useStorage(m_dir));
        // Pale photos (ink shows dark on them) in no colour near amber.
        const QColor pale(225, 230, 240);
        for (const auto& [stem, size] : {std::pair{"P", QSize(300, 200)}, {"Q", QSize(200, 300)}, {"R", QSize(240, 240)}})
            m_photos.append(solidPhoto(QLatin1String(stem), size, pale, pale));
    }

    // Wrapping before shrinking, shrinking before eliding, and nothing for nothing.
    void captionFitting_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QSizeF>("room");
        QTest::addColumn<int>("lines");
        QTest::addColumn<bool>("shrunk");
        QTest::addColumn<bool>("elided");
        QTest::newRow("one-line") << QStringLiteral("Hello") << QSizeF(200, 60) << 1 << false << false;
        QTest::newRow("wraps-at-size") << kLong << QSizeF(200, 60) << 2 << false << false;
        QTest::newRow("shrinks-to-three") << kLong << QSizeF(110, 45) << 3 << true << false;
        QTest::newRow("elides-at-floor") << kLong.repeated(4) << QSizeF(110, 45) << 3 << true << true;
        QTest::newRow("empty") << QStringLiteral("  ") << QSizeF(200, 60) << 0 << false << false;
        QTest::newRow("no-room") << kLong << QSizeF(0, 60) << 0 << false << false;
    }

    void captionFitting()
    {
        QFETCH(QString, text);
        QFETCH(QSizeF, room);
        QFETCH(int, lines);
        QFETCH(bool, shrunk);
        QFETCH(bool, elided);
        QImage image = canvas({8, 8});
        QPainter p(&image);
        const auto fontAt = [&p](qreal size) { return Fonts::font(&p, Fonts::sansFamily(), size); };
        const CaptionFit::Layout l = CaptionFit::fit(&p, text, fontAt, 12, 8, room, 3);
        QCOMPARE(l.lines.size(), lines);
        QCOMPARE(l.points < 12, shrunk);
        QVERIFY(l.points >= 8);
        QCOMPARE(l.elided, elided);
        if (lines == 0) return;
        if (!elided) QCOMPARE(l.lines.join(QLatin1Char(' ')), text.simplified());
        else QVERIFY(l.lines.last().endsWith(QChar(0x2026)));
        const QFontMetricsF fm(l.font, &image);
        for (const QString& line : l.lines) QVERIFY(fm.horizontalAdvance(line) <= room.width() + 0.5);
        QVERIFY(l.size.width() <= room.width() + 0.5 && l.size.height() <= room.height() + 0.01);
    }

    // A caption people write shows whole on the tape at the default width, laid out as drawn.
    void tapeCaptionShowsWhole_data()
    {
        QTest::addColumn<int>("layout");
        QTest::addColumn<qreal>("dpr");
        for (CollageLayout l : allCollageLayouts)
            if (PieceGeometry::effectiveStyle(FrameStyle::tape, l) == FrameStyle::tape)
                for (qreal dpr : {1.0, 2.0}) QTest::addRow("%s-%gx", rawValue(l).data(), dpr) << int(l) << dpr;
    }

    void tapeCaptionShowsWhole()
    {
        QFETCH(int, layout);
        QFETCH(qreal, dpr);
        PieceView v = viewOf(m_photos, CollageLayout(layout), FrameStyle::tape);
        v.piece.caption = kLong;
        const PieceGeometry g = v.geometry();
        const QImage image = PieceRenderer::render(v, dpr);
        QImage probe = canvas({8, 8});
        QPainter p(&probe);
        QRectF box;
        const QTransform toCanvas = topBox(g, &box);
        const TapeStrip::Caption c = TapeStrip::caption(&p, box, kLong);
        const CaptionFit::Layout& l = c.layout;
        QVERIFY(!l.elided);
        QCOMPARE(l.lines.join(QLatin1Char(' ')), kLong);
        QVERIFY(l.lines.size() <= 3);
        const qreal start = std::max(0.15 * TapeStrip::length(box), 9.0);
        QVERIFY2(l.points >= std::max(0.6 * start, 7.0) - 1e-9, qPrintable(QString::number(l.points)));

        // Ink (dark on the pale tape) along each line, from near its laid-out start to its end.
        const QFontMetricsF fm(l.font, &probe);
        const QTransform toImage = c.toBox * toCanvas * QTransform::fromScale(dpr, dpr);
        const QTransform back = toImage.inverted();
        for (int i = 0; i < l.lines.size(); ++i) {
            const qreal advance = fm.horizontalAdvance(l.lines[i]);
            const QRectF line(-advance / 2, c.text.top() + i * l.lineSpacing, advance, l.lineSpacing);
            qreal first = 1e9, last = -1e9;
            const QRect area = toImage.mapRect(line).toAlignedRect().intersected(image.rect());
            for (int y = area.top(); y <= area.bottom(); ++y)
                for (int x = area.left(); x <= area.right(); ++x) {
                    const QPointF at = back.map(QPointF(x + 0.5, y + 0.5));
                    if (!line.contains(at) || qGray(image.pixel(x, y)) > 110) continue;
                    first = std::min(first, at.x());
                    last = std::max(last, at.x());
                }
            QVERIFY2(first < line.left() + 0.1 * advance && last > line.right() - 0.1 * advance,
                     qPrintable(QStringLiteral("line %1 inked %2..%3 of %4").arg(i).arg(first).arg(last).arg(advance)));
        }
    }

    // The edge print never touches an open hole, at any size, pixel ratio and orientation; where
    // the band is too thin beside the holes, only holes of its own row under it stay unpunched.
    void filmCaptionClearOfHoles_data()
    {
        QTest::addColumn<int>("layout");
        QTest::addColumn<bool>("vertical");
        QTest::addColumn<double>("width");
        for (CollageLayout l : allCollageLayouts)
            for (bool vertical : {false, true})
                for (double width : {160.0, 300.0, 560.0})
                    QTest::addRow("%s-%s-%g", rawValue(l).data(), vertical ? "vertical" : "horizontal", width)
                        << int(l) << vertical << width;
    }

    void filmCaptionClearOfHoles()
    {
        QFETCH(int, layout);
        QFETCH(bool, vertical);
        QFETCH(double, width);
        PieceView v = viewOf(m_photos, CollageLayout(layout), FrameStyle::film, width);
        v.piece.vertical = vertical;
        v.piece.caption = QStringLiteral("Quay, Jüne \u00c9t\u00e9 — by the sea");
        const PieceGeometry g = v.geometry();
        QRectF box;
        const QTransform toCanvas = topBox(g, &box);
        const Photo& top = v.shown().at(g.arrangement.tiles.back().index);
        const FrameInsets in = g.perTile
            ? PieceGeometry::tileInsets(FrameStyle::film, top.aspect(), vertical, {box.width(), box.height()})
            : g.insets;
        const qreal t = vertical ? in.left : in.top;
        // Both hole rows, from the strip's own measures.
        const qreal along = vertical ? box.height() : box.width();
        const qreal across = vertical ? box.width() : box.height();
        const qreal pitch = 0.68 * t, a = 0.3 * t, b = 0.32 * t;
        const int n = std::max(1, int(std::floor((along - a) / pitch)));
        const qreal s = (along - n * pitch) * 0.5 + (pitch - a) * 0.5;
        QList<QRectF> holes;
        QList<bool> printRow;
        for (int i = 0; i < n; ++i)
            for (qreal centre : {0.6 * t, across - 0.6 * t}) {
                const QRectF r(s + i * pitch, centre - b / 2, a, b);
                holes.append((vertical ? QRectF(r.y(), r.x(), r.height(), r.width()) : r).translated(box.topLeft()));
                printRow.append(centre > across / 2);
            }
        for (qreal dpr : {1.0, 2.0}) {
            const QImage image = PieceRenderer::render(v, dpr);
            const QTransform toImage = toCanvas * QTransform::fromScale(dpr, dpr);
            const QTransform back = toImage.inverted();
            for (qsizetype h = 0; h < holes.size(); ++h) {
                const QRectF& hole = holes[h];
                const QPoint middle = toImage.map(hole.center()).toPoint();
                if (image.rect().contains(middle) && qAlpha(image.pixel(middle)) > 128) {
                    // Closed (a stack's lower tiles show through theirs; a hole under two pixels
                    // is all edge).
                    QVERIFY2(printRow[h] || g.perTile || b * dpr < 2.5, "a hole of the other row is closed");
                    continue;
                }
                const QRectF inside = hole.adjusted(1 / dpr, 1 / dpr, -1 / dpr, -1 / dpr);
                const QRect area = toImage.mapRect(hole).toAlignedRect().intersected(image.rect());
                for (int y = area.top(); y <= area.bottom(); ++y)
                    for (int x = area.left(); x <= area.right(); ++x)
                        if (inside.contains(back.map(QPointF(x + 0.5, y + 0.5))) && amber(image.pixel(x, y)))
                            QFAIL(qPrintable(QStringLiteral("amber in a hole at %1,%2 (%3x)").arg(x).arg(y).arg(dpr)));
            }
            int inked = 0;
            for (int y = 0; y < image.height(); ++y) {
                const auto* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
                for (int x = 0; x < image.width(); ++x) inked += amber(line[x]);
            }
            QVERIFY2(inked >= 20 * dpr * dpr, qPrintable(QStringLiteral("%1 amber pixels").arg(inked)));
        }
    }
};

VELORA_TEST(TestRenderCaptions)
#include "test_render_captions.moc"
