#include "frames.h"
#include "layout.h"
#include "testing.h"

using namespace velora;

class TestFrames : public QObject {
    Q_OBJECT
private slots:
    // The raw values are what the state files hold.
    void rawValuesInDeclarationOrder()
    {
        const char* styles[] = {"gallery", "instant", "film", "bare", "tape"};
        QCOMPARE(allFrameStyles.size(), std::size(styles));
        for (size_t i = 0; i < allFrameStyles.size(); ++i) {
            QCOMPARE(rawValue(allFrameStyles[i]), std::string_view(styles[i]));
            QCOMPARE(frameStyleFromRaw(styles[i]), std::optional(allFrameStyles[i]));
        }
        const char* layouts[] = {"single", "row", "column", "justified", "stack", "frieze"};
        QCOMPARE(allCollageLayouts.size(), std::size(layouts));
        for (size_t i = 0; i < allCollageLayouts.size(); ++i) {
            QCOMPARE(rawValue(allCollageLayouts[i]), std::string_view(layouts[i]));
            QCOMPARE(collageLayoutFromRaw(layouts[i]), std::optional(allCollageLayouts[i]));
        }
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
#include "test_frames.moc"
