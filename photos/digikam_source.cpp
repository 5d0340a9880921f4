#include "digikam_source.h"

#include "image_store.h"
#include "sqlite_reader.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSqlQuery>
#include <QTextStream>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>

namespace velora {

namespace {

QString tr(const char* text) { return QCoreApplication::translate("velora::DigikamSource", text); }

// digiKam's own tags for labels and versions live under this one; they are not the user's.
const QString internalTags = QStringLiteral("_Digikam_Internal_Tags_");

// KDE config values may carry "$HOME"-style references when marked "[$e]".
QString expanded(QString value)
{
    if (value.startsWith(QLatin1String("$HOME"))) value.replace(0, 5, QDir::homePath());
    if (value.startsWith(QLatin1Char('~'))) value.replace(0, 1, QDir::homePath());
    return value;
}

// The entries of one group of a KDE-style INI file ("Key[$e]=value" read as "Key").
QHash<QString, QString> configGroup(const QString& path, const QString& group)
{
    QHash<QString, QString> out;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return out;
    QTextStream in(&file);
    bool inside = false;
    while (!in.atEnd()) {
        const QString line = in.readLine().trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            inside = line == QLatin1Char('[') + group + QLatin1Char(']');
            continue;
        }
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (!inside || eq <= 0) continue;
        QString key = line.left(eq).trimmed();
        if (const qsizetype mark = key.indexOf(QLatin1Char('[')); mark > 0) key.truncate(mark);
        out.insert(key, line.mid(eq + 1).trimmed());
    }
    return out;
}

// The mount point of the mounted block device `device` (a canonical /dev path).
QString mountPointOfDevice(const QString& device)
{
    QFile mounts(QStringLiteral("/proc/self/mounts"));
    if (!mounts.open(QIODevice::ReadOnly | QIODevice::Text)) return {};
    const QList<QByteArray> lines = mounts.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 2) continue;
        const QString source = QFileInfo(QString::fromLocal8Bit(fields[0])).canonicalFilePath();
        // Spaces and tabs in mount points are written as octal escapes.
        QString point = QString::fromLocal8Bit(fields[1]);
        point.replace(QLatin1String("\\040"), QLatin1String(" ")).replace(QLatin1String("\\011"), QLatin1String("\t"));
        if (!source.isEmpty() && source == device) return point;
    }
    return {};
}

struct Image {
    qint64 id = 0;
    qint64 album = 0;
    QString path;
    qint64 sortTime = 0;
    std::optional<QDateTime> created;
    qint64 modified = 0;
    qint64 width = 0, height = 0;
    int rating = -1;
};

std::optional<QDateTime> parseDate(const QVariant& value)
{
    if (value.isNull()) return std::nullopt;
    QDateTime d = QDateTime::fromString(value.toString(), Qt::ISODate);
    if (!d.isValid()) d = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    return d.isValid() ? std::optional<QDateTime>(d) : std::nullopt;
}

} // namespace

DigikamSource::DigikamSource(QString databasePath) : m_path(std::move(databasePath)) {}

QString DigikamSource::name() const { return QStringLiteral("digiKam"); }

std::optional<QString> DigikamSource::databaseFromConfig(const QString& configHome)
{
    const QString rc = QDir(configHome).filePath(QStringLiteral("digikamrc"));
    const QHash<QString, QString> db = configGroup(rc, QStringLiteral("Database Settings"));
    QString folder;
    if (!db.isEmpty()) {
        if (db.value(QStringLiteral("Database Type"), QStringLiteral("QSQLITE")) != QLatin1String("QSQLITE")) return std::nullopt;
        folder = db.value(QStringLiteral("Database Name"));
    }
    if (folder.isEmpty()) folder = configGroup(rc, QStringLiteral("Album Settings")).value(QStringLiteral("Database File Path"));
    if (folder.isEmpty()) return std::nullopt;
    const QString path = QDir(expanded(folder)).filePath(QStringLiteral("digikam4.db"));
    return QFileInfo::exists(path) ? std::optional<QString>(path) : std::nullopt;
}

QString DigikamSource::mountPointOf(const QString& identifier)
{
    const QUrl url(identifier);
    const QUrlQuery query(url.query());
    if (url.scheme() == QLatin1String("networkshareid"))
        return query.queryItemValue(QStringLiteral("mountpath"), QUrl::FullyDecoded);
    if (url.scheme() != QLatin1String("volumeid")) return {};
    if (query.hasQueryItem(QStringLiteral("path"))) return query.queryItemValue(QStringLiteral("path"), QUrl::FullyDecoded);
    const QString uuid = query.queryItemValue(QStringLiteral("uuid"), QUrl::FullyDecoded);
    if (uuid.isEmpty() || uuid.contains(QLatin1Char('/'))) return {};
    const QString device = QFileInfo(QStringLiteral("/dev/disk/by-uuid/") + uuid).canonicalFilePath();
    return device.isEmpty() ? QString() : mountPointOfDevice(device);
}

std::optional<Catalog> DigikamSource::read(QString& problem) const
{
    if (!QFileInfo(m_path).isReadable()) {
        problem = tr("digiKam’s library can’t be opened: Velora isn’t allowed to read it.");
        return std::nullopt;
    }
    SqliteReader db(m_path);
    QHash<qint64, QString> roots;     // id -> folder, only the ones mounted here
    QHash<qint64, QString> rootLabels;
    db.each(QStringLiteral("SELECT id, identifier, specificPath, label FROM AlbumRoots"), [&](const QSqlQuery& q) {
        const QString mount = mountPointOf(q.value(1).toString());
        if (mount.isEmpty()) return;
        roots.insert(q.value(0).toLongLong(), QDir::cleanPath(mount + QLatin1Char('/') + q.value(2).toString()));
        rootLabels.insert(q.value(0).toLongLong(), q.value(3).toString());
    });
    struct AlbumRow {
        qint64 id;
        QString folder, title;
    };
    QList<AlbumRow> albums;
    db.each(QStringLiteral("SELECT id, albumRoot, relativePath FROM Albums"), [&](const QSqlQuery& q) {
        const auto root = roots.constFind(q.value(1).toLongLong());
        if (root == roots.constEnd()) return;
        const QString relative = q.value(2).toString();
        QString title = relative.mid(1);
        if (title.isEmpty()) title = rootLabels.value(root.key()).isEmpty() ? QFileInfo(*root).fileName() : rootLabels.value(root.key());
        albums.append({q.value(0).toLongLong(), QDir::cleanPath(*root + relative), title});
    });
    // Tags: the user's, and the pick labels among digiKam's internal ones.
    struct TagRow {
        qint64 id, parent;
        QString name;
    };
    QList<TagRow> tags;
    db.each(QStringLiteral("SELECT id, pid, name FROM Tags"),
            [&](const QSqlQuery& q) { tags.append({q.value(0).toLongLong(), q.value(1).toLongLong(), q.value(2).toString()}); });
    QHash<qint64, QList<qint64>> tagsOfImage;
    db.each(QStringLiteral("SELECT imageid, tagid FROM ImageTags"),
            [&](const QSqlQuery& q) { tagsOfImage[q.value(0).toLongLong()].append(q.value(1).toLongLong()); });
    QHash<qint64, QString> folderOfAlbum;
    for (const AlbumRow& a : albums) folderOfAlbum.insert(a.id, a.folder);
    QList<Image> images;
    db.each(QStringLiteral("SELECT i.id, i.album, i.name, i.modificationDate, n.rating, n.creationDate, n.width, n.height "
                           "FROM Images i LEFT JOIN ImageInformation n ON n.imageid = i.id "
                           "WHERE i.status = %1 AND i.category = %2")
                .arg(statusVisible)
                .arg(categoryImage),
            [&](const QSqlQuery& q) {
                const auto folder = folderOfAlbum.constFind(q.value(1).toLongLong());
                const QString name = q.value(2).toString();
                // Hidden, trashed, videos, photos on volumes not mounted here and formats we
                // can't read are left out; a name is one path component and nothing else.
                if (folder == folderOfAlbum.constEnd() || !ImageStore::isImageType(name) || name.contains(QLatin1Char('/')) ||
                    name == QLatin1String("..")) return;
                Image image;
                image.id = q.value(0).toLongLong();
                image.album = folder.key();
                image.path = *folder + QLatin1Char('/') + name;
                const auto modified = parseDate(q.value(3));
                image.modified = modified ? modified->toSecsSinceEpoch() : 0;
                image.rating = q.value(4).isNull() ? -1 : q.value(4).toInt();
                image.created = parseDate(q.value(5));
                image.sortTime = image.created ? image.created->toSecsSinceEpoch() : image.modified;
                image.width = q.value(6).toLongLong();
                image.height = q.value(7).toLongLong();
                images.append(std::move(image));
            });
    if (!db.ok()) {
        problem = tr("digiKam’s library couldn’t be read. It may be busy or damaged; nothing was changed.");
        return std::nullopt;
    }

    qint64 internalRoot = -1, rejected = -1, accepted = -1;
    for (const TagRow& t : tags)
        if (t.parent == 0 && t.name == internalTags) internalRoot = t.id;
    for (const TagRow& t : tags) {
        if (t.parent != internalRoot) continue;
        if (t.name == QLatin1String("Pick Label Rejected")) rejected = t.id;
        if (t.name == QLatin1String("Pick Label Accepted")) accepted = t.id;
    }
    images.removeIf([&](const Image& i) { return tagsOfImage.value(i.id).contains(rejected); });
    std::stable_sort(images.begin(), images.end(), [](const Image& a, const Image& b) {
        return a.sortTime != b.sortTime ? a.sortTime > b.sortTime : a.id > b.id;
    });

    Catalog catalog;
    QList<Catalog::Facts> facts;
    QHash<qint64, int> rowOfImage;
    for (const Image& i : images) {
        PhotoAsset a;
        a.id = QStringLiteral("digikam:%1").arg(i.id);
        a.fileName = i.path.mid(i.path.lastIndexOf(QLatin1Char('/')) + 1);
        a.created = i.created;
        a.path = i.path;
        rowOfImage.insert(i.id, int(catalog.assets.size()));
        catalog.assets.append(std::move(a));
        // digiKam keeps no import time: a file that changed lately counts as recently added.
        facts.append({i.modified, i.width, i.height, i.path, i.rating >= 5 || tagsOfImage.value(i.id).contains(accepted)});
    }
    catalog.addSmartCollections(QStringLiteral("digikam:"), facts, true);

    // Its albums, by folder, then its tags by name, each with the rows it holds.
    std::sort(albums.begin(), albums.end(),
              [](const AlbumRow& a, const AlbumRow& b) { return QString::compare(a.folder, b.folder, Qt::CaseInsensitive) < 0; });
    for (const AlbumRow& album : albums) {
        const qint64 id = album.id;
        catalog.add({QStringLiteral("digikam:album:%1").arg(id), album.title, AlbumKind::user},
                    [&images, id](int row) { return images[row].album == id; });
    }
    QSet<qint64> internal{internalRoot};
    for (bool grew = true; grew;) { // everything below the internal root, however deep
        grew = false;
        for (const TagRow& t : tags)
            if (internal.contains(t.parent) && !internal.contains(t.id)) internal.insert(t.id), grew = true;
    }
    std::sort(tags.begin(), tags.end(),
              [](const TagRow& a, const TagRow& b) { return QString::compare(a.name, b.name, Qt::CaseInsensitive) < 0; });
    for (const TagRow& t : tags) {
        if (internal.contains(t.id) || t.name == internalTags) continue;
        Catalog::Entry entry{{QStringLiteral("digikam:tag:%1").arg(t.id), t.name, AlbumKind::user}, {}};
        for (auto it = tagsOfImage.cbegin(); it != tagsOfImage.cend(); ++it)
            if (it->contains(t.id))
                if (const auto row = rowOfImage.constFind(it.key()); row != rowOfImage.constEnd()) entry.rows.append(*row);
        std::sort(entry.rows.begin(), entry.rows.end());
        catalog.entries.append(std::move(entry));
    }
    return catalog;
}

} // namespace velora
