#pragma once
// Velora's icons: the desktop theme's icon where it has one, else our own drawing, which is
// vector-drawn in the palette's text colour so it is crisp at every size and pixel ratio.
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
};

namespace Icons {
QIcon icon(Glyph glyph);
// Our own drawing only, whatever the theme says (tests, snapshots, the tray).
QIcon drawn(Glyph glyph);
// Velora's mark at a size, for the tray and the window.
QIcon appIcon();
} // namespace Icons

} // namespace velora
