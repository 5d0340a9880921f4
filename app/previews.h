#pragma once
// Pictures of pieces at card size for the manager's views, rendered by the piece renderer and kept
// in a cache bounded by bytes. A preview is made again only when what the piece shows, the box
// or the pixel ratio changed: never for a rename, a move or a lock.
#include "lru_cache.h"
#include "piece_view.h"

#include <QImage>
#include <QSize>
#include <QUuid>

namespace velora {

class Previews {
public:
    explicit Previews(qsizetype byteLimit = 48 * 1024 * 1024);

    // The piece drawn to fit `box` (points) at `dpr`, centred by the caller; null when the piece
    // cannot be drawn. Renders when the cache has no current picture.
    QImage preview(const PieceView& view, QSize box, qreal dpr);
    // Only what the cache holds: nothing when a rendering is due.
    std::optional<QImage> cached(const PieceView& view, QSize box, qreal dpr);
    // The rendering alone, safe on any thread (the renderer's caches lock themselves).
    static QImage draw(const PieceView& view, QSize box, qreal dpr);
    // Keeps a rendering made by draw() for `view`.
    void insert(const PieceView& view, QSize box, qreal dpr, const QImage& image);

    qsizetype bytes() const { return m_cache.cost(); }
    int count() const { return m_cache.size(); }
    qint64 renders() const { return m_renders; }
    void clear() { m_cache.clear(); }

private:
    struct Entry {
        PieceView drawn;
        QSize box;
        qreal dpr = 0;
        QImage image;
    };
    struct Hash {
        size_t operator()(const QUuid& id) const noexcept { return qHash(id); }
    };
    LruCache<QUuid, Entry, Hash> m_cache;
    qint64 m_renders = 0;
};

} // namespace velora
