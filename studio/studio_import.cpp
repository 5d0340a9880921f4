// Import of photo files: expand, skip what the library already holds, decode and store the rest on
// a pool of workers, then append on the main thread in the order given and leave a one-line
// message. A quit cancels what is still running and keeps what was stored.
#include "studio.h"

#include "files.h"
#include "image_decoder.h"
#include "image_store.h"
#include "storage.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QPointer>
#include <QThread>
#include <QThreadPool>

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace velora {

namespace {

QString photoWord(qsizetype n) { return n == 1 ? QStringLiteral("photo") : QStringLiteral("photos"); }

// The last path component with its last extension removed: "a.b.jpg" -> "a.b".
QString titleOf(const QString& path)
{
    const QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return Files::displayName(dot > 0 ? name.left(dot) : name);
}

// One worker per core but one, so the interface keeps a core; every import shares them, so two
// imports started one after the other use the cores together. Never destroyed: a worker still
// finishing a file must not hold up the end of the process.
QThreadPool& importPool()
{
    static QThreadPool* pool = [] {
        auto* p = new QThreadPool;
        p->setMaxThreadCount(std::max(1, QThread::idealThreadCount() - 1));
        p->setObjectName(QStringLiteral("VeloraImport"));
        return p;
    }();
    return *pool;
}

} // namespace

// One importURLs call: its files, what the workers stored for each, and how to finish.
struct ImportRun {
    QStringList fresh;
    QList<Photo> already;
    std::function<void(const QList<Photo>&)> done;
    QPointer<Studio> owner; // main thread only
    std::atomic<bool> cancelled{false};
    std::atomic<int> pending{0};
    std::atomic<int> completed{0}; // files done, stored or not
    std::mutex mutex;
    std::vector<std::optional<Photo>> stored; // by position in fresh; guarded by mutex
    bool finished = false;                    // main thread only

    QList<Photo> storedInOrder()
    {
        std::lock_guard lock(mutex);
        QList<Photo> out;
        for (const auto& p : stored)
            if (p) out.append(*p);
        return out;
    }
};

// The imports of one Studio that have not finished; they are cancelled when it goes.
struct ImportRuns {
    QList<std::shared_ptr<ImportRun>> running;
    ~ImportRuns()
    {
        for (const auto& run : running) run->cancelled = true;
    }
};

namespace {

// Runs on a worker: decode one file capped to the library size and store it.
void importOne(const std::shared_ptr<ImportRun>& run, qsizetype index)
{
    if (run->cancelled) return;
    const QString& path = run->fresh[index];
    std::optional<QImage> image = ImageDecoder::decode(path, ImageDecoder::maxPixel, &run->cancelled);
    if (!image || run->cancelled) return;
    std::optional<Photo> photo =
        ImageStore::store(*image, titleOf(path), Files::displayName(path), std::nullopt, &run->cancelled);
    image.reset();
    if (photo) {
        std::lock_guard lock(run->mutex);
        run->stored[size_t(index)] = std::move(photo);
    }
#if defined(__GLIBC__)
    // Each photo frees tens of megabytes across the decoder's threads; hand them back now so a
    // long import does not creep upward in resident memory.
    malloc_trim(0);
#endif
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

    // Identity is the path text as stored (names that aren't UTF-8 with replacement characters);
    // the set is taken now, before any decoding starts.
    QHash<QString, qsizetype> known;
    for (qsizetype i = 0; i < m_photos.size(); ++i) {
        const auto& original = m_photos[i].originalPath;
        if (original && !known.contains(*original)) known.insert(*original, i);
    }
    auto run = std::make_shared<ImportRun>();
    run->done = std::move(done);
    run->owner = this;
    for (const QString& path : found) {
        const auto it = known.constFind(Files::displayName(path));
        if (it == known.constEnd())
            run->fresh.append(path);
        else
            run->already.append(m_photos[*it]);
    }
    if (!m_imports) m_imports = std::make_shared<ImportRuns>();
    m_imports->running.append(run);
    refreshImportProgress();

    if (run->fresh.isEmpty()) {
        QMetaObject::invokeMethod(this, [this, run] { finishImport(run); }, Qt::QueuedConnection);
        return;
    }
    run->stored.resize(size_t(run->fresh.size()));
    run->pending = int(run->fresh.size());
    for (qsizetype i = 0; i < run->fresh.size(); ++i) {
        importPool().start([run, i] {
            importOne(run, i);
            ++run->completed;
            if (--run->pending > 0) {
                QMetaObject::invokeMethod(
                    QCoreApplication::instance(),
                    [run] {
                        if (run->owner) run->owner->refreshImportProgress();
                    },
                    Qt::QueuedConnection);
                return;
            }
            // The last file: back to the main thread; the application object outlives every
            // Studio, and the Studio itself is checked there.
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [run] {
                    if (run->owner) run->owner->finishImport(run);
                },
                Qt::QueuedConnection);
        });
    }
}

void Studio::finishImport(const std::shared_ptr<ImportRun>& run)
{
    if (run->finished) return;
    run->finished = true;
    if (m_imports) m_imports->running.removeOne(run);
    refreshImportProgress();
    const QList<Photo> added = run->storedInOrder();
    appendPhotos(added);
    // New photos are recorded at once: the message tells whether they are safe.
    if (!added.isEmpty() && m_loaded) saveNow();
    const QString count = QString::number(added.size()) + QLatin1Char(' ') + photoWord(added.size());
    if (!added.isEmpty() && m_saveError)
        setImportMessage(QStringLiteral("Added ") + count + QStringLiteral(", but couldn\u2019t save your library: ") +
                         m_saveReason);
    else if (!added.isEmpty())
        setImportMessage(QStringLiteral("Added ") + count + QStringLiteral(" to your library."));
    else if (run->already.isEmpty())
        setImportMessage(QStringLiteral("Those files couldn\u2019t be read as photos."));
    else
        setImportMessage(std::nullopt);
    setImporting(false);
    if (run->done) run->done(run->already + added);
}

void Studio::refreshImportProgress()
{
    // Every running import together: what the window shows as "n of m".
    qsizetype done = 0, total = 0;
    if (m_imports)
        for (const auto& run : std::as_const(m_imports->running)) {
            done += run->completed;
            total += run->fresh.size();
        }
    setImportProgress(done, total);
}

void Studio::shutDown()
{
    if (m_imports && !m_imports->running.isEmpty()) {
        const QList<std::shared_ptr<ImportRun>> runs = m_imports->running;
        for (const auto& run : runs) run->cancelled = true;
        // Every read of a file checks the flag, so workers let go within moments; the wait is
        // bounded all the same, and anything stored after it is adopted at the next start.
        QElapsedTimer clock;
        clock.start();
        const auto busy = [&] {
            for (const auto& run : runs)
                if (run->pending > 0) return true;
            return false;
        };
        while (busy() && clock.elapsed() < 1500) QThread::msleep(5);
        QList<Photo> added;
        for (const auto& run : runs) {
            run->finished = true;
            added += run->storedInOrder();
        }
        m_imports->running.clear();
        setImportProgress(0, 0);
        appendPhotos(added);
        setImporting(false);
    }
    saveNow();
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
