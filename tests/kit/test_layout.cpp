#include "layout.h"
#include "testing.h"

#include <cmath>
#include <limits>

using namespace velora;

namespace {
bool near(double a, double b, double eps = 1e-9) { return std::abs(a - b) <= eps; }
} // namespace

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
#include "test_layout.moc"
