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

QByteArray preferredQtPlatform(const QByteArray& qtPlatform, const QByteArray& waylandDisplay,
                               const QByteArray& x11Display)
{
#ifdef Q_OS_MACOS
    Q_UNUSED(qtPlatform);
    Q_UNUSED(waylandDisplay);
    Q_UNUSED(x11Display);
    return {};
#else
    if (!qtPlatform.isEmpty() || waylandDisplay.isEmpty() || x11Display.isEmpty()) return {};
    return QByteArrayLiteral("xcb");
#endif
}

QByteArray choosePlatformForPieces()
{
    const QByteArray chosen = preferredQtPlatform(qgetenv("QT_QPA_PLATFORM"), qgetenv("WAYLAND_DISPLAY"),
                                                  qgetenv("DISPLAY"));
    if (!chosen.isEmpty()) qputenv("QT_QPA_PLATFORM", chosen);
    return chosen;
}

QByteArray takeActivationToken()
{
    QByteArray token;
    for (const char* name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"}) {
        const QByteArray value = qgetenv(name);
        if (token.isEmpty() && !value.isEmpty()) token = value;
        qunsetenv(name);
    }
    return token;
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
