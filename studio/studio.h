#pragma once
// The single application state: photos, pieces, navigation, import status and the slideshow clock.
// Lives on the main thread; every change emits changed() once the new state is in place.
#include "records.h"
#include "settings.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUuid>

#include <functional>
#include <memory>
#include <optional>

namespace velora {

class Studio;
struct ImportRun;
struct ImportRuns;

// Two-way access to one piece for editors: reads the current piece (or, once it is gone, the piece
// as it was when the accessor was made), writes through Studio::update. Holds the studio weakly.
class PieceBinding {
public:
    PieceBinding(Studio* studio, const Piece& piece);
    QUuid id() const { return m_id; }
    Piece get() const;
    void set(const Piece& piece) const;

private:
    QPointer<Studio> m_studio;
    QUuid m_id;
    Piece m_last; // as it was when the accessor was made
};

class Studio : public QObject {
    Q_OBJECT
public:
    // Reads and writes "allHidden" and "defaultFrame" through the shared settings, or the given ones.
    explicit Studio(QObject* parent = nullptr);
    explicit Studio(Settings& settings, QObject* parent = nullptr);
    ~Studio() override;

    // The process-wide instance, made on first use.
    static Studio& shared();

    // --- published state -------------------------------------------------------------
    const QList<Photo>& photos() const { return m_photos; }
    const QList<Piece>& pieces() const { return m_pieces; }
    Page page() const { return m_page; }
    std::optional<QUuid> selectedPieceID() const { return m_selectedPieceID; }
    bool showInspector() const { return m_showInspector; }
    const QSet<QUuid>& librarySelection() const { return m_librarySelection; }
    bool importing() const { return m_importing; }
    // Photos done and the total of the running import; both 0 when none runs.
    std::pair<qsizetype, qsizetype> importProgress() const { return {m_importDone, m_importTotal}; }
    std::optional<QString> importMessage() const { return m_importMessage; }
    bool showPhotosPicker() const { return m_showPhotosPicker; }
    const QHash<QUuid, qint64>& ticks() const { return m_ticks; }
    qint64 tick(const QUuid& id) const { return m_ticks.value(id, 0); }
    bool allHidden() const { return m_allHidden; }

    void setPhotos(const QList<Photo>& photos);
    void setPieces(const QList<Piece>& pieces);
    void setPage(Page page);
    void setSelectedPieceID(std::optional<QUuid> id);
    void setShowInspector(bool show);
    void setLibrarySelection(const QSet<QUuid>& selection);
    void setImportMessage(std::optional<QString> message);
    void setImporting(bool importing);
    void setImportProgress(qsizetype done, qsizetype total);
    void setShowPhotosPicker(bool show);
    // Stored in the setting "allHidden" at once, changed or not.
    void setAllHidden(bool hidden);

    // --- derived -----------------------------------------------------------------------
    bool allLocked() const;
    FrameStyle defaultFrame() const;        // setting "defaultFrame"; gallery when unset or unknown
    void setDefaultFrame(FrameStyle style);
    Settings& settings() const { return m_settings; }

    // --- lookup ------------------------------------------------------------------------
    QList<Photo> photos(const Piece& piece) const;
    const Photo* photo(const QUuid& id) const;
    const Piece* piece(const QUuid& id) const;
    int usage(const QUuid& photoID) const;
    std::optional<PieceBinding> binding(const QUuid& id);

    // --- pieces ------------------------------------------------------------------------
    Piece newPiece(const QList<QUuid>& photoIDs, std::optional<CollageLayout> layout = std::nullopt);
    QString suggestedName(const QList<QUuid>& photoIDs) const;
    void add(const QList<QUuid>& photoIDs, const QUuid& pieceID);
    void update(const QUuid& id, const std::function<void(Piece&)>& change);
    // Puts a piece back at a row (clamped to the list), e.g. when a deletion is undone.
    void insertPiece(qsizetype row, const Piece& piece);
    void select(const QUuid& id);
    void deletePiece(const QUuid& id);
    void duplicate(const QUuid& id);
    void toggleLocked(const QUuid& id);
    void lockAll(bool locked);
    void toggleVisible(const QUuid& id);

    // --- library -----------------------------------------------------------------------
    void removeFromLibrary(const QSet<QUuid>& photoIDs);
    void appendPhotos(const QList<Photo>& photos);
    // Applies a change to the library record with that identifier (its caption, say).
    void updatePhoto(const QUuid& id, const std::function<void(Photo&)>& change);

    // --- import (files and folders) ----------------------------------------------------
    // Expands, decodes the fresh files on one background worker, appends them in one change,
    // sets the message, then calls done (on the main thread) with the known photos followed by
    // the new ones.
    void importURLs(const QStringList& paths, std::function<void(const QList<Photo>&)> done = {});
    // The file chooser is installed by the UI (a file dialog); tests install their own.
    using FileChooser = std::function<QStringList()>;
    void setFileChooser(FileChooser chooser) { m_fileChooser = std::move(chooser); }
    QStringList chooseFiles();
    void addToLibraryFromPanel();
    void newPieceFromPanel();

    // --- persistence and slideshow -------------------------------------------------------
    void load();
    void scheduleSave();
    void saveNow();
    bool savePending() const;

    void startRotationTimer();
    void advance(const QUuid& id);
    // One pass of the ticker; public so tests can walk a clock through it.
    void rotateDue();
    // Milliseconds since the Unix epoch; replaceable for tests.
    using Clock = std::function<qint64()>;
    void setClock(Clock clock) { m_clock = std::move(clock); }
    qint64 now() const;
    std::optional<qint64> lastRotation(const QUuid& id) const;

    // "Couldn’t save your library: " and the reason, while the last save failed. The state stays in
    // memory and the save is tried again after 1, 2, 4 … up to 60 seconds, and after every change,
    // until one succeeds; then it is absent again.
    std::optional<QString> saveError() const { return m_saveError; }
    // The way out: cancels running imports, records the photos they stored already, saves.
    void shutDown();

signals:
    // Every change of any published field.
    void changed();
    // Any change of the photos or of the pieces, after the item signals below.
    void photosChanged();
    void piecesChanged();

    // Item by item, once the change is in place. Rows are positions in pieces() / photos(); a
    // removed row is where the piece was, and several removals come from the last row up.
    void pieceInserted(const QUuid& id, qsizetype row);
    void pieceRemoved(const QUuid& id, qsizetype row);
    void pieceChanged(const QUuid& id);
    void piecesReset();
    void photosAppended(qsizetype first, qsizetype count);
    void photosRemoved(const QSet<QUuid>& ids);
    void photoChanged(const QUuid& id);
    void photosReset();

    // The manager window's view state; none of these touches photos or pieces.
    void pageChanged(velora::Page page);
    void selectionChanged();
    void showInspectorChanged(bool show);
    void librarySelectionChanged();
    void showPhotosPickerChanged(bool show);
    void importingChanged(bool importing);
    void importProgressChanged(qsizetype done, qsizetype total);
    void importMessageChanged();

    void allHiddenChanged(bool hidden);
    // A slideshow step: views crossfade to the new tick (1.4 s, ease-in-out).
    void advanced(const QUuid& id);
    void saveErrorChanged();

private:
    void emitChanged();
    void piecesDidChange();
    void photosDidChange();
    void pieceDidChange(const QUuid& id);
    // Set one field and emit its own signal when it changed; changed() is left to the caller.
    void assignPage(Page page);
    void assignSelection(std::optional<QUuid> id);
    void assignShowInspector(bool show);
    void assignAllHidden(bool hidden);

    QList<Photo> m_photos;
    QList<Piece> m_pieces;
    Page m_page = Page::pieces;
    std::optional<QUuid> m_selectedPieceID;
    bool m_showInspector = false;
    QSet<QUuid> m_librarySelection;
    bool m_importing = false;
    std::optional<QString> m_importMessage;
    bool m_showPhotosPicker = false;
    QHash<QUuid, qint64> m_ticks;
    bool m_allHidden = false;

    qsizetype m_importDone = 0;
    qsizetype m_importTotal = 0;
    Settings& m_settings;

    QHash<QUuid, qint64> m_lastRotation;
    QTimer m_saveTimer;
    QTimer m_rotationTimer;
    bool m_loaded = false;
    Clock m_clock;
    FileChooser m_fileChooser;

    void finishImport(const std::shared_ptr<ImportRun>& run);
    void refreshImportProgress();
    void recordSave(const std::optional<QString>& reason);
    std::shared_ptr<ImportRuns> m_imports;
    std::optional<QString> m_saveError;
    QString m_saveReason;
    int m_saveFailures = 0;
    QTimer m_retryTimer;
};

} // namespace velora
