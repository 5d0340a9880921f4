#pragma once
// Decoded library images kept in memory, keyed by file name; at most 300 entries and a byte limit
// (a full copy is up to 23 MB decoded), least recently used first out; thread-safe.
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

    // Holds an image made in memory under a key that names no library file ("memory:…"), for the
    // life of the process: painted samples that never touch the disk. clear() leaves it.
    void keep(const QString& key, const QImage& image);

    int count() const;
    void clear();
    static constexpr int limit = 300;
    // Bytes of decoded pixels held; the newest image stays even when it alone is over the limit.
    qsizetype bytes() const;
    qsizetype byteLimit() const;
    void setByteLimit(qsizetype bytes);
    static constexpr qsizetype defaultByteLimit = qsizetype(256) << 20;

    ImageCache();
    ~ImageCache();
    ImageCache(const ImageCache&) = delete;
    ImageCache& operator=(const ImageCache&) = delete;

private:
    struct Impl;
    Impl* d;
};

} // namespace velora
