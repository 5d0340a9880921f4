// Undo and redo of every kind of change the user makes to pieces, and the models that follow the
// Studio item by item.
#include "desktop/fakes.h"
#include "testing.h"

#include "edits.h"
#include "models.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

using namespace velora;
using namespace velora::testing;

namespace {

// Undoes every step, checking the pieces and the hide-all switch went back through each state,
// then redoes them all, checking the same going forward.
void checkRoundTrip(Edits& edits, const QList<QList<Piece>>& states, const QList<bool>& hidden)
{
    Studio& s = edits.studio();
    QUndoStack& stack = edits.stack();
    QCOMPARE(stack.count(), states.size() - 1);
    for (qsizetype i = states.size() - 1; i > 0; --i) {
        QCOMPARE(s.pieces(), states[i]);
        QCOMPARE(s.allHidden(), hidden[i]);
        stack.undo();
    }
    QCOMPARE(s.pieces(), states[0]);
    QCOMPARE(s.allHidden(), hidden[0]);
    for (qsizetype i = 1; i < states.size(); ++i) {
        stack.redo();
        QCOMPARE(s.pieces(), states[i]);
        QCOMPARE(s.allHidden(), hidden[i]);
    }
}

} // namespace

class TestEdits : public QObject {
    Q_OBJECT

private slots:
    void everyKindOfChangeUndoesAndRedoes()
    {
        Rig rig;
        Studio& s = rig.studio;
        QAbstractItemModelTester pieceModel(new PieceListModel(s, this), QAbstractItemModelTester::FailureReportingMode::QtTest);
        Edits edits(s);
        const auto photos = rig.addPhotos({{600, 400}, {400, 600}, {500, 500}});
        QList<QList<Piece>> states{s.pieces()};
        QList<bool> hidden{s.allHidden()};
        const auto step = [&] {
            states.append(s.pieces());
            hidden.append(s.allHidden());
        };

        const Piece a = edits.newPiece({photos[0].id});
        step();
        const Piece b = edits.newPiece({photos[1].id, photos[2].id});
        step();
        edits.add({photos[1].id, photos[2].id}, a.id);
        step();
        QCOMPARE(s.piece(a.id)->layout, CollageLayout::row);
        edits.toggleLocked(a.id);
        step();
        edits.toggleVisible(b.id);
        step();
        edits.setAllHidden(true);
        step();
        edits.toggleVisible(b.id); // showing one piece ends hiding all: both undo together
        step();
        QVERIFY(!s.allHidden());
        edits.lockAll(true);
        step();
        edits.duplicate(a.id);
        step();
        edits.deletePiece(a.id); // the first row: undo puts it back there
        step();
        edits.update(b.id, "Reorder", [](Piece& p) { std::reverse(p.photoIDs.begin(), p.photoIDs.end()); });
        step();
        // A desktop drag records the display and the placement as one step.
        rig.controller.setEditRecorder([&](const QString& text, const std::function<void()>& change) { edits.record(text, change); });
        rig.controller.recordEdit("Move Piece", [&] {
            s.update(b.id, [](Piece& p) { p.displayID = "MAIN"; });
            rig.controller.savePlacement(b.id, {120.4, 80.6}, mainDisplay());
        });
        step();
        QCOMPARE(s.piece(b.id)->placements.value("MAIN"), (Point{120, 81}));

        checkRoundTrip(edits, states, hidden);
        // Nothing changed, nothing recorded.
        const int before = edits.stack().count();
        edits.update(b.id, "Nothing", [](Piece&) {});
        edits.toggleLocked(QUuid::createUuid());
        QCOMPARE(edits.stack().count(), before);
    }

    // Merged drags undo to where they began; one that ends there leaves no step at all. (Drags and
    // typing in the inspector's controls: its tests.)
    void mergedStepsUndoWhole()
    {
        Rig rig;
        Edits edits(rig.studio);
        const Piece p = edits.newPiece({});
        for (int w = 300; w <= 700; w += 50)
            edits.update(p.id, "Width", [w](Piece& x) { x.width = w; }, Edits::widthKey);
        edits.closeMerge();
        edits.update(p.id, "Tilt", [](Piece& x) { x.tilt = 4; }, Edits::tiltKey);
        edits.update(p.id, "Tilt", [](Piece& x) { x.tilt = 0; }, Edits::tiltKey);
        QCOMPARE(edits.stack().count(), 2);
        edits.stack().undo();
        QCOMPARE(rig.studio.piece(p.id)->width, p.width);
    }

    void modelsFollowTheStudioRowByRow()
    {
        Rig rig;
        Studio& s = rig.studio;
        auto* pieces = new PieceListModel(s, this);
        auto* photos = new PhotoListModel(s, this);
        QAbstractItemModelTester t1(pieces, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QAbstractItemModelTester t2(photos, QAbstractItemModelTester::FailureReportingMode::QtTest);
        QSignalSpy pieceRows(pieces, &QAbstractItemModel::dataChanged);
        QSignalSpy resets(pieces, &QAbstractItemModel::modelReset);

        const auto ph = rig.addPhotos({{600, 0}, {400, 600}, {500, 500}, {300, 300}});
        QCOMPARE(photos->rowCount(), 4);
        QCOMPARE(photos->index(0).data(PhotoListModel::AspectRole).toDouble(), 1.0); // no height: square
        QCOMPARE(photos->index(1).data(PhotoListModel::AspectRole).toDouble(), 400.0 / 600.0);

        const Piece a = s.newPiece({ph[0].id, ph[1].id});
        const Piece b = s.newPiece({ph[1].id});
        QCOMPARE(photos->index(1).data(PhotoListModel::UsageRole).toInt(), 2);
        QCOMPARE(pieces->index(1).data(PieceListModel::IdRole).toUuid(), b.id);
        QCOMPARE(pieces->index(0).data(PieceListModel::StatusRole).toString(), QStringLiteral("Row · 2 photos · Gallery"));

        // One change, one row.
        pieceRows.clear();
        s.toggleLocked(b.id);
        QCOMPARE(pieceRows.size(), 1);
        QCOMPARE(pieceRows[0][0].toModelIndex().row(), 1);
        QCOMPARE(pieces->index(1).data(PieceListModel::StatusRole).toString(), QStringLiteral("Single · 1 photo · Gallery · Locked"));
        s.setAllHidden(true);
        QCOMPARE(pieces->index(0).data(PieceListModel::ShownRole).toBool(), false);
        QVERIFY(pieces->index(0).data(PieceListModel::StatusRole).toString().endsWith("Hidden with all pieces"));

        // Removing photos from the library: rows go in runs, usage follows, pieces change.
        s.setLibrarySelection({ph[2].id, ph[1].id});
        s.removeFromLibrary({ph[1].id, ph[3].id});
        QCOMPARE(photos->rowCount(), 2);
        QCOMPARE(photos->index(1).data(PhotoListModel::IdRole).toUuid(), ph[2].id);
        QCOMPARE(photos->index(1).data(PhotoListModel::SelectedRole).toBool(), true);
        QCOMPARE(s.librarySelection(), QSet<QUuid>{ph[2].id});
        QCOMPARE(pieces->index(0).data(PieceListModel::PhotoCountRole).toInt(), 1);

        // Deletions and re-insertions keep rows and ids in step; a full replacement resets.
        s.insertPiece(0, Piece::make("Front", {}));
        s.deletePiece(a.id);
        QCOMPARE(pieces->rowCount(), 2);
        QCOMPARE(pieces->id(0), s.pieces()[0].id);
        QCOMPARE(pieces->id(1), b.id);
        QCOMPARE(resets.size(), 0);
        s.setPieces({});
        QCOMPARE(resets.size(), 1);
        QCOMPARE(pieces->rowCount(), 0);
    }
};

VELORA_TEST(TestEdits)
#include "test_edits.moc"
