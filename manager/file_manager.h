#pragma once
// Shows a file in the desktop's file manager, selected in its folder: Finder on macOS; on Linux
// the freedesktop FileManager1 service, or else the folder opened. Tests install their own.
#include <QString>

#include <functional>

namespace velora::FileManager {

// "Show Original in Finder" on macOS, "Show Original in File Manager" elsewhere.
QString showOriginalText();

// Returns at once; the file manager comes up on its own time.
void showItem(const QString& path);

using Handler = std::function<void(const QString& path)>;
// Replaces the file manager (an empty handler restores it).
void setHandler(Handler handler);

} // namespace velora::FileManager
