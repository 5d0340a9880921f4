// The geometry kit to the last digit: frame metrics, layout math, piece geometry.
#include "frames.h"
#include "layout.h"
#include "piece_geometry.h"
#include "testing.h"

#include <cmath>
#include <limits>

using namespace velora;

namespace {
bool near(double a, double b, double eps = 1e-9) { return std::abs(a - b) <= eps; }
} // namespace

class TestFrames : public QObject {
    Q_OBJECT
private slots:
    // The raw values are what the state files hold.
    void rawValuesInDeclarationOrder()
    {
        const auto check = [](const auto& all, const QList<const char*>& raw, auto fromRaw) {
            QCOMPARE(qsizetype(all.size()), raw.size());
            for (size_t i = 0; i < all.size(); ++i) {
                QCOMPARE(rawValue(all[i]), std::string_view(raw[i]));
                QCOMPARE(fromRaw(raw[i]), std::optional(all[i]));
            }
        };
        check(allFrameStyles, {"gallery", "instant", "film", "bare", "tape"}, frameStyleFromRaw);
        check(allCollageLayouts, {"single", "row", "column", "justified", "stack", "frieze"}, collageLayoutFromRaw);
        QVERIFY(!frameStyleFromRaw("Gallery") && !frameStyleFromRaw("") && !collageLayoutFromRaw("grid"));
    }

    void insets()
    {
        // Gallery: a caption adds to the bottom.
        QCOMPARE(FrameMetrics::insets(FrameStyle::gallery, {100, 100}, false, true), (FrameInsets{6, 6, 15, 6}));
        QCOMPARE(FrameMetrics::insets(FrameStyle::gallery, {100, 100}, false, false), (FrameInsets{6, 6, 6, 6}));
        // Instant and tape scale with u = sqrt(400 * 100) = 200; the caption never adds to instant.
        QCOMPARE(FrameMetrics::insets(FrameStyle::instant, {400, 100}, false, true),
                 (FrameInsets{0.055 * 200, 0.055 * 200, 0.24 * 200, 0.055 * 200}));
        QCOMPARE(FrameMetrics::insets(FrameStyle::tape, {400, 100}, true, true),
                 (FrameInsets{0.022 * 200, 0.022 * 200, 0.022 * 200, 0.022 * 200}));
        QCOMPARE(FrameMetrics::insets(FrameStyle::bare, {400, 100}, false, true), FrameInsets::zero);
        // Film measures from the shorter side.
        QCOMPARE(FrameMetrics::insets(FrameStyle::film, {300, 100}, false, false), (FrameInsets{15, 3, 15, 3}));
        QCOMPARE(FrameMetrics::insets(FrameStyle::film, {300, 100}, true, false), (FrameInsets{3, 15, 3, 15}));
        QCOMPARE(FrameMetrics::insets(FrameStyle::film, {100, 300}, false, true), (FrameInsets{15, 3, 15, 3}));
        // Zero area: zero insets.
        for (FrameStyle s : allFrameStyles) {
            QCOMPARE(FrameMetrics::insets(s, {0, 500}, false, true).top, 0.0);
            QCOMPARE(FrameMetrics::insets(s, {500, 0}, true, false).left, 0.0);
        }
    }

    void spacingRulesInOrder()
    {
        QCOMPARE(FrameMetrics::spacing(FrameStyle::bare, CollageLayout::frieze, 1000), 20.0);
        QCOMPARE(FrameMetrics::spacing(FrameStyle::gallery, CollageLayout::row, 1000), 14.0);
        QCOMPARE(FrameMetrics::spacing(FrameStyle::film, CollageLayout::row, 1000), 20.0);
        QCOMPARE(FrameMetrics::spacing(FrameStyle::bare, CollageLayout::row, 1000), 25.0);
        QCOMPARE(FrameMetrics::spacing(FrameStyle::tape, CollageLayout::justified, 1000), 14.0);
    }
};

VELORA_TEST(TestFrames)

class TestLayout : public QObject {
    Q_OBJECT
private slots:
    void seededRandomIsBitExact()
    {
        SeededRandom one(1);
        QCOMPARE(one.next(), 0.5094074428837206);
        QCOMPARE(one.next(), 0.6483593939634306);
        QCOMPARE(one.next(), 0.3828633905082601);
        SeededRandom zero(0);
        QCOMPARE(zero.state, 1442695040888963407ULL);
        QCOMPARE(zero.next(), 0.10169876029679303);
        SeededRandom ranged(1);
        QCOMPARE(ranged.next(-3, 3), -3 + 6 * 0.5094074428837206);
    }

    void clampSanitisesAspects()
    {
        const double inf = std::numeric_limits<double>::infinity();
        for (double bad : {0.0, -1.0, inf, -inf, std::nan("")}) QCOMPARE(LayoutMath::clamp(bad), 1.0);
        for (const auto& [in, out] : {std::pair{0.1, 0.2}, {0.2, 0.2}, {7.0, 5.0}, {5.0, 5.0}}) QCOMPARE(LayoutMath::clamp(in), out);
    }

    void rowsAndColumns()
    {
        // Row heights use the aspects as given; the available width floors at 1.
        QCOMPARE(LayoutMath::rowHeight({1.5, 1.0, 0.5}, 300, 10), 280.0 / 3.0);
        QCOMPARE(LayoutMath::rowHeight({}, 300, 10), std::numeric_limits<double>::infinity());
        QCOMPARE(LayoutMath::rowHeight({10}, 0.5, 10), 0.1);
        // A row ends exactly at the width.
        const Arrangement a = LayoutMath::row({1.5, 1.0, 0.5}, 300, 10);
        const double h = 280.0 / 3.0;
        QCOMPARE(a.tiles.size(), size_t(3));
        QCOMPARE(a.tiles[0].frame, (Rect{0, 0, 140, h}));
        QCOMPARE(a.tiles[1].frame, (Rect{150, 0, h, h}));
        QVERIFY(near(a.tiles[2].frame.x, 253.33333333333334));
        QCOMPARE(a.tiles[2].frame.maxX(), 300.0);
        QCOMPARE(a.size, (Size{300, h}));
        // A column stacks equal widths.
        const Arrangement c = LayoutMath::column({2, 0.5}, 100, 4);
        QCOMPARE(c.tiles[0].frame, (Rect{0, 0, 100, 50}));
        QCOMPARE(c.tiles[1].frame, (Rect{0, 54, 100, 200}));
        QCOMPARE(c.size, (Size{100, 254}));
    }

    void justifiedBreaksAndCentresTheLastRow()
    {
        const double target = 600 / 2.6;
        const auto rows = LayoutMath::justifiedRows({1.5, 1.5, 1.5, 1.5, 0.67}, 600, target, 8);
        QCOMPARE(rows, (std::vector<std::vector<int>>{{0, 1}, {2, 3}, {4}}));
        const Arrangement a = LayoutMath::justified({1.5, 1.5, 1.5, 1.5, 0.67}, 600, target, 8, true);
        const PlacedTile& last = a.tiles.back();
        QCOMPARE(last.index, 4);
        QVERIFY(near(last.frame.height, 230.76923076923077));
        QVERIFY(near(last.frame.x, 222.69230769230768));
        QVERIFY(near(a.size.height, 641.4358974358975));
        QCOMPARE(a.tiles[1].frame.maxX(), 600.0);

        const Arrangement three = LayoutMath::justified({1.5, 1.5, 1.5}, 600, target, 8, true);
        QCOMPARE(LayoutMath::justifiedRows({1.5, 1.5, 1.5}, 600, target, 8),
                 (std::vector<std::vector<int>>{{0, 1}, {2}}));
        QVERIFY(near(three.tiles[2].frame.width, 346.15384615384613));
        QVERIFY(near(three.tiles[2].frame.x, 126.92307692307693));
        const Arrangement left = LayoutMath::justified({1.5, 1.5, 1.5}, 600, target, 8, false);
        QCOMPARE(left.tiles[2].frame.x, 0.0);

        // A single row is always stretched.
        QCOMPARE(LayoutMath::justified({0.5}, 600, 100, 8, true).tiles[0].frame, (Rect{0, 0, 600, 1200}));
        // Ties go to including the photo: width 200, target 100, no spacing: [1] then [1, 1] fills
        // exactly; cost equal at both.
        QCOMPARE(LayoutMath::justifiedRows({1, 1, 1, 1}, 200, 100, 0), (std::vector<std::vector<int>>{{0, 1}, {2, 3}}));
    }

    void stackFansDeterministicallyFromItsSeed()
    {
        // One card is the card, unturned.
        const Arrangement one = LayoutMath::stack({1.5}, 300, 42);
        QCOMPARE(one.tiles.size(), size_t(1));
        QCOMPARE(one.tiles[0].rotation, 0.0);
        QCOMPARE(one.tiles[0].frame, (Rect{0, 0, 300, 200}));
        QCOMPARE(one.size, (Size{300, 200}));

        const std::vector<double> aspects{1.5, 0.75, 1.0};
        const Arrangement a = LayoutMath::stack(aspects, 400, 7);
        QCOMPARE(LayoutMath::stack(aspects, 400, 7), a);
        const Arrangement b = LayoutMath::stack(aspects, 400, 8);
        QVERIFY(a.tiles[0].rotation != b.tiles[0].rotation);
        QVERIFY(a.size != b.size);

        // Seed 1, two cards: s = 264, draws in order dy then rotation per card.
        SeededRandom rng(1);
        const double dy0 = 264 * rng.next(-0.06, 0.06);
        const double rot0 = -8 + rng.next(-3, 3);
        const Arrangement two = LayoutMath::stack({1.0, 1.0}, 400, 1);
        QCOMPARE(two.tiles[0].rotation, rot0);
        Rect first{132 - 132, 132 + dy0 - 132, 264, 264};
        Rect union_ = Rect::makeNull();
        for (const auto& t : two.tiles) union_ = union_.united(LayoutMath::rotatedBounds(t.frame, t.rotation));
        QVERIFY(near(union_.minX(), 0) && near(union_.minY(), 0));
        QVERIFY(near(two.size.width, union_.width) && near(two.size.height, union_.height));
        QVERIFY(near(two.tiles[0].frame.width, first.width));
    }

    void arrangeDispatches()
    {
        // Empty input keeps a four-by-three body.
        for (CollageLayout l : allCollageLayouts)
            QCOMPARE(LayoutMath::arrange(l, {}, 400, 8, false, 3), (Arrangement{{}, {400, 300}}));
        const std::vector<double> aspects{1.5, 1.0};
        QCOMPARE(LayoutMath::arrange(CollageLayout::single, aspects, 300, 9, false, 1),
                 LayoutMath::column({1.5}, 300, 0));
        QCOMPARE(LayoutMath::arrange(CollageLayout::frieze, aspects, 300, 9, true, 1),
                 LayoutMath::column(aspects, 300, 9));
        QCOMPARE(LayoutMath::arrange(CollageLayout::frieze, aspects, 300, 9, false, 1),
                 LayoutMath::row(aspects, 300, 9));
        QCOMPARE(LayoutMath::arrange(CollageLayout::justified, aspects, 300, 9, false, 1),
                 LayoutMath::justified(aspects, 300, 300 / 2.6, 9, true));
    }

    void rotatedBoundsKeepTheCentre()
    {
        const Rect r = LayoutMath::rotatedBounds({10, 20, 100, 50}, 90);
        QVERIFY(near(r.width, 50) && near(r.height, 100));
        QVERIFY(near(r.midX(), 60) && near(r.midY(), 45));
        QCOMPARE(LayoutMath::rotatedBounds({0, 0, 100, 50}, 0), (Rect{0, 0, 100, 50}));
    }
};

VELORA_TEST(TestLayout)

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

    void absurdInputsNeverCrashOrHang()
    {
        const double inf = std::numeric_limits<double>::infinity();
        const double nan = std::nan("");
        for (CollageLayout l : allCollageLayouts)
            for (FrameStyle s : allFrameStyles)
                for (double w : {0.0, -300.0, 1e308, inf, -inf, nan})
                    for (double a : {0.0, -1.0, inf, nan, 1e300})
                        for (double tilt : {0.0, 1e308, nan}) {
                            const auto g = PieceGeometry::make(l, s, {a, a, a}, w, true, 0, tilt, true);
                            Q_UNUSED(g.drawable());
                        }
        for (const auto& [width, drawable] : {std::pair{1e308, false}, {nan, false}, {-300.0, false}, {300.0, true}})
            QCOMPARE(PieceGeometry::make(CollageLayout::row, FrameStyle::gallery, {1}, width, false, 1, 0, false).drawable(), drawable);
    }
};

VELORA_TEST(TestGeometry)
#include "test_kit.moc"
