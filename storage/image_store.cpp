#include "image_store.h"

#include "files.h"
#include "storage.h"

#include <QColorSpace>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QSet>

#include <algorithm>
#include <cmath>

#include <dirent.h>
#include <unistd.h>

namespace velora::ImageStore {

namespace {

constexpr int thumbnailPixel = 640;
constexpr double fullQuality = 0.9;
constexpr double thumbnailQuality = 0.82;
// Generous over the 2400 px the import writes: demo art and earlier versions may differ a little.
constexpr int adoptablePixel = 4096;
// Folder enumeration stops once the result holds more than this many files.
constexpr qsizetype folderCap = 2000;
// JPEG comments of a full copy naming its title and original file.
const QString titleKey = QStringLiteral("VeloraTitle");
const QString originalKey = QStringLiteral("VeloraOriginal");

// Folders that a file browser shows as one item (application bundles, photo libraries and the
// like). On macOS the platform says so; elsewhere the usual package extensions stand in, so a
// copied-over "Photos Library.photoslibrary" is not walked file by file.
bool isPackage(const QString& folder)
{
#ifdef Q_OS_MACOS
    if (QFileInfo(folder).isBundle()) return true;
#endif
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
    const QString name = folder.mid(folder.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && packageSuffixes.contains(name.mid(dot + 1).toLower());
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

// The entries of a folder by their lossless names, hidden ones left out unless asked for; nothing
// when it can't be read.
QStringList entriesOf(const QString& folder, bool hidden = false)
{
    QStringList names;
    DIR* dir = ::opendir(Files::encodeName(folder).constData());
    if (!dir) return names;
    while (const dirent* entry = ::readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (name == "." || name == ".." || (!hidden && name.startsWith('.'))) continue;
        names.append(Files::decodeName(name));
    }
    ::closedir(dir);
    return names;
}

// Pre-order walk. Symbolic links are listed as entries but never descended into, so link loops
// cannot recur; folders that can't be read simply list nothing. Returns false once capped.
bool enumerate(const QString& folder, QStringList& result)
{
    QStringList names = entriesOf(folder);
    // A fixed order per folder, so the cap cuts the same files every time.
    std::stable_sort(names.begin(), names.end(), [](const QString& a, const QString& b) { return naturalCompare(a, b) < 0; });
    for (const QString& name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        if (isImageType(name)) result.append(path);
        if (result.size() > folderCap) return false;
        if (Files::kindOfEntry(path) == Files::Kind::folder && !isPackage(path)) {
            if (!enumerate(path, result)) return false;
        }
    }
    return true;
}

// ".<name>.part" beside the file: what a write is called until it is complete.
QString partPath(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return path.left(slash + 1) + QLatin1Char('.') + path.mid(slash + 1) + QStringLiteral(".part");
}

bool isPartName(const QString& name) { return name.startsWith(QLatin1Char('.')) && name.endsWith(QStringLiteral(".part")); }

// Encodes to the file's ".part" name, flushed to disk; false (and nothing left) on failure.
bool writePart(const QImage& image, const QString& path, double quality, const QString& title = {},
               const std::optional<QString>& original = std::nullopt)
{
    if (image.isNull()) return false;
    if (!std::isfinite(quality)) quality = fullQuality;
    const QString part = partPath(path);
    QFile file(part);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) return false;
    QImageWriter writer(&file, QByteArrayLiteral("jpeg"));
    writer.setQuality(static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100.0)));
    // Where the copy came from rides along, so a copy whose record was lost can be adopted again.
    if (!title.isEmpty()) writer.setText(titleKey, title);
    if (original) writer.setText(originalKey, *original);
    const bool ok = writer.write(image) && file.flush() && ::fsync(file.handle()) == 0;
    file.close();
    if (!ok) QFile::remove(part);
    return ok;
}

// Moves a complete ".part" file to its final name in one step.
bool finish(const QString& path)
{
    const QString part = partPath(path);
    if (::rename(Files::encodeName(part).constData(), Files::encodeName(path).constData()) == 0) return true;
    QFile::remove(part);
    return false;
}

} // namespace

bool write(const QImage& image, const QString& path, double quality)
{
    return writePart(image, path, quality) && finish(path);
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
                           const std::optional<QString>& photosIdentifier, const std::atomic<bool>* cancelled)
{
    const QUuid id = QUuid::createUuid();
    const QString idText = uuidText(id);
    const QString fileName = idText + QStringLiteral(".jpg");
    const QString thumbName = idText + QStringLiteral("-s.jpg");
    const auto fullPath = Storage::photoPath(fileName);
    const auto thumbPath = Storage::photoPath(thumbName);
    if (!fullPath || !thumbPath) return std::nullopt;

    // Both files are complete under temporary names before either takes its final one, the
    // thumbnail first: a full copy under its final name always has its thumbnail.
    if (!writePart(image, *fullPath, fullQuality, title, originalPath)) return std::nullopt;
    const std::optional<QImage> small = downscale(image, thumbnailPixel);
    const bool thumbWritten = writePart(small ? *small : image, *thumbPath, thumbnailQuality);
    if (cancelled && cancelled->load()) {
        QFile::remove(partPath(*fullPath));
        QFile::remove(partPath(*thumbPath));
        return std::nullopt;
    }
    if (thumbWritten) (void)finish(*thumbPath);
    if (!finish(*fullPath)) {
        QFile::remove(*thumbPath);
        return std::nullopt;
    }

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
    for (const QString& given : paths) {
        if (given.isEmpty()) continue;
        const QString path = Files::absolutePath(given);
        const Files::Kind kind = Files::kindOf(path);
        if (kind == Files::Kind::missing) continue;
        if (kind == Files::Kind::folder) {
            // The cap is tested after each entry, so a folder reached after it still gives its
            // first entry.
            (void)enumerate(path, result);
        } else if (isImageType(path)) {
            result.append(path);
        }
    }
    std::stable_sort(result.begin(), result.end(), [&](const QString& a, const QString& b) {
        const qsizetype sa = a.lastIndexOf(QLatin1Char('/'));
        const qsizetype sb = b.lastIndexOf(QLatin1Char('/'));
        return naturalCompare(QStringView(a).mid(sa + 1), QStringView(b).mid(sb + 1)) < 0;
    });
    return result;
}

QList<Photo> recover(const QList<Photo>& photos, bool adopt)
{
    const QString folder = Storage::photosDir();
    const QStringList names = entriesOf(folder, true);
    QSet<QString> recorded;
    for (const Photo& p : photos) recorded << p.fileName << p.thumbName;

    QList<std::pair<QFileInfo, QUuid>> orphans;
    QStringList strayThumbs;
    for (const QString& name : names) {
        const QString path = folder + QLatin1Char('/') + name;
        // Never complete, whatever the state files say.
        if (isPartName(name)) {
            QFile::remove(path);
            continue;
        }
        if (!adopt || recorded.contains(name)) continue;
        // Only names this store gives out; anything else in the folder is not ours to judge.
        const bool thumb = name.endsWith(QStringLiteral("-s.jpg"));
        const QString idText = name.left(name.size() - (thumb ? 6 : 4));
        const auto id = uuidFromText(idText);
        if (!id || uuidText(*id) != idText || (!thumb && !name.endsWith(QStringLiteral(".jpg")))) continue;
        if (thumb)
            strayThumbs.append(idText);
        else
            orphans.append({QFileInfo(path), *id});
    }
    std::sort(orphans.begin(), orphans.end(), [](const auto& a, const auto& b) {
        const qint64 ta = a.first.lastModified().toMSecsSinceEpoch(), tb = b.first.lastModified().toMSecsSinceEpoch();
        return ta != tb ? ta < tb : a.first.fileName() < b.first.fileName();
    });

    QList<Photo> adopted;
    QSet<QString> kept;
    for (const auto& [info, id] : orphans) {
        const QString idText = uuidText(id);
        const QString full = info.filePath();
        const QString thumb = folder + QLatin1Char('/') + idText + QStringLiteral("-s.jpg");
        std::optional<Files::ReadOnlyFile> file = Files::ReadOnlyFile::open(full);
        QFile device;
        QImage image;
        QString title;
        std::optional<QString> original;
        if (file && file->openDevice(device)) {
            QImageReader reader(&device, QByteArrayLiteral("jpeg"));
            title = reader.text(titleKey);
            if (const QString o = reader.text(originalKey); !o.isEmpty()) original = o;
            const QSize size = reader.size();
            // The library's own copies are never larger than this; anything else is not one.
            if (size.isValid() && std::max(size.width(), size.height()) <= adoptablePixel) image = reader.read();
        }
        if (image.isNull()) {
            QFile::remove(full);
            QFile::remove(thumb);
            continue;
        }
        if (Files::kindOf(thumb) != Files::Kind::file) {
            const std::optional<QImage> small = downscale(image, thumbnailPixel);
            (void)write(small ? *small : image, thumb, thumbnailQuality);
        }
        Photo photo;
        photo.id = id;
        photo.title = title;
        photo.fileName = idText + QStringLiteral(".jpg");
        photo.thumbName = idText + QStringLiteral("-s.jpg");
        photo.originalPath = original;
        photo.pixelWidth = image.width();
        photo.pixelHeight = image.height();
        photo.added = Timestamp::fromMSecsSinceEpoch(info.lastModified().toMSecsSinceEpoch());
        adopted.append(photo);
        kept.insert(idText);
    }
    // A thumbnail whose full copy is gone shows nothing anywhere.
    for (const QString& idText : strayThumbs)
        if (!kept.contains(idText) && !recorded.contains(idText + QStringLiteral(".jpg")))
            QFile::remove(folder + QLatin1Char('/') + idText + QStringLiteral("-s.jpg"));
    return adopted;
}

void remove(const Photo& photo)
{
    if (const auto full = Storage::photoPath(photo.fileName)) QFile::remove(*full);
    if (const auto thumb = Storage::photoPath(photo.thumbName)) QFile::remove(*thumb);
}

} // namespace velora::ImageStore
