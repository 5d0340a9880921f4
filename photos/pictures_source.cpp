#include "pictures_source.h"

#include "image_store.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>

namespace velora {

namespace {

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
    QList<Catalog::Facts> facts;
    facts.reserve(items.size());
    for (const Item& item : items) {
        PhotoAsset a;
        a.id = QStringLiteral("pictures:") + item.relative;
        a.fileName = QFileInfo(item.path).fileName();
        if (item.modified > 0) a.created = QDateTime::fromSecsSinceEpoch(item.modified, Qt::UTC);
        a.path = item.path;
        catalog.assets.append(std::move(a));
        // Screenshots by the name inside the folder: the folder's own place doesn't count.
        facts.append({item.added, item.size.width(), item.size.height(), item.relative, false});
    }
    catalog.addSmartCollections(QStringLiteral("pictures:"), facts, false);

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
