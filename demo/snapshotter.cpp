#include "snapshotter.h"

#include "crossfade.h"
#include "decorations.h"
#include "demo_art.h"
#include "piece_renderer.h"
#include "storage.h"
#include "studio.h"
#include "texts.h"

#include <QCoreApplication>
#include <QDir>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>

#include <algorithm>
#include <cmath>

namespace velora::Snapshotter {

namespace {

struct Shot {
    QString file;
    QString label;
    PieceView view;
};

// Which demo photos each layout shows, and how the piece is dressed per style.
QList<int> photosFor(CollageLayout layout, int style)
{
    switch (layout) {
    case CollageLayout::single: return {std::array{0, 1, 3, 5, 2}[style]};
    case CollageLayout::row: return {0, 4, 2};
    case CollageLayout::column: return {6, 0};
    case CollageLayout::justified: return {0, 1, 2, 6, 4, 3};
    case CollageLayout::stack: return {2, 0, 4};
    case CollageLayout::frieze: return {3, 6, 0, 2};
    }
    return {};
}

QString pieceCaption(FrameStyle style, CollageLayout layout)
{
    using S = FrameStyle;
    using L = CollageLayout;
    if (layout == L::single) return {}; // singles show their photo's own caption
    if (style == S::gallery && layout == L::row) return QStringLiteral("Three summers");
    if (style == S::instant && layout == L::stack) return QStringLiteral("Road trip, 2019");
    if (style == S::instant && layout == L::column) return QStringLiteral("Up north");
    if (style == S::film && layout == L::row) return QStringLiteral("Portra 400 · roll 12");
    if (style == S::film && layout == L::frieze) return QStringLiteral("Kodak Gold 200");
    if (style == S::bare && layout == L::justified) return QStringLiteral("Walks");
    if (style == S::bare && layout == L::stack) return QStringLiteral("Weekend pile");
    if (style == S::tape && layout == L::row) return QStringLiteral("Summer");
    if (style == S::tape && layout == L::frieze) return QStringLiteral("Day one");
    return {};
}

double widthFor(CollageLayout layout)
{
    switch (layout) {
    case CollageLayout::single: return 300;
    case CollageLayout::row: return 520;
    case CollageLayout::column: return 300;
    case CollageLayout::justified: return 480;
    case CollageLayout::stack: return 380;
    case CollageLayout::frieze: return 560;
    }
    return 300;
}

double tiltFor(FrameStyle style, CollageLayout layout)
{
    if (layout == CollageLayout::single && style == FrameStyle::instant) return 3.0;
    if (layout == CollageLayout::single && style == FrameStyle::tape) return -2.5;
    if (layout == CollageLayout::row && style == FrameStyle::instant) return -1.5;
    if (layout == CollageLayout::column && style == FrameStyle::tape) return 2.0;
    return 0.0;
}

bool writePng(const QImage& image, const QString& path, QTextStream& err)
{
    if (image.isNull() || !image.save(path, "PNG")) {
        err << "Couldn’t write " << QDir::toNativeSeparators(path) << "\n";
        return false;
    }
    return true;
}

// A quiet desktop: a painted landscape behind everything, so film holes show it through.
QImage contactSheet(const QList<Shot>& shots, int columns)
{
    const qreal cellW = 420, cellH = 420, label = 34, pad = 40, header = 92;
    const int rows = (static_cast<int>(shots.size()) + columns - 1) / columns;
    const QSize size(qRound(2 * pad + columns * cellW), qRound(header + pad + rows * cellH));
    const auto backdrop = DemoArt::scene(size.width(), size.height(), DemoArt::palettes[6], 41);
    QImage sheet(size, QImage::Format_ARGB32_Premultiplied);
    sheet.fill(QColor(0x6c, 0x8e, 0xbf));
    QPainter p(&sheet);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    if (backdrop) p.drawImage(0, 0, *backdrop);
    // A soft veil keeps the pieces in front of the picture.
    p.fillRect(sheet.rect(), QColor::fromRgbF(0.06f, 0.08f, 0.14f, 0.18f));

    const QFont title = Fonts::font(&p, Fonts::sansFamily(), 28, QFont::Bold);
    const QFont subtitle = Fonts::font(&p, Fonts::sansFamily(), 15);
    p.setPen(Qt::white);
    p.setFont(title);
    p.drawText(QPointF(pad, 52), QStringLiteral("Velora"));
    p.setFont(subtitle);
    p.setPen(QColor::fromRgbF(1, 1, 1, 0.85f));
    p.drawText(QPointF(pad, 76), QStringLiteral("Your photos, framed on the desktop: every frame and layout."));

    const QFont labelFont = Fonts::font(&p, Fonts::sansFamily(), 13, QFont::DemiBold);
    const QFontMetricsF fm(labelFont, &sheet);
    for (int i = 0; i < shots.size(); ++i) {
        const Shot& shot = shots.at(i);
        const QRectF cell(pad + (i % columns) * cellW, header + (i / columns) * cellH, cellW, cellH);
        const QRectF room = cell.adjusted(6, 6, -6, -label - 6);
        const QSizeF canvas = PieceRenderer::canvasSize(shot.view);
        if (!canvas.isEmpty()) {
            const qreal scale = std::min({room.width() / canvas.width(), room.height() / canvas.height(), 1.0});
            QRectF target(0, 0, canvas.width() * scale, canvas.height() * scale);
            target.moveCenter(room.center());
            PieceRenderer::paint(&p, shot.view, target);
        }
        // The label on a dark pill, readable over any part of the picture.
        const qreal textW = fm.horizontalAdvance(shot.label);
        QRectF pill(0, 0, textW + 22, fm.height() + 8);
        pill.moveCenter(QPointF(cell.center().x(), cell.bottom() - label / 2 - 4));
        QPainterPath path;
        path.addRoundedRect(pill, pill.height() / 2, pill.height() / 2);
        p.fillPath(path, QColor::fromRgbF(0.08f, 0.09f, 0.13f, 0.55f));
        p.setFont(labelFont);
        p.setPen(Qt::white);
        p.drawText(pill, Qt::AlignCenter, shot.label);
    }
    return sheet;
}

} // namespace

int run(const QString& directory, const WindowPictures& windows)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    const QDir dir(directory);
    if (!QDir().mkpath(dir.absolutePath())) {
        err << "Couldn’t create " << QDir::toNativeSeparators(dir.absolutePath()) << "\n";
        return 1;
    }

    Studio& studio = Studio::shared();
    QList<Photo> photos = DemoArt::makePhotos(7);
    if (photos.size() < 7) {
        err << "Couldn’t paint the demo photos into " << QDir::toNativeSeparators(Storage::root()) << "\n";
        return 1;
    }
    // Captions where a real library would have them.
    photos[0].caption = QStringLiteral("First light over the ridge");
    photos[1].caption = QStringLiteral("Low tide, late May");
    photos[3].caption = QStringLiteral("Night drive");
    photos[5].caption = QStringLiteral("Coral hour on the pier");
    studio.appendPhotos(photos);

    QList<Shot> shots;
    std::uint32_t seed = 11;
    for (int s = 0; s < static_cast<int>(allFrameStyles.size()); ++s) {
        const FrameStyle style = allFrameStyles[s];
        for (const CollageLayout layout : allCollageLayouts) {
            QList<QUuid> ids;
            for (int index : photosFor(layout, s)) ids.append(photos.at(index).id);
            const Piece made = studio.newPiece(ids, layout);
            studio.update(made.id, [&](Piece& piece) {
                piece.name = Texts::title(style) + QStringLiteral(" · ") + Texts::title(layout);
                piece.frame = style;
                piece.width = widthFor(layout);
                piece.tilt = tiltFor(style, layout);
                piece.caption = pieceCaption(style, layout);
                piece.seed = seed++;
                // One frieze runs top to bottom.
                piece.vertical = layout == CollageLayout::frieze && style == FrameStyle::film;
                if (piece.vertical) piece.width = 260;
            });
            const Piece* piece = studio.piece(made.id);
            const QString label = Texts::title(style) + QStringLiteral(" · ") + Texts::title(layout)
                + (piece->vertical ? QStringLiteral(" (vertical)") : QString());
            shots.append({QStringLiteral("piece-%1-%2.png").arg(qRawValue(style), qRawValue(layout)), label,
                          PieceView{*piece, studio.photos(*piece), studio.tick(piece->id), std::nullopt}});
        }
    }

    // A slideshow: before, halfway through the crossfade, and after one step.
    const Piece slideshow = studio.newPiece({photos[1].id, photos[0].id, photos[5].id}, CollageLayout::single);
    studio.update(slideshow.id, [](Piece& piece) {
        piece.name = QStringLiteral("Slideshow");
        piece.frame = FrameStyle::instant;
        piece.rotateMinutes = 5;
        piece.tilt = -2;
        piece.width = 300;
    });
    const Piece* show = studio.piece(slideshow.id);
    const PieceView before{*show, studio.photos(*show), studio.tick(show->id), std::nullopt};
    studio.advance(show->id);
    const PieceView after{*show, studio.photos(*show), studio.tick(show->id), std::nullopt};
    shots.append({QStringLiteral("piece-slideshow-0.png"), QStringLiteral("Slideshow · first photo"), before});
    shots.append({QStringLiteral("piece-slideshow-1.png"), QStringLiteral("Slideshow · next photo"), after});

    const Piece emptyPiece = studio.newPiece({}, CollageLayout::single);
    studio.update(emptyPiece.id, [](Piece& piece) { piece.name = QStringLiteral("Empty"); });
    const Piece* empty = studio.piece(emptyPiece.id);
    shots.append({QStringLiteral("piece-empty.png"), QStringLiteral("No photos yet"),
                  PieceView{*empty, {}, 0, std::nullopt}});

    int written = 0;
    bool ok = true;
    for (const Shot& shot : shots) {
        if (writePng(PieceRenderer::render(shot.view, 2.0), dir.filePath(shot.file), err)) ++written;
        else ok = false;
    }
    Crossfade fade;
    fade.setView(before, 2.0);
    fade.setView(after, 2.0);
    if (writePng(fade.frame(0.5), dir.filePath(QStringLiteral("piece-slideshow-crossfade.png")), err)) ++written;
    else ok = false;
    if (writePng(contactSheet(shots, 6), dir.filePath(QStringLiteral("contact-sheet.png")), err)) ++written;
    else ok = false;

    if (windows)
        for (const auto& [file, picture] : windows()) {
            if (writePng(picture, dir.filePath(file), err)) ++written;
            else ok = false;
        }

    studio.saveNow();
    out << "Velora snapshots: " << written << " pictures in " << QDir::toNativeSeparators(dir.absolutePath())
        << " (contact sheet: contact-sheet.png)\n";
    out.flush();

    if (!qEnvironmentVariableIsEmpty("VELORA_SNAPSHOT_STAY") && QCoreApplication::instance())
        return QCoreApplication::exec();
    return ok ? 0 : 1;
}

} // namespace velora::Snapshotter
