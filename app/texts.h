#pragma once
// The user-visible names of frames, layouts and pages, and the short texts built from counts and
// pieces. Every text goes through Qt's translation.
#include "records.h"

#include <QString>

namespace velora::Texts {

QString title(FrameStyle style);
QString blurb(FrameStyle style);
QString title(CollageLayout layout);
QString blurb(CollageLayout layout);
QString title(Page page);

// "1 photo", "0 photos", "3 photos".
QString photoCount(qsizetype n);
// "1 piece", "7 pieces".
QString pieceCount(qsizetype n);

// e.g. "Row · 3 photos · Gallery": the frame as it is drawn, so a frieze reads "Film strip".
QString summary(const Piece& piece);

// The pieces page's status of a piece: its summary, then where it is: "Hidden", "Locked", or the
// display it is on when there are several; `displayName` is empty when that is not worth saying.
QString status(const Piece& piece, bool allHidden, const QString& displayName);

} // namespace velora::Texts
