#include "testing.h"

#include "crossfade.h"
#include "decorations.h"
#include "image_cache.h"
#include "piece_renderer.h"
#include "render_fixtures.h"

#include <QDir>
#include <QFile>
#include <QFontDatabase>
#include <QTemporaryDir>

#include <cmath>
#include <limits>

#include <sys/stat.h>

using namespace velora;
using namespace velora::testing;

namespace {
bool ringTransparent(const QImage& image)
{
    const int w = image.width(), h = image.height();
    for (int x = 0; x < w; ++x)
        if (qAlpha(image.pixel(x, 0)) || qAlpha(image.pixel(x, h - 1))) return false;
    for (int y = 0; y < h; ++y)
        if (qAlpha(image.pixel(0, y)) || qAlpha(image.pixel(w - 1, y))) return false;
    return true;
}
} // namespace

class TestRender : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QList<Photo> m_photos;

private slots:
    void initTestCase()
    {
        QVERIFY(useStorage(m_dir));
        m_photos = {solidPhoto(QStringLiteral("A"), {300, 200}, QColor(200, 40, 40), QColor(40, 200, 40), QStringLiteral("Alpha")),
                    solidPhoto(QStringLiteral("B"), {200, 300}, QColor(40, 40, 200), QColor(200, 200, 40)),
                    solidPhoto(QStringLiteral("C"), {240, 240}, QColor(40, 160, 160), QColor(160, 40, 160), QStringLiteral("Gamma"))};
    }

    void shownPhotosAndCaptions()
    {
        PieceView single = viewOf(m_photos, CollageLayout::single, FrameStyle::gallery);
        single.tick = 4;
        QCOMPARE(single.shown(), QList<Photo>{m_photos[1]});
        single.tick = -1;
        QCOMPARE(single.shown(), QList<Photo>{m_photos[2]});
        single.tick = std::numeric_limits<qint64>::min();
        QCOMPARE(single.shown().size(), 1);

        PieceView row = viewOf(m_photos, CollageLayout::row, FrameStyle::gallery);
        row.tick = 1;
        QCOMPARE(row.shown(), (QList<Photo>{m_photos[1], m_photos[2], m_photos[0]}));
        QVERIFY(viewOf({}, CollageLayout::row, FrameStyle::gallery).shown().isEmpty());

        // Captions: the photo's own for a single, the piece's for a collage.
        single = viewOf(m_photos, CollageLayout::single, FrameStyle::instant);
        QCOMPARE(single.caption(single.shown()), QStringLiteral("Alpha"));
        single.tick = 1; // B has no caption: the caption follows the photo, and so does the geometry
        QCOMPARE(single.caption(single.shown()), QString());
        QCOMPARE(single.geometry().insets.bottom, PieceView::geometry(single.piece, single.shown(), {}, false).insets.bottom);

        row = viewOf(m_photos, CollageLayout::row, FrameStyle::gallery);
        QCOMPARE(row.caption(row.shown()), QString());
        row.piece.caption = QStringLiteral("Own");
        QCOMPARE(row.caption(row.shown()), QStringLiteral("Own"));
        QCOMPARE(single.caption({}), QString());
    }

    void tapeOutlineAndLabelSizes()
    {
        const QPainterPath path = TornTape::path(QRectF(0, 0, 100, 20));
        // The first tear vertex repeats the top edge's end; the path keeps it once.
        const QList<QPointF> expected = {{1.8, 0},  {98.2, 0}, {100, 4},  {98.2, 8}, {100, 12},
                                         {98.2, 16}, {100, 20}, {1.8, 20}, {0, 20},   {1.8, 16}, {0, 12},
                                         {1.8, 8},  {0, 4},    {1.8, 0}};
        QCOMPARE(path.elementCount(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const QPainterPath::Element e = path.elementAt(i);
            QVERIFY2(std::abs(e.x - expected[i].x()) < 1e-9 && std::abs(e.y - expected[i].y()) < 1e-9,
                     qPrintable(QStringLiteral("vertex %1: %2,%3").arg(i).arg(e.x).arg(e.y)));
        }

        const PaperLabel::Metrics m = PaperLabel::metrics(100);
        QCOMPARE((QList<qreal>{m.textSize, m.horizontalPadding, m.verticalPadding, m.cornerRadius}),
                 (QList<qreal>{8.0, 6.0, 3.0, 3.0}));
        QCOMPARE(PaperLabel::metrics(1000).textSize, 34.0);
    }

    void filmHoleRows()
    {
        const FilmStrip::Holes h = FilmStrip::holes(680, 100);
        QCOMPARE(h.count, 9);
        QCOMPARE(h.start, 53.0);
        QCOMPARE(h.start + (h.count - 1) * h.pitch + h.length, 627.0);

        const QList<QRectF> rows = FilmStrip::holeRects({680, 400}, false, 100);
        QCOMPARE(rows.size(), 18);
        QCOMPARE(rows[0], QRectF(53, 60 - 16, 30, 32));
        QCOMPARE(rows[1], QRectF(53, 400 - 60 - 16, 30, 32));
        const QList<QRectF> vertical = FilmStrip::holeRects({400, 680}, true, 100);
        QCOMPARE(vertical[0], QRectF(60 - 16, 53, 32, 30));
        QCOMPARE(vertical[1], QRectF(400 - 60 - 16, 53, 32, 30));

        // Shorter than one pitch: still one pair, centred.
        const QList<QRectF> short_ = FilmStrip::holeRects({50, 300}, false, 100);
        QCOMPARE(short_.size(), 2);
        QCOMPARE(short_[0].center().x(), 25.0);
    }

    // Probed once per process (the font list is slow); without one, an italic sans.
    void handwritingProbedOnce()
    {
        const bool any = Handwriting::fontName().has_value();
        Handwriting::fontName();
        QCOMPARE(Handwriting::probeCount(), 1);
        QCOMPARE(any, QFontDatabase::families().contains("Bradley Hand") || QFontDatabase::families().contains("Noteworthy") ||
                          QFontDatabase::families().contains("Chalkboard SE"));
        QImage probe(4, 4, QImage::Format_ARGB32_Premultiplied);
        QPainter p(&probe);
        QCOMPARE(Handwriting::font(&p, 12).italic(), !any);
    }

    void canvasIsOuterSizeTimesPixelRatio()
    {
        for (qreal dpr : {1.0, 2.0, 1.5}) {
            PieceView v = viewOf(m_photos, CollageLayout::row, FrameStyle::gallery, 300);
            const PieceGeometry g = v.geometry();
            const QImage image = PieceRenderer::render(v, dpr);
            QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
            QCOMPARE(image.devicePixelRatio(), dpr);
            QCOMPARE(image.width(), int(std::ceil(g.outerSize.width * dpr - 1e-6)));
            QCOMPARE(image.height(), int(std::ceil(g.outerSize.height * dpr - 1e-6)));
        }
        const PieceView empty = viewOf({}, CollageLayout::single, FrameStyle::gallery, 300);
        QCOMPARE(PieceRenderer::render(empty, 2).size(), QSize(2 * 332, 2 * 230));
    }

    void nothingReachesTheCanvasEdge_data()
    {
        QTest::addColumn<int>("style");
        QTest::addColumn<int>("layout");
        QTest::addColumn<double>("tilt");
        for (FrameStyle s : allFrameStyles)
            for (CollageLayout l : allCollageLayouts)
                for (double tilt : {0.0, 4.0})
                    QTest::addRow("%s-%s-%g", rawValue(s).data(), rawValue(l).data(), tilt)
                        << int(s) << int(l) << tilt;
    }

    void nothingReachesTheCanvasEdge()
    {
        QFETCH(int, style);
        QFETCH(int, layout);
        QFETCH(double, tilt);
        PieceView v = viewOf(m_photos, CollageLayout(layout), FrameStyle(style), 260);
        v.piece.caption = QStringLiteral("A caption that is rather long for its label");
        v.piece.tilt = tilt;
        for (qreal dpr : {1.0, 2.0}) {
            const QImage image = PieceRenderer::render(v, dpr);
            QVERIFY(!image.isNull());
            QVERIFY2(ringTransparent(image), "shadow or decoration clipped at the canvas edge");
        }
    }

    void filmHolesAreSeeThrough()
    {
        for (bool vertical : {false, true}) {
            PieceView v = viewOf({m_photos[0]}, CollageLayout::single, FrameStyle::film, 300);
            v.piece.vertical = vertical;
            const PieceGeometry g = v.geometry();
            const QImage image = PieceRenderer::render(v, 2);
            const qreal t = vertical ? g.insets.left : g.insets.top;
            const QSizeF framed(g.framedSize.width, g.framedSize.height);
            const QList<QRectF> holes = FilmStrip::holeRects(framed, vertical, t);
            QVERIFY(holes.size() >= 2);
            for (const QRectF& hole : holes) QCOMPARE(alphaAt(image, onCanvas(g, hole.center())), 0);
            // Between two holes the stock is opaque.
            const QPointF between = (holes[0].center() + holes[2].center()) / 2;
            QCOMPARE(alphaAt(image, onCanvas(g, between)), 255);
        }
    }

    void bareCornersAreRound()
    {
        // A stack of one: a bare tile without shadow, so its corner is clear.
        const PieceView v = viewOf({m_photos[0]}, CollageLayout::stack, FrameStyle::bare, 300);
        const PieceGeometry g = v.geometry();
        const QImage image = PieceRenderer::render(v, 2);
        const QRectF tile(0, 0, g.framedSize.width, g.framedSize.height);
        QCOMPARE(alphaAt(image, onCanvas(g, tile.topLeft() + QPointF(0.5, 0.5))), 0);
        QCOMPARE(alphaAt(image, onCanvas(g, tile.bottomRight() - QPointF(0.5, 0.5))), 0);
        QCOMPARE(alphaAt(image, onCanvas(g, tile.center())), 255);

        // Whole-frame bare: rounded too; only the faint shadow can reach the corner.
        const PieceView single = viewOf({m_photos[0]}, CollageLayout::single, FrameStyle::bare, 300);
        const PieceGeometry sg = single.geometry();
        const QImage s = PieceRenderer::render(single, 2);
        QVERIFY(alphaAt(s, onCanvas(sg, {0.5, 0.5})) < 80);
        QCOMPARE(alphaAt(s, onCanvas(sg, {sg.framedSize.width / 2, sg.framedSize.height / 2})), 255);
    }

    void placeholderForMissingFile()
    {
        Photo gone = m_photos[0];
        gone.fileName = QStringLiteral("missing.jpg");
        gone.thumbName = QStringLiteral("missing-s.jpg");
        gone.caption.clear();
        const PieceView v = viewOf({gone}, CollageLayout::single, FrameStyle::gallery, 300);
        const PieceGeometry g = v.geometry();
        const QImage image = PieceRenderer::render(v, 1);
        // Grey at 0.3 over the white mat, away from the symbol.
        const QColor near = image.pixelColor(onCanvas(g, {g.insets.left + 8, g.insets.top + 8}).toPoint());
        QVERIFY2(std::abs(near.red() - 214) <= 6 && near.red() == near.green() && near.alpha() == 255,
                 qPrintable(near.name()));
        // The photo symbol darkens the middle somewhere.
        int darkest = 255;
        const QPointF c = onCanvas(g, {g.framedSize.width / 2, g.framedSize.height / 2});
        for (int dy = -20; dy <= 20; ++dy)
            for (int dx = -25; dx <= 25; ++dx)
                darkest = std::min(darkest, qGray(image.pixel(int(c.x()) + dx, int(c.y()) + dy)));
        QVERIFY(darkest < 190);
    }

    void smallTilesDrawFromThumbnails()
    {
        ImageCache::shared().clear();
        const PieceView v = viewOf({m_photos[0]}, CollageLayout::single, FrameStyle::bare, 200);
        const PieceGeometry g = v.geometry();
        const QPointF centre = onCanvas(g, {g.framedSize.width / 2, g.framedSize.height / 2});
        // 200 points at 1×: the thumbnail (green); at 4× (800 px): the full copy (red).
        const QColor small = PieceRenderer::render(v, 1).pixelColor(centre.toPoint());
        QVERIFY2(small.green() > 150 && small.red() < 90, qPrintable(small.name()));
        const QColor large = PieceRenderer::render(v, 4).pixelColor((centre * 4).toPoint());
        QVERIFY2(large.red() > 150 && large.green() < 90, qPrintable(large.name()));
    }

    void absurdPiecesRenderSanelyOrNothing_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<double>("tilt");
        QTest::addColumn<int>("layout");
        const double inf = std::numeric_limits<double>::infinity();
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const struct {
            const char* name;
            double width, tilt;
        } cases[] = {{"huge", 1e308, 0},       {"negative", -5, 0},    {"zero", 0, 0},
                     {"nan", nan, 0},          {"inf", inf, 0},        {"tilt-nan", 300, nan},
                     {"tilt-inf", 300, inf},   {"tilt-huge", 300, 1e300}, {"too-wide", 20000, 0}};
        for (CollageLayout l : {CollageLayout::single, CollageLayout::stack, CollageLayout::justified})
            for (const auto& c : cases)
                QTest::addRow("%s-%s", c.name, rawValue(l).data()) << c.width << c.tilt << int(l);
    }

    void absurdPiecesRenderSanelyOrNothing()
    {
        QFETCH(double, width);
        QFETCH(double, tilt);
        QFETCH(int, layout);
        Photo odd = m_photos[1];
        odd.pixelHeight = 0;
        Photo negative = m_photos[2];
        negative.pixelWidth = -400;
        for (FrameStyle style : allFrameStyles) {
            PieceView v = viewOf({odd, negative, m_photos[0]}, CollageLayout(layout), style, width);
            v.piece.tilt = tilt;
            const QImage image = PieceRenderer::render(v, 2);
            if (image.isNull()) continue;
            QVERIFY(image.width() <= 16384 && image.height() <= 16384);
            QVERIFY(std::isfinite(width) && width > 0 && std::isfinite(tilt));
        }
        PieceView empty = viewOf({}, CollageLayout(layout), FrameStyle::gallery, width);
        const QImage card = PieceRenderer::render(empty, 2);
        QVERIFY(card.isNull() || (card.width() <= 16384 && card.height() <= 16384));
        QImage sink(64, 64, QImage::Format_ARGB32_Premultiplied);
        QPainter p(&sink);
        PieceRenderer::paint(&p, empty, QRectF(0, 0, 64, 64));
    }

    // One rendering per photo, blended pixel for pixel, the two centred on a canvas that holds
    // either; frames kept by the caller stay as they were, frames let go share one buffer, and
    // paint() draws what frame() makes.
    void crossfade()
    {
        PieceView v = viewOf({m_photos[0], m_photos[1]}, CollageLayout::single, FrameStyle::bare, 200);
        Crossfade fade;
        fade.setView(v, 2);
        fade.setView(v, 2);
        QCOMPARE(fade.renderCount(), 1);
        const QImage from = fade.current();
        v.tick = 1;
        fade.setView(v, 2);
        QCOMPARE(fade.renderCount(), 2);
        QVERIFY(fade.animating());
        const QImage to = fade.current();
        QVERIFY(from.size() != to.size());
        const QImage half = fade.frame(0.5);
        QCOMPARE(half.size(), from.size().expandedTo(to.size()));
        QCOMPARE(half.devicePixelRatio(), 2.0);
        const QRgb h = half.pixel(half.width() / 2, half.height() / 2);
        QVERIFY(halfway(from.pixel(from.width() / 2, from.height() / 2), to.pixel(to.width() / 2, to.height() / 2), h, 3));
        QVERIFY(qAlpha(h) >= 253); // two halves of full coverage, each rounded
        QCOMPARE(Crossfade::eased(0.5), 0.5);
        QVERIFY(Crossfade::eased(0.1) < 0.1 && Crossfade::eased(0.9) > 0.9); // slow at both ends

        const QImage early = fade.frame(0.2);
        const QImage earlyCopy = early.copy();
        QVERIFY(fade.frame(0.8) != early);
        QCOMPARE(early, earlyCopy);
        const uchar* first = nullptr;
        {
            const QImage f = fade.frame(0.4);
            first = f.constBits();
        }
        QCOMPARE(fade.frame(0.6).constBits(), first);
        QCOMPARE(fade.renderCount(), 2);

        // paint(): pixel for pixel at the frame's own ratio, and scaled onto another.
        const QSizeF points = half.deviceIndependentSize();
        QImage direct = canvas(half.size());
        direct.setDevicePixelRatio(2);
        QImage scaled = canvas(QSize(qRound(points.width()), qRound(points.height())));
        QImage reference = scaled.copy();
        {
            QPainter p(&direct);
            fade.paint(&p, QPointF(points.width() / 2, points.height() / 2), 0.5);
            QPainter q(&scaled);
            fade.paint(&q, QPointF(points.width() / 2, points.height() / 2), 0.5);
            QPainter r(&reference);
            r.setRenderHint(QPainter::SmoothPixmapTransform);
            r.drawImage(QRectF(QPointF(0, 0), points), half);
        }
        direct.setDevicePixelRatio(1);
        QImage plain = half.copy();
        plain.setDevicePixelRatio(1);
        QVERIFY(maxDifference(direct, plain) <= 1);
        QVERIFY(maxDifference(scaled, reference) <= 1);

        fade.finish();
        QVERIFY(!fade.animating());
        QCOMPARE(fade.frame(0.5), fade.current());
        // Any other change replaces the picture at once.
        v.piece.frame = FrameStyle::gallery;
        fade.setView(v, 2);
        QVERIFY(!fade.animating());
        QCOMPARE(fade.renderCount(), 3);
    }

    // The image cache: what loads from which files, and that failures are not remembered.
    void imageCacheLoads_data()
    {
        QTest::addColumn<QString>("full"); // the full copy's file: none, "image" or "garbage"
        QTest::addColumn<bool>("thumb");
        QTest::addColumn<bool>("small");
        QTest::addColumn<QSize>("expected"); // invalid: nothing
        QTest::addColumn<int>("count");
        QTest::newRow("full-falls-back") << QString() << true << false << QSize(16, 12) << 1;
        QTest::newRow("thumb-never-falls-back") << QStringLiteral("image") << false << true << QSize() << 0;
        QTest::newRow("both-missing-full") << QString() << false << false << QSize() << 0;
        QTest::newRow("both-missing-thumb") << QString() << false << true << QSize() << 0;
        QTest::newRow("unreadable-full") << QStringLiteral("garbage") << false << false << QSize() << 0;
        QTest::newRow("fifo-full-never-blocks") << QStringLiteral("fifo") << true << false << QSize(16, 12) << 1;
    }

    void imageCacheLoads()
    {
        QFETCH(QString, full);
        QFETCH(bool, thumb);
        QFETCH(bool, small);
        QFETCH(QSize, expected);
        QFETCH(int, count);
        ImageCache::shared().clear();
        const Photo p = solidPhoto(QLatin1String(QTest::currentDataTag()), {40, 30}, {}, {});
        if (full == QLatin1String("image")) QVERIFY(writeImage(*Storage::photoPath(p.fileName), {40, 30}, Qt::blue));
        if (full == QLatin1String("fifo")) QCOMPARE(::mkfifo(QFile::encodeName(*Storage::photoPath(p.fileName)).constData(), 0600), 0);
        QFile garbage(*Storage::photoPath(p.fileName));
        if (full == QLatin1String("garbage"))
            QVERIFY(garbage.open(QIODevice::WriteOnly) && garbage.write("not a jpeg at all") > 0 && garbage.flush());
        if (thumb) QVERIFY(writeImage(*Storage::photoPath(p.thumbName), {16, 12}, Qt::red));
        const std::optional<QImage> got = ImageCache::shared().image(p, small);
        QCOMPARE(got ? got->size() : QSize(), expected);
        QCOMPARE(ImageCache::shared().count(), count); // a thumbnail stands under its own key
        if (full.isEmpty() && !small) { // the failed full load was not remembered
            QVERIFY(writeImage(*Storage::photoPath(p.fileName), {40, 30}, Qt::blue));
            QCOMPARE(ImageCache::shared().image(p, false)->size(), QSize(40, 30));
            QCOMPARE(ImageCache::shared().count(), count + 1);
        }
    }

    // At most 300 images, and at most the byte limit of decoded pixels, the newest kept.
    void imageCacheLimits()
    {
        ImageCache& cache = ImageCache::shared();
        cache.clear();
        QCOMPARE(cache.byteLimit(), qsizetype(256) << 20);
        const QString path = *Storage::photoPath(QStringLiteral("one.jpg"));
        QVERIFY(writeImage(path, {40, 30}, Qt::green)); // 4800 bytes decoded
        const auto photo = [&](int i) {
            Photo p;
            p.fileName = p.thumbName = QStringLiteral("img-%1.jpg").arg(i);
            if (!QFileInfo::exists(*Storage::photoPath(p.fileName))) QFile::copy(path, *Storage::photoPath(p.fileName));
            return p;
        };
        for (int i = 0; i < 301; ++i) QVERIFY(cache.image(photo(i), true));
        QCOMPARE(cache.count(), ImageCache::limit);
        QCOMPARE(cache.bytes(), qsizetype(ImageCache::limit) * 4800);
        cache.setByteLimit(10000);
        QCOMPARE(cache.bytes(), 9600);
        QVERIFY(cache.image(photo(0), true));
        QCOMPARE(cache.count(), 2);
        cache.setByteLimit(1000); // alone over the limit, the newest still stays
        QCOMPARE(cache.count(), 1);
        cache.setByteLimit(ImageCache::defaultByteLimit);
    }

    // A readable image one level above Photos/: a record naming it must not reach it.
    void imageCacheNeverReadsHostileNames()
    {
        ImageCache::shared().clear();
        const QString outside = QDir(m_dir.path()).filePath(QStringLiteral("x.jpg"));
        QVERIFY(writeImage(outside, {8, 8}, Qt::red));
        Photo p;
        p.fileName = p.thumbName = QStringLiteral("../x.jpg");
        QVERIFY(!ImageCache::shared().image(p, false));
        p.fileName = outside;
        QVERIFY(!ImageCache::shared().image(p, false));
        QCOMPARE(ImageCache::shared().count(), 0);
    }
};

VELORA_TEST(TestRender)
#include "test_render.moc"
