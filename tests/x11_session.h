#pragma once
// A real X server for the tests that need one: Xvfb on a display it picks itself, openbox on it
// unless a test brings its own desktop, and an environment for the programs started there, with
// their own settings, data and runtime folders; pictures of its screen, and the lines of the
// programs a test runs on it.
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace velora::testing {

// How long a test waits for the X server, the window manager or a program it started to get
// somewhere: a loaded machine stalls them for seconds, and a wait ends once its condition holds.
constexpr int patience = 20000;

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// The display (":N") an X server started with -displayfd 1 writes, or empty when it did not come up.
inline QString displayOf(QProcess& server)
{
    if (!server.waitForStarted(5000)) return {};
    QByteArray number;
    for (int i = 0; i < 100 && !number.contains('\n'); ++i) {
        server.waitForReadyRead(100);
        number += server.readAllStandardOutput();
    }
    if (!number.contains('\n')) return {};
    return QStringLiteral(":") + QString::fromLatin1(number.trimmed());
}

// Starts Xvfb with one screen of `size`; its display (":N"), or empty when it did not come up.
inline QString startXvfb(QProcess& xvfb, const QString& program, QSize size)
{
    const QString screen = QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height());
    xvfb.start(program, {"-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-br"});
    return displayOf(xvfb);
}

// The part `area` of the root window (all of it when empty), or a null image.
inline QImage screenshot(xcb_connection_t* c, QRect area = {})
{
    const xcb_screen_t* s = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const QRect screen(0, 0, s->width_in_pixels, s->height_in_pixels);
    const QRect r = area.isEmpty() ? screen : area & screen;
    if (r.isEmpty()) return {};
    Reply<xcb_get_image_reply_t> img(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, s->root, int16_t(r.x()), int16_t(r.y()), uint16_t(r.width()),
                         uint16_t(r.height()), ~0u),
        nullptr));
    if (!img || img->depth != 24) return {};
    if (xcb_get_image_data_length(img.get()) != r.width() * r.height() * 4) return {};
    return QImage(xcb_get_image_data(img.get()), r.width(), r.height(), QImage::Format_RGB32).copy();
}

// The last complete line of `output` that starts with `prefix`, reading more of the program's
// standard output for up to `ms`; empty when none came.
inline QString waitForLine(QProcess& program, QString& output, const QString& prefix, int ms)
{
    QElapsedTimer t;
    t.start();
    for (;;) {
        QStringList lines = output.split(u'\n');
        lines.removeLast(); // not finished yet, or empty after the last newline
        for (auto it = lines.crbegin(); it != lines.crend(); ++it)
            if (it->startsWith(prefix)) return *it;
        if (t.elapsed() >= ms || program.state() == QProcess::NotRunning) return {};
        program.waitForReadyRead(100);
        output += QString::fromLocal8Bit(program.readAllStandardOutput());
    }
}

// Ends a program politely, then for good.
inline void stopProgram(QProcess& program)
{
    if (program.state() == QProcess::NotRunning) return;
    program.terminate();
    if (!program.waitForFinished(3000)) {
        program.kill();
        program.waitForFinished(3000);
    }
}

// Starts Xorg with the dummy video driver: unlike Xvfb it changes modes and monitors with xrandr,
// as a real display does. It starts in the first of `modes` (named "WxH"); the frame buffer can
// grow to the largest. Its display, or empty.
inline QString startDummyXorg(QProcess& xorg, const QString& program, const QList<QSize>& modes, const QString& folder)
{
    QString lines, names;
    QSize most;
    for (const QSize m : modes) {
        const QString name = QStringLiteral("%1x%2").arg(m.width()).arg(m.height());
        lines += QStringLiteral("  Modeline \"%1\" 200.00 %2 %3 %4 %5 %6 %7 %8 %9\n")
                     .arg(name)
                     .arg(m.width())
                     .arg(m.width() + 8)
                     .arg(m.width() + 16)
                     .arg(m.width() + 24)
                     .arg(m.height())
                     .arg(m.height() + 3)
                     .arg(m.height() + 6)
                     .arg(m.height() + 9);
        names += QStringLiteral(" \"%1\"").arg(name);
        most = most.expandedTo(m);
    }
    const QString conf = QStringLiteral(R"(Section "ServerFlags"
  Option "AutoAddDevices" "false"
  Option "AutoEnableDevices" "false"
  Option "DontVTSwitch" "true"
EndSection
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 256000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5.0-1000.0
  VertRefresh 5.0-200.0
%1EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual %2 %3
    Modes%4
  EndSubSection
EndSection
)").arg(lines).arg(most.width()).arg(most.height()).arg(names);
    QFile file(QDir(folder).filePath("xorg.conf"));
    if (!file.open(QIODevice::WriteOnly) || file.write(conf.toUtf8()) < 0) return {};
    file.close();
    xorg.start(program, {"-displayfd", "1", "-config", file.fileName(), "-configdir", QDir(folder).filePath("none"),
                         "-logfile", QDir(folder).filePath("xorg.log"), "-noreset", "-nolisten", "tcp", "-quiet"});
    return displayOf(xorg);
}

class X11Session {
public:
    ~X11Session() { stop(); }

    enum class Server { xvfb, dummyXorg };

    // An empty string when it runs, else why not (a missing program is a reason to skip). Xorg's
    // dummy starts at `screen` and also knows `modes`.
    QString start(QSize screen = {1280, 800}, bool windowManager = true, Server server = Server::xvfb,
                  const QList<QSize>& modes = {})
    {
        const QString xvfb = QStandardPaths::findExecutable("Xvfb");
        const QString openbox = QStandardPaths::findExecutable("openbox");
        if (xvfb.isEmpty() || (windowManager && openbox.isEmpty()))
            return QStringLiteral("Xvfb or openbox is not installed (bash scripts/deps.sh installs both)");
        if (server == Server::dummyXorg) {
            const QString xorg = QStandardPaths::findExecutable("Xorg");
            if (xorg.isEmpty() || !QFile::exists("/usr/lib/xorg/modules/drivers/dummy_drv.so"))
                return QStringLiteral("Xorg's dummy driver is not installed (bash scripts/deps.sh installs it)");
            display = startDummyXorg(m_xvfb, xorg, QList<QSize>{screen} + modes, home.path());
            if (display.isEmpty()) return QStringLiteral("Xorg with the dummy driver did not start (see xorg.log)");
        } else {
            display = startXvfb(m_xvfb, xvfb, screen);
        }
        if (display.isEmpty()) return QStringLiteral("Xvfb did not start");

        c = xcb_connect(display.toLatin1().constData(), nullptr);
        if (!c || xcb_connection_has_error(c)) return QStringLiteral("cannot connect to Xvfb");
        root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;

        QDir().mkpath(home.filePath("runtime"));
        QFile::setPermissions(home.filePath("runtime"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        env.insert("DISPLAY", display);
        env.insert("HOME", home.path());
        env.insert("XDG_CONFIG_HOME", home.filePath("config"));
        env.insert("XDG_DATA_HOME", home.filePath("data"));
        env.insert("XDG_RUNTIME_DIR", home.filePath("runtime"));
        env.insert("QT_QPA_PLATFORM", "xcb");
        env.remove("WAYLAND_DISPLAY");
        env.remove("DBUS_SESSION_BUS_ADDRESS");
        if (!windowManager) return {};
        m_wm.setProcessEnvironment(env);
        m_wm.start(openbox, {});
        if (!m_wm.waitForStarted(5000)) return QStringLiteral("openbox did not start");
        QElapsedTimer t;
        t.start();
        while (property(root, "_NET_SUPPORTING_WM_CHECK").empty()) {
            if (t.elapsed() > 10000) return QStringLiteral("openbox did not take the screen");
            QTest::qWait(50);
        }
        return {};
    }

    void stop()
    {
        for (QProcess* p : {&m_wm, &m_xvfb}) stopProgram(*p);
        if (c) xcb_disconnect(c);
        c = nullptr;
    }

    xcb_atom_t atom(const char* name)
    {
        Reply<xcb_intern_atom_reply_t> r(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr));
        return r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
    }

    std::vector<uint32_t> property(xcb_window_t w, const char* name)
    {
        Reply<xcb_get_property_reply_t> r(xcb_get_property_reply(
            c, xcb_get_property(c, 0, w, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 4096), nullptr));
        if (!r || r->format != 32) return {};
        const auto* data = static_cast<const uint32_t*>(xcb_get_property_value(r.get()));
        return std::vector<uint32_t>(data, data + xcb_get_property_value_length(r.get()) / 4);
    }

    // Where `w` is on the root, as large as it is.
    QRect rootGeometry(xcb_window_t w)
    {
        Reply<xcb_get_geometry_reply_t> g(xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr));
        Reply<xcb_translate_coordinates_reply_t> t(
            xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, w, root, 0, 0), nullptr));
        return g && t ? QRect(t->dst_x, t->dst_y, g->width, g->height) : QRect();
    }

    // The geometry of what holds `w` on the root: the window manager's frame, or `w` itself.
    QRect frameGeometry(xcb_window_t w)
    {
        for (;;) {
            Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, w), nullptr));
            if (!tree) return {};
            if (tree->parent == root) return rootGeometry(w);
            w = tree->parent;
        }
    }

    bool viewable(xcb_window_t w)
    {
        Reply<xcb_get_window_attributes_reply_t> a(
            xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, w), nullptr));
        return a && a->map_state == XCB_MAP_STATE_VIEWABLE;
    }

    // Runs a program (xdotool, xrandr) with the session's display; its output, trimmed.
    QString run(const QString& program, const QStringList& args)
    {
        QProcess x;
        x.setProcessEnvironment(env);
        x.start(QStandardPaths::findExecutable(program), args);
        x.waitForFinished(10000);
        return QString::fromLocal8Bit(x.readAllStandardOutput()).trimmed();
    }
    QString xdotool(const QStringList& args) { return run(QStringLiteral("xdotool"), args); }

    // Visible windows whose title is exactly `title`.
    QList<xcb_window_t> windowsNamed(const QString& title)
    {
        QList<xcb_window_t> out;
        for (const QString& id : xdotool({"search", "--onlyvisible", "--name", "^" + title + "$"}).split('\n', Qt::SkipEmptyParts))
            out.append(xcb_window_t(id.toULong()));
        return out;
    }

    xcb_window_t activeWindow()
    {
        const auto active = property(root, "_NET_ACTIVE_WINDOW");
        return active.empty() ? 0 : active[0];
    }

    QTemporaryDir home;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    QString display;
    xcb_connection_t* c = nullptr;
    xcb_window_t root = 0;

private:
    QProcess m_xvfb;
    QProcess m_wm;
};

} // namespace velora::testing
