#include "fixtures.h"
#include "testing.h"

#include "demo_art.h"
#include "snapshotter.h"
#include "storage.h"
#include "studio.h"

#include <QDir>
#include <QImage>
#include <QTemporaryDir>

using namespace velora;

class TestDemo : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        Storage::setRoot(QDir(m_dir.path()).filePath(QStringLiteral("lib")));
    }

    void scenesAreDeterministic()
    {
        const auto a = DemoArt::scene(320, 200, DemoArt::palettes[0], 20);
        const auto b = DemoArt::scene(320, 200, DemoArt::palettes[0], 20);
        const auto c = DemoArt::scene(320, 200, DemoArt::palettes[0], 21);
        QVERIFY(a && b && c);
        QCOMPARE(*a, *b);
        QVERIFY(*a != *c);
        QVERIFY(!DemoArt::scene(0, 100, DemoArt::palettes[0], 1));
        QVERIFY(!DemoArt::scene(100, -3, DemoArt::palettes[0], 1));
        QVERIFY(!DemoArt::scene(1 << 20, 1 << 20, DemoArt::palettes[0], 1));

        // Upright and opaque. Origin bottom-left: the horizon colour at the bottom edge (under the
        // hills, the nearest hill), the top sky colour at the top.
        const auto img = DemoArt::scene(400, 300, DemoArt::palettes[1], 5);
        QVERIFY(img);
        QCOMPARE(QColor(img->pixel(2, 299)).name(), QColor(0x16514f).name());
        const QColor top = img->pixelColor(2, 0);
        QVERIFY2(std::abs(top.red() - 0xf2) <= 3 && std::abs(top.blue() - 0xf5) <= 3, qPrintable(top.name()));
        for (int y = 0; y < 300; y += 7) QCOMPARE(qAlpha(img->pixel(200, y)), 255);
    }

    void makePhotosStoresAtMostSeven()
    {
        QVERIFY(DemoArt::makePhotos(0).isEmpty());
        QVERIFY(DemoArt::makePhotos(-4).isEmpty());
        QVERIFY(QDir(Storage::photosDir()).isEmpty());
        const QList<Photo> photos = DemoArt::makePhotos(20);
        QCOMPARE(photos.size(), 7);
        for (int i = 0; i < 7; ++i) {
            QCOMPARE(photos[i].title, QString::fromUtf8(DemoArt::sizes[i].title));
            QCOMPARE(photos[i].pixelWidth, qint64(DemoArt::sizes[i].width));
            QVERIFY(QFile::exists(*Storage::photoPath(photos[i].thumbName)));
        }
    }

    void snapshotRunWritesEveryPiece()
    {
        const QString dir = QDir(m_dir.path()).filePath(QStringLiteral("shots"));
        Storage::setRoot(QDir(dir).filePath(QStringLiteral("data")));
        Studio::shared().load();
        QCOMPARE(Snapshotter::run(dir), 0);
        for (FrameStyle s : allFrameStyles)
            for (CollageLayout l : allCollageLayouts)
                QVERIFY(!QImage(QDir(dir).filePath(QStringLiteral("piece-%1-%2.png").arg(qRawValue(s), qRawValue(l)))).isNull());
        for (const char* extra : {"piece-empty.png", "piece-slideshow-0.png", "piece-slideshow-1.png",
                                  "piece-slideshow-crossfade.png", "contact-sheet.png"})
            QVERIFY2(!QImage(QDir(dir).filePath(QLatin1String(extra))).isNull(), extra);
        // The pieces were saved into the snapshot library, nowhere else.
        QVERIFY(QFile::exists(QDir(dir).filePath(QStringLiteral("data/pieces.json"))));
        QCOMPARE(Studio::shared().pieces().size(), 32);
        bool slideshow = false, vertical = false, tilted = false, empty = false;
        for (const Piece& p : Studio::shared().pieces()) {
            slideshow = slideshow || p.rotateMinutes > 0;
            vertical = vertical || (p.vertical && p.layout == CollageLayout::frieze);
            tilted = tilted || p.tilt != 0;
            empty = empty || p.photoIDs.isEmpty();
        }
        QVERIFY(slideshow && vertical && tilted && empty);
    }
};

VELORA_TEST(TestDemo)
#include "test_demo.moc"
