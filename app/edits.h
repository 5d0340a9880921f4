#pragma once
// Every change the user makes to pieces as one step on an undo stack: inspector edits, moves on
// the desktop, lock, hide, hide all, lock all, new, duplicate, delete, photos added, removed or
// reordered. A step stores only the pieces it changed, before and after.
#include "studio.h"

#include <QObject>
#include <QUndoStack>

#include <functional>
#include <optional>

namespace velora {

class Edits : public QObject {
    Q_OBJECT
public:
    explicit Edits(Studio& studio, QObject* parent = nullptr);

    Studio& studio() const { return m_studio; }
    QUndoStack& stack() { return m_stack; }

    // Runs `change` (operations on pieces and the hide-all switch) and records what it did as one
    // step. Steps with the same non-zero mergeKey in a row merge while they change the same one
    // piece (a slider drag, a run of typing), until closeMerge().
    void record(const QString& text, const std::function<void()>& change, int mergeKey = 0);
    void closeMerge() { ++m_generation; }

    // Merge keys of the editing controls.
    enum MergeKey { noMerge = 0, nameKey, widthKey, tiltKey, captionKey, photoCaptionKey, firstFreeKey };

    // The user's commands, one step each.
    void update(const QUuid& id, const QString& text, const std::function<void(Piece&)>& change, int mergeKey = 0);
    Piece newPiece(const QList<QUuid>& photoIDs, std::optional<CollageLayout> layout = std::nullopt);
    void add(const QList<QUuid>& photoIDs, const QUuid& pieceID);
    void toggleLocked(const QUuid& id);
    void toggleVisible(const QUuid& id);
    void setAllHidden(bool hidden);
    void lockAll(bool locked);
    void duplicate(const QUuid& id);
    void deletePiece(const QUuid& id);
    // A change of a library record made in the piece editor (a photo's caption): one step, merged
    // like the piece edits while it changes the same photo.
    void updatePhoto(const QUuid& id, const QString& text, const std::function<void(Photo&)>& change, int mergeKey = 0);

private:
    Studio& m_studio;
    QUndoStack m_stack;
    int m_generation = 0;
};

} // namespace velora
