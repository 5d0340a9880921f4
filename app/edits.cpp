#include "edits.h"

#include <QHash>
#include <QUndoCommand>

#include <algorithm>

namespace velora {

namespace {

// One piece across a step: where it was and what it was before, and after. A missing side means
// the piece did not exist then.
struct Change {
    QUuid id;
    qsizetype beforeRow = -1;
    qsizetype afterRow = -1;
    std::optional<Piece> before;
    std::optional<Piece> after;
};

QList<Change> diff(const QList<Piece>& before, const QList<Piece>& after)
{
    QHash<QUuid, qsizetype> was;
    for (qsizetype i = 0; i < before.size(); ++i) was.insert(before[i].id, i);
    QHash<QUuid, qsizetype> is;
    for (qsizetype i = 0; i < after.size(); ++i) is.insert(after[i].id, i);

    QList<Change> out;
    for (qsizetype i = 0; i < before.size(); ++i) {
        const Piece& b = before[i];
        if (was.value(b.id) != i) continue; // a second piece with one id: the first one counts
        const auto it = is.constFind(b.id);
        if (it == is.cend())
            out.append({b.id, i, -1, b, std::nullopt});
        else if (!(after[*it] == b))
            out.append({b.id, i, *it, b, after[*it]});
    }
    for (qsizetype i = 0; i < after.size(); ++i) {
        const Piece& a = after[i];
        if (is.value(a.id) == i && !was.contains(a.id)) out.append({a.id, -1, i, std::nullopt, a});
    }
    return out;
}

// A step that is already done when it is pushed, so its first redo does nothing. Steps of one kind
// with the same merge key may merge while their generation is the same.
class DoneStep : public QUndoCommand {
public:
    DoneStep(const QString& text, int mergeKey, int generation)
        : QUndoCommand(text)
        , m_key(mergeKey)
        , m_generation(generation)
    {
    }

    int id() const override { return m_key == 0 ? -1 : m_key; }
    void undo() override { apply(false); }

    void redo() override
    {
        if (m_firstRedo) {
            m_firstRedo = false;
            return;
        }
        apply(true);
    }

protected:
    virtual void apply(bool forward) = 0;
    // The next step of the same kind and the same run, or null.
    template<typename Kind> const Kind* sameRun(const QUndoCommand* other) const
    {
        const auto* next = dynamic_cast<const Kind*>(other);
        return next && next->m_generation == m_generation ? next : nullptr;
    }

private:
    int m_key;
    int m_generation;
    bool m_firstRedo = true;
};

class Step : public DoneStep {
public:
    Step(Studio& studio, const QString& text, QList<Change> changes, std::optional<bool> hiddenBefore,
         std::optional<bool> hiddenAfter, int mergeKey, int generation)
        : DoneStep(text, mergeKey, generation)
        , m_studio(studio)
        , m_changes(std::move(changes))
        , m_hiddenBefore(hiddenBefore)
        , m_hiddenAfter(hiddenAfter)
    {
    }

    bool mergeWith(const QUndoCommand* other) override
    {
        const auto* next = sameRun<Step>(other);
        if (!next || m_changes.size() != 1 || next->m_changes.size() != 1) return false;
        Change& mine = m_changes.front();
        const Change& theirs = next->m_changes.front();
        if (mine.id != theirs.id || !mine.before || !mine.after || !theirs.after || m_hiddenAfter || next->m_hiddenAfter)
            return false;
        mine.after = theirs.after;
        mine.afterRow = theirs.afterRow;
        setObsolete(*mine.before == *mine.after);
        return true;
    }

private:
    void apply(bool forward) override
    {
        // Removals from the last row up, then insertions from the first row down, so that every
        // row means what it meant when the step was taken.
        QList<const Change*> removals, insertions, updates;
        for (const Change& c : m_changes) {
            const auto& from = forward ? c.before : c.after;
            const auto& to = forward ? c.after : c.before;
            if (from && !to) removals.append(&c);
            else if (!from && to) insertions.append(&c);
            else updates.append(&c);
        }
        std::sort(removals.begin(), removals.end(), [forward](const Change* a, const Change* b) {
            return (forward ? a->beforeRow : a->afterRow) > (forward ? b->beforeRow : b->afterRow);
        });
        std::sort(insertions.begin(), insertions.end(), [forward](const Change* a, const Change* b) {
            return (forward ? a->afterRow : a->beforeRow) < (forward ? b->afterRow : b->beforeRow);
        });
        for (const Change* c : removals) m_studio.deletePiece(c->id);
        for (const Change* c : insertions)
            m_studio.insertPiece(forward ? c->afterRow : c->beforeRow, forward ? *c->after : *c->before);
        for (const Change* c : updates) {
            const Piece& target = forward ? *c->after : *c->before;
            m_studio.update(c->id, [&target](Piece& p) { p = target; });
        }
        const auto& hidden = forward ? m_hiddenAfter : m_hiddenBefore;
        if (hidden) m_studio.setAllHidden(*hidden);
    }

    Studio& m_studio;
    QList<Change> m_changes;
    std::optional<bool> m_hiddenBefore;
    std::optional<bool> m_hiddenAfter;
};

// One library record before and after.
class PhotoStep : public DoneStep {
public:
    PhotoStep(Studio& studio, const QString& text, Photo before, Photo after, int mergeKey, int generation)
        : DoneStep(text, mergeKey, generation)
        , m_studio(studio)
        , m_before(std::move(before))
        , m_after(std::move(after))
    {
    }

    bool mergeWith(const QUndoCommand* other) override
    {
        const auto* next = sameRun<PhotoStep>(other);
        if (!next || next->m_before.id != m_before.id) return false;
        m_after = next->m_after;
        setObsolete(m_before == m_after);
        return true;
    }

private:
    void apply(bool forward) override
    {
        const Photo& photo = forward ? m_after : m_before;
        m_studio.updatePhoto(photo.id, [&photo](Photo& p) { p = photo; });
    }

    Studio& m_studio;
    Photo m_before;
    Photo m_after;
};

} // namespace

Edits::Edits(Studio& studio, QObject* parent)
    : QObject(parent)
    , m_studio(studio)
{
}

void Edits::record(const QString& text, const std::function<void()>& change, int mergeKey)
{
    const QList<Piece> before = m_studio.pieces(); // shared until the change detaches it
    const bool hiddenBefore = m_studio.allHidden();
    change();
    const bool hiddenAfter = m_studio.allHidden();
    QList<Change> changes = diff(before, m_studio.pieces());
    if (changes.isEmpty() && hiddenBefore == hiddenAfter) return;
    const bool hiddenMoved = hiddenBefore != hiddenAfter;
    m_stack.push(new Step(m_studio, text, std::move(changes), hiddenMoved ? std::optional(hiddenBefore) : std::nullopt,
                          hiddenMoved ? std::optional(hiddenAfter) : std::nullopt, mergeKey, m_generation));
}

void Edits::update(const QUuid& id, const QString& text, const std::function<void(Piece&)>& change, int mergeKey)
{
    record(text, [&] { m_studio.update(id, change); }, mergeKey);
}

Piece Edits::newPiece(const QList<QUuid>& photoIDs, std::optional<CollageLayout> layout)
{
    Piece made;
    record(tr("New Piece"), [&] { made = m_studio.newPiece(photoIDs, layout); });
    return made;
}

void Edits::add(const QList<QUuid>& photoIDs, const QUuid& pieceID)
{
    record(tr("Add Photos"), [&] { m_studio.add(photoIDs, pieceID); });
}

void Edits::toggleLocked(const QUuid& id)
{
    const Piece* p = m_studio.piece(id);
    record(p && p->isLocked ? tr("Unlock") : tr("Lock"), [&] { m_studio.toggleLocked(id); });
}

void Edits::toggleVisible(const QUuid& id)
{
    const Piece* p = m_studio.piece(id);
    record(p && p->isVisible ? tr("Hide Piece") : tr("Show Piece"), [&] { m_studio.toggleVisible(id); });
}

void Edits::setAllHidden(bool hidden)
{
    record(hidden ? tr("Hide All Pieces") : tr("Show All Pieces"), [&] { m_studio.setAllHidden(hidden); });
}

void Edits::lockAll(bool locked)
{
    record(locked ? tr("Lock All Pieces") : tr("Unlock All Pieces"), [&] { m_studio.lockAll(locked); });
}

void Edits::duplicate(const QUuid& id)
{
    record(tr("Duplicate"), [&] { m_studio.duplicate(id); });
}

void Edits::deletePiece(const QUuid& id)
{
    record(tr("Delete Piece"), [&] { m_studio.deletePiece(id); });
}

void Edits::updatePhoto(const QUuid& id, const QString& text, const std::function<void(Photo&)>& change, int mergeKey)
{
    const Photo* photo = m_studio.photo(id);
    if (!photo) return;
    const Photo before = *photo;
    m_studio.updatePhoto(id, change);
    const Photo* now = m_studio.photo(id);
    if (!now || *now == before) return;
    m_stack.push(new PhotoStep(m_studio, text, before, *now, mergeKey, m_generation));
}

} // namespace velora
