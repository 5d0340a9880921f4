// Window systems without extra hooks: Qt's window flags are all there is.
#include "desktop_window.h"

namespace velora::Platform {
void prepareDesktopWindow(QWindow*) {}
void desktopWindowShown(QWindow*) {}
bool blendsTranslucentWindows() { return true; }
} // namespace velora::Platform
