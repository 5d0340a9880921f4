// Render cost of every style × layout at width 560, 2×, with images already decoded (cold: nothing
// of the renderer's own kept; fresh: not even spare pixel memory; warm: all of it), against the
// plain drawing of the same photos into their tiles; and of one crossfade frame (alone and in a
// panel's paint) against a blit of an image of its size. Each reference is timed in the same run.
#include "bench_common.h"
#include "crossfade.h"
#include "demo_art.h"
#include "image_cache.h"
#include "piece_renderer.h"
#include "pixel_buffers.h"
#include "storage.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>

using namespace velora;

namespace {
bool g_best = false; // --best: the fastest run instead of the median (steadier on a busy machine)

// Median (or fastest) of several timed runs, in milliseconds.
double timeIt(const std::function<void()>& work, int runs)
{
    return g_best ? bench::bestMs(work, runs) : bench::medianMs(work, runs);
}

QString g_caption = QStringLiteral("Summer by the sea"); // --caption TEXT
bool g_vertical = false;                                 // --vertical: film strips upright

// The benchmark's piece of `style` × `layout`: width 560, a caption, as many photos as the layout
// shows at its best.
PieceView pieceOf(FrameStyle style, CollageLayout layout, const QList<Photo>& photos, double tilt = 0)
{
    PieceView v;
    v.piece.layout = layout;
    v.piece.frame = style;
    v.piece.width = 560;
    v.piece.caption = g_caption;
    v.piece.vertical = g_vertical;
    v.piece.seed = 7;
    v.piece.tilt = tilt;
    const int count = layout == CollageLayout::single ? 1 : layout == CollageLayout::justified ? 6 : 3;
    for (int i = 0; i < count; ++i) v.photos.append(photos[i]);
    return v;
}

double blit(QSize size, int runs)
{
    QImage source(size, QImage::Format_ARGB32_Premultiplied);
    source.fill(QColor(120, 80, 40, 200));
    QImage target(size, QImage::Format_ARGB32_Premultiplied);
    return timeIt([&] {
        target.fill(Qt::transparent);
        QPainter p(&target);
        p.drawImage(0, 0, source);
    }, runs);
}

// The least any rendering of `v` does: a transparent image of the canvas's size with each decoded
// photo (the copy the renderer would pick) drawn smoothly into its tile, turned as the tile is; no
// frame, shadow or caption.
double plain(const PieceView& v, qreal dpr, int runs)
{
    const QList<Photo> shown = v.shown();
    const PieceGeometry g = v.geometry();
    const QSizeF canvas(g.outerSize.width, g.outerSize.height);
    const QSize px(qCeil(canvas.width() * dpr - 1e-6), qCeil(canvas.height() * dpr - 1e-6));
    struct Tile {
        QImage image;
        QRectF rect;
        QPointF centre;
        qreal angle;
    };
    std::vector<Tile> tiles;
    const QPointF corner((canvas.width() - g.framedSize.width) / 2 + (g.perTile ? 0 : g.insets.left),
                         (canvas.height() - g.framedSize.height) / 2 + (g.perTile ? 0 : g.insets.top));
    for (const PlacedTile& t : g.arrangement.tiles) {
        if (t.index < 0 || t.index >= shown.size()) continue;
        const bool small = std::max(t.frame.width, t.frame.height) * dpr <= PieceRenderer::thumbnailLimit;
        const std::optional<QImage> image = ImageCache::shared().image(shown[t.index], small);
        if (!image) continue;
        tiles.push_back({*image, QRectF(-t.frame.width / 2, -t.frame.height / 2, t.frame.width, t.frame.height),
                         corner + QPointF(t.frame.x + t.frame.width / 2, t.frame.y + t.frame.height / 2), t.rotation});
    }
    return timeIt([&] {
        QImage target(px, QImage::Format_ARGB32_Premultiplied);
        target.fill(Qt::transparent);
        QPainter p(&target);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.scale(dpr, dpr);
        for (const Tile& t : tiles) {
            p.save();
            p.translate(t.centre);
            p.rotate(t.angle);
            p.drawImage(t.rect, t.image);
            p.restore();
        }
    }, runs);
}
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    const auto demo = bench::demoPhotos(dir.path());
    if (!demo) return 1;
    const QList<Photo>& photos = *demo;
    const qreal dpr = 2.0;
    const QStringList args = app.arguments();
    // --runs N: timed runs per case; --only "STYLE LAYOUT": one case (for profilers); --best: report
    // the fastest run of each (render and blit alike) rather than the median.
    auto option = [&](const char* name) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at >= 0 && at + 1 < args.size() ? args.at(at + 1) : QString();
    };
    const int runs = std::clamp(option("--runs").isEmpty() ? 15 : option("--runs").toInt(), 1, 1000);
    const QString only = option("--only");
    g_best = args.contains(QStringLiteral("--best"));
    if (args.contains(QStringLiteral("--caption"))) g_caption = option("--caption");
    g_vertical = args.contains(QStringLiteral("--vertical"));

    // --dump DIR: write every style × layout (and a tilted variant) as PNG, to compare renderings.
    const qsizetype dumpAt = args.indexOf(QStringLiteral("--dump"));
    if (dumpAt >= 0 && dumpAt + 1 < args.size()) {
        const QString out = args.at(dumpAt + 1);
        for (FrameStyle style : allFrameStyles)
            for (CollageLayout layout : allCollageLayouts)
                for (double tilt : {0.0, 3.0}) {
                    const PieceView v = pieceOf(style, layout, photos, tilt);
                    const QString name = QStringLiteral("%1/%2-%3-%4.png")
                                             .arg(out, qRawValue(style), qRawValue(layout)).arg(int(tilt));
                    if (!PieceRenderer::render(v, dpr).save(name)) {
                        std::fprintf(stderr, "could not write %s\n", qPrintable(name));
                        return 1;
                    }
                }
        return 0;
    }

    // warm: decoded photos plus the renderer's own caches (photos scaled to the tiles' device size,
    // shadow masks, large text) all filled, as on every rendering but the first of a new photo;
    // cold: decoded photos only, so each run scales photos, blurs shadows and sets text again (the
    // first rendering of a new slideshow photo); fresh: cold, and the pixel memory let go given
    // back to the system as after ten idle seconds; plain: the same photos drawn into their tiles
    // with nothing else, in a new image of the same size.
    std::printf("%-20s %10s %8s %8s %8s %8s %7s %7s\n", "piece (560 pt, 2x)", "canvas px", "cold ms", "fresh ms",
                "warm ms", "plain ms", "cold/p", "warm/p");
    double worst = 0, worstCold = 0, worstFresh = 0;
    for (FrameStyle style : allFrameStyles)
        for (CollageLayout layout : allCollageLayouts) {
            const QString name = QStringLiteral("%1 %2").arg(qRawValue(style), qRawValue(layout));
            if (!only.isEmpty() && name != only) continue;
            const PieceView v = pieceOf(style, layout, photos);
            QImage image = PieceRenderer::render(v, dpr); // decodes the photos into the image cache
            const double cold = timeIt([&] {
                PieceRenderer::clearCaches();
                image = PieceRenderer::render(v, dpr);
            }, runs);
            const double fresh = timeIt([&] {
                PieceRenderer::clearCaches();
                PixelBuffers::trim();
                image = PieceRenderer::render(v, dpr);
            }, runs);
            const double warm = timeIt([&] { image = PieceRenderer::render(v, dpr); }, runs);
            const double reference = plain(v, dpr, runs);
            worst = std::max(worst, warm);
            worstCold = std::max(worstCold, cold);
            worstFresh = std::max(worstFresh, fresh);
            std::printf("%-20s %5dx%-5d %8.2f %8.2f %8.2f %8.2f %7.2f %7.2f\n", qPrintable(name), image.width(),
                        image.height(), cold, fresh, warm, reference, cold / reference, warm / reference);
        }

    PieceView v;
    v.piece.layout = CollageLayout::single;
    v.piece.frame = FrameStyle::instant;
    v.piece.width = 560;
    v.photos = {photos[0], photos[2]};
    Crossfade fade;
    fade.setView(v, dpr);
    v.tick = 1;
    fade.setView(v, dpr);
    const QSize frameSize = fade.frame(0.5).size();
    // A frame as the panel takes it: made, drawn, let go.
    const double fadeMs = timeIt([&] { (void)fade.frame(0.5); }, 40);
    // The panel's whole paint: clear its backing store, draw the frame centred.
    QImage store(frameSize, QImage::Format_ARGB32_Premultiplied);
    store.setDevicePixelRatio(dpr);
    const QPointF centre(store.deviceIndependentSize().width() / 2, store.deviceIndependentSize().height() / 2);
    const double paintMs = timeIt([&] {
        store.fill(Qt::transparent);
        QPainter p(&store);
        fade.paint(&p, centre, 0.5);
    }, 40);
    const double fadeRef = blit(frameSize, 40);
    std::printf("\n%-20s %10s %8s %8s %7s\n", "crossfade", "frame px", "ms", "blit ms", "ms/b");
    std::printf("%-20s %5dx%-5d %8.2f %8.3f %7.1f\n", "crossfade frame", frameSize.width(), frameSize.height(),
                fadeMs, fadeRef, fadeMs / fadeRef);
    std::printf("%-20s %5dx%-5d %8.2f %8.3f %7.1f\n", "crossfade paint", frameSize.width(), frameSize.height(),
                paintMs, fadeRef, paintMs / fadeRef);
    std::printf("\nslowest piece warm %.2f ms, cold %.2f ms, fresh %.2f ms (target < 16 ms); crossfade frame %.2f ms, "
                "with the panel's paint %.2f ms (target < 2 ms); renders %d\n",
                worst, worstCold, worstFresh, fadeMs, paintMs, fade.renderCount());
    return 0;
}
