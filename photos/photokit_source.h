#pragma once
// The system photo library on macOS through PhotoKit: read-and-write access asked for as the
// platform wants it (Velora only reads), smart albums and user albums, still images newest first,
// images requested at two sizes.
#include "photo_source.h"

namespace velora {

class PhotoKitSource : public PhotoSource {
public:
    QString name() const override;
    PhotoAccess access() const override;
    void requestAccess(std::function<void(PhotoAccess)> done) override;
    QList<PhotoCollection> collections() const override;
    int count(const PhotoCollection& collection) const override;
    QList<PhotoAsset> assets(const PhotoCollection& collection, int limit) const override;
    std::optional<QImage> image(const PhotoAsset& asset, int longestSide) const override;
};

} // namespace velora
