#pragma once
// Turns decoded images into library photos: a JPEG copy plus a thumbnail in <root>/Photos.
// Stateless; safe on any thread.
#include "records.h"

#include <QImage>
#include <QSet>
#include <QString>
#include <QStringList>

#include <atomic>
#include <optional>

namespace velora::ImageStore {

// The full copy at quality 0.9 and "<ID>-s.jpg" at most 640 px at 0.82; nothing when the full
// copy could not be written or `cancelled` turned true before the files took their names. Files
// are written under ".<name>.part" and renamed when complete; the full copy carries its title and
// original path as JPEG comments.
std::optional<Photo> store(const QImage& image, const QString& title, const std::optional<QString>& originalPath,
                           const std::optional<QString>& photosIdentifier, const std::atomic<bool>* cancelled = nullptr);
// JPEG at quality 0..1, replacing any existing file in one step once it is complete.
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
// After an interrupted run: deletes unfinished ".part" files in <root>/Photos. With `adopt`, also
// returns records for full copies that none of `photos` names (title and original path from their
// comments, a missing thumbnail made again), deletes such copies that don't decode, and deletes
// thumbnails left without a full copy. Only pass `adopt` when the library file was read cleanly.
QList<Photo> recover(const QList<Photo>& photos, bool adopt);

} // namespace velora::ImageStore
