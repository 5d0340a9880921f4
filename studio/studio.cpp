#include "studio.h"

#include "image_store.h"
#include "storage.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <QSettings>

#include <algorithm>
#include <cmath>

namespace velora {

namespace {
constexpr int saveDelayMs = 600;
constexpr int rotationIntervalMs = 10'000;
const QString defaultFrameKey = QStringLiteral("defaultFrame");
const QString allHiddenKey = QStringLiteral("allHidden");

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
    : QObject(parent)
{
    m_allHidden = QSettings().value(allHiddenKey, false).toBool();
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
    photosDidChange();
}

void Studio::setPieces(const QList<Piece>& pieces)
{
    m_pieces = pieces;
    piecesDidChange();
}

void Studio::setPage(Page page)
{
    m_page = page;
    emitChanged();
}

void Studio::setSelectedPieceID(std::optional<QUuid> id)
{
    m_selectedPieceID = id;
    emitChanged();
}

void Studio::setShowInspector(bool show)
{
    m_showInspector = show;
    emitChanged();
}

void Studio::setLibrarySelection(const QSet<QUuid>& selection)
{
    m_librarySelection = selection;
    emitChanged();
}

void Studio::setImporting(bool importing)
{
    m_importing = importing;
    emitChanged();
}

void Studio::setImportMessage(std::optional<QString> message)
{
    m_importMessage = std::move(message);
    emitChanged();
}

void Studio::setShowPhotosPicker(bool show)
{
    m_showPhotosPicker = show;
    emitChanged();
}

void Studio::setAllHidden(bool hidden)
{
    m_allHidden = hidden;
    QSettings().setValue(allHiddenKey, hidden);
    emitChanged();
}

bool Studio::allLocked() const
{
    if (m_pieces.isEmpty()) return false;
    return std::all_of(m_pieces.begin(), m_pieces.end(), [](const Piece& p) { return p.isLocked; });
}

FrameStyle Studio::defaultFrame() const
{
    const QVariant stored = QSettings().value(defaultFrameKey);
    if (stored.typeId() != QMetaType::QString && stored.typeId() != QMetaType::QByteArray)
        return FrameStyle::gallery;
    return frameStyleFromRaw(stored.toString().toStdString()).value_or(FrameStyle::gallery);
}

void Studio::setDefaultFrame(FrameStyle style)
{
    QSettings().setValue(defaultFrameKey, qRawValue(style));
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
    m_selectedPieceID = p.id;
    m_page = Page::pieces;
    m_showInspector = true;
    if (m_allHidden) {
        m_allHidden = false;
        QSettings().setValue(allHiddenKey, false);
    }
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
        piecesDidChange();
        return;
    }
}

void Studio::select(const QUuid& id)
{
    m_selectedPieceID = id;
    m_page = Page::pieces;
    m_showInspector = true;
    emitChanged();
}

void Studio::deletePiece(const QUuid& id)
{
    const qsizetype removed = m_pieces.removeIf([&](const Piece& p) { return p.id == id; });
    if (m_selectedPieceID == id) {
        m_selectedPieceID.reset();
        m_showInspector = false;
    }
    if (removed > 0)
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
    m_selectedPieceID = copy.id;
    piecesDidChange();
}

void Studio::toggleLocked(const QUuid& id)
{
    update(id, [](Piece& p) { p.isLocked = !p.isLocked; });
}

void Studio::lockAll(bool locked)
{
    for (Piece& p : m_pieces) p.isLocked = locked;
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
    if (nowVisible) {
        m_allHidden = false;
        QSettings().setValue(allHiddenKey, false);
    }
    piecesDidChange();
}

void Studio::removeFromLibrary(const QSet<QUuid>& photoIDs)
{
    for (const Photo& p : m_photos)
        if (photoIDs.contains(p.id)) ImageStore::remove(p);
    m_photos.removeIf([&](const Photo& p) { return photoIDs.contains(p.id); });
    bool piecesTouched = false;
    for (Piece& p : m_pieces)
        if (p.photoIDs.removeIf([&](const QUuid& id) { return photoIDs.contains(id); }) > 0) piecesTouched = true;
    m_librarySelection.removeIf([&](const QUuid& id) { return photoIDs.contains(id); });
    if (piecesTouched) {
        if (m_loaded) scheduleSave();
        emit piecesChanged();
    }
    photosDidChange();
}

void Studio::appendPhotos(const QList<Photo>& photos)
{
    if (photos.isEmpty()) return;
    m_photos.append(photos);
    photosDidChange();
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
