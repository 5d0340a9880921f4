#pragma once
// Starting Velora at login, through the system's own service: on macOS the login item of the
// application, elsewhere the freedesktop autostart entry in $XDG_CONFIG_HOME/autostart.
#include <QString>
#include <QStringList>

#include <optional>

namespace velora {

namespace LoginItem {

// Whether the system will start Velora at the next login.
bool enabled();
// Turns it on or off: nothing on success, else "Couldn’t change the login item: " and the reason.
std::optional<QString> set(bool on);

} // namespace LoginItem

#if !defined(Q_OS_MACOS)
// The freedesktop side, open for tests.
namespace Autostart {

// $XDG_CONFIG_HOME/autostart, or ~/.config/autostart.
QString folder();
// Velora's entry in it.
QString entryPath();

// The entry starts something: it parses, is neither Hidden=true nor X-GNOME-Autostart-enabled=false,
// and its Exec (and TryExec, if any) names a program that exists.
bool starts(const QString& entryPath);
// Writes an entry that starts `program` with no arguments, atomically; the reason on failure.
std::optional<QString> write(const QString& entryPath, const QString& program);
// Removes the entry; no entry is success.
std::optional<QString> remove(const QString& entryPath);

// An Exec value that runs exactly these arguments, quoted and escaped as desktop entries want.
QString execLine(const QStringList& arguments);
// The arguments of an Exec value, without field codes; nothing when its quoting is broken.
std::optional<QStringList> execArguments(const QString& value);

} // namespace Autostart
#endif

} // namespace velora
