// Real piece panels on the offscreen platform: dragging by the global mouse position, the snap and
// glide on release, double click, the right-click menu, locking, and what the content redraws.
#include "fakes.h"
#include "testing.h"

#include "piece_content.h"
#include "piece_panel.h"

#include <QApplication>
#include <QMenu>
#include <QPointer>
#include <QSettings>
#include <QSignalSpy>
#include <QWindow>

using namespace velora;
using namespace velora::testing;

namespace {

// Real panels on two displays, without the grid, with a landscape and a portrait photo.
struct PanelRig : Rig {
    QList<Photo> photos;

    PanelRig() : Rig({mainDisplay(), leftDisplay()}, false)
    {
        QSettings().setValue("snapToGrid", false);
        photos = addPhotos({{1500, 1000}, {1000, 1500}});
    }
    ~PanelRig() { QSettings().remove("snapToGrid"); }

    // The piece placed on the main display and its panel.
    std::pair<Piece, PiecePanel*> add(QList<QUuid> ids, Point at, CollageLayout layout = CollageLayout::single)
    {
        const Piece p = addPiece(ids, layout, {{"MAIN", at}});
        controller.start();
        controller.sync();
        return {p, controller.panel(p.id)};
    }
};

// Mouse events through the window system layer, at a global position (the window moves under it).
void mouse(QWidget* w, QTest::MouseAction action, QPoint global, Qt::MouseButton button = Qt::LeftButton)
{
    QTest::mouseEvent(action, w->windowHandle(), button, {}, global - w->windowHandle()->geometry().topLeft());
}

QStringList titles(const QMenu* menu)
{
    QStringList out;
    for (const QAction* a : menu->actions()) out << (a->isSeparator() ? QStringLiteral("—") : a->text());
    return out;
}

} // namespace

class TestPiecePanel : public QObject {
    Q_OBJECT
private slots:
    void aPanelIsAFramelessDesktopWindow()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {100, 300});
        QVERIFY(panel && panel->isVisible() && !panel->isActiveWindow());
        const auto flags = Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnBottomHint;
        QCOMPARE(panel->windowFlags() & flags, flags);
        QVERIFY(panel->testAttribute(Qt::WA_TranslucentBackground) && panel->testAttribute(Qt::WA_ShowWithoutActivating));
        // Placed at its stored origin: y-up 300 is Qt y 900 − 300 − height.
        const Rect frame = panel->frame();
        QCOMPARE(panel->geometry(), QRect(100, int(900 - 300 - frame.height), int(frame.width), int(frame.height)));
        // The content shows the rendered piece, of the panel's size.
        QCOMPARE(panel->content()->image().deviceIndependentSize(), QSizeF(frame.width, frame.height));
    }

    void aDragFollowsTheMouseSnapsGlidesAndStores()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        const double m = panel->margin();
        QVERIFY(m > 0);
        const QRect start = panel->geometry();
        const Rect frame0 = panel->frame();
        const qint64 renders = PieceContent::renderCount();
        QSignalSpy changed(&rig.studio, &Studio::changed);

        // A click without moving changes nothing.
        mouse(panel, QTest::MousePress, start.topLeft() + QPoint(60, 60));
        QVERIFY(panel->isDragging());
        mouse(panel, QTest::MouseRelease, start.topLeft() + QPoint(60, 60));
        QVERIFY(!panel->isDragging() && !panel->isGliding());
        QCOMPARE(panel->geometry(), start);
        QCOMPARE(changed.count(), 0);

        // Left by enough that the visible piece ends 5 points right of the left edge line.
        const int dx = -int(300 + m - 16) + 5;
        const QPoint grab = start.topLeft() + QPoint(80, 60);
        mouse(panel, QTest::MousePress, grab);
        mouse(panel, QTest::MouseMove, grab + QPoint(1, 1));
        QCOMPARE(panel->geometry().topLeft(), start.topLeft() + QPoint(1, 1));
        mouse(panel, QTest::MouseMove, grab + QPoint(dx, 40));
        QCOMPARE(panel->geometry().topLeft(), start.topLeft() + QPoint(dx, 40));
        QCOMPARE(panel->frame().y, frame0.y - 40); // y-up: 40 down
        // Nothing is published or redrawn while dragging, and syncs leave the panel alone.
        rig.controller.sync();
        QCOMPARE(panel->geometry().topLeft(), start.topLeft() + QPoint(dx, 40));
        QCOMPARE(changed.count(), 0);
        QCOMPARE(PieceContent::renderCount(), renders);

        mouse(panel, QTest::MouseRelease, grab + QPoint(dx, 40));
        QVERIFY(!panel->isDragging());
        QVERIFY(panel->isGliding());
        // Gliding to the snapped origin, in whole points once the sync has seen the stored value.
        const Point target{16 - m, frame0.y - 40};
        QCOMPARE(panel->frame().x, std::round(target.x));
        QCOMPARE(panel->frame().y, std::round(target.y));
        QCOMPARE(rig.stored(p.id).displayID, std::optional<QString>("MAIN"));
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{std::round(target.x), std::round(target.y)}));
        QCOMPARE(changed.count(), 2);

        // A click during the glide lands the piece where it was going, not part-way.
        const Rect going = panel->frame();
        const QPoint here = panel->geometry().topLeft() + QPoint(60, 60);
        mouse(panel, QTest::MousePress, here);
        QVERIFY(!panel->isGliding());
        mouse(panel, QTest::MouseRelease, here);
        QCOMPARE(panel->frame(), going);
        QCOMPARE(changed.count(), 2);

        QTRY_VERIFY_WITH_TIMEOUT(!panel->isGliding(), 10000);
        QCoreApplication::processEvents();
        QCOMPARE(panel->geometry(), rig.screens.space().windowRect(panel->frame()));
        QCOMPARE(panel->geometry().x(), int(std::lround(16 - m)));
        // The syncs after the drop did not redraw the piece either.
        QCOMPARE(PieceContent::renderCount(), renders);
    }

    void aDragEndsOnAnyInterruption_data()
    {
        QTest::addColumn<QString>("how");
        for (const char* how : {"right press", "middle press", "escape", "lost release", "lost grab", "left press"})
            QTest::newRow(how) << QString::fromLatin1(how);
    }

    void aDragEndsOnAnyInterruption()
    {
        QFETCH(QString, how);
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        QSignalSpy changed(&rig.studio, &Studio::changed);
        const QPoint grab = panel->geometry().topLeft() + QPoint(60, 60);
        const QPoint to = grab + QPoint(-50, 30);
        mouse(panel, QTest::MousePress, grab);
        mouse(panel, QTest::MouseMove, to);
        if (how == "right press" || how == "middle press") {
            mouse(panel, QTest::MousePress, to, how == "right press" ? Qt::RightButton : Qt::MiddleButton);
        } else if (how == "escape") {
            QTest::keyClick(panel, Qt::Key_Escape);
        } else if (how == "lost release") {
            // The pointer comes back with no button down.
            QMouseEvent move(QEvent::MouseMove, QPointF(70, 70), QPointF(to + QPoint(10, 10)), Qt::NoButton,
                             Qt::NoButton, {});
            QApplication::sendEvent(panel, &move);
        } else if (how == "lost grab") {
            QEvent ungrab(QEvent::UngrabMouse);
            QApplication::sendEvent(panel, &ungrab);
        } else {
            QMouseEvent press(QEvent::MouseButtonPress, QPointF(60, 60), QPointF(to), Qt::LeftButton,
                              Qt::LeftButton, {});
            QApplication::sendEvent(panel, &press);
            mouse(panel, QTest::MouseRelease, to);
        }
        QVERIFY(!panel->isDragging());
        QVERIFY(!qobject_cast<QMenu*>(QApplication::activePopupWidget()));
        // Landed where the pointer left it and stored once: the display, then the place.
        const Point at{300 - 50, 300 - 30};
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), at);
        QCOMPARE(changed.count(), 2);
        mouse(panel, QTest::MouseRelease, to, Qt::LeftButton);
        mouse(panel, QTest::MouseMove, to + QPoint(40, 40));
        QCOMPARE(changed.count(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(!panel->isGliding(), 10000);
        QCOMPARE(panel->geometry(), rig.screens.space().windowRect(panel->frame()));
    }

    void aNewScreenHeightMovesNoPieceAndNoDragJumps()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        const Rect frame = panel->frame();
        QCOMPARE(panel->geometry().y(), int(900 - 300 - frame.height));
        // The primary display becomes 800 high: the same place from its bottom is 100 higher up
        // in window-system coordinates, and nothing is stored.
        QSignalSpy changed(&rig.studio, &Studio::changed);
        rig.screens.set({{"MAIN", {0, 0, 1280, 800}, {0, 0, 1280, 775}}, leftDisplay()}, 800);
        QCoreApplication::processEvents();
        QCOMPARE(panel->frame(), frame);
        QCOMPARE(panel->geometry().topLeft(), QPoint(300, int(800 - 300 - frame.height)));
        QCOMPARE(changed.count(), 0);
        // The next drag moves the window by exactly the pointer's way.
        const QRect before = panel->geometry();
        const QPoint grab = before.topLeft() + QPoint(60, 60);
        mouse(panel, QTest::MousePress, grab);
        mouse(panel, QTest::MouseMove, grab + QPoint(7, 9));
        QCOMPARE(panel->geometry().topLeft(), before.topLeft() + QPoint(7, 9));
        mouse(panel, QTest::MouseRelease, grab + QPoint(7, 9));
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{307, 291}));
    }

    void aSlideshowStepToAnotherShapeResizesWithTheFade()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id, rig.photos[1].id}, {300, 300});
        const Rect wide = panel->frame();
        const QRect before = panel->geometry();
        rig.studio.advance(p.id);
        QCoreApplication::processEvents();
        QVERIFY(panel->content()->isCrossfading());
        QVERIFY(panel->isResizing());
        // Going to the portrait's size with the top edge where it was; stored so.
        const Rect tall = panel->frame();
        QVERIFY(tall.height > wide.height * 1.5);
        QCOMPARE(tall.maxY(), wide.maxY());
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{300, std::round(tall.y)}));

        // Halfway the window is between both sizes, its top and left edges still, and nothing
        // is drawn up to its edges: neither rendering is cut off.
        QTRY_VERIFY_WITH_TIMEOUT(panel->content()->crossfadeProgress() >= 0.5, 10000);
        const QRect mid = panel->geometry();
        QCOMPARE(mid.topLeft(), before.topLeft());
        QVERIFY2(mid.height() > before.height() + 20 && mid.height() < int(tall.height) - 20,
                 qPrintable(QStringLiteral("%1 < %2 < %3").arg(before.height()).arg(mid.height()).arg(tall.height)));
        const QImage shot = panel->content()->grab().toImage();
        int edgeInk = 0;
        for (int x = 0; x < shot.width(); ++x)
            for (int y : {0, shot.height() - 1}) edgeInk = std::max(edgeInk, qAlpha(shot.pixel(x, y)));
        for (int y = 0; y < shot.height(); ++y)
            for (int x : {0, shot.width() - 1}) edgeInk = std::max(edgeInk, qAlpha(shot.pixel(x, y)));
        QVERIFY2(edgeInk < 40, qPrintable(QString::number(edgeInk)));

        QTRY_VERIFY_WITH_TIMEOUT(!panel->isResizing(), 10000);
        QCOMPARE(panel->geometry(), rig.screens.space().windowRect(tall));
        QCOMPARE(rig.controller.panel(p.id), panel); // the same window all along
    }

    // Drawn opaque: a step between photos of one shape fades over the wallpaper, the window shaped
    // to both meanwhile and to the new one after; over a plain colour, or to another shape, the
    // new photo shows at once.
    void aSlideshowStepDrawnOpaque()
    {
        PanelRig rig;
        const QList<Photo> same = rig.addPhotos({{1500, 1000}, {1500, 1000}});
        const auto [p, panel] = rig.add({same[0].id, same[1].id, rig.photos[1].id}, {300, 300});
        PieceContent* content = panel->content();
        const qreal dpr = content->devicePixelRatioF();
        QImage wallpaper(panel->size() * dpr, QImage::Format_RGB32);
        wallpaper.fill(QColor(20, 140, 60));
        content->setOpaqueShape(true);
        content->setBackdrop(wallpaper, {});
        const QRegion still = content->shape();
        QVERIFY(!still.isEmpty());
        QSignalSpy changes(content, &PieceContent::imageChanged);

        rig.studio.advance(p.id);
        QCoreApplication::processEvents();
        QVERIFY(content->isCrossfading());
        QVERIFY(!panel->isResizing());
        QTRY_VERIFY_WITH_TIMEOUT(content->crossfadeProgress() >= 0.3, 10000);
        const QImage mid = content->grab().toImage();
        QCOMPARE(mid.pixel(1, 1), qRgb(20, 140, 60)); // the wallpaper, not a see-through margin
        QCOMPARE(content->shape(), still); // the two renderings cover the same points
        const int during = int(changes.size());
        QTRY_VERIFY_WITH_TIMEOUT(!content->isCrossfading(), 10000);
        QTRY_COMPARE_WITH_TIMEOUT(int(changes.size()), during + 1, 10000); // the shape of the new one
        QCOMPARE(content->shape(), still);

        // To the portrait: at once, and so over a colour.
        rig.studio.advance(p.id);
        QCoreApplication::processEvents();
        QVERIFY(!content->isCrossfading());
        QTRY_VERIFY_WITH_TIMEOUT(!panel->isResizing(), 10000);
        content->setBackdrop({}, QColor(90, 90, 90));
        rig.studio.advance(p.id);
        QCoreApplication::processEvents();
        QVERIFY(!content->isCrossfading());
    }

    void droppingOnAnotherDisplayStoresItThere()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        const QPoint grab = panel->geometry().topLeft() + QPoint(50, 50);
        mouse(panel, QTest::MousePress, grab);
        mouse(panel, QTest::MouseMove, grab + QPoint(-1000, 0));
        mouse(panel, QTest::MouseRelease, grab + QPoint(-1000, 0));
        const Piece& s = rig.stored(p.id);
        QCOMPARE(s.displayID, std::optional<QString>("LEFT"));
        QCOMPARE(s.placements.value("LEFT"), (Point{300 - 1000 + 1440, 300}));
        QCOMPARE(s.placements.value("MAIN"), (Point{300, 300}));
        QTRY_VERIFY_WITH_TIMEOUT(!panel->isGliding(), 10000);
        QCoreApplication::processEvents();
        QCOMPARE(panel->geometry().x(), 300 - 1000);
    }

    void aDoubleClickOpensTheEditorAndStartsNoDrag()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        const QRect before = panel->geometry();
        QSignalSpy changed(&rig.studio, &Studio::changed);
        mouse(panel, QTest::MouseDClick, before.topLeft() + QPoint(40, 40));
        QVERIFY(!panel->isDragging());
        QCOMPARE(rig.studio.selectedPieceID(), std::optional<QUuid>(p.id));
        QVERIFY(rig.studio.showInspector());
        mouse(panel, QTest::MouseMove, before.topLeft() + QPoint(90, 90));
        mouse(panel, QTest::MouseRelease, before.topLeft() + QPoint(90, 90));
        QCOMPARE(panel->geometry(), before);
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{300, 300}));

        // An installed opener replaces the selection.
        QList<QUuid> opened;
        rig.controller.setEditorOpener([&](const QUuid& id) { opened << id; });
        mouse(panel, QTest::MouseDClick, before.topLeft() + QPoint(40, 40));
        QCOMPARE(opened, QList<QUuid>{p.id});
    }

    void theMenuHasItsItemsAndTheirActions()
    {
        PanelRig rig;
        std::unique_ptr<QMenu> menu(rig.add({rig.photos[0].id}, {100, 100}).second->contextMenu());
        QCOMPARE(titles(menu.get()), (QStringList{"Edit in Velora\u2026", "—", "Lock in Place", "Hide This Piece"}));
        // Identifiers count, even one whose photo is gone.
        menu.reset(rig.add({rig.photos[0].id, QUuid::createUuid()}, {500, 100}).second->contextMenu());
        QCOMPARE(titles(menu.get()),
                 (QStringList{"Edit in Velora\u2026", "Next Photo", "—", "Lock in Place", "Hide This Piece"}));

        const auto [both, panel] = rig.add({rig.photos[0].id, rig.photos[1].id}, {900, 100});
        menu.reset(panel->contextMenu());
        const qint64 renders = PieceContent::renderCount();
        menu->actions()[1]->trigger(); // Next Photo
        QCOMPARE(rig.studio.tick(both.id), 1);
        QCoreApplication::processEvents();
        QCOMPARE(PieceContent::renderCount(), renders + 1);
        QVERIFY(panel->content()->isCrossfading());

        menu->actions()[0]->trigger(); // Edit in Velora…
        QCOMPARE(rig.studio.selectedPieceID(), std::optional<QUuid>(both.id));

        menu->actions()[3]->trigger(); // Lock in Place
        QVERIFY(rig.stored(both.id).isLocked);
        QCoreApplication::processEvents();
        QVERIFY(panel->windowHandle()->flags() & Qt::WindowTransparentForInput);
        QVERIFY(panel->isVisible());
        rig.studio.toggleLocked(both.id);
        QCoreApplication::processEvents();
        QVERIFY(!(panel->windowHandle()->flags() & Qt::WindowTransparentForInput));

        QPointer<PiecePanel> gone(panel);
        menu->actions()[4]->trigger(); // Hide This Piece
        menu.reset();
        QVERIFY(!rig.stored(both.id).isVisible);
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(gone.isNull());
        QVERIFY(!rig.controller.panel(both.id));
    }

    void aRightPressPopsUpTheMenu()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id}, {300, 300});
        mouse(panel, QTest::MousePress, panel->geometry().topLeft() + QPoint(30, 30), Qt::RightButton);
        QTRY_VERIFY(qobject_cast<QMenu*>(QApplication::activePopupWidget()));
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        QCOMPARE(menu->actions().first()->text(), QStringLiteral("Edit in Velora\u2026"));
        QVERIFY(!panel->isDragging());
        menu->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        // A quick second right click arrives as a double click, and still pops up the menu.
        const QPointF global = panel->geometry().topLeft() + QPoint(30, 30);
        QMouseEvent dclick(QEvent::MouseButtonDblClick, QPointF(30, 30), global, Qt::RightButton, Qt::RightButton, {});
        QApplication::sendEvent(panel, &dclick);
        QTRY_VERIFY(qobject_cast<QMenu*>(QApplication::activePopupWidget()));
        QApplication::activePopupWidget()->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void contentRedrawsOnlyForWhatShows()
    {
        PanelRig rig;
        const auto [p, panel] = rig.add({rig.photos[0].id, rig.photos[1].id}, {300, 300}, CollageLayout::row);
        const qint64 renders = PieceContent::renderCount();
        rig.studio.update(p.id, [](Piece& x) {
            x.name = "Renamed";
            x.placements["MAIN"] = {310, 300};
            x.displayID = "MAIN";
        });
        QCoreApplication::processEvents();
        QCOMPARE(panel->geometry().x(), 310);
        QCOMPARE(PieceContent::renderCount(), renders);
        rig.studio.update(p.id, [](Piece& x) { x.frame = FrameStyle::film; });
        QCoreApplication::processEvents();
        QCOMPARE(PieceContent::renderCount(), renders + 1);
        QVERIFY(!panel->content()->isCrossfading());
    }

    void drawingOpaqueOverTheDesktop()
    {
        // A piece with a half shadow, an opaque pixel, a faint fringe and a half-covered edge.
        QImage piece(10, 10, QImage::Format_ARGB32_Premultiplied);
        piece.fill(Qt::transparent);
        piece.setPixel(5, 5, qRgba(0, 0, 0, 128));
        piece.setPixel(6, 5, qRgba(200, 0, 0, 255));
        piece.setPixel(7, 5, qRgba(0, 0, 0, 3));
        QImage wallpaper(10, 10, QImage::Format_RGB32);
        wallpaper.fill(QColor(100, 150, 200));
        QRegion shape;

        // Over the wallpaper: shadow and piece blended with it, the window cut to what shows.
        QImage out = PieceContent::composeOpaque(piece, wallpaper, {}, {}, shape);
        QCOMPARE(out.pixel(0, 0), qRgb(100, 150, 200));
        QCOMPARE(out.pixel(5, 5), qRgb(50, 75, 100));
        QCOMPARE(out.pixel(6, 5), qRgb(200, 0, 0));
        QCOMPARE(shape, QRegion(5, 5, 2, 1));

        // Over a colour: only what the outline covers, its edge blended into the colour.
        QImage coverage(10, 10, QImage::Format_Grayscale8);
        coverage.fill(0);
        coverage.scanLine(5)[6] = 255;
        coverage.scanLine(5)[5] = 128;
        out = PieceContent::composeOpaque(piece, {}, QColor(100, 150, 200), coverage, shape);
        QCOMPARE(out.pixel(0, 0), qRgb(100, 150, 200));
        QCOMPARE(out.pixel(5, 5), qRgb(75, 112, 150));
        QCOMPARE(out.pixel(6, 5), qRgb(200, 0, 0));
        QCOMPARE(out.pixel(7, 5), qRgb(100, 150, 200));
        QCOMPARE(shape, QRegion(5, 5, 2, 1));

        // At a pixel ratio of 2 the shape is in points.
        QImage hi(20, 20, QImage::Format_ARGB32_Premultiplied);
        hi.fill(Qt::transparent);
        hi.setDevicePixelRatio(2);
        for (int y = 10; y < 14; ++y)
            for (int x = 10; x < 14; ++x) hi.setPixel(x, y, qRgba(255, 255, 255, 255));
        out = PieceContent::composeOpaque(hi, QImage(20, 20, QImage::Format_RGB32), {}, {}, shape);
        QCOMPARE(shape.boundingRect(), QRect(5, 5, 2, 2));
        QCOMPARE(out.devicePixelRatio(), 2.0);
    }
};

VELORA_TEST(TestPiecePanel)
#include "test_panel.moc"
