#pragma once
// What Qt cannot say for a piece's window: sit just above the desktop and below every ordinary
// window, on every workspace, out of the taskbar, pager and window cycling, never focused.
#include <QByteArray>
#include <QString>

class QWindow;

namespace velora::Platform {

enum class Session { x11, wayland, macos, other };

// Under a Wayland session with XWayland, pieces keep their places and their layer only as X11
// windows (Wayland clients cannot place or stack their own windows). Without an explicit choice
// of Qt platform, that is the one to use. Returns the platform to set, or an empty string.
QByteArray preferredQtPlatform(const QByteArray& qtPlatform, const QByteArray& waylandDisplay,
                               const QByteArray& x11Display);
// Reads the environment and sets QT_QPA_PLATFORM accordingly; call before the application object.
// Returns the platform it chose, or an empty string when it left the choice alone.
QByteArray choosePlatformForPieces();
Session session();
QString sessionName(Session session);

// Call on a created window before it is first shown.
void prepareDesktopWindow(QWindow* window);
// Call after every show and every change of the window's flags: some window managers only
// listen to requests about mapped windows, and Qt re-applies its own level on macOS.
void desktopWindowShown(QWindow* window);

// Brings an ordinary window (the manager) to the front and gives it the keyboard, also when the
// user is working in another application. `token` is the launcher's activation token
// (DESKTOP_STARTUP_ID or XDG_ACTIVATION_TOKEN of the launch that asked for it), or empty.
void activateWindow(QWindow* window, const QByteArray& token);
// The activation token this process was started with, taken out of the environment so that no
// child inherits it.
QByteArray takeActivationToken();

// Whether the primary mouse button is down now, asked of the window system rather than taken from
// the events seen: a drag whose release went elsewhere must still end.
bool primaryButtonDown();

// Under a compositor: the area a growing window adds shows fully transparent until the window
// draws it, rather than whatever the server has there (a window manager's frame, stale pixels).
void setClearOnGrow(QWindow* window, bool on);

} // namespace velora::Platform
