#include "image_cache.h"

#include "files.h"
#include "lru_cache.h"
#include "storage.h"

#include <QHash>
#include <QImageReader>
#include <QMutex>
#include <QMutexLocker>

namespace velora {

struct ImageCache::Impl {
    mutable QMutex mutex;
    LruCache<QString, QImage> images{ImageCache::limit, ImageCache::defaultByteLimit};
    QHash<QString, QImage> kept;

    std::optional<QImage> find(const QString& key)
    {
        QMutexLocker lock(&mutex);
        if (const auto it = kept.constFind(key); it != kept.cend()) return *it;
        return images.get(key);
    }

    void insert(const QString& key, const QImage& image)
    {
        QMutexLocker lock(&mutex);
        images.insert(key, image, image.sizeInBytes());
    }
};

ImageCache::ImageCache() : d(new Impl) {}
ImageCache::~ImageCache() { delete d; }

ImageCache& ImageCache::shared()
{
    static ImageCache instance;
    return instance;
}

namespace {
std::optional<QImage> load(const QString& key)
{
    // Names from records reach the disk only when they are plain file names.
    const std::optional<QString> path = Storage::photoPath(key);
    if (!path) return std::nullopt;
    // A FIFO or device under a photo's name must not hold up drawing.
    std::optional<Files::ReadOnlyFile> file = Files::ReadOnlyFile::open(*path);
    QFile device;
    if (!file || !file->openDevice(device)) return std::nullopt;
    QImageReader reader(&device);
    reader.setAutoTransform(true);
    QImage image = reader.read();
    if (image.isNull()) return std::nullopt;
    // One pixel format for every drawing path: premultiplied is what QPainter blends fastest.
    if (image.format() != QImage::Format_ARGB32_Premultiplied && image.format() != QImage::Format_RGB32)
        image = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                              : QImage::Format_RGB32);
    return image;
}
} // namespace

std::optional<QImage> ImageCache::image(const Photo& photo, bool small, bool keep)
{
    const QString& key = small ? photo.thumbName : photo.fileName;
    if (auto hit = d->find(key)) return hit;
    if (auto loaded = load(key)) {
        if (keep) d->insert(key, *loaded);
        return loaded;
    }
    if (small) return std::nullopt;
    return image(photo, true, keep);
}

qsizetype ImageCache::bytes() const
{
    QMutexLocker lock(&d->mutex);
    return d->images.cost();
}

qsizetype ImageCache::byteLimit() const
{
    QMutexLocker lock(&d->mutex);
    return d->images.costLimit();
}

void ImageCache::setByteLimit(qsizetype bytes)
{
    QMutexLocker lock(&d->mutex);
    d->images.setCostLimit(bytes);
}

void ImageCache::keep(const QString& key, const QImage& image)
{
    QMutexLocker lock(&d->mutex);
    d->kept.insert(key, image);
}

int ImageCache::count() const
{
    QMutexLocker lock(&d->mutex);
    return d->images.size();
}

void ImageCache::clear()
{
    QMutexLocker lock(&d->mutex);
    d->images.clear();
}

} // namespace velora
