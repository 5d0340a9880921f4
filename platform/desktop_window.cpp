#include "desktop_window.h"

#include <QGuiApplication>

namespace velora::Platform {

Session session()
{
    const QString name = QGuiApplication::platformName();
    if (name == QLatin1String("xcb")) return Session::x11;
    if (name.startsWith(QLatin1String("wayland"))) return Session::wayland;
    if (name == QLatin1String("cocoa")) return Session::macos;
    return Session::other;
}

QString sessionName(Session s)
{
    switch (s) {
    case Session::x11: return QStringLiteral("X11");
    case Session::wayland: return QStringLiteral("Wayland");
    case Session::macos: return QStringLiteral("macOS");
    case Session::other: break;
    }
    return QGuiApplication::platformName();
}

} // namespace velora::Platform
