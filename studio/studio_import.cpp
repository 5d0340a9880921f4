// Import of photo files: expand, skip what the library already holds, decode and store the rest on
// one background worker, then append on the main thread and leave a one-line message.
#include "studio.h"

#include "image_decoder.h"
#include "image_store.h"
#include "storage.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>
#include <QRunnable>
#include <QThreadPool>

#include <atomic>
#include <memory>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace velora {

namespace {

QString photoWord(qsizetype n) { return n == 1 ? QStringLiteral("photo") : QStringLiteral("photos"); }

// The last path component with its last extension removed: "a.b.jpg" -> "a.b".
QString titleOf(const QString& path)
{
    const QString name = QFileInfo(path).fileName();
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? name.left(dot) : name;
}

// Set when the application quits: a long import stops between files instead of holding up exit.
std::atomic<bool>& quitting()
{
    static std::atomic<bool> flag{false};
    return flag;
}

// One worker for every import: files are decoded one after another, and two imports started at
// once queue behind each other rather than doubling memory.
QThreadPool& importPool()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool(QCoreApplication::instance());
        p->setMaxThreadCount(1);
        p->setObjectName(QStringLiteral("VeloraImport"));
        QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, p, [p] {
            quitting() = true;
            p->clear();
        });
        return p;
    }();
    return *pool;
}

// Runs on the worker: decode each file capped to the library size and store it. `progress` is
// called (on the worker) before each file with the number of files done.
QList<Photo> decodeAndStore(const QStringList& fresh, const std::function<void(qsizetype)>& progress)
{
    QList<Photo> stored;
    for (const QString& path : fresh) {
        if (quitting()) break;
        progress(&path - fresh.constData());
        std::optional<QImage> image = ImageDecoder::decode(path, ImageDecoder::maxPixel);
        if (!image) continue;
        std::optional<Photo> photo = ImageStore::store(*image, titleOf(path), path, std::nullopt);
        if (photo) stored.append(std::move(*photo));
#if defined(__GLIBC__)
        // Each photo frees tens of megabytes across the decoder's threads; hand them back now so
        // a long import does not creep upward in resident memory.
        malloc_trim(0);
#endif
    }
    return stored;
}

} // namespace

void Studio::importURLs(const QStringList& paths, std::function<void(const QList<Photo>&)> done)
{
    const QStringList found = ImageStore::expand(paths);
    if (found.isEmpty()) {
        setImportMessage(QStringLiteral("No photos found there."));
        if (done) done({});
        return;
    }
    setImporting(true);
    // The library folder may not exist yet (nothing loaded or saved so far).
    Storage::prepare();

    // Identity is the exact path text; the set is taken now, before any decoding starts.
    QHash<QString, qsizetype> known;
    for (qsizetype i = 0; i < m_photos.size(); ++i) {
        const auto& original = m_photos[i].originalPath;
        if (original && !known.contains(*original)) known.insert(*original, i);
    }
    QStringList fresh;
    QList<Photo> already;
    for (const QString& path : found) {
        const auto it = known.constFind(path);
        if (it == known.constEnd())
            fresh.append(path);
        else
            already.append(m_photos[*it]);
    }

    QPointer<Studio> self(this);
    const qsizetype total = fresh.size();
    setImportProgress(0, total);
    auto finish = [self, already, done = std::move(done)](const QList<Photo>& added) {
        if (!self) return;
        self->setImportProgress(0, 0);
        self->appendPhotos(added);
        if (!added.isEmpty())
            self->setImportMessage(QStringLiteral("Added %1 %2 to your library.").arg(added.size()).arg(photoWord(added.size())));
        else if (already.isEmpty())
            self->setImportMessage(QStringLiteral("Those files couldn\u2019t be read as photos."));
        else
            self->setImportMessage(std::nullopt);
        self->setImporting(false);
        if (done) done(already + added);
    };

    auto progress = [self, total](qsizetype doneCount) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [self, doneCount, total] {
                // A later import may have started meanwhile; only this one's running count moves.
                if (self && self->importing() && self->importProgress().second == total)
                    self->setImportProgress(doneCount, total);
            },
            Qt::QueuedConnection);
    };
    importPool().start([fresh, finish = std::move(finish), progress = std::move(progress)]() mutable {
        QList<Photo> added = decodeAndStore(fresh, progress);
        // Back to the main thread; the application object outlives every Studio, and the Studio
        // itself is checked there.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [finish = std::move(finish), added = std::move(added)]() { finish(added); }, Qt::QueuedConnection);
    });
}

QStringList Studio::chooseFiles()
{
    if (!m_fileChooser) return {};
    return m_fileChooser();
}

void Studio::addToLibraryFromPanel()
{
    const QStringList chosen = chooseFiles();
    if (chosen.isEmpty()) return;
    importURLs(chosen);
}

void Studio::newPieceFromPanel()
{
    const QStringList chosen = chooseFiles();
    if (chosen.isEmpty()) return;
    QPointer<Studio> self(this);
    importURLs(chosen, [self](const QList<Photo>& photos) {
        if (!self || photos.isEmpty()) return;
        QList<QUuid> ids;
        ids.reserve(photos.size());
        for (const Photo& p : photos) ids.append(p.id);
        self->newPiece(ids);
    });
}

} // namespace velora
