// One piece on a real X server with a real window manager: Xvfb and openbox are started here, the
// probe shows a piece panel and an ordinary window, and the window manager's view is checked from
// outside: stacking, workspaces, taskbar, focus, pixels on screen, a drag with the pointer, and the
// window manager's "show desktop", which must leave the piece on screen and working.
#include "testing.h"
#include "x11_session.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr uint32_t rootColour = 0x3C8D5A;
const QColor rootQColor(0x3C, 0x8D, 0x5A);

using velora::testing::patience;
using velora::testing::Reply;

bool near(QRgb a, QColor b, int tolerance = 6)
{
    return std::abs(qRed(a) - b.red()) <= tolerance && std::abs(qGreen(a) - b.green()) <= tolerance &&
           std::abs(qBlue(a) - b.blue()) <= tolerance;
}

QString describe(QRgb c) { return QStringLiteral("rgb(%1, %2, %3)").arg(qRed(c)).arg(qGreen(c)).arg(qBlue(c)); }

} // namespace

class TestX11Desktop : public QObject {
    Q_OBJECT
private:
    velora::testing::X11Session m_x;
    xcb_connection_t*& m_c = m_x.c;
    xcb_window_t& m_root = m_x.root;
    QProcessEnvironment& m_env = m_x.env;
    QProcess m_probe;
    QString m_probeOutput;

    xcb_atom_t atom(const char* name) { return m_x.atom(name); }
    std::vector<uint32_t> property(xcb_window_t w, const char* name) { return m_x.property(w, name); }

    QRect rootGeometry(xcb_window_t w) { return m_x.rootGeometry(w); }

    bool viewable(xcb_window_t w) { return m_x.viewable(w); }

    QImage screenshot() { return velora::testing::screenshot(m_c); }

    // A request to the window manager about `w` (the root for requests about the whole screen).
    void rootMessage(const char* type, std::array<uint32_t, 5> data, xcb_window_t w = 0)
    {
        xcb_client_message_event_t e = {};
        e.response_type = XCB_CLIENT_MESSAGE;
        e.format = 32;
        e.window = w ? w : m_root;
        e.type = atom(type);
        std::copy(data.begin(), data.end(), e.data.data32);
        xcb_send_event(m_c, 0, m_root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                       reinterpret_cast<const char*>(&e));
        xcb_flush(m_c);
    }

    // Presses at `from`, moves through `path` and releases, with the real pointer.
    void drag(QPoint from, std::initializer_list<QPoint> path)
    {
        QStringList args;
        const auto move = [&](QPoint p) { args << "mousemove" << "--sync" << QString::number(p.x()) << QString::number(p.y()); };
        move(from);
        args << "mousedown" << "1";
        for (const QPoint p : path) move(p);
        m_x.xdotool(args << "mouseup" << "1");
    }

    QString waitForLine(const QString& prefix, int ms)
    {
        return velora::testing::waitForLine(m_probe, m_probeOutput, prefix, ms);
    }

    // Mapped override-redirect children of the root: menus and popups, whoever shows them.
    std::vector<xcb_window_t> mappedPopups()
    {
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, m_root), nullptr));
        std::vector<xcb_window_t> out;
        if (!tree) return out;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
            Reply<xcb_get_window_attributes_reply_t> a(
                xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, children[i]), nullptr));
            if (a && a->override_redirect && a->map_state == XCB_MAP_STATE_VIEWABLE) out.push_back(children[i]);
        }
        return out;
    }

    // A right press on the piece opens the probe's own menu and nothing from the window manager.
    void rightClickOpensOnlyOurMenu(QPoint at)
    {
        m_probeOutput.clear();
        const auto before = mappedPopups();
        // No --sync: xdotool can wait for ever to reach where the pointer already is.
        m_x.xdotool({"mousemove", QString::number(at.x()), QString::number(at.y()), "mousedown", "3"});
        const QString menuLine = waitForLine("MENU", patience);
        QVERIFY2(!menuLine.isEmpty(), qPrintable("the piece's menu did not open: " + m_probeOutput));
        const auto menu = xcb_window_t(menuLine.section(' ', 1).toULongLong());
        QTest::qWait(400); // time for a window manager's menu to come up too
        for (const xcb_window_t w : mappedPopups())
            QVERIFY2(w == menu || std::find(before.begin(), before.end(), w) != before.end(),
                     qPrintable(QStringLiteral("another popup: 0x%1").arg(w, 0, 16)));
        m_x.xdotool({"mouseup", "3", "key", "Escape"});
        QTRY_VERIFY_WITH_TIMEOUT(!viewable(menu), patience);
    }

    // The first of the states that keep a piece below, out of taskbars and pagers that `w` lacks.
    const char* missingState(xcb_window_t w)
    {
        const auto state = property(w, "_NET_WM_STATE");
        for (const char* s : {"_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER", "_NET_WM_STATE_BELOW"})
            if (std::find(state.begin(), state.end(), atom(s)) == state.end()) return s;
        return nullptr;
    }

    bool isClient(xcb_window_t w)
    {
        const auto clients = property(m_root, "_NET_CLIENT_LIST");
        return std::find(clients.begin(), clients.end(), w) != clients.end();
    }

    bool showingDesktop()
    {
        const auto v = property(m_root, "_NET_SHOWING_DESKTOP");
        return !v.empty() && v[0] == 1;
    }

private slots:
    void initTestCase()
    {
        if (const QString why = m_x.start(); !why.isEmpty()) QSKIP(qPrintable(why + "; skipping the X11 test"));

        m_probe.setProcessEnvironment(m_env);
        m_probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_probe.start(QStringLiteral(VELORA_X11_PROBE), {m_x.home.filePath("library"), QString::number(rootColour, 16)});
        QVERIFY2(m_probe.waitForStarted(5000), "the probe did not start");
    }

    void aPieceSitsOnTheDesktopBelowOrdinaryWindows()
    {
        const QString ready = waitForLine("READY", 20000);
        QVERIFY2(!ready.isEmpty(), qPrintable("the probe did not get ready: " + m_probeOutput));
        const QStringList f = ready.split(' ');
        QCOMPARE(f.size(), 6);
        const auto panel = xcb_window_t(f[1].toULongLong()), normal = xcb_window_t(f[2].toULongLong());
        const int m = int(f[3].toDouble()); // the piece's margin
        QTest::qWait(500);

        // Stacking: the window manager's list runs bottom to top.
        const auto stacking = property(m_root, "_NET_CLIENT_LIST_STACKING");
        const auto pi = std::find(stacking.begin(), stacking.end(), panel);
        const auto ni = std::find(stacking.begin(), stacking.end(), normal);
        QVERIFY2(pi != stacking.end() && ni != stacking.end(), "both windows are managed");
        QVERIFY2(pi < ni, "the piece is below the ordinary window");

        // Every workspace, no taskbar or pager, below, no focus, a normal window without a parent.
        QCOMPARE(property(panel, "_NET_WM_DESKTOP"), std::vector<uint32_t>{0xFFFFFFFFu});
        QCOMPARE(missingState(panel), nullptr);
        QCOMPARE(property(panel, "_NET_WM_WINDOW_TYPE"), std::vector<uint32_t>{atom("_NET_WM_WINDOW_TYPE_NORMAL")});
        const auto hints = property(panel, "WM_HINTS");
        QVERIFY(hints.size() >= 2 && (hints[0] & 1) && hints[1] == 0);
        QVERIFY(property(panel, "WM_TRANSIENT_FOR").empty());
        const auto active = property(m_root, "_NET_ACTIVE_WINDOW");
        QVERIFY(active.empty() || active[0] != panel);

        // On screen: the frame drawn, the desktop through the transparent border, the ordinary
        // window over the piece.
        const QRect pg = rootGeometry(panel), ng = rootGeometry(normal);
        QVERIFY(pg.isValid() && ng.isValid());
        const QImage shot = screenshot();
        const QString file = QDir(QCoreApplication::applicationDirPath()).filePath("x11-desktop.png");
        QVERIFY(!shot.isNull() && shot.save(file));
        qInfo("screenshot: %s", qPrintable(file));
        const QRgb corner = shot.pixel(pg.x() + 1, pg.y() + 1);
        QVERIFY2(near(corner, rootQColor, 0), qPrintable("transparent corner shows " + describe(corner)));
        const QRgb mat = shot.pixel(pg.x() + m + 4, pg.center().y());
        QVERIFY2(near(mat, QColor(251, 251, 251), 8), qPrintable("gallery mat shows " + describe(mat)));
        const QRgb photo = shot.pixel(pg.x() + pg.width() / 3, pg.center().y());
        QVERIFY2(!near(photo, rootQColor, 20) && !near(photo, QColor(251, 251, 251), 20),
                 qPrintable("photo shows " + describe(photo)));
        const QRgb over = shot.pixel(ng.x() + 10, ng.y() + 10);
        QVERIFY2(ng.intersects(pg) && near(over, QColor(0x20, 0x40, 0xC0), 0),
                 qPrintable("where they overlap: " + describe(over)));

        // On another workspace the piece stays and the ordinary window goes.
        rootMessage("_NET_CURRENT_DESKTOP", {1, 0, 0, 0, 0});
        QTRY_VERIFY_WITH_TIMEOUT(!viewable(normal), patience);
        QVERIFY(viewable(panel));
        rootMessage("_NET_CURRENT_DESKTOP", {0, 0, 0, 0, 0});
        QTRY_VERIFY_WITH_TIMEOUT(viewable(normal), patience);

        // A drag with the real pointer: the panel follows and its new place is stored.
        if (QStandardPaths::findExecutable("xdotool").isEmpty()) QSKIP("xdotool is not installed; the drag is not tried");
        const QPoint grab = pg.topLeft() + QPoint(m + 30, m + 30);
        const QPoint by(-60, 50);
        drag(grab, {grab + by / 2, grab + by});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(panel).topLeft(), pg.topLeft() + by, patience);
        QCOMPARE(waitForLine("PLACED", patience), QStringLiteral("PLACED %1 %2").arg(200 + by.x()).arg(300 - by.y()));
        screenshot().save(QDir(QCoreApplication::applicationDirPath()).filePath("x11-desktop-dragged.png"));

        // Locked, the piece lets the pointer through: the same drag moves nothing.
        m_probe.write("lock\n");
        QCOMPARE(waitForLine("LOCKED", patience), QStringLiteral("LOCKED 1"));
        const QRect lockedAt = rootGeometry(panel);
        const QPoint grab2 = lockedAt.topLeft() + QPoint(m + 45, m + 40); // not where the pointer is
        drag(grab2, {grab2 + QPoint(80, 60)});
        QTest::qWait(600);
        QCOMPARE(rootGeometry(panel), lockedAt);
        QVERIFY(viewable(panel));
    }

    // "Show desktop" hides the ordinary window and leaves the piece where it is, drawn over the
    // desktop's icon window and under a dock, in no taskbar, unfocused and taking its own clicks;
    // when it ends, the ordinary window is back above.
    void aPieceStaysWhenTheDesktopIsShown()
    {
        if (QStandardPaths::findExecutable("xdotool").isEmpty()) QSKIP("xdotool is not installed");
        const QStringList f = waitForLine("READY", patience).split(' ');
        QCOMPARE(f.size(), 6);
        const auto panel = xcb_window_t(f[1].toULongLong()), normal = xcb_window_t(f[2].toULongLong());
        const int m = int(f[3].toDouble());
        m_probeOutput.clear();
        m_probe.write("lock\n"); // unlocked again after the first test
        QCOMPARE(waitForLine("LOCKED", patience), QStringLiteral("LOCKED 0"));
        m_probe.write("icons\n");
        const QStringList i = waitForLine("ICONS", patience).split(' ');
        QCOMPARE(i.size(), 4);
        const auto icons = xcb_window_t(i[1].toULongLong()), dock = xcb_window_t(i[2].toULongLong());
        QTRY_VERIFY_WITH_TIMEOUT(viewable(icons) && viewable(dock), patience);
        const QRect pg = rootGeometry(panel), ng = rootGeometry(normal);
        const QPoint overlap = (pg & ng).center();
        QVERIFY(!(pg & ng).isEmpty());
        const QPoint free = pg.topLeft() + QPoint(m + 30, m + 30);
        QVERIFY(!ng.contains(free));

        rootMessage("_NET_SHOWING_DESKTOP", {1, 0, 0, 0, 0});
        // The managed piece shows for a moment before it is withdrawn; only its stand-in is off the
        // client list. (A condition that holds for a moment fails QTRY when it is checked again.)
        QTRY_VERIFY_WITH_TIMEOUT(showingDesktop() && !viewable(normal) && viewable(panel) && !isClient(panel), patience);
        QTest::qWait(500);
        QVERIFY2(viewable(panel) && showingDesktop(), "the piece came back without ending the shown desktop");
        QCOMPARE(rootGeometry(panel), pg);
        const QImage shot = screenshot();
        QVERIFY(shot.save(QDir(QCoreApplication::applicationDirPath()).filePath("x11-desktop-shown.png")));
        const QPoint matAt(pg.x() + m + 4, pg.center().y()), dockAt(matAt.x(), i[3].toInt());
        QVERIFY2(near(shot.pixel(matAt), QColor(251, 251, 251), 8),
                 qPrintable("gallery mat shows " + describe(shot.pixel(matAt))));
        QVERIFY2(near(shot.pixel(dockAt), QColor(0x30, 0xA0, 0xA0), 0),
                 qPrintable("the dock shows " + describe(shot.pixel(dockAt))));
        const QRgb uncovered = shot.pixel(overlap);
        QVERIFY2(!near(uncovered, QColor(0x20, 0x40, 0xC0), 20) && !near(uncovered, rootQColor, 20),
                 qPrintable("where the ordinary window was: " + describe(uncovered)));
        QVERIFY2(!isClient(panel), "no taskbar or pager lists it");

        // A click on the desktop raises the icon window (openbox does); the piece goes over it again.
        m_x.xdotool({"mousemove", "900", "700", "click", "1"});
        QTest::qWait(300);
        QTRY_VERIFY_WITH_TIMEOUT(near(screenshot().pixel(matAt), QColor(251, 251, 251), 8), patience);
        QVERIFY(showingDesktop());
        rootMessage("_NET_CURRENT_DESKTOP", {1, 0, 0, 0, 0});
        QTRY_COMPARE_WITH_TIMEOUT(property(m_root, "_NET_CURRENT_DESKTOP"), std::vector<uint32_t>{1}, patience);
        QTest::qWait(200);
        QVERIFY(viewable(panel) && showingDesktop());
        rootMessage("_NET_CURRENT_DESKTOP", {0, 0, 0, 0, 0});
        QTRY_COMPARE_WITH_TIMEOUT(property(m_root, "_NET_CURRENT_DESKTOP"), std::vector<uint32_t>{0}, patience);

        rightClickOpensOnlyOurMenu(free);
        m_probeOutput.clear();
        const QPoint twice = free + QPoint(8, 8);
        m_x.xdotool({"mousemove", QString::number(twice.x()), QString::number(twice.y()), "click", "--repeat", "2",
                     "--delay", "60", "1"});
        QVERIFY2(!waitForLine("EDITOR", patience).isEmpty(), "a double click opens the editor");
        const QPoint by(40, 30);
        drag(free, {free + by / 2, free + by});
        QTRY_COMPARE_WITH_TIMEOUT(rootGeometry(panel).topLeft(), pg.topLeft() + by, patience);
        QVERIFY(!waitForLine("PLACED", patience).isEmpty());
        QVERIFY(showingDesktop());
        QVERIFY(m_x.activeWindow() != panel);

        rootMessage("_NET_SHOWING_DESKTOP", {0, 0, 0, 0, 0});
        // Its stand-in shows until it is handed back, and then the client.
        QTRY_VERIFY_WITH_TIMEOUT(!showingDesktop() && viewable(normal) && viewable(panel) && isClient(panel), patience);
        // Withdrawn, it lost the window manager's states; they are back with it.
        QTRY_VERIFY2_WITH_TIMEOUT(!missingState(panel), missingState(panel), patience);
        QTest::qWait(300);
        const auto stacking = property(m_root, "_NET_CLIENT_LIST_STACKING");
        const auto pi = std::find(stacking.begin(), stacking.end(), panel);
        const auto ni = std::find(stacking.begin(), stacking.end(), normal);
        QVERIFY2(pi != stacking.end() && ni != stacking.end() && pi < ni, "managed again, below the ordinary window");
        QCOMPARE(property(panel, "_NET_WM_DESKTOP"), std::vector<uint32_t>{0xFFFFFFFFu});
        QVERIFY(m_x.activeWindow() != panel);
        QCOMPARE(rootGeometry(panel).topLeft(), pg.topLeft() + by);
        const QImage back = screenshot();
        QVERIFY(back.save(QDir(QCoreApplication::applicationDirPath()).filePath("x11-desktop-back.png")));
        const QPoint stillOverlap = (rootGeometry(panel) & ng).center();
        QVERIFY2(!(rootGeometry(panel) & ng).isEmpty() && near(back.pixel(stillOverlap), QColor(0x20, 0x40, 0xC0), 0),
                 qPrintable("where they overlap: " + describe(back.pixel(stillOverlap))));
        rightClickOpensOnlyOurMenu(free + by);

        // A show-desktop that iconifies everything instead (fluxbox's): the piece stays until an
        // ordinary window is back.
        constexpr uint32_t iconic = 3;
        rootMessage("WM_CHANGE_STATE", {iconic, 0, 0, 0, 0}, normal);
        rootMessage("WM_CHANGE_STATE", {iconic, 0, 0, 0, 0}, panel);
        QTRY_VERIFY_WITH_TIMEOUT(!viewable(normal) && viewable(panel) && !isClient(panel), patience);
        constexpr uint32_t fromPager = 2;
        rootMessage("_NET_ACTIVE_WINDOW", {fromPager, 0, 0, 0, 0}, normal);
        QTRY_VERIFY_WITH_TIMEOUT(viewable(normal) && viewable(panel) && isClient(panel), patience);
        QTRY_VERIFY_WITH_TIMEOUT(near(screenshot().pixel(stillOverlap), QColor(0x20, 0x40, 0xC0), 0), patience);
    }

    void cleanupTestCase()
    {
        if (m_probe.state() != QProcess::NotRunning) {
            m_probe.terminate();
            if (!m_probe.waitForFinished(3000)) m_probe.kill();
            m_probe.waitForFinished(3000);
        }
        m_x.stop();
    }
};

VELORA_TEST(TestX11Desktop)
#include "test_x11.moc"
