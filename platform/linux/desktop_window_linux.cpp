// X11: EWMH hints that keep a piece above the desktop and below ordinary windows, on every
// workspace, out of taskbars and pagers, never focused. Wayland gives ordinary clients no say in
// stacking or workspaces; there the frameless, non-focusing window Qt makes is all we get.
#include "desktop_window.h"
#include "xcb_support.h"

#include <QAbstractNativeEventFilter>
#include <QEvent>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QPointer>
#include <QTimer>
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

using Xcb::atom;
using Xcb::connection;
using Xcb::Reply;

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

// Interned once: Qt keeps one connection for the whole process, and every show asks for them.
const Atoms& atomsOf(xcb_connection_t* c)
{
    static const Atoms atoms(c);
    return atoms;
}

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

// The hints a piece's window carries while the window manager manages it. Written before each
// map: a window manager drops _NET_WM_STATE and _NET_WM_DESKTOP when a window is withdrawn.
void writeHints(xcb_connection_t* c, xcb_window_t w, const Atoms& a)
{
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
}

// The same hints as requests, for window managers that only listen to those about mapped windows.
void requestHints(xcb_connection_t* c, xcb_window_t root, xcb_window_t w, const Atoms& a)
{
    // Qt writes its own window type again whenever the flags change.
    setWindowType(c, w, a);
    constexpr uint32_t add = 1;
    constexpr uint32_t fromApplication = 1;
    sendClientMessage(c, root, w, a.state, {add, a.below, a.sticky, fromApplication, 0});
    sendClientMessage(c, root, w, a.state, {add, a.skipTaskbar, a.skipPager, fromApplication, 0});
    sendClientMessage(c, root, w, a.desktop, {allDesktops, fromApplication, 0, 0, 0});
}

void setOverrideRedirect(xcb_connection_t* c, xcb_window_t w, bool on)
{
    const uint32_t value = on ? 1 : 0;
    xcb_change_window_attributes(c, w, XCB_CW_OVERRIDE_REDIRECT, &value);
}

// "Show desktop" hides every window the window manager counts as ordinary, and a piece in the
// below state is one: openbox and icewm unmap it, mutter and kwin stop drawing it, fluxbox (whose
// command sets no _NET_SHOWING_DESKTOP) iconifies it. The window types they spare (desktop, dock)
// are worse the rest of the time: a desktop window shares the bottom layer with the file
// manager's full-screen icon window, which openbox raises over it at every click on the desktop;
// docks stay above ordinary windows. So for as long as the desktop is shown, each piece leaves the
// window manager: it is withdrawn and comes back as an override-redirect window, which nothing
// hides, typed as a desktop window. It is kept just above the topmost desktop window (the icon
// window), or else at the bottom of the stack, above what the window manager keeps there; docks
// stay above it. Override-redirect, it is on every workspace, in no taskbar or pager, never given
// focus, and its clicks reach no window-manager binding. When the desktop stops being shown (the
// root property goes off, or after an iconifying show-desktop, an ordinary window is on screen
// again), the pieces are managed windows again, in the below layer under the windows coming back.
class ShowDesktopFollower final : public QObject, public QAbstractNativeEventFilter {
public:
    static ShowDesktopFollower* of(xcb_connection_t* c, xcb_window_t root)
    {
        static QPointer<ShowDesktopFollower> follower;
        if (!follower) follower = new ShowDesktopFollower(c, root);
        return follower;
    }

    void add(QWindow* window)
    {
        const auto w = xcb_window_t(window->winId());
        if (find(w)) return;
        m_pieces.push_back({window, w, Mode::managed});
        connect(window, &QObject::destroyed, this, [this, w] { forget(w); });
        // Created while the desktop is shown: its first map is as a stand-in already.
        if (m_reason != Reason::none) {
            makeStandIn(w);
            m_pieces.back().mode = Mode::standingIn;
        }
    }

    // After a show or a change of flags; false when the window stands in for now (Qt's flags
    // reset the override-redirect attribute, which matters at the next map).
    bool shown(QWindow* window)
    {
        Piece* piece = find(xcb_window_t(window->winId()));
        if (!piece || piece->mode == Mode::managed) return true;
        if (piece->mode == Mode::standingIn) {
            makeStandIn(piece->id);
            restack();
        }
        return false;
    }

    // A stand-in's own popups (its menu) are typed as desktop windows too, before they are mapped:
    // mutter does not follow WM_TRANSIENT_FOR from an override-redirect window to its owner.
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::Show || m_reason == Reason::none || !watched->isWindowType()) return false;
        const QWindow* owner = static_cast<QWindow*>(watched)->transientParent();
        const Piece* piece = owner && owner->handle() ? find(xcb_window_t(owner->winId())) : nullptr;
        if (piece && piece->mode == Mode::standingIn) {
            const auto w = xcb_window_t(static_cast<QWindow*>(watched)->winId());
            xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, w, m_typeAtom, XCB_ATOM_ATOM, 32, 1, &m_desktopTypeAtom);
            xcb_flush(m_c);
        }
        return false;
    }

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override
    {
        if (type != "xcb_generic_event_t") return false;
        const auto* e = static_cast<const xcb_generic_event_t*>(message);
        switch (e->response_type & 0x7f) {
        case XCB_PROPERTY_NOTIFY: {
            const auto* p = reinterpret_cast<const xcb_property_notify_event_t*>(e);
            if (p->window == m_root && p->atom == m_showingAtom) {
                setShowing(readShowing());
            } else if (p->window == m_root && m_reason == Reason::iconified &&
                       (p->atom == m_activeAtom || p->atom == m_clientListAtom)) {
                if (!m_restack.isActive()) m_restack.start();
            } else if (p->atom == m_wmStateAtom && m_reason == Reason::none) {
                // Nothing else iconifies a piece: it has no decorations, no taskbar entry, no focus.
                const Piece* piece = find(p->window);
                if (piece && piece->window && piece->window->isVisible() && wmState(p->window) == iconicState) {
                    m_reason = Reason::iconified;
                    standIn();
                }
            }
            return false;
        }
        case XCB_CONFIGURE_NOTIFY:
        case XCB_MAP_NOTIFY:
        case XCB_UNMAP_NOTIFY:
        case XCB_REPARENT_NOTIFY:
        case XCB_CREATE_NOTIFY:
        case XCB_DESTROY_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
        case XCB_GRAVITY_NOTIFY: {
            // Each begins with the window told and the window it is about. Those the root is told
            // about its children come while stand-ins are watched.
            uint32_t told = 0, about = 0;
            std::memcpy(&told, reinterpret_cast<const char*>(e) + 4, 4);
            std::memcpy(&about, reinterpret_cast<const char*>(e) + 8, 4);
            if (told != m_root || about == m_root || !m_watchingStack) return false;
            const bool configure = (e->response_type & 0x7f) == XCB_CONFIGURE_NOTIFY;
            // A stand-in moved by a drag or by the restack itself changes nothing below it.
            if (!(configure && find(about)) && !m_restack.isActive()) m_restack.start();
            // Qt reads any ConfigureNotify the root is told as a change of screens; those that
            // come only because of us are kept from it.
            return configure && m_addedChildren;
        }
        default:
            return false;
        }
    }

private:
    enum class Mode { managed, withdrawing, standingIn };
    // Why the pieces stand in, if they do.
    enum class Reason { none, showingDesktop, iconified };
    static constexpr uint32_t iconicState = 3;
    struct Piece {
        QPointer<QWindow> window;
        xcb_window_t id;
        Mode mode;
    };

    ShowDesktopFollower(xcb_connection_t* c, xcb_window_t root)
        : QObject(qGuiApp)
        , m_c(c)
        , m_root(root)
        , m_showingAtom(atom(c, "_NET_SHOWING_DESKTOP"))
        , m_wmStateAtom(atom(c, "WM_STATE"))
        , m_activeAtom(atom(c, "_NET_ACTIVE_WINDOW"))
        , m_clientListAtom(atom(c, "_NET_CLIENT_LIST"))
        , m_typeAtom(atom(c, "_NET_WM_WINDOW_TYPE"))
        , m_desktopTypeAtom(atom(c, "_NET_WM_WINDOW_TYPE_DESKTOP"))
        , m_dockTypeAtom(atom(c, "_NET_WM_WINDOW_TYPE_DOCK"))
    {
        const uint32_t mask = rootMask();
        if (!(mask & XCB_EVENT_MASK_PROPERTY_CHANGE)) setRootMask(mask | XCB_EVENT_MASK_PROPERTY_CHANGE);
        if (readShowing()) {
            m_reason = Reason::showingDesktop;
            watchStack(true);
        }

        m_settle.setInterval(20);
        connect(&m_settle, &QTimer::timeout, this, &ShowDesktopFollower::settle);
        m_restack.setSingleShot(true);
        m_restack.setInterval(0);
        connect(&m_restack, &QTimer::timeout, this, [this] {
            if (m_reason == Reason::iconified && !m_settle.isActive() && anOrdinaryWindowShows()) {
                m_reason = Reason::none;
                comeBack();
                return;
            }
            restack();
        });
        qGuiApp->installNativeEventFilter(this);
        qGuiApp->installEventFilter(this);
    }

    ~ShowDesktopFollower() override
    {
        if (qGuiApp) qGuiApp->removeNativeEventFilter(this);
    }

    // Typed as a desktop window too: mutter leaves show-desktop mode (and minimizes every other
    // window) when any window but a desktop or dock window is mapped, override-redirect or not.
    void makeStandIn(xcb_window_t w)
    {
        setOverrideRedirect(m_c, w, true);
        xcb_change_property(m_c, XCB_PROP_MODE_REPLACE, w, m_typeAtom, XCB_ATOM_ATOM, 32, 1, &m_desktopTypeAtom);
    }

    Piece* find(xcb_window_t w)
    {
        auto it = std::find_if(m_pieces.begin(), m_pieces.end(), [w](const Piece& p) { return p.id == w; });
        return it == m_pieces.end() ? nullptr : &*it;
    }

    void forget(xcb_window_t w)
    {
        std::erase_if(m_pieces, [w](const Piece& p) { return p.id == w; });
    }

    // The events this connection (Qt's) selects on the root, changed bit by bit: they are shared.
    uint32_t rootMask()
    {
        Reply<xcb_get_window_attributes_reply_t> a(
            xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, m_root), nullptr));
        return a ? a->your_event_mask : 0;
    }

    void setRootMask(uint32_t mask)
    {
        xcb_change_window_attributes(m_c, m_root, XCB_CW_EVENT_MASK, &mask);
    }

    bool readShowing()
    {
        Reply<xcb_get_property_reply_t> r(xcb_get_property_reply(
            m_c, xcb_get_property(m_c, 0, m_root, m_showingAtom, XCB_ATOM_CARDINAL, 0, 1), nullptr));
        return r && r->format == 32 && xcb_get_property_value_length(r.get()) == 4 &&
               *static_cast<const uint32_t*>(xcb_get_property_value(r.get())) != 0;
    }

    void setShowing(bool on)
    {
        if (on == (m_reason == Reason::showingDesktop)) return;
        const Reason was = m_reason;
        m_reason = on ? Reason::showingDesktop : Reason::none;
        if (on && was == Reason::none) standIn();
        if (!on) comeBack();
    }

    // Withdraws every mapped piece the ICCCM way: unmapped (the window manager may have done
    // that already) and a synthetic UnmapNotify to the root.
    void standIn()
    {
        std::erase_if(m_pieces, [](const Piece& p) { return !p.window; });
        for (Piece& p : m_pieces) {
            if (!p.window->isVisible()) {
                makeStandIn(p.id);
                p.mode = Mode::standingIn;
                continue;
            }
            xcb_unmap_window(m_c, p.id);
            xcb_unmap_notify_event_t event;
            std::memset(&event, 0, sizeof event);
            event.response_type = XCB_UNMAP_NOTIFY;
            event.event = m_root;
            event.window = p.id;
            xcb_send_event(m_c, 0, m_root,
                           XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char*>(&event));
            p.mode = Mode::withdrawing;
        }
        xcb_flush(m_c);
        m_settleStart.start();
        m_settle.start();
        watchStack(true);
    }

    // Restacks and windows coming or going, told to the root, while there are stand-ins.
    void watchStack(bool on)
    {
        m_watchingStack = on;
        constexpr uint32_t children = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        const uint32_t mask = rootMask();
        if (on && !(mask & children)) {
            setRootMask(mask | children);
            m_addedChildren = true;
        } else if (!on && m_addedChildren) {
            setRootMask(mask & ~children);
            m_addedChildren = false;
        }
    }

    // Maps each withdrawn piece as a stand-in once the window manager has let go of it: back on
    // the root and off its client list (fluxbox leaves WM_STATE behind). One that is still held
    // after a while is taken out of its frame here.
    void settle()
    {
        const bool late = m_settleStart.elapsed() > 1500;
        const std::vector<xcb_window_t> clients = windowList(m_root, m_clientListAtom);
        bool waiting = false;
        for (Piece& p : m_pieces) {
            if (p.mode != Mode::withdrawing || !p.window) continue;
            Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, p.id), nullptr));
            if (!tree) continue;
            const bool framed = tree->parent != m_root;
            if ((framed || std::find(clients.begin(), clients.end(), p.id) != clients.end()) && !late) {
                waiting = true;
                continue;
            }
            if (framed) {
                const QPoint at = p.window->position();
                xcb_reparent_window(m_c, p.id, m_root, int16_t(at.x()), int16_t(at.y()));
            }
            makeStandIn(p.id);
            if (p.window->isVisible()) xcb_map_window(m_c, p.id);
            p.mode = Mode::standingIn;
        }
        if (!waiting) {
            m_settle.stop();
            m_restack.start();
        }
        xcb_flush(m_c);
    }

    std::vector<xcb_window_t> windowList(xcb_window_t w, xcb_atom_t property)
    {
        Reply<xcb_get_property_reply_t> r(xcb_get_property_reply(
            m_c, xcb_get_property(m_c, 0, w, property, XCB_ATOM_WINDOW, 0, 4096), nullptr));
        if (!r || r->format != 32) return {};
        const auto* data = static_cast<const xcb_window_t*>(xcb_get_property_value(r.get()));
        return std::vector<xcb_window_t>(data, data + xcb_get_property_value_length(r.get()) / 4);
    }

    uint32_t wmState(xcb_window_t w)
    {
        Reply<xcb_get_property_reply_t> r(
            xcb_get_property_reply(m_c, xcb_get_property(m_c, 0, w, m_wmStateAtom, m_wmStateAtom, 0, 1), nullptr));
        if (!r || r->format != 32 || xcb_get_property_value_length(r.get()) < 4) return 0;
        return *static_cast<const uint32_t*>(xcb_get_property_value(r.get()));
    }

    // Hands every piece back to the window manager, as at the first show.
    void comeBack()
    {
        m_settle.stop();
        m_restack.stop();
        watchStack(false);
        const Atoms& a = atomsOf(m_c);
        for (Piece& p : m_pieces) {
            if (p.mode == Mode::managed || !p.window) continue;
            xcb_unmap_window(m_c, p.id);
            setOverrideRedirect(m_c, p.id, false);
            // A stale Iconic state would bring it back iconified.
            xcb_delete_property(m_c, p.id, m_wmStateAtom);
            writeHints(m_c, p.id, a);
            p.mode = Mode::managed;
            if (!p.window->isVisible()) continue;
            xcb_map_window(m_c, p.id);
            requestHints(m_c, m_root, p.id, a);
        }
        xcb_flush(m_c);
    }

    // The stand-ins, in their order, right above the topmost desktop window or at the bottom.
    void restack()
    {
        if (m_reason == Reason::none) return;
        std::vector<xcb_window_t> standIns;
        for (const Piece& p : m_pieces)
            if (p.mode == Mode::standingIn && p.window) standIns.push_back(p.id);
        if (standIns.empty()) return;
        Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, m_root), nullptr));
        if (!tree) return;
        const xcb_window_t* children = xcb_query_tree_children(tree.get());
        const std::vector<xcb_window_t> stack(children, children + xcb_query_tree_children_length(tree.get()));

        // Bottom to top: where the lowest stand-in belongs, then the stand-ins as they are now.
        const int floor = floorIn(stack);
        std::stable_sort(standIns.begin(), standIns.end(), [&](xcb_window_t x, xcb_window_t y) {
            return std::find(stack.begin(), stack.end(), x) < std::find(stack.begin(), stack.end(), y);
        });
        bool inPlace = true;
        for (size_t k = 0; k < standIns.size() && inPlace; ++k) {
            const size_t at = size_t(floor + 1) + k;
            inPlace = at < stack.size() && stack[at] == standIns[k];
        }
        if (inPlace) return;

        xcb_window_t below = floor >= 0 ? stack[size_t(floor)] : xcb_window_t(XCB_WINDOW_NONE);
        for (xcb_window_t w : standIns) {
            if (below == XCB_WINDOW_NONE) {
                const uint32_t mode = XCB_STACK_MODE_BELOW;
                xcb_configure_window(m_c, w, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
            } else {
                const uint32_t values[] = {below, XCB_STACK_MODE_ABOVE};
                xcb_configure_window(m_c, w, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, values);
            }
            below = w;
        }
        xcb_flush(m_c);
    }

    // The managed clients and, for each, its frame (the child of the root that holds it), whether
    // it is a desktop window (the background or the file manager's icon window) or a dock, which
    // show-desktop leaves alone, and whether it is hidden (iconic).
    struct Client {
        xcb_window_t window, frame;
        bool desktop, dock, hidden;
    };
    std::vector<Client> clients()
    {
        const std::vector<xcb_window_t> windows = windowList(m_root, m_clientListAtom);
        std::vector<xcb_get_property_cookie_t> types, states;
        for (xcb_window_t w : windows) {
            types.push_back(xcb_get_property(m_c, 0, w, m_typeAtom, XCB_ATOM_ATOM, 0, 16));
            states.push_back(xcb_get_property(m_c, 0, w, m_wmStateAtom, m_wmStateAtom, 0, 1));
        }
        std::vector<Client> out;
        for (size_t i = 0; i < windows.size(); ++i) {
            Client client{windows[i], XCB_WINDOW_NONE, false, false, false};
            if (Reply<xcb_get_property_reply_t> state(xcb_get_property_reply(m_c, states[i], nullptr));
                state && state->format == 32 && xcb_get_property_value_length(state.get()) >= 4)
                client.hidden = *static_cast<const uint32_t*>(xcb_get_property_value(state.get())) == iconicState;
            if (Reply<xcb_get_property_reply_t> type(xcb_get_property_reply(m_c, types[i], nullptr));
                type && type->format == 32) {
                const auto* t = static_cast<const xcb_atom_t*>(xcb_get_property_value(type.get()));
                const auto* end = t + xcb_get_property_value_length(type.get()) / 4;
                client.desktop = std::find(t, end, m_desktopTypeAtom) != end;
                client.dock = std::find(t, end, m_dockTypeAtom) != end;
            }
            for (xcb_window_t w = windows[i];;) {
                Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_c, xcb_query_tree(m_c, w), nullptr));
                if (!tree) break;
                if (tree->parent == m_root) {
                    client.frame = w;
                    break;
                }
                w = tree->parent;
            }
            if (client.frame != XCB_WINDOW_NONE) out.push_back(client);
        }
        return out;
    }

    // The index in `stack` (the root's children, bottom to top) right above which the stand-ins
    // go: the topmost desktop window, else the input-only window some window managers keep over
    // the windows they hide (mutter's "guard window", which takes their clicks), else none (-1).
    int floorIn(const std::vector<xcb_window_t>& stack)
    {
        const auto indexOf = [&](xcb_window_t w) {
            const auto it = std::find(stack.begin(), stack.end(), w);
            return it == stack.end() ? -1 : int(it - stack.begin());
        };
        int desktop = -1, lowestShown = int(stack.size());
        for (const Client& client : clients()) {
            const int at = indexOf(client.frame);
            if (at < 0) continue;
            if (client.desktop)
                desktop = std::max(desktop, at);
            else if (!client.hidden)
                lowestShown = std::min(lowestShown, at);
        }
        if (desktop >= 0) return desktop;
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        int guard = -1;
        for (int i = 0; i < lowestShown; ++i) {
            Reply<xcb_get_window_attributes_reply_t> a(
                xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, stack[size_t(i)]), nullptr));
            if (!a || a->_class != XCB_WINDOW_CLASS_INPUT_ONLY || a->map_state != XCB_MAP_STATE_VIEWABLE) continue;
            Reply<xcb_get_geometry_reply_t> g(
                xcb_get_geometry_reply(m_c, xcb_get_geometry(m_c, stack[size_t(i)]), nullptr));
            if (g && g->x <= 0 && g->y <= 0 && g->x + g->width >= screen->width_in_pixels &&
                g->y + g->height >= screen->height_in_pixels)
                guard = i;
        }
        return guard;
    }

    // Whether some ordinary window is on screen again: the end of an iconifying show-desktop.
    bool anOrdinaryWindowShows()
    {
        for (const Client& client : clients()) {
            if (client.desktop || client.dock || find(client.window)) continue;
            Reply<xcb_get_window_attributes_reply_t> a(
                xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, client.window), nullptr));
            if (a && a->map_state == XCB_MAP_STATE_VIEWABLE) return true;
        }
        return false;
    }

    xcb_connection_t* m_c;
    xcb_window_t m_root;
    xcb_atom_t m_showingAtom, m_wmStateAtom, m_activeAtom, m_clientListAtom;
    xcb_atom_t m_typeAtom, m_desktopTypeAtom, m_dockTypeAtom;
    bool m_addedChildren = false; // to the root's event mask
    Reason m_reason = Reason::none;
    bool m_watchingStack = false;
    std::vector<Piece> m_pieces;
    QTimer m_settle;
    QElapsedTimer m_settleStart;
    QTimer m_restack;
};

} // namespace

void prepareDesktopWindow(QWindow* window)
{
    xcb_connection_t* c = connection();
    if (!c || !window) return;
    const auto w = xcb_window_t(window->winId());
    writeHints(c, w, atomsOf(c));
    if (const xcb_window_t root = rootOf(c, w); root != XCB_WINDOW_NONE) ShowDesktopFollower::of(c, root)->add(window);
    xcb_flush(c);
}

void desktopWindowShown(QWindow* window)
{
    xcb_connection_t* c = connection();
    if (!c || !window || !window->isVisible()) return;
    const auto w = xcb_window_t(window->winId());
    const xcb_window_t root = rootOf(c, w);
    if (root == XCB_WINDOW_NONE) return;
    if (ShowDesktopFollower::of(c, root)->shown(window)) requestHints(c, root, w, atomsOf(c));
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

void setClearOnGrow(QWindow* window, bool on)
{
    xcb_connection_t* c = connection();
    if (!c || !window) return;
    // A background pixel of 0 is transparent in the window's 32-bit visual; no background (Qt's
    // choice) leaves what the server copied from the screen until the next paint.
    const uint32_t value = 0;
    if (on)
        xcb_change_window_attributes(c, xcb_window_t(window->winId()), XCB_CW_BACK_PIXEL, &value);
    else
        xcb_change_window_attributes(c, xcb_window_t(window->winId()), XCB_CW_BACK_PIXMAP, &value); // None
    xcb_flush(c);
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
