#include "image_store.h"

#include "storage.h"

#include <QColorSpace>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QSaveFile>

#include <algorithm>
#include <cmath>

namespace velora::ImageStore {

namespace {

constexpr int thumbnailPixel = 640;
constexpr double fullQuality = 0.9;
constexpr double thumbnailQuality = 0.82;
// Folder enumeration stops once the result holds more than this many files.
constexpr qsizetype folderCap = 2000;

// Folders that a file browser shows as one item (application bundles, photo libraries and the
// like). On macOS the platform says so; elsewhere the usual package extensions stand in, so a
// copied-over "Photos Library.photoslibrary" is not walked file by file.
bool isPackage(const QFileInfo& info)
{
    if (!info.isDir()) return false;
    if (info.isBundle()) return true;
    static const QStringList packageSuffixes = {
        QStringLiteral("app"),        QStringLiteral("bundle"),    QStringLiteral("photoslibrary"),
        QStringLiteral("photolibrary"), QStringLiteral("aplibrary"), QStringLiteral("migratedphotolibrary"),
        QStringLiteral("framework"),  QStringLiteral("plugin"),    QStringLiteral("kext"),
        QStringLiteral("pkg"),        QStringLiteral("mpkg"),      QStringLiteral("rtfd"),
        QStringLiteral("xcodeproj"),  QStringLiteral("xcassets"),  QStringLiteral("lrlibrary"),
        QStringLiteral("lrdata"),     QStringLiteral("fcpbundle"), QStringLiteral("imovielibrary"),
        QStringLiteral("tvlibrary"),  QStringLiteral("band"),      QStringLiteral("key"),
        QStringLiteral("pages"),      QStringLiteral("numbers"),
    };
    return packageSuffixes.contains(info.suffix().toLower());
}

// Case-insensitive, with runs of digits compared by value, as a file browser orders names. Written
// out rather than left to the collator: the platform's collation may not know numeric mode (the C
// locale, or Qt built without ICU), and the order must not depend on the user's locale settings.
int naturalCompare(QStringView a, QStringView b)
{
    qsizetype i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (a[i].isDigit() && b[j].isDigit()) {
            qsizetype ei = i, ej = j;
            while (ei < a.size() && a[ei].isDigit()) ++ei;
            while (ej < b.size() && b[ej].isDigit()) ++ej;
            QStringView da = a.mid(i, ei - i), db = b.mid(j, ej - j);
            while (da.size() > 1 && da.front() == u'0') da = da.mid(1);
            while (db.size() > 1 && db.front() == u'0') db = db.mid(1);
            if (da.size() != db.size()) return da.size() < db.size() ? -1 : 1;
            if (const int c = da.compare(db); c != 0) return c < 0 ? -1 : 1;
            i = ei;
            j = ej;
            continue;
        }
        const char32_t ca = a[i].toCaseFolded().unicode();
        const char32_t cb = b[j].toCaseFolded().unicode();
        if (ca != cb) return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

// Pre-order walk. Symbolic links are listed as entries but never descended into, so link loops
// cannot recur; folders that can't be read simply list nothing. Returns false once capped.
bool enumerate(const QString& folder, QStringList& result)
{
    QDir dir(folder);
    // No QDir::Hidden: hidden entries are skipped. System keeps dangling links and the like,
    // which are entries like any other.
    QFileInfoList entries = dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::NoSort);
    // A fixed order per folder, so the cap cuts the same files every time.
    std::stable_sort(entries.begin(), entries.end(), [&](const QFileInfo& a, const QFileInfo& b) {
        return naturalCompare(a.fileName(), b.fileName()) < 0;
    });
    for (const QFileInfo& entry : entries) {
        if (isImageType(entry.fileName())) result.append(entry.filePath());
        if (result.size() > folderCap) return false;
        if (entry.isDir() && !entry.isSymLink() && !isPackage(entry)) {
            if (!enumerate(entry.filePath(), result)) return false;
        }
    }
    return true;
}


} // namespace

bool write(const QImage& image, const QString& path, double quality)
{
    if (image.isNull()) return false;
    if (!std::isfinite(quality)) quality = fullQuality;
    const int q = static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100.0));
    // Written aside and moved over the target, so a failed write never leaves half a file.
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    QImageWriter writer(&file, QByteArrayLiteral("jpeg"));
    writer.setQuality(q);
    if (!writer.write(image)) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
}

std::optional<QImage> downscale(const QImage& image, int maxPixel)
{
    const double longest = std::max(image.width(), image.height());
    const double scale = static_cast<double>(maxPixel) / longest;
    if (scale >= 1) return image;
    const int w = std::max(1, static_cast<int>(std::trunc(scale * image.width())));
    const int h = std::max(1, static_cast<int>(std::trunc(scale * image.height())));
    QImage source = image;
    // Area-averaging downscale; drawing with a smooth painter would only sample bilinearly.
    QImage scaled = source.scaled(w, h, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (scaled.isNull()) return std::nullopt;
    if (scaled.colorSpace().isValid() && scaled.colorSpace() != QColorSpace(QColorSpace::SRgb))
        scaled.convertToColorSpace(QColorSpace(QColorSpace::SRgb));
    QImage bitmap = scaled.convertToFormat(QImage::Format_RGBA8888_Premultiplied);
    if (bitmap.isNull() || bitmap.size() != QSize(w, h)) return std::nullopt;
    bitmap.setColorSpace(QColorSpace(QColorSpace::SRgb));
    return bitmap;
}

std::optional<Photo> store(const QImage& image, const QString& title, const std::optional<QString>& originalPath,
                           const std::optional<QString>& photosIdentifier)
{
    const QUuid id = QUuid::createUuid();
    const QString idText = uuidText(id);
    const QString fileName = idText + QStringLiteral(".jpg");
    const QString thumbName = idText + QStringLiteral("-s.jpg");
    const auto fullPath = Storage::photoPath(fileName);
    const auto thumbPath = Storage::photoPath(thumbName);
    if (!fullPath || !thumbPath) return std::nullopt;

    if (!write(image, *fullPath, fullQuality)) return std::nullopt;
    const std::optional<QImage> small = downscale(image, thumbnailPixel);
    (void)write(small ? *small : image, *thumbPath, thumbnailQuality);

    Photo photo;
    photo.id = id;
    photo.title = title;
    photo.fileName = fileName;
    photo.thumbName = thumbName;
    photo.originalPath = originalPath;
    photo.photosIdentifier = photosIdentifier;
    photo.pixelWidth = image.width();
    photo.pixelHeight = image.height();
    photo.caption = QString();
    photo.added = Timestamp::now();
    return photo;
}

const QStringList& imageTypes()
{
    static const QStringList types = {
        QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("png"), QStringLiteral("heic"),
        QStringLiteral("heif"), QStringLiteral("tif"), QStringLiteral("tiff"), QStringLiteral("gif"),
        QStringLiteral("bmp"), QStringLiteral("webp"), QStringLiteral("jp2"),
    };
    return types;
}

bool isImageType(const QString& path)
{
    // The extension is what follows the last dot of the last component ("a.b.JPG" -> "jpg");
    // a name that starts with its only dot has none.
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0) return false;
    return imageTypes().contains(name.mid(dot + 1).toLower());
}

QStringList expand(const QStringList& paths)
{
    QStringList result;
    for (const QString& path : paths) {
        if (path.isEmpty()) continue;
        const QFileInfo info(path);
        if (!info.exists()) continue;
        if (info.isDir()) {
            // The cap is tested after each entry, so a folder reached after it still gives its
            // first entry.
            (void)enumerate(info.absoluteFilePath(), result);
        } else if (isImageType(path)) {
            result.append(info.absoluteFilePath());
        }
    }
    std::stable_sort(result.begin(), result.end(), [&](const QString& a, const QString& b) {
        const qsizetype sa = a.lastIndexOf(QLatin1Char('/'));
        const qsizetype sb = b.lastIndexOf(QLatin1Char('/'));
        return naturalCompare(QStringView(a).mid(sa + 1), QStringView(b).mid(sb + 1)) < 0;
    });
    return result;
}

void remove(const Photo& photo)
{
    if (const auto full = Storage::photoPath(photo.fileName)) QFile::remove(*full);
    if (const auto thumb = Storage::photoPath(photo.thumbName)) QFile::remove(*thumb);
}

} // namespace velora::ImageStore
