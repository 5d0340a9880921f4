// A piece's shapes on a real X server (Xvfb + openbox, and xcompmgr started and killed here):
// the input shape is the drawn frame, so clicks on the margin reach the window behind; without a
// compositor the piece is opaque over the root's colour or wallpaper, never a black box, with
// blended edges; and it follows xcompmgr stopping and starting again.
#include "testing.h"
#include "x11_session.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

using velora::testing::patience;
using velora::testing::Reply;

constexpr uint32_t rootColour = 0x3C8D5A;
constexpr uint32_t behindColour = 0xC828C8; // magenta: unlike the root, the wallpaper and the piece
constexpr QRgb cellA = qRgb(40, 80, 160), cellB = qRgb(160, 120, 40);
constexpr int cell = 32;

QRgb wallpaperAt(QPoint p) { return ((p.x() / cell + p.y() / cell) % 2) ? cellB : cellA; }

int luma(QRgb c) { return (qRed(c) * 3 + qGreen(c) * 6 + qBlue(c)) / 10; }

bool magentaish(QRgb c) { return qRed(c) > 2 * qGreen(c) + 20 && qBlue(c) > 2 * qGreen(c) + 20 && std::abs(qRed(c) - qBlue(c)) < 30; }

} // namespace

class TestX11Shapes : public QObject {
    Q_OBJECT
    velora::testing::X11Session m_x;
    QProcess m_probe;
    QString m_probeOutput;
    QProcess m_compositor;
    xcb_window_t m_panel = 0;
    xcb_window_t m_behind = 0;
    double m_margin = 0;
    bool m_blendsAtStart = false;

    QString waitForLine(const QString& prefix, int ms = patience)
    {
        return velora::testing::waitForLine(m_probe, m_probeOutput, prefix, ms);
    }
    // Waits for `line` itself, said after everything before it was read.
    bool waitFor(const QString& line)
    {
        m_probeOutput.clear();
        return waitForLine(line) == line;
    }

    QRect rootGeometry(xcb_window_t w) { return m_x.rootGeometry(w); }

    // The window's shape of `kind` as the server holds it, in root coordinates.
    QRegion shape(xcb_window_t w, xcb_shape_kind_t kind)
    {
        Reply<xcb_shape_get_rectangles_reply_t> r(
            xcb_shape_get_rectangles_reply(m_x.c, xcb_shape_get_rectangles(m_x.c, w, kind), nullptr));
        QRegion out;
        if (!r) return out;
        const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(r.get());
        for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(r.get()); ++i)
            out += QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
        return out.translated(rootGeometry(w).topLeft());
    }

    void startProbe(const QProcessEnvironment& env)
    {
        m_probeOutput.clear();
        m_probe.setProcessEnvironment(env);
        m_probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_probe.start(QStringLiteral(VELORA_X11_SHAPES_PROBE), {m_x.home.filePath("library")});
        QVERIFY2(m_probe.waitForStarted(5000), "the probe did not start");
        const QStringList ready = waitForLine("READY", 20000).split(' ');
        QVERIFY2(ready.size() == 4, qPrintable("the probe did not get ready: " + m_probeOutput));
        m_panel = xcb_window_t(ready[1].toULongLong());
        m_margin = ready[2].toDouble();
        m_blendsAtStart = ready[3] == QStringLiteral("1");
        // Placed and mapped: the frame centred in the window.
        QTRY_VERIFY_WITH_TIMEOUT(centred(), patience);
    }

    bool centred()
    {
        const QRect p = rootGeometry(m_panel), f = shape(m_panel, XCB_SHAPE_SK_INPUT).boundingRect();
        return !f.isEmpty() && p.contains(f) && std::abs((p.right() - f.right()) - (f.left() - p.left())) <= 1
            && std::abs((p.bottom() - f.bottom()) - (f.top() - p.top())) <= 1;
    }

    bool boundingShaped(xcb_window_t w)
    {
        Reply<xcb_shape_query_extents_reply_t> e(
            xcb_shape_query_extents_reply(m_x.c, xcb_shape_query_extents(m_x.c, w), nullptr));
        return e && e->bounding_shaped;
    }

    QImage grab(const QString& name)
    {
        const QImage shot = velora::testing::screenshot(m_x.c);
        const QString file = QDir(QCoreApplication::applicationDirPath()).filePath("x11-shapes-" + name + ".png");
        if (!shot.isNull()) shot.save(file);
        qInfo("screenshot: %s", qPrintable(file));
        return shot;
    }

    // Button presses the window behind the piece got since the last call.
    int pressesBehind()
    {
        int n = 0;
        xcb_flush(m_x.c);
        while (xcb_generic_event_t* e = xcb_poll_for_event(m_x.c)) {
            if ((e->response_type & 0x7f) == XCB_BUTTON_PRESS
                && reinterpret_cast<xcb_button_press_event_t*>(e)->event == m_behind)
                ++n;
            std::free(e);
        }
        return n;
    }

    void click(QPoint at)
    {
        // Not --sync: that waits for a move, and forever when the pointer is there already.
        m_x.xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "sleep", "0.1", "click", "1"});
        QTest::qWait(300);
    }

    // Root pixmap of cells of two colours, published as wallpaper setters do.
    void setWallpaper()
    {
        const xcb_screen_t* s = xcb_setup_roots_iterator(xcb_get_setup(m_x.c)).data;
        const xcb_pixmap_t pixmap = xcb_generate_id(m_x.c);
        xcb_create_pixmap(m_x.c, s->root_depth, pixmap, m_x.root, s->width_in_pixels, s->height_in_pixels);
        const xcb_gcontext_t gc = xcb_generate_id(m_x.c);
        xcb_create_gc(m_x.c, gc, pixmap, 0, nullptr);
        for (const QRgb colour : {cellA, cellB}) {
            std::vector<xcb_rectangle_t> cells;
            for (int y = 0; y < s->height_in_pixels; y += cell)
                for (int x = 0; x < s->width_in_pixels; x += cell)
                    if (wallpaperAt({x, y}) == colour) cells.push_back({int16_t(x), int16_t(y), cell, cell});
            const uint32_t pixel = colour & 0xFFFFFF;
            xcb_change_gc(m_x.c, gc, XCB_GC_FOREGROUND, &pixel);
            xcb_poly_fill_rectangle(m_x.c, pixmap, gc, uint32_t(cells.size()), cells.data());
        }
        xcb_change_window_attributes(m_x.c, m_x.root, XCB_CW_BACK_PIXMAP, &pixmap);
        xcb_clear_area(m_x.c, 0, m_x.root, 0, 0, 0, 0);
        xcb_change_property(m_x.c, XCB_PROP_MODE_REPLACE, m_x.root, m_x.atom("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP, 32, 1,
                            &pixmap);
        xcb_flush(m_x.c);
    }

    // Pixels along the frame's top edge, between the mat's brightness and the backdrop's: what
    // antialiasing leaves and a cut-out edge never has.
    int blendedTopEdge(const QImage& shot, const QRegion& frame, int backdropLuma)
    {
        const QRect b = frame.boundingRect();
        int n = 0;
        for (int x = b.left() + b.width() / 4; x < b.right() - b.width() / 4; ++x) {
            int top = b.top();
            while (top < b.bottom() && !frame.contains(QPoint(x, top))) ++top;
            for (int y = top - 2; y <= top + 1; ++y) {
                const int l = luma(shot.pixel(x, y));
                if (l > backdropLuma + 25 && l < 215) ++n;
            }
        }
        return n;
    }

    // Rows where the frame's left edge lies over the window behind, and of those, the ones where
    // 2 pixels out from the edge, where the shadow falls, that window shows.
    std::pair<int, int> behindBesideFrame(const QImage& shot, const QRegion& frame)
    {
        int rows = 0, shows = 0;
        const QRect behind = rootGeometry(m_behind);
        for (int y = behind.top() + 10; y < behind.bottom() - 10; y += 4)
            for (int x = behind.left() + 2; x < behind.right(); ++x)
                if (frame.contains(QPoint(x, y))) {
                    ++rows;
                    shows += magentaish(shot.pixel(x - 2, y)) ? 1 : 0;
                    break;
                }
        return {rows, shows};
    }
    int magentaBesideFrame(const QImage& shot, const QRegion& frame) { return behindBesideFrame(shot, frame).second; }

    // The panel's pixels outside the frame: how many are (nearly) black, and, away from the frame's
    // antialiased edge and the window behind, how many are not their wallpaper cell, shaded at
    // most (what a backdrop out of line with the root's shows), of how many.
    struct Margin {
        int black = 0, offWallpaper = 0, seen = 0;
    };
    Margin margin(const QImage& shot, const QRegion& frame)
    {
        Margin m;
        const QRect p = rootGeometry(m_panel), behind = rootGeometry(m_behind);
        for (int y = p.top(); y <= p.bottom(); ++y)
            for (int x = p.left(); x <= p.right(); ++x) {
                const QPoint at(x, y);
                const QRgb c = shot.pixel(at);
                if (frame.contains(at)) continue;
                m.black += std::max({qRed(c), qGreen(c), qBlue(c)}) < 24 ? 1 : 0;
                if (behind.contains(at) || frame.intersects(QRect(at - QPoint(2, 2), QSize(5, 5)))) continue;
                ++m.seen;
                m.offWallpaper += (wallpaperAt(at) == cellA ? qBlue(c) <= qRed(c) : qRed(c) <= qBlue(c)) ? 1 : 0;
            }
        return m;
    }


private slots:
    void initTestCase()
    {
        if (const QString why = m_x.start({1920, 1200}); !why.isEmpty()) QSKIP(qPrintable(why + "; skipping the X11 shapes test"));
        for (const char* tool : {"xdotool", "xcompmgr"})
            if (QStandardPaths::findExecutable(tool).isEmpty())
                QSKIP(qPrintable(QStringLiteral("%1 is not installed (bash scripts/deps.sh)").arg(tool)));
        xcb_change_window_attributes(m_x.c, m_x.root, XCB_CW_BACK_PIXEL, &rootColour);
        xcb_clear_area(m_x.c, 0, m_x.root, 0, 0, 0, 0);
        xcb_flush(m_x.c);

        startProbe(m_x.env);
        if (QTest::currentTestFailed()) return;
        QCOMPARE(m_blendsAtStart, false); // no compositor yet
        // An unmanaged window at the bottom of the stack, under the piece's left margin and frame.
        const QRect p = rootGeometry(m_panel);
        m_behind = xcb_generate_id(m_x.c);
        const uint32_t values[] = {behindColour, 1, XCB_EVENT_MASK_BUTTON_PRESS};
        xcb_create_window(m_x.c, XCB_COPY_FROM_PARENT, m_behind, m_x.root, int16_t(p.left() - 50),
                          int16_t(p.top() + 40), uint16_t(m_margin + 110), uint16_t(p.height() - 80), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        xcb_map_window(m_x.c, m_behind);
        const uint32_t below = XCB_STACK_MODE_BELOW;
        xcb_configure_window(m_x.c, m_behind, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        xcb_flush(m_x.c);
        QTest::qWait(300);
    }

    void onlyTheFrameTakesThePointer()
    {
        const QRect p = rootGeometry(m_panel);
        const QRegion input = shape(m_panel, XCB_SHAPE_SK_INPUT);
        // Untilted, the frame is one rectangle centred in the window, the margin (and more) around it.
        QCOMPARE(input.rectCount(), 1);
        const QRect frame = input.boundingRect();
        const int m = int(std::round(m_margin));
        QVERIFY2(std::abs(frame.left() - p.left() - m) <= 1 && std::abs(frame.top() - p.top() - m) <= 1,
                 qPrintable(QStringLiteral("frame %1,%2 in a window at %3,%4, margin %5").arg(frame.left()).arg(frame.top())
                                .arg(p.left()).arg(p.top()).arg(m_margin)));

        // A click on the margin reaches the window behind; one on the frame does not.
        pressesBehind();
        const int y = p.center().y();
        click({p.left() + m / 2, y});
        QCOMPARE(pressesBehind(), 1);
        click({frame.left() + 8, y});
        QCOMPARE(pressesBehind(), 0);
        QCOMPARE(rootGeometry(m_panel), p); // a click is no drag

        // Locked, nothing of it takes the pointer; unlocked, the frame again.
        m_probe.write("lock\n");
        QVERIFY(waitFor("LOCKED 1"));
        QVERIFY(shape(m_panel, XCB_SHAPE_SK_INPUT).isEmpty());
        click({frame.left() + 8, y});
        QCOMPARE(pressesBehind(), 1);
        m_probe.write("lock\n");
        QVERIFY(waitFor("LOCKED 0"));
        QCOMPARE(shape(m_panel, XCB_SHAPE_SK_INPUT), input);

        // Without a compositor or a wallpaper the window is cut to the frame: the root's colour
        // and the window behind show around it, never black.
        const QImage shot = grab("plain");
        QCOMPARE(shot.pixel(p.topLeft() + QPoint(2, 2)) & 0xFFFFFF, rootColour);
        QCOMPARE(shot.pixel(p.left() + m / 2, y) & 0xFFFFFF, behindColour);
        QCOMPARE(margin(shot, input).black, 0);
        QVERIFY(luma(shot.pixel(frame.left() + 4, y)) > 240); // the mat
    }

    void withoutACompositorTiltedEdgesBlend()
    {
        m_probe.write("tilt 8\n");
        QVERIFY(waitFor("TILTED 8"));
        QRegion frame = shape(m_panel, XCB_SHAPE_SK_INPUT);
        QVERIFY(frame.rectCount() > 50); // turned: a staircase of rows
        QImage shot = grab("plain-tilted");
        const int plain = blendedTopEdge(shot, frame, luma(rootColour | 0xFF000000u));
        QVERIFY2(plain > 40, qPrintable(QString::number(plain) + " blended edge pixels over a plain root"));
        QCOMPARE(margin(shot, frame).black, 0);
        const auto [rows, shows] = behindBesideFrame(shot, frame);
        QVERIFY(rows > 10);
        QCOMPARE(shows, rows); // cut to the frame: the window behind right beside it

        // With a wallpaper the piece is drawn over the part of it beneath, its shadow too.
        setWallpaper();
        QCOMPARE(waitForLine("WALLPAPER"), QStringLiteral("WALLPAPER 1920 1200"));
        QTest::qWait(400);
        shot = grab("wallpaper-tilted");
        frame = shape(m_panel, XCB_SHAPE_SK_INPUT);
        const QRegion bounding = shape(m_panel, XCB_SHAPE_SK_BOUNDING);
        QVERIFY(bounding.boundingRect().contains(frame.boundingRect().adjusted(-2, -2, 2, 2)));
        const int walled = blendedTopEdge(shot, frame, luma(cellB));
        QVERIFY2(walled > 40, qPrintable(QString::number(walled) + " blended edge pixels over the wallpaper"));
        // Around the frame every pixel is its own wallpaper cell, shaded at most: the backdrop
        // lines up with the root's.
        const Margin around = margin(shot, frame);
        QCOMPARE(around.black, 0);
        QVERIFY(around.seen > 5000);
        QCOMPARE(around.offWallpaper, 0);
        // Over the window behind the opaque shadow shows wallpaper, not the window.
        QCOMPARE(magentaBesideFrame(shot, frame), 0);

        // Dragged elsewhere, it shows the wallpaper of its new place once it comes to rest; and
        // back again.
        const QRect home = rootGeometry(m_panel);
        for (const QPoint by : {QPoint(90, 60), QPoint(-90, -60)}) {
            const QPoint from = rootGeometry(m_panel).center();
            m_x.xdotool({"mousemove", QString::number(from.x()), QString::number(from.y()), "sleep", "0.1", "mousedown", "1",
                         "mousemove", QString::number(from.x() + by.x() / 2), QString::number(from.y() + by.y() / 2),
                         "sleep", "0.1", "mousemove", QString::number(from.x() + by.x()), QString::number(from.y() + by.y()),
                         "sleep", "0.1", "mouseup", "1"});
            QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(m_panel).center(), from + by, patience);
            QTest::qWait(500);
            const QImage moved = grab(by.x() > 0 ? "wallpaper-dragged" : "wallpaper-dragged-back");
            const Margin there = margin(moved, shape(m_panel, XCB_SHAPE_SK_INPUT));
            QVERIFY(there.seen > 5000);
            QCOMPARE(there.offWallpaper, 0);
        }
        QCOMPARE(rootGeometry(m_panel), home);
    }

    // A slideshow step to another landscape fades over the wallpaper: the middle of the photo
    // passes through blends of the two, and around the frame only wallpaper ever shows.
    void withoutACompositorAStepFades()
    {
        const QRegion frame = shape(m_panel, XCB_SHAPE_SK_INPUT);
        const QPoint middle = frame.boundingRect().center();
        const QRgb from = velora::testing::screenshot(m_x.c).pixel(middle);
        m_probe.write("step\n");
        QVERIFY(waitFor("STEPPED"));
        QSet<QRgb> colours;
        QRgb to = from;
        int wrong = 0;
        bool halfway = false;
        // Until the new photo has shown for half a second.
        QElapsedTimer clock, still;
        clock.start();
        still.start();
        while (clock.elapsed() < patience && !(colours.size() > 1 && still.elapsed() > 500)) {
            const QImage shot = velora::testing::screenshot(m_x.c);
            if (shot.pixel(middle) != to) still.restart();
            to = shot.pixel(middle);
            colours.insert(to);
            const Margin m = margin(shot, frame);
            if (m.black + m.offWallpaper > 0 && ++wrong == 1) grab("step-off-wallpaper");
            if (!halfway && clock.elapsed() > 600) {
                halfway = true;
                grab("step-halfway");
            }
            QTest::qWait(30);
        }
        QVERIFY(to != from);
        QVERIFY2(colours.size() >= 3, qPrintable(QStringLiteral("%1 colours").arg(colours.size())));
        QCOMPARE(wrong, 0);
        QCOMPARE(shape(m_panel, XCB_SHAPE_SK_INPUT), frame);
    }

    void followsTheCompositor()
    {
        const QRegion frame = shape(m_panel, XCB_SHAPE_SK_INPUT);

        // Blended: no window shape; the window behind shows through the shadow.
        m_compositor.setProcessEnvironment(m_x.env);
        m_compositor.start(QStandardPaths::findExecutable("xcompmgr"), {});
        QVERIFY(m_compositor.waitForStarted(5000));
        QVERIFY(waitFor("BLENDS 1"));
        QTRY_VERIFY_WITH_TIMEOUT(!boundingShaped(m_panel), patience);
        QTRY_VERIFY_WITH_TIMEOUT(magentaBesideFrame(velora::testing::screenshot(m_x.c), frame) > 10, patience);
        QImage shot = grab("composited");
        QCOMPARE(margin(shot, frame).black, 0);
        QCOMPARE(shape(m_panel, XCB_SHAPE_SK_INPUT), frame); // still only the frame takes the pointer

        // Stopped: opaque over the wallpaper again at once, no black box.
        velora::testing::stopProgram(m_compositor);
        QVERIFY(waitFor("BLENDS 0"));
        QTRY_VERIFY_WITH_TIMEOUT(boundingShaped(m_panel), patience);
        QTest::qWait(400);
        shot = grab("compositor-stopped");
        QCOMPARE(margin(shot, frame).black, 0);
        QCOMPARE(magentaBesideFrame(shot, frame), 0);
        const QRect p = rootGeometry(m_panel);
        QCOMPARE(shot.pixel(p.topRight() + QPoint(-2, 2)), wallpaperAt(p.topRight() + QPoint(-2, 2)));
        QVERIFY(luma(shot.pixel(p.center())) > 40); // the photo, drawn

        // And blended again when one starts.
        m_compositor.start(QStandardPaths::findExecutable("xcompmgr"), {});
        QVERIFY(waitFor("BLENDS 1"));
        QTRY_VERIFY_WITH_TIMEOUT(!boundingShaped(m_panel), patience);
        QTRY_VERIFY_WITH_TIMEOUT(magentaBesideFrame(velora::testing::screenshot(m_x.c), frame) > 10, patience);
        grab("composited-again");
    }

    void atTwiceThePixelRatio()
    {
        velora::testing::stopProgram(m_compositor);
        velora::testing::stopProgram(m_probe);
        QProcessEnvironment env = m_x.env;
        env.insert("QT_SCALE_FACTOR", "2");
        startProbe(env);
        if (QTest::currentTestFailed()) return;
        QVERIFY(!m_blendsAtStart);
        // Shapes in device pixels: the frame twice the margin in, around it the wallpaper in line.
        const QRect p = rootGeometry(m_panel);
        const QRegion input = shape(m_panel, XCB_SHAPE_SK_INPUT);
        QCOMPARE(input.rectCount(), 1);
        QVERIFY2(std::abs(input.boundingRect().left() - p.left() - 2 * m_margin) <= 2,
                 qPrintable(QStringLiteral("frame at %1 in a window at %2").arg(input.boundingRect().left()).arg(p.left())));
        QTest::qWait(400);
        const QImage shot = grab("twice");
        const Margin around = margin(shot, input);
        QVERIFY(around.seen > 20000);
        QCOMPARE(around.offWallpaper, 0);
        QCOMPARE(around.black, 0);
    }

    void cleanupTestCase()
    {
        velora::testing::stopProgram(m_compositor);
        velora::testing::stopProgram(m_probe);
        m_x.stop();
    }
};

VELORA_TEST(TestX11Shapes)
#include "test_x11_shapes.moc"
