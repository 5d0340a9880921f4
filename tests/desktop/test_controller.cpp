// The desktop controller over fake screens and panels: cascade, placements, clamp, the top-edge
// rule, hiding and releasing, coalesced syncs; and a pieces file far beyond any real desktop.
#include "child_process.h"
#include "fakes.h"
#include "image_store.h"
#include "testing.h"

#include <QSignalSpy>

#include <cmath>
#include <limits>

using namespace velora;
using namespace velora::testing;

namespace {
const CollageLayout single = CollageLayout::single;
}

class TestDesktopController : public QObject {
    Q_OBJECT
private slots:
    void allHiddenAndLockedPanels()
    {
        Rig rig;
        rig.controller.sync();
        QCOMPARE(rig.controller.panelCount(), 0u);

        const auto photos = rig.addPhotos({{1500, 1000}});
        const Piece a = rig.addPiece({photos[0].id}, single, {{"MAIN", {100, 200}}});
        const Piece b = rig.addPiece({photos[0].id}, single, {{"MAIN", {500, 200}}});
        rig.controller.sync();
        QCOMPARE(rig.controller.panelCount(), 2u);
        QVERIFY(rig.log[a.id]->isShown());

        rig.studio.setAllHidden(true);
        rig.controller.sync();
        QCOMPARE(rig.log.released, 2);
        QVERIFY(rig.log.live.empty());

        // Back again, placed from what is stored.
        rig.studio.setAllHidden(false);
        rig.controller.sync();
        QCOMPARE(rig.log.made, 4);
        QCOMPARE(rig.log[b.id]->frame().x, 500.0);
        QCOMPARE(rig.log[b.id]->frame().y, 200.0);

        // Locking lets clicks through, and unlocking takes them again.
        for (bool locked : {true, false}) {
            rig.studio.toggleLocked(a.id);
            rig.controller.sync();
            QCOMPARE(rig.log[a.id]->ignoresMouse(), locked);
        }
    }

    void newPiecesCascadeFromTheTopRightAndAreStoredAtOnce()
    {
        Rig rig;
        const auto photos = rig.addPhotos({{1500, 1000}});
        QList<Piece> pieces;
        for (int i = 0; i < 9; ++i) pieces.append(rig.addPiece({photos[0].id}));
        QSignalSpy changed(&rig.studio, &Studio::changed);
        rig.controller.sync();

        const Size size = rig.outerSize(pieces[0]);
        for (int i = 0; i < 3; ++i) {
            const double x = 1440 - size.width - 40 - 34 * i, y = 875 - size.height - 30 - 34 * i;
            QCOMPARE(rig.log[pieces[i].id]->frame(), (Rect{x, y, size.width, size.height}));
            QCOMPARE(rig.stored(pieces[i].id).placements.value("MAIN"), (Point{std::round(x), std::round(y)}));
        }
        // The ninth lands where the first did.
        QCOMPARE(rig.log[pieces[8].id]->frame(), rig.log[pieces[0].id]->frame());
        QCOMPARE(changed.count(), 9);

        // The next sync places from the stored whole points; the one after that changes nothing.
        rig.controller.sync();
        QCOMPARE(rig.log[pieces[0].id]->frame().x, std::round(1440 - size.width - 40));
        const int setsBefore = rig.log[pieces[0].id]->frameSets;
        changed.clear();
        rig.controller.sync();
        QCOMPARE(changed.count(), 0);
        QCOMPARE(rig.log[pieces[0].id]->frameSets, setsBefore);
    }

    void placementIsRelativeToItsDisplayAndReturnsWithIt()
    {
        Rig rig({mainDisplay(), leftDisplay()});
        const auto photos = rig.addPhotos({{1000, 1000}});
        const Piece p = rig.addPiece({photos[0].id}, single, {{"LEFT", {120, 80}}}, QString("LEFT"));
        rig.controller.start();
        QCOMPARE(rig.log[p.id]->frame(), (Rect{-1320, 80, rig.log[p.id]->frame().width, rig.log[p.id]->frame().height}));
        QVERIFY(!rig.stored(p.id).placements.contains("MAIN"));

        // Its display gone: shown on the first screen by the cascade; its display stays remembered.
        rig.screens.set({mainDisplay()});
        QCoreApplication::processEvents();
        QCOMPARE(rig.log[p.id]->frame().x, 1440 - rig.outerSize(p).width - 40);
        QCOMPARE(rig.stored(p.id).displayID, std::optional<QString>("LEFT"));
        QVERIFY(rig.stored(p.id).placements.contains("MAIN"));

        rig.screens.set({mainDisplay(), leftDisplay()});
        QVERIFY(rig.controller.syncPending());
        QCoreApplication::processEvents();
        QCOMPARE(rig.log[p.id]->frame().x, -1320.0);
    }

    void savePlacementRoundsHalvesAwayAndPublishesOnlyChanges()
    {
        Rig rig;
        const Piece p = rig.addPiece({rig.addPhotos({{1000, 1000}})[0].id});
        QSignalSpy changed(&rig.studio, &Studio::changed);

        rig.controller.savePlacement(p.id, {100.5, 50.4}, mainDisplay());
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{101, 50}));
        QCOMPARE(changed.count(), 1);
        rig.controller.savePlacement(p.id, {100.5, 50.4}, mainDisplay());
        rig.controller.savePlacement(p.id, {100.6, 49.6}, mainDisplay());
        QCOMPARE(changed.count(), 1);

        // Relative to the other display's frame; the first entry stays.
        rig.controller.savePlacement(p.id, {-1339.5, -10.5}, leftDisplay());
        QCOMPARE(rig.stored(p.id).placements.value("LEFT"), (Point{101, -11}));
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{101, 50}));
        QVERIFY(!rig.stored(p.id).displayID.has_value());

        // Unknown pieces and non-finite points change nothing.
        changed.clear();
        rig.controller.savePlacement(QUuid::createUuid(), {1, 1}, mainDisplay());
        rig.controller.savePlacement(p.id, {std::numeric_limits<double>::quiet_NaN(), 1}, mainDisplay());
        rig.controller.savePlacement(p.id, {1, std::numeric_limits<double>::infinity()}, mainDisplay());
        QCOMPARE(changed.count(), 0);
    }

    void clampShowsHalfOnScreenWithoutStoring()
    {
        Rig rig;
        const auto photos = rig.addPhotos({{1000, 1000}});
        const Piece right = rig.addPiece({photos[0].id}, single, {{"MAIN", {2000, -500}}});
        const Piece left = rig.addPiece({photos[0].id}, single, {{"MAIN", {-5000, 5000}}});
        const Size size = rig.outerSize(right);
        for (int i = 0; i < 3; ++i) rig.controller.sync();

        QCOMPARE(rig.log[right.id]->frame(), (Rect{1440 - size.width * 0.5, -size.height * 0.5, size.width, size.height}));
        QCOMPARE(rig.log[left.id]->frame(), (Rect{-size.width * 0.5, 900 - size.height, size.width, size.height}));
        QCOMPARE(rig.stored(right.id).placements.value("MAIN"), (Point{2000, -500}));
        QCOMPARE(rig.stored(left.id).placements.value("MAIN"), (Point{-5000, 5000}));
    }

    void steppingToAnotherPhotoKeepsTheTopEdge()
    {
        Rig rig;
        const auto photos = rig.addPhotos({{1000, 1000}, {1000, 1001}, {1000, 1500}});
        const Piece p = rig.addPiece({photos[0].id, photos[1].id, photos[2].id}, single, {{"MAIN", {100, 300}}});
        rig.controller.sync();
        const Rect before = rig.log[p.id]->frame();
        QCOMPARE(before.y, 300.0);
        const int sets = rig.log[p.id]->frameSets;

        // Outer sizes are whole points: a photo a hair taller gives the same panel and moves nothing.
        rig.studio.advance(p.id);
        QSignalSpy changed(&rig.studio, &Studio::changed);
        rig.controller.sync();
        QCOMPARE(rig.log[p.id]->lastView.shown().first().id, photos[1].id);
        QCOMPARE(rig.log[p.id]->frame(), before);
        QCOMPARE(rig.log[p.id]->frameSets, sets);
        QCOMPARE(changed.count(), 0);

        rig.studio.advance(p.id); // the portrait photo now
        rig.controller.sync();
        const Rect after = rig.log[p.id]->frame();
        QVERIFY(after.height > before.height + 10);
        QCOMPARE(after.x, 100.0);
        QCOMPARE(after.maxY(), before.maxY());
        QCOMPARE(rig.stored(p.id).placements.value("MAIN"), (Point{100, std::round(before.maxY() - after.height)}));

    }

    void aDraggedPanelStaysUnderTheHandButItsMarginFollows()
    {
        Rig rig;
        const Piece p = rig.addPiece({rig.addPhotos({{1000, 1000}})[0].id}, single, {{"MAIN", {100, 300}}});
        rig.controller.sync();
        FakePanel* panel = rig.log[p.id];
        const double oldMargin = panel->margin();
        panel->dragging = true;
        panel->setFrame({640, 120, panel->frame().width, panel->frame().height});
        const int sets = panel->frameSets;

        rig.studio.update(p.id, [](Piece& x) {
            x.width = 600;
            x.placements["MAIN"] = {5, 5};
        });
        for (int i = 0; i < 5; ++i) rig.controller.sync();
        QCOMPARE(panel->frameSets, sets);
        QCOMPARE(panel->frame().x, 640.0);
        const Piece& wide = rig.stored(p.id);
        QCOMPARE(panel->margin(), PieceView::geometry(wide, rig.studio.photos(wide), std::nullopt, false).margin);
        QVERIFY(panel->margin() > oldMargin);

        panel->dragging = false;
        rig.controller.sync();
        QCOMPARE(panel->frame().x, 5.0);
    }

    void hiddenDeletedAndPhotolessPiecesLoseTheirPanels()
    {
        Rig rig;
        const auto photos = rig.addPhotos({{1000, 1000}, {800, 600}});
        const QMap<QString, Point> at{{"MAIN", {10, 10}}};
        const Piece hidden = rig.addPiece({photos[0].id}, single, at);
        const Piece deleted = rig.addPiece({photos[0].id}, single, at);
        rig.addPiece({photos[1].id}, single, at); // its photo goes
        const Piece stays = rig.addPiece({QUuid::createUuid(), photos[0].id}, CollageLayout::row, at);
        rig.controller.sync();
        QCOMPARE(rig.controller.panelCount(), 4u);
        // Identifiers without a photo are skipped.
        QCOMPARE(rig.log[stays.id]->lastView.photos.size(), 1);

        rig.studio.toggleVisible(hidden.id);
        rig.studio.deletePiece(deleted.id);
        rig.studio.setPhotos({photos[0]});
        rig.controller.sync();
        QCOMPARE(rig.controller.panelCount(), 1u);
        QVERIFY(rig.log[stays.id]);
        QCOMPARE(rig.log.released, 3);
    }

    void changesAreFoldedIntoOneSyncPerTurn()
    {
        Rig rig;
        const Piece p = rig.addPiece({rig.addPhotos({{1000, 1000}})[0].id}, single, {{"MAIN", {10, 10}}});
        rig.controller.start();
        QCOMPARE(rig.controller.syncCount(), 1);
        for (int i = 0; i < 50; ++i) rig.studio.update(p.id, [i](Piece& x) { x.placements["MAIN"] = {10.0 + i, 10}; });
        QVERIFY(rig.controller.syncPending());
        QCOMPARE(rig.controller.syncCount(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(rig.controller.syncCount(), 2);
        QVERIFY(!rig.controller.syncPending());
        // The sync saw the state after the last change.
        QCOMPARE(rig.log[p.id]->frame().x, 59.0);
    }

    void aQueuedSyncDiesWithItsController()
    {
        Rig rig;
        auto* controller = new DesktopController(rig.studio, rig.screens);
        controller->setPanelFactory(rig.log.factory());
        rig.addPiece({rig.addPhotos({{1000, 1000}})[0].id}, single, {{"MAIN", {10, 10}}});
        controller->start();
        rig.studio.setAllHidden(true);
        QVERIFY(controller->syncPending());
        delete controller;
        QCoreApplication::processEvents();
        QVERIFY(rig.log.live.empty());
    }

    void absurdPiecesGetNoWindow()
    {
        Rig rig;
        const auto photos = rig.addPhotos({{1000, 1000}});
        const Piece huge = rig.addPiece({photos[0].id});
        const Piece nan = rig.addPiece({photos[0].id});
        rig.studio.update(huge.id, [](Piece& x) { x.width = 1e12; });
        rig.studio.update(nan.id, [](Piece& x) { x.width = std::numeric_limits<double>::quiet_NaN(); });
        rig.controller.sync();
        QCOMPARE(rig.controller.panelCount(), 0u);
        QVERIFY(rig.stored(huge.id).placements.isEmpty());
    }
};

VELORA_TEST(TestDesktopController)
class TestManyPieces : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void hundredThousandVisiblePiecesStartBounded()
    {
        Storage::setRoot(QDir(dir.path()).filePath("Velora"));
        Storage::prepare();
        QImage picture(400, 300, QImage::Format_RGB32);
        picture.fill(QColor(90, 140, 110));
        QList<Photo> photos;
        for (int i = 0; i < 7; ++i) photos.append(*ImageStore::store(picture, QString::number(i), std::nullopt, std::nullopt));
        QList<Piece> pieces;
        pieces.reserve(100'000);
        for (int i = 0; i < 100'000; ++i) {
            Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), {photos[i % 7].id, photos[(i + 1) % 7].id});
            p.layout = CollageLayout::row;
            p.placements.insert(QStringLiteral("Main"), {double(i % 1500), double(i % 800)});
            pieces.append(p);
        }
        QVERIFY(StateFiles::writePhotos(photos));
        QVERIFY(StateFiles::writePieces(pieces));
        const qint64 fileBytes = QFileInfo(Storage::piecesFile()).size();
        QVERIFY2(fileBytes < StateFiles::maxFileBytes, qPrintable(QString::number(fileBytes)));
        pieces.clear();

        ChildProcess child({"start", Storage::root()});
        const QByteArray out = child.output(60'000);
        const ChildProcess::Result r = child.wait(0);
        const long peakKb = child.reportedPeakKb();
        qInfo("%s, peak %ld MB; file %lld MB", out.split('\n').front().constData(), peakKb / 1024, fileBytes >> 20);
        QCOMPARE(r.exitCode, 0);
        QVERIFY(out.startsWith(QByteArray::number(DesktopController::maxPanels) + " panels of 100000 pieces"));
        QVERIFY2(r.ms < 10'000, qPrintable(QString::number(r.ms)));
        QVERIFY2(peakKb > 0 && peakKb < 1536 * 1024, qPrintable(QString::number(peakKb)));
    }
};

VELORA_TEST(TestManyPieces)
#include "test_controller.moc"
