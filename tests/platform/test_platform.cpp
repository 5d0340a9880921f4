// The platform layer without a window system: which Qt platform pieces run on, and hooks that
// must be harmless where they do nothing.
#include "testing.h"

#include "desktop_window.h"

#include <QWidget>
#include <QWindow>

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

    void hooksAreHarmlessWithoutAWindowSystem()
    {
        QCOMPARE(Platform::session(), Platform::Session::other);
        QCOMPARE(Platform::sessionName(Platform::Session::wayland), QStringLiteral("Wayland"));
        QVERIFY(Platform::blendsTranslucentWindows());
        QWidget w;
        w.winId();
        Platform::prepareDesktopWindow(w.windowHandle());
        w.show();
        Platform::desktopWindowShown(w.windowHandle());
        Platform::prepareDesktopWindow(nullptr);
        Platform::desktopWindowShown(nullptr);
        QVERIFY(w.isVisible());
    }
};

VELORA_TEST(TestPlatform)
#include "test_platform.moc"
