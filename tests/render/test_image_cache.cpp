#include "testing.h"

#include "image_cache.h"
#include "storage.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

using namespace velora;

namespace {
bool writeImage(const QString& path, QSize size, QColor colour)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(colour);
    return image.save(path, "JPG");
}

Photo photoNamed(const QString& stem)
{
    Photo p;
    p.id = QUuid::createUuid();
    p.fileName = stem + QStringLiteral(".jpg");
    p.thumbName = stem + QStringLiteral("-s.jpg");
    p.pixelWidth = 40;
    p.pixelHeight = 30;
    return p;
}
} // namespace

class TestImageCache : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void init()
    {
        QVERIFY(m_dir.isValid());
        Storage::setRoot(m_dir.path());
        Storage::prepare();
        ImageCache::shared().clear();
    }

    void fullFallsBackToThumbnailAndRetries()
    {
        const Photo p = photoNamed(QStringLiteral("A"));
        QVERIFY(writeImage(*Storage::photoPath(p.thumbName), {16, 12}, Qt::red));

        auto first = ImageCache::shared().image(p, false);
        QVERIFY(first);
        QCOMPARE(first->size(), QSize(16, 12));
        QCOMPARE(ImageCache::shared().count(), 1); // only the thumbnail, under its own key

        // The failed full load was not remembered: once the file appears it is used.
        QVERIFY(writeImage(*Storage::photoPath(p.fileName), {40, 30}, Qt::blue));
        auto second = ImageCache::shared().image(p, false);
        QVERIFY(second);
        QCOMPARE(second->size(), QSize(40, 30));
        QCOMPARE(ImageCache::shared().count(), 2);
    }

    void thumbnailNeverFallsBackToFull()
    {
        const Photo p = photoNamed(QStringLiteral("B"));
        QVERIFY(writeImage(*Storage::photoPath(p.fileName), {40, 30}, Qt::blue));
        QVERIFY(!ImageCache::shared().image(p, true));
        QCOMPARE(ImageCache::shared().count(), 0);
    }

    void bothMissingGiveNothingAndNoEntry()
    {
        const Photo p = photoNamed(QStringLiteral("C"));
        QVERIFY(!ImageCache::shared().image(p, false));
        QVERIFY(!ImageCache::shared().image(p, true));
        QCOMPARE(ImageCache::shared().count(), 0);
    }

    void unreadableFileIsNotCached()
    {
        const Photo p = photoNamed(QStringLiteral("D"));
        QFile f(*Storage::photoPath(p.fileName));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("not a jpeg at all");
        f.close();
        QVERIFY(!ImageCache::shared().image(p, false));
        QCOMPARE(ImageCache::shared().count(), 0);
    }

    void holdsAtMostThreeHundred()
    {
        const QString path = *Storage::photoPath(QStringLiteral("one.jpg"));
        QVERIFY(writeImage(path, {2, 2}, Qt::green));
        for (int i = 0; i < 301; ++i) {
            const QString name = QStringLiteral("img-%1.jpg").arg(i);
            QVERIFY(QFile::copy(path, *Storage::photoPath(name)));
            Photo p;
            p.fileName = name;
            p.thumbName = name;
            QVERIFY(ImageCache::shared().image(p, true));
        }
        QCOMPARE(ImageCache::shared().count(), ImageCache::limit);
    }

    void hostileNamesAreNeverRead()
    {
        // A readable image one level above Photos/: a record naming it must not reach it.
        QVERIFY(writeImage(QDir(m_dir.path()).filePath(QStringLiteral("x.jpg")), {8, 8}, Qt::red));
        QVERIFY(writeImage(QDir(m_dir.path()).filePath(QStringLiteral("x-s.jpg")), {8, 8}, Qt::red));
        Photo p;
        p.fileName = QStringLiteral("../x.jpg");
        p.thumbName = QStringLiteral("../x-s.jpg");
        QVERIFY(!ImageCache::shared().image(p, false));
        p.fileName = QDir(m_dir.path()).filePath(QStringLiteral("x.jpg")); // absolute
        p.thumbName = QString();
        QVERIFY(!ImageCache::shared().image(p, false));
        QCOMPARE(ImageCache::shared().count(), 0);
    }
};

VELORA_TEST(TestImageCache)
#include "test_image_cache.moc"
