#include "catalog_source.h"
#if !defined(Q_OS_MACOS)
#include "digikam_source.h"
#include "pictures_source.h"
#include "shotwell_source.h"
#endif

#include "image_decoder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>
#include <QTransform>

// GLib names a struct member "signals", which Qt defines as a macro.
#pragma push_macro("signals")
#undef signals
#include <vips/vips.h>
#pragma pop_macro("signals")

#include <algorithm>

namespace velora {

namespace PhotoFiles {

namespace {

// EXIF orientation n as the linear map from stored pixels to the upright picture, in y-down
// coordinates: x' = a x + b y, y' = c x + d y.
struct Map {
    int a, b, c, d;
};

Map mapOf(int orientation)
{
    switch (orientation) {
    case 2: return {-1, 0, 0, 1};  // mirrored left-right
    case 3: return {-1, 0, 0, -1}; // half turn
    case 4: return {1, 0, 0, -1};  // mirrored top-bottom
    case 5: return {0, 1, 1, 0};   // transposed
    case 6: return {0, -1, 1, 0};  // quarter turn clockwise
    case 7: return {0, -1, -1, 0}; // transversed
    case 8: return {0, 1, -1, 0};  // quarter turn anticlockwise
    default: return {1, 0, 0, 1};
    }
}

Map multiply(const Map& l, const Map& r)
{
    return {l.a * r.a + l.b * r.c, l.a * r.b + l.b * r.d, l.c * r.a + l.d * r.c, l.c * r.b + l.d * r.d};
}

// The maps are orthogonal: the inverse is the transpose.
Map inverse(const Map& m) { return {m.a, m.c, m.b, m.d}; }

} // namespace

QImage reorient(const QImage& upright, int from, int to)
{
    if (from < 1 || from > 8) from = 1;
    if (to < 1 || to > 8 || from == to) return upright;
    const Map m = multiply(mapOf(to), inverse(mapOf(from)));
    // QTransform works on row vectors: x' = m11 x + m21 y, y' = m12 x + m22 y.
    // Mirrors by a transposition come back with alpha; the pixels are only moved, so the format stays.
    return upright.transformed(QTransform(m.a, m.c, m.b, m.d, 0, 0)).convertToFormat(upright.format());
}

int fileOrientation(const QString& path)
{
    if (!ImageDecoder::initialize()) return 1;
    const QByteArray name = QFile::encodeName(path);
    VipsImage* image = vips_image_new_from_file(name.constData(), "access", VIPS_ACCESS_SEQUENTIAL, nullptr);
    if (!image) {
        vips_error_clear();
        return 1;
    }
    int orientation = 1;
    if (vips_image_get_typeof(image, VIPS_META_ORIENTATION) &&
        vips_image_get_int(image, VIPS_META_ORIENTATION, &orientation) != 0) {
        vips_error_clear();
        orientation = 1;
    }
    g_object_unref(image);
    return orientation >= 1 && orientation <= 8 ? orientation : 1;
}

std::optional<QImage> image(const QString& path, int orientation, int longestSide)
{
    std::optional<QImage> decoded = ImageDecoder::decode(path, longestSide);
    if (!decoded || orientation == 0) return decoded;
    const int own = fileOrientation(path);
    if (own == orientation) return decoded;
    return reorient(*decoded, own, orientation);
}

bool looksLikeScreenshot(const QString& path)
{
    // Called for every photo of a library: no QFileInfo, no splitting.
    static const QStringList prefixes = {
        QStringLiteral("screenshot"),          QStringLiteral("screen shot"),
        QStringLiteral("scrot"),               QStringLiteral("bildschirmfoto"),
        QStringLiteral("captura de pantalla"), QString::fromUtf8("capture d\xe2\x80\x99\xc3\xa9" "cran"),
        QString::fromUtf8("capture d'\xc3\xa9" "cran"), QStringLiteral("schermafbeelding"),
        QStringLiteral("snapshot_")};
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    const QStringView name = QStringView(path).mid(slash + 1);
    for (const QString& prefix : prefixes)
        if (name.startsWith(prefix, Qt::CaseInsensitive)) return true;
    const QStringView folders = QStringView(path).left(std::max<qsizetype>(slash, 0));
    constexpr QLatin1StringView folder("screenshots");
    for (qsizetype at = folders.indexOf(folder, 0, Qt::CaseInsensitive); at >= 0;
         at = folders.indexOf(folder, at + 1, Qt::CaseInsensitive)) {
        const qsizetype end = at + folder.size();
        if ((at == 0 || folders[at - 1] == u'/') && (end == folders.size() || folders[end] == u'/')) return true;
    }
    return false;
}

bool isPanorama(qint64 width, qint64 height)
{
    if (width <= 0 || height <= 0) return false;
    return std::max(width, height) >= 2 * std::min(width, height);
}

} // namespace PhotoFiles

// --- catalog --------------------------------------------------------------------------------

void Catalog::add(const PhotoCollection& collection, const std::function<bool(int)>& keep)
{
    Entry entry{collection, {}};
    for (int row = 0; row < assets.size(); ++row)
        if (keep(row)) entry.rows.append(row);
    entries.append(std::move(entry));
}

void Catalog::addSmartCollections(const QString& prefix, const QList<Facts>& facts, bool hasFavorites)
{
    const auto smart = [&prefix](const char* id, const char* title, AlbumKind kind) {
        return PhotoCollection{prefix + QLatin1String(id), QCoreApplication::translate("velora::Catalog", title), kind};
    };
    const qint64 recent = QDateTime::currentSecsSinceEpoch() - 30 * 24 * 3600;
    add(smart("all", "All Photos", AlbumKind::allPhotos), [](int) { return true; });
    if (hasFavorites) add(smart("favorites", "Favorites", AlbumKind::favorites), [&](int i) { return facts[i].favorite; });
    add(smart("recent", "Recently Added", AlbumKind::recentlyAdded), [&](int i) { return facts[i].added > recent; });
    add(smart("panoramas", "Panoramas", AlbumKind::panoramas),
        [&](int i) { return PhotoFiles::isPanorama(facts[i].width, facts[i].height); });
    add(smart("screenshots", "Screenshots", AlbumKind::screenshots),
        [&](int i) { return PhotoFiles::looksLikeScreenshot(facts[i].path); });
}

const Catalog* CatalogSource::catalog() const
{
    if (!m_read) {
        m_read = true;
        m_catalog = read(m_problem);
        if (m_catalog)
            for (int i = 0; i < m_catalog->entries.size(); ++i) m_entryIndex.insert(m_catalog->entries[i].collection.id, i);
    }
    return m_catalog ? &*m_catalog : nullptr;
}

PhotoAccess CatalogSource::access() const { return catalog() ? PhotoAccess::authorized : PhotoAccess::denied; }

QString CatalogSource::problem() const
{
    catalog();
    return m_problem;
}

QList<PhotoCollection> CatalogSource::collections() const
{
    QList<PhotoCollection> out;
    if (const Catalog* c = catalog())
        for (const Catalog::Entry& e : c->entries) out.append(e.collection);
    return out;
}

int CatalogSource::count(const PhotoCollection& collection) const
{
    const Catalog* c = catalog();
    const auto it = m_entryIndex.constFind(collection.id);
    return c && it != m_entryIndex.constEnd() ? int(c->entries[*it].rows.size()) : 0;
}

QList<PhotoAsset> CatalogSource::assets(const PhotoCollection& collection, int limit) const
{
    QList<PhotoAsset> out;
    const Catalog* c = catalog();
    const auto it = m_entryIndex.constFind(collection.id);
    if (!c || it == m_entryIndex.constEnd()) return out;
    const QList<int>& rows = c->entries[*it].rows;
    const qsizetype n = std::min<qsizetype>(rows.size(), std::max(limit, 0));
    out.reserve(n);
    for (qsizetype i = 0; i < n; ++i) out.append(c->assets[rows[i]]);
    return out;
}

std::optional<QImage> CatalogSource::image(const PhotoAsset& asset, int longestSide) const
{
    return PhotoFiles::image(asset.path, asset.orientation, longestSide);
}

QString mediumDate(const QDate& date)
{
    QString format = QLocale().dateFormat(QLocale::LongFormat);
    format.remove(QStringLiteral("dddd, ")).remove(QStringLiteral("dddd "));
    format.replace(QStringLiteral("MMMM"), QStringLiteral("MMM"));
    return QLocale().toString(date, format);
}

// --- discovery ------------------------------------------------------------------------------

SourcePlaces defaultSourcePlaces()
{
    SourcePlaces places;
    places.dataHome = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    places.cacheHome = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
    places.configHome = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    places.picturesDir = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    if (places.picturesDir.isEmpty() || places.picturesDir == QDir::homePath())
        places.picturesDir = QDir::home().filePath(QStringLiteral("Pictures"));
    return places;
}

#if !defined(Q_OS_MACOS)
PhotoSources discoverPhotoSources(const SourcePlaces& places)
{
    PhotoSources sources;
    if (!places.dataHome.isEmpty()) {
        const QString db = ShotwellSource::databaseIn(places.dataHome);
        if (QFileInfo::exists(db))
            sources.append(std::make_shared<ShotwellSource>(
                db, places.cacheHome.isEmpty() ? QString() : ShotwellSource::thumbnailsIn(places.cacheHome)));
    }
    if (!places.configHome.isEmpty())
        if (const auto db = DigikamSource::databaseFromConfig(places.configHome))
            sources.append(std::make_shared<DigikamSource>(*db));
    if (!places.picturesDir.isEmpty() && QFileInfo(places.picturesDir).isDir())
        sources.append(std::make_shared<PicturesSource>(places.picturesDir));
    return sources;
}
#endif

} // namespace velora
