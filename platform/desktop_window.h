#pragma once
// What Qt cannot say for a piece's window: sit just above the desktop and below every ordinary
// window, on every workspace, out of the taskbar, pager and window cycling, never focused.
#include <QString>

class QWindow;

namespace velora::Platform {

enum class Session { x11, wayland, macos, other };
Session session();
QString sessionName(Session session);

// Call on a created window before it is first shown.
void prepareDesktopWindow(QWindow* window);
// Call after every show and every change of the window's flags: some window managers only
// listen to requests about mapped windows, and Qt re-applies its own level on macOS.
void desktopWindowShown(QWindow* window);

// Whether translucent windows are blended with what lies below them. X11 needs a compositing
// manager for that; without one, pieces are cut to their shape instead.
bool blendsTranslucentWindows();

} // namespace velora::Platform
