// Window systems without extra hooks: Qt's window flags are all there is.
#include "desktop_window.h"

#include <QGuiApplication>
#include <QWindow>

namespace velora::Platform {
void prepareDesktopWindow(QWindow*) {}
void desktopWindowShown(QWindow*) {}
void activateWindow(QWindow* window, const QByteArray&)
{
    if (!window) return;
    window->raise();
    window->requestActivate();
}
void setClearOnGrow(QWindow*, bool) {}
bool primaryButtonDown() { return QGuiApplication::mouseButtons() & Qt::LeftButton; }
} // namespace velora::Platform
