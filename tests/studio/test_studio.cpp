#include "fixtures.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QDir>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimeZone>

using namespace velora;
using namespace velora::testing;

namespace {

qint64 at(int h, int m, int s) { return QDateTime(QDate(2026, 11, 22), QTime(h, m, s), QTimeZone::utc()).toMSecsSinceEpoch(); }
} // namespace

class TestStudio : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void init()
    {
        QSettings().clear();
        QDir(dir.path()).removeRecursively();
        Storage::setRoot(QDir(dir.path()).filePath("Velora"));
    }

    void newPieceChoosesLayoutWidthAndName()
    {
        Studio s;
        QCOMPARE(s.newPiece(newIDs(2)).name, QStringLiteral("Collage 1"));
        // A chosen layout sets the width as the photo count would.
        const struct { int n; std::optional<CollageLayout> asked; CollageLayout layout; double width; int kept; } rules[] = {
            {0, {}, CollageLayout::single, 300, 0},        {1, {}, CollageLayout::single, 300, 1},
            {2, {}, CollageLayout::row, 520, 2},           {3, {}, CollageLayout::row, 520, 3},
            {4, {}, CollageLayout::stack, 380, 4},         {5, {}, CollageLayout::stack, 380, 5},
            {6, {}, CollageLayout::justified, 560, 6},     {45, {}, CollageLayout::justified, 560, 40},
            {2, CollageLayout::stack, CollageLayout::stack, 380, 2}, {1, CollageLayout::frieze, CollageLayout::frieze, 560, 1}};
        for (const auto& r : rules) {
            const Piece p = s.newPiece(newIDs(r.n), r.asked);
            QCOMPARE(p.layout, r.layout);
            QCOMPARE(p.width, r.width);
            QCOMPARE(p.photoIDs.size(), r.kept);
            QVERIFY(p.seed >= 1);
            QCOMPARE(p.tilt, 0.0);
        }
        QCOMPARE(s.selectedPieceID(), std::optional(s.pieces().back().id));
        QVERIFY(s.showInspector());
        QCOMPARE(s.page(), Page::pieces);
    }

    void suggestedNamesFillTheGaps()
    {
        Studio s;
        const Photo beach = makePhoto(300, 200, "Beach"), untitled = makePhoto();
        s.setPhotos({beach, untitled});
        s.setPieces({Piece::make("Photo 1", {}), Piece::make("Photo 3", {}), Piece::make("Beach", {})});
        QCOMPARE(s.newPiece({untitled.id}).name, QStringLiteral("Photo 2"));
        QCOMPARE(s.newPiece({beach.id}).name, QStringLiteral("Beach"));
        QCOMPARE(s.newPiece({}).name, QStringLiteral("Photo 4"));
        QCOMPARE(s.newPiece({beach.id, untitled.id}).name, QStringLiteral("Collage 1"));
        s.update(s.pieces().front().id, [](Piece& p) { p.name = "photo 1"; });
        QCOMPARE(s.suggestedName({}), QStringLiteral("Photo 1")); // names compare case-sensitively
    }

    void tiltedFramesGetOneDecimal()
    {
        Studio s;
        s.setDefaultFrame(FrameStyle::tape);
        QCOMPARE(QSettings().value("defaultFrame").toString(), QStringLiteral("tape"));
        bool sawNonZero = false;
        for (int i = 0; i < 200; ++i) {
            const Piece p = s.newPiece(newIDs(1));
            QCOMPARE(p.frame, FrameStyle::tape);
            QVERIFY(p.tilt >= -3 && p.tilt <= 3);
            QCOMPARE(std::round(p.tilt * 10) / 10, p.tilt);
            sawNonZero |= p.tilt != 0;
        }
        QVERIFY(sawNonZero);
    }

    void addTurnsASingleIntoARowUnlessItIsASlideshow()
    {
        Studio s;
        const Piece a = s.newPiece(newIDs(1));
        s.add(newIDs(2) + a.photoIDs, a.id); // what it holds already is not added twice
        QCOMPARE(s.piece(a.id)->photoIDs.size(), 3);
        QCOMPARE(s.piece(a.id)->layout, CollageLayout::row);
        const Piece b = s.newPiece(newIDs(1));
        s.update(b.id, [](Piece& p) { p.rotateMinutes = 15; });
        s.add(newIDs(2), b.id);
        QCOMPARE(s.piece(b.id)->layout, CollageLayout::single);
    }

    void lockHideAndShow()
    {
        Studio s;
        QVERIFY(!s.allLocked()); // nothing to unlock
        const Piece a = s.newPiece(newIDs(1));
        s.toggleLocked(a.id);
        QVERIFY(s.allLocked());
        const Piece b = s.newPiece(newIDs(1));
        QVERIFY(!s.allLocked());

        s.toggleVisible(a.id);
        s.setAllHidden(true);
        QCOMPARE(QSettings().value("allHidden").toBool(), true);
        s.toggleVisible(a.id);
        QVERIFY(s.piece(a.id)->isVisible);
        QVERIFY(!s.allHidden());
        QCOMPARE(QSettings().value("allHidden").toBool(), false);
        QVERIFY(s.piece(b.id)->isVisible); // hiding all never touched it

        s.setAllHidden(true);
        s.newPiece(newIDs(1));
        QVERIFY(!s.allHidden()); // a new piece is always shown
        QSettings().setValue("allHidden", true);
        QVERIFY(Studio().allHidden());
    }

    // A copy lands 30 points right and down of its original, with the same deal of the fan.
    void duplicateAndDelete()
    {
        Studio s;
        const Piece a = s.newPiece(newIDs(1));
        s.update(a.id, [](Piece& p) { p.placements.insert("D", {100, 200}); });
        s.duplicate(a.id);
        const Piece copy = s.pieces().back();
        QCOMPARE(copy.placements.value("D"), (Point{130, 170}));
        QCOMPARE(copy.seed, a.seed);
        s.duplicate(QUuid::createUuid());
        QCOMPARE(s.pieces().size(), 2);

        s.select(a.id);
        s.setShowInspector(true);
        s.deletePiece(a.id);
        QCOMPARE(s.pieces().size(), 1);
        QVERIFY(!s.selectedPieceID());
        QVERIFY(!s.showInspector());
    }

    void everyChangeIsSignalledAndSavesAreDebounced()
    {
        Studio s;
        s.load();
        QSignalSpy changed(&s, &Studio::changed);
        const Piece a = s.newPiece(newIDs(1));
        QVERIFY(s.savePending());
        for (int i = 0; i < 5; ++i) s.update(a.id, [i](Piece& p) { p.width = 300 + i; });
        QVERIFY(changed.count() >= 6);
        QVERIFY(!QFileInfo::exists(Storage::piecesFile()));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(Storage::piecesFile()), 3000);
        QVERIFY(QFileInfo::exists(Storage::libraryFile()));
        s.setPage(Page::styles);
        QVERIFY(!s.savePending()); // navigation is not saved

        Studio reloaded;
        reloaded.load();
        QCOMPARE(reloaded.pieces(), s.pieces());
    }

    void loadingNeverWritesAndAnUnreadableFileSurvives()
    {
        Storage::prepare();
        QVERIFY(writeBytes(Storage::piecesFile(), "{ not an array"));
        Studio s;
        s.load();
        QVERIFY(s.pieces().isEmpty());
        QVERIFY(!s.savePending());
        QVERIFY(!QFileInfo::exists(Storage::libraryFile()));
        s.newPiece(newIDs(1));
        s.saveNow();
        QCOMPARE(QDir(Storage::root()).entryList({"pieces.unreadable-*.json"}).size(), 1);
    }

    void slideshowWalksTheClock()
    {
        Studio s;
        qint64 clock = at(12, 0, 0);
        s.setClock([&clock] { return clock; });
        const Piece p = s.newPiece(newIDs(2));
        QSignalSpy advanced(&s, &Studio::advanced);

        s.rotateDue(); // 12:00:00, not a slideshow yet
        QVERIFY(!s.lastRotation(p.id));
        clock = at(12, 0, 3);
        s.update(p.id, [](Piece& x) { x.rotateMinutes = 1; });
        for (int t = 10; t <= 180; t += 10) {
            clock = at(12, 0, 0) + t * 1000LL;
            s.rotateDue();
            if (t == 10) QCOMPARE(s.lastRotation(p.id), std::optional(at(12, 0, 10)));
        }
        // seen 12:00:10, then advances at 12:01:10 and 12:02:10; 12:03:10 is not reached.
        QCOMPARE(advanced.count(), 2);
        QCOMPARE(s.tick(p.id), qint64(2));
        QCOMPARE(s.lastRotation(p.id), std::optional(at(12, 2, 10)));

        s.advance(p.id); // by hand at 12:03:00: the interval restarts from now
        QCOMPARE(s.tick(p.id), qint64(3));
        clock = at(12, 3, 50);
        s.rotateDue();
        QCOMPARE(s.tick(p.id), qint64(3));
        clock = at(12, 4, 0);
        s.rotateDue();
        QCOMPARE(s.tick(p.id), qint64(4));
    }

    void slideshowEligibility()
    {
        Studio s;
        qint64 clock = at(12, 0, 0);
        s.setClock([&clock] { return clock; });
        const Piece one = s.newPiece(newIDs(1));
        s.update(one.id, [](Piece& x) { x.rotateMinutes = 1; });
        const Piece hidden = s.newPiece(newIDs(3));
        s.update(hidden.id, [](Piece& x) { x.rotateMinutes = 1; });
        s.rotateDue();
        QVERIFY(!s.lastRotation(one.id)); // one photo: never
        QCOMPARE(s.lastRotation(hidden.id), std::optional(clock));
        s.toggleVisible(hidden.id);
        clock += 3600'000;
        s.rotateDue();
        QCOMPARE(s.tick(hidden.id), qint64(0)); // invisible: keeps its old entry
        s.toggleVisible(hidden.id);
        s.setAllHidden(true); // hiding all doesn't stop the slideshow
        s.rotateDue();
        QCOMPARE(s.tick(hidden.id), qint64(1));

        s.add(newIDs(1), one.id); // now eligible; its clock starts at the next tick
        s.rotateDue();
        QCOMPARE(s.lastRotation(one.id), std::optional(clock));
        QCOMPARE(s.tick(one.id), qint64(0));

        const QUuid nobody = QUuid::createUuid();
        s.advance(nobody);
        QCOMPARE(s.tick(nobody), qint64(1));

        s.update(one.id, [](Piece& x) { x.rotateMinutes = std::numeric_limits<qint64>::max(); });
        clock += 60'000;
        s.rotateDue(); // absurd interval: never due, no overflow
        QCOMPARE(s.tick(one.id), qint64(0));
    }
};

VELORA_TEST(TestStudio)
#include "test_studio.moc"
