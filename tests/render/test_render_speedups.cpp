// The shortcuts that make rendering fast must not change what is drawn: cached scaled copies,
// the blur's arithmetic, shadows skipped under opaque covers, text drawn from images, work begun
// on other threads; nor may they wait forever or share memory still in use.
#include "testing.h"

#include "crossfade.h"
#include "decorations.h"
#include "piece_renderer.h"
#include "pixel_buffers.h"
#include "pool_drawing.h"
#include "scaled_images.h"
#include "shadow.h"
#include "render_fixtures.h"
#include "text_images.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QThreadPool>

#include <cmath>

using namespace velora;
using namespace velora::testing;

namespace {

// The blur as first written: one division per pixel.
void referenceBlur(QImage& a, int radius, int passes)
{
    const int w = a.width(), h = a.height(), window = 2 * radius + 1;
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) {
            uchar* row = a.scanLine(y);
            const std::vector<int> in(row, row + w);
            for (int x = 0; x < w; ++x) {
                int sum = 0;
                for (int k = x - radius; k <= x + radius; ++k) sum += k >= 0 && k < w ? in[k] : 0;
                row[x] = uchar((sum + window / 2) / window);
            }
        }
        const QImage copy = a.copy();
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int sum = 0;
                for (int k = y - radius; k <= y + radius; ++k) sum += k >= 0 && k < h ? copy.constScanLine(k)[x] : 0;
                a.scanLine(y)[x] = uchar((sum + window / 2) / window);
            }
    }
}

QImage noise(QSize size, quint32 seed)
{
    QImage a(size, QImage::Format_Alpha8);
    QRandomGenerator random(seed);
    for (int y = 0; y < size.height(); ++y)
        for (int x = 0; x < size.width(); ++x) a.scanLine(y)[x] = uchar(random.bounded(256));
    return a;
}

} // namespace

class TestRenderSpeedups : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void initTestCase()
    {
        QVERIFY(useStorage(m_dir));
    }

    void blurMatchesDividingByTheWindow()
    {
        // Windows of 3, 7, 15 (16-bit reciprocal), 17, 41 (32-bit) and wider than the buffer.
        for (int radius : {1, 3, 7, 8, 20, 60}) {
            QImage fast = noise({97, 53}, quint32(radius));
            QImage slow = fast.copy();
            Shadow::boxBlur(fast, radius);
            referenceBlur(slow, radius, 3);
            QVERIFY2(fast == slow, qPrintable(QStringLiteral("radius %1").arg(radius)));
        }
        QImage solid(40, 30, QImage::Format_Alpha8);
        solid.fill(255);
        Shadow::boxBlur(solid, 2);
        QCOMPARE(int(solid.constScanLine(15)[20]), 255); // the middle of a full buffer stays full
        // A corner loses what lies outside, the same at every corner.
        const int corner = solid.constScanLine(0)[0];
        QVERIFY(corner > 0 && corner < 128);
        QCOMPARE(int(solid.constScanLine(29)[39]), corner);
        QCOMPARE(int(solid.constScanLine(0)[39]), corner);
    }

    void shadowUnderAnOpaqueCoverIsUnchanged()
    {
        // Skipping the shadow beneath the paper must leave the same pixels once the paper is down.
        // A rounded upright outline keeps its shadow as device pixels around the cover, sampled
        // on our own: within a few levels of the stretched mask.
        for (bool rounded : {false, true})
        for (qreal angle : {0.0, 5.0, -33.0}) {
            QImage with = canvas({400, 300}, QColor(90, 140, 60, 128));
            QImage without = with.copy();
            const QRectF box(-80.3, -50.6, 160.2, 100.9);
            for (QImage* target : {&with, &without}) {
                QPainter p(target);
                p.setRenderHint(QPainter::Antialiasing);
                p.translate(200.4, 150.2);
                p.scale(1.5, 1.5);
                p.rotate(angle);
                QPainterPath shape;
                if (rounded) shape.addRoundedRect(box, 12, 12);
                else shape.addRect(box);
                const QRectF cover = rounded ? box.adjusted(12, 12, -12, -12) : box;
                Shadow::draw(&p, shape, 9, {0, 3}, 0.3, target == &with ? cover : QRectF());
                p.fillPath(shape, QColor(250, 248, 240));
            }
            QVERIFY2(maxDifference(with, without) <= (rounded ? 4 : 1),
                     qPrintable(QStringLiteral("angle %1 rounded %2").arg(angle).arg(rounded)));
        }
    }

    void shadowMasksAreReusedAndBounded()
    {
        Shadow::clearMasks();
        QPainterPath shape;
        shape.addRect(QRectF(20.5, 20.25, 100, 60));
        auto drawOnce = [&](qreal angle) {
            QImage image = canvas({200, 160});
            QPainter p(&image);
            p.rotate(angle);
            Shadow::draw(&p, shape, 6, {0, 2}, 0.3);
            return image;
        };
        const QImage first = drawOnce(0);
        QCOMPARE(drawOnce(0), first); // from the cache, the same pixels
        QCOMPARE(Shadow::cachedMasks(), 1);
        drawOnce(2); // turned: another mask
        QCOMPARE(Shadow::cachedMasks(), 2);
        for (int i = 0; i < Shadow::maskLimit + 5; ++i) drawOnce(0.01 * i + 3);
        QCOMPARE(Shadow::cachedMasks(), Shadow::maskLimit);
    }

    void renderingsMatchWithEmptyAndFullCaches()
    {
        const Photo photo = halvesPhoto(QStringLiteral("C1"), {900, 700});
        for (FrameStyle style : allFrameStyles)
            for (CollageLayout layout : {CollageLayout::single, CollageLayout::stack, CollageLayout::column}) {
                PieceView v = viewOf({photo, photo, photo}, layout, style, 240);
                v.piece.tilt = layout == CollageLayout::single ? 2.5 : 0.0;
                v.piece.caption = QStringLiteral("Cold and warm");
                PieceRenderer::clearCaches();
                const QImage cold = PieceRenderer::render(v, 2);
                const QImage warm = PieceRenderer::render(v, 2);
                QVERIFY2(cold == warm, qPrintable(qRawValue(style) + QLatin1Char(' ') + qRawValue(layout)));
            }
    }

    // A rendering kept stays as it was while later ones reuse the memory of those let go.
    void canvasMemoryIsReusedNeverShared()
    {
        // Rows aligned as QImage's own, for every depth; the absurd gives nothing.
        const QImage odd = PixelBuffers::image({333, 7}, QImage::Format_Alpha8);
        QCOMPARE(odd.bytesPerLine(), qsizetype(336));
        QCOMPARE(odd.format(), QImage::Format_Alpha8);
        QVERIFY(PixelBuffers::image({0, 10}).isNull());
        QVERIFY(PixelBuffers::image({1 << 30, 1 << 30}).isNull());
        QVERIFY(PixelBuffers::image({100000, 100000}).isNull() || PixelBuffers::spareBytes() <= PixelBuffers::budget);
        {
            std::vector<QImage> many;
            for (int i = 0; i < 20; ++i) many.push_back(PixelBuffers::image({1600, 1600}));
        }
        QVERIFY(PixelBuffers::spareBytes() <= PixelBuffers::budget);

        const Photo photo = halvesPhoto(QStringLiteral("C2"), {600, 400});
        const PieceView a = viewOf({photo}, CollageLayout::single, FrameStyle::gallery, 240);
        const PieceView b = viewOf({photo}, CollageLayout::single, FrameStyle::film, 240);
        QImage kept = PieceRenderer::render(a, 2);
        const QImage snapshot = kept.copy();
        const uchar* memory = kept.constBits();
        (void)PieceRenderer::render(b, 2); // let go at once
        const QImage other = PieceRenderer::render(b, 2);
        QVERIFY(other.constBits() != memory);
        QCOMPARE(kept, snapshot);
        kept = QImage();
        const QImage again = PieceRenderer::render(a, 2);
        QCOMPARE(again.constBits(), memory);
        QCOMPARE(again, snapshot);
    }

    void scaledCopiesAreCachedBoundedAndKeyedBySize()
    {
        QImage source(400, 300, QImage::Format_RGB32);
        source.fill(QColor(10, 200, 30));
        ScaledImages cache(1024 * 1024);
        const QImage a = cache.get(source, source.rect(), {200, 150});
        QCOMPARE(a.size(), QSize(200, 150));
        QCOMPARE(a.pixelColor(100, 75), QColor(10, 200, 30));
        QCOMPARE(cache.get(source, source.rect(), {200, 150}).constBits(), a.constBits()); // a hit
        QCOMPARE(cache.scalings(), 1);
        // Another size or source rectangle is another copy; another picture never hits.
        QCOMPARE(cache.get(source, source.rect(), {201, 150}).size(), QSize(201, 150));
        QCOMPARE(cache.get(source, QRect(0, 0, 200, 300), {200, 150}).size(), QSize(200, 150));
        QCOMPARE(cache.scalings(), 3);
        QImage other = source.copy();
        other.fill(Qt::white);
        QCOMPARE(cache.get(other, other.rect(), {200, 150}).pixelColor(5, 5), QColor(Qt::white));

        // The budget holds: the least recently used go first, the one in use always stays.
        cache.clear();
        cache.setBudget(3 * 200 * 150 * 4);
        for (int w = 200; w < 210; ++w) cache.get(source, source.rect(), {w, 150});
        QVERIFY(cache.bytes() <= cache.budget());
        QCOMPARE(cache.count(), 2);
        cache.get(source, source.rect(), {208, 150}); // touched: now the newest
        cache.get(source, source.rect(), {100, 75});
        const int before = cache.scalings();
        cache.get(source, source.rect(), {208, 150});
        QCOMPARE(cache.scalings(), before);
        cache.setBudget(0);
        QCOMPARE(cache.count(), 1);

        // Nothing for nothing, or for the absurd.
        QVERIFY(cache.get(source, QRect(500, 500, 10, 10), {10, 10}).isNull());
        QVERIFY(cache.get(source, source.rect(), {0, 10}).isNull());
        QVERIFY(cache.get(source, source.rect(), {9000, 10}).isNull());
        QVERIFY(cache.get(QImage(), QRect(0, 0, 4, 4), {2, 2}).isNull());
    }

    // Scalings begun on another thread give what get() gives, each made once, and a rendering
    // that asks for one being made waits for it rather than making it again.
    void prefetchedScalingsAreMadeOnce()
    {
        QImage source(1500, 1000, QImage::Format_RGB32);
        for (int y = 0; y < source.height(); ++y)
            for (int x = 0; x < source.width(); ++x) source.setPixel(x, y, qRgb(x % 256, y % 256, (x ^ y) % 256));
        const QList<ScaledImages::Request> requests = {{source, source.rect(), {1120, 747}},
                                                       {source, QRect(100, 0, 1200, 1000), {900, 750}},
                                                       {source, source.rect(), {300, 200}}};
        for (int round = 0; round < 5; ++round) {
            ScaledImages cache(64 * 1024 * 1024);
            cache.prefetch(requests);
            // Asked at once, in the order a rendering draws them: some are in the making.
            for (const ScaledImages::Request& r : requests)
                QCOMPARE(cache.get(r.image, r.source, r.size), ScaledImages::scale(r.image, r.source, r.size));
            QCOMPARE(cache.scalings(), 3);
            cache.prefetch(requests); // all kept: nothing to make
            QCOMPARE(cache.scalings(), 3);
        } // each cache waits for its prefetch before it goes
    }

    // A drawing hops to a free thread of the global pool; from the pool's only thread it runs
    // right there (a hop would wait for itself), and draws the same.
    void drawingOnTheOnlyPoolThreadRunsInline()
    {
        const Photo photo = halvesPhoto(QStringLiteral("P1"), {900, 600});
        PieceView v = viewOf({photo, photo, photo}, CollageLayout::column, FrameStyle::gallery, 200);
        v.piece.caption = QStringLiteral("A full pool");
        PieceRenderer::clearCaches();
        const QImage hopped = PieceRenderer::render(v, 2); // scalings and text begun on other threads too
        QVERIFY(!hopped.isNull());
        QCOMPARE(onPoolThread([] { return 7; }), 7);

        QThreadPool* pool = QThreadPool::globalInstance();
        const int threads = pool->maxThreadCount();
        pool->setMaxThreadCount(1);
        QThread* inner = nullptr;
        QThread* ran = nullptr;
        QImage drawn;
        pool->start([&] {
            inner = QThread::currentThread();
            onPoolThread([&] { ran = QThread::currentThread(); });
            PieceRenderer::clearCaches();
            drawn = PieceRenderer::render(v, 2);
        });
        QVERIFY(pool->waitForDone(60000));
        pool->setMaxThreadCount(threads);
        QVERIFY(inner && ran == inner);
        QCOMPARE(drawn, hopped);
    }

    void scalingAveragesInsteadOfSkipping()
    {
        // One-pixel stripes: skipping pixels would give black or white, averaging grey.
        QImage stripes(512, 64, QImage::Format_RGB32);
        for (int x = 0; x < 512; ++x)
            for (int y = 0; y < 64; ++y) stripes.setPixel(x, y, x % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
        for (QSize size : {QSize(256, 32), QSize(64, 8), QSize(37, 5)}) {
            const QImage small = ScaledImages::scale(stripes, stripes.rect(), size);
            QCOMPARE(small.size(), size);
            for (int x = 0; x < size.width(); ++x) {
                const int grey = qGray(small.pixel(x, size.height() / 2));
                QVERIFY2(std::abs(grey - 128) <= 12, qPrintable(QStringLiteral("%1 at %2").arg(grey).arg(x)));
            }
        }
        // Premultiplied alpha survives halving.
        QImage clear(64, 64, QImage::Format_ARGB32_Premultiplied);
        clear.fill(qRgba(0, 0, 100, 100));
        QCOMPARE(ScaledImages::scale(clear, clear.rect(), {16, 16}).pixel(8, 8), qRgba(0, 0, 100, 100));
        QCOMPARE(ScaledImages::scale(stripes, QRect(256, 0, 256, 64), {128, 32}).size(), QSize(128, 32));
    }

    void uprightPhotosKeepTheirCrop()
    {
        // A landscape photo, left half red, right half blue, fills a square tile: the tile shows the
        // middle, so red on the left, blue on the right, at fractional positions and ratios alike.
        const Photo photo = halvesPhoto(QStringLiteral("H"), {1600, 800});
        for (qreal dpr : {1.0, 1.5, 2.0}) {
            Photo square = photo;
            square.pixelWidth = 800; // shown as a square
            const PieceView v = viewOf({square}, CollageLayout::single, FrameStyle::gallery, 301.3);
            const PieceGeometry g = v.geometry();
            const QImage image = PieceRenderer::render(v, dpr);
            const qreal w = g.framedSize.width - g.insets.left - g.insets.right;
            const qreal h = g.framedSize.height - g.insets.top - g.insets.bottom;
            auto at = [&](qreal x) {
                return image.pixelColor((onCanvas(g, {g.insets.left + x * w, g.insets.top + h / 2}) * dpr).toPoint());
            };
            const QColor left = at(0.1), right = at(0.9);
            QVERIFY2(left.red() > 200 && left.blue() < 60, qPrintable(left.name()));
            QVERIFY2(right.blue() > 200 && right.red() < 60, qPrintable(right.name()));
        }
    }

    void cachedTextLooksLikeDrawnText()
    {
        QFont font(Fonts::sansFamily());
        font.setPointSizeF(30);
        font.setHintingPreference(QFont::PreferNoHinting);
        const QRectF rect(10.3, 20.7, 400.2, 60.1);
        const QString text = QStringLiteral("Summer by the sea \u2019\u2026");
        TextImages::clear();
        for (qreal scale : {1.0, 2.0, 1.5})
        for (qreal angle : {0.0, -9.0}) { // turned text (a tilted piece, tape) is cached as well
            QImage direct = canvas({1000, 300});
            QImage cached = direct.copy();
            QImage again = direct.copy();
            for (QImage* target : {&direct, &cached, &again}) {
                QPainter p(target);
                p.setRenderHint(QPainter::Antialiasing);
                p.setRenderHint(QPainter::TextAntialiasing);
                p.translate(3.37, 1.91);
                p.scale(scale, scale);
                p.rotate(angle);
                if (target == &direct) {
                    p.setFont(font);
                    p.setPen(QColor(40, 30, 60));
                    p.drawText(rect, Qt::AlignCenter | Qt::TextSingleLine, text);
                } else {
                    TextImages::draw(&p, font, QColor(40, 30, 60), rect, Qt::AlignCenter | Qt::TextSingleLine, text);
                }
            }
            QVERIFY2(maxDifference(direct, cached) <= 2,
                     qPrintable(QStringLiteral("scale %1 angle %2").arg(scale).arg(angle)));
            QCOMPARE(cached, again); // the second comes from the cache
        }
        QCOMPARE(TextImages::count(), 6);
        // Begun on another thread, then drawn: the same pixels, made once.
        {
            TextImages::clear();
            QImage drawn = canvas({1000, 300});
            QImage prefetched = drawn.copy();
            for (QImage* target : {&drawn, &prefetched}) {
                if (target == &prefetched) TextImages::clear();
                QPainter p(target);
                p.scale(2, 2);
                if (target == &prefetched)
                    TextImages::prefetch(&p, font, Qt::darkBlue, rect, Qt::AlignCenter | Qt::TextSingleLine, text);
                TextImages::draw(&p, font, Qt::darkBlue, rect, Qt::AlignCenter | Qt::TextSingleLine, text);
            }
            QCOMPARE(prefetched, drawn);
            QCOMPARE(TextImages::count(), 1);
        }
        // Bounded: the oldest renderings go.
        QImage sink = canvas({200, 100});
        QPainter p(&sink);
        for (int i = 0; i < TextImages::limit + 10; ++i)
            TextImages::draw(&p, font, Qt::black, QRectF(0, 0, 100, 40), Qt::AlignLeft, QString::number(i));
        QCOMPARE(TextImages::count(), TextImages::limit);
    }
};

VELORA_TEST(TestRenderSpeedups)
#include "test_render_speedups.moc"
