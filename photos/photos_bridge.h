#pragma once
// The picker's one door to photo libraries: asks for access, lists the albums worth showing and the
// photos of the chosen one, delivers thumbnails off the main thread and imports the picked photos
// into the library one at a time. Made anew for every showing of the picker; main thread only.
#include "photo_source.h"
#include "records.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QThreadPool>

#include <atomic>

namespace velora {

class Studio;

struct Album {
    QString id;
    QString title; // "Album" when the source has none
    int count = 0; // still photos, at least 1
    PhotoCollection collection;
    int source = 0; // index into the bridge's sources

    friend bool operator==(const Album&, const Album&) = default;
};

class PhotosBridge : public QObject {
    Q_OBJECT
public:
    // At most this many photos of an album are listed: the walk stops after appending the one at
    // this index, so the list ends one past it.
    static constexpr int lastListedIndex = 600;
    static constexpr int thumbnailPixels = 300;
    static constexpr int fullPixels = 2400;

    explicit PhotosBridge(PhotoSources sources, QObject* parent = nullptr);
    // Over the photo libraries found on this machine.
    static PhotosBridge* forThisMachine(QObject* parent = nullptr);
    ~PhotosBridge() override;

    const PhotoSources& sources() const { return m_sources; }
    // Read once, when the bridge is made: the best access any source gives.
    PhotoAccess status() const { return m_status; }
    bool authorized() const { return m_status == PhotoAccess::authorized || m_status == PhotoAccess::limited; }
    bool hasSources() const { return !m_sources.isEmpty(); }
    // Sources that were found but can't be read, with the reason.
    QList<std::pair<QString, QString>> unreadableSources() const;

    const QList<Album>& albums() const { return m_albums; }
    const std::optional<Album>& selectedAlbum() const { return m_selected; }
    const QList<PhotoAsset>& assets() const { return m_assets; }
    const QStringList& picked() const { return m_picked; }
    bool importing() const { return m_importing; }
    bool isPicked(const QString& id) const { return m_picked.contains(id); }

    void requestAccess();
    void loadAlbums();
    void select(const Album& album);
    // Removes every occurrence when picked, else appends, so picks keep ticking order.
    void togglePick(const QString& id);

    // A thumbnail (aspect-fit in 300 × 300, or when cropSide > 0 cropped to a centred square of
    // that many pixels) decoded on a worker; `done` runs on the main thread with the image, or a
    // null image when it can't be had, unless the returned ticket was cancelled first or
    // `context` is gone.
    using Ticket = std::shared_ptr<std::atomic<bool>>;
    Ticket thumbnail(const PhotoAsset& asset, QObject* context, std::function<void(const QImage&)> done, int cropSide = 0);
    static void cancel(const Ticket& ticket);

    // Imports the picks in ticking order, storing one photo at a time on a worker and appending
    // each to the studio as it is stored. `done` gets the picked photos that are now in the
    // library, old and new alike, in ticking order. Picks are cleared afterwards.
    void importPicked(Studio& studio, std::function<void(const QList<Photo>&)> done = {});
    // Stops an import after the photo being stored; what was stored stays.
    void stopImport() { m_stopImport = true; }

    // The title a photo gets: its file name without extension, else its medium date, else "Photo".
    static QString titleFor(const PhotoAsset& asset);

signals:
    void statusChanged();
    void albumsChanged();
    void selectedAlbumChanged();
    void assetsChanged();
    void pickedChanged();
    void importingChanged();

private:
    struct ImportRun;
    void importNext(const std::shared_ptr<ImportRun>& run);
    void finishImport(const std::shared_ptr<ImportRun>& run);
    void setImporting(bool importing);

    PhotoSources m_sources;
    PhotoAccess m_status = PhotoAccess::denied;
    QList<Album> m_albums;
    std::optional<Album> m_selected;
    QList<PhotoAsset> m_assets;
    QStringList m_picked;
    bool m_importing = false;
    std::atomic<bool> m_stopImport{false};
    QThreadPool m_thumbnails;
    QThreadPool m_store; // one worker: photos are stored one after another
};

} // namespace velora
