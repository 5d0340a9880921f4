#pragma once
// Snapshot mode: demo photos, a piece for every frame style and layout, each rendered to a PNG in
// the given folder plus one contact sheet, and pictures of the windows. Runs headless. Returns the process exit code.
#include <QImage>
#include <QList>
#include <QString>

#include <functional>
#include <utility>

namespace velora::Snapshotter {
// Pictures of the application's windows, taken once the pieces are made: file name and picture.
using WindowPictures = std::function<QList<std::pair<QString, QImage>>()>;
int run(const QString& directory, const WindowPictures& windows = {});
} // namespace velora::Snapshotter
