#include "piece_geometry.h"
#include "testing.h"

#include <chrono>
#include <cmath>
#include <limits>

using namespace velora;

namespace {
bool near(double a, double b, double eps = 1e-9) { return std::abs(a - b) <= eps; }
} // namespace

class TestGeometry : public QObject {
    Q_OBJECT
private slots:
    void workedExampleToTheLastDigit()
    {
        const auto g = PieceGeometry::make(CollageLayout::single, FrameStyle::gallery, {1.5}, 300, false, 1, 0, false);
        QCOMPARE(g.arrangement.size, (Size{300, 200}));
        const double inset = 0.06 * std::sqrt(60000.0);
        QCOMPARE(g.insets, (FrameInsets{inset, inset, inset, inset}));
        QCOMPARE(g.framedSize, (Size{300 + inset + inset, 200 + inset + inset}));
        QVERIFY(near(g.margin, 0.05 * (300 + 2 * inset)));
        QCOMPARE(g.outerSize, (Size{363, 263}));
        QVERIFY(!g.perTile);
        QCOMPARE(g.style, FrameStyle::gallery);
    }

    void emptyPieceIsFramedAroundAFourByThreeBody()
    {
        const auto g = PieceGeometry::make(CollageLayout::row, FrameStyle::tape, {}, 400, false, 1, 0, false);
        QCOMPARE(g.arrangement.size, (Size{400, 300}));
        QVERIFY(g.insets.top > 0);
        const auto s = PieceGeometry::make(CollageLayout::stack, FrameStyle::tape, {}, 400, false, 1, 0, true);
        QVERIFY(s.perTile);
        QCOMPARE(s.insets, FrameInsets::zero);
        QVERIFY(s.arrangement.tiles.empty());
    }

    void friezeIsAlwaysFilm()
    {
        const auto g = PieceGeometry::make(CollageLayout::frieze, FrameStyle::gallery, {1.5, 1.5}, 500, false, 1, 0, false);
        QCOMPARE(g.style, FrameStyle::film);
        QCOMPARE(g.arrangement, LayoutMath::row({1.5, 1.5}, 500, 10));
        const double m = g.arrangement.size.height;
        QCOMPARE(g.insets, (FrameInsets{0.15 * m, 0.03 * m, 0.15 * m, 0.03 * m}));
        const auto v = PieceGeometry::make(CollageLayout::frieze, FrameStyle::gallery, {1.5, 1.5}, 500, true, 1, 0, false);
        QCOMPARE(v.arrangement, LayoutMath::column({1.5, 1.5}, 500, 10));
        QVERIFY(v.insets.left > v.insets.top);
        QCOMPARE(PieceGeometry::effectiveStyle(FrameStyle::tape, CollageLayout::frieze), FrameStyle::film);
        QCOMPARE(PieceGeometry::effectiveStyle(FrameStyle::tape, CollageLayout::row), FrameStyle::tape);
    }

    void stackIgnoresTheCaptionAndFramesEachCard()
    {
        const std::vector<double> aspects{1.5, 0.8, 1.0};
        const auto a = PieceGeometry::make(CollageLayout::stack, FrameStyle::instant, aspects, 380, false, 9, 0, false);
        const auto b = PieceGeometry::make(CollageLayout::stack, FrameStyle::instant, aspects, 380, false, 9, 0, true);
        QCOMPARE(a, b);
        QVERIFY(a.perTile);
        // Cards are the framed units: for 1.5, (1 + 0.11 u) / (1/1.5 + 0.295 u) with u = sqrt(1/1.5).
        const double u = std::sqrt(1 / 1.5);
        const double framedAspect = (1 + 0.11 * u) / (1 / 1.5 + 0.295 * u);
        const Rect card = a.arrangement.tiles[0].frame;
        QVERIFY(near(card.width / card.height, framedAspect));
    }

    void marginFloorAndTilt()
    {
        const auto small = PieceGeometry::make(CollageLayout::single, FrameStyle::bare, {1.0}, 200, false, 1, 0, false);
        QCOMPARE(small.margin, 14.0);
        QCOMPARE(small.outerSize, (Size{228, 228}));
        const auto flat = PieceGeometry::make(CollageLayout::single, FrameStyle::bare, {2.0}, 300, false, 1, 0, false);
        QCOMPARE(flat.outerSize, (Size{std::ceil(300 + 2 * 15.0), std::ceil(150 + 2 * 15.0)}));
        const auto turned = PieceGeometry::make(CollageLayout::single, FrameStyle::bare, {2.0}, 300, false, 1, 90, false);
        // A quarter turn swaps the sides (up to the last bit of cos(pi/2)).
        const Rect rotated = LayoutMath::rotatedBounds({0, 0, 300, 150}, 90);
        QVERIFY(near(rotated.width, 150, 1e-12) && near(rotated.height, 300, 1e-12));
        QCOMPARE(turned.outerSize, (Size{std::ceil(rotated.width + 30), std::ceil(rotated.height + 30)}));
        QCOMPARE(turned.outerSize.height, 330.0);
    }

    void unitAndTileInsets()
    {
        const Size unit = PieceGeometry::framedUnit(FrameStyle::gallery, 1.0, false);
        QCOMPARE(unit, (Size{1.12, 1.12}));
        const FrameInsets tile = PieceGeometry::tileInsets(FrameStyle::gallery, 1.0, false, {224, 224});
        QVERIFY(near(tile.top, 12) && near(tile.left, 12));
        for (double a : {0.1, 0.5, 1.0, 3.0, 9.0})
            QCOMPARE(PieceGeometry::tileInsets(FrameStyle::bare, a, false, {100, 80}), FrameInsets::zero);
    }

    void absurdInputsNeverCrashOrHang()
    {
        const double inf = std::numeric_limits<double>::infinity();
        const double nan = std::nan("");
        const auto start = std::chrono::steady_clock::now();
        for (CollageLayout l : allCollageLayouts)
            for (FrameStyle s : allFrameStyles)
                for (double w : {0.0, -300.0, 1e308, inf, -inf, nan})
                    for (double a : {0.0, -1.0, inf, nan, 1e300})
                        for (double tilt : {0.0, 1e308, nan}) {
                            const auto g = PieceGeometry::make(l, s, {a, a, a}, w, true, 0, tilt, true);
                            Q_UNUSED(g.drawable());
                        }
        QVERIFY(std::chrono::steady_clock::now() - start < std::chrono::seconds(10));
        QVERIFY(!PieceGeometry::make(CollageLayout::row, FrameStyle::gallery, {1}, 1e308, false, 1, 0, false).drawable());
        QVERIFY(!PieceGeometry::make(CollageLayout::row, FrameStyle::gallery, {1}, nan, false, 1, 0, false).drawable());
        QVERIFY(!PieceGeometry::make(CollageLayout::row, FrameStyle::gallery, {1}, -300, false, 1, 0, false).drawable());
        QVERIFY(PieceGeometry::make(CollageLayout::row, FrameStyle::gallery, {1}, 300, false, 1, 0, false).drawable());
    }
};

VELORA_TEST(TestGeometry)
#include "test_geometry.moc"
