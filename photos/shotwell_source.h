#pragma once
// Shotwell's library database, read through Qt SQL with SQLite, opened read-only so it can be read
// while Shotwell runs. Nothing is ever written to it.
#include "catalog_source.h"

namespace velora {

class ShotwellSource : public CatalogSource {
public:
    // With Shotwell's own thumbnail folder, when known, grid thumbnails come from there.
    explicit ShotwellSource(QString databasePath, QString thumbnailDir = {});

    // <dataHome>/shotwell/data/photo.db
    static QString databaseIn(const QString& dataHome);
    // <cacheHome>/shotwell/thumbs/thumbs360: upright 360-pixel JPEGs named thumb<16 hex digits of the id>.jpg
    static QString thumbnailsIn(const QString& cacheHome);
    static constexpr int thumbnailSide = 360;

    QString name() const override;
    QString databasePath() const { return m_path; }
    std::optional<QImage> image(const PhotoAsset& asset, int longestSide) const override;

    // Shotwell's photo flags and ratings, as its database stores them.
    static constexpr qint64 flagHidden = 0x01;
    static constexpr qint64 flagTrash = 0x04;
    static constexpr qint64 flagOffline = 0x08;
    static constexpr qint64 flagFlagged = 0x10;
    static constexpr int ratingRejected = -1;

protected:
    std::optional<Catalog> read(QString& problem) const override;

private:
    QString m_path;
    QString m_thumbnails;
};

} // namespace velora
