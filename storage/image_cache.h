#pragma once
// Decoded library images kept in memory, keyed by file name; at most 300 entries; thread-safe.
#include "records.h"

#include <QImage>

#include <optional>

namespace velora {

class ImageCache {
public:
    static ImageCache& shared();

    // small: the thumbnail; otherwise the full copy, falling back to the thumbnail (never the
    // other way round). Failed loads are not remembered. keep false serves what the cache holds
    // but leaves a fresh load out of it: for readers that keep their own smaller copy (the
    // library grid), so that leafing through many photos doesn't fill the cache with them.
    std::optional<QImage> image(const Photo& photo, bool small, bool keep = true);

    int count() const;
    void clear();
    static constexpr int limit = 300;

    ImageCache();
    ~ImageCache();
    ImageCache(const ImageCache&) = delete;
    ImageCache& operator=(const ImageCache&) = delete;

private:
    struct Impl;
    Impl* d;
};

} // namespace velora
