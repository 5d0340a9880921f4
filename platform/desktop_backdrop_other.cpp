// Window systems other than X11 composite every window (Wayland, macOS) or have nothing to blend
// with (offscreen). On macOS a piece could ignore the pointer outside its outline; the whole
// window takes it for now.
#include "desktop_backdrop.h"

namespace velora::Platform {

Compositing::Compositing() = default;
QImage Compositing::readWallpaper() { return {}; }
QColor Compositing::colourAround(const QRect&) const { return {}; }
void setInputShape(QWindow*, const QRegion&) {}

} // namespace velora::Platform
