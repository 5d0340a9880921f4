#pragma once
// What every X11 file here needs: Qt's connection, interned atoms, replies freed on scope exit.
#include "desktop_window.h"

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace velora::Platform::Xcb {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// Qt's own connection, or null when the session is not X11.
inline xcb_connection_t* connection()
{
    if (session() != Session::x11) return nullptr;
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

inline xcb_atom_t atom(xcb_connection_t* c, const char* name)
{
    Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

} // namespace velora::Platform::Xcb
