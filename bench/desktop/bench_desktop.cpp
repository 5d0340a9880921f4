// The desktop with 200 pieces: a sync that changes nothing (against one pass over the pieces
// building their geometry, timed in the same run), a drag (moves without redrawing), the
// memory each shown piece costs, and what a redraw adds for the input shape and, without a
// compositor, for drawing opaque over the wallpaper.
#include "bench_common.h"
#include "desktop_controller.h"
#include "demo_art.h"
#include "piece_content.h"
#include "piece_outline.h"
#include "piece_panel.h"
#include "piece_renderer.h"
#include "piece_view.h"
#include "storage.h"
#include "studio.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QMouseEvent>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>
#include <unistd.h>

using namespace velora;

namespace {

constexpr int pieceCount = 200;

// Median of runs, in microseconds.
double medianMicros(const std::function<void()>& work, int runs) { return bench::medianMs(work, runs) * 1e3; }

void settle()
{
    for (int i = 0; i < 20; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

void send(QWidget* w, QEvent::Type type, QPointF global, Qt::MouseButtons buttons)
{
    QMouseEvent e(type, global - QPointF(w->pos()), global, Qt::LeftButton, buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraBench"));
    QTemporaryDir dir;
    const auto demo = bench::demoPhotos(dir.path());
    if (!demo) return 1;
    const QList<Photo>& photos = *demo;
    bench::decodeAll(photos);

    Studio studio;
    studio.setAllHidden(false);
    studio.setPhotos(photos);
    QtScreens screens;
    const QString key = screens.screens().first().key;
    QList<Piece> pieces;
    for (int i = 0; i < pieceCount; ++i) {
        const auto layout = allCollageLayouts[size_t(i) % allCollageLayouts.size()];
        const auto style = allFrameStyles[size_t(i / 6) % allFrameStyles.size()];
        QList<QUuid> ids;
        const int n = layout == CollageLayout::single ? 1 : 2 + i % 4;
        for (int k = 0; k < n; ++k) ids.append(photos[(i + k) % photos.size()].id);
        Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), ids);
        p.layout = layout;
        p.frame = style;
        p.width = 180 + (i % 5) * 40;
        p.placements[key] = {double((i * 37) % 600), double((i * 53) % 400)};
        pieces.append(p);
    }
    studio.setPieces(pieces);

    DesktopController controller(studio, screens);
    const double rssBefore = bench::residentMiB();
    const qint64 rendersBefore = PieceContent::renderCount();
    QElapsedTimer first;
    first.start();
    controller.start();
    const double firstMs = double(first.nsecsElapsed()) / 1e6;
    settle();
    const double rssAfter = bench::residentMiB();
    const qint64 firstRenders = PieceContent::renderCount() - rendersBefore;

    // A sync that changes nothing.
    int published = 0;
    QObject::connect(&studio, &Studio::changed, [&] { ++published; });
    const qint64 renders0 = PieceContent::renderCount();
    const double syncUs = medianMicros([&] { controller.sync(); }, 200);
    const qint64 syncRenders = PieceContent::renderCount() - renders0;
    const int publishedBySyncs = published;

    // The reference: one pass over the pieces building their geometry.
    double sink = 0;
    const double referenceUs = medianMicros([&] {
        for (const Piece& p : studio.pieces()) {
            const PieceView view{p, studio.photos(p), studio.tick(p.id), std::nullopt};
            const QList<Photo> shown = view.shown();
            sink += PieceView::geometry(p, shown, std::nullopt, !view.caption(shown).isEmpty()).outerSize.width;
        }
    }, 200);

    // Per redraw at 2x: the rendering, the outline for the input shape, and the opaque drawing
    // over a wallpaper (each over all pieces, best of 3, per piece).
    std::vector<PieceView> views;
    std::vector<QImage> images, wallpapers;
    for (const Piece& p : studio.pieces()) {
        views.push_back({p, studio.photos(p), studio.tick(p.id), std::nullopt});
        images.push_back(PieceRenderer::render(views.back(), 2));
        wallpapers.emplace_back(images.back().size(), QImage::Format_RGB32);
        wallpapers.back().fill(Qt::darkCyan);
    }
    const double perPiece = 1.0 / double(views.size());
    const double renderMs = bench::bestMs([&] {
        for (const PieceView& v : views) sink += PieceRenderer::render(v, 2).width();
    }, 3) * perPiece;
    const double outlineMs = bench::bestMs([&] {
        for (const PieceView& v : views) sink += PieceOutline::region(v, 2).rectCount();
    }, 3) * perPiece;
    const double opaqueMs = bench::bestMs([&] {
        QRegion shape;
        for (size_t i = 0; i < images.size(); ++i)
            sink += PieceContent::composeOpaque(images[i], wallpapers[i], {}, {}, shape).width() + shape.rectCount();
    }, 3) * perPiece;

    // A drag of 100 steps and the drop.
    PiecePanel* panel = controller.panel(pieces[17].id);
    const qint64 renders1 = PieceContent::renderCount();
    const QPointF grab = QPointF(panel->pos()) + QPointF(30, 30);
    send(panel, QEvent::MouseButtonPress, grab, Qt::LeftButton);
    QElapsedTimer dragClock;
    dragClock.start();
    for (int i = 1; i <= 100; ++i) send(panel, QEvent::MouseMove, grab + QPointF(i * 1.5, i), Qt::LeftButton);
    const double perMoveUs = double(dragClock.nsecsElapsed()) / 1e3 / 100;
    const qint64 dragRenders = PieceContent::renderCount() - renders1;
    const int publishedBeforeDrop = published;
    send(panel, QEvent::MouseButtonRelease, grab + QPointF(150, 100), Qt::NoButton);
    QElapsedTimer wait;
    wait.start();
    while (wait.elapsed() < 400) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    const qint64 dropRenders = PieceContent::renderCount() - renders1 - dragRenders;

    if (sink <= 0) return 1;
    std::printf("Velora desktop benchmark: %d pieces on the offscreen platform\n", pieceCount);
    std::printf("  first sync (creates and draws every panel): %.1f ms, %lld renders\n", firstMs,
                static_cast<long long>(firstRenders));
    std::printf("  sync that changes nothing: %.1f us median (%.3f ms); reference pass building geometry: %.1f us; "
                "ratio %.2f\n",
                syncUs, syncUs / 1000, referenceUs, syncUs / referenceUs);
    std::printf("  changes published by 200 such syncs: %d; renders: %lld\n", publishedBySyncs,
                static_cast<long long>(syncRenders));
    std::printf("  drag: %.1f us per move, renders during 100 moves: %lld, after the drop: %lld, changes "
                "published by the drop: %d\n",
                perMoveUs, static_cast<long long>(dragRenders), static_cast<long long>(dropRenders),
                published - publishedBeforeDrop);
    std::printf("  per redraw at 2x: rendering %.2f ms, outline (input shape) %.2f ms, opaque over a wallpaper "
                "%.2f ms\n",
                renderMs, outlineMs, opaqueMs);
    std::printf("  memory: %.1f MiB for %zu shown panels, %.0f KiB per piece\n", rssAfter - rssBefore,
                controller.panelCount(), (rssAfter - rssBefore) * 1024.0 / double(controller.panelCount()));

    const bool ok = syncUs < 1000 && publishedBySyncs == 0 && syncRenders == 0 && dragRenders == 0 && dropRenders == 0
        && outlineMs < 0.25 * renderMs && opaqueMs < 0.5 * renderMs;
    std::printf("%s: idle sync under 1 ms and silent; a drag never redraws the piece; the outline costs under a "
                "quarter of a rendering, opaque drawing under half\n",
                ok ? "OK" : "MISSED");
    return ok ? 0 : 1;
}
