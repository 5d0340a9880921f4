// The library page against a real Studio on a temporary library of real (tiny) image files.
#include "editor_rig.h"
#include "file_manager.h"
#include "image_store.h"
#include "layout.h"
#include "library_page.h"
#include "prompts.h"
#include "storage/image_samples.h"
#include "testing.h"

#include <QAccessible>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QScrollBar>
#include <QToolButton>

#include <memory>

using namespace velora;
using namespace velora::testing;

namespace {

struct PageRig : EditorRig {
    std::unique_ptr<LibraryPage> page;

    LibraryPage& show(QSize size = {900, 640})
    {
        page = std::make_unique<LibraryPage>(app);
        page->resize(size);
        page->show();
        if (!QTest::qWaitForWindowExposed(page.get())) qWarning("page not exposed");
        QCoreApplication::processEvents();
        return *page;
    }
    LibraryGrid& grid() { return *page->grid(); }
    QModelIndex index(int row) { return photos.index(row); }

    // Real files: a JPEG and its thumbnail per photo, titled "Photo <n>".
    QList<Photo> store(const QList<QSize>& sizes, const std::optional<QString>& original = std::nullopt)
    {
        QList<Photo> made;
        for (const QSize& s : sizes) {
            const auto p = ImageStore::store(samples::picture(s.width(), s.height()),
                                             QStringLiteral("Photo %1").arg(studio.photos().size() + made.size()),
                                             original, std::nullopt);
            if (p) made.append(*p);
        }
        studio.appendPhotos(made);
        return made;
    }
    QList<Photo> store(int n, QSize size = {60, 40}) { return store(QList<QSize>(n, size)); }

    QList<int> selectedRows() const
    {
        QList<int> rows;
        for (int r = 0; r < photos.rowCount(); ++r)
            if (studio.librarySelection().contains(photos.id(r))) rows.append(r);
        return rows;
    }

    void click(int row, Qt::KeyboardModifiers mods = {})
    {
        QTest::mouseClick(grid().viewport(), Qt::LeftButton, mods, grid().visualRect(index(row)).center());
    }
    void key(Qt::Key k, Qt::KeyboardModifiers mods = {}) { QTest::keyClick(&grid(), k, mods); }
};

std::vector<double> aspectsOf(const QList<Photo>& photos)
{
    std::vector<double> out;
    for (const Photo& p : photos) out.push_back(p.pixelHeight >= 1 ? double(p.pixelWidth) / double(p.pixelHeight) : 1.0);
    return out;
}

QList<QString> menuTexts(QMenu* menu)
{
    QList<QString> texts;
    for (QAction* a : menu->actions()) texts.append(a->isSeparator() ? QStringLiteral("--") : a->text());
    return texts;
}

} // namespace

class TestLibrary : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        Prompts::setHandler([](QWidget*, const Prompts::Question& q) {
            qWarning("unexpected question: %s", qPrintable(q.title));
            return false;
        });
        FileManager::setHandler([](const QString&) {});
    }

    void cleanup()
    {
        Prompts::setHandler({});
        FileManager::setHandler({});
    }

    void headerAndDropHint()
    {
        PageRig rig;
        LibraryPage& page = rig.show();
        QVERIFY(page.showsDropHint());
        // The shared commands: the picker on this page, the file chooser.
        int chooserCalls = 0;
        rig.studio.setFileChooser([&] {
            ++chooserCalls;
            return QStringList();
        });
        QTest::mouseClick(page.fromPhotosButton(), Qt::LeftButton);
        QVERIFY(rig.studio.showPhotosPicker());
        QCOMPARE(rig.studio.page(), Page::library);
        QTest::mouseClick(page.addPhotosButton(), Qt::LeftButton);
        QCOMPARE(chooserCalls, 1);

        for (const auto& [add, count] : {std::pair{1, "1 photo "}, {1, "2 photos "}, {10, "12 photos "}}) {
            rig.store(add);
            QVERIFY2(page.subtitleLabel()->text().startsWith(QString::fromUtf8(count)), qPrintable(page.subtitleLabel()->text()));
            QVERIFY(!page.showsDropHint());
        }
        QCOMPARE(LibraryPage::subtitle(2000), QStringLiteral("2000 photos · shown at their real proportions"));
        QSet<QUuid> all;
        for (const Photo& p : rig.studio.photos()) all.insert(p.id);
        rig.studio.removeFromLibrary(all);
        QVERIFY(page.showsDropHint());
    }

    void gridFramesFollowTheLayoutMath_data()
    {
        QTest::addColumn<QList<QSize>>("sizes");
        QTest::addColumn<int>("zeroHeightRow"); // -1: none
        QTest::newRow("one photo spans the width") << QList<QSize>{{90, 60}} << -1;
        QTest::newRow("a photo without height is a square")
            << QList<QSize>{{90, 60}, {40, 80}, {60, 60}, {100, 50}, {60, 90}} << 2;
        QList<QSize> many;
        for (int i = 0; i < 40; ++i) many.append(QSize(40 + (i * 37) % 90, 40 + (i * 53) % 70));
        QTest::newRow("forty, last row not centred") << many << -1;
    }

    void gridFramesFollowTheLayoutMath()
    {
        QFETCH(QList<QSize>, sizes);
        QFETCH(int, zeroHeightRow);
        PageRig rig;
        QList<Photo> photos = rig.store(sizes);
        if (zeroHeightRow >= 0) {
            rig.studio.updatePhoto(photos[zeroHeightRow].id, [](Photo& p) { p.pixelHeight = 0; });
            photos[zeroHeightRow].pixelHeight = 0;
        }
        rig.show();
        LibraryGrid& grid = rig.grid();

        const auto check = [&] {
            const double width = grid.layoutWidth();
            const Arrangement expected = LayoutMath::justified(aspectsOf(photos), width, 190, 12, false);
            QCOMPARE(int(expected.tiles.size()), photos.size());
            for (const PlacedTile& t : expected.tiles) {
                const QRectF f = grid.tileFrame(t.index);
                QCOMPARE(f, QRectF(t.frame.x, t.frame.y, t.frame.width, t.frame.height));
                QCOMPARE(grid.visualRect(rig.index(t.index)),
                         f.translated(LibraryGrid::sideMargin, LibraryGrid::topMargin - grid.verticalScrollBar()->value())
                             .toAlignedRect());
            }
            QCOMPARE(grid.layoutHeight(), expected.size.height);
        };
        check();
        // The viewport less the margins, and less room for the scroll bar while it is hidden.
        const int room = grid.viewport()->width() - 2 * LibraryGrid::sideMargin;
        QVERIFY(grid.layoutWidth() <= room && grid.layoutWidth() >= room - 24);

        // A resize lays out once, for the new width.
        const int before = grid.layouts();
        rig.page->resize(rig.page->width() - 137, rig.page->height());
        QCoreApplication::processEvents();
        check();
        QCOMPARE(grid.layouts(), before + 1);
    }

    void onlyTilesInViewPaintAndLoad()
    {
        PageRig rig;
        const QList<Photo> photos = rig.store(300);
        rig.show({900, 600});
        LibraryGrid& grid = rig.grid();
        grid.images().waitForIdle();
        grid.viewport()->repaint();
        const int seen = grid.indexAt(QPoint(grid.viewport()->width() / 2, grid.viewport()->height() - 1)).row();
        QVERIFY(grid.paintedTiles() > 0);
        QVERIFY2(grid.paintedTiles() <= seen + 10, qPrintable(QString::number(grid.paintedTiles())));
        // This screen and the next are made, not the whole library.
        const int made = grid.images().count();
        QVERIFY(made > seen);
        QVERIFY2(made < 120, qPrintable(QString::number(made)));

        // Scrolled to the end: the last tiles come, the first ones are no longer asked for.
        grid.verticalScrollBar()->setValue(grid.verticalScrollBar()->maximum());
        grid.images().waitForIdle();
        QSize pixels;
        QVERIFY(!grid.images().tile(photos.last().id, &pixels).isNull());
        const QRectF last = grid.tileFrame(299);
        QVERIFY(std::abs(pixels.width() - last.width()) <= 1 && std::abs(pixels.height() - last.height()) <= 1);
        QCOMPARE(grid.images().queued(), 0);
    }

    void tilesShowThePhotosUncropped()
    {
        PageRig rig;
        rig.store(QList<QSize>{{120, 60}, {60, 120}});
        rig.show();
        LibraryGrid& grid = rig.grid();
        grid.images().waitForIdle();
        const QImage shot = grid.viewport()->grab().toImage();
        for (int row = 0; row < 2; ++row) {
            const QRect r = grid.visualRect(rig.index(row));
            // The picture's tinted halves, left and right, reach into the tile's outer quarters.
            const int y = r.top() + r.height() / 7; // above the picture's ellipses
            QVERIFY(samples::isLeftTint(shot.pixel(r.left() + r.width() / 8, y)));
            QVERIFY(samples::isRightTint(shot.pixel(r.right() - r.width() / 8, r.bottom() - r.height() / 7)));
        }
    }

    void selectionRules()
    {
        PageRig rig;
        rig.store(12, QSize(90, 60));
        rig.show({700, 700});
        using L = QList<int>;
        const auto ctrl = Qt::ControlModifier;
        const auto shift = Qt::ShiftModifier;

        rig.click(2);
        QCOMPARE(rig.selectedRows(), L({2}));
        rig.click(4, ctrl);
        QCOMPARE(rig.selectedRows(), L({2, 4}));
        rig.click(2, ctrl);
        QCOMPARE(rig.selectedRows(), L({4}));
        rig.click(6, shift); // from the last click, 2
        QCOMPARE(rig.selectedRows(), L({2, 3, 4, 5, 6}));
        rig.click(0, shift); // same anchor, the range replaces
        QCOMPARE(rig.selectedRows(), L({0, 1, 2}));
        rig.click(5, ctrl | shift); // added to what was there
        QCOMPARE(rig.selectedRows(), L({0, 1, 2, 3, 4, 5}));
        rig.click(8);
        QCOMPARE(rig.selectedRows(), L({8}));

        // Between the photos: let go.
        const QRect tile = rig.grid().visualRect(rig.index(rig.photos.rowCount() - 1));
        QTest::mouseClick(rig.grid().viewport(), Qt::LeftButton, {}, QPoint(tile.right() + 40, tile.center().y()));
        QVERIFY(rig.studio.librarySelection().isEmpty());

        rig.key(Qt::Key_A, ctrl);
        QCOMPARE(rig.selectedRows().size(), 12);
        QVERIFY(rig.page->selectionBar()->isVisible());
        rig.key(Qt::Key_Escape);
        QVERIFY(rig.studio.librarySelection().isEmpty());
        QVERIFY(!rig.page->selectionBar()->isVisible());

        // The keyboard: arrows move the selection, Shift extends it, Ctrl moves the focus alone and
        // Space picks the focused photo.
        rig.click(0);
        rig.key(Qt::Key_Right);
        QCOMPARE(rig.selectedRows(), L({1}));
        rig.key(Qt::Key_Right, shift);
        rig.key(Qt::Key_Right, shift);
        QCOMPARE(rig.selectedRows(), L({1, 2, 3}));
        rig.key(Qt::Key_Right, ctrl);
        QCOMPARE(rig.selectedRows(), L({1, 2, 3}));
        rig.key(Qt::Key_Space);
        QCOMPARE(rig.selectedRows(), L({1, 2, 3, 4}));
        rig.key(Qt::Key_Space);
        QCOMPARE(rig.selectedRows(), L({1, 2, 3}));
        rig.key(Qt::Key_Home);
        rig.key(Qt::Key_Down);
        const int below = rig.selectedRows().value(0, -1);
        QVERIFY(rig.grid().tileFrame(below).top() > rig.grid().tileFrame(0).bottom());
        QVERIFY(rig.grid().tileFrame(below).left() < rig.grid().tileFrame(0).right());
        rig.key(Qt::Key_End);
        QCOMPARE(rig.selectedRows(), L({11}));

        // The selection model mirrors the Studio's, and writes through to it.
        QCOMPARE(rig.grid().selectionModel()->selectedIndexes(), QModelIndexList({rig.index(11)}));
        rig.grid().selectionModel()->select(rig.index(3), QItemSelectionModel::Select);
        QTRY_COMPARE(rig.selectedRows(), L({3, 11}));
    }

    void gridIsAccessible()
    {
        PageRig rig;
        rig.store(4);
        rig.show();
        rig.studio.setLibrarySelection({rig.photos.id(1)});
        QAccessibleInterface* grid = QAccessible::queryAccessibleInterface(&rig.grid());
        QVERIFY(grid);
        QCOMPARE(grid->childCount(), 4);
        QAccessibleInterface* second = grid->child(1);
        QVERIFY(second);
        QCOMPARE(second->text(QAccessible::Name), QStringLiteral("Photo 1"));
        QVERIFY(second->state().selected);
        QVERIFY(!grid->child(0)->state().selected);
        QCOMPARE(second->rect().size(), rig.grid().visualRect(rig.index(1)).size());
    }

    void selectionBarTexts()
    {
        PageRig rig;
        rig.store(3);
        LibraryPage& page = rig.show();
        SelectionBar* bar = page.selectionBar();
        QVERIFY(!bar->isVisible());
        const struct { int n; QString count, make; } cases[] = {{1, "1 selected", "New Piece"}, {2, "2 selected", "New Collage"}};
        for (const auto& c : cases) {
            QSet<QUuid> selection;
            for (int r = 0; r < c.n; ++r) selection.insert(rig.photos.id(r));
            rig.studio.setLibrarySelection(selection);
            QVERIFY(bar->isVisible());
            QCOMPARE(bar->countLabel()->text(), c.count);
            QCOMPARE(bar->newPieceButton()->text(), c.make);
            // Over the page, at the bottom, in the middle.
            QVERIFY(bar->geometry().bottom() < page.height());
            QVERIFY(std::abs(bar->geometry().center().x() - page.width() / 2) <= 1);
        }
        QTest::mouseClick(bar->clearButton(), Qt::LeftButton);
        QVERIFY(rig.studio.librarySelection().isEmpty());
        QVERIFY(!bar->isVisible());
    }

    void newPieceAndAddToPieceAreUndoable()
    {
        PageRig rig;
        const QList<Photo> photos = rig.store(4);
        LibraryPage& page = rig.show();
        SelectionBar* bar = page.selectionBar();
        QVERIFY(!bar->addToPieceButton()->isEnabled()); // nothing to add to yet

        // New Collage: the selected photos in library order.
        rig.studio.setLibrarySelection({photos[3].id, photos[1].id});
        QTest::mouseClick(bar->newPieceButton(), Qt::LeftButton);
        QCOMPARE(rig.studio.pieces().size(), 1);
        QCOMPARE(rig.studio.pieces()[0].photoIDs, QList<QUuid>({photos[1].id, photos[3].id}));
        QCOMPARE(rig.studio.page(), Page::pieces);
        QCOMPARE(rig.edits.stack().count(), 1);

        // Add to Piece lists every piece in order, and appends what it doesn't hold yet.
        rig.studio.setPieces({Piece::make("Beach & Sea", {photos[0].id}), rig.studio.pieces()[0]});
        QVERIFY(bar->addToPieceButton()->isEnabled());
        bar->fillPieceMenu();
        QCOMPARE(menuTexts(bar->pieceMenu()), QList<QString>({"Beach && Sea", "Collage 1"}));
        rig.studio.setLibrarySelection({photos[2].id, photos[0].id, photos[1].id});
        bar->pieceMenu()->actions()[0]->trigger();
        const Piece beach = rig.studio.pieces()[0];
        QCOMPARE(beach.photoIDs, QList<QUuid>({photos[0].id, photos[1].id, photos[2].id}));
        QCOMPARE(beach.layout, CollageLayout::row); // no longer a single photo
        rig.edits.stack().undo();
        QCOMPARE(rig.studio.pieces()[0].photoIDs, QList<QUuid>({photos[0].id}));
        QCOMPARE(rig.studio.pieces()[0].layout, CollageLayout::single);
    }

    void removalAsksFirst()
    {
        PageRig rig;
        const QList<Photo> photos = rig.store(4);
        rig.studio.setPieces({Piece::make("Both", {photos[0].id, photos[1].id})});
        LibraryPage& page = rig.show();
        QList<Prompts::Question> asked;
        bool answer = false;
        Prompts::setHandler([&](QWidget*, const Prompts::Question& q) {
            asked.append(q);
            return answer;
        });
        const int steps = rig.edits.stack().count();

        // Delete asks; cancelled, nothing goes.
        rig.click(0);
        rig.key(Qt::Key_Delete);
        QCOMPARE(asked.size(), 1);
        QCOMPARE(asked[0].title, QStringLiteral("Remove 1 photo from Velora?"));
        QCOMPARE(rig.studio.photos().size(), 4);
        QVERIFY(QFile::exists(*Storage::photoPath(photos[0].fileName)));

        // The bar's button asks too; confirmed, the copies and the photos go, pieces let go of them.
        rig.studio.setLibrarySelection({photos[0].id, photos[2].id, photos[3].id});
        answer = true;
        QTest::mouseClick(page.selectionBar()->removeButton(), Qt::LeftButton);
        QCOMPARE(asked.size(), 2);
        QCOMPARE(asked[1].title, QStringLiteral("Remove 3 photos from Velora?"));
        QCOMPARE(rig.studio.photos().size(), 1);
        QCOMPARE(rig.studio.photos()[0].id, photos[1].id);
        QCOMPARE(rig.studio.pieces()[0].photoIDs, QList<QUuid>({photos[1].id}));
        QVERIFY(rig.studio.librarySelection().isEmpty());
        for (const int i : {0, 2, 3}) {
            QVERIFY(!QFile::exists(*Storage::photoPath(photos[i].fileName)));
            QVERIFY(!QFile::exists(*Storage::photoPath(photos[i].thumbName)));
        }
        QCOMPARE(rig.edits.stack().count(), steps); // not a step to undo

        // Nothing selected: nothing to ask.
        rig.key(Qt::Key_Delete);
        QCOMPARE(asked.size(), 2);
    }

    void tileMenu()
    {
        PageRig rig;
        const QString original = rig.dir.filePath("original.jpg");
        QVERIFY(samples::writeBytes(original, samples::encode(samples::picture(30, 20), "JPEG")));
        const QString gone = rig.dir.filePath("gone.jpg");
        const Photo none = rig.store(1).front();
        const Photo there = rig.store({{60, 40}}, original).front();
        const Photo missing = rig.store({{60, 40}}, gone).front();
        rig.show();
        QStringList shown;
        FileManager::setHandler([&](const QString& path) { shown.append(path); });

        std::unique_ptr<QMenu> menu(rig.grid().tileMenu(there.id, nullptr));
        QCOMPARE(menuTexts(menu.get()), QList<QString>({"New Piece from This Photo", FileManager::showOriginalText(), "--",
                                                         "Remove from Library"}));
        QAction* show = menu->findChild<QAction*>("showOriginal");
        QVERIFY(show->isEnabled());
        show->trigger();
        QCOMPARE(shown, QStringList({original}));
        for (const Photo& p : {none, missing}) {
            std::unique_ptr<QMenu> other(rig.grid().tileMenu(p.id, nullptr));
            QVERIFY(!other->findChild<QAction*>("showOriginal")->isEnabled());
        }

        menu->findChild<QAction*>("newPieceFromPhoto")->trigger();
        QCOMPARE(rig.studio.pieces().size(), 1);
        QCOMPARE(rig.studio.pieces()[0].photoIDs, QList<QUuid>({there.id}));
        QCOMPARE(rig.edits.stack().count(), 1);

        // Removal from the tile's own menu doesn't ask (the handler installed by init fails the
        // test when asked), and takes only that photo, selected or not.
        rig.studio.setLibrarySelection({none.id, there.id});
        menu->findChild<QAction*>("removeFromLibrary")->trigger();
        QCOMPARE(rig.studio.photos().size(), 2);
        QVERIFY(!rig.studio.photo(there.id));
        QCOMPARE(rig.studio.librarySelection(), QSet<QUuid>({none.id}));
        QVERIFY(rig.studio.pieces()[0].photoIDs.isEmpty());
        QVERIFY(QFile::exists(original)); // the user's own file stays
    }
};

VELORA_TEST(TestLibrary)
#include "test_library.moc"
