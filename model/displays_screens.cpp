#include "displays.h"

#include <QGuiApplication>
#include <QScreen>

namespace velora {

#ifdef Q_OS_MACOS
QString platformDisplayUUID(const QScreen* screen); // displays_mac.mm
#endif

ScreenIdentity Displays::identity(const QScreen* screen)
{
    ScreenIdentity s;
    if (!screen) return s;
    s.name = screen->name();
#ifdef Q_OS_MACOS
    s.platformUUID = platformDisplayUUID(screen);
#else
    s.manufacturer = screen->manufacturer().trimmed();
    s.model = screen->model().trimmed();
    s.serialNumber = screen->serialNumber().trimmed();
#endif
    return s;
}

QString Displays::key(const QScreen* screen) { return key(identity(screen)); }

QScreen* Displays::screen(const std::optional<QString>& id)
{
    const QList<QScreen*> screens = QGuiApplication::screens();
    QList<QString> keys;
    keys.reserve(screens.size());
    for (const QScreen* s : screens) keys.append(key(s));
    const qsizetype primary = screens.indexOf(QGuiApplication::primaryScreen());
    const auto index = screenIndex(id, keys, primary >= 0 ? std::optional<qsizetype>(primary) : std::nullopt);
    return index ? screens.at(*index) : nullptr;
}

} // namespace velora
