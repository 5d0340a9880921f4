#include "asset_grid_model.h"

namespace velora {

namespace {
// Thumbnails kept on each side of the visible rows: a few screens of smooth scrolling back.
constexpr int keptAround = 160;
} // namespace

AssetGridModel::AssetGridModel(PhotosBridge* bridge, QObject* parent) : QAbstractListModel(parent), m_bridge(bridge)
{
    connect(bridge, &PhotosBridge::assetsChanged, this, &AssetGridModel::reload);
    connect(bridge, &PhotosBridge::pickedChanged, this, [this] {
        if (rowCount() > 0) emit dataChanged(index(0), index(rowCount() - 1), {PickedRole, Qt::AccessibleTextRole});
    });
}

int AssetGridModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_bridge->assets().size());
}

QVariant AssetGridModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount()) return {};
    const PhotoAsset& asset = m_bridge->assets()[index.row()];
    switch (role) {
    case Qt::DisplayRole:
    case Qt::ToolTipRole: return asset.fileName.isEmpty() ? PhotosBridge::titleFor(asset) : asset.fileName;
    case Qt::AccessibleTextRole:
        return (m_bridge->isPicked(asset.id) ? tr("%1, picked") : tr("%1, not picked")).arg(PhotosBridge::titleFor(asset));
    case IdRole: return asset.id;
    case PickedRole: return m_bridge->isPicked(asset.id);
    case ThumbnailRole: {
        const auto it = m_images.constFind(asset.id);
        if (it != m_images.constEnd()) return *it;
        request(index.row());
        return {};
    }
    default: return {};
    }
}

void AssetGridModel::request(int row) const
{
    if (m_loading.contains(row)) return;
    const QString id = m_bridge->assets()[row].id;
    auto* self = const_cast<AssetGridModel*>(this);
    m_loading.insert(row, m_bridge->thumbnail(
                              m_bridge->assets()[row], self,
                              [self, row, id](const QImage& image) {
                                  self->m_loading.remove(row);
                                  if (row >= self->rowCount() || self->m_bridge->assets()[row].id != id) return;
                                  self->m_images.insert(id, image);
                                  const QModelIndex at = self->index(row);
                                  emit self->dataChanged(at, at, {ThumbnailRole});
                              },
                              m_cellPixels));
}

void AssetGridModel::setCellPixels(int pixels)
{
    if (pixels == m_cellPixels || pixels <= 0) return;
    m_cellPixels = pixels;
    reload();
}

void AssetGridModel::keepNear(int first, int last)
{
    for (auto it = m_loading.begin(); it != m_loading.end();) {
        if (it.key() < first || it.key() > last) {
            PhotosBridge::cancel(it.value());
            it = m_loading.erase(it);
        } else {
            ++it;
        }
    }
    if (m_images.size() <= 2 * keptAround) return;
    const QList<PhotoAsset>& assets = m_bridge->assets();
    QSet<QString> keep;
    for (int row = std::max(0, first - keptAround); row <= std::min(int(assets.size()) - 1, last + keptAround); ++row)
        keep.insert(assets[row].id);
    m_images.removeIf([&keep](const auto& entry) { return !keep.contains(entry.key()); });
}

QList<int> AssetGridModel::loadingRows() const
{
    QList<int> rows = m_loading.keys();
    std::sort(rows.begin(), rows.end());
    return rows;
}

void AssetGridModel::reload()
{
    beginResetModel();
    for (const auto& ticket : std::as_const(m_loading)) PhotosBridge::cancel(ticket);
    m_loading.clear();
    m_images.clear();
    endResetModel();
}

} // namespace velora
