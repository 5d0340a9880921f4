#pragma once
// Photos on disk, pieces and pixel comparisons shared by the render tests.
#include "piece_view.h"
#include "storage.h"

#include <QImage>
#include <QPainter>
#include <QTemporaryDir>
#include <QUuid>

#include <algorithm>
#include <cstdlib>

namespace velora::testing {

// The test's photos go to `dir`, a library folder of their own; false when it could not be made.
inline bool useStorage(const QTemporaryDir& dir)
{
    if (!dir.isValid()) return false;
    Storage::setRoot(dir.path());
    Storage::prepare();
    return true;
}

inline bool writeImage(const QString& path, QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image.save(path, "JPG", 95);
}

// A photo of one colour and its thumbnail (half the size) of another, each written when valid.
inline Photo solidPhoto(const QString& stem, QSize size, QColor full, QColor thumb, const QString& caption = {})
{
    Photo p;
    p.id = QUuid::createUuid();
    p.title = stem;
    p.fileName = stem + QStringLiteral(".jpg");
    p.thumbName = stem + QStringLiteral("-s.jpg");
    p.pixelWidth = size.width();
    p.pixelHeight = size.height();
    p.caption = caption;
    if (full.isValid()) writeImage(*Storage::photoPath(p.fileName), size, full);
    if (thumb.isValid()) writeImage(*Storage::photoPath(p.thumbName), size / 2, thumb);
    return p;
}

// A photo whose left half is red and right half blue (lossless, so the halves stay exact).
inline Photo halvesPhoto(const QString& stem, QSize size)
{
    Photo p;
    p.id = QUuid::createUuid();
    p.fileName = stem + QStringLiteral(".png");
    p.thumbName = stem + QStringLiteral("-s.png");
    p.pixelWidth = size.width();
    p.pixelHeight = size.height();
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(30, 30, 220));
    QPainter(&image).fillRect(QRect(0, 0, size.width() / 2, size.height()), QColor(220, 30, 30));
    image.save(*Storage::photoPath(p.fileName));
    image.scaled(size / 4).save(*Storage::photoPath(p.thumbName));
    return p;
}

inline PieceView viewOf(const QList<Photo>& photos, CollageLayout layout, FrameStyle style, double width = 300)
{
    PieceView v;
    v.piece.id = QUuid::createUuid();
    v.piece.layout = layout;
    v.piece.frame = style;
    v.piece.width = width;
    for (const Photo& p : photos) v.piece.photoIDs.append(p.id);
    v.photos = photos;
    return v;
}

// The canvas point of a framed-box point of an untilted piece.
inline QPointF onCanvas(const PieceGeometry& g, QPointF framed)
{
    return {(g.outerSize.width - g.framedSize.width) / 2 + framed.x(),
            (g.outerSize.height - g.framedSize.height) / 2 + framed.y()};
}

inline int alphaAt(const QImage& image, QPointF points)
{
    const qreal dpr = image.devicePixelRatio();
    return qAlpha(image.pixel(int(points.x() * dpr), int(points.y() * dpr)));
}

inline QImage canvas(QSize size, QColor fill = Qt::transparent)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(fill);
    return image;
}

// The largest difference of any channel of any pixel; 256 for different sizes.
inline int maxDifference(const QImage& a, const QImage& b)
{
    if (a.size() != b.size()) return 256;
    int worst = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
            worst = std::max({worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                              std::abs(qBlue(p) - qBlue(q)), std::abs(qAlpha(p) - qAlpha(q))});
        }
    return worst;
}

// Whether `m` lies halfway between `a` and `b` in red, green and blue, within `tolerance`.
inline bool halfway(QRgb a, QRgb b, QRgb m, int tolerance)
{
    return std::abs(qRed(m) - (qRed(a) + qRed(b)) / 2) <= tolerance
        && std::abs(qGreen(m) - (qGreen(a) + qGreen(b)) / 2) <= tolerance
        && std::abs(qBlue(m) - (qBlue(a) + qBlue(b)) / 2) <= tolerance;
}

} // namespace velora::testing
