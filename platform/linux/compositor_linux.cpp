// X11: a compositor announces itself by owning the _NET_WM_CM_S<screen> selection; XFixes tells
// every change of owner, so pieces switch between blended and opaque drawing as it starts or
// stops. Wallpaper setters publish the root background pixmap in _XROOTPMAP_ID (or the older
// ESETROOT_PMAP_ID) on the root window.
#include "desktop_backdrop.h"
#include "desktop_window.h"
#include "xcb_support.h"

#include <QAbstractNativeEventFilter>
#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace velora::Platform {

namespace {

using Xcb::atom;
using Xcb::connection;
using Xcb::Reply;

int screenNumber()
{
    const QByteArray display = qgetenv("DISPLAY");
    const int dot = display.lastIndexOf('.');
    return dot > display.lastIndexOf(':') ? display.mid(dot + 1).toInt() : 0;
}

xcb_screen_t* screenOf(xcb_connection_t* c)
{
    xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = screenNumber(); i > 0 && it.rem > 1; --i) xcb_screen_next(&it);
    return it.data;
}

xcb_window_t ownerOf(xcb_connection_t* c, xcb_atom_t selection)
{
    Reply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return owner ? owner->owner : xcb_window_t(XCB_WINDOW_NONE);
}

// A 32-bit-per-pixel image of `drawable` (depth 24 or 32) as RGB32, or null.
QImage imageOf(xcb_connection_t* c, xcb_drawable_t drawable, QRect rect)
{
    if (rect.isEmpty()) return {};
    Reply<xcb_get_image_reply_t> img(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, drawable, int16_t(rect.x()), int16_t(rect.y()),
                         uint16_t(rect.width()), uint16_t(rect.height()), ~0u),
        nullptr));
    if (!img || (img->depth != 24 && img->depth != 32)) return {};
    if (xcb_get_image_data_length(img.get()) != rect.width() * rect.height() * 4) return {};
    return QImage(xcb_get_image_data(img.get()), rect.width(), rect.height(), QImage::Format_RGB32).copy();
}

} // namespace

struct Compositing::Watch : QAbstractNativeEventFilter {
    Compositing* owner = nullptr;
    xcb_window_t root = XCB_WINDOW_NONE;
    xcb_atom_t cm = XCB_ATOM_NONE;
    xcb_atom_t rootPixmaps[2] = {XCB_ATOM_NONE, XCB_ATOM_NONE};
    uint8_t xfixesEvent = 0;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr*) override
    {
        if (type != "xcb_generic_event_t") return false;
        const auto* event = static_cast<const xcb_generic_event_t*>(message);
        const uint8_t kind = event->response_type & 0x7f;
        if (xfixesEvent && kind == xfixesEvent + XCB_XFIXES_SELECTION_NOTIFY) {
            const auto* e = reinterpret_cast<const xcb_xfixes_selection_notify_event_t*>(event);
            if (e->selection == cm)
                owner->setBlends(e->subtype == XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER
                                 && e->owner != XCB_WINDOW_NONE);
        } else if (kind == XCB_PROPERTY_NOTIFY) {
            const auto* e = reinterpret_cast<const xcb_property_notify_event_t*>(event);
            if (e->window == root && (e->atom == rootPixmaps[0] || e->atom == rootPixmaps[1])) owner->dropWallpaper();
        }
        return false; // Qt keeps its own view of both
    }
};

Compositing::Compositing()
{
    xcb_connection_t* c = connection();
    if (!c) return; // Wayland always composites; offscreen has nothing to blend with
    const xcb_screen_t* screen = screenOf(c);
    if (!screen) return;
    auto* watch = new Watch;
    m_watch = watch;
    watch->owner = this;
    watch->root = screen->root;
    watch->cm = atom(c, ("_NET_WM_CM_S" + QByteArray::number(screenNumber())).constData());
    watch->rootPixmaps[0] = atom(c, "_XROOTPMAP_ID");
    watch->rootPixmaps[1] = atom(c, "ESETROOT_PMAP_ID");

    Reply<xcb_xfixes_query_version_reply_t> version(
        xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr));
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(c, &xcb_xfixes_id);
    if (version && xfixes && xfixes->present) {
        watch->xfixesEvent = xfixes->first_event;
        xcb_xfixes_select_selection_input(c, watch->root, watch->cm,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY
                                              | XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    // Property changes on the root, added to what Qt already listens to there.
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, watch->root), nullptr));
    const uint32_t mask = (attributes ? attributes->your_event_mask : 0) | XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, watch->root, XCB_CW_EVENT_MASK, &mask);
    qGuiApp->installNativeEventFilter(watch);
    // Asked after selecting the events, so no change falls between.
    m_blends = ownerOf(c, watch->cm) != XCB_WINDOW_NONE;
    xcb_flush(c);
}

QImage Compositing::readWallpaper()
{
    xcb_connection_t* c = connection();
    const xcb_screen_t* screen = c ? screenOf(c) : nullptr;
    if (!screen) return {};
    for (const char* name : {"_XROOTPMAP_ID", "ESETROOT_PMAP_ID"}) {
        Reply<xcb_get_property_reply_t> prop(xcb_get_property_reply(
            c, xcb_get_property(c, 0, screen->root, atom(c, name), XCB_ATOM_PIXMAP, 0, 1), nullptr));
        if (!prop || prop->format != 32 || xcb_get_property_value_length(prop.get()) < 4) continue;
        const xcb_pixmap_t pixmap = *static_cast<const xcb_pixmap_t*>(xcb_get_property_value(prop.get()));
        // The pixmap may be gone (its owner left without clearing the property): then no reply.
        Reply<xcb_get_geometry_reply_t> g(xcb_get_geometry_reply(c, xcb_get_geometry(c, pixmap), nullptr));
        if (!g) continue;
        const QImage image = imageOf(c, pixmap, QRect(0, 0, g->width, g->height));
        if (!image.isNull()) return image;
    }
    return {};
}

QColor Compositing::colourAround(const QRect& deviceRect) const
{
    xcb_connection_t* c = connection();
    const xcb_screen_t* screen = c ? screenOf(c) : nullptr;
    if (!screen || deviceRect.isEmpty()) return {};
    // Two pixels wide on each side, clipped to the screen: whatever is on screen there.
    const QRect bounds(0, 0, screen->width_in_pixels, screen->height_in_pixels);
    const QRect r = deviceRect;
    const QRect strips[4] = {QRect(r.left() - 2, r.top() - 2, r.width() + 4, 2),
                             QRect(r.left() - 2, r.bottom() + 1, r.width() + 4, 2),
                             QRect(r.left() - 2, r.top(), 2, r.height()), QRect(r.right() + 1, r.top(), 2, r.height())};
    quint64 red = 0, green = 0, blue = 0, n = 0;
    for (const QRect& strip : strips) {
        const QImage part = imageOf(c, screen->root, strip.intersected(bounds));
        for (int y = 0; y < part.height(); ++y) {
            const auto* line = reinterpret_cast<const QRgb*>(part.constScanLine(y));
            for (int x = 0; x < part.width(); ++x) {
                red += uint(qRed(line[x]));
                green += uint(qGreen(line[x]));
                blue += uint(qBlue(line[x]));
                ++n;
            }
        }
    }
    if (n == 0) return {};
    return QColor(int(red / n), int(green / n), int(blue / n));
}

} // namespace velora::Platform
