// Render cost of every style × layout at width 560, 2×, with images already decoded, and of one
// crossfade frame; each against a plain blit of an image of the same size, timed in the same run.
#include "crossfade.h"
#include "demo_art.h"
#include "image_cache.h"
#include "piece_renderer.h"
#include "storage.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

using namespace velora;

namespace {
// Median of several timed runs, in milliseconds.
double timeIt(const std::function<void()>& work, int runs)
{
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer t;
        t.start();
        work();
        ms.push_back(t.nsecsElapsed() / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
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
} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    Storage::setRoot(dir.path());
    const QList<Photo> photos = DemoArt::makePhotos(7);
    if (photos.size() < 7) {
        std::fprintf(stderr, "could not make the demo photos\n");
        return 1;
    }
    const qreal dpr = 2.0;
    const QStringList args = app.arguments();
    // --runs N: timed runs per case; --only "STYLE LAYOUT": one case (for profilers).
    auto option = [&](const char* name) {
        const qsizetype at = args.indexOf(QLatin1String(name));
        return at >= 0 && at + 1 < args.size() ? args.at(at + 1) : QString();
    };
    const int runs = std::clamp(option("--runs").isEmpty() ? 15 : option("--runs").toInt(), 1, 1000);
    const QString only = option("--only");

    // --dump DIR: write every style × layout (and a tilted variant) as PNG, to compare renderings.
    const qsizetype dumpAt = args.indexOf(QStringLiteral("--dump"));
    if (dumpAt >= 0 && dumpAt + 1 < args.size()) {
        const QString out = args.at(dumpAt + 1);
        for (FrameStyle style : allFrameStyles)
            for (CollageLayout layout : allCollageLayouts)
                for (double tilt : {0.0, 3.0}) {
                    PieceView v;
                    v.piece.layout = layout;
                    v.piece.frame = style;
                    v.piece.width = 560;
                    v.piece.caption = QStringLiteral("Summer by the sea");
                    v.piece.seed = 7;
                    v.piece.tilt = tilt;
                    const int count = layout == CollageLayout::single ? 1 : layout == CollageLayout::justified ? 6 : 3;
                    for (int i = 0; i < count; ++i) v.photos.append(photos[i]);
                    const QString name = QStringLiteral("%1/%2-%3-%4.png")
                                             .arg(out, qRawValue(style), qRawValue(layout)).arg(int(tilt));
                    if (!PieceRenderer::render(v, dpr).save(name)) {
                        std::fprintf(stderr, "could not write %s\n", qPrintable(name));
                        return 1;
                    }
                }
        return 0;
    }

    std::printf("%-22s %10s %10s %8s %8s\n", "piece (560 pt, 2x)", "canvas px", "render ms", "blit ms", "ratio");
    double worst = 0;
    for (FrameStyle style : allFrameStyles)
        for (CollageLayout layout : allCollageLayouts) {
            const QString name = QStringLiteral("%1 %2").arg(qRawValue(style), qRawValue(layout));
            if (!only.isEmpty() && name != only) continue;
            PieceView v;
            v.piece.layout = layout;
            v.piece.frame = style;
            v.piece.width = 560;
            v.piece.caption = QStringLiteral("Summer by the sea");
            v.piece.seed = 7;
            const int count = layout == CollageLayout::single ? 1 : layout == CollageLayout::justified ? 6 : 3;
            for (int i = 0; i < count; ++i) v.photos.append(photos[i]);
            QImage image = PieceRenderer::render(v, dpr); // warm the caches: decoded and scaled images
            const double ms = timeIt([&] { image = PieceRenderer::render(v, dpr); }, runs);
                        const double reference = blit(image.size(), runs);
            worst = std::max(worst, ms);
            std::printf("%-22s %5dx%-5d %9.2f %9.3f %8.1f\n",
                        qPrintable(name), image.width(),
                        image.height(), ms, reference, ms / reference);
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
    QImage frame;
    const double fadeMs = timeIt([&] { frame = fade.frame(0.5); }, 40);
    const double fadeRef = blit(frame.size(), 40);
    std::printf("%-22s %5dx%-5d %9.2f %9.3f %8.1f\n", "crossfade frame", frame.width(), frame.height(), fadeMs,
                fadeRef, fadeMs / fadeRef);
    std::printf("\nslowest piece %.2f ms (target < 16 ms); crossfade frame %.2f ms (target < 2 ms); renders %d\n",
                worst, fadeMs, fade.renderCount());
    return 0;
}
