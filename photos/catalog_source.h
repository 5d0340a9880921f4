#pragma once
// A photo source read whole into memory once: file-based libraries (Shotwell, a Pictures folder)
// list a few ten thousand photos in milliseconds, and every album after that is a lookup.
#include "photo_source.h"

#include <QHash>

namespace velora {

struct Catalog {
    struct Entry {
        PhotoCollection collection;
        QList<int> rows; // into assets, ascending, so newest first
    };
    QList<PhotoAsset> assets; // newest first
    QList<Entry> entries;

    // A collection of the assets that pass `keep`.
    void add(const PhotoCollection& collection, const std::function<bool(int row)>& keep);

    // What the smart collections are made from, one per asset, in the same order.
    struct Facts {
        qint64 added = 0; // seconds since the epoch: when the photo came into the library
        qint64 width = 0, height = 0;
        QString path;     // as far as it tells of screenshots
        bool favorite = false;
    };
    // All Photos, Favorites (only when the library has favourites at all), Recently Added (the last
    // 30 days), Panoramas and Screenshots, with ids "<prefix>all" and so on.
    void addSmartCollections(const QString& prefix, const QList<Facts>& facts, bool hasFavorites);
};

class CatalogSource : public PhotoSource {
public:
    // Authorized once read; denied when the library is there but can't be read.
    PhotoAccess access() const override;
    QList<PhotoCollection> collections() const override;
    int count(const PhotoCollection& collection) const override;
    QList<PhotoAsset> assets(const PhotoCollection& collection, int limit) const override;
    std::optional<QImage> image(const PhotoAsset& asset, int longestSide) const override;

    // Why the library couldn't be read, in a short sentence; empty when it could.
    QString problem() const;

protected:
    // Reads the whole library; nothing, with `problem` set, when it can't.
    virtual std::optional<Catalog> read(QString& problem) const = 0;

private:
    const Catalog* catalog() const;

    mutable bool m_read = false;
    mutable std::optional<Catalog> m_catalog;
    mutable QString m_problem;
    mutable QHash<QString, int> m_entryIndex;
};

} // namespace velora
