// X11: the SHAPE extension's input region. The bounding region (what QWindow::setMask sets) also
// cuts what shows; the input region only decides where the pointer lands.
#include "desktop_backdrop.h"
#include "desktop_window.h"
#include "xcb_support.h"

#include <QWindow>

#include <xcb/shape.h>

#include <vector>

namespace velora::Platform {

void setInputShape(QWindow* window, const QRegion& deviceRegion)
{
    xcb_connection_t* c = Xcb::connection();
    if (!window || !c) return;
    const xcb_query_extension_reply_t* shape = xcb_get_extension_data(c, &xcb_shape_id);
    if (!shape || !shape->present) return;
    std::vector<xcb_rectangle_t> rects;
    rects.reserve(size_t(deviceRegion.rectCount()));
    for (const QRect& r : deviceRegion)
        rects.push_back({int16_t(r.x()), int16_t(r.y()), uint16_t(r.width()), uint16_t(r.height())});
    xcb_shape_rectangles(c, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_YX_BANDED,
                         xcb_window_t(window->winId()), 0, 0, uint32_t(rects.size()), rects.data());
    xcb_flush(c);
}

} // namespace velora::Platform
