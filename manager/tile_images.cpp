#include "tile_images.h"

#include "image_cache.h"
#include "scaled_images.h"

#include <QCoreApplication>
#include <QMutex>
#include <QMutexLocker>
#include <QPainter>
#include <QThread>

#include <cstdlib>
#include <deque>

namespace velora {

struct TileImages::Queue {
    QMutex mutex;
    std::deque<Request> jobs; // next first
    QHash<QUuid, QSize> busy; // being made, at that size
    int workers = 0;
    bool stopped = false;
};

TileImages::TileImages(qsizetype byteLimit, QObject* parent)
    : QObject(parent)
    , m_tiles(LruCache<QUuid, Tile, Hash>::unlimited, byteLimit)
    , m_queue(std::make_shared<Queue>())
{
    // One core stays with the window, which paints while tiles are made.
    m_pool.setMaxThreadCount(std::clamp(QThread::idealThreadCount() - 1, 1, 3));
}

TileImages::~TileImages()
{
    {
        QMutexLocker lock(&m_queue->mutex);
        m_queue->stopped = true;
        m_queue->jobs.clear();
    }
    m_pool.waitForDone();
}

QImage TileImages::tile(const QUuid& id, QSize* pixels)
{
    const std::optional<Tile> hit = m_tiles.get(id);
    if (!hit) return {};
    if (pixels) *pixels = hit->pixels;
    return hit->image;
}

void TileImages::want(const QList<Request>& requests)
{
    std::deque<Request> jobs;
    for (const Request& r : requests) {
        if (r.pixels.isEmpty() || m_unreadable.contains(r.photo.id)) continue;
        if (const std::optional<Tile> have = m_tiles.get(r.photo.id); have && have->pixels == r.pixels) continue;
        jobs.push_back(r);
    }
    {
        QMutexLocker lock(&m_queue->mutex);
        std::erase_if(jobs, [&](const Request& r) { return m_queue->busy.value(r.photo.id) == r.pixels; });
        m_queue->jobs = std::move(jobs);
    }
    startWorkers();
}

void TileImages::startWorkers()
{
    QMutexLocker lock(&m_queue->mutex);
    while (m_queue->workers < m_pool.maxThreadCount() && size_t(m_queue->workers) < m_queue->jobs.size()) {
        ++m_queue->workers;
        m_pool.start([queue = m_queue, self = this] {
            for (;;) {
                Request job;
                {
                    QMutexLocker take(&queue->mutex);
                    if (queue->stopped || queue->jobs.empty()) {
                        --queue->workers;
                        return;
                    }
                    job = std::move(queue->jobs.front());
                    queue->jobs.pop_front();
                    queue->busy.insert(job.photo.id, job.pixels);
                }
                QImage image = make(job);
                // The owner waits for its workers before it goes, so it is there to post to.
                QMetaObject::invokeMethod(self, [self, job, image] { self->deliver(job, image); }, Qt::QueuedConnection);
            }
        });
    }
}

void TileImages::deliver(const Request& request, const QImage& image)
{
    {
        QMutexLocker lock(&m_queue->mutex);
        if (m_queue->busy.value(request.photo.id) == request.pixels) m_queue->busy.remove(request.photo.id);
    }
    ++m_made;
    if (image.isNull()) {
        m_unreadable.insert(request.photo.id);
        return;
    }
    m_tiles.insert(request.photo.id, Tile{image, request.pixels}, image.sizeInBytes());
    emit ready(request.photo.id);
}

QImage TileImages::make(const Request& request)
{
    const QSize box = request.pixels;
    if (box.isEmpty()) return {};
    ImageCache& cache = ImageCache::shared();
    std::optional<QImage> source = cache.image(request.photo, true, false);
    // A tile larger than the thumbnail is made from the full copy, so it stays sharp.
    if (!source || source->width() * 1.1 < box.width() || source->height() * 1.1 < box.height()) {
        if (std::optional<QImage> full = cache.image(request.photo, false, false)) source = full;
    }
    if (!source || source->isNull()) return {};

    // The tile has the photo's recorded proportions; a thumbnail differs from them by rounding
    // only, and then fills it. A photo recorded without a height is shown whole inside its square.
    QSize fitted = source->size().scaled(box, Qt::KeepAspectRatio);
    if (std::abs(fitted.width() - box.width()) <= 2 && std::abs(fitted.height() - box.height()) <= 2) fitted = box;
    const QImage scaled = ScaledImages::scale(*source, source->rect(), fitted.expandedTo(QSize(1, 1)));
    if (scaled.isNull()) return {};

    QImage tile(scaled.size(), QImage::Format_ARGB32_Premultiplied);
    tile.fill(Qt::transparent);
    {
        QPainter p(&tile);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        p.setBrush(QBrush(scaled));
        const qreal radius = cornerRadius * request.dpr;
        p.drawRoundedRect(QRectF(tile.rect()), radius, radius);
    }
    tile.setDevicePixelRatio(request.dpr);
    return tile;
}

void TileImages::waitForIdle()
{
    for (;;) {
        m_pool.waitForDone();
        QCoreApplication::sendPostedEvents(this, QEvent::MetaCall);
        QMutexLocker lock(&m_queue->mutex);
        if (m_queue->jobs.empty() && m_queue->workers == 0) return;
    }
}

int TileImages::queued() const
{
    QMutexLocker lock(&m_queue->mutex);
    return int(m_queue->jobs.size());
}

void TileImages::clear()
{
    m_tiles.clear();
    m_unreadable.clear();
}

} // namespace velora
