#include "child_process.h"
#include "files.h"
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
#include <sys/stat.h>
#include <unistd.h>

#pragma push_macro("signals")
#undef signals
#include <vips/vips.h>
#pragma pop_macro("signals")

using namespace velora;
using velora::testing::ChildProcess;

namespace {

QSize sizeOnDisk(const QString& path) { return QImageReader(path).size(); }

} // namespace

class TestImageStore : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;
    QString root;

    QString at(const QString& name) const { return QDir(tmp.path()).filePath(name); }
    // Empty files, with their folders.
    void touch(std::initializer_list<const char*> names) const
    {
        for (const char* name : names) {
            QDir().mkpath(QFileInfo(at(name)).path());
            QVERIFY(samples::writeBytes(at(name), {}));
        }
    }
    // What expand() finds for paths relative to the temporary folder, relative to it.
    QStringList expand(const QStringList& names) const
    {
        QStringList paths, found;
        for (const QString& name : names) paths.append(at(name));
        for (const QString& path : ImageStore::expand(paths)) found.append(QDir(tmp.path()).relativeFilePath(path));
        return found;
    }

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
        const auto photo = ImageStore::store(image, "Beach", QString("/home/u/Beach.png"), std::nullopt);
        QVERIFY(photo && !photo->id.isNull());
        QCOMPARE(photo->fileName, uuidText(photo->id) + ".jpg");
        QCOMPARE(photo->thumbName, uuidText(photo->id) + "-s.jpg");
        QCOMPARE(photo->originalPath, std::optional<QString>("/home/u/Beach.png"));
        QCOMPARE(QSize(photo->pixelWidth, photo->pixelHeight), QSize(1000, 500));

        // Exactly the encoder at 90 and 82, the copy naming its title and original.
        QCOMPARE(samples::readBytes(*Storage::photoPath(photo->fileName)),
                 samples::encode(image, "jpeg", 90, {{"VeloraOriginal", "/home/u/Beach.png"}, {"VeloraTitle", "Beach"}}));
        QCOMPARE(samples::readBytes(*Storage::photoPath(photo->thumbName)),
                 samples::encode(*ImageStore::downscale(image, 640), "jpeg", 82));

        // From a photo library; a picture that fits: the thumbnail is the same pixels.
        const QImage small = samples::picture(640, 480);
        const auto fits = ImageStore::store(small, "", std::nullopt, QString("ph-1"));
        QVERIFY(fits && fits->id != photo->id);
        QCOMPARE(fits->photosIdentifier, std::optional<QString>("ph-1"));
        QCOMPARE(samples::readBytes(*Storage::photoPath(fits->thumbName)), samples::encode(small, "jpeg", 82));
    }

    // No Photos folder, or nothing to store: nothing written, nothing returned.
    void storeFailures()
    {
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
        const QImage image = samples::picture(40, 30);
        QVERIFY(samples::writeBytes(path, "old"));
        for (const auto& [quality, percent] : {std::pair{0.5, 50}, {std::nan(""), 90}, {7.0, 100}}) {
            QVERIFY(ImageStore::write(image, path, quality));
            QCOMPARE(samples::readBytes(path), samples::encode(image, "jpeg", percent));
        }
        QVERIFY(!ImageStore::write(image, QDir(tmp.path()).filePath("no/such/dir/w.jpg"), 0.9));
        QVERIFY(!ImageStore::write(QImage(), path, 0.9));
        QCOMPARE(sizeOnDisk(path), QSize(40, 30)); // a failed write leaves the old file whole
    }

    void extensions()
    {
        for (const char* yes : {"PHOTO.JPG", "a.HeIc", "a.jpeg", "x.png", "x.heif", "x.tif", "x.TIFF", "x.gif",
                                "x.bmp", "x.webp", "x.jp2", "/d/a.b.Jpg"})
            QVERIFY2(ImageStore::isImageType(yes), yes);
        for (const char* no : {"a.jpe", "a.raw", "jpg", "a.jpg.txt", "a.", "/d.jpg/readme", "a.pdf"})
            QVERIFY2(!ImageStore::isImageType(no), no);
    }

    void expandOrderAndWhatItWalks()
    {
        touch({"pick/b.png", "pick/.hidden.png", "pick/sub/a.png", "pick/.secret/c.png", "pick/notes.txt"});
        QCOMPARE(expand({"pick"}), (QStringList{"pick/sub/a.png", "pick/b.png"}));
        touch({"nums/IMG_10.jpg", "nums/img_2.JPG", "nums/IMG_1.jpg"});
        QCOMPARE(expand({"nums"}), (QStringList{"nums/IMG_1.jpg", "nums/img_2.JPG", "nums/IMG_10.jpg"}));
        // Equal names keep the order in which they were collected; a file named twice comes twice.
        touch({"one/x.png", "two/x.png"});
        QCOMPARE(expand({"two", "one"}), (QStringList{"two/x.png", "one/x.png"}));
        QCOMPARE(expand({"one/x.png", "nope.png", "one/x.png", "pick/notes.txt"}), (QStringList{"one/x.png", "one/x.png"}));

        // A folder named like an image is taken as an entry and still walked; package contents are
        // skipped, unless the package is named directly.
        touch({"f/album.jpg/inner.png", "f/Old.photoslibrary/originals/p.jpg", "f/Tool.app/icon.png"});
        QCOMPARE(expand({"f"}), (QStringList{"f/album.jpg", "f/album.jpg/inner.png"}));
        QCOMPARE(expand({"f/Tool.app"}), (QStringList{"f/Tool.app/icon.png"}));

        // Linked folders are not descended into, so the loop ends; links to files are entries. A
        // linked folder named directly is walked.
        touch({"s/a.png", "s/sub/b.png"});
        QVERIFY(QFile::link(at("s"), at("s/sub/loop")));
        QVERIFY(QFile::link(at("s/a.png"), at("s/alias.png")));
        QVERIFY(QFile::link(at("s/gone.png"), at("s/dangling.png")));
        QCOMPARE(expand({"s"}), (QStringList{"s/a.png", "s/alias.png", "s/sub/b.png", "s/dangling.png"}));
        QCOMPARE(expand({"s/sub/loop"}),
                 (QStringList{"s/sub/loop/a.png", "s/sub/loop/alias.png", "s/sub/loop/sub/b.png", "s/sub/loop/dangling.png"}));
    }

    void expandSkipsUnreadableFolders()
    {
        touch({"u/ok.png", "u/locked/hidden.png"});
        QVERIFY(QFile::setPermissions(at("u/locked"), QFileDevice::Permissions()));
        const QStringList found = expand({"u"});
        QFile::setPermissions(at("u/locked"), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        if (::geteuid() == 0) QSKIP("running as root: permissions don't deny");
        QCOMPARE(found, QStringList({"u/ok.png"}));
    }

    void expandCap()
    {
        for (int i = 0; i < 2500; ++i) touch({qPrintable(QString("many/p%1.jpg").arg(i, 4, 10, QChar('0')))});
        touch({"late/a.jpg", "late/b.jpg", "direct.jpg"});
        QCOMPARE(expand({"many"}).size(), 2001);
        // After the cap: a folder still contributes its first entry, files named directly always count.
        const QStringList all = expand({"many", "late", "direct.jpg"});
        QCOMPARE(all.size(), 2003);
        QVERIFY(all.contains("late/a.jpg") && !all.contains("late/b.jpg") && all.contains("direct.jpg"));
        // The cap counts what earlier inputs added.
        const QStringList first = expand({"late", "many"});
        QCOMPARE(first.size(), 2001);
        QVERIFY(first.contains("late/b.jpg"));
    }

    void removeDeletesOnlyInsidePhotos()
    {
        const auto photo = ImageStore::store(samples::picture(800, 600), "t", std::nullopt, std::nullopt);
        QVERIFY(photo);
        const QString full = *Storage::photoPath(photo->fileName), thumb = *Storage::photoPath(photo->thumbName);
        QVERIFY(QFileInfo::exists(full) && QFileInfo::exists(thumb));
        ImageStore::remove(*photo);
        QVERIFY(!QFileInfo::exists(full) && !QFileInfo::exists(thumb));

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
        QVERIFY(QFileInfo::exists(victim) && QFileInfo::exists(state) && QFileInfo::exists(Storage::photosDir()));
    }

    // After an interrupted run: unfinished files go; copies no record names come back with their
    // title and origin (a missing thumbnail made again); what doesn't decode, or isn't ours, is
    // removed or left alone as it should be. With a damaged library file only the unfinished go.
    void recoverAfterAnInterruption()
    {
        const QString photos = Storage::photosDir();
        const auto name = [&](const QString& n) { return QDir(photos).filePath(n); };
        const auto recorded = ImageStore::store(samples::picture(90, 60), "Kept", QString("/p/kept.jpg"), std::nullopt);
        const auto orphan = ImageStore::store(samples::picture(300, 200), "Lost record", QString("/p/lost.jpg"), std::nullopt);
        const auto bare = ImageStore::store(samples::picture(120, 80), "", std::nullopt, std::nullopt);
        QVERIFY(recorded && orphan && bare);
        QVERIFY(QFile::remove(name(bare->thumbName)));
        const QString garbage = uuidText(QUuid::createUuid());
        QVERIFY(samples::writeBytes(name(garbage + ".jpg"), "half a jpeg"));
        const QString fifo = uuidText(QUuid::createUuid());
        QCOMPARE(::mkfifo(QFile::encodeName(name(fifo + ".jpg")).constData(), 0600), 0);
        const QString stray = uuidText(QUuid::createUuid()) + "-s.jpg";
        QVERIFY(samples::writeBytes(name(stray), samples::encode(samples::picture(10, 10), "jpeg")));
        for (const QString& other : {QString(".A.jpg.part"), QString("notes.txt"), QString("a.jpg"), garbage.toLower() + ".jpg"})
            QVERIFY(samples::writeBytes(name(other), "x"));

        // A damaged library file: only the unfinished file goes.
        const QStringList all = QDir(photos).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
        QVERIFY(ImageStore::recover({*recorded}, false).isEmpty());
        QStringList expected = all;
        expected.removeOne(".A.jpg.part");
        QCOMPARE(QDir(photos).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name), expected);

        QList<Photo> adopted = ImageStore::recover({*recorded}, true);
        std::sort(adopted.begin(), adopted.end(), [](const Photo& a, const Photo& b) { return a.pixelWidth < b.pixelWidth; });
        QCOMPARE(adopted.size(), 2);
        Photo lost = *orphan;
        lost.added = adopted[1].added; // the file's time, not the record's
        QCOMPARE(adopted[1], lost);
        QCOMPARE(adopted[0].id, bare->id);
        QCOMPARE(adopted[0].title, QString());
        QCOMPARE(adopted[0].originalPath, std::nullopt);
        QCOMPARE(QImageReader(name(bare->thumbName)).size(), QSize(120, 80));
        QStringList left = QDir(photos).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
        QStringList want{recorded->fileName, recorded->thumbName, orphan->fileName, orphan->thumbName, bare->fileName,
                         bare->thumbName, "notes.txt", "a.jpg", garbage.toLower() + ".jpg"};
        want.sort();
        QCOMPARE(left, want);
        QVERIFY(ImageStore::recover({*recorded, adopted[0], adopted[1]}, true).isEmpty());
    }

    // Names are kept byte for byte; only what is shown gets replacement characters.
    void namesKeepTheirBytes_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("shown");
        QTest::newRow("ascii") << QByteArray("IMG_1.jpg") << "IMG_1.jpg";
        QTest::newRow("utf-8") << QByteArray("caf\xc3\xa9 \xf0\x9f\x8c\x8a.jpg") << QString::fromUtf8("caf\xc3\xa9 \xf0\x9f\x8c\x8a.jpg");
        QTest::newRow("latin-1") << QByteArray("caf\xe9.jpg") << QStringLiteral("caf\uFFFD.jpg");
        QTest::newRow("overlong slash") << QByteArray("a\xc0\xaf.jpg") << QStringLiteral("a\uFFFD\uFFFD.jpg");
        QTest::newRow("encoded surrogate") << QByteArray("\xed\xa0\x80.jpg") << QStringLiteral("\uFFFD\uFFFD\uFFFD.jpg");
        QTest::newRow("cut short") << QByteArray("x\xe2\x82") << QStringLiteral("x\uFFFD\uFFFD");
        QTest::newRow("past U+10FFFF") << QByteArray("\xf5\x80\x80\x80") << QStringLiteral("\uFFFD\uFFFD\uFFFD\uFFFD");
    }
    void namesKeepTheirBytes()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, shown);
        const QString name = Files::decodeName(bytes);
        QCOMPARE(Files::encodeName(name), bytes);
        QCOMPARE(Files::displayName(name), shown);
    }
};

class TestImageDecoder : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;

    QString file(const QString& name) const { return QDir(tmp.path()).filePath(name); }
    // Writes the bytes to a file of that name and decodes it.
    std::optional<QImage> decoded(const QString& name, const QByteArray& bytes)
    {
        return samples::writeBytes(file(name), bytes) ? ImageDecoder::decode(file(name)) : std::nullopt;
    }

private slots:
    void initTestCase() { QVERIFY(ImageDecoder::initialize()); }

    void capsTheLongestSide()
    {
        const auto big = decoded("big.jpg", samples::encode(samples::picture(6000, 4000), "jpeg", 90));
        QVERIFY(big);
        QCOMPARE(big->size(), QSize(2400, 1600));
        QCOMPARE(big->format(), QImage::Format_RGB32);
        QCOMPARE(big->colorSpace(), QColorSpace(QColorSpace::SRgb));
        // Left red, right blue survive the shrink.
        QVERIFY(samples::isLeftTint(big->pixel(300, 800)));
        QVERIFY(samples::isRightTint(big->pixel(2100, 800)));
        QCOMPARE(decoded("small.png", samples::encode(samples::picture(800, 600), "png"))->size(), QSize(800, 600));
        QCOMPARE(decoded("tall.png", samples::encode(samples::picture(100, 3000), "png"))->size(), QSize(80, 2400));
    }

    void otherFormats()
    {
        // BMP has no libvips loader here: Qt reads it, with the same cap.
        const auto bmp = decoded("wide.bmp", samples::encode(samples::picture(3000, 1200), "bmp"));
        QVERIFY(bmp);
        QCOMPARE(bmp->size(), QSize(2400, 960));
        QVERIFY(qRed(bmp->pixel(100, 480)) > 150);

        // Grey, 16-bit and alpha all come out as 8-bit sRGB.
        QImage grey(300, 200, QImage::Format_Grayscale16);
        grey.fill(QColor(128, 128, 128));
        const auto g = decoded("grey16.png", samples::encode(grey, "png"));
        QVERIFY(g);
        QCOMPARE(g->format(), QImage::Format_RGB32);
        QVERIFY(qAbs(qRed(g->pixel(5, 5)) - 128) <= 1 && qRed(g->pixel(5, 5)) == qBlue(g->pixel(5, 5)));
        QImage clear(30, 20, QImage::Format_ARGB32);
        clear.fill(QColor(0, 255, 0, 100));
        const auto a = decoded("alpha.png", samples::encode(clear, "png"));
        QVERIFY(a);
        QCOMPARE(a->format(), QImage::Format_ARGB32);
        QCOMPARE(qAlpha(a->pixel(3, 3)), 100);

        // An embedded profile is converted: Display P3 pixels come out as their sRGB equivalent.
        QImage p3(40, 40, QImage::Format_RGB32);
        p3.fill(QColor(40, 160, 90));
        p3.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
        const QColor expected = p3.convertedToColorSpace(QColorSpace(QColorSpace::SRgb)).pixelColor(0, 0);
        QVERIFY(expected.green() != 160 || expected.red() != 40);
        const auto s = decoded("p3.png", samples::encode(p3, "png"));
        QVERIFY(s);
        const QColor got = s->pixelColor(20, 20);
        QVERIFY2(qAbs(got.red() - expected.red()) <= 3 && qAbs(got.green() - expected.green()) <= 3 &&
                     qAbs(got.blue() - expected.blue()) <= 3,
                 qPrintable(QString("%1 vs %2").arg(got.name(), expected.name())));

        // HEIC through libheif, from the primary image.
        VipsImage* rgb = vips_image_new_from_memory_copy(samples::picture(2600, 1000).convertToFormat(QImage::Format_RGB888).constBits(),
                                                         size_t(2600) * 3 * 1000, 2600, 1000, 3, VIPS_FORMAT_UCHAR);
        QVERIFY(rgb);
        const int saved = vips_heifsave(rgb, QFile::encodeName(file("photo.heic")).constData(), "Q", 60, nullptr);
        g_object_unref(rgb);
        if (saved != 0) QSKIP("no HEIF encoder");
        const auto h = ImageDecoder::decode(file("photo.heic"));
        QVERIFY(h);
        QCOMPARE(h->size(), QSize(2400, 923));
        QVERIFY(qBlue(h->pixel(2000, 400)) > 150);
    }

    // Beside the bad files an import meets (see the import tests): names that aren't files, and
    // loader options smuggled into a name.
    void badFilesAreRefused()
    {
        const QByteArray png = samples::encode(samples::picture(1200, 800), "png");
        QVERIFY(!decoded("text.jpg", "this is not a photo\n"));
        QVERIFY(!decoded("cut.png", png.left(png.size() / 2)));
        QVERIFY(!ImageDecoder::decode(file("absent.jpg")));
        QVERIFY(!ImageDecoder::decode(QString()));
        QVERIFY(!ImageDecoder::decode(file("text.jpg[shrink=2]")));
        QVERIFY(!ImageDecoder::decode(file("cut.png"), 0));
    }

    // Links to regular files are followed (FIFOs, devices and folders are refused: see the import
    // tests); a cancelled decode gives nothing.
    void linksFollowedAndCancelHonoured()
    {
        QVERIFY(samples::writeBytes(file("real.jpg"), samples::encode(samples::picture(30, 20), "jpeg")));
        QVERIFY(QFile::link(file("real.jpg"), file("link.jpg")));
        QCOMPARE(ImageDecoder::decode(file("link.jpg"))->size(), QSize(30, 20));
        std::atomic<bool> cancelled{true};
        QVERIFY(!ImageDecoder::decode(file("real.jpg"), ImageDecoder::maxPixel, &cancelled));
    }

    // An interlaced PNG is decoded whole: just under the budget it decodes with a peak under
    // 400 MB (measured in a process of its own); a larger one is refused from its header.
    void interlacedPngNearTheLimit()
    {
        VipsImage* black = nullptr;
        QCOMPARE(vips_black(&black, 9000, 9000, "bands", 3, nullptr), 0); // 243 MB decoded
        VipsImage* grey = nullptr;
        QCOMPARE(vips_linear1(black, &grey, 1.0, 120.0, "uchar", TRUE, nullptr), 0);
        g_object_unref(black);
        const int saved = vips_pngsave(grey, QFile::encodeName(file("interlaced.png")).constData(), "interlace", TRUE,
                                       "compression", 1, nullptr);
        g_object_unref(grey);
        QCOMPARE(saved, 0);
        ChildProcess child({"decode", file("interlaced.png")});
        QVERIFY(child.output(60000).startsWith("2400x2400\n"));
        const long peakMb = child.reportedPeakKb() / 1024;
        QVERIFY(peakMb > 0);
        qInfo("interlaced 9000x9000 PNG: peak %ld MB", peakMb);
        QVERIFY2(peakMb < 400, qPrintable(QString::number(peakMb)));

        QByteArray larger = samples::pngDeclaring(10000, 10000);
        larger[8 + 8 + 12] = 1; // IHDR interlace method: Adam7
        QVERIFY(!decoded("larger.png", larger));
    }

    void decompressionBombsStayBounded()
    {
        // A BMP header declaring 40000 x 40000 at 24 bits, with no pixel data behind it.
        QByteArray bmp = samples::encode(QImage(4, 4, QImage::Format_RGB32), "bmp");
        qToLittleEndian<qint32>(40000, bmp.data() + 18);
        qToLittleEndian<qint32>(40000, bmp.data() + 22);
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        QVERIFY(!decoded("bomb.png", samples::pngDeclaring(50000, 50000)));
        QVERIFY(!decoded("bomb.bmp", bmp));
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        QVERIFY2(after.ru_maxrss - before.ru_maxrss < 100 * 1024, qPrintable(QString::number(after.ru_maxrss - before.ru_maxrss)));
        // Just under the bound the header passes, and the tiny data then fails to decode.
        QVERIFY(!decoded("almost.png", samples::pngDeclaring(15000, 15000)));
    }
};

VELORA_TEST(TestImageStore)
VELORA_TEST(TestImageDecoder)
#include "test_image_store.moc"
