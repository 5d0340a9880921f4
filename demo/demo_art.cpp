#include "demo_art.h"

#include "image_cache.h"
#include "image_store.h"
#include "layout.h"
#include "storage.h"

#include <QFileInfo>
#include <QImageReader>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>

#include <algorithm>
#include <cmath>

namespace velora::DemoArt {

const std::array<Palette, 7> palettes = {{
    {{0xffb27a, 0xf6d6c4, 0xc9d7f2}, 0xfff1d6, {0x9e7bb5, 0x6e5a92, 0x433a66}, false},
    {{0x7cc6e8, 0xbfe6f0, 0xf2f7f5}, 0xffffff, {0x5bae9b, 0x2f8277, 0x16514f}, false},
    {{0xf78b4e, 0xf9c46b, 0xfce6b0}, 0xfff6e0, {0xd9874c, 0xb25b33, 0x7a3923}, false},
    {{0x0e1a3a, 0x23356b, 0x4a5c9a}, 0xf3f0da, {0x26305a, 0x1a2142, 0x0e132b}, true},
    {{0xa8d8b9, 0xe3f1d4, 0xfaf6e3}, 0xfffdf0, {0x8bbf6a, 0x5b9446, 0x33662c}, false},
    {{0xf59aa8, 0xf8c9b5, 0xfbe9d9}, 0xfff4ea, {0xe07a7a, 0xb4536a, 0x6e3350}, false},
    {{0x6c8ebf, 0xa9bedc, 0xe6ecf4}, 0xffffff, {0x8c9aae, 0x5d6b80, 0x343e4f}, false},
}};

const std::array<SizeEntry, 7> sizes = {{
    {1500, 1000, "Morning over the ridge"},
    {1000, 1500, "Tide pools"},
    {1200, 1200, "Dune at four"},
    {1600, 900, "Night drive"},
    {960, 1200, "Spring meadow"},
    {900, 1600, "Coral hour"},
    {2100, 900, "Alpine panorama"},
}};

namespace {
constexpr double kPi = 3.14159265358979323846;

QColor colour(std::uint32_t rgb, double alpha = 1.0)
{
    return QColor::fromRgbF(((rgb >> 16) & 0xff) / 255.0f, ((rgb >> 8) & 0xff) / 255.0f, (rgb & 0xff) / 255.0f,
                            static_cast<float>(alpha));
}
} // namespace

std::optional<QImage> scene(int width, int height, const Palette& palette, std::uint32_t seed)
{
    if (width < 1 || height < 1 || width > 16384 || height > 16384) return std::nullopt;
    QImage image(width, height, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) return std::nullopt;
    image.fill(Qt::transparent);
    const double W = width;
    const double H = height;
    SeededRandom rng(seed);

    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    // Painting coordinates grow upward from the bottom-left corner.
    p.translate(0, H);
    p.scale(1, -1);
    p.setPen(Qt::NoPen);

    QLinearGradient sky(0, 0, 0, H);
    sky.setColorAt(0.0, colour(palette.sky[0]));
    sky.setColorAt(0.5, colour(palette.sky[1]));
    sky.setColorAt(1.0, colour(palette.sky[2]));
    p.fillRect(QRectF(0, 0, W, H), sky);

    if (palette.night) {
        for (int i = 0; i < 140; ++i) {
            const double r = rng.next(0.6, 2.2) * W / 1000;
            const double a = rng.next(0.35, 0.95);
            const double x = rng.next() * W;
            const double y = 0.35 * H + rng.next() * H * 0.65;
            p.setBrush(QColor::fromRgbF(1, 1, 1, static_cast<float>(a)));
            p.drawEllipse(QRectF(x, y, 2 * r, 2 * r));
        }
    }

    const double fx = rng.next(0.25, 0.75);
    const double fy = rng.next(0.55, 0.72);
    const QPointF centre(fx * W, fy * H);
    const double R = 0.11 * std::min(W, H);
    // The glow runs from the disc's edge (radius R) out to 3.4·R.
    QRadialGradient glow(centre, 3.4 * R, centre, R);
    glow.setColorAt(0.0, colour(palette.sun, 0.55));
    glow.setColorAt(1.0, colour(palette.sun, 0.0));
    p.setBrush(glow);
    p.drawEllipse(centre, 3.4 * R, 3.4 * R);
    p.setBrush(colour(palette.sun));
    p.drawEllipse(centre, R, R);

    for (int k = 0; k < 3; ++k) {
        const double alpha = rng.next(0.04, 0.09);
        const double f = rng.next(1.2, 2.6);
        const double phi = rng.next(0.0, 6.28);
        const double A = alpha * H;
        const double y0 = (0.46 - 0.13 * k) * H;
        QPainterPath hill;
        hill.moveTo(0, 0);
        const double step = W / 120;
        for (int i = 0;; ++i) {
            const double x = i * step;
            // i·step may land a hair past W on the last step; that step is still the edge.
            if (x > W * (1 + 1e-12)) break;
            const double theta = f * 2 * kPi * x / W;
            hill.lineTo(x, y0 + A * std::sin(phi + theta) + 0.35 * A * std::sin(phi + 2.7 * theta));
        }
        hill.lineTo(W, 0);
        hill.closeSubpath();
        p.fillPath(hill, colour(palette.hills[k]));
    }
    p.end();
    return image;
}

QList<Photo> makePhotos(int count)
{
    Storage::prepare();
    QList<Photo> out;
    const int n = std::clamp(count, 0, 7);
    for (int i = 0; i < n; ++i) {
        const SizeEntry& size = sizes[i];
        const auto image = scene(size.width, size.height, palettes[i % 7], 3 + 17 * static_cast<std::uint32_t>(i));
        if (!image) continue;
        if (auto photo = ImageStore::store(*image, QString::fromUtf8(size.title), std::nullopt, std::nullopt))
            out.append(*photo);
    }
    return out;
}

const QList<Photo>& samples()
{
    static const QList<Photo> list = [] {
        Storage::prepare();
        QList<Photo> out;
        for (int i = 0; i < static_cast<int>(sizes.size()); ++i) {
            const SizeEntry& size = sizes[i];
            const QString fileName = QStringLiteral("sample-%1.jpg").arg(i);
            const QString thumbName = QStringLiteral("sample-%1-s.jpg").arg(i);
            const auto path = Storage::photoPath(fileName);
            const auto thumbPath = Storage::photoPath(thumbName);
            if (!path || !thumbPath) continue;
            QSize pixels(size.width / 2, size.height / 2);
            if (!QFileInfo::exists(*path)) {
                if (const auto image = scene(pixels.width(), pixels.height(), palettes[i % 7],
                                             3 + 17 * static_cast<std::uint32_t>(i))) {
                    ImageStore::write(*image, *path, 0.85);
                    if (const auto thumb = ImageStore::downscale(*image, 480)) ImageStore::write(*thumb, *thumbPath, 0.8);
                }
            } else {
                // Reused from an earlier start: its real size is what the file holds.
                const QSize stored = QImageReader(*path).size();
                if (stored.isValid()) pixels = stored;
            }
            Photo photo;
            photo.id = QUuid::createUuid();
            photo.title = QString::fromUtf8(size.title);
            photo.fileName = fileName;
            photo.thumbName = thumbName;
            photo.pixelWidth = pixels.width();
            photo.pixelHeight = pixels.height();
            photo.added = Timestamp::now();
            out.append(photo);
        }
        return out;
    }();
    return list;
}

const QList<Photo>& paintedSamples()
{
    static const QList<Photo> list = [] {
        constexpr double longSide = 600;
        QList<Photo> out;
        for (int i = 0; i < static_cast<int>(sizes.size()); ++i) {
            const SizeEntry& size = sizes[i];
            const double scale = longSide / std::max(size.width, size.height);
            const int w = std::max(1, int(std::lround(size.width * scale)));
            const int h = std::max(1, int(std::lround(size.height * scale)));
            const auto image = scene(w, h, palettes[i % 7], 3 + 17 * static_cast<std::uint32_t>(i));
            if (!image) continue;
            // Not a plain file name, so nothing ever looks for it on disk.
            const QString key = QStringLiteral("memory:sample-%1").arg(i);
            ImageCache::shared().keep(key, *image);
            Photo photo;
            photo.id = QUuid::createUuid();
            photo.title = QString::fromUtf8(size.title);
            photo.fileName = key;
            photo.thumbName = key;
            photo.pixelWidth = w;
            photo.pixelHeight = h;
            out.append(photo);
        }
        return out;
    }();
    return list;
}

} // namespace velora::DemoArt
