#pragma once
// The user's Pictures folder as a photo library: everything in it, the recent ones, panoramas,
// screenshots, and one album per sub-folder that holds photos.
#include "catalog_source.h"

namespace velora {

class PicturesSource : public CatalogSource {
public:
    explicit PicturesSource(QString folder);

    // A Pictures folder can hold anything; the walk stops after this many photos and this deep.
    static constexpr int maxFiles = 20000;
    static constexpr int maxDepth = 12;

    QString name() const override;
    QString folder() const { return m_folder; }

protected:
    std::optional<Catalog> read(QString& problem) const override;

private:
    QString m_folder;
};

} // namespace velora
