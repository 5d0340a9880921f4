#include "image_decoder.h"
#include "image_samples.h"
#include "image_store.h"
#include "storage.h"
#include "testing.h"

#include <QColorSpace>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <unistd.h>

#pragma push_macro("signals")
#undef signals
#include <vips/vips.h>
#pragma pop_macro("signals")

using namespace velora;

namespace {

void touch(const QString& path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
}

QStringList names(const QStringList& paths)
{
    QStringList out;
    for (const QString& p : paths) out.append(QFileInfo(p).fileName());
    return out;
}

QSize sizeOnDisk(const QString& path) { return QImageReader(path).size(); }

} // namespace

class TestImageStore : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;
    QString root;

private slots:
    void init()
    {
        QDir(tmp.path()).removeRecursively();
        QDir().mkpath(tmp.path());
        root = QDir(tmp.path()).filePath("lib/Velora");
        Storage::setRoot(root);
        Storage::prepare();
    }

    void downscaleSizes_data()
    {
        QTest::addColumn<QSize>("in");
        QTest::addColumn<QSize>("out");
        QTest::newRow("fits") << QSize(640, 480) << QSize(640, 480);
        QTest::newRow("9.98 truncated") << QSize(641, 10) << QSize(640, 9);
        QTest::newRow("0.21 raised to 1") << QSize(3000, 1) << QSize(640, 1);
        QTest::newRow("portrait") << QSize(1000, 3000) << QSize(213, 640);
        QTest::newRow("tiny") << QSize(1, 1) << QSize(1, 1);
    }

    void downscaleSizes()
    {
        QFETCH(QSize, in);
        QFETCH(QSize, out);
        QImage image(in, QImage::Format_RGB32);
        image.fill(Qt::darkGreen);
        const auto result = ImageStore::downscale(image, 640);
        QVERIFY(result);
        QCOMPARE(result->size(), out);
        if (in == out) {
            // Never resampled: the very same image comes back.
            QCOMPARE(result->cacheKey(), image.cacheKey());
        } else {
            QCOMPARE(result->format(), QImage::Format_RGBA8888_Premultiplied);
            QCOMPARE(result->colorSpace(), QColorSpace(QColorSpace::SRgb));
            QCOMPARE(result->pixelColor(0, 0).rgb(), QColor(Qt::darkGreen).rgb());
        }
    }

    void downscaleAveragesArea()
    {
        // A one-pixel checkerboard halved: a smooth downscale gives an even grey, point sampling
        // would give black or white.
        QImage board(1280, 1280, QImage::Format_RGB32);
        for (int y = 0; y < board.height(); ++y)
            for (int x = 0; x < board.width(); ++x) board.setPixel(x, y, ((x + y) & 1) ? 0xffffffff : 0xff000000);
        const auto small = ImageStore::downscale(board, 640);
        QVERIFY(small);
        for (const QPoint p : {QPoint(0, 0), QPoint(320, 320), QPoint(639, 17)}) {
            const int grey = qRed(small->pixel(p));
            QVERIFY2(grey > 100 && grey < 155, qPrintable(QString::number(grey)));
        }
    }

    void storeWritesBothFilesAndTheRecord()
    {
        const QImage image = samples::picture(1000, 500);
        const double before = Timestamp::now().sinceReference;
        const auto photo = ImageStore::store(image, "Beach", QString("/home/u/Beach.png"), std::nullopt);
        QVERIFY(photo);
        const QString idText = uuidText(photo->id);
        QCOMPARE(idText.size(), 36);
        QCOMPARE(idText, idText.toUpper());
        QVERIFY(!photo->id.isNull());
        QCOMPARE(photo->fileName, idText + ".jpg");
        QCOMPARE(photo->thumbName, idText + "-s.jpg");
        QCOMPARE(photo->title, QString("Beach"));
        QCOMPARE(photo->originalPath, std::optional<QString>("/home/u/Beach.png"));
        QCOMPARE(photo->photosIdentifier, std::nullopt);
        QCOMPARE(photo->pixelWidth, 1000);
        QCOMPARE(photo->pixelHeight, 500);
        QVERIFY(photo->caption.isEmpty());
        QVERIFY(photo->added.sinceReference >= before - 0.001);
        QVERIFY(photo->added.sinceReference <= Timestamp::now().sinceReference + 0.001);

        const QString full = QDir(Storage::photosDir()).filePath(photo->fileName);
        const QString thumb = QDir(Storage::photosDir()).filePath(photo->thumbName);
        QCOMPARE(sizeOnDisk(full), QSize(1000, 500));
        QCOMPARE(sizeOnDisk(thumb), QSize(640, 320));
        // Exactly the encoder at 90 and 82.
        QCOMPARE(samples::readBytes(full), samples::encode(image, "jpeg", 90));
        QCOMPARE(samples::readBytes(thumb), samples::encode(*ImageStore::downscale(image, 640), "jpeg", 82));

        const auto other = ImageStore::store(image, "Beach", std::nullopt, QString("ph-1"));
        QVERIFY(other);
        QVERIFY(other->id != photo->id);
        QCOMPARE(other->photosIdentifier, std::optional<QString>("ph-1"));
        QCOMPARE(other->originalPath, std::nullopt);
    }

    void smallImageThumbnailIsTheSamePixels()
    {
        const QImage image = samples::picture(640, 480);
        const auto photo = ImageStore::store(image, "", std::nullopt, std::nullopt);
        QVERIFY(photo);
        const QString thumb = QDir(Storage::photosDir()).filePath(photo->thumbName);
        QCOMPARE(samples::readBytes(thumb), samples::encode(image, "jpeg", 82));
    }

    void storeFailures()
    {
        // No Photos folder: nothing written, nothing returned.
        Storage::setRoot(QDir(tmp.path()).filePath("missing"));
        QCOMPARE(ImageStore::store(samples::picture(50, 50), "x", std::nullopt, std::nullopt), std::nullopt);
        QVERIFY(!QFileInfo::exists(QDir(tmp.path()).filePath("missing")));
        Storage::setRoot(root);
        QCOMPARE(ImageStore::store(QImage(), "x", std::nullopt, std::nullopt), std::nullopt);
        QCOMPARE(QDir(Storage::photosDir()).entryList(QDir::Files).size(), 0);
    }

    void writeReplacesAndClampsQuality()
    {
        const QString path = QDir(tmp.path()).filePath("w.jpg");
        QVERIFY(samples::writeBytes(path, "old"));
        QVERIFY(ImageStore::write(samples::picture(40, 30), path, 0.5));
        QCOMPARE(sizeOnDisk(path), QSize(40, 30));
        QCOMPARE(samples::readBytes(path), samples::encode(samples::picture(40, 30), "jpeg", 50));
        QVERIFY(ImageStore::write(samples::picture(40, 30), path, std::numeric_limits<double>::quiet_NaN()));
        QCOMPARE(samples::readBytes(path), samples::encode(samples::picture(40, 30), "jpeg", 90));
        QVERIFY(ImageStore::write(samples::picture(40, 30), path, 7.0));
        QCOMPARE(samples::readBytes(path), samples::encode(samples::picture(40, 30), "jpeg", 100));
        QVERIFY(!ImageStore::write(samples::picture(40, 30), QDir(tmp.path()).filePath("no/such/dir/w.jpg"), 0.9));
        QVERIFY(!ImageStore::write(QImage(), path, 0.9));
        QCOMPARE(sizeOnDisk(path), QSize(40, 30)); // a failed write leaves the old file whole
    }

    void extensions()
    {
        QCOMPARE(ImageStore::imageTypes().size(), 11);
        for (const char* yes : {"PHOTO.JPG", "a.HeIc", "a.jpeg", "x.png", "x.heif", "x.tif", "x.TIFF", "x.gif",
                                "x.bmp", "x.webp", "x.jp2", "/d/a.b.Jpg"})
            QVERIFY2(ImageStore::isImageType(yes), yes);
        for (const char* no : {"a.jpe", "a.raw", "jpg", "a.jpg.txt", "a.", "/d.jpg/readme", "a.pdf"})
            QVERIFY2(!ImageStore::isImageType(no), no);
    }

    void expandOrder()
    {
        const QDir d(tmp.path());
        touch(d.filePath("pick/b.png"));
        touch(d.filePath("pick/.hidden.png"));
        touch(d.filePath("pick/sub/a.png"));
        touch(d.filePath("pick/.secret/c.png"));
        touch(d.filePath("pick/notes.txt"));
        QCOMPARE(ImageStore::expand({d.filePath("pick")}),
                 QStringList({d.filePath("pick/sub/a.png"), d.filePath("pick/b.png")}));

        touch(d.filePath("nums/IMG_10.jpg"));
        touch(d.filePath("nums/img_2.JPG"));
        touch(d.filePath("nums/IMG_1.jpg"));
        QCOMPARE(names(ImageStore::expand({d.filePath("nums")})), QStringList({"IMG_1.jpg", "img_2.JPG", "IMG_10.jpg"}));

        // Equal names keep the order in which they were collected; a file named twice comes twice.
        touch(d.filePath("one/x.png"));
        touch(d.filePath("two/x.png"));
        QCOMPARE(ImageStore::expand({d.filePath("two"), d.filePath("one")}),
                 QStringList({d.filePath("two/x.png"), d.filePath("one/x.png")}));
        QCOMPARE(ImageStore::expand({d.filePath("one/x.png"), d.filePath("nope.png"), d.filePath("one/x.png"),
                                     d.filePath("pick/notes.txt")}),
                 QStringList({d.filePath("one/x.png"), d.filePath("one/x.png")}));
    }

    void expandFoldersThatLookLikeFiles()
    {
        const QDir d(tmp.path());
        // A folder named like an image is taken as an entry and still walked.
        touch(d.filePath("f/album.jpg/inner.png"));
        // Package contents are skipped.
        touch(d.filePath("f/Old.photoslibrary/originals/p.jpg"));
        touch(d.filePath("f/Tool.app/icon.png"));
        QCOMPARE(ImageStore::expand({d.filePath("f")}),
                 QStringList({d.filePath("f/album.jpg"), d.filePath("f/album.jpg/inner.png")}));
        // Named directly, a package is walked like any folder.
        QCOMPARE(names(ImageStore::expand({d.filePath("f/Tool.app")})), QStringList({"icon.png"}));
    }

    void expandDoesNotFollowLinkedFolders()
    {
        const QDir d(tmp.path());
        touch(d.filePath("s/a.png"));
        touch(d.filePath("s/sub/b.png"));
        QVERIFY(QFile::link(d.filePath("s"), d.filePath("s/sub/loop")));
        QVERIFY(QFile::link(d.filePath("s/a.png"), d.filePath("s/alias.png")));
        QVERIFY(QFile::link(d.filePath("s/gone.png"), d.filePath("s/dangling.png")));
        // Linked folders are not descended into, so the loop ends; links to files are entries.
        QCOMPARE(names(ImageStore::expand({d.filePath("s")})), QStringList({"a.png", "alias.png", "b.png", "dangling.png"}));
        // A linked folder named directly is walked.
        QCOMPARE(names(ImageStore::expand({d.filePath("s/sub/loop")})), QStringList({"a.png", "alias.png", "b.png", "dangling.png"}));

    }

    void expandSkipsUnreadableFolders()
    {
        const QDir d(tmp.path());
        touch(d.filePath("u/ok.png"));
        touch(d.filePath("u/locked/hidden.png"));
        QVERIFY(QFile::setPermissions(d.filePath("u/locked"), QFileDevice::Permissions()));
        const QStringList found = ImageStore::expand({d.filePath("u")});
        QFile::setPermissions(d.filePath("u/locked"), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        if (::geteuid() == 0) QSKIP("running as root: permissions don't deny");
        QCOMPARE(names(found), QStringList({"ok.png"}));
    }

    void expandCap()
    {
        const QDir d(tmp.path());
        QDir().mkpath(d.filePath("many"));
        for (int i = 0; i < 2500; ++i) touch(d.filePath(QString("many/p%1.jpg").arg(i, 4, 10, QChar('0'))));
        touch(d.filePath("late/a.jpg"));
        touch(d.filePath("late/b.jpg"));
        touch(d.filePath("direct.jpg"));
        QCOMPARE(ImageStore::expand({d.filePath("many")}).size(), 2001);
        // After the cap: a folder still contributes its first entry, files named directly always count.
        const QStringList all = ImageStore::expand({d.filePath("many"), d.filePath("late"), d.filePath("direct.jpg")});
        QCOMPARE(all.size(), 2003);
        QVERIFY(all.contains(d.filePath("late/a.jpg")));
        QVERIFY(!all.contains(d.filePath("late/b.jpg")));
        QVERIFY(all.contains(d.filePath("direct.jpg")));
        // The cap counts what earlier inputs added.
        const QStringList first = ImageStore::expand({d.filePath("late"), d.filePath("many")});
        QCOMPARE(first.size(), 2001);
        QVERIFY(first.contains(d.filePath("late/b.jpg")));
    }

    void removeDeletesOnlyInsidePhotos()
    {
        const auto photo = ImageStore::store(samples::picture(800, 600), "t", std::nullopt, std::nullopt);
        QVERIFY(photo);
        const QString full = *Storage::photoPath(photo->fileName);
        const QString thumb = *Storage::photoPath(photo->thumbName);
        QVERIFY(QFileInfo::exists(full) && QFileInfo::exists(thumb));
        ImageStore::remove(*photo);
        QVERIFY(!QFileInfo::exists(full));
        QVERIFY(!QFileInfo::exists(thumb));
        ImageStore::remove(*photo); // again: nothing to delete, nothing happens

        // The thumbnail never written: the full copy still goes.
        const auto lone = ImageStore::store(samples::picture(80, 60), "t", std::nullopt, std::nullopt);
        QVERIFY(QFile::remove(*Storage::photoPath(lone->thumbName)));
        ImageStore::remove(*lone);
        QVERIFY(!QFileInfo::exists(*Storage::photoPath(lone->fileName)));

        // Hostile names from a record never reach outside the folder.
        const QString victim = QDir(tmp.path()).filePath("lib/x.jpg");
        const QString state = QDir(root).filePath("library.json");
        QVERIFY(samples::writeBytes(victim, "mine"));
        QVERIFY(samples::writeBytes(state, "[]"));
        Photo hostile;
        hostile.fileName = "../../x.jpg";
        hostile.thumbName = "../library.json";
        ImageStore::remove(hostile);
        hostile.fileName = victim; // absolute
        hostile.thumbName = "..";
        ImageStore::remove(hostile);
        QVERIFY(QFileInfo::exists(victim));
        QVERIFY(QFileInfo::exists(state));
        QVERIFY(QFileInfo::exists(Storage::photosDir()));
    }
};

class TestImageDecoder : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;

    QString file(const QString& name) const { return QDir(tmp.path()).filePath(name); }

private slots:
    void initTestCase() { QVERIFY(ImageDecoder::initialize()); }

    void capsTheLongestSide()
    {
        QVERIFY(samples::writeBytes(file("big.jpg"), samples::encode(samples::picture(6000, 4000), "jpeg", 90)));
        const auto big = ImageDecoder::decode(file("big.jpg"));
        QVERIFY(big);
        QCOMPARE(big->size(), QSize(2400, 1600));
        QCOMPARE(big->format(), QImage::Format_RGB32);
        QCOMPARE(big->colorSpace(), QColorSpace(QColorSpace::SRgb));
        // Left red, right blue survive the shrink.
        QVERIFY(qRed(big->pixel(300, 800)) > 150 && qBlue(big->pixel(300, 800)) < 90);
        QVERIFY(qBlue(big->pixel(2100, 800)) > 150 && qRed(big->pixel(2100, 800)) < 90);

        QVERIFY(samples::writeBytes(file("small.png"), samples::encode(samples::picture(800, 600), "png")));
        QCOMPARE(ImageDecoder::decode(file("small.png"))->size(), QSize(800, 600));
        QVERIFY(samples::writeBytes(file("tall.png"), samples::encode(samples::picture(100, 3000), "png")));
        QCOMPARE(ImageDecoder::decode(file("tall.png"))->size(), QSize(80, 2400));
    }

    void orientationIsApplied()
    {
        // Stored landscape, tagged "rotate 90° clockwise": upright it is a portrait, left half on top.
        const QByteArray jpeg = samples::encode(samples::picture(600, 400), "jpeg", 95);
        QVERIFY(samples::writeBytes(file("turned.jpg"), samples::withOrientation(jpeg, 6)));
        const auto upright = ImageDecoder::decode(file("turned.jpg"));
        QVERIFY(upright);
        QCOMPARE(upright->size(), QSize(400, 600));
        QVERIFY(qRed(upright->pixel(200, 100)) > 150 && qBlue(upright->pixel(200, 100)) < 90);
        QVERIFY(qBlue(upright->pixel(200, 500)) > 150 && qRed(upright->pixel(200, 500)) < 90);
    }

    void otherFormats()
    {
        // BMP has no libvips loader here: Qt reads it, with the same cap.
        QVERIFY(samples::writeBytes(file("wide.bmp"), samples::encode(samples::picture(3000, 1200), "bmp")));
        const auto bmp = ImageDecoder::decode(file("wide.bmp"));
        QVERIFY(bmp);
        QCOMPARE(bmp->size(), QSize(2400, 960));
        QVERIFY(qRed(bmp->pixel(100, 480)) > 150);

        // Grey, 16-bit and alpha all come out as 8-bit sRGB.
        QImage grey(300, 200, QImage::Format_Grayscale16);
        grey.fill(QColor(128, 128, 128));
        QVERIFY(samples::writeBytes(file("grey16.png"), samples::encode(grey, "png")));
        const auto g = ImageDecoder::decode(file("grey16.png"));
        QVERIFY(g);
        QCOMPARE(g->format(), QImage::Format_RGB32);
        QVERIFY(qAbs(qRed(g->pixel(5, 5)) - 128) <= 1 && qRed(g->pixel(5, 5)) == qBlue(g->pixel(5, 5)));
        QImage clear(30, 20, QImage::Format_ARGB32);
        clear.fill(QColor(0, 255, 0, 100));
        QVERIFY(samples::writeBytes(file("alpha.png"), samples::encode(clear, "png")));
        const auto a = ImageDecoder::decode(file("alpha.png"));
        QVERIFY(a);
        QCOMPARE(a->format(), QImage::Format_ARGB32);
        QCOMPARE(qAlpha(a->pixel(3, 3)), 100);

        // An embedded profile is converted: Display P3 pixels come out as their sRGB equivalent.
        QImage p3(40, 40, QImage::Format_RGB32);
        p3.fill(QColor(40, 160, 90));
        p3.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
        QVERIFY(samples::writeBytes(file("p3.png"), samples::encode(p3, "png")));
        const QColor expected = p3.convertedToColorSpace(QColorSpace(QColorSpace::SRgb)).pixelColor(0, 0);
        QVERIFY(expected.green() != 160 || expected.red() != 40);
        const auto s = ImageDecoder::decode(file("p3.png"));
        QVERIFY(s);
        const QColor got = s->pixelColor(20, 20);
        QVERIFY2(qAbs(got.red() - expected.red()) <= 3 && qAbs(got.green() - expected.green()) <= 3 &&
                     qAbs(got.blue() - expected.blue()) <= 3,
                 qPrintable(QString("%1 vs %2").arg(got.name(), expected.name())));

        // HEIC through libheif, from the primary image.
        VipsImage* rgb = vips_image_new_from_memory_copy(samples::picture(2600, 1000).convertToFormat(QImage::Format_RGB888).constBits(),
                                                         size_t(2600) * 3 * 1000, 2600, 1000, 3, VIPS_FORMAT_UCHAR);
        QVERIFY(rgb);
        const QByteArray heic = QFile::encodeName(file("photo.heic"));
        const int saved = vips_heifsave(rgb, heic.constData(), "Q", 60, nullptr);
        g_object_unref(rgb);
        if (saved != 0) QSKIP("no HEIF encoder");
        const auto h = ImageDecoder::decode(file("photo.heic"));
        QVERIFY(h);
        QCOMPARE(h->size(), QSize(2400, 923));
        QVERIFY(qBlue(h->pixel(2000, 400)) > 150);
    }

    void badFilesAreRefused()
    {
        QVERIFY(samples::writeBytes(file("empty.jpg"), {}));
        QVERIFY(samples::writeBytes(file("text.jpg"), "this is not a photo\n"));
        QVERIFY(samples::writeBytes(file("text.heic"), "this is not a photo either\n"));
        const QByteArray jpeg = samples::encode(samples::picture(1200, 800), "jpeg", 90);
        QVERIFY(samples::writeBytes(file("cut.jpg"), jpeg.left(jpeg.size() / 2)));
        const QByteArray png = samples::encode(samples::picture(1200, 800), "png");
        QVERIFY(samples::writeBytes(file("cut.png"), png.left(png.size() / 2)));
        for (const char* name : {"empty.jpg", "text.jpg", "text.heic", "cut.jpg", "cut.png", "absent.jpg"})
            QVERIFY2(!ImageDecoder::decode(file(name)), name);
        QVERIFY(!ImageDecoder::decode(QString()));
        QVERIFY(!ImageDecoder::decode(file("text.jpg[shrink=2]")));
        QVERIFY(!ImageDecoder::decode(file("cut.png"), 0));
    }

    void decompressionBombsStayBounded()
    {
        QVERIFY(samples::writeBytes(file("bomb.png"), samples::pngDeclaring(50000, 50000)));
        QVERIFY(samples::writeBytes(file("bomb.bmp"), [] {
            // A BMP header declaring 40000 x 40000 at 24 bits, with no pixel data behind it.
            QByteArray b = samples::encode(QImage(4, 4, QImage::Format_RGB32), "bmp");
            qToLittleEndian<qint32>(40000, b.data() + 18);
            qToLittleEndian<qint32>(40000, b.data() + 22);
            return b;
        }()));
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        QVERIFY(!ImageDecoder::decode(file("bomb.png")));
        QVERIFY(!ImageDecoder::decode(file("bomb.bmp")));
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        QVERIFY2(after.ru_maxrss - before.ru_maxrss < 100 * 1024, qPrintable(QString::number(after.ru_maxrss - before.ru_maxrss)));
        // Just under the bound the header passes, and the tiny data then fails to decode.
        QVERIFY(samples::writeBytes(file("almost.png"), samples::pngDeclaring(15000, 15000)));
        QVERIFY(!ImageDecoder::decode(file("almost.png")));
    }
};

VELORA_TEST(TestImageStore)
VELORA_TEST(TestImageDecoder)
#include "test_image_store.moc"
