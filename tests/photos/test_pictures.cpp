#include "library_fixtures.h"

#include "pictures_source.h"
#include "photos_bridge.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QDir>
#include <QTemporaryDir>

using namespace velora;
using namespace velora::testing;

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
#include "test_pictures.moc"
