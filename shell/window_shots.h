#pragma once
// Pictures of the manager window for the snapshot run: each page, then a piece in the editor.
#include <QImage>
#include <QList>
#include <QString>

#include <utility>

namespace velora {

class Application;

namespace WindowShots {
QList<std::pair<QString, QImage>> take(Application& app);
} // namespace WindowShots

} // namespace velora
