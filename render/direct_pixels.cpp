#include "direct_pixels.h"

#include <QPaintEngine>
#include <QPainter>

namespace velora::DirectPixels {

namespace {
// x × a / 255 per channel, rounded as the raster engine rounds.
inline quint32 byteMul(quint32 x, quint32 a)
{
    quint32 t = (x & 0x00ff00ffu) * a;
    t = ((t + ((t >> 8) & 0x00ff00ffu) + 0x00800080u) >> 8) & 0x00ff00ffu;
    x = ((x >> 8) & 0x00ff00ffu) * a;
    x = (x + ((x >> 8) & 0x00ff00ffu) + 0x00800080u) & 0xff00ff00u;
    return x | t;
}

} // namespace

QImage* target(QPainter* painter)
{
    if (!painter || !painter->isActive() || painter->hasClipping() || painter->opacity() < 1.0
        || painter->compositionMode() != QPainter::CompositionMode_SourceOver)
        return nullptr;
    QPaintEngine* engine = painter->paintEngine();
    if (!engine || engine->type() != QPaintEngine::Raster || !painter->device()
        || painter->device()->devType() != QInternal::Image)
        return nullptr;
    auto* image = static_cast<QImage*>(painter->device());
    return image->format() == QImage::Format_ARGB32_Premultiplied ? image : nullptr;
}

void blend(QImage& image, const QRect& rect, QRgb color)
{
    const QRect r = rect.intersected(image.rect());
    if (r.isEmpty() || qAlpha(color) == 0) return;
    for (int y = r.top(); y <= r.bottom(); ++y) {
        auto* line = reinterpret_cast<quint32*>(image.scanLine(y)) + r.left();
        if (qAlpha(color) == 255) {
            std::fill(line, line + r.width(), color);
            continue;
        }
        const quint32 a = 255 - qAlpha(color);
        for (int x = 0; x < r.width(); ++x) line[x] = color + byteMul(line[x], a);
    }
}

} // namespace velora::DirectPixels
