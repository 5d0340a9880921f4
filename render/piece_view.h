#pragma once
// What one piece shows right now: the photos on display, the caption and the geometry.
#include "piece_geometry.h"
#include "records.h"

#include <QList>
#include <QString>

#include <optional>

namespace velora {

struct PieceView {
    Piece piece;
    QList<Photo> photos;              // resolved from piece.photoIDs, in order
    qint64 tick = 0;                  // the slideshow counter (Studio::tick)
    std::optional<double> width;      // overrides piece.width when set

    // single: the one photo at tick mod n; any other layout: all photos, rotated to start there.
    QList<Photo> shown() const;
    // The piece's own caption, else (single only) the shown photo's caption, else empty.
    QString caption(const QList<Photo>& shown) const;

    double effectiveWidth() const { return width.value_or(piece.width); }

    static PieceGeometry geometry(const Piece& piece, const QList<Photo>& photos,
                                  std::optional<double> width, bool caption);
    // The geometry of what is shown now.
    PieceGeometry geometry() const;

    friend bool operator==(const PieceView&, const PieceView&) = default;
};

} // namespace velora
