#include "piece_view.h"

namespace velora {

QList<Photo> PieceView::shown() const
{
    const qint64 n = photos.size();
    if (n == 0) return {};
    const qint64 start = ((tick % n) + n) % n;
    if (piece.layout == CollageLayout::single) return {photos.at(start)};
    QList<Photo> out;
    out.reserve(n);
    for (qint64 i = 0; i < n; ++i) out.append(photos.at((start + i) % n));
    return out;
}

QString PieceView::caption(const QList<Photo>& shownPhotos) const
{
    if (!piece.caption.isEmpty()) return piece.caption;
    if (piece.layout == CollageLayout::single && !shownPhotos.isEmpty()) return shownPhotos.first().caption;
    return {};
}

PieceGeometry PieceView::geometry(const Piece& piece, const QList<Photo>& photos, std::optional<double> width,
                                  bool caption)
{
    std::vector<double> aspects;
    aspects.reserve(photos.size());
    for (const Photo& p : photos) aspects.push_back(p.aspect());
    return PieceGeometry::make(piece.layout, piece.frame, aspects, width.value_or(piece.width), piece.vertical,
                               piece.seed, piece.tilt, caption);
}

PieceGeometry PieceView::geometry() const
{
    const QList<Photo> now = shown();
    return geometry(piece, now, width, !caption(now).isEmpty());
}

} // namespace velora
