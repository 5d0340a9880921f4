#pragma once
// Stable keys for physical displays, and finding the display a stored key names.
#include <QList>
#include <QString>

#include <optional>

class QScreen;

namespace velora {

// What the platform tells about one display; only the key is derived from it.
struct ScreenIdentity {
    QString name;          // connector or localized name
    QString manufacturer;  // from EDID, when known
    QString model;
    QString serialNumber;
    QString platformUUID;  // a system display UUID, where the platform has one
};

namespace Displays {

QString key(const ScreenIdentity& identity);

// Index of the screen a stored key names: the first whose key matches, else the primary,
// else the first; nothing when there are no screens.
std::optional<qsizetype> screenIndex(const std::optional<QString>& id, const QList<QString>& keys,
                                     std::optional<qsizetype> primary);

// The same over the real screen list (needs a GUI application).
ScreenIdentity identity(const QScreen* screen);
QString key(const QScreen* screen);
QScreen* screen(const std::optional<QString>& id);

} // namespace Displays
} // namespace velora
