#include "shotwell_source.h"

#include "image_store.h"
#include "sqlite_reader.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QImageReader>
#include <QSqlQuery>

#include <algorithm>

namespace velora {

namespace {

struct Row {
    qint64 id = 0;
    QString path;
    qint64 width = 0, height = 0;
    qint64 sortTime = 0;   // exposure, else file time
    qint64 exposure = 0;
    qint64 imported = 0;
    int orientation = 1;
    qint64 event = -1;
    qint64 flags = 0;
    int rating = 0;
};

QString tr(const char* text) { return QCoreApplication::translate("velora::ShotwellSource", text); }

// "thumb0000000000000012" -> 18; videos ("video-…") and anything else -> nothing.
std::optional<qint64> photoIdOfSourceId(QStringView sourceId)
{
    sourceId = sourceId.trimmed();
    if (!sourceId.startsWith(u"thumb")) return std::nullopt;
    bool ok = false;
    const qint64 id = sourceId.mid(5).toLongLong(&ok, 16);
    return ok ? std::optional<qint64>(id) : std::nullopt;
}

} // namespace

ShotwellSource::ShotwellSource(QString databasePath, QString thumbnailDir)
    : m_path(std::move(databasePath)), m_thumbnails(std::move(thumbnailDir))
{
}

QString ShotwellSource::thumbnailsIn(const QString& cacheHome)
{
    return QDir(cacheHome).filePath(QStringLiteral("shotwell/thumbs/thumbs360"));
}

std::optional<QImage> ShotwellSource::image(const PhotoAsset& asset, int longestSide) const
{
    // Shotwell keeps every photo as a small upright JPEG: a grid thumbnail from there costs a
    // millisecond instead of decoding a camera file. Missing or unreadable: the original it is.
    if (longestSide <= thumbnailSide && !m_thumbnails.isEmpty()) {
        bool ok = false;
        const qint64 id = QStringView(asset.id).mid(QStringLiteral("shotwell:").size()).toLongLong(&ok);
        if (ok) {
            const QString cached = m_thumbnails + QStringLiteral("/thumb%1.jpg").arg(id, 16, 16, QLatin1Char('0'));
            // Shotwell wrote these small JPEGs itself: Qt's reader takes one in half a millisecond,
            // where setting up our decoder's pipeline costs more than the pixels. Anything larger
            // than a thumbnail is not one, and goes the long way.
            QImageReader reader(cached);
            const QSize size = reader.size();
            if (size.isValid() && std::max(size.width(), size.height()) <= 2 * thumbnailSide) {
                if (std::max(size.width(), size.height()) > longestSide)
                    reader.setScaledSize(size.scaled(longestSide, longestSide, Qt::KeepAspectRatio));
                const QImage thumb = reader.read();
                if (!thumb.isNull()) return thumb.convertToFormat(QImage::Format_RGB32);
            }
        }
    }
    return CatalogSource::image(asset, longestSide);
}

QString ShotwellSource::databaseIn(const QString& dataHome)
{
    return QDir(dataHome).filePath(QStringLiteral("shotwell/data/photo.db"));
}

QString ShotwellSource::name() const { return QStringLiteral("Shotwell"); }

std::optional<Catalog> ShotwellSource::read(QString& problem) const
{
    if (!QFileInfo(m_path).isReadable()) {
        problem = tr("Shotwell’s library can’t be opened: Velora isn’t allowed to read it.");
        return std::nullopt;
    }
    SqliteReader db(m_path);
    QList<Row> rows;
    QHash<qint64, QString> eventNames;
    QList<std::pair<QString, QString>> tags; // name, photo_id_list
    db.each(QStringLiteral("SELECT id, filename, width, height, exposure_time, timestamp, time_created, orientation, "
                           "event_id, flags, rating FROM PhotoTable"),
            [&rows](const QSqlQuery& q) {
                Row r;
                r.id = q.value(0).toLongLong();
                r.path = q.value(1).toString();
                r.width = q.value(2).toLongLong();
                r.height = q.value(3).toLongLong();
                r.exposure = q.value(4).toLongLong();
                r.sortTime = r.exposure > 0 ? r.exposure : q.value(5).toLongLong();
                r.imported = q.value(6).toLongLong();
                r.orientation = q.value(7).isNull() ? 1 : q.value(7).toInt();
                r.event = q.value(8).isNull() ? -1 : q.value(8).toLongLong();
                r.flags = q.value(9).toLongLong();
                r.rating = q.value(10).toInt();
                // Rejected, hidden, trashed and missing photos are not offered, nor formats we can't read.
                if (r.rating == ratingRejected || (r.flags & (flagHidden | flagTrash | flagOffline))) return;
                if (!ImageStore::isImageType(r.path.mid(r.path.lastIndexOf(QLatin1Char('/')) + 1))) return;
                rows.append(std::move(r));
            });
    db.each(QStringLiteral("SELECT id, name FROM EventTable"),
            [&eventNames](const QSqlQuery& q) { eventNames.insert(q.value(0).toLongLong(), q.value(1).toString()); });
    db.each(QStringLiteral("SELECT name, photo_id_list FROM TagTable"),
            [&tags](const QSqlQuery& q) { tags.append({q.value(0).toString(), q.value(1).toString()}); });
    if (!db.ok()) {
        problem = tr("Shotwell’s library couldn’t be read. It may be busy or damaged; nothing was changed.");
        return std::nullopt;
    }

    std::stable_sort(rows.begin(), rows.end(), [](const Row& a, const Row& b) {
        return a.sortTime != b.sortTime ? a.sortTime > b.sortTime : a.id > b.id;
    });

    Catalog catalog;
    catalog.assets.reserve(rows.size());
    QList<Catalog::Facts> facts;
    facts.reserve(rows.size());
    QHash<qint64, int> rowOfId;
    for (const Row& r : rows) {
        PhotoAsset a;
        a.id = QStringLiteral("shotwell:%1").arg(r.id);
        a.fileName = r.path.mid(r.path.lastIndexOf(QLatin1Char('/')) + 1);
        // In UTC: a local-time conversion per photo asks the C library for the zone every time.
        if (r.exposure > 0) a.created = QDateTime::fromSecsSinceEpoch(r.exposure, Qt::UTC);
        a.path = r.path;
        a.orientation = std::clamp(r.orientation, 1, 8);
        rowOfId.insert(r.id, int(catalog.assets.size()));
        catalog.assets.append(std::move(a));
        facts.append({r.imported, r.width, r.height, r.path, (r.flags & flagFlagged) || r.rating == 5});
    }
    catalog.addSmartCollections(QStringLiteral("shotwell:"), facts, true);

    // Events, newest first as Shotwell lists them, named by their name or else their first day.
    struct EventRows {
        qint64 id = 0, newest = 0, oldest = 0;
        QList<int> rows;
    };
    QHash<qint64, EventRows> byEvent;
    for (int i = 0; i < rows.size(); ++i) {
        const Row& r = rows[i];
        if (r.event < 0) continue;
        EventRows& e = byEvent[r.event];
        if (e.rows.isEmpty()) e.id = r.event, e.newest = r.sortTime, e.oldest = r.sortTime;
        e.oldest = std::min(e.oldest, r.sortTime);
        e.rows.append(i);
    }
    QList<EventRows> events = byEvent.values();
    std::sort(events.begin(), events.end(), [](const EventRows& a, const EventRows& b) {
        return a.newest != b.newest ? a.newest > b.newest : a.id > b.id;
    });
    for (EventRows& e : events) {
        QString title = eventNames.value(e.id).trimmed();
        if (title.isEmpty() && e.oldest > 0) title = mediumDate(QDateTime::fromSecsSinceEpoch(e.oldest).date());
        catalog.entries.append({{QStringLiteral("shotwell:event:%1").arg(e.id), title, AlbumKind::user}, std::move(e.rows)});
    }

    // Tags in name order; hierarchical tags ("/Trips/Alps") are shown by their last part.
    std::sort(tags.begin(), tags.end(), [](const auto& a, const auto& b) {
        return QString::compare(a.first, b.first, Qt::CaseInsensitive) < 0;
    });
    for (const auto& [tagName, idList] : tags) {
        Catalog::Entry entry;
        entry.collection = {QStringLiteral("shotwell:tag:") + tagName, tagName.section(QLatin1Char('/'), -1, -1, QString::SectionSkipEmpty),
                            AlbumKind::user};
        for (QStringView sourceId : QStringView(idList).split(u',', Qt::SkipEmptyParts)) {
            const auto id = photoIdOfSourceId(sourceId);
            const auto it = id ? rowOfId.constFind(*id) : rowOfId.constEnd();
            if (it != rowOfId.constEnd()) entry.rows.append(*it);
        }
        std::sort(entry.rows.begin(), entry.rows.end());
        entry.rows.erase(std::unique(entry.rows.begin(), entry.rows.end()), entry.rows.end());
        catalog.entries.append(std::move(entry));
    }
    return catalog;
}

} // namespace velora
