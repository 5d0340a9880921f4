#include "demo_art.h"
#include "editor_rig.h"
#include "styles_page.h"
#include "testing.h"

#include <QDir>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalSpy>

using namespace velora;
using namespace velora::testing;

namespace {

// Shown at a given size, with every preview drawn.
std::unique_ptr<StylesPage> shownPage(EditorRig& rig, QSize size = {960, 720})
{
    auto page = std::make_unique<StylesPage>(rig.app);
    page->resize(size);
    page->show();
    if (!QTest::qWaitForWindowExposed(page.get())) qWarning("styles page not exposed");
    QCoreApplication::processEvents();
    page->renderPending();
    return page;
}

// The share of pixels in the middle of a preview that are drawn (not transparent).
double coverage(const QImage& image)
{
    if (image.isNull()) return 0;
    int drawn = 0, all = 0;
    for (int y = image.height() / 4; y < image.height() * 3 / 4; y += 2)
        for (int x = image.width() / 4; x < image.width() * 3 / 4; x += 2, ++all)
            if (qAlpha(image.pixel(x, y)) > 200) ++drawn;
    return all ? double(drawn) / all : 0;
}

} // namespace

class TestStylesPage : public QObject {
    Q_OBJECT

private slots:
    // The header and the cards' buttons follow the selected piece.
    void selectionLine()
    {
        EditorRig rig;
        auto page = shownPage(rig);
        const auto buttonsShown = [&](bool shown) {
            for (StyleCard* c : page->frameCards() + page->layoutCards())
                if (c->useButton()->isVisible() != shown) return false;
            return true;
        };
        QVERIFY(!page->selectionLine()->isVisible());
        QVERIFY(buttonsShown(false));
        const Piece piece = rig.addPiece(rig.addPhotos(2));
        QCOMPARE(page->selectionLine()->text(), QStringLiteral("Click a style to use it on \u201cBeach\u201d"));
        QVERIFY(buttonsShown(true));
        // Renamed elsewhere, then a name far too long for one line, then gone.
        rig.edits.update(piece.id, "Rename", [](Piece& p) { p.name = QStringLiteral("Dunes"); });
        QCOMPARE(page->selectionLine()->text(), QStringLiteral("Click a style to use it on \u201cDunes\u201d"));
        const QString huge(100'000, QLatin1Char('x'));
        rig.edits.update(piece.id, "Rename", [&](Piece& p) { p.name = huge; });
        QVERIFY(page->selectionLine()->text().size() < 120);
        QVERIFY(page->selectionLine()->text().endsWith(QStringLiteral("\u2026\u201d")));
        QCOMPARE(rig.stored(piece.id).name, huge);
        rig.studio.deletePiece(piece.id);
        QVERIFY(!page->selectionLine()->isVisible());
        QVERIFY(buttonsShown(false));
    }

    void defaultFrameRoundTrip()
    {
        EditorRig rig;
        auto page = shownPage(rig);
        const auto defaults = [&] {
            QList<FrameStyle> out;
            for (StyleCard* c : page->frameCards())
                if (c->isDefault()) out << *c->frame();
            return out;
        };
        QCOMPARE(defaults(), QList<FrameStyle>{FrameStyle::gallery});

        // A click on the card makes it the frame of new pieces, stored in the settings.
        StyleCard* film = page->card(FrameStyle::film);
        QSignalSpy changed(&rig.settings, &Settings::defaultFrameChanged);
        QTest::mouseClick(film, Qt::LeftButton, {}, film->previewRect().center());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(rig.settings.store().value(Settings::defaultFrameKey).toString(), QStringLiteral("film"));
        QCOMPARE(defaults(), QList<FrameStyle>{FrameStyle::film});
        const QList<Photo> one = rig.addPhotos(1);
        QCOMPARE(rig.studio.newPiece({one.front().id}).frame, FrameStyle::film);

        // From the keyboard.
        StyleCard* tape = page->card(FrameStyle::tape);
        tape->setFocus();
        QTest::keyClick(tape, Qt::Key_Space);
        QCOMPARE(rig.settings.defaultFrame(), FrameStyle::tape);

        // Chosen elsewhere (the settings window): the tag follows.
        rig.settings.setDefaultFrame(FrameStyle::instant);
        QCOMPARE(defaults(), QList<FrameStyle>{FrameStyle::instant});
        // Not a change of any piece: nothing to undo.
        QCOMPARE(rig.edits.stack().count(), 0);
    }

    void useOnSelectedPiece()
    {
        EditorRig rig;
        auto page = shownPage(rig);
        const Piece piece = rig.addPiece(rig.addPhotos(3), CollageLayout::row);
        QCoreApplication::processEvents();

        QTest::mouseClick(page->card(FrameStyle::instant)->useButton(), Qt::LeftButton);
        QCOMPARE(rig.stored(piece.id).frame, FrameStyle::instant);
        QCOMPARE(rig.settings.defaultFrame(), FrameStyle::gallery); // the default stays
        QTest::mouseClick(page->card(CollageLayout::stack)->useButton(), Qt::LeftButton);
        QCOMPARE(rig.stored(piece.id).layout, CollageLayout::stack);
        // A click on a layout card does the same.
        StyleCard* column = page->card(CollageLayout::column);
        QTest::mouseClick(column, Qt::LeftButton, {}, column->previewRect().center());
        QCOMPARE(rig.stored(piece.id).layout, CollageLayout::column);
        QCoreApplication::processEvents();
        QCOMPARE(rig.log[piece.id]->lastView.piece.layout, CollageLayout::column); // on the desktop at once

        QCOMPARE(rig.edits.stack().count(), 3); // each one step to undo

        // Without a selection a layout card does nothing.
        rig.studio.setSelectedPieceID(std::nullopt);
        QTest::mouseClick(page->card(CollageLayout::row), Qt::LeftButton, {}, column->previewRect().center());
        QCOMPARE(rig.stored(piece.id).layout, CollageLayout::column);
    }

    void previewsOncePerSizeAndRatio()
    {
        EditorRig rig;
        // The sample pictures live in memory only.
        for (const Photo& p : DemoArt::paintedSamples()) QVERIFY(p.fileName.startsWith(QStringLiteral("memory:")));
        auto page = shownPage(rig);
        QCOMPARE(page->renders(), 11);
        for (StyleCard* c : page->frameCards() + page->layoutCards()) {
            const QImage preview = page->preview(c);
            QVERIFY2(coverage(preview) > 0.3, qPrintable(c->title()));
            QVERIFY(preview.deviceIndependentSize().width() <= c->previewRect().width());
        }
        // Paints and a second pass draw nothing new; nothing was written to the library.
        page->repaint();
        page->renderPending();
        QCOMPARE(page->renders(), 11);
        QVERIFY(QDir(Storage::photosDir()).entryList(QDir::Files).isEmpty());

        // Another size draws each again, once.
        page->resize(1300, 720);
        QCoreApplication::processEvents();
        page->renderPending();
        page->repaint();
        QCOMPARE(page->renders(), 22);

        // The queue renders what is painted, one per turn, without being asked; cards out of view wait.
        page->resize(700, 720);
        QTRY_VERIFY(page->renders() > 22);
        QTest::qWait(100);
        QVERIFY(page->renders() < 33);
    }

    void adaptiveColumns()
    {
        EditorRig rig;
        auto page = shownPage(rig, {1100, 800});
        const auto& cards = page->frameCards();
        const StyleGrid* grid = static_cast<StyleGrid*>(cards.front()->parentWidget());
        const int columns = grid->columnsFor(grid->width());
        QVERIFY(columns >= 2);
        // 18 points between cards, across and down.
        QCOMPARE(cards[1]->geometry().left() - cards[0]->geometry().right() - 1, StyleGrid::spacing);
        QCOMPARE(cards[columns]->geometry().top() - cards[0]->geometry().bottom() - 1, StyleGrid::spacing);
        QCOMPARE(grid->columnsFor(100 * StyleGrid::minimumCardWidth), 5); // never more than cards

        // Cards grow by their button while a piece is selected, and shrink back.
        const int before = cards[0]->height();
        rig.addPiece(rig.addPhotos(1));
        QVERIFY(cards[0]->height() > before);
        rig.studio.setSelectedPieceID(std::nullopt);
        QCOMPARE(cards[0]->height(), before);
    }
};

VELORA_TEST(TestStylesPage)
#include "test_styles_page.moc"
