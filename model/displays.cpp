#include "displays.h"

namespace velora {

QString Displays::key(const ScreenIdentity& s)
{
    if (!s.platformUUID.isEmpty()) return s.platformUUID;
    if (s.manufacturer.isEmpty() && s.model.isEmpty() && s.serialNumber.isEmpty())
        return s.name.isEmpty() ? QStringLiteral("Display") : s.name; // keys are map keys: never empty
    // Without a serial, two monitors of one model are told apart by their connector.
    const QString tail = s.serialNumber.isEmpty() ? s.name : s.serialNumber;
    return QStringLiteral("EDID:%1/%2/%3").arg(s.manufacturer, s.model, tail);
}

std::optional<qsizetype> Displays::screenIndex(const std::optional<QString>& id, const QList<QString>& keys,
                                               std::optional<qsizetype> primary)
{
    if (id) {
        const qsizetype found = keys.indexOf(*id);
        if (found >= 0) return found;
    }
    if (primary && *primary >= 0 && *primary < keys.size()) return primary;
    if (!keys.isEmpty()) return 0;
    return std::nullopt;
}

} // namespace velora
