// Which Qt platform pieces run on. (The window hooks run offscreen in every panel test and on a
// real X server in test_x11.)
#include "testing.h"

#include "desktop_window.h"


using namespace velora;

class TestPlatform : public QObject {
    Q_OBJECT
private slots:
    void xwaylandIsPreferredOnlyWithoutAnExplicitChoice()
    {
#ifdef Q_OS_MACOS
        QVERIFY(Platform::preferredQtPlatform({}, "wayland-0", ":0").isEmpty());
#else
        QCOMPARE(Platform::preferredQtPlatform({}, "wayland-0", ":0"), QByteArray("xcb"));
        QVERIFY(Platform::preferredQtPlatform("wayland", "wayland-0", ":0").isEmpty()); // the user's choice
        QVERIFY(Platform::preferredQtPlatform({}, "wayland-0", {}).isEmpty());         // no XWayland
        QVERIFY(Platform::preferredQtPlatform({}, {}, ":0").isEmpty());                // plain X11
        QVERIFY(Platform::preferredQtPlatform("offscreen", {}, {}).isEmpty());
#endif
    }
};

VELORA_TEST(TestPlatform)
#include "test_platform.moc"
