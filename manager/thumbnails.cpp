#include "thumbnails.h"

#include "image_cache.h"

#include <QCoreApplication>
#include <QPointer>

namespace velora {

namespace {
QImage cropToSquare(const QImage& image, int pixels)
{
    if (image.isNull() || pixels <= 0) return {};
    const int side = std::min(image.width(), image.height());
    const QImage square = image.copy((image.width() - side) / 2, (image.height() - side) / 2, side, side);
    return square.scaled(pixels, pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}
} // namespace

Thumbnails::Thumbnails(QObject* parent)
    : QObject(parent)
{
}

QImage Thumbnails::square(const Photo& photo, int side, qreal dpr)
{
    const int pixels = int(std::ceil(side * dpr));
    const Key key{photo.thumbName, pixels};
    if (const QImage* hit = m_images.object(key)) {
        QImage out = *hit;
        out.setDevicePixelRatio(dpr);
        return out;
    }
    if (m_loading.contains(key) || m_failed.contains(key)) return {};
    m_loading.insert(key);
    QPointer<Thumbnails> self(this);
    const QUuid id = photo.id;
    m_pool.start([self, photo, key, id] {
        const std::optional<QImage> loaded = ImageCache::shared().image(photo, true);
        QImage made = loaded ? cropToSquare(*loaded, key.pixels) : QImage();
        // Back on the main thread, where the pointer is checked and the cache lives.
        QMetaObject::invokeMethod(
            qApp,
            [self, key, id, made = std::move(made)] {
                if (!self) return;
                self->m_loading.remove(key);
                if (made.isNull())
                    self->m_failed.insert(key);
                else
                    self->m_images.insert(key, new QImage(made), qsizetype(made.sizeInBytes()));
                emit self->ready(id);
            },
            Qt::QueuedConnection);
    });
    return {};
}

void Thumbnails::waitForLoads()
{
    while (!m_loading.isEmpty()) {
        m_pool.waitForDone(50);
        QCoreApplication::processEvents();
    }
}

} // namespace velora
