#pragma once
// Shotwell's library database, read through Qt SQL with SQLite, opened read-only so it can be read
// while Shotwell runs. Nothing is ever written to it.
#include "catalog_source.h"

namespace velora {

class ShotwellSource : public CatalogSource {
public:
    explicit ShotwellSource(QString databasePath);

    // <dataHome>/shotwell/data/photo.db
    static QString databaseIn(const QString& dataHome);

    QString name() const override;
    QString databasePath() const { return m_path; }

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
};

} // namespace velora
