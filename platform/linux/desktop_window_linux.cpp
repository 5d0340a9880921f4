// X11: EWMH hints that keep a piece above the desktop and below ordinary windows, on every
// workspace, out of taskbars and pagers, never focused. Wayland gives ordinary clients no say in
// stacking or workspaces; there the frameless, non-focusing window Qt makes is all we get.
#include "desktop_window.h"

#include <QGuiApplication>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace velora::Platform {

namespace {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_connection_t* connection()
{
    if (session() != Session::x11) return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_window_t rootOf(xcb_connection_t* c, xcb_window_t window)
{
    Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(c, xcb_query_tree(c, window), nullptr));
    return tree ? tree->root : xcb_window_t(XCB_WINDOW_NONE);
}

constexpr uint32_t allDesktops = 0xFFFFFFFFu;

struct Atoms {
    xcb_atom_t type, normal, state, below, sticky, skipTaskbar, skipPager, desktop;
    explicit Atoms(xcb_connection_t* c)
        : type(atom(c, "_NET_WM_WINDOW_TYPE"))
        , normal(atom(c, "_NET_WM_WINDOW_TYPE_NORMAL"))
        , state(atom(c, "_NET_WM_STATE"))
        , below(atom(c, "_NET_WM_STATE_BELOW"))
        , sticky(atom(c, "_NET_WM_STATE_STICKY"))
        , skipTaskbar(atom(c, "_NET_WM_STATE_SKIP_TASKBAR"))
        , skipPager(atom(c, "_NET_WM_STATE_SKIP_PAGER"))
        , desktop(atom(c, "_NET_WM_DESKTOP"))
    {
    }
    std::array<xcb_atom_t, 4> states() const { return {below, sticky, skipTaskbar, skipPager}; }
};

// A normal window in the "below" state: the window manager's layer between the desktop and
// ordinary windows, like the macOS level. Not desktop: that shares the bottom layer with the
// desktop background and its icon window, which can cover it. Not dock: docks are kept above
// ordinary windows. Not utility (nor Qt's own list for frameless windows, which adds KDE's
// "override"): openbox, for one, treats a utility window without a parent as a transient of the
// application's window group and stacks it above the group's other windows, below state or not.
void setWindowType(xcb_connection_t* c, xcb_window_t w, const Atoms& a)
{
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, a.type, XCB_ATOM_ATOM, 32, 1, &a.normal);
}

void sendClientMessage(xcb_connection_t* c, xcb_window_t root, xcb_window_t w, xcb_atom_t type,
                       std::array<uint32_t, 5> data)
{
    xcb_client_message_event_t event;
    std::memset(&event, 0, sizeof event);
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = w;
    event.type = type;
    std::memcpy(event.data.data32, data.data(), sizeof(uint32_t) * 5);
    xcb_send_event(c, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&event));
}

} // namespace

void prepareDesktopWindow(QWindow* window)
{
    xcb_connection_t* c = connection();
    if (!c || !window) return;
    const auto w = xcb_window_t(window->winId());
    const Atoms a(c);
    setWindowType(c, w, a);

    // Merged with what is there: Qt adds its own states (and keeps ours) when it maps the window.
    std::vector<xcb_atom_t> states;
    Reply<xcb_get_property_reply_t> current(
        xcb_get_property_reply(c, xcb_get_property(c, 0, w, a.state, XCB_ATOM_ATOM, 0, 1024), nullptr));
    if (current && current->format == 32 && current->type == XCB_ATOM_ATOM) {
        const auto* data = static_cast<const xcb_atom_t*>(xcb_get_property_value(current.get()));
        states.assign(data, data + xcb_get_property_value_length(current.get()) / 4);
    }
    for (xcb_atom_t s : a.states())
        if (std::find(states.begin(), states.end(), s) == states.end()) states.push_back(s);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, a.state, XCB_ATOM_ATOM, 32, uint32_t(states.size()),
                        states.data());
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, a.desktop, XCB_ATOM_CARDINAL, 32, 1, &allDesktops);

    // WM_HINTS: input false, so the window manager never gives it the keyboard.
    std::array<uint32_t, 9> hints{};
    Reply<xcb_get_property_reply_t> old(xcb_get_property_reply(
        c, xcb_get_property(c, 0, w, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 0, 9), nullptr));
    if (old && old->format == 32) {
        const int n = std::min<int>(9, xcb_get_property_value_length(old.get()) / 4);
        std::memcpy(hints.data(), xcb_get_property_value(old.get()), size_t(n) * 4);
    }
    constexpr uint32_t inputHint = 1;
    hints[0] |= inputHint;
    hints[1] = 0;
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32, 9, hints.data());
    xcb_flush(c);
}

void desktopWindowShown(QWindow* window)
{
    xcb_connection_t* c = connection();
    if (!c || !window || !window->isVisible()) return;
    const auto w = xcb_window_t(window->winId());
    const xcb_window_t root = rootOf(c, w);
    if (root == XCB_WINDOW_NONE) return;
    const Atoms a(c);
    // Qt writes its own window type again whenever the flags change.
    setWindowType(c, w, a);
    constexpr uint32_t add = 1;
    constexpr uint32_t fromApplication = 1;
    sendClientMessage(c, root, w, a.state, {add, a.below, a.sticky, fromApplication, 0});
    sendClientMessage(c, root, w, a.state, {add, a.skipTaskbar, a.skipPager, fromApplication, 0});
    sendClientMessage(c, root, w, a.desktop, {allDesktops, fromApplication, 0, 0, 0});
    xcb_flush(c);
}

namespace {

// The startup notification's "remove" message, so the launcher stops its busy feedback: the
// text goes to the root window in 20-byte pieces, the first as _NET_STARTUP_INFO_BEGIN.
void endStartupNotification(xcb_connection_t* c, xcb_window_t root, xcb_window_t from, const QByteArray& id)
{
    QByteArray text = "remove: ID=\"";
    for (const char ch : id) {
        if (ch == '"' || ch == '\\') text += '\\';
        text += ch;
    }
    text += "\"";
    text += '\0';
    const xcb_atom_t begin = atom(c, "_NET_STARTUP_INFO_BEGIN");
    const xcb_atom_t more = atom(c, "_NET_STARTUP_INFO");
    for (int at = 0; at < text.size(); at += 20) {
        xcb_client_message_event_t event;
        std::memset(&event, 0, sizeof event);
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 8;
        event.window = from;
        event.type = at == 0 ? begin : more;
        std::memcpy(event.data.data8, text.constData() + at, size_t(std::min<int>(20, int(text.size()) - at)));
        xcb_send_event(c, 0, root, XCB_EVENT_MASK_PROPERTY_CHANGE, reinterpret_cast<const char*>(&event));
    }
}

// A startup id ends in "_TIME<n>": the time of the click that launched, in X server time.
uint32_t timeOf(const QByteArray& id)
{
    const int at = id.lastIndexOf("_TIME");
    if (at < 0) return 0;
    bool ok = false;
    const qulonglong t = id.mid(at + 5).toULongLong(&ok);
    return ok && t <= 0xFFFFFFFFull ? uint32_t(t) : 0;
}

} // namespace

void activateWindow(QWindow* window, const QByteArray& token)
{
    if (!window) return;
    window->raise();
    xcb_connection_t* c = connection();
    if (!c) {
        window->requestActivate();
        return;
    }
    const auto w = xcb_window_t(window->winId());
    const xcb_window_t root = rootOf(c, w);
    if (root == XCB_WINDOW_NONE) return;
    if (!token.isEmpty()) {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, atom(c, "_NET_STARTUP_ID"), atom(c, "UTF8_STRING"), 8,
                            uint32_t(token.size()), token.constData());
        endStartupNotification(c, root, w, token);
    }
    // With a launch time the window manager weighs it against the user's last input, as for any
    // application; without one the request comes from the user's own second launch, which a
    // pager's request stands for.
    const uint32_t time = timeOf(token);
    constexpr uint32_t fromApplication = 1;
    constexpr uint32_t fromPager = 2;
    sendClientMessage(c, root, w, atom(c, "_NET_ACTIVE_WINDOW"), {time ? fromApplication : fromPager, time, 0, 0, 0});
    xcb_flush(c);
}

bool blendsTranslucentWindows()
{
    xcb_connection_t* c = connection();
    if (!c) return true; // Wayland always composites; offscreen has nothing to blend with
    int screen = 0;
    const QByteArray display = qgetenv("DISPLAY");
    const int dot = display.lastIndexOf('.');
    if (dot > display.lastIndexOf(':')) screen = display.mid(dot + 1).toInt();
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screen);
    const xcb_atom_t cm = atom(c, name.constData());
    Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, cm), nullptr));
    return owner && owner->owner != XCB_WINDOW_NONE;
}

bool primaryButtonDown()
{
    xcb_connection_t* c = connection();
    if (!c) return QGuiApplication::mouseButtons() & Qt::LeftButton;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    Reply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(c, xcb_query_pointer(c, root), nullptr));
    // No answer: keep the drag, the release or the next check will end it.
    return !pointer || (pointer->mask & XCB_BUTTON_MASK_1);
}

} // namespace velora::Platform
