#pragma once
// Library thumbnails at the device size of the grid tiles that show them, corners rounded, made
// on worker threads and kept in a cache bounded by bytes. The grid says which tiles it wants,
// nearest first, on every scroll and layout: the queue is replaced each time, so a tile scrolled
// away before its turn is never made. The decoded thumbnails come through the image cache without
// being kept there; the scaled tiles here are what stays.
#include "lru_cache.h"
#include "records.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QSize>
#include <QThreadPool>
#include <QUuid>

#include <memory>

namespace velora {

class TileImages : public QObject {
    Q_OBJECT
public:
    static constexpr qsizetype defaultByteLimit = 64 * 1024 * 1024;
    // Corner rounding of a tile, in points.
    static constexpr qreal cornerRadius = 6;

    struct Request {
        Photo photo;
        QSize pixels; // the tile's size in device pixels
        qreal dpr = 1;
    };

    explicit TileImages(qsizetype byteLimit = defaultByteLimit, QObject* parent = nullptr);
    ~TileImages() override;

    // The tile made last for a photo, at whatever size that was; null when there is none yet.
    // `pixels` receives the size it was made for.
    QImage tile(const QUuid& id, QSize* pixels = nullptr);
    // Replaces the queue with these tiles, in this order, less those already made at that size,
    // being made, or known to be unreadable.
    void want(const QList<Request>& requests);
    // Made on the caller's thread, as a worker makes it: the photo uncropped, fitted into
    // `pixels` (exactly that size when the aspects agree), corners rounded. Null when unreadable.
    static QImage make(const Request& request);

    // Waits until nothing is queued or being made, and takes in what was made (tests, snapshots,
    // benchmarks).
    void waitForIdle();
    int queued() const;
    int count() const { return m_tiles.size(); }
    qsizetype bytes() const { return m_tiles.cost(); }
    qsizetype byteLimit() const { return m_tiles.costLimit(); }
    // Tiles made since the start, for tests and benchmarks.
    qint64 made() const { return m_made; }
    void clear();

signals:
    // A tile arrived; the grid repaints it where it is seen.
    void ready(const QUuid& id);

private:
    struct Tile {
        QImage image;
        QSize pixels;
    };
    struct Hash {
        size_t operator()(const QUuid& id) const noexcept { return qHash(id); }
    };
    struct Queue;

    void startWorkers();
    void deliver(const Request& request, const QImage& image);

    LruCache<QUuid, Tile, Hash> m_tiles;
    QSet<QUuid> m_unreadable;
    std::shared_ptr<Queue> m_queue;
    QThreadPool m_pool;
    qint64 m_made = 0;
};

} // namespace velora
