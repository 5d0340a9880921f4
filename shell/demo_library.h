#pragma once
// The library that `velora --demo` starts on: painted landscapes and a handful of framed pieces
// in different styles, laid out on the main display. Kept apart from the user's own library.
#include "records.h"
#include "screens.h"

#include <QList>
#include <QString>

namespace velora {

class Studio;

namespace DemoLibrary {

// "<data>/Velora Demo", beside the real library folder.
QString root();

// The demo pieces for these photos (at least 7, in DemoArt order), placed within `screen`'s
// visible frame, left to right in rows from the top, none overlapping.
QList<Piece> arrange(const QList<Photo>& photos, const ScreenInfo& screen);

// Fills an empty demo library: paints the photos and makes the pieces. A library that has pieces
// already (the demo was run before, perhaps rearranged) is left as it is.
void seed(Studio& studio, const ScreenInfo& screen);

} // namespace DemoLibrary
} // namespace velora
