#pragma once
// Snapshot mode: demo photos, a piece for every frame style and layout, each rendered to a PNG in
// the given folder plus one contact sheet. Runs headless. Returns the process exit code.
#include <QString>

namespace velora::Snapshotter {
int run(const QString& directory);
} // namespace velora::Snapshotter
