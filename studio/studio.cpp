#include "studio.h"

#include "image_store.h"
#include "storage.h"

#include <QDateTime>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>

namespace velora {

namespace {
constexpr int saveDelayMs = 600;
constexpr int rotationIntervalMs = 10'000;

double randomTilt()
{
    // Uniform in [-3, 3], one decimal place, halves away from zero.
    const double r = -3.0 + 6.0 * QRandomGenerator::global()->generateDouble();
    return std::round(r * 10.0) / 10.0;
}

double defaultWidth(CollageLayout layout)
{
    switch (layout) {
    case CollageLayout::single: return 300;
    case CollageLayout::stack: return 380;
    case CollageLayout::row: return 520;
    case CollageLayout::column:
    case CollageLayout::justified:
    case CollageLayout::frieze: return 560;
    }
    return 300;
}
} // namespace

PieceBinding::PieceBinding(Studio* studio, const Piece& piece)
    : m_studio(studio)
    , m_id(piece.id)
    , m_last(piece)
{
}

Piece PieceBinding::get() const
{
    if (m_studio)
        if (const Piece* current = m_studio->piece(m_id)) return *current;
    return m_last;
}

void PieceBinding::set(const Piece& piece) const
{
    if (!m_studio) return;
    m_studio->update(m_id, [&piece](Piece& p) { p = piece; });
}

Studio::Studio(QObject* parent)
    : Studio(Settings::shared(), parent)
{
}

Studio::Studio(Settings& settings, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
{
    m_allHidden = m_settings.allHidden();
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(saveDelayMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &Studio::saveNow);
    m_rotationTimer.setInterval(rotationIntervalMs);
    connect(&m_rotationTimer, &QTimer::timeout, this, &Studio::rotateDue);
}

Studio::~Studio() = default;

Studio& Studio::shared()
{
    static Studio* instance = new Studio;
    return *instance;
}

void Studio::emitChanged() { emit changed(); }

void Studio::piecesDidChange()
{
    if (m_loaded) scheduleSave();
    emit piecesChanged();
    emitChanged();
}

void Studio::photosDidChange()
{
    if (m_loaded) scheduleSave();
    emit photosChanged();
    emitChanged();
}

void Studio::setPhotos(const QList<Photo>& photos)
{
    m_photos = photos;
    emit photosReset();
    photosDidChange();
}

void Studio::setPieces(const QList<Piece>& pieces)
{
    m_pieces = pieces;
    emit piecesReset();
    piecesDidChange();
}

void Studio::pieceDidChange(const QUuid& id)
{
    emit pieceChanged(id);
    piecesDidChange();
}

void Studio::assignPage(Page page)
{
    if (m_page == page) return;
    m_page = page;
    emit pageChanged(page);
}

void Studio::assignSelection(std::optional<QUuid> id)
{
    if (m_selectedPieceID == id) return;
    m_selectedPieceID = id;
    emit selectionChanged();
}

void Studio::assignShowInspector(bool show)
{
    if (m_showInspector == show) return;
    m_showInspector = show;
    emit showInspectorChanged(show);
}

void Studio::assignAllHidden(bool hidden)
{
    // Written whether or not it changed.
    m_settings.setAllHidden(hidden);
    if (m_allHidden == hidden) return;
    m_allHidden = hidden;
    emit allHiddenChanged(hidden);
}

void Studio::setPage(Page page)
{
    assignPage(page);
    emitChanged();
}

void Studio::setSelectedPieceID(std::optional<QUuid> id)
{
    assignSelection(id);
    emitChanged();
}

void Studio::setShowInspector(bool show)
{
    assignShowInspector(show);
    emitChanged();
}

void Studio::setLibrarySelection(const QSet<QUuid>& selection)
{
    if (m_librarySelection != selection) {
        m_librarySelection = selection;
        emit librarySelectionChanged();
    }
    emitChanged();
}

void Studio::setImporting(bool importing)
{
    if (m_importing != importing) {
        m_importing = importing;
        emit importingChanged(importing);
    }
    emitChanged();
}

void Studio::setImportProgress(qsizetype done, qsizetype total)
{
    if (m_importDone == done && m_importTotal == total) return;
    m_importDone = done;
    m_importTotal = total;
    emit importProgressChanged(done, total);
}

void Studio::setImportMessage(std::optional<QString> message)
{
    if (m_importMessage != message) {
        m_importMessage = std::move(message);
        emit importMessageChanged();
    }
    emitChanged();
}

void Studio::setShowPhotosPicker(bool show)
{
    if (m_showPhotosPicker != show) {
        m_showPhotosPicker = show;
        emit showPhotosPickerChanged(show);
    }
    emitChanged();
}

void Studio::setAllHidden(bool hidden)
{
    assignAllHidden(hidden);
    emitChanged();
}

bool Studio::allLocked() const
{
    if (m_pieces.isEmpty()) return false;
    return std::all_of(m_pieces.begin(), m_pieces.end(), [](const Piece& p) { return p.isLocked; });
}

FrameStyle Studio::defaultFrame() const { return m_settings.defaultFrame(); }

void Studio::setDefaultFrame(FrameStyle style)
{
    m_settings.setDefaultFrame(style);
    emitChanged();
}

QList<Photo> Studio::photos(const Piece& piece) const
{
    QList<Photo> out;
    out.reserve(piece.photoIDs.size());
    for (const QUuid& id : piece.photoIDs)
        if (const Photo* p = photo(id)) out.append(*p);
    return out;
}

const Photo* Studio::photo(const QUuid& id) const
{
    for (const Photo& p : m_photos)
        if (p.id == id) return &p;
    return nullptr;
}

const Piece* Studio::piece(const QUuid& id) const
{
    for (const Piece& p : m_pieces)
        if (p.id == id) return &p;
    return nullptr;
}

int Studio::usage(const QUuid& photoID) const
{
    return int(std::count_if(m_pieces.begin(), m_pieces.end(),
                             [&](const Piece& p) { return p.photoIDs.contains(photoID); }));
}

std::optional<PieceBinding> Studio::binding(const QUuid& id)
{
    const Piece* p = piece(id);
    if (!p) return std::nullopt;
    return PieceBinding(this, *p);
}

QString Studio::suggestedName(const QList<QUuid>& photoIDs) const
{
    if (photoIDs.size() == 1)
        if (const Photo* p = photo(photoIDs.front()); p && !p->title.isEmpty()) return p->title;
    const QString base = photoIDs.size() < 2 ? QStringLiteral("Photo") : QStringLiteral("Collage");
    QSet<QString> taken;
    for (const Piece& p : m_pieces) taken.insert(p.name);
    for (qint64 n = 1;; ++n) {
        const QString name = base + QLatin1Char(' ') + QString::number(n);
        if (!taken.contains(name)) return name;
    }
}

Piece Studio::newPiece(const QList<QUuid>& photoIDs, std::optional<CollageLayout> layout)
{
    const QList<QUuid> kept = photoIDs.mid(0, 40);
    Piece p = Piece::make(suggestedName(kept), kept);
    const qsizetype n = kept.size();
    p.layout = layout.value_or(n <= 1   ? CollageLayout::single
                               : n <= 3 ? CollageLayout::row
                               : n <= 5 ? CollageLayout::stack
                                        : CollageLayout::justified);
    p.frame = defaultFrame();
    p.width = defaultWidth(p.layout);
    p.tilt = (p.frame == FrameStyle::instant || p.frame == FrameStyle::tape) ? randomTilt() : 0.0;

    m_pieces.append(p);
    emit pieceInserted(p.id, m_pieces.size() - 1);
    assignSelection(p.id);
    assignPage(Page::pieces);
    assignShowInspector(true);
    if (m_allHidden) assignAllHidden(false);
    piecesDidChange();
    return p;
}

void Studio::add(const QList<QUuid>& photoIDs, const QUuid& pieceID)
{
    update(pieceID, [&](Piece& p) {
        for (const QUuid& id : photoIDs)
            if (!p.photoIDs.contains(id)) p.photoIDs.append(id);
        if (p.layout == CollageLayout::single && p.photoIDs.size() >= 2 && p.rotateMinutes == 0)
            p.layout = CollageLayout::row;
    });
}

void Studio::update(const QUuid& id, const std::function<void(Piece&)>& change)
{
    for (Piece& p : m_pieces) {
        if (p.id != id) continue;
        change(p);
        pieceDidChange(id);
        return;
    }
}

void Studio::insertPiece(qsizetype row, const Piece& piece)
{
    row = std::clamp<qsizetype>(row, 0, m_pieces.size());
    m_pieces.insert(row, piece);
    emit pieceInserted(piece.id, row);
    piecesDidChange();
}

void Studio::select(const QUuid& id)
{
    assignSelection(id);
    assignPage(Page::pieces);
    assignShowInspector(true);
    emitChanged();
}

void Studio::deletePiece(const QUuid& id)
{
    bool removed = false;
    for (qsizetype row = m_pieces.size() - 1; row >= 0; --row) {
        if (m_pieces[row].id != id) continue;
        m_pieces.removeAt(row);
        emit pieceRemoved(id, row);
        removed = true;
    }
    if (m_selectedPieceID == id) {
        assignSelection(std::nullopt);
        assignShowInspector(false);
    }
    if (removed)
        piecesDidChange();
    else
        emitChanged();
}

void Studio::duplicate(const QUuid& id)
{
    const Piece* original = piece(id);
    if (!original) return;
    Piece copy = *original;
    copy.id = QUuid::createUuid();
    copy.name += QStringLiteral(" copy");
    copy.created = Timestamp::now();
    for (auto it = copy.placements.begin(); it != copy.placements.end(); ++it)
        it.value() = {it.value().x + 30, it.value().y - 30};
    m_pieces.append(copy);
    emit pieceInserted(copy.id, m_pieces.size() - 1);
    assignSelection(copy.id);
    piecesDidChange();
}

void Studio::toggleLocked(const QUuid& id)
{
    update(id, [](Piece& p) { p.isLocked = !p.isLocked; });
}

void Studio::lockAll(bool locked)
{
    for (Piece& p : m_pieces) {
        if (p.isLocked == locked) continue;
        p.isLocked = locked;
        emit pieceChanged(p.id);
    }
    piecesDidChange();
}

void Studio::toggleVisible(const QUuid& id)
{
    bool nowVisible = false;
    bool found = false;
    for (Piece& p : m_pieces) {
        if (p.id != id) continue;
        p.isVisible = !p.isVisible;
        nowVisible = p.isVisible;
        found = true;
        break;
    }
    if (!found) return;
    emit pieceChanged(id);
    if (nowVisible) assignAllHidden(false);
    piecesDidChange();
}

void Studio::removeFromLibrary(const QSet<QUuid>& photoIDs)
{
    for (const Photo& p : m_photos)
        if (photoIDs.contains(p.id)) ImageStore::remove(p);
    QSet<QUuid> removed;
    m_photos.removeIf([&](const Photo& p) {
        if (!photoIDs.contains(p.id)) return false;
        removed.insert(p.id);
        return true;
    });
    bool piecesTouched = false;
    for (Piece& p : m_pieces) {
        if (p.photoIDs.removeIf([&](const QUuid& id) { return photoIDs.contains(id); }) == 0) continue;
        piecesTouched = true;
        emit pieceChanged(p.id);
    }
    if (m_librarySelection.removeIf([&](const QUuid& id) { return photoIDs.contains(id); }) > 0)
        emit librarySelectionChanged();
    if (!removed.isEmpty()) emit photosRemoved(removed);
    if (piecesTouched) {
        if (m_loaded) scheduleSave();
        emit piecesChanged();
    }
    photosDidChange();
}

void Studio::appendPhotos(const QList<Photo>& photos)
{
    if (photos.isEmpty()) return;
    const qsizetype first = m_photos.size();
    m_photos.append(photos);
    emit photosAppended(first, photos.size());
    photosDidChange();
}

void Studio::updatePhoto(const QUuid& id, const std::function<void(Photo&)>& change)
{
    for (Photo& p : m_photos) {
        if (p.id != id) continue;
        change(p);
        emit photoChanged(id);
        photosDidChange();
        return;
    }
}

void Studio::load()
{
    const StateFiles::ReadResult photosRead = StateFiles::readPhotos(m_photos);
    StateFiles::readPieces(m_pieces);
    // Copies stored by an interrupted import come back, unless the library file is damaged and
    // their records may be in it.
    const QList<Photo> adopted = ImageStore::recover(m_photos, photosRead != StateFiles::ReadResult::unreadable);
    m_photos.append(adopted);
    m_loaded = true;
    if (!adopted.isEmpty()) scheduleSave();
    emit photosReset();
    emit piecesReset();
    emit photosChanged();
    emit piecesChanged();
    emitChanged();
    startRotationTimer();
}

void Studio::scheduleSave() { m_saveTimer.start(); }

bool Studio::savePending() const { return m_saveTimer.isActive() || m_retryTimer.isActive(); }

void Studio::saveNow()
{
    m_saveTimer.stop();
    Storage::prepare();
    QString photosReason, piecesReason;
    const bool photosSaved = StateFiles::writePhotos(m_photos, &photosReason);
    const bool piecesSaved = StateFiles::writePieces(m_pieces, &piecesReason);
    recordSave(photosSaved ? (piecesSaved ? std::nullopt : std::optional(piecesReason)) : std::optional(photosReason));
}

void Studio::recordSave(const std::optional<QString>& reason)
{
    m_retryTimer.stop();
    const std::optional<QString> before = m_saveError;
    if (reason) {
        if (m_saveFailures == 0) {
            m_retryTimer.setSingleShot(true);
            m_retryTimer.callOnTimeout(this, &Studio::saveNow, Qt::UniqueConnection);
        }
        m_retryTimer.start(std::min(60'000, 1000 << std::min(m_saveFailures, 6)));
        ++m_saveFailures;
        m_saveReason = *reason;
        m_saveError = QStringLiteral("Couldn’t save your library: ") + *reason;
    } else {
        m_saveFailures = 0;
        m_saveReason.clear();
        m_saveError.reset();
    }
    if (m_saveError != before) {
        emit saveErrorChanged();
        emitChanged();
    }
}

void Studio::startRotationTimer() { m_rotationTimer.start(); }

qint64 Studio::now() const { return m_clock ? m_clock() : QDateTime::currentMSecsSinceEpoch(); }

std::optional<qint64> Studio::lastRotation(const QUuid& id) const
{
    const auto it = m_lastRotation.constFind(id);
    if (it == m_lastRotation.cend()) return std::nullopt;
    return *it;
}

void Studio::advance(const QUuid& id)
{
    m_lastRotation.insert(id, now());
    m_ticks[id] = m_ticks.value(id, 0) + 1;
    emit advanced(id);
    emitChanged();
}

void Studio::rotateDue()
{
    const qint64 passStart = now();
    QList<QUuid> due;
    for (const Piece& p : m_pieces) {
        if (p.rotateMinutes < 1 || p.photoIDs.size() < 2 || !p.isVisible) continue;
        const auto last = m_lastRotation.constFind(p.id);
        if (last == m_lastRotation.cend()) {
            m_lastRotation.insert(p.id, passStart);
            continue;
        }
        // Guard against absurd intervals overflowing the millisecond arithmetic.
        const double intervalMs = static_cast<double>(p.rotateMinutes) * 60'000.0;
        if (static_cast<double>(passStart - *last) >= intervalMs) due.append(p.id);
    }
    for (const QUuid& id : due) advance(id);
}

} // namespace velora
