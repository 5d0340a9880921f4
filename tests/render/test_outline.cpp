// The outline of what a piece draws: exact corners of a tilted frame, and agreement with the
// renderer's pixels for every kind of frame (inside: opaque piece; outside: shadow or nothing).
#include "testing.h"

#include "piece_outline.h"
#include "piece_renderer.h"
#include "render_fixtures.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace velora;
using namespace velora::testing;

class TestOutline : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QList<Photo> m_photos;

private slots:
    void initTestCase()
    {
        QVERIFY(useStorage(m_dir));
        m_photos = {solidPhoto(QStringLiteral("A"), {300, 200}, QColor(200, 40, 40), QColor(200, 40, 40)),
                    solidPhoto(QStringLiteral("B"), {200, 300}, QColor(40, 40, 200), QColor(40, 40, 200)),
                    solidPhoto(QStringLiteral("C"), {240, 240}, QColor(40, 160, 160), QColor(40, 160, 160))};
    }

    void aTiltedFrameTurnsAboutTheCanvasCentre()
    {
        // 300 × 200 in a gallery mat of 0.06·√(300·200) = 14.6969 a side: 329.394 × 229.394,
        // a margin of 0.05 · 329.394 = 16.4697, turned 10°: a canvas of 398 × 317.
        PieceView v = viewOf({m_photos[0]}, CollageLayout::single, FrameStyle::gallery, 300);
        v.piece.tilt = 10;
        QCOMPARE(PieceRenderer::canvasSize(v), QSizeF(398, 317));
        const QPainterPath outline = PieceOutline::path(v);
        const double c = std::cos(10 * std::numbers::pi / 180), s = std::sin(10 * std::numbers::pi / 180);
        const double hw = 329.3939 / 2, hh = 229.3939 / 2;
        const QPointF centre(199, 158.5);
        QVERIFY(outline.contains(centre));
        QVERIFY(!outline.contains(QPointF(8, 8))); // the margin
        // Each corner of the frame, turned: just inside on the diagonal is in, just outside is out.
        for (const auto& [sx, sy] : {std::pair{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
            const QPointF corner = centre + QPointF(sx * hw * c - sy * hh * s, sx * hw * s + sy * hh * c);
            const QPointF towards = (centre - corner) / std::hypot(centre.x() - corner.x(), centre.y() - corner.y());
            QVERIFY2(outline.contains(corner + 0.05 * towards), qPrintable(QString::number(sx) + QString::number(sy)));
            QVERIFY(!outline.contains(corner - 0.05 * towards));
        }
        // The leftmost and topmost points are corners: 199 − 164.697·cos 10° − 114.697·sin 10°, and so on.
        const QRectF bounds = outline.boundingRect();
        QCOMPARE(qRound(bounds.left() * 100), qRound((199 - hw * c - hh * s) * 100));
        QCOMPARE(qRound(bounds.top() * 100), qRound((158.5 - hw * s - hh * c) * 100));

        // In device pixels at 2×: pixel centres inside, twice the canvas.
        const QRegion region = PieceOutline::region(v, 2);
        QVERIFY(region.contains(QPoint(398, 317)));
        QVERIFY(!region.contains(QPoint(16, 16)));
        QCOMPARE(region.boundingRect(), QRect(QPoint(std::floor(2 * bounds.left() + 0.5), std::floor(2 * bounds.top() + 0.5)),
                                              QPoint(std::ceil(2 * bounds.right() - 0.5) - 1, std::ceil(2 * bounds.bottom() - 0.5) - 1)));
        // Points holding any marked pixel.
        QImage marks(8, 6, QImage::Format_Grayscale8);
        marks.fill(0);
        marks.setPixel(3, 2, 255);
        QCOMPARE(PieceOutline::regionOf(marks, 1, 2), QRegion(1, 1, 1, 1));
        QCOMPARE(PieceOutline::regionOf(marks, 1, 1), QRegion(3, 2, 1, 1));
    }

    void theOutlineIsWhatTheRendererDrawsOpaque_data()
    {
        QTest::addColumn<int>("layout");
        QTest::addColumn<int>("style");
        QTest::addColumn<double>("tilt");
        QTest::addColumn<QString>("caption");
        const QString none, label = QStringLiteral("Summer at the lake");
        QTest::newRow("single gallery") << int(CollageLayout::single) << int(FrameStyle::gallery) << 7.0 << label;
        QTest::newRow("stack instant") << int(CollageLayout::stack) << int(FrameStyle::instant) << 0.0 << none;
        QTest::newRow("stack gallery, slip") << int(CollageLayout::stack) << int(FrameStyle::gallery) << 3.0 << label;
        QTest::newRow("stack tape") << int(CollageLayout::stack) << int(FrameStyle::tape) << -5.0 << none;
        QTest::newRow("row tape") << int(CollageLayout::row) << int(FrameStyle::tape) << 4.0 << none;
        QTest::newRow("justified bare, slip") << int(CollageLayout::justified) << int(FrameStyle::bare) << -3.0 << label;
        QTest::newRow("column instant") << int(CollageLayout::column) << int(FrameStyle::instant) << 12.0 << none;
    }

    void theOutlineIsWhatTheRendererDrawsOpaque()
    {
        QFETCH(int, layout);
        QFETCH(int, style);
        QFETCH(double, tilt);
        QFETCH(QString, caption);
        PieceView v = viewOf(m_photos, CollageLayout(layout), FrameStyle(style), 260);
        v.piece.tilt = tilt;
        v.piece.caption = caption;
        v.piece.seed = 5;
        const QImage image = PieceRenderer::render(v, 1);
        const QRegion region = PieceOutline::region(v, 1);
        QVERIFY(!image.isNull() && !region.isEmpty());
        QImage inside(image.size(), QImage::Format_Grayscale8);
        inside.fill(0);
        for (const QRect& r : region)
            for (int y = r.top(); y <= r.bottom(); ++y) std::fill_n(inside.scanLine(y) + r.left(), r.width(), uchar(1));
        // Away from the edge (a pixel's neighbours all on one side): inside is the opaque piece
        // (or tape, 78% over its own shadow; a caption slip, 94%), outside at most shadow.
        int wrongIn = 0, wrongOut = 0, in = 0, out = 0;
        for (int y = 1; y < image.height() - 1; ++y)
            for (int x = 1; x < image.width() - 1; ++x) {
                int n = 0;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) n += inside.constScanLine(y + dy)[x + dx];
                const int alpha = qAlpha(image.pixel(x, y));
                if (n == 9) ++in, wrongIn += alpha < 190 ? 1 : 0;
                if (n == 0) ++out, wrongOut += alpha > 120 ? 1 : 0;
            }
        QVERIFY(in > 10000 && out > 10000);
        QCOMPARE(wrongIn, 0);
        QCOMPARE(wrongOut, 0);
    }
};

VELORA_TEST(TestOutline)
#include "test_outline.moc"
