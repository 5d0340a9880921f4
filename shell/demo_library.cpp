#include "demo_library.h"

#include "demo_art.h"
#include "piece_view.h"
#include "storage.h"
#include "studio.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace velora {

QString DemoLibrary::root()
{
    return QFileInfo(Storage::defaultRoot()).dir().filePath(QStringLiteral("Velora Demo"));
}

namespace {

struct Recipe {
    QList<int> photos;
    CollageLayout layout;
    FrameStyle frame;
    double width;
    double tilt;
    const char* caption;
    qint64 rotateMinutes;
};

// Two rows; widths are relative and scaled to fit the display.
const QList<QList<Recipe>>& rows()
{
    static const QList<QList<Recipe>> all = {
        {
            {{0}, CollageLayout::single, FrameStyle::gallery, 300, 0, "", 0},
            {{1}, CollageLayout::single, FrameStyle::instant, 200, -2.4, "Tide pools", 0},
            {{3, 6, 0}, CollageLayout::row, FrameStyle::film, 500, 0, "Portra 400 \u00b7 roll 12", 0},
        },
        {
            {{2}, CollageLayout::single, FrameStyle::tape, 220, 1.8, "", 0},
            {{4, 5, 2}, CollageLayout::stack, FrameStyle::bare, 300, 0, "", 0},
            {{6, 0, 4, 1}, CollageLayout::justified, FrameStyle::gallery, 380, 0, "Walks", 0},
            {{5, 3}, CollageLayout::single, FrameStyle::instant, 170, 1.5, "", 1},
        },
    };
    return all;
}

Size outerSize(const Piece& p, const QList<Photo>& photos)
{
    QList<Photo> resolved;
    for (const QUuid& id : p.photoIDs)
        for (const Photo& ph : photos)
            if (ph.id == id) {
                resolved.append(ph);
                break;
            }
    const PieceView view{p, resolved, 0, std::nullopt};
    const QList<Photo> shown = view.shown();
    return PieceView::geometry(p, shown, std::nullopt, !view.caption(shown).isEmpty()).outerSize;
}

} // namespace

QList<Piece> DemoLibrary::arrange(const QList<Photo>& photos, const ScreenInfo& screen)
{
    const Rect& v = screen.visible;
    const Rect& f = screen.frame;
    constexpr double inset = 56;
    constexpr double gap = 40;
    const double roomW = v.width - 2 * inset;
    const double roomH = v.height - 2 * inset;

    // Build the rows at a scale, then shrink until both rows fit the visible frame.
    double scale = std::clamp(v.width / 1440.0, 0.3, 2.0);
    QList<QList<Piece>> built;
    QList<double> rowHeights;
    for (int attempt = 0; attempt < 12; ++attempt) {
        built.clear();
        rowHeights.clear();
        double widest = 0;
        double total = 0;
        std::uint32_t seed = 11;
        int n = 0;
        for (const QList<Recipe>& row : rows()) {
            QList<Piece> pieces;
            double w = 0, h = 0;
            for (const Recipe& r : row) {
                QList<QUuid> ids;
                for (int i : r.photos)
                    if (i >= 0 && i < photos.size()) ids.append(photos[i].id);
                if (ids.isEmpty()) continue;
                Piece p = Piece::make(QStringLiteral("Demo %1").arg(++n), ids);
                p.layout = r.layout;
                p.frame = r.frame;
                p.width = std::round(r.width * scale);
                p.tilt = r.tilt;
                p.caption = QString::fromUtf8(r.caption);
                p.rotateMinutes = r.rotateMinutes;
                p.seed = seed += 17;
                const Size size = outerSize(p, photos);
                w += size.width + (pieces.isEmpty() ? 0 : gap);
                h = std::max(h, size.height);
                pieces.append(p);
            }
            built.append(pieces);
            rowHeights.append(h);
            widest = std::max(widest, w);
            total += h;
        }
        total += gap * double(std::max<qsizetype>(0, built.size() - 1));
        const double fit = std::min(roomW / std::max(widest, 1.0), roomH / std::max(total, 1.0));
        if (fit >= 1.0) break;
        scale *= std::max(fit, 0.5) * 0.98;
    }

    // Each row spread across the width, its pieces centred on the row's middle line.
    QList<Piece> out;
    double top = inset; // distance from the visible top
    for (qsizetype r = 0; r < built.size(); ++r) {
        QList<Piece>& row = built[r];
        double used = 0;
        QList<Size> sizes;
        for (const Piece& p : row) {
            sizes.append(outerSize(p, photos));
            used += sizes.last().width;
        }
        const double spacing = row.size() > 1 ? (roomW - used) / double(row.size() - 1) : 0;
        double x = v.minX() + inset + (row.size() > 1 ? 0 : (roomW - used) / 2);
        for (qsizetype i = 0; i < row.size(); ++i) {
            Piece& p = row[i];
            const double yTop = top + (rowHeights[r] - sizes[i].height) / 2;
            const double y = v.maxY() - yTop - sizes[i].height;
            p.placements[screen.key] = {std::round(x - f.minX()), std::round(y - f.minY())};
            p.displayID = screen.key;
            x += sizes[i].width + spacing;
            out.append(p);
        }
        top += rowHeights[r] + gap;
    }
    return out;
}

void DemoLibrary::seed(Studio& studio, const ScreenInfo& screen)
{
    if (!studio.pieces().isEmpty()) return;
    QList<Photo> photos = studio.photos();
    if (photos.size() < int(DemoArt::sizes.size())) {
        photos = DemoArt::makePhotos(int(DemoArt::sizes.size()));
        studio.setPhotos(photos);
    }
    studio.setPieces(arrange(photos, screen));
    studio.setAllHidden(false);
    studio.saveNow();
}

} // namespace velora
