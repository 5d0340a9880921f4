#include "library_fixtures.h"

#include "photos_bridge.h"
#include "shotwell_source.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace velora;
using namespace velora::testing;

namespace {

const Album* albumTitled(const PhotosBridge& bridge, const QString& title)
{
    for (const Album& a : bridge.albums())
        if (a.title == title) return &a;
    return nullptr;
}

QStringList identifiers(const QList<Photo>& photos)
{
    QStringList out;
    for (const Photo& p : photos) out.append(p.photosIdentifier.value_or("-"));
    return out;
}

} // namespace

class TestShotwell : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<ShotwellFixture> m_fixture;
    QByteArray m_dbBytes;

    std::unique_ptr<PhotosBridge> bridge()
    {
        auto b = std::make_unique<PhotosBridge>(PhotoSources{std::make_shared<ShotwellSource>(m_fixture->databasePath())});
        b->loadAlbums();
        return b;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_fixture = std::make_unique<ShotwellFixture>(m_dir.path());
        QVERIFY(m_fixture->build(standardRows(), standardExtras()));
        m_dbBytes = readBytes(m_fixture->databasePath());
        Storage::setRoot(m_dir.path() + "/library");
    }

    // The library is read, never written: same bytes and no journal beside it, after everything.
    void cleanupTestCase()
    {
        QCOMPARE(readBytes(m_fixture->databasePath()), m_dbBytes);
        QVERIFY(!QFileInfo::exists(m_fixture->databasePath() + "-journal"));
        QVERIFY(!QFileInfo::exists(m_fixture->databasePath() + "-wal"));
    }

    void albumsInOrderWithCountsAndNewestFirst()
    {
        auto b = bridge();
        QCOMPARE(b->status(), PhotoAccess::authorized);
        const QString eventDate = mediumDate(QDateTime::fromSecsSinceEpoch(summerStart + 400 * 24 * 3600 + 1000).date());
        QVERIFY(eventDate.contains("2021"));
        // Videos, rejected, hidden, trashed and RAW photos are left out; so are the clip-only event
        // and tag, which hold no still photo.
        QCOMPARE(albumLines(*b), (QStringList{"All Photos 1005", "Favorites 2", "Recently Added 5", "Panoramas 1",
                                              "Screenshots 1", eventDate + " 3", "Summer 1000", "Alps 2"}));
        QCOMPARE(b->selectedAlbum()->title, QString("All Photos"));
        QCOMPARE(b->assets().size(), 601);

        // An album of 1000 lists the 601 newest.
        b->select(*albumTitled(*b, "Summer"));
        const auto& assets = b->assets();
        QCOMPARE(assets.size(), PhotosBridge::lastListedIndex + 1);
        QCOMPARE(assets.first().fileName, QString("IMG_1000.jpg"));
        QCOMPARE(assets.last().fileName, QString("IMG_0400.jpg"));
        for (qsizetype i = 1; i < assets.size(); ++i) QVERIFY(*assets[i - 1].created > *assets[i].created);
        // Exposure time is the creation date; the identifier is the source and the database id.
        QCOMPARE(assets.first().created->toSecsSinceEpoch(), summerStart + 60 * 999);
        QCOMPARE(assets.first().id, QString("shotwell:1000"));
    }

    void orientationAsShotwellRecordsIt_data()
    {
        QTest::addColumn<quint16>("fileOrientation");
        QTest::addColumn<int>("shotwellOrientation");
        QTest::addColumn<QSize>("size");
        QTest::newRow("file plain, turned in Shotwell") << quint16(0) << 6 << QSize(40, 60);
        QTest::newRow("file says turn, Shotwell agrees") << quint16(6) << 6 << QSize(40, 60);
        QTest::newRow("file says turn, turned back in Shotwell") << quint16(6) << 1 << QSize(60, 40);
        QTest::newRow("file plain, half turn") << quint16(0) << 3 << QSize(60, 40);
    }
    void orientationAsShotwellRecordsIt()
    {
        QFETCH(quint16, fileOrientation);
        QFETCH(int, shotwellOrientation);
        QFETCH(QSize, size);
        QTemporaryDir dir;
        ShotwellFixture f(dir.path());
        ShotwellRow row;
        row.file = "one.jpg";
        row.fileOrientation = fileOrientation;
        row.orientation = shotwellOrientation;
        QVERIFY(f.build({row}));
        ShotwellSource source(f.databasePath());
        const QList<PhotoAsset> assets = source.assets(source.collections().first(), 10);
        QCOMPARE(assets.size(), 1);
        const auto image = source.image(assets.first(), PhotosBridge::fullPixels);
        QVERIFY(image);
        QCOMPARE(image->size(), size);
        // The left half of the picture is red: after a quarter turn clockwise it is on top.
        if (size == QSize(40, 60)) QVERIFY(samples::isLeftTint(image->pixel(20, 5)));
        if (shotwellOrientation == 3) QVERIFY(samples::isLeftTint(image->pixel(55, 20)));
    }

    void reorientMovesTheCornerAsExifSays_data()
    {
        QTest::addColumn<int>("to");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QPoint>("corner");
        QTest::newRow("1 as is") << 1 << QSize(3, 2) << QPoint(0, 0);
        QTest::newRow("2 mirrored") << 2 << QSize(3, 2) << QPoint(2, 0);
        QTest::newRow("3 half turn") << 3 << QSize(3, 2) << QPoint(2, 1);
        QTest::newRow("4 flipped") << 4 << QSize(3, 2) << QPoint(0, 1);
        QTest::newRow("5 transposed") << 5 << QSize(2, 3) << QPoint(0, 0);
        QTest::newRow("6 quarter clockwise") << 6 << QSize(2, 3) << QPoint(1, 0);
        QTest::newRow("7 transversed") << 7 << QSize(2, 3) << QPoint(1, 2);
        QTest::newRow("8 quarter anticlockwise") << 8 << QSize(2, 3) << QPoint(0, 2);
    }
    void reorientMovesTheCornerAsExifSays()
    {
        QFETCH(int, to);
        QFETCH(QSize, size);
        QFETCH(QPoint, corner);
        QImage image(3, 2, QImage::Format_RGB32);
        image.fill(Qt::black);
        image.setPixel(0, 0, qRgb(255, 255, 255));
        const QImage turned = PhotoFiles::reorient(image, 1, to);
        QCOMPARE(turned.size(), size);
        QCOMPARE(turned.pixel(corner), qRgb(255, 255, 255));
        // And back again from there.
        QCOMPARE(PhotoFiles::reorient(turned, to, 1), image);
    }

    void titles_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QDateTime>("created");
        QTest::addColumn<QString>("title");
        const QDateTime when(QDate(2023, 7, 14), QTime(9, 30));
        QTest::newRow("name") << "IMG_0001.JPG" << when << "IMG_0001";
        QTest::newRow("last extension only") << "archive.tar.jpg" << when << "archive.tar";
        QTest::newRow("leading dot kept") << ".beach" << when << ".beach";
        QTest::newRow("no name: date") << "" << when << mediumDate(when.date());
        QTest::newRow("nothing") << "" << QDateTime() << "Photo";
    }
    void titles()
    {
        QFETCH(QString, fileName);
        QFETCH(QDateTime, created);
        QFETCH(QString, title);
        PhotoAsset a;
        a.fileName = fileName;
        if (created.isValid()) a.created = created;
        QCOMPARE(PhotosBridge::titleFor(a), title);
    }

    // Picks made in another album are skipped, the rest stored in ticking order, titled by file
    // name and upright; a second import of the same photos (a new bridge, as the next day) stores
    // nothing new but still hands them back.
    void importStoresPicksOnceAndDedupes()
    {
        Studio studio;
        auto b = bridge();
        b->togglePick("shotwell:1000"); // in All Photos, not in Alps
        b->select(*albumTitled(*b, "Alps"));
        b->togglePick("shotwell:1002");
        b->togglePick("shotwell:1001");
        QSignalSpy importing(b.get(), &PhotosBridge::importingChanged);
        const QList<Photo> first = importAndWait(*b, studio);
        QCOMPARE(importing.count(), 2);
        QVERIFY(!b->importing());
        QVERIFY(b->picked().isEmpty());
        QCOMPARE(identifiers(first), (QStringList{"shotwell:1002", "shotwell:1001"}));
        QCOMPARE(studio.photos(), first);
        QCOMPARE(first[0].title, QString("flagged"));
        QCOMPARE(first[1].title, QString("rotated"));
        QVERIFY(!first[1].originalPath);
        QCOMPARE(QSize(first[1].pixelWidth, first[1].pixelHeight), QSize(40, 60));

        auto again = bridge();
        again->select(*albumTitled(*again, "Alps"));
        again->togglePick("shotwell:1001");
        const QList<Photo> second = importAndWait(*again, studio);
        QCOMPARE(second, QList<Photo>{first[1]});
        QCOMPARE(studio.photos().size(), 2);
        QCOMPARE(QDir(Storage::photosDir()).entryList(QDir::Files).size(), 4);
    }

    // A pick whose file has gone away, or whose file declares an absurd size, is skipped; the
    // others still come in, and a thumbnail that can't be had arrives as a null image.
    void undeliverablePicksAreSkipped()
    {
        QTemporaryDir dir;
        ShotwellFixture f(dir.path());
        ShotwellRow gone, bomb, here;
        gone.file = "gone.jpg";
        gone.exposure = 3;
        gone.writeFile = false;
        bomb.file = "bomb.png";
        bomb.exposure = 2;
        bomb.writeFile = false;
        here.file = "here.jpg";
        here.exposure = 1;
        QVERIFY(f.build({gone, bomb, here}));
        QVERIFY(writeBytes(f.photoDir() + "/bomb.png", samples::pngDeclaring(100000, 100000)));
        PhotosBridge b(PhotoSources{std::make_shared<ShotwellSource>(f.databasePath())});
        b.loadAlbums();
        QCOMPARE(b.assets().size(), 3);
        QImage thumb(1, 1, QImage::Format_RGB32);
        bool delivered = false;
        QObject context;
        b.thumbnail(b.assets()[1], &context, [&](const QImage& image) {
            thumb = image;
            delivered = true;
        });
        QVERIFY(QTest::qWaitFor([&] { return delivered; }, 10000));
        QVERIFY(thumb.isNull());
        for (const PhotoAsset& a : b.assets()) b.togglePick(a.id);
        Studio studio;
        QCOMPARE(identifiers(importAndWait(b, studio)), QStringList{"shotwell:3"});
    }

    // Found but unreadable counts as denied, with a reason, and the file is left exactly as it was.
    void badDatabases_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("locked by a write") << "locked";
        QTest::newRow("corrupt") << "corrupt";
        QTest::newRow("truncated") << "truncated";
        QTest::newRow("not Shotwell's") << "foreign";
        QTest::newRow("empty file") << "empty";
    }
    void badDatabases()
    {
        QFETCH(QString, kind);
        QTemporaryDir dir;
        ShotwellFixture f(dir.path());
        QVERIFY(f.build({ShotwellRow{"a.jpg"}}));
        const QString path = f.databasePath();
        const QByteArray good = readBytes(path);
        if (kind == "corrupt") {
            QByteArray bad = good;
            for (int i = 100; i < bad.size(); i += 7) bad[i] = char(0x5a);
            QVERIFY(writeBytes(path, bad));
        } else if (kind == "truncated") {
            QVERIFY(writeBytes(path, good.left(1500)));
        } else if (kind == "empty") {
            QVERIFY(writeBytes(path, {}));
        } else if (kind == "foreign") {
            QFile::remove(path);
            QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "foreign");
            db.setDatabaseName(path);
            QVERIFY(db.open());
            QVERIFY(QSqlQuery(db).exec("CREATE TABLE Notes (id INTEGER)"));
            db.close();
        }
        const QByteArray before = readBytes(path);
        {
            // The lock: another connection holds an exclusive write transaction throughout.
            QSqlDatabase writer = QSqlDatabase::addDatabase("QSQLITE", "writer");
            if (kind == "locked") {
                writer.setDatabaseName(path);
                QVERIFY(writer.open());
                QVERIFY(QSqlQuery(writer).exec("BEGIN EXCLUSIVE"));
                QVERIFY(QSqlQuery(writer).exec("UPDATE PhotoTable SET rating = 3"));
            }
            ShotwellSource source(path);
            QVERIFY(!source.problem().isEmpty());
            QVERIFY(source.collections().isEmpty());
            PhotosBridge b(PhotoSources{std::make_shared<ShotwellSource>(path)});
            QCOMPARE(b.status(), PhotoAccess::denied);
            QCOMPARE(b.unreadableSources().size(), 1);
            b.loadAlbums();
            QVERIFY(b.albums().isEmpty());
            QVERIFY(!b.selectedAlbum());
            if (kind == "locked") QVERIFY(QSqlQuery(writer).exec("ROLLBACK"));
            writer.close();
        }
        QSqlDatabase::removeDatabase("writer");
        QSqlDatabase::removeDatabase("foreign");
        QCOMPARE(readBytes(path), before);
    }

    // Grid thumbnails come from Shotwell's own cache where it has one; the photo itself never does.
    void thumbnailsFromShotwellsCache()
    {
        QTemporaryDir cache;
        const QString thumbs = ShotwellSource::thumbnailsIn(cache.path());
        QVERIFY(QDir().mkpath(thumbs));
        QImage green(360, 240, QImage::Format_RGB32);
        green.fill(QColor(20, 200, 40));
        QVERIFY(green.save(thumbs + "/thumb00000000000003e9.jpg")); // photo 1001
        QVERIFY(writeBytes(thumbs + "/thumb00000000000003ea.jpg", "not a JPEG")); // photo 1002
        ShotwellSource source(m_fixture->databasePath(), thumbs);
        PhotoAsset rotated, flagged;
        for (const PhotoAsset& a : source.assets(source.collections().first(), 2000)) {
            if (a.id == "shotwell:1001") rotated = a;
            if (a.id == "shotwell:1002") flagged = a;
        }
        const auto thumb = source.image(rotated, PhotosBridge::thumbnailPixels);
        QVERIFY(thumb);
        QCOMPARE(thumb->size(), QSize(300, 200));
        QVERIFY(qGreen(thumb->pixel(150, 100)) > 180);
        // Bigger than Shotwell's thumbnails, or a broken one: the original, turned as recorded.
        QCOMPARE(source.image(rotated, PhotosBridge::fullPixels)->size(), QSize(40, 60));
        QCOMPARE(source.image(flagged, PhotosBridge::thumbnailPixels)->size(), QSize(60, 40));
    }

    void discoveryFindsShotwellOnlyWhereItIs()
    {
        QTemporaryDir empty;
        PhotoSources none = discoverPhotoSources({empty.path() + "/share", empty.path() + "/cache", empty.path() + "/config", empty.path() + "/Pictures"});
        QVERIFY(none.isEmpty());
        PhotosBridge b(none);
        QVERIFY(!b.hasSources());
        QVERIFY(!b.authorized());

        PhotoSources found = discoverPhotoSources({m_fixture->dataHome(), empty.path() + "/cache", empty.path() + "/config", empty.path() + "/Pictures"});
        QCOMPARE(found.size(), 1);
        QCOMPARE(found.first()->name(), QString("Shotwell"));
    }
};

VELORA_TEST(TestShotwell)
#include "test_shotwell.moc"
