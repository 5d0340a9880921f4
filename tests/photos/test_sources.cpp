// The digiKam and Pictures-folder sources on libraries made at test time.
#include "library_fixtures.h"

#include "digikam_source.h"
#include "photos_bridge.h"
#include "pictures_source.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QDir>
#include <QTemporaryDir>

using namespace velora;
using namespace velora::testing;

namespace {

QString iso(const QDateTime& when) { return when.toString(Qt::ISODate); }

// A digiKam library on digiKam's own schema: a collection on a volume given by path, one on a
// network share, one on a volume (by UUID) that isn't mounted here; physical albums, tags, pick
// labels and ratings, and the items digiKam keeps that are not photos to offer.
struct DigikamLibrary {
    QTemporaryDir dir;
    QString root() const { return dir.path() + "/vol/Pictures"; }
    QString database() const { return dir.path() + "/db/digikam4.db"; }

    bool build()
    {
        const QDateTime now = QDateTime::currentDateTime();
        const QDateTime old = now.addYears(-1);
        const QByteArray jpeg = samples::encode(samples::picture(60, 40), "jpg");
        struct Item {
            qint64 id, album;
            QString name;
            int status = 1, category = 1;
            QString created;
            QDateTime modified;
            int rating = 0, width = 60, height = 40;
        };
        const QList<Item> items = {
            {1, 1, "beach.jpg", 1, 1, "2023-07-01T10:00:00", now},
            {2, 2, "a.jpg", 1, 1, "2023-06-01T10:00:00", old, 5},
            {3, 2, "b.jpg", 1, 1, "2023-06-02T10:00:00", old},
            {4, 2, "c.jpg", 2, 1, "2023-06-03T10:00:00", old},
            {5, 2, "clip.mp4", 1, 2, "2023-06-04T10:00:00", old},
            {6, 2, "d.cr2", 1, 1, "2023-06-05T10:00:00", old},
            {7, 2, "e.jpg", 1, 1, "2023-05-01T10:00:00", old},
            {8, 3, "p1.jpg", 1, 1, "2022-01-03T10:00:00", old},
            {9, 3, "p2.jpg", 1, 1, "2022-01-02T10:00:00", old},
            {10, 3, "p3.jpg", 1, 1, "2022-01-01T10:00:00", old, 0, 400, 100},
            {11, 3, "gone.jpg", 3, 1, "2022-01-04T10:00:00", old},
            {12, 4, "lost.jpg", 1, 1, "2024-01-01T10:00:00", old},
            {13, 5, "net.jpg", 1, 1, "2021-01-01T10:00:00", old},
        };
        QStringList sql = {
            QString("INSERT INTO AlbumRoots VALUES (1, '', 0, 1, 'volumeid:?path=%1', '/Pictures')")
                .arg(QString::fromUtf8(QUrl::toPercentEncoding(dir.path() + "/vol", "/"))),
            "INSERT INTO AlbumRoots VALUES (2, 'Card', 0, 2, 'volumeid:?uuid=0000-DEAD', '/DCIM')",
            QString("INSERT INTO AlbumRoots VALUES (3, 'NAS', 0, 3, 'networkshareid:?mountpath=%1', '/')").arg(dir.path() + "/share"),
            "INSERT INTO Albums (id, albumRoot, relativePath) VALUES (1, 1, '/'), (2, 1, '/Trips'), (3, 1, '/Trips/Alps'), "
            "(4, 2, '/'), (5, 3, '/')",
            "INSERT INTO Tags (id, pid, name) VALUES (1, 0, '_Digikam_Internal_Tags_'), (2, 1, 'Pick Label Rejected'), "
            "(3, 1, 'Pick Label Accepted'), (4, 1, 'Color Label Red'), (10, 0, 'Family'), (11, 0, 'People'), "
            "(12, 11, 'Anna'), (13, 0, 'Empty')",
        };
        for (const auto& [image, tag] : QList<std::pair<int, int>>{{3, 2}, {7, 3}, {1, 4}, {1, 10}, {8, 10}, {3, 10}, {9, 12}})
            sql.append(QString("INSERT INTO ImageTags VALUES (%1, %2)").arg(image).arg(tag));
        const QHash<qint64, QString> folders = {{1, root()}, {2, root() + "/Trips"}, {3, root() + "/Trips/Alps"},
                                                {5, dir.path() + "/share"}};
        for (const Item& i : items) {
            sql.append(QString("INSERT INTO Images (id, album, name, status, category, modificationDate) VALUES "
                               "(%1, %2, '%3', %4, %5, '%6')")
                           .arg(i.id).arg(i.album).arg(i.name).arg(i.status).arg(i.category).arg(iso(i.modified)));
            sql.append(QString("INSERT INTO ImageInformation (imageid, rating, creationDate, width, height) VALUES "
                               "(%1, %2, '%3', %4, %5)")
                           .arg(i.id).arg(i.rating).arg(i.created).arg(i.width).arg(i.height));
            if (!folders.contains(i.album) || i.name.endsWith(".cr2")) continue;
            QDir().mkpath(folders[i.album]);
            if (!samples::writeBytes(folders[i.album] + "/" + i.name, jpeg)) return false;
        }
        QDir().mkpath(QFileInfo(database()).path());
        bool ok = true;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "digikam-fixture");
            db.setDatabaseName(database());
            ok = db.open() && db.transaction() && runSchema(db, "digikam_schema.sql");
            QSqlQuery q(db);
            for (const QString& s : sql)
                if (ok && !q.exec(s)) ok = sqlFailed(q);
            ok = ok && db.commit();
        }
        QSqlDatabase::removeDatabase("digikam-fixture");
        return ok;
    }
};

} // namespace

class TestDigikam : public QObject {
    Q_OBJECT

private slots:
    // Hidden, trashed, rejected, video, RAW and unmounted items are left out; digiKam's internal
    // tags are not albums; a child tag is an album of its own; the database stays as it was.
    void albumsAndOrder()
    {
        DigikamLibrary lib;
        QVERIFY(lib.build());
        const QByteArray before = readBytes(lib.database());
        PhotosBridge b(PhotoSources{std::make_shared<DigikamSource>(lib.database())});
        QCOMPARE(b.status(), PhotoAccess::authorized);
        b.loadAlbums();
        QCOMPARE(albumLines(b), (QStringList{"All Photos 7", "Favorites 2", "Recently Added 1", "Panoramas 1", "NAS 1",
                                             "Pictures 1", "Trips 2", "Trips/Alps 3", "Anna 1", "Family 2"}));
        QStringList names;
        for (const PhotoAsset& a : b.assets()) names.append(a.fileName);
        QCOMPARE(names, (QStringList{"beach.jpg", "a.jpg", "e.jpg", "p1.jpg", "p2.jpg", "p3.jpg", "net.jpg"}));
        QCOMPARE(b.assets().first().id, QString("digikam:1"));
        QCOMPARE(b.assets().first().created, QDateTime(QDate(2023, 7, 1), QTime(10, 0)));
        QCOMPARE(b.assets().last().path, lib.dir.path() + "/share/net.jpg");

        QTemporaryDir library;
        Storage::setRoot(library.path());
        b.togglePick("digikam:13");
        Studio studio;
        importAndWait(b, studio);
        QCOMPARE(studio.photos().size(), 1);
        QCOMPARE(studio.photos().first().title, QString("net"));
        QCOMPARE(readBytes(lib.database()), before);
        QVERIFY(!QFileInfo::exists(lib.database() + "-journal"));
    }

    void foundThroughItsConfiguration_data()
    {
        QTest::addColumn<QString>("digikamrc");
        QTest::addColumn<bool>("found");
        QTest::newRow("SQLite") << "[Database Settings]\nDatabase Name=%1/\nDatabase Type=QSQLITE\n" << true;
        QTest::newRow("marked for expansion") << "[General]\nx=1\n[Database Settings]\nDatabase Name[$e]=%1\n" << true;
        QTest::newRow("older key") << "[Album Settings]\nDatabase File Path=%1\n" << true;
        QTest::newRow("database server") << "[Database Settings]\nDatabase Name=%1/\nDatabase Type=QMYSQL\n" << false;
        QTest::newRow("elsewhere") << "[Database Settings]\nDatabase Name=%1/nothing\n" << false;
        QTest::newRow("other group") << "[Other]\nDatabase Name=%1/\n" << false;
        QTest::newRow("no configuration") << "" << false;
    }
    void foundThroughItsConfiguration()
    {
        QFETCH(QString, digikamrc);
        QFETCH(bool, found);
        DigikamLibrary lib;
        QVERIFY(lib.build());
        const QString config = lib.dir.path() + "/config";
        QDir().mkpath(config);
        if (!digikamrc.isEmpty())
            QVERIFY(writeBytes(config + "/digikamrc", digikamrc.arg(QFileInfo(lib.database()).path()).toUtf8()));
        QCOMPARE(DigikamSource::databaseFromConfig(config).has_value(), found);
        const PhotoSources sources = discoverPhotoSources({"", "", config, ""});
        QCOMPARE(sources.size(), found ? 1 : 0);
        if (found) QCOMPARE(sources.first()->name(), QString("digiKam"));
    }

    void albumRootPlaces_data()
    {
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("place");
        QTest::newRow("path") << "volumeid:?path=/media/photos" << "/media/photos";
        QTest::newRow("encoded path") << "volumeid:?path=/media/my%20photos" << "/media/my photos";
        QTest::newRow("network share") << "networkshareid:?mountpath=/mnt/nas" << "/mnt/nas";
        QTest::newRow("unknown volume") << "volumeid:?uuid=0000-DEAD" << "";
        QTest::newRow("uuid with a path in it") << "volumeid:?uuid=../../etc" << "";
        QTest::newRow("other scheme") << "file:///home" << "";
        QTest::newRow("garbage") << "not an identifier" << "";
    }
    void albumRootPlaces()
    {
        QFETCH(QString, identifier);
        QFETCH(QString, place);
        QCOMPARE(DigikamSource::mountPointOf(identifier), place);
    }

    void unreadableDatabase()
    {
        QTemporaryDir dir;
        QVERIFY(writeBytes(dir.path() + "/digikam4.db", QByteArray(8192, '\x17')));
        DigikamSource source(dir.path() + "/digikam4.db");
        QCOMPARE(source.access(), PhotoAccess::denied);
        QVERIFY(source.problem().startsWith("digiKam"));
        QCOMPARE(readBytes(dir.path() + "/digikam4.db"), QByteArray(8192, '\x17'));
    }
};

VELORA_TEST(TestDigikam)
namespace {

// A Pictures tree: files with their ages in days (file times), a panorama, a screenshot, a hidden
// folder, a folder without photos, a text file, a link loop and some hostile names.
struct Tree {
    QTemporaryDir dir;
    QString root() const { return dir.path() + "/Pictures"; }

    bool add(const QString& relative, int ageDays, QSize size = {60, 40})
    {
        const QString path = root() + "/" + relative;
        QDir().mkpath(QFileInfo(path).path());
        const char* format = relative.endsWith(".png") ? "png" : "jpg";
        if (!samples::writeBytes(path, samples::encode(samples::picture(size.width(), size.height()), format))) return false;
        QFile f(path);
        const QDateTime when = QDateTime::currentDateTime().addDays(-ageDays);
        return f.open(QIODevice::ReadWrite) && f.setFileTime(when, QFileDevice::FileModificationTime);
    }

    bool build()
    {
        return add("beach.jpg", 1) && add("Trips/Alps/peak.jpg", 20) && add("Trips/old.png", 400) &&
               add("Screenshots/Screenshot from 2024-05-01.png", 3) && add("wide.jpg", 5, {200, 60}) &&
               add(".cache/thumb.jpg", 0) && add("Trips/Alps/../../dots..jpg", 7) &&
               add("Trips/Alps/new\nline.jpg", 8) && add("Trips/Alps/-rf *.jpg", 9) &&
               QDir().mkpath(root() + "/Empty") && samples::writeBytes(root() + "/notes.txt", "not a photo") &&
               QFile::link(root(), root() + "/Trips/loop"); // a folder link back up: never followed
    }
};

} // namespace

class TestPictures : public QObject {
    Q_OBJECT

private slots:
    // Hidden folders, non-photos and empty folders are left out; every folder with photos of its
    // own is an album; the recent ones are all of them, since every file here arrived just now.
    void albumsAndOrder()
    {
        Tree tree;
        QVERIFY(tree.build());
        PhotosBridge b(PhotoSources{std::make_shared<PicturesSource>(tree.root())});
        QCOMPARE(b.status(), PhotoAccess::authorized);
        b.loadAlbums();
        QCOMPARE(albumLines(b), (QStringList{"All Photos 8", "Recently Added 8", "Panoramas 1", "Screenshots 1",
                                             "Screenshots 1", "Trips 1", "Trips/Alps 3"}));
        QCOMPARE(b.selectedAlbum()->id, QString("pictures:all"));

        // Newest first by file time, identified by the path in the folder.
        QStringList ids;
        for (const PhotoAsset& a : b.assets()) ids.append(a.id);
        QCOMPARE(ids, (QStringList{"pictures:beach.jpg", "pictures:Screenshots/Screenshot from 2024-05-01.png",
                                   "pictures:wide.jpg", "pictures:dots..jpg", "pictures:Trips/Alps/new\nline.jpg",
                                   "pictures:Trips/Alps/-rf *.jpg", "pictures:Trips/Alps/peak.jpg",
                                   "pictures:Trips/old.png"}));
        QCOMPARE(b.assets().first().fileName, QString("beach.jpg"));
        QCOMPARE(b.assets().first().created->daysTo(QDateTime::currentDateTime()), 1);
    }

    // Hostile names are plain data: they import under their own titles into Velora's UUID files.
    void hostileNamesImport()
    {
        Tree tree;
        QVERIFY(tree.build());
        QTemporaryDir library;
        Storage::setRoot(library.path());
        PhotosBridge b(PhotoSources{std::make_shared<PicturesSource>(tree.root())});
        b.loadAlbums();
        for (const QString id : {"pictures:dots..jpg", "pictures:Trips/Alps/new\nline.jpg", "pictures:Trips/Alps/-rf *.jpg"})
            b.togglePick(id);
        Studio studio;
        importAndWait(b, studio);
        QStringList titles;
        for (const Photo& p : studio.photos()) {
            titles.append(p.title);
            QVERIFY(Storage::isPlainFileName(p.fileName));
        }
        QCOMPARE(titles, (QStringList{"dots.", "new\nline", "-rf *"}));
        QCOMPARE(QDir(library.path() + "/Photos").entryList(QDir::Files).size(), 6);

        // The next day, from a new bridge over the same folder: nothing is copied twice.
        PhotosBridge again(PhotoSources{std::make_shared<PicturesSource>(tree.root())});
        again.loadAlbums();
        again.togglePick("pictures:Trips/Alps/-rf *.jpg");
        QCOMPARE(importAndWait(again, studio), QList<Photo>{studio.photos().last()});
        QCOMPARE(QDir(library.path() + "/Photos").entryList(QDir::Files).size(), 6);
    }

    void missingOrEmptyFolders()
    {
        QTemporaryDir dir;
        PicturesSource missing(dir.path() + "/nope");
        QCOMPARE(missing.access(), PhotoAccess::denied);
        QVERIFY(missing.problem().contains("nope"));

        PhotosBridge empty(PhotoSources{std::make_shared<PicturesSource>(dir.path())});
        QVERIFY(empty.authorized());
        empty.loadAlbums();
        QVERIFY(empty.albums().isEmpty());
        QVERIFY(!empty.selectedAlbum());
        QVERIFY(empty.assets().isEmpty());
    }

    void screenshots_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("screenshot");
        QTest::newRow("gnome") << "Screenshot from 2024-01-01 10-00-00.png" << true;
        QTest::newRow("mac") << "Screen Shot 2020-01-01 at 10.00.00.png" << true;
        QTest::newRow("german") << "Bildschirmfoto vom 2024-01-01.png" << true;
        QTest::newRow("folder") << "Screenshots/a.png" << true;
        QTest::newRow("lower-case folder") << "x/screenshots/a.png" << true;
        QTest::newRow("ordinary") << "Trips/IMG_0001.jpg" << false;
        QTest::newRow("word inside") << "my screenshot.png" << false;
    }
    void screenshots()
    {
        QFETCH(QString, path);
        QFETCH(bool, screenshot);
        QCOMPARE(PhotoFiles::looksLikeScreenshot(path), screenshot);
    }

    void panoramas()
    {
        QVERIFY(PhotoFiles::isPanorama(200, 100) && PhotoFiles::isPanorama(100, 200));
        QVERIFY(!PhotoFiles::isPanorama(199, 100) && !PhotoFiles::isPanorama(0, 100));
    }
};

VELORA_TEST(TestPictures)
#include "test_sources.moc"
