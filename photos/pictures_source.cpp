#include "pictures_source.h"

#include "image_store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>

namespace velora {

namespace {

constexpr qint64 recentSeconds = 30 * 24 * 3600;

struct Item {
    QString relative; // to the Pictures folder, with '/'
    QString folder;   // relative folder, empty at the top
    QString path;
    qint64 modified = 0;
    qint64 added = 0; // when the file arrived here: its status change, or birth where known
    QSize size;
};

QString tr(const char* text) { return QCoreApplication::translate("velora::PicturesSource", text); }

// Depth-first, names in order; hidden entries and links to folders are skipped (no loops).
void walk(const QDir& dir, const QString& relative, int depth, QList<Item>& out)
{
    const QFileInfoList entries =
        dir.entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::DirsLast);
    for (const QFileInfo& info : entries) {
        if (out.size() >= PicturesSource::maxFiles) return;
        const QString rel = relative.isEmpty() ? info.fileName() : relative + QLatin1Char('/') + info.fileName();
        if (info.isDir()) {
            if (!info.isSymLink() && depth < PicturesSource::maxDepth) walk(QDir(info.filePath()), rel, depth + 1, out);
            continue;
        }
        if (!ImageStore::isImageType(info.fileName()) || !info.isReadable()) continue;
        Item item;
        item.relative = rel;
        item.folder = relative;
        item.path = info.filePath();
        item.modified = info.lastModified().toSecsSinceEpoch();
        const QDateTime born = info.birthTime();
        item.added = std::max(born.isValid() ? born.toSecsSinceEpoch() : 0, info.metadataChangeTime().toSecsSinceEpoch());
        // Only the header is read, for the panorama test.
        item.size = QImageReader(item.path).size();
        out.append(std::move(item));
    }
}

} // namespace

PicturesSource::PicturesSource(QString folder) : m_folder(QDir::cleanPath(std::move(folder))) {}

QString PicturesSource::name() const
{
    const QString own = QFileInfo(m_folder).fileName();
    return own.isEmpty() ? tr("Pictures") : own;
}

std::optional<Catalog> PicturesSource::read(QString& problem) const
{
    const QFileInfo root(m_folder);
    if (!root.isDir() || !root.isReadable() || !root.isExecutable()) {
        problem = tr("The folder %1 can’t be read.").arg(m_folder);
        return std::nullopt;
    }
    QList<Item> items;
    walk(QDir(m_folder), QString(), 0, items);
    std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
        return a.modified != b.modified ? a.modified > b.modified : a.relative < b.relative;
    });

    Catalog catalog;
    catalog.assets.reserve(items.size());
    for (const Item& item : items) {
        PhotoAsset a;
        a.id = QStringLiteral("pictures:") + item.relative;
        a.fileName = QFileInfo(item.path).fileName();
        if (item.modified > 0) a.created = QDateTime::fromSecsSinceEpoch(item.modified);
        a.path = item.path;
        catalog.assets.append(std::move(a));
    }

    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const auto smart = [](const char* id, const char* title, AlbumKind kind) {
        return PhotoCollection{QStringLiteral("pictures:") + QLatin1String(id), tr(title), kind};
    };
    catalog.add(smart("all", "All Photos", AlbumKind::allPhotos), [](int) { return true; });
    catalog.add(smart("recent", "Recently Added", AlbumKind::recentlyAdded),
                [&](int i) { return items[i].added > now - recentSeconds; });
    catalog.add(smart("panoramas", "Panoramas", AlbumKind::panoramas),
                [&](int i) { return PhotoFiles::isPanorama(items[i].size.width(), items[i].size.height()); });
    catalog.add(smart("screenshots", "Screenshots", AlbumKind::screenshots),
                [&](int i) { return PhotoFiles::looksLikeScreenshot(items[i].relative); });

    // One album per sub-folder with photos of its own, in folder-name order.
    QMap<QString, QList<int>> byFolder;
    for (int i = 0; i < items.size(); ++i)
        if (!items[i].folder.isEmpty()) byFolder[items[i].folder].append(i);
    QStringList folders = byFolder.keys();
    std::sort(folders.begin(), folders.end(),
              [](const QString& a, const QString& b) { return QString::compare(a, b, Qt::CaseInsensitive) < 0; });
    for (const QString& folder : folders)
        catalog.entries.append({{QStringLiteral("pictures:folder:") + folder, folder, AlbumKind::user}, byFolder.value(folder)});
    return catalog;
}

} // namespace velora
