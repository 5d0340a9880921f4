#pragma once
// Photo libraries made at test time, and what the photos tests ask of a bridge. The Shotwell library
// runs the schema Shotwell itself wrote (shotwell_schema.sql, dumped from the Debian package's empty
// database), filled with rows that point at small JPEGs.
#include "../storage/image_samples.h"
#include "photos_bridge.h"
#include "studio.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QtCore/qtestsupport_core.h> // QTest::qWaitFor, without linking QtTest
#include <QUuid>
#include <QVariant>

namespace velora::testing {

struct ShotwellRow {
    QString file; // relative to the photo folder
    int width = 60, height = 40;
    qint64 exposure = 0;
    qint64 imported = 0;
    int orientation = 1;
    qint64 event = -1;
    qint64 flags = 0;
    int rating = 0;
    bool writeFile = true;
    quint16 fileOrientation = 0; // EXIF orientation written into the JPEG (0: none)
};

// "Title count" per album, in order.
inline QStringList albumLines(const PhotosBridge& bridge)
{
    QStringList out;
    for (const Album& a : bridge.albums()) out.append(QString("%1 %2").arg(a.title).arg(a.count));
    return out;
}

// Runs the bridge's import of its picks to the end; what it handed back.
inline QList<Photo> importAndWait(PhotosBridge& bridge, Studio& studio)
{
    QList<Photo> result;
    bool finished = false;
    bridge.importPicked(studio, [&](const QList<Photo>& photos) {
        result = photos;
        finished = true;
    });
    if (!QTest::qWaitFor([&] { return finished; }, 60000)) qWarning("import did not finish");
    return result;
}

inline bool sqlFailed(const QSqlQuery& q)
{
    qWarning("fixture SQL failed: %s", qPrintable(q.lastError().text()));
    return false;
}

// Runs every statement of one of the schema files kept beside the tests (statements end a line
// with ';').
inline bool runSchema(QSqlDatabase& db, const char* fileName)
{
    QFile schema(QStringLiteral(VELORA_PHOTOS_FIXTURES "/") + QLatin1String(fileName));
    if (!schema.open(QIODevice::ReadOnly)) return false;
    QSqlQuery q(db);
    for (const QString& s : QString::fromUtf8(schema.readAll()).split(";\n", Qt::SkipEmptyParts))
        if (!s.trimmed().isEmpty() && !q.exec(s)) return sqlFailed(q);
    return true;
}

class ShotwellFixture {
public:
    explicit ShotwellFixture(const QString& folder) : m_folder(folder)
    {
        QDir().mkpath(photoDir());
        QDir().mkpath(QFileInfo(databasePath()).path());
    }

    QString databasePath() const { return m_folder + "/share/shotwell/data/photo.db"; }
    QString dataHome() const { return m_folder + "/share"; }
    QString photoDir() const { return m_folder + "/photos"; }

    // Runs Shotwell's own schema, then `more` (inserts) in one connection closed afterwards.
    bool build(const QList<ShotwellRow>& photos, const QStringList& more = {})
    {
        const QString name = QUuid::createUuid().toString();
        bool ok = true;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", name);
            db.setDatabaseName(databasePath());
            ok = db.open() && runSchema(db, "shotwell_schema.sql");
            QSqlQuery q(db);
            ok = ok && q.exec("BEGIN");
            QSqlQuery insert(db);
            insert.prepare("INSERT INTO PhotoTable (filename, width, height, filesize, timestamp, exposure_time, "
                           "orientation, original_orientation, import_id, event_id, md5, time_created, flags, rating, "
                           "file_format) VALUES (?, ?, ?, 100, ?, ?, ?, ?, ?, ?, 'x', ?, ?, ?, 0)");
            QHash<quint16, QByteArray> jpegs;
            for (const ShotwellRow& r : photos) {
                if (!ok) break;
                const QString path = photoDir() + "/" + r.file;
                if (r.writeFile) {
                    QDir().mkpath(QFileInfo(path).path());
                    if (!jpegs.contains(r.fileOrientation)) {
                        const QByteArray plain = samples::encode(samples::picture(r.width, r.height), "jpg");
                        jpegs.insert(r.fileOrientation,
                                     r.fileOrientation ? samples::withOrientation(plain, r.fileOrientation) : plain);
                    }
                    ok = samples::writeBytes(path, r.width == 60 && r.height == 40 ? jpegs.value(r.fileOrientation)
                                                                                   : samples::encode(samples::picture(r.width, r.height), "jpg"));
                }
                for (const QVariant& v : {QVariant(path), QVariant(r.width), QVariant(r.height), QVariant(r.exposure),
                                          QVariant(r.exposure), QVariant(r.orientation), QVariant(r.orientation),
                                          QVariant(r.imported), QVariant(r.event), QVariant(r.imported),
                                          QVariant(r.flags), QVariant(r.rating)})
                    insert.addBindValue(v);
                if (ok && !insert.exec()) ok = sqlFailed(insert);
            }
            for (const QString& s : more)
                if (ok && !q.exec(s)) ok = sqlFailed(q);
            ok = ok && q.exec("COMMIT");
        }
        QSqlDatabase::removeDatabase(name);
        return ok;
    }

    // Shotwell's way of naming a photo in a tag's list.
    static QString sourceId(qint64 photoId) { return QString("thumb%1").arg(photoId, 16, 16, QChar('0')); }
    static QString videoSourceId(qint64 videoId) { return QString("video-%1").arg(videoId, 16, 16, QChar('0')); }

private:
    QString m_folder;
};

// The library the Shotwell tests share: ids follow insertion order, 1-based.
//   1..1000  "Summer" event (1): one photo a minute, the newest last
//   1001     rotated in Shotwell (orientation 6), event 2 (no name)
//   1002     flagged, event 2          1003  rated 5, event 2
//   1004     panorama 200 × 50         1005  a screenshot PNG name
//   1006     rejected                  1007  hidden
//   1008     a RAW file we can't read  1009  trashed
// Photos 1001–1009 were imported today, the event ones a year ago. Event 3 holds only a video.
// Tags: "/Trips/Alps" (1001, 1002, the video, the rejected one), "Clips" (only the video).
inline constexpr qint64 summerStart = 1'600'000'000;
inline constexpr int summerCount = 1000;

inline QList<ShotwellRow> standardRows()
{
    const qint64 now = QDateTime::currentSecsSinceEpoch();
    const qint64 yearAgo = now - 365 * 24 * 3600;
    QList<ShotwellRow> rows;
    for (int i = 0; i < summerCount; ++i) {
        ShotwellRow r;
        r.file = QString("summer/IMG_%1.jpg").arg(i + 1, 4, 10, QChar('0'));
        r.exposure = summerStart + 60 * i;
        r.imported = yearAgo;
        r.event = 1;
        rows.append(r);
    }
    const qint64 day = summerStart + 400 * 24 * 3600;
    auto add = [&](QString file, auto&& change) {
        ShotwellRow r;
        r.file = std::move(file);
        r.exposure = day + rows.size();
        r.imported = now - 3600;
        r.event = 2;
        change(r);
        rows.append(r);
    };
    add("rotated.jpg", [](ShotwellRow& r) { r.orientation = 6; });
    add("flagged.jpg", [](ShotwellRow& r) { r.flags = 0x10; });
    add("five.jpg", [](ShotwellRow& r) { r.rating = 5; });
    add("pano.jpg", [](ShotwellRow& r) { r.width = 200, r.height = 50, r.event = -1; });
    add("Screenshot from 2024-05-01.jpg", [](ShotwellRow& r) { r.event = -1; });
    add("rejected.jpg", [](ShotwellRow& r) { r.rating = -1; });
    add("hidden.jpg", [](ShotwellRow& r) { r.flags = 0x01; });
    add("raw.cr2", [](ShotwellRow& r) { r.writeFile = false; });
    add("trashed.jpg", [](ShotwellRow& r) { r.flags = 0x04; });
    return rows;
}

inline QStringList standardExtras()
{
    using F = ShotwellFixture;
    return {
        "INSERT INTO EventTable (id, name, time_created) VALUES (1, 'Summer', 0)",
        "INSERT INTO EventTable (id, name, time_created) VALUES (2, NULL, 0)",
        "INSERT INTO EventTable (id, name, time_created) VALUES (3, 'Only a clip', 0)",
        "INSERT INTO VideoTable (id, filename, width, height, exposure_time, event_id, time_created) "
        "VALUES (1, '/nowhere/clip.mp4', 640, 480, 1700000000, 3, 1700000000)",
        QString("INSERT INTO TagTable (name, photo_id_list) VALUES ('/Trips/Alps', '%1,%2,%3,%4,')")
            .arg(F::sourceId(1001), F::sourceId(1002), F::videoSourceId(1), F::sourceId(1006)),
        QString("INSERT INTO TagTable (name, photo_id_list) VALUES ('Clips', '%1,')").arg(F::videoSourceId(1)),
    };
}

} // namespace velora::testing
