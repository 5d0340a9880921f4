// Snapping to edges and the soft grid, and the y-up screen coordinates.
#include "fixtures.h"
#include "testing.h"

#include "screens.h"
#include "snapping.h"


using namespace velora;

namespace {
const Rect V{0, 0, 1440, 875};

Point snap(const Rect& frame, double margin = 20, bool grid = true) { return Snapping::snapped(frame, margin, V, grid); }
} // namespace

class TestSnapping : public QObject {
    Q_OBJECT
private slots:
    void theWorkedExamples()
    {
        // Left edge near; the top is 11 from the grid row at 491.
        QCOMPARE(snap({10, 300, 240, 200}), (Point{-4, 300}));
        // Six points higher the visible top is 5 from it and goes there: edge on x, grid on y.
        QCOMPARE(snap({10, 306, 240, 200}), (Point{-4, 311}));
        // Grid on x, top edge on y.
        QCOMPARE(snap({245 - 20, 850 - 180, 240, 200}), (Point{240 - 20, 859 - 160 - 20}));
    }

    void edgeCaptureIsStrict()
    {
        // r.minX = frame.x + 20; the left edge line is at 16.
        QCOMPARE(snap({38 - 20, 400, 240, 200}, 20, false).x, 38.0 - 20);       // exactly 22: stays
        QCOMPARE(snap({37.99 - 20, 400, 240, 200}, 20, false).x, 16.0 - 20);    // 21.99: snaps
        QCOMPARE(snap({-5.99 - 20, 400, 240, 200}, 20, false).x, 16.0 - 20);    // from outside too
        // Right edge line at 1424: r.maxX = frame.x + 20 + 200.
        QCOMPARE(snap({1402 - 220, 400, 240, 200}, 20, false).x, 1402.0 - 220);
        QCOMPARE(snap({1402.01 - 220, 400, 240, 200}, 20, false).x, 1424.0 - 200 - 20);
        // Top edge line at 859: r.maxY = frame.y + 20 + 160.
        QCOMPARE(snap({400, 837 - 180, 240, 200}, 20, false).y, 837.0 - 180);
        QCOMPARE(snap({400, 837.01 - 180, 240, 200}, 20, false).y, 859.0 - 160 - 20);
        // Bottom edge line at 16.
        QCOMPARE(snap({400, 38 - 20, 240, 200}, 20, false).y, 38.0 - 20);
        QCOMPARE(snap({400, 37.99 - 20, 240, 200}, 20, false).y, 16.0 - 20);
    }

    void leftBeatsRightAndTopBeatsBottom()
    {
        // A piece as wide as V less both gaps plus 10: near both sides, left wins.
        const Rect wide{20 - 20, 400, 1418 + 40, 200};
        QCOMPARE(snap(wide, 20, false).x, 16.0 - 20);
        // As tall as V less the gaps plus 10: near top and bottom, top wins.
        const Rect tall{400, 20 - 20, 240, 853 + 40};
        QCOMPARE(snap(tall, 20, false).y, 859.0 - 853 - 20);
    }

    void theSoftGrid()
    {
        // Columns from V's left: 240 is a column; 7 away does not snap, 6.99 does.
        QCOMPARE(snap({247 - 20, 400 - 20, 240, 200}).x, 247.0 - 20);
        QCOMPARE(snap({246.99 - 20, 400 - 20, 240, 200}).x, 240.0 - 20);
        QCOMPARE(snap({233.01 - 20, 400 - 20, 240, 200}).x, 240.0 - 20);
        // Rows counted down from V's top (875): 491 is one; the top side goes there.
        QCOMPARE(snap({400, 484 - 180, 240, 200}).y, 484.0 - 180);
        QCOMPARE(snap({400, 484.01 - 180, 240, 200}).y, 491.0 - 160 - 20);
        // Off, nothing moves away from the edges.
        QCOMPARE(snap({246.99 - 20, 486 - 180, 240, 200}, 20, false), (Point{246.99 - 20, 486 - 180}));

        // The grid counts from the visible frame, wherever it is.
        const Rect v2{-1440, 40, 1440, 860};
        const Point p = Snapping::snapped({-1440 + 100 - 3, 500, 240, 200}, 0, v2, true);
        QCOMPARE(p.x, -1440.0 + 96);
        QCOMPARE(p.y, 500.0); // top at 700, rows at 900 − 24k: 708 is 8 away
        const Point q = Snapping::snapped({-1440 + 100 - 3, 505, 240, 200}, 0, v2, true);
        QCOMPARE(q.y, 708.0 - 200);
    }

    void screenSpaceFlipsAboutThePrimarysBottom()
    {
        const ScreenSpace space = ScreenSpace::fromPrimary(QRect(0, 0, 1440, 900));
        // The primary's own frame starts at y = 0.
        QCOMPARE(space.fromQt(QRect(0, 0, 1440, 900)), (Rect{0, 0, 1440, 900}));
        // Below the menu bar: the visible frame loses its top.
        QCOMPARE(space.fromQt(QRect(0, 25, 1440, 875)), (Rect{0, 0, 1440, 875}));
        // A window near the top left.
        QCOMPARE(space.fromQt(QRect(10, 20, 100, 50)), (Rect{10, 830, 100, 50}));
        // A display above the primary and one to its left.
        QCOMPARE(space.fromQt(QRect(0, -1080, 1920, 1080)), (Rect{0, 900, 1920, 1080}));
        QCOMPARE(space.fromQt(QRect(-1440, 0, 1440, 900)), (Rect{-1440, 0, 1440, 900}));
        // Round trips.
        const Rect r{12.5, 345.25, 300.75, 200.5};
        QCOMPARE(space.fromQt(space.toQt(r)), r);
        // Whole pixels for a window: corner rounded, size rounded up.
        QCOMPARE(space.windowRect({10.4, 500.3, 300.2, 200}), QRect(10, 200, 301, 200));
        QCOMPARE(space.windowRect({10.6, 500, 300, 200.0000000001}), QRect(11, 200, 300, 200));

        // A primary that does not start at Qt's origin (X11 with several monitors).
        const ScreenSpace shifted = ScreenSpace::fromPrimary(QRect(1920, 180, 1440, 900));
        QCOMPARE(shifted.fromQt(QRect(1920, 180, 1440, 900)), (Rect{1920, 0, 1440, 900}));
        QCOMPARE(shifted.fromQt(QRect(0, 0, 1920, 1080)), (Rect{0, 0, 1920, 1080}));
    }
};

VELORA_TEST(TestSnapping)
#include "test_snapping.moc"
