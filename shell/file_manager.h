#pragma once
// Showing a file or folder in the desktop's file manager, selected in its parent folder.
#include <QString>

#include <functional>

namespace velora::FileManager {

void reveal(const QString& path);

// Replaces the file manager (tests); an empty handler restores it.
using Handler = std::function<void(const QString& path)>;
void setHandler(Handler handler);

} // namespace velora::FileManager
