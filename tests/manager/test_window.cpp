// The manager window offscreen, against a real Studio on a temporary library: its sizes and the
// geometry it brings back, the sidebar, the toolbar, the inspector column, drops of real files,
// the pieces page, and that one change repaints one card and no click in the sidebar syncs the desktop.
#include "shell/shell_rig.h"
#include "testing.h"

#include "actions.h"
#include "edits.h"
#include "manager_window.h"
#include "models.h"
#include "photos_picker_sheet.h"
#include "pieces_page.h"
#include "styles_page.h"
#include "previews.h"
#include "sidebar.h"

#include <QListView>
#include <QMimeData>
#include <QToolButton>

using namespace velora;
using namespace velora::testing;

namespace {

struct WindowRig : ShellRig {
    ManagerMainWindow* show()
    {
        app->manager().show();
        QCoreApplication::processEvents();
        return app->manager().window();
    }

    QList<Photo> addPhotos(int n)
    {
        QList<Photo> made;
        for (int i = 0; i < n; ++i) made.append(makePhoto(400 + 100 * i, 300));
        studio.appendPhotos(made);
        return made;
    }

    // Photo files on disk, for imports.
    QStringList writeImages(const QString& folder, int n)
    {
        QDir().mkpath(folder);
        QStringList paths;
        for (int i = 0; i < n; ++i) {
            QImage image(64 + i, 48, QImage::Format_RGB32);
            image.fill(QColor::fromHsv(40 * i, 180, 200));
            paths.append(QDir(folder).filePath(QStringLiteral("photo %1.jpg").arg(i)));
            image.save(paths.last(), "JPEG");
        }
        return paths;
    }

    // Drops start their import on the next turn of the event loop.
    bool waitForImport()
    {
        QCoreApplication::processEvents();
        return QTest::qWaitFor([this] { return !studio.importing(); }, 20000);
    }
};

void drop(QWidget* target, const QStringList& paths)
{
    auto* mime = new QMimeData;
    QList<QUrl> urls;
    for (const QString& p : paths) urls.append(QUrl::fromLocalFile(p));
    mime->setUrls(urls);
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    QVERIFY(enter.isAccepted());
    QDropEvent dropped(QPointF(10, 10), Qt::CopyAction, mime, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(target, &dropped);
    QVERIFY(dropped.isAccepted());
    delete mime;
}

} // namespace

class TestManagerWindow : public QObject {
    Q_OBJECT

private slots:
    void sizesAndTheGeometryItBringsBack()
    {
        QRect saved;
        QByteArray geometry;
        {
            WindowRig rig;
            rig.settings.store().setValue(Settings::managerGeometryKey, QByteArray()); // nothing saved yet
            ManagerMainWindow* w = rig.show();
            QCOMPARE(w->size(), QSize(1180, 760));
            w->resize(500, 300); // held at the minimum
            QVERIFY(w->width() >= 900 && w->height() >= 580);
            QCOMPARE(w->view()->sidebar()->width(), Sidebar::idealWidth);

            w->setGeometry(120, 90, 1000, 640);
            QCoreApplication::processEvents();
            saved = w->geometry();
            QVERIFY(w->close()); // hides, saving where it was
            QVERIFY(!w->isVisible());
            rig.app->manager().show();
            QCOMPARE(rig.app->manager().window(), w); // the same window, built once
            QCOMPARE(rig.app->manager().builds(), 1);
            w->close();
            geometry = rig.settings.managerGeometry();
        }
        WindowRig next; // the next process
        next.settings.setManagerGeometry(geometry);
        ManagerMainWindow* w = next.show();
        QCOMPARE(w->geometry(), saved);
    }

    void theSidebarFollowsTheStudioAndClicksNeverSyncTheDesktop()
    {
        WindowRig rig;
        const auto photos = rig.addPhotos(2);
        const Piece a = rig.app->edits().newPiece({photos[0].id});
        const Piece b = rig.app->edits().newPiece({photos[1].id});
        rig.studio.setSelectedPieceID(std::nullopt);
        ManagerMainWindow* w = rig.show();
        Sidebar* side = w->view()->sidebar();
        QListView* rows = side->pieceList();
        QCOMPARE(rows->model()->rowCount(), 2);
        QCOMPARE(rows->model()->index(1, 0).data().toString(), b.name);
        rig.app->edits().toggleLocked(a.id);
        QVERIFY(rows->model()->index(0, 0).data(Qt::AccessibleTextRole).toString().endsWith(QStringLiteral("locked")));

        QCoreApplication::processEvents();
        const qint64 syncs = rig.desktop.syncCount();
        QTest::mouseClick(side->pageList()->viewport(), Qt::LeftButton, {},
                          side->pageList()->visualRect(side->pageList()->model()->index(2, 0)).center());
        QCOMPARE(rig.studio.page(), Page::styles);
        QCOMPARE(w->view()->currentPage(), static_cast<QWidget*>(w->view()->stylesPage()));
        QTest::mouseClick(rows->viewport(), Qt::LeftButton, {}, rows->visualRect(rows->model()->index(1, 0)).center());
        QCOMPARE(rig.studio.selectedPieceID(), std::optional(b.id));
        QCOMPARE(rig.studio.page(), Page::pieces);
        QVERIFY(rig.studio.showInspector());
        QCoreApplication::processEvents();
        QCOMPARE(rig.desktop.syncCount(), syncs);

        // Removed elsewhere, gone here.
        rig.app->edits().deletePiece(a.id);
        QCOMPARE(rows->model()->rowCount(), 1);
    }

    void theInspectorButtonAndColumn()
    {
        WindowRig rig;
        const auto photos = rig.addPhotos(1);
        const Piece p = rig.app->edits().newPiece({photos[0].id});
        rig.studio.setSelectedPieceID(std::nullopt);
        rig.studio.setShowInspector(false);
        ManagerMainWindow* w = rig.show();
        QToolButton* button = w->inspectorButton();
        QVERIFY(!button->isEnabled());
        QVERIFY(!rig.app->actions().showEditor->isEnabled());
        InspectorColumn* column = w->view()->inspectorColumn();
        QVERIFY(!column->isVisible());

        rig.studio.setSelectedPieceID(p.id);
        QVERIFY(button->isEnabled());
        button->click();
        QVERIFY(rig.studio.showInspector());
        QVERIFY(column->animating());
        QVERIFY(QTest::qWaitFor([column] { return !column->animating(); }, 2000));
        QCOMPARE(column->width(), 341);
        // The page keeps its 420 points beside it.
        QVERIFY(w->view()->currentPage()->width() >= 420);
        rig.app->actions().showEditor->trigger();
        QVERIFY(!rig.studio.showInspector());
        QVERIFY(QTest::qWaitFor([column] { return !column->isVisible(); }, 2000));
    }

    void dropsOnEachPage()
    {
        WindowRig rig;
        ManagerMainWindow* w = rig.show();
        QVERIFY(w->view()->piecesPage()->showsEmptyState());
        rig.writeImages(rig.dir.filePath("in/trip"), 3);

        // Pieces page: the photos, and one piece of all of them.
        drop(w->view(), {rig.dir.filePath("in/trip")});
        QVERIFY(rig.waitForImport());
        QVERIFY(QTest::qWaitFor([&] { return rig.studio.pieces().size() == 1; }, 2000));
        QCOMPARE(rig.studio.photos().size(), 3);
        QCOMPARE(rig.studio.pieces()[0].photoIDs.size(), 3);
        QCOMPARE(w->view()->banner()->text(), QStringLiteral("Added 3 photos to your library."));
        QVERIFY(!w->view()->piecesPage()->showsEmptyState());

        // Library page: only added.
        rig.studio.setPage(Page::library);
        const QStringList more = rig.writeImages(rig.dir.filePath("in/more"), 2);
        drop(w->view(), more);
        QVERIFY(rig.waitForImport());
        QCoreApplication::processEvents();
        QCOMPARE(rig.studio.photos().size(), 5);
        QCOMPARE(rig.studio.pieces().size(), 1);

        // Files that are no photos: nothing added, no piece, the reason said.
        rig.studio.setPage(Page::pieces);
        writeBytes(rig.dir.filePath("in/notes.jpg"), "not a picture");
        drop(w->view(), {rig.dir.filePath("in/notes.jpg")});
        QVERIFY(rig.waitForImport());
        QCoreApplication::processEvents();
        QCOMPARE(rig.studio.pieces().size(), 1);
        QCOMPARE(w->view()->banner()->text(), QStringLiteral("Those files couldn\u2019t be read as photos."));
        w->view()->banner()->dismissButton()->click();
        QCOMPARE(rig.studio.importMessage(), std::nullopt);
        QVERIFY(w->view()->banner()->text().isEmpty());
    }

    void oneChangeRepaintsOneCard()
    {
        WindowRig rig;
        const auto photos = rig.addPhotos(3);
        for (const Photo& p : photos) rig.app->edits().newPiece({p.id});
        ManagerMainWindow* w = rig.show();
        PiecesPage* page = w->view()->piecesPage();
        QVERIFY(!page->showsEmptyState());
        QCOMPARE(page->grid()->cards().size(), 3);
        QVERIFY(QTest::qWaitFor([&] { return page->grid()->pendingPreviews() == 0; }, 2000));
        QTest::qWait(50);

        const auto paints = [&] {
            QList<qint64> n;
            for (PieceCard* c : page->grid()->cards()) n.append(c->paints());
            return n;
        };
        const QList<qint64> before = paints();
        const qint64 renders = rig.app->context().previews.renders();
        const QUuid middle = rig.studio.pieces()[1].id;
        rig.studio.update(middle, [](Piece& p) { p.name = QStringLiteral("Renamed"); });
        QTest::qWait(50);
        QList<qint64> after = paints();
        QCOMPARE(after[0], before[0]);
        QVERIFY(after[1] > before[1]);
        QCOMPARE(after[2], before[2]);
        QCOMPARE(rig.app->context().previews.renders(), renders); // a name is not in the picture

        rig.studio.update(middle, [](Piece& p) { p.frame = FrameStyle::film; });
        QVERIFY(QTest::qWaitFor([&] { return rig.app->context().previews.renders() == renders + 1; }, 2000));

        // The card's switches bring a hidden or locked piece back.
        PieceCard* card = page->grid()->card(middle);
        card->visibilityButton()->click();
        QVERIFY(!rig.studio.piece(middle)->isVisible);
        QCOMPARE(card->visibilityButton()->accessibleName(), QStringLiteral("Show on desktop"));
        card->visibilityButton()->click();
        QVERIFY(rig.studio.piece(middle)->isVisible);
        card->lockButton()->click();
        QVERIFY(rig.studio.piece(middle)->isLocked);
        QCOMPARE(card->lockButton()->accessibleName(), QStringLiteral("Unlock"));

        // Keyboard: Enter on a card opens it in the editor.
        card->setFocus();
        QTest::keyClick(card, Qt::Key_Return);
        QCOMPARE(rig.studio.selectedPieceID(), std::optional(middle));
        QVERIFY(rig.studio.showInspector());
    }

    void editingFromTheDesktopOpensTheWindow()
    {
        WindowRig rig;
        const auto photos = rig.addPhotos(1);
        const Piece p = rig.app->edits().newPiece({photos[0].id});
        rig.studio.setSelectedPieceID(std::nullopt);
        rig.studio.setShowInspector(false);
        rig.studio.setPage(Page::styles);
        QVERIFY(!rig.app->manager().window());
        rig.desktop.openEditor(p.id); // a double click, or "Edit in Velora…"
        QVERIFY(rig.app->manager().window() && rig.app->manager().window()->isVisible());
        QCOMPARE(rig.studio.selectedPieceID(), std::optional(p.id));
        QCOMPARE(rig.studio.page(), Page::pieces);
        QVERIFY(rig.studio.showInspector());
        // The last piece gone: the empty state again.
        rig.app->edits().deletePiece(p.id);
        QVERIFY(rig.app->manager().window()->view()->piecesPage()->showsEmptyState());
    }

    // The page and the flag: see the menus' tests; the sheet comes up over the window.
    void importFromPhotosOpensTheSheet()
    {
        WindowRig rig;
        QVERIFY(!rig.app->manager().window());
        rig.app->actions().importFromPhotos->trigger();
        ManagerMainWindow* w = rig.app->manager().window();
        QVERIFY(w && w->isVisible());
        QCOMPARE(rig.studio.page(), Page::library);
        QVERIFY(QTest::qWaitFor([] { return PhotosPickerSheet::current() != nullptr; }, 2000));
        QTest::keyClick(PhotosPickerSheet::current(), Qt::Key_Escape);
        QVERIFY(QTest::qWaitFor([&] { return !rig.studio.showPhotosPicker(); }, 2000));
        QVERIFY(QTest::qWaitFor([] { return PhotosPickerSheet::current() == nullptr; }, 2000));
    }
};

VELORA_TEST(TestManagerWindow)
#include "test_window.moc"
