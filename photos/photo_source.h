#pragma once
// A photo library as the picker sees it: collections, each collection's still photos newest first,
// and images of a photo at two sizes. Velora only ever reads from a source.
#include <QDateTime>
#include <QImage>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace velora {

enum class PhotoAccess { notDetermined, restricted, denied, authorized, limited };

// The smart collections worth offering come first, in this order; then the user's own albums.
enum class AlbumKind { allPhotos, favorites, recentlyAdded, panoramas, screenshots, otherSmart, user };

struct PhotoAsset {
    QString id;       // unique across sources and stable across runs: stored as photosIdentifier
    QString fileName; // as the source knows it; may be empty
    std::optional<QDateTime> created;
    // File sources: where the image is, and the orientation (EXIF numbering, 1..8) the library
    // shows it with; 0 keeps what the file itself says.
    QString path;
    int orientation = 0;

    friend bool operator==(const PhotoAsset&, const PhotoAsset&) = default;
};

struct PhotoCollection {
    QString id; // unique across sources
    QString title; // may be empty
    AlbumKind kind = AlbumKind::user;

    friend bool operator==(const PhotoCollection&, const PhotoCollection&) = default;
};

class PhotoSource {
public:
    virtual ~PhotoSource() = default;

    // Shown above the source's albums when several sources are found.
    virtual QString name() const = 0;
    virtual PhotoAccess access() const = 0;
    // Asks the platform where it has a consent prompt; calls back on the main thread.
    virtual void requestAccess(std::function<void(PhotoAccess)> done) { done(access()); }

    // In the source's own order. Main thread.
    virtual QList<PhotoCollection> collections() const = 0;
    // Still photos only. Main thread.
    virtual int count(const PhotoCollection& collection) const = 0;
    // Newest first, at most `limit`. Main thread.
    virtual QList<PhotoAsset> assets(const PhotoCollection& collection, int limit) const = 0;
    // Any thread: the photo upright, aspect-fit within longestSide × longestSide; nothing when it
    // can't be delivered.
    virtual std::optional<QImage> image(const PhotoAsset& asset, int longestSide) const = 0;
};

using PhotoSources = QList<std::shared_ptr<PhotoSource>>;

namespace PhotoFiles {

// The photo at `path` through our decoder (EXIF orientation, shrink-on-load, size limits), then
// turned to `orientation` when that is not 0. Any thread.
std::optional<QImage> image(const QString& path, int orientation, int longestSide);
// An upright image (orientation 1) turned as EXIF orientation `from` says, then shown as `to`.
QImage reorient(const QImage& upright, int from, int to);
// The orientation a file's own EXIF declares (1 when none or unreadable).
int fileOrientation(const QString& path);

// Screenshot names and folders of the common desktops, in any case.
bool looksLikeScreenshot(const QString& path);
// The longer side at least twice the shorter.
bool isPanorama(qint64 width, qint64 height);

} // namespace PhotoFiles

// Where this machine keeps photo libraries: Linux looks in the data, config and pictures folders
// given (the usual XDG places when empty); macOS has the system photo library.
struct SourcePlaces {
    QString dataHome;    // $XDG_DATA_HOME
    QString cacheHome;   // $XDG_CACHE_HOME
    QString configHome;  // $XDG_CONFIG_HOME
    QString picturesDir; // $XDG_PICTURES_DIR, else ~/Pictures
};
SourcePlaces defaultSourcePlaces();
// The medium-length date of the current locale, without weekday or time ("Mar 4, 2024").
QString mediumDate(const QDate& date);
PhotoSources discoverPhotoSources(const SourcePlaces& places = defaultSourcePlaces());

} // namespace velora
