#pragma once
// Photos scaled to the device size of the tile that shows them, kept so that the next rendering
// of the same tile is a plain copy of pixels. Least recently used entries go first once the total
// passes the byte budget. Thread-safe.
#include <QImage>
#include <QList>
#include <QMutex>
#include <QRect>
#include <QSize>
#include <QWaitCondition>

#include <unordered_set>

#include "lru_cache.h"

namespace velora {

class ScaledImages {
public:
    static ScaledImages& shared();

    explicit ScaledImages(qsizetype budget = 96 * 1024 * 1024)
        : m_images(LruCache<Key, QImage, KeyHash>::unlimited, budget)
    {
    }
    ~ScaledImages();
    ScaledImages(const ScaledImages&) = delete;
    ScaledImages& operator=(const ScaledImages&) = delete;

    // `source` (clamped to the image) of `image` scaled smoothly to `size`; the same pixels again
    // for the same image, source and size. Null for an empty source or size, or one over 8192 px.
    // When another thread is making the same one, waits for it.
    QImage get(const QImage& image, const QRect& source, const QSize& size);

    struct Request {
        QImage image;
        QRect source;
        QSize size;
    };
    // Makes these on a free thread of the global pool (none free: leaves them), last first,
    // skipping any another thread is making, while the caller goes on: a rendering asks before it
    // draws its frame, and its own get() takes over any not yet begun. The cache is not destroyed
    // before they are done.
    void prefetch(const QList<Request>& requests);

    // Smooth scaling that first halves the picture (averaging 2 × 2 pixels) while it stays at
    // least as large as `size`, then samples bilinearly within 2× or averages areas beyond: the
    // look of one smooth scale at a fraction of the cost.
    static QImage scale(const QImage& image, const QRect& source, const QSize& size);

    int count() const;
    qsizetype bytes() const;
    qsizetype budget() const;
    void setBudget(qsizetype budget);
    void clear();
    // Scalings made since the start (misses), for tests and benchmarks.
    int scalings() const;

private:
    struct Key {
        qint64 image;
        QRect source;
        QSize size;
        bool operator==(const Key&) const = default;
    };
    struct KeyHash {
        size_t operator()(const Key& k) const noexcept;
    };
    static Key keyOf(const QImage& image, const QRect& source, const QSize& size);

    // `wait`: when another thread is making it, wait and take its result, or else leave it.
    QImage make(const QImage& image, const QRect& source, const QSize& size, bool wait);

    mutable QMutex m_mutex;
    QWaitCondition m_made;
    LruCache<Key, QImage, KeyHash> m_images; // cost: bytes
    std::unordered_set<Key, KeyHash> m_making;
    int m_prefetching = 0; // prefetches not yet finished
    int m_scalings = 0;
};

} // namespace velora
