#pragma once
// Velora's icons: the desktop theme's icon where it has one, else our own drawing, which is
// vector-drawn in the palette's text colour so it is crisp at every size and pixel ratio.
#include "frames.h"
#include "layout.h"

#include <QIcon>

namespace velora {

enum class Glyph {
    pieces,      // two framed prints, one turned
    library,     // a stack of photos
    styles,      // a palette
    inspector,   // a window with its right pane
    eye,
    eyeSlash,
    lock,
    lockOpen,
    plus,
    trash,
    forward,
    duplicate,
    photo,
    drop,        // a tray with an arrow into it
    sliders,
    dismiss,
    app,         // Velora's own mark, in colour
    // The piece editor and the styles page
    hand,        // an open hand: movable
    removeCircle, // a filled disc with a minus cut out
    widthArrows, // left and right
    rotateRight, // a square with a turning arrow
    dice,
    level,       // a spirit level
    shuffle,
    checkCircle, // a filled disc with a tick cut out
    artFrame,    // frame styles: a framed print
    instantFrame, // a print with a deep bottom border
    film,        // a strip with sprocket holes
    bareFrame,   // a plain rounded square
    tape,        // a strip of tape
    splitRow,    // layouts: three tiles side by side
    splitColumn, // two tiles stacked
    group3,      // two tiles over one wide one
    squareStack, // two squares, one behind the other
};

namespace Icons {
QIcon icon(Glyph glyph);
// Our own drawing only, whatever the theme says (tests, snapshots, the tray).
QIcon drawn(Glyph glyph);
// Velora's mark at a size, for the tray and the window.
QIcon appIcon();
// The symbols of frame styles and layouts.
Glyph glyph(FrameStyle style);
Glyph glyph(CollageLayout layout);
} // namespace Icons

} // namespace velora
