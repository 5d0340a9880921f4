#include "desktop_backdrop.h"

#include <QPainter>

namespace velora::Platform {

Compositing& Compositing::instance()
{
    static Compositing* shared = new Compositing; // lives as long as the process; never torn down
    return *shared;
}

void Compositing::setBlends(bool blends)
{
    if (m_blends == blends) return;
    m_blends = blends;
    emit blendingChanged(blends);
}

void Compositing::dropWallpaper()
{
    m_wallpaperRead = false;
    m_wallpaper = QImage();
    emit wallpaperChanged();
}

QImage Compositing::wallpaper()
{
    if (!m_wallpaperRead) {
        m_wallpaper = readWallpaper();
        m_wallpaperRead = true;
    }
    return m_wallpaper;
}

QImage Compositing::wallpaperUnder(const QRect& deviceRect)
{
    const QImage all = wallpaper();
    if (all.isNull() || deviceRect.isEmpty()) return {};
    if (all.rect().contains(deviceRect)) return all.copy(deviceRect);
    // A root background smaller than the desktop repeats from its origin.
    QImage shifted(deviceRect.size(), QImage::Format_RGB32);
    QPainter q(&shifted);
    QBrush tiles(all);
    tiles.setTransform(QTransform::fromTranslate(-deviceRect.x(), -deviceRect.y()));
    q.fillRect(shifted.rect(), tiles);
    return shifted;
}

} // namespace velora::Platform
