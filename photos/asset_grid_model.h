#pragma once
// The picker's grid of photos as a list model: one row per listed photo, thumbnails fetched when a
// cell is first painted, on the bridge's workers, and dropped again when the cell scrolls away.
#include "photos_bridge.h"

#include <QAbstractListModel>
#include <QHash>
#include <QImage>
#include <QSet>

namespace velora {

class AssetGridModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role { IdRole = Qt::UserRole + 1, PickedRole, ThumbnailRole };

    explicit AssetGridModel(PhotosBridge* bridge, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    // ThumbnailRole starts the load of a row not yet loaded; the image arrives as a data change.
    QVariant data(const QModelIndex& index, int role) const override;

    // Thumbnails are cropped to squares of this many device pixels.
    void setCellPixels(int pixels);
    // Cancels the loads of rows outside [first, last] and forgets thumbnails far from it.
    void keepNear(int first, int last);
    QList<int> loadingRows() const;
    int loadedCount() const { return int(m_images.size()); }

private:
    void reload();
    void request(int row) const;

    PhotosBridge* m_bridge;
    int m_cellPixels = 104;
    mutable QHash<int, PhotosBridge::Ticket> m_loading;
    QHash<QString, QImage> m_images; // null image: tried and failed
};

} // namespace velora
