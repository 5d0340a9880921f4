#pragma once
// Turns decoded images into library photos: a JPEG copy plus a thumbnail in <root>/Photos.
// Stateless; safe on any thread.
#include "records.h"

#include <QImage>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace velora::ImageStore {

// The full copy at quality 0.9 and "<ID>-s.jpg" at most 640 px at 0.82; nothing when the full
// copy could not be written.
std::optional<Photo> store(const QImage& image, const QString& title, const std::optional<QString>& originalPath,
                           const std::optional<QString>& photosIdentifier);
// JPEG at quality 0..1, replacing any existing file.
bool write(const QImage& image, const QString& path, double quality);
// Truncated sizes, at least 1; never enlarges (returns the image itself when it fits).
std::optional<QImage> downscale(const QImage& image, int maxPixel);
// "jpg", "jpeg", "png", "heic", "heif", "tif", "tiff", "gif", "bmp", "webp", "jp2"
const QStringList& imageTypes();
bool isImageType(const QString& path);
// Files and folders in, image files out: recursive, hidden files and package contents skipped,
// capped at about 2000 from folders, natural case-insensitive order by file name (stable).
QStringList expand(const QStringList& paths);
// Deletes both files; failures ignored; names that are not plain file names are never touched.
void remove(const Photo& photo);

} // namespace velora::ImageStore
