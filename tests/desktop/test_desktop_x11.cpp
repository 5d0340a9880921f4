// Pieces on a real X server whose displays change under them: Xorg with the dummy driver (its
// modes and monitors change with xrandr, as real displays do) and openbox, started here. The
// probe shows a piece on each of two monitors and a slideshow; the test resizes displays, drags
// with the real pointer, right-clicks during a drag, and films a slideshow step under a compositor.
#include "testing.h"
#include "x11_session.h"

#include <QDir>
#include <QProcess>
#include <QSet>

#include <xcb/xcb.h>

namespace {

using velora::testing::patience;
using velora::testing::Reply;
constexpr uint32_t rootColour = 0x3C8D5A;

} // namespace

class TestDesktopX11 : public QObject {
    Q_OBJECT
private:
    velora::testing::X11Session m_x;
    QProcess m_probe;
    QProcess m_compositor;
    QString m_output;
    QList<xcb_window_t> m_windows; // first, second, slideshow
    int m_margin = 0;

    QRect rootGeometry(xcb_window_t w) { return m_x.rootGeometry(w); }

    bool compositing()
    {
        Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
            m_x.c, xcb_get_selection_owner(m_x.c, m_x.atom("_NET_WM_CM_S0")), nullptr));
        return owner && owner->owner != XCB_WINDOW_NONE;
    }

    void xrandr(const QStringList& args) { m_x.run(QStringLiteral("xrandr"), args); }
    // Two monitors side by side on one frame buffer, the left one primary.
    void monitors(QSize left, QSize right)
    {
        xrandr({"--output", "DUMMY0", "--mode", "2880x900"});
        xrandr({"--delmonitor", "L"});
        xrandr({"--delmonitor", "R"});
        const auto geometry = [](QSize s, int x) {
            return QStringLiteral("%1/300x%2/200+%3+0").arg(s.width()).arg(s.height()).arg(x);
        };
        xrandr({"--setmonitor", "L", geometry(left, 0), "DUMMY0"});
        xrandr({"--setmonitor", "R", geometry(right, left.width()), "none"});
    }

    QString waitForLine(const QString& prefix, int ms)
    {
        return velora::testing::waitForLine(m_probe, m_output, prefix, ms);
    }
    void forget() { m_output.clear(); }
    void save(const QImage& image, const QString& name)
    {
        const QString file = QDir(QCoreApplication::applicationDirPath()).filePath(name);
        image.save(file);
        qInfo("screenshot: %s", qPrintable(file));
    }

private slots:
    void initTestCase()
    {
        using Server = velora::testing::X11Session::Server;
        if (const QString why = m_x.start({1440, 900}, true, Server::dummyXorg, {{1280, 800}, {2880, 900}});
            !why.isEmpty())
            QSKIP(qPrintable(why + "; skipping the display tests"));
        if (QStandardPaths::findExecutable("xrandr").isEmpty() || QStandardPaths::findExecutable("xdotool").isEmpty())
            QSKIP("xrandr or xdotool is not installed; skipping the display tests");
        // Pieces blend with the desktop under a compositor: the slideshow's crossfade needs one.
        if (const QString xcompmgr = QStandardPaths::findExecutable("xcompmgr"); !xcompmgr.isEmpty()) {
            m_compositor.setProcessEnvironment(m_x.env);
            m_compositor.start(xcompmgr, {});
            QVERIFY(m_compositor.waitForStarted(5000));
            QTRY_VERIFY_WITH_TIMEOUT(compositing(), patience);
        }

        m_probe.setProcessEnvironment(m_x.env);
        m_probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_probe.start(QStringLiteral(VELORA_DESKTOP_PROBE),
                      {m_x.home.filePath("library"), QString::number(rootColour, 16)});
        QVERIFY(m_probe.waitForStarted(5000));
        const QStringList ready = waitForLine("READY", 20000).split(' ');
        QVERIFY2(ready.size() == 5, qPrintable("the probe did not get ready: " + m_output));
        for (int i = 1; i <= 3; ++i) m_windows << xcb_window_t(ready[i].toULongLong());
        m_margin = int(ready[4].toDouble());
    }

    void aNewModeOfThePrimaryDisplay()
    {
        // One display, 1440 × 900: the first piece's y-up place (200, 300) is 300 up from its bottom.
        const QRect first = rootGeometry(m_windows[0]);
        QCOMPARE(first.topLeft(), QPoint(200, 900 - 300 - first.height()));
        // 1280 × 800: the same place from the bottom left, 100 higher in X's coordinates; nothing
        // is stored.
        forget();
        xrandr({"--output", "DUMMY0", "--mode", "1280x800"});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), QPoint(200, 800 - 300 - first.height()), patience);
        QTest::qWait(300);
        QVERIFY2(!m_output.contains("PLACED"), qPrintable(m_output));

        // The next drag moves the piece by the pointer's way exactly, and stores that.
        const QRect before = rootGeometry(m_windows[0]);
        const QPoint grab = before.topLeft() + QPoint(m_margin + 40, m_margin + 40);
        m_x.xdotool({"mousemove", "--sync", QString::number(grab.x()), QString::number(grab.y()), "mousedown", "1",
                     "mousemove", "--sync", QString::number(grab.x() + 15), QString::number(grab.y() + 10),
                     "mousemove", "--sync", QString::number(grab.x() + 30), QString::number(grab.y() + 20),
                     "mouseup", "1"});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(30, 20), patience);
        QCOMPARE(waitForLine("PLACED 0", patience), QStringLiteral("PLACED 0 230 280"));
    }

    void twoDisplaysChangingUnderThePieces()
    {
        // Two monitors of 1440 × 900: y-up (200, 300) on the left one, (100, 200) on the right.
        monitors({1440, 900}, {1440, 900});
        const QSize size0 = rootGeometry(m_windows[0]).size(), size1 = rootGeometry(m_windows[1]).size();
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), QPoint(200, 900 - 300 - size0.height()), patience);
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[1]).topLeft(), QPoint(1440 + 100, 900 - 200 - size1.height()), patience);
        // The left one becomes 1280 × 800 and the right one follows it to the left.
        forget();
        monitors({1280, 800}, {1440, 900});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), QPoint(200, 800 - 300 - size0.height()), patience);
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[1]).topLeft(), QPoint(1280 + 100, 900 - 200 - size1.height()), patience);
        // The right one shrinks to 1280 × 800: its bottom, and the piece with it, comes up by 100.
        monitors({1280, 800}, {1280, 800});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[1]).topLeft(), QPoint(1280 + 100, 800 - 200 - size1.height()), patience);
        QTest::qWait(300);
        QVERIFY2(!m_output.contains("PLACED"), qPrintable(m_output));
        save(velora::testing::screenshot(m_x.c), "x11-displays.png");
    }

    void aRightClickDuringADragEndsIt()
    {
        const QRect before = rootGeometry(m_windows[0]);
        // Not where the last drag left the pointer: xdotool would wait for a move forever.
        const QPoint grab = before.topLeft() + QPoint(m_margin + 60, m_margin + 50);
        const auto at = [](QPoint p) { return QStringList{"mousemove", "--sync", QString::number(p.x()), QString::number(p.y())}; };
        forget();
        m_x.xdotool(QStringList{} << at(grab) << "mousedown" << "1" << at(grab + QPoint(20, 0))
                                  << at(grab + QPoint(40, 0)) << "mousedown" << "3" << "mouseup" << "3"
                                  << at(grab + QPoint(140, 90)) << at(grab + QPoint(160, 100)) << "mouseup" << "1");
        // The piece stayed where the right click found it, and was stored once.
        QCOMPARE(waitForLine("PLACED 0", patience), QStringLiteral("PLACED 0 240 300"));
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(40, 0), patience);
        QTest::qWait(400);
        QCOMPARE(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(40, 0));
        QCOMPARE(m_output.count("PLACED 0 240 300"), 1);
        QCOMPARE(waitForLine("PLACED", 100), QStringLiteral("PLACED 0 240 300"));
        // No menu came up, and the pointer is free: moving it moves nothing.
        m_x.xdotool(at(grab + QPoint(-100, 50)));
        QTest::qWait(300);
        QCOMPARE(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(40, 0));

        // Escape, though the piece never has the keyboard, ends a drag the same way.
        const QPoint grab2 = before.topLeft() + QPoint(40 + m_margin + 30, m_margin + 30);
        forget();
        m_x.xdotool(QStringList{} << at(grab2) << "mousedown" << "1" << at(grab2 + QPoint(0, 20))
                                  << at(grab2 + QPoint(0, 40)));
        // The keyboard is grabbed when the drag starts: a busy machine may see the key first.
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(40, 40), patience);
        m_x.xdotool(QStringList{} << "key" << "Escape" << at(grab2 + QPoint(90, 90)) << "mouseup" << "1");
        QCOMPARE(waitForLine("PLACED 0", patience), QStringLiteral("PLACED 0 240 260"));
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_windows[0]).topLeft(), before.topLeft() + QPoint(40, 40), patience);
    }

    void aSlideshowStepBetweenShapesUnderACompositor()
    {
        if (m_compositor.state() != QProcess::Running) QSKIP("xcompmgr is not installed");
        const xcb_window_t w = m_windows[2];
        const QRect wide = rootGeometry(w);
        m_probe.write("advance\n");
        // Film the step: the window grows from the landscape's height to the portrait's with
        // its top edge still, and no frame has anything drawn up to the window's edge.
        QList<QImage> frames;
        QSet<int> heights, judged;
        // Until the window has grown and kept still for half a second.
        QElapsedTimer clock, still;
        clock.start();
        still.start();
        QRect last = wide;
        int cutFrames = 0;
        while (clock.elapsed() < patience && !(last.height() > wide.height() * 1.4 && still.elapsed() > 500)) {
            QTest::qWait(30);
            const QRect g = rootGeometry(w), held = m_x.frameGeometry(w), around = g.adjusted(-10, -10, 10, 10);
            const QImage shot = velora::testing::screenshot(m_x.c, around);
            if (!g.isValid() || shot.isNull()) continue;
            heights.insert(g.height());
            QCOMPARE(g.topLeft(), wide.topLeft());
            if (g != last) still.restart();
            last = g;
            // Judged only when the window manager's frame and the window agree before and after
            // the picture: openbox resizes its frame first, whose own background shows along the
            // growing edge until the window follows.
            if (held != g || rootGeometry(w) != g || m_x.frameGeometry(w) != g) continue;
            judged.insert(g.height());
            // The window's outermost pixels match the desktop just outside it.
            const QRect in = g.adjusted(1, 1, -2, -2);
            const auto at = [&](int x, int y) { return shot.pixel(x - around.x(), y - around.y()); };
            int differing = 0;
            for (int x = in.left(); x <= in.right(); x += 3)
                for (const auto& [inside, outside] : {std::pair{in.top(), g.top() - 2}, std::pair{in.bottom(), g.bottom() + 2}})
                    if (outside >= 0 && outside - around.y() < shot.height()) {
                        const QRgb a = at(x, inside), b = at(x, outside);
                        if (std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b)) + std::abs(qBlue(a) - qBlue(b)) > 40)
                            ++differing;
                    }
            if (differing > 2 && ++cutFrames <= 3) save(shot, QStringLiteral("x11-slideshow-cut-%1.png").arg(cutFrames));
            if (frames.size() < 40 && g.height() != wide.height()) frames << shot;
        }
        for (int i = 0; i < frames.size(); i += 8) save(frames[i], QStringLiteral("x11-slideshow-%1.png").arg(i));
        QVERIFY2(last.height() > wide.height() * 1.4, qPrintable(QStringLiteral("%1 → %2").arg(wide.height()).arg(last.height())));
        QVERIFY2(heights.size() >= 6, qPrintable(QStringLiteral("%1 heights").arg(heights.size())));
        QVERIFY2(judged.size() >= 4, qPrintable(QStringLiteral("%1 heights judged").arg(judged.size())));
        QCOMPARE(cutFrames, 0);
        QCOMPARE(rootGeometry(m_windows[2]).isValid(), true); // the same window all along
    }

    void cleanupTestCase()
    {
        velora::testing::stopProgram(m_probe);
        velora::testing::stopProgram(m_compositor);
        m_x.stop();
    }
};

VELORA_TEST(TestDesktopX11)
#include "test_desktop_x11.moc"
