// The image cache under a library of 2000 photos: every full copy (2400 x 1600) and thumbnail asked
// for once, as scrolling the library and drawing pieces would, with the peak memory of a process
// of its own. Beside it, in the same run: the cache limited by count alone (300 entries), as
// before it had a byte limit.
//
//   bench_cache [--photos N]
#include "bench_common.h"
#include "image_cache.h"
#include "lru_cache.h"
#include "storage.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <cstdio>
#include <cstring>

using namespace velora;

namespace {

int child(char** argv)
{
    Storage::setRoot(QString::fromLocal8Bit(argv[2]));
    const qsizetype limitMb = std::atoll(argv[3]);
    ImageCache& cache = ImageCache::shared();
    cache.setByteLimit(limitMb > 0 ? limitMb << 20 : LruCache<QString, QImage>::unlimited);
    int loaded = 0;
    for (const QString& name : QDir(Storage::photosDir()).entryList({"*-s.jpg"}, QDir::Files)) {
        Photo p;
        p.thumbName = name;
        p.fileName = name.left(name.size() - 6) + ".jpg";
        loaded += cache.image(p, true).has_value();
        loaded += cache.image(p, false).has_value();
    }
    std::printf("%d images, %d cached, %.0f MB\n", loaded, cache.count(), double(cache.bytes()) / 1048576.0);
    return 0;
}

// The library, made in a process of its own: a child's peak starts from its parent's size at the
// fork, so the measuring process stays small. One full copy and one thumbnail are linked under
// every photo's names: the cache keys by name.
int setup(const QString& root, int count)
{
    Storage::setRoot(root);
    Storage::prepare();
    QImage full(2400, 1600, QImage::Format_RGB32);
    QPainter p(&full);
    p.fillRect(full.rect(), QLinearGradient(0, 0, 2400, 1600));
    p.end();
    const QString fullPath = QDir(root).filePath("full.jpg"), thumbPath = QDir(root).filePath("thumb.jpg");
    if (!full.save(fullPath, "JPG", 90) || !full.scaled(640, 426).save(thumbPath, "JPG", 82)) return 1;
    for (int i = 0; i < count; ++i) {
        const QString id = uuidText(QUuid::createUuid());
        if (::link(QFile::encodeName(fullPath), QFile::encodeName(*Storage::photoPath(id + ".jpg"))) != 0 ||
            ::link(QFile::encodeName(thumbPath), QFile::encodeName(*Storage::photoPath(id + "-s.jpg"))) != 0)
            return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc == 4 && std::strcmp(argv[1], "--child") == 0) {
        QGuiApplication app(argc, argv);
        return child(argv);
    }
    if (argc == 4 && std::strcmp(argv[1], "--setup") == 0) {
        QGuiApplication app(argc, argv);
        return setup(QString::fromLocal8Bit(argv[2]), std::atoi(argv[3]));
    }
    int count = 2000;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--photos") == 0) count = std::max(1, std::atoi(argv[++i]));
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QTemporaryDir dir;
    const QString root = QDir(dir.path()).filePath("Velora");
    const std::string self = bench::selfPath(argv[0]);
    if (!bench::spawn({self, "--setup", root.toStdString(), std::to_string(count)}).ok) return 1;
    const qsizetype limitMb = ImageCache::defaultByteLimit >> 20;
    std::printf("Velora image cache benchmark: %d photos, each full copy (2400x1600) and thumbnail asked for once\n", count);
    const bench::Run velora = bench::spawn({self, "--child", root.toStdString(), std::to_string(limitMb)});
    const bench::Run countOnly = bench::spawn({self, "--child", root.toStdString(), "0"});
    std::printf("  %-38s %8.0f ms %8.1f MB peak%s\n", ("limit 300 entries and " + std::to_string(limitMb) + " MB").c_str(),
                velora.ms, velora.maxRssKb / 1024.0, velora.ok ? "" : "  (FAILED)");
    std::printf("  %-38s %8.0f ms %8.1f MB peak%s\n", "limit 300 entries only", countOnly.ms, countOnly.maxRssKb / 1024.0,
                countOnly.ok ? "" : "  (FAILED)");
    std::printf("  peak memory against the count limit alone: %.2f x\n", double(velora.maxRssKb) / double(countOnly.maxRssKb));
    return velora.ok && countOnly.ok ? 0 : 1;
}
