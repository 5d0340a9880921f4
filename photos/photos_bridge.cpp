#include "photos_bridge.h"

#include "catalog_source.h"
#include "image_store.h"
#include "storage.h"
#include "studio.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>

namespace velora {

namespace {

bool grants(PhotoAccess a) { return a == PhotoAccess::authorized || a == PhotoAccess::limited; }

// The best access among the sources: one readable library is enough to browse.
PhotoAccess bestAccess(const QList<PhotoAccess>& all)
{
    static constexpr PhotoAccess order[] = {PhotoAccess::authorized, PhotoAccess::limited, PhotoAccess::notDetermined,
                                            PhotoAccess::restricted, PhotoAccess::denied};
    for (PhotoAccess a : order)
        if (all.contains(a)) return a;
    return PhotoAccess::denied;
}

QImage squareCrop(const QImage& image, int side)
{
    if (image.isNull() || side <= 0) return image;
    const QImage filled = image.scaled(side, side, Qt::KeepAspectRatioByExpanding, Qt::SmoothTransformation);
    return filled.copy((filled.width() - side) / 2, (filled.height() - side) / 2, side, side);
}

// Hands `work`'s result back to the main thread, where `deliver` runs unless `guard` is gone.
template <typename Result>
void backToMain(QPointer<QObject> guard, Result result, std::function<void(Result)> deliver)
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [guard, result = std::move(result), deliver = std::move(deliver)]() mutable {
            if (guard) deliver(std::move(result));
        },
        Qt::QueuedConnection);
}

} // namespace

struct PhotosBridge::ImportRun {
    QPointer<Studio> studio;
    QStringList ids;
    qsizetype next = 0;
    QList<Photo> result;
    std::function<void(const QList<Photo>&)> done;
};

PhotosBridge::PhotosBridge(PhotoSources sources, QObject* parent) : QObject(parent), m_sources(std::move(sources))
{
    QList<PhotoAccess> all;
    for (const auto& s : m_sources) all.append(s->access());
    m_status = bestAccess(all);
    // Two decoders keep a screenful of thumbnails coming without starving the interface.
    m_thumbnails.setMaxThreadCount(std::clamp(QThread::idealThreadCount(), 1, 2));
    m_thumbnails.setObjectName(QStringLiteral("VeloraThumbnails"));
    m_store.setMaxThreadCount(1);
    m_store.setObjectName(QStringLiteral("VeloraPhotosImport"));
}

PhotosBridge* PhotosBridge::forThisMachine(QObject* parent) { return new PhotosBridge(discoverPhotoSources(), parent); }

PhotosBridge::~PhotosBridge()
{
    m_stopImport = true;
    m_thumbnails.clear();
    m_thumbnails.waitForDone();
    m_store.waitForDone();
}

QList<std::pair<QString, QString>> PhotosBridge::unreadableSources() const
{
    QList<std::pair<QString, QString>> out;
    for (const auto& s : m_sources) {
        if (grants(s->access()) || s->access() == PhotoAccess::notDetermined) continue;
        const auto* catalog = dynamic_cast<const CatalogSource*>(s.get());
        out.append({s->name(), catalog ? catalog->problem() : QString()});
    }
    return out;
}

void PhotosBridge::requestAccess()
{
    for (const auto& source : m_sources) {
        if (source->access() != PhotoAccess::notDetermined) continue;
        QPointer<PhotosBridge> self(this);
        source->requestAccess([self](PhotoAccess) {
            if (!self) return;
            QList<PhotoAccess> all;
            for (const auto& s : self->m_sources) all.append(s->access());
            self->m_status = bestAccess(all);
            emit self->statusChanged();
            if (self->authorized()) self->loadAlbums();
        });
    }
}

void PhotosBridge::loadAlbums()
{
    QList<Album> albums;
    const auto append = [&albums, this](int source, const PhotoCollection& c) {
        const int count = m_sources[source]->count(c);
        if (count <= 0) return;
        albums.append({c.id, c.title.isEmpty() ? tr("Album") : c.title, count, c, source});
    };
    for (int s = 0; s < m_sources.size(); ++s) {
        if (!grants(m_sources[s]->access())) continue;
        const QList<PhotoCollection> all = m_sources[s]->collections();
        // The five kinds of smart album, in their fixed order, then the user's albums as listed.
        for (AlbumKind kind : {AlbumKind::allPhotos, AlbumKind::favorites, AlbumKind::recentlyAdded, AlbumKind::panoramas,
                               AlbumKind::screenshots})
            for (const PhotoCollection& c : all)
                if (c.kind == kind) append(s, c);
        for (const PhotoCollection& c : all)
            if (c.kind == AlbumKind::user) append(s, c);
    }
    m_albums = std::move(albums);
    emit albumsChanged();
    if (!m_selected && !m_albums.isEmpty()) select(m_albums.first());
}

void PhotosBridge::select(const Album& album)
{
    m_selected = album;
    emit selectedAlbumChanged();
    QList<PhotoAsset> list;
    if (album.source >= 0 && album.source < m_sources.size()) {
        const QList<PhotoAsset> all = m_sources[album.source]->assets(album.collection, lastListedIndex + 1);
        for (qsizetype i = 0; i < all.size(); ++i) {
            list.append(all[i]);
            if (i >= lastListedIndex) break;
        }
    }
    m_assets = std::move(list);
    emit assetsChanged();
}

void PhotosBridge::togglePick(const QString& id)
{
    if (m_picked.contains(id))
        m_picked.removeAll(id);
    else
        m_picked.append(id);
    emit pickedChanged();
}

void PhotosBridge::cancel(const Ticket& ticket)
{
    if (ticket) *ticket = true;
}

PhotosBridge::Ticket PhotosBridge::thumbnail(const PhotoAsset& asset, QObject* context,
                                             std::function<void(const QImage&)> done, int cropSide)
{
    auto ticket = std::make_shared<std::atomic<bool>>(false);
    if (!m_selected || m_selected->source < 0 || m_selected->source >= m_sources.size()) {
        backToMain<QImage>(context, QImage(), [ticket, done](QImage image) {
            if (!*ticket) done(image);
        });
        return ticket;
    }
    std::shared_ptr<const PhotoSource> source = m_sources[m_selected->source];
    QPointer<QObject> guard(context);
    m_thumbnails.start([source, asset, guard, ticket, done = std::move(done), cropSide]() {
        if (*ticket) return; // scrolled away before its turn
        std::optional<QImage> image = source->image(asset, thumbnailPixels);
        QImage out = image ? squareCrop(*image, cropSide) : QImage();
        backToMain<QImage>(guard, std::move(out), [ticket, done](QImage delivered) {
            if (!*ticket) done(delivered);
        });
    });
    return ticket;
}

QString PhotosBridge::titleFor(const PhotoAsset& asset)
{
    const QString name = asset.fileName;
    if (!name.isEmpty()) {
        const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
        return dot > 0 ? name.left(dot) : name;
    }
    if (asset.created && asset.created->isValid()) return mediumDate(asset.created->toLocalTime().date());
    return tr("Photo");
}

void PhotosBridge::setImporting(bool importing)
{
    m_importing = importing;
    emit importingChanged();
}

void PhotosBridge::importPicked(Studio& studio, std::function<void(const QList<Photo>&)> done)
{
    if (m_importing) return;
    m_stopImport = false;
    Storage::prepare();
    setImporting(true);
    auto run = std::make_shared<ImportRun>();
    run->studio = &studio;
    run->ids = m_picked;
    run->done = std::move(done);
    importNext(run);
}

void PhotosBridge::importNext(const std::shared_ptr<ImportRun>& run)
{
    while (run->next < run->ids.size() && run->studio && !m_stopImport) {
        const QString id = run->ids[run->next++];
        // Already in the library: no second copy, but it still counts as imported.
        const QList<Photo>& photos = run->studio->photos();
        const auto known = std::find_if(photos.begin(), photos.end(),
                                        [&id](const Photo& p) { return p.photosIdentifier == id; });
        if (known != photos.end()) {
            run->result.append(*known);
            continue;
        }
        // Picked in an album that is no longer shown: skipped.
        const auto asset = std::find_if(m_assets.begin(), m_assets.end(), [&id](const PhotoAsset& a) { return a.id == id; });
        if (asset == m_assets.end() || !m_selected) continue;

        std::shared_ptr<const PhotoSource> source = m_sources.value(m_selected->source);
        if (!source) continue;
        const QString title = titleFor(*asset);
        QPointer<PhotosBridge> self(this);
        m_store.start([source, a = *asset, title, id, self, run]() {
            std::optional<Photo> stored;
            if (std::optional<QImage> image = source->image(a, fullPixels))
                stored = ImageStore::store(*image, title, std::nullopt, id);
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, run, stored]() {
                    if (stored && run->studio) {
                        run->studio->appendPhotos({*stored});
                        run->result.append(*stored);
                    }
                    if (self) self->importNext(run);
                },
                Qt::QueuedConnection);
        });
        return; // resumes when this photo is stored
    }
    finishImport(run);
}

void PhotosBridge::finishImport(const std::shared_ptr<ImportRun>& run)
{
    m_picked.clear();
    emit pickedChanged();
    setImporting(false);
    if (run->done) run->done(run->result);
}

} // namespace velora
