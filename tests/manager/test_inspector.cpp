#include "../storage/image_samples.h"
#include "editor_rig.h"
#include "editor_rules.h"
#include "inspector.h"
#include "library_picker.h"
#include "photo_list.h"
#include "prompts.h"
#include "testing.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QStyleOptionSlider>
#include <QToolButton>

using namespace velora;
using namespace velora::testing;
namespace Rules = velora::EditorRules;

namespace {

// A piece as an edit leaves it: where the desktop keeps it is the desktop's own business.
Piece placeless(Piece p)
{
    p.placements.clear();
    return p;
}

// The inspector on its own, tall enough that every control is on screen.
struct Editor {
    EditorRig rig;
    Inspector inspector{rig.app};
    PieceEditor* e = inspector.editor();

    Editor()
    {
        inspector.resize(Inspector::width, 1600);
        inspector.show();
        if (!QTest::qWaitForWindowExposed(&inspector)) qWarning("inspector not exposed");
    }

    int steps() { return rig.edits.stack().count(); }
    void undo() { rig.edits.stack().undo(); }
    void redo() { rig.edits.stack().redo(); }
};

QStringList comboTexts(const QComboBox* box)
{
    QStringList out;
    for (int i = 0; i < box->count(); ++i) out << box->itemText(i);
    return out;
}

// A drag of the slider's handle with the mouse, from where the handle is to `toX` (in the
// slider; beyond its ends the handle stops there, as it does for a person).
void dragSlider(QSlider* slider, int toX)
{
    QStyleOptionSlider option;
    option.initFrom(slider);
    option.orientation = slider->orientation();
    option.minimum = slider->minimum();
    option.maximum = slider->maximum();
    option.sliderPosition = slider->sliderPosition();
    option.sliderValue = slider->value();
    const QPoint handle = slider->style()
                              ->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, slider)
                              .center();
    QTest::mousePress(slider, Qt::LeftButton, {}, handle);
    const int steps = 8;
    for (int i = 1; i <= steps; ++i) QTest::mouseMove(slider, QPoint(handle.x() + (toX - handle.x()) * i / steps, handle.y()));
    QTest::mouseRelease(slider, Qt::LeftButton, {}, QPoint(toX, handle.y()));
}

// A drag of a photo row's handle by `dy` points with the mouse.
void dragRow(PhotoRow* row, int dy)
{
    QWidget* handle = row->handle();
    const QPoint start = handle->rect().center();
    QTest::mousePress(handle, Qt::LeftButton, {}, start);
    for (int i = 1; i <= 6; ++i) QTest::mouseMove(handle, start + QPoint(0, dy * i / 6));
    QTest::mouseRelease(handle, Qt::LeftButton, {}, start + QPoint(0, dy));
}

} // namespace

class TestInspector : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { Prompts::setHandler({}); }

    void emptyState()
    {
        Editor t;
        QVERIFY(!t.inspector.showsEditor());
        const Piece piece = t.rig.addPiece(t.rig.addPhotos(2));
        QVERIFY(t.inspector.showsEditor());
        QCOMPARE(t.e->pieceID(), piece.id);

        // Deleted elsewhere, a selection naming no piece, a reset of the pieces: the empty state,
        // never a stale editor.
        t.rig.edits.deletePiece(piece.id);
        QVERIFY(!t.inspector.showsEditor());
        t.undo();
        t.rig.studio.setSelectedPieceID(QUuid::createUuid());
        QVERIFY(!t.inspector.showsEditor());
        t.rig.studio.setSelectedPieceID(piece.id);
        QVERIFY(t.inspector.showsEditor());
        t.rig.studio.setPieces({});
        QVERIFY(!t.inspector.showsEditor());
        // Nothing is written by an editor without a piece.
        const int before = t.steps();
        t.e->widthSlider()->setValue(500);
        QCOMPARE(t.steps(), before);
    }

    // The pills follow changes made elsewhere; a run of typing is one step until editing finishes.
    void headerAndName()
    {
        Editor t;
        const Piece piece = t.rig.addPiece(t.rig.addPhotos(1));
        const QString drag = QStringLiteral("Drag it on the desktop. It snaps to the edges and a soft grid.");
        const QString through = QStringLiteral("Clicks pass straight through to your desktop.");
        const struct { bool hide, lock; QString visibility, locking, help; } states[] = {
            {false, false, "On desktop", "Movable", drag}, {false, true, "On desktop", "Locked", through},
            {true, false, "Hidden", "Locked", through},    {false, true, "Hidden", "Movable", drag}};
        for (const auto& s : states) {
            if (s.hide) t.rig.edits.toggleVisible(piece.id);
            if (s.lock) t.rig.edits.toggleLocked(piece.id);
            QCOMPARE(t.e->visibilityPill()->text(), s.visibility);
            QCOMPARE(t.e->visibilityPill()->accessibleName(), s.visibility);
            QCOMPARE(t.e->lockPill()->text(), s.locking);
            QCOMPARE(t.e->helpLine()->text(), s.help);
        }
        t.rig.edits.stack().clear();

        QLineEdit* name = t.e->nameField();
        name->setFocus();
        name->selectAll();
        QTest::keyClicks(name, QStringLiteral("Dunes"));
        QCOMPARE(t.steps(), 1);
        QVERIFY(t.rig.studio.savePending()); // saved with the usual delay
        QTest::keyClick(name, Qt::Key_Return);
        QTest::keyClicks(name, QStringLiteral(" at dusk"));
        QCOMPARE(t.steps(), 2);
        t.undo();
        QCOMPARE(name->text(), QStringLiteral("Dunes"));
        QCOMPARE(t.rig.stored(piece.id).name, QStringLiteral("Dunes"));
    }

    // Drags past the ends give exactly the ends, each drag one step, each key press one step; a
    // stored value outside the range is shown as it is and not written until moved.
    void slidersAndTheirEnds()
    {
        Editor t;
        const Piece piece = t.rig.addPiece(t.rig.addPhotos(2));
        QSlider* width = t.e->widthSlider();
        QSlider* tilt = t.e->tiltSlider();
        QCOMPARE(t.e->widthReadout()->text(), QStringLiteral("300"));
        QSignalSpy moves(width, &QSlider::valueChanged);
        dragSlider(width, width->width() + 200);
        QVERIFY(moves.size() > 3);
        QCOMPARE(t.rig.stored(piece.id).width, 1100.0);
        QCOMPARE(t.e->widthReadout()->text(), QStringLiteral("1100"));
        dragSlider(width, -200);
        QCOMPARE(t.rig.stored(piece.id).width, 140.0);
        dragSlider(tilt, -100);
        QCOMPARE(t.rig.stored(piece.id).tilt, -12.0);
        dragSlider(tilt, tilt->width() * 3);
        QCOMPARE(t.rig.stored(piece.id).tilt, 12.0);
        QCOMPARE(t.e->tiltReadout()->text(), QStringLiteral("12.0\u00b0"));
        QCOMPARE(t.steps(), 4);
        width->setFocus();
        QTest::keyClick(width, Qt::Key_Right);
        QTest::keyClick(width, Qt::Key_Right);
        QCOMPARE(t.rig.stored(piece.id).width, 142.0);
        QCOMPARE(t.steps(), 6);

        // As a state file might have it.
        t.rig.studio.update(piece.id, [](Piece& p) {
            p.width = 2400;
            p.tilt = -30;
        });
        QCOMPARE(t.e->widthReadout()->text(), QStringLiteral("2400"));
        QCOMPARE(width->value(), 1100);
        QCOMPARE(t.e->tiltReadout()->text(), QStringLiteral("\u221230.0\u00b0"));
        QVERIFY(t.e->sizeNote()->isVisible());
        QCOMPARE(t.steps(), 6);
        // The end key at the end moves nothing; a step down sets a width in the range.
        QTest::keyClick(width, Qt::Key_End);
        QCOMPARE(t.rig.stored(piece.id).width, 2400.0);
        QTest::keyClick(width, Qt::Key_Left);
        QCOMPARE(t.rig.stored(piece.id).width, 1099.0);
        QVERIFY(t.e->sizeNote()->isVisible()); // the tilt still is outside
        t.e->straightenButton()->click();
        QVERIFY(!t.e->sizeNote()->isVisible());
    }

    // Uniform in [-5, 5], never more than one decimal.
    void randomTilt()
    {
        Editor t;
        const Piece piece = t.rig.addPiece(t.rig.addPhotos(3), CollageLayout::stack);
        double low = 0, high = 0, sum = 0;
        QSet<double> seen;
        const int draws = 10'000;
        for (int i = 0; i < draws; ++i) {
            t.e->randomTiltButton()->click();
            const double value = t.rig.stored(piece.id).tilt;
            QVERIFY(value >= -5.0 && value <= 5.0);
            QCOMPARE(Rules::roundTenth(value), value);
            low = std::min(low, value);
            high = std::max(high, value);
            sum += value;
            seen.insert(value);
        }
        QVERIFY(low <= -4.8 && high >= 4.8);
        QVERIFY(std::abs(sum / draws) < 0.2);
        QVERIFY(seen.size() > 90); // 101 values in all
        QCOMPARE(t.e->tiltSlider()->value(), Rules::tiltPosition(t.rig.stored(piece.id).tilt));
    }

    void layoutsAndFrames()
    {
        Editor t;
        const QList<Photo> photos = t.rig.addPhotos(3);
        const Piece piece = t.rig.addPiece(photos, CollageLayout::row);
        for (const CollageLayout layout : allCollageLayouts) {
            QAbstractButton* tile = t.e->layoutTile(layout);
            QTest::mouseClick(tile, Qt::LeftButton);
            QCOMPARE(t.rig.stored(piece.id).layout, layout);
            QVERIFY(tile->isChecked());
            QCOMPARE(t.e->acrossButton()->isVisible(), layout == CollageLayout::frieze);
            QCOMPARE(t.e->layoutNote()->isVisible(), layout == CollageLayout::single);
            QCOMPARE(t.e->frameNote()->isVisible(), layout == CollageLayout::stack);
        }
        QCOMPARE(t.steps(), 6);
        QTest::mouseClick(t.e->layoutTile(CollageLayout::single), Qt::LeftButton);
        QVERIFY(t.e->layoutNote()->text().endsWith(QStringLiteral("cycle through all 3"))); // the piece's own count

        for (const FrameStyle style : allFrameStyles) {
            QAbstractButton* tile = t.e->frameTile(style);
            QTest::mouseClick(tile, Qt::LeftButton);
            QCOMPARE(t.rig.stored(piece.id).frame, style);
            QVERIFY(tile->isChecked());
        }
    }

    void photoList()
    {
        Editor t;
        const QList<Photo> photos = t.rig.addPhotos(4);
        Piece piece = t.rig.addPiece(photos.mid(0, 3));
        PhotoList* list = t.e->photoList();
        const auto rowIDs = [&] {
            QList<QUuid> out;
            for (PhotoRow* r : list->rows()) out << r->photoID();
            return out;
        };
        QCOMPARE(rowIDs(), idsOf(photos.mid(0, 3)));
        PhotoRow* first = list->rows()[0];
        QVERIFY(!first->removeButton()->accessibleName().isEmpty());

        // Dragged below the third row: photoIDs reorder the same way, in one step.
        dragRow(first, 2 * (PhotoRow::rowHeight + PhotoList::spacing) + 5);
        const QList<QUuid> moved{photos[1].id, photos[2].id, photos[0].id};
        QCOMPARE(t.rig.stored(piece.id).photoIDs, moved);
        QCOMPARE(rowIDs(), moved);
        QCOMPARE(list->rows()[2], first); // the same row, moved
        QCOMPARE(t.steps(), 1);
        // A press and release without a move reorders nothing.
        dragRow(list->rows()[0], 0);
        QCOMPARE(t.steps(), 1);
        // From the keyboard: Alt+Up on a row's handle and in its caption field.
        list->rows()[2]->handle()->setFocus();
        QTest::keyClick(list->rows()[2]->handle(), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(t.rig.stored(piece.id).photoIDs, (QList<QUuid>{photos[1].id, photos[0].id, photos[2].id}));
        QVERIFY(first->handle()->hasFocus()); // focus stays with the moved row
        QTest::keyClick(first->captionField(), Qt::Key_Up, Qt::AltModifier);
        QCOMPARE(t.rig.stored(piece.id).photoIDs, idsOf(photos.mid(0, 3)));
        QCOMPARE(rowIDs(), idsOf(photos.mid(0, 3)));
        QCOMPARE(t.steps(), 3);

        // A photo's own caption is the library record's, one step per run of typing.
        PhotoRow* second = list->rows()[1];
        second->captionField()->setFocus();
        QTest::keyClicks(second->captionField(), QStringLiteral("Low tide"));
        QCOMPARE(t.rig.studio.photo(photos[1].id)->caption, QStringLiteral("Low tide"));
        QCOMPARE(t.steps(), 4);
        t.undo();
        QCOMPARE(t.rig.studio.photo(photos[1].id)->caption, QString());
        QCOMPARE(second->captionField()->text(), QString());
        // Changed elsewhere (the library page): the field follows.
        t.rig.studio.updatePhoto(photos[0].id, [](Photo& p) { p.caption = QStringLiteral("Ridge"); });
        QCOMPARE(list->rows()[0]->captionField()->text(), QStringLiteral("Ridge"));

        // Removing takes the identifier out of the piece; the photo stays in the library.
        QTest::mouseClick(list->rows()[1]->removeButton(), Qt::LeftButton);
        QCOMPARE(t.rig.stored(piece.id).photoIDs, (QList<QUuid>{photos[0].id, photos[2].id}));
        QVERIFY(t.rig.studio.photo(photos[1].id));
        QCOMPARE(list->rows().size(), 2);
        // The last one gone: a piece without photos, and no panel.
        QCoreApplication::processEvents();
        QVERIFY(t.rig.log[piece.id]);
        QTest::mouseClick(list->rows()[1]->removeButton(), Qt::LeftButton);
        QTest::mouseClick(list->rows()[0]->removeButton(), Qt::LeftButton);
        QVERIFY(t.rig.stored(piece.id).photoIDs.isEmpty());
        QVERIFY(list->rows().isEmpty());
        QCOMPARE(t.e->photosNote()->text(), QStringLiteral("No photos yet. Use + to add some."));
        QCOMPARE(t.e->slideshowNote()->text(), QStringLiteral("Add more photos to use a slideshow."));
        QVERIFY(!t.e->nextPhotoButton()->isVisible());
        QCoreApplication::processEvents();
        QVERIFY(!t.rig.log[piece.id]);
        QVERIFY(t.rig.studio.piece(piece.id));
    }

    void addFromLibrary()
    {
        Editor t;
        const QList<Photo> photos = t.rig.addPhotos(4);
        const Piece piece = t.rig.addPiece(photos.mid(0, 2));
        QCOMPARE(t.e->addButton()->accessibleName(), QStringLiteral("Add photos"));
        QStringList items;
        for (QAction* a : t.e->addButton()->menu()->actions()) items << a->text();
        QCOMPARE(items, (QStringList{QStringLiteral("From Library\u2026"), QStringLiteral("From Files\u2026")}));

        t.e->addButton()->menu()->actions()[0]->trigger();
        LibraryPicker* picker = t.e->libraryPicker();
        QVERIFY(picker);
        QVERIFY(!picker->showsEmptyText());
        QCOMPARE(picker->view()->model()->rowCount(), 4);
        // Photos already in the piece count as chosen already.
        QItemSelectionModel* selection = picker->view()->selectionModel();
        for (int r : {0, 2, 3}) selection->select(picker->view()->model()->index(r, 0), QItemSelectionModel::Select);
        QCOMPARE(picker->chosen(), (QList<QUuid>{photos[2].id, photos[3].id}));
        QVERIFY(picker->addButton()->isEnabled());
        QTest::mouseClick(picker->addButton(), Qt::LeftButton);
        QCOMPARE(t.rig.stored(piece.id).photoIDs, idsOf(photos));
        QCOMPARE(t.steps(), 1);
        QTRY_VERIFY(!t.e->libraryPicker());
        QCOMPARE(t.e->photoList()->rows().size(), 4);

        // From files: imported into the library and added to the piece, one step.
        const QString a = t.rig.dir.filePath("a.jpg"), b = t.rig.dir.filePath("b.jpg");
        samples::writeBytes(a, samples::encode(samples::picture(320, 200), "jpeg"));
        samples::writeBytes(b, samples::encode(samples::picture(200, 320), "jpeg"));
        t.rig.studio.setFileChooser([&] { return QStringList{a, b}; });
        t.e->addButton()->menu()->actions()[1]->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(t.rig.stored(piece.id).photoIDs.size(), 6, 20000);
        QCOMPARE(t.steps(), 2);
        QCOMPARE(t.e->photoList()->rows().size(), 6);

        // An empty library says so.
        QSet<QUuid> all;
        for (const Photo& p : t.rig.studio.photos()) all.insert(p.id);
        t.rig.studio.removeFromLibrary(all);
        t.e->openLibraryPicker();
        QVERIFY(t.e->libraryPicker()->showsEmptyText());
        QVERIFY(!t.e->libraryPicker()->addButton()->isEnabled());
        // Its piece deleted elsewhere: the sheet goes.
        t.rig.studio.deletePiece(piece.id);
        QTRY_VERIFY(!t.e->libraryPicker());
    }

    void slideshow()
    {
        Editor t;
        const QList<Photo> photos = t.rig.addPhotos(2);
        const Piece piece = t.rig.addPiece(photos.mid(0, 1), CollageLayout::single);
        QComboBox* interval = t.e->intervalPicker();
        QCOMPARE(interval->count(), 8);
        QCOMPARE(interval->currentText(), QStringLiteral("Off"));
        QCOMPARE(t.e->slideshowNote()->text(), QStringLiteral("Add more photos to use a slideshow."));
        QVERIFY(!t.e->nextPhotoButton()->isVisible());

        interval->setFocus();
        QTest::keyClick(interval, Qt::Key_Down);
        QTest::keyClick(interval, Qt::Key_Down);
        QCOMPARE(t.rig.stored(piece.id).rotateMinutes, 5);
        QCOMPARE(t.steps(), 2);

        t.rig.edits.add({photos[1].id}, piece.id);
        QCOMPARE(t.e->slideshowNote()->text(), QStringLiteral("Crossfades to the next photo."));
        QVERIFY(t.e->nextPhotoButton()->isVisible());
        QTest::mouseClick(t.e->layoutTile(CollageLayout::row), Qt::LeftButton);
        QCOMPARE(t.e->slideshowNote()->text(), QStringLiteral("Crossfades to a new order of the photos."));
        const int steps = t.steps();
        QTest::mouseClick(t.e->nextPhotoButton(), Qt::LeftButton);
        QCOMPARE(t.rig.studio.tick(piece.id), 1);
        QCOMPARE(t.steps(), steps); // a slideshow step, not an edit

        // An interval from an edited file is shown and kept.
        t.rig.studio.update(piece.id, [](Piece& p) { p.rotateMinutes = 7; });
        QCOMPARE(interval->currentText(), QStringLiteral("Every 7 minutes"));
        QCOMPARE(interval->count(), 9);
        QCOMPARE(t.rig.stored(piece.id).rotateMinutes, 7);
        QCOMPARE(t.steps(), steps);
    }

    void displayDuplicateAndDelete()
    {
        Editor t;
        const Piece piece = t.rig.addPiece(t.rig.addPhotos(1));
        QComboBox* display = t.e->displayPicker();
        // The fake screens' keys name no real screen: they are shown as they are.
        QCOMPARE(comboTexts(display), (QStringList{"Main display", "MAIN", "LEFT"}));
        QCOMPARE(display->currentIndex(), 0);
        display->setFocus();
        QTest::keyClick(display, Qt::Key_Down);
        QTest::keyClick(display, Qt::Key_Down);
        QCOMPARE(t.rig.stored(piece.id).displayID, std::optional<QString>(QStringLiteral("LEFT")));
        QTest::keyClick(display, Qt::Key_Home);
        QCOMPARE(t.rig.stored(piece.id).displayID, std::nullopt);

        // The screen goes away: its key is kept, shown as not connected, and stays chosen.
        QTest::keyClick(display, Qt::Key_End);
        t.rig.screens.set({mainDisplay()});
        QCOMPARE(comboTexts(display), (QStringList{"Main display", "MAIN", "LEFT (not connected)"}));
        QCOMPARE(display->currentIndex(), 2);
        QCOMPARE(t.rig.stored(piece.id).displayID, std::optional<QString>(QStringLiteral("LEFT")));

        QTest::mouseClick(t.e->duplicateButton(), Qt::LeftButton);
        QCOMPARE(t.rig.studio.pieces().size(), 2);
        const QUuid copy = t.rig.studio.pieces().back().id;
        QCOMPARE(t.e->pieceID(), copy); // the copy is selected and edited
        QCOMPARE(t.e->nameField()->text(), QStringLiteral("Beach copy"));

        QList<Prompts::Question> asked;
        bool answer = false;
        Prompts::setHandler([&](QWidget*, const Prompts::Question& q) {
            asked << q;
            return answer;
        });
        QTest::mouseClick(t.e->deleteButton(), Qt::LeftButton);
        QCOMPARE(asked.size(), 1);
        QCOMPARE(asked[0].title, QStringLiteral("Delete Piece"));
        QVERIFY(t.rig.studio.piece(copy));
        answer = true;
        QTest::mouseClick(t.e->deleteButton(), Qt::LeftButton);
        QVERIFY(!t.rig.studio.piece(copy));
        QVERIFY(!t.inspector.showsEditor());
        QCOMPARE(t.rig.studio.photos().size(), 1);
        QVERIFY(t.rig.studio.piece(piece.id));
    }

    // Every kind of edit, undone and redone through the one stack.
    void undoRedo_data()
    {
        QTest::addColumn<QString>("kind");
        for (const char* kind : {"layout", "direction", "frame", "width", "tilt", "random", "straighten", "shuffle", "name",
                                 "caption", "interval", "display", "reorder", "remove", "add"})
            QTest::newRow(kind) << QString::fromLatin1(kind);
    }
    void undoRedo()
    {
        QFETCH(QString, kind);
        Editor t;
        const QList<Photo> photos = t.rig.addPhotos(4);
        const Piece piece = t.rig.addPiece(photos.mid(0, 3), CollageLayout::frieze);
        t.rig.studio.update(piece.id, [](Piece& p) { p.tilt = 2; });
        const Piece before = t.rig.stored(piece.id);
        const QHash<QString, std::function<void()>> act{
            {"layout", [&] { t.e->layoutTile(CollageLayout::justified)->click(); }},
            {"direction", [&] { t.e->downButton()->click(); }},
            {"frame", [&] { t.e->frameTile(FrameStyle::tape)->click(); }},
            {"width", [&] { dragSlider(t.e->widthSlider(), t.e->widthSlider()->width() / 2); }},
            {"tilt", [&] { dragSlider(t.e->tiltSlider(), 10); }},
            {"random", [&] {
                 do t.e->randomTiltButton()->click();
                 while (t.steps() == 0);
             }},
            {"straighten", [&] { t.e->straightenButton()->click(); }},
            {"shuffle", [&] { t.e->shuffleButton()->click(); }},
            {"name", [&] { QTest::keyClicks(t.e->nameField(), QStringLiteral(" trip")); }},
            {"caption", [&] { QTest::keyClicks(t.e->captionField(), QStringLiteral("Late")); }},
            {"interval", [&] { t.e->intervalPicker()->activated(5); }},
            {"display", [&] { t.e->displayPicker()->activated(2); }},
            {"reorder", [&] { t.e->photoList()->step(t.e->photoList()->rows()[0], 1); }},
            {"remove", [&] { t.e->photoList()->rows()[1]->removeButton()->click(); }},
            {"add", [&] {
                 t.e->openLibraryPicker();
                 t.e->libraryPicker()->view()->selectionModel()->select(t.rig.photos.index(3, 0), QItemSelectionModel::Select);
                 t.e->libraryPicker()->addChosen();
             }},
        };
        act[kind]();
        QCOMPARE(t.steps(), 1);
        const Piece after = placeless(t.rig.stored(piece.id));
        QVERIFY(!(after == placeless(before)));
        QCoreApplication::processEvents();
        QCOMPARE(placeless(t.rig.log[piece.id]->lastView.piece), after); // on the desktop at once
        t.undo();
        QCOMPARE(t.rig.stored(piece.id), before);
        t.redo();
        QCOMPARE(placeless(t.rig.stored(piece.id)), after);
        // The controls show what is stored; refreshing writes nothing back.
        t.undo();
        t.e->refresh();
        QCOMPARE(t.steps(), 1);
        QCOMPARE(t.rig.edits.stack().index(), 0);
        QCOMPARE(t.e->widthSlider()->value(), Rules::widthPosition(before.width));
        QCOMPARE(t.e->tiltSlider()->value(), Rules::tiltPosition(before.tilt));
        QCOMPARE(t.e->nameField()->text(), before.name);
        QVERIFY(t.e->layoutTile(before.layout)->isChecked());
    }

    void keyboardAndNames()
    {
        Editor t;
        t.rig.addPiece(t.rig.addPhotos(2));
        // Tab walks the editor in the order it reads, from the name to Delete; a set of choices is
        // one stop, at its current choice.
        QList<QWidget*> expected{t.e->nameField(), t.e->addButton()};
        for (PhotoRow* r : t.e->photoList()->rows()) expected << r->handle() << r->captionField() << r->removeButton();
        expected << t.e->layoutTile(CollageLayout::row) << t.e->frameTile(FrameStyle::gallery);
        expected << t.e->widthSlider() << t.e->tiltSlider() << t.e->randomTiltButton() << t.e->straightenButton()
                 << t.e->shuffleButton() << t.e->captionField() << t.e->intervalPicker() << t.e->nextPhotoButton()
                 << t.e->displayPicker() << t.e->duplicateButton() << t.e->deleteButton();
        t.inspector.activateWindow();
        t.e->nameField()->setFocus();
        QList<QWidget*> walked{QApplication::focusWidget()};
        for (int i = 1; i < expected.size(); ++i) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
            walked << QApplication::focusWidget();
        }
        QCOMPARE(walked, expected);

        // The arrow keys choose within a set.
        QWidget* row = t.e->layoutTile(CollageLayout::row);
        row->setFocus(Qt::TabFocusReason);
        QTest::keyClick(row, Qt::Key_Right);
        QCOMPARE(t.rig.stored(t.e->pieceID()).layout, CollageLayout::column);
        QVERIFY(t.e->layoutTile(CollageLayout::column)->hasFocus());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Down);
        QCOMPARE(t.rig.stored(t.e->pieceID()).layout, CollageLayout::frieze);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        QVERIFY(t.e->acrossButton()->hasFocus());

        // Controls without words have names.
        for (QWidget* w : expected) {
            const auto* button = qobject_cast<QAbstractButton*>(w);
            if (button && !button->text().isEmpty()) continue;
            if (qobject_cast<QLineEdit*>(w) || qobject_cast<QComboBox*>(w)) continue;
            QVERIFY2(!w->accessibleName().isEmpty(), w->metaObject()->className());
        }
        QCOMPARE(t.e->photoList()->rows()[0]->handle()->accessibleName(), QStringLiteral("Photo 1"));
    }
};

VELORA_TEST(TestInspector)
#include "test_inspector.moc"
