#pragma once
// Small square pictures of library photos for lists and pickers: decoded from the thumbnail file
// off the main thread through the image cache, cropped to fill a square, kept by size.
#include "records.h"

#include <QCache>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QThreadPool>
#include <QUuid>

namespace velora {

class Thumbnails : public QObject {
    Q_OBJECT
public:
    explicit Thumbnails(QObject* parent = nullptr);

    // The photo cropped to fill a square of `side` points at `dpr`; null while it loads, and
    // ready() follows once it is there (or could not be read).
    QImage square(const Photo& photo, int side, qreal dpr);
    // Waits for every load under way (tests, snapshots).
    void waitForLoads();

signals:
    void ready(const QUuid& photoID);

private:
    struct Key {
        QString file;
        int pixels;
        bool operator==(const Key&) const = default;
    };
    friend size_t qHash(const Key& k, size_t seed) { return qHashMulti(seed, k.file, k.pixels); }

    QCache<Key, QImage> m_images{8 * 1024 * 1024}; // cost: bytes
    QSet<Key> m_loading;
    QSet<Key> m_failed;
    // Its own threads: work on the global pool holds up every large fill the GUI thread draws.
    QThreadPool m_pool;
};

} // namespace velora
