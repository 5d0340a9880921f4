#pragma once
// What the programs the X11 tests start have in common: a library of their own with the grid off
// (drops land where they are let go), painted photos, the root in a known colour, and commands
// read from standard input.
#include "demo_art.h"
#include "image_store.h"
#include "screens.h"
#include "storage.h"
#include "studio.h"

#include <QByteArray>
#include <QGuiApplication>
#include <QSettings>
#include <QSocketNotifier>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <functional>
#include <optional>
#include <unistd.h>

namespace velora::probe {

inline void openLibrary(const char* folder)
{
    Storage::setRoot(QString::fromLocal8Bit(folder));
    Storage::prepare();
    QSettings().setValue(QStringLiteral("snapToGrid"), false);
}

// A painted landscape stored in the library.
inline std::optional<Photo> scenePhoto(QSize size, int palette, std::uint32_t seed)
{
    const auto image = DemoArt::scene(size.width(), size.height(), DemoArt::palettes[size_t(palette)], seed);
    if (!image) return std::nullopt;
    return ImageStore::store(*image, QStringLiteral("Probe"), std::nullopt, std::nullopt);
}

// The studio's one piece, shown: `photo`, 300 points wide, at `at` on the first screen.
inline Piece showOnePiece(Studio& studio, const Photo& photo, Point at)
{
    studio.setAllHidden(false);
    studio.setPhotos({photo});
    Piece piece = Piece::make(QStringLiteral("Probe"), {photo.id});
    piece.width = 300;
    piece.seed = 3;
    piece.placements[QtScreens().screens().first().key] = at;
    studio.setPieces({piece});
    return piece;
}

// Paints the root window in `rgb` (hex, as given on the command line); its connection, or null off X11.
inline xcb_connection_t* paintRoot(const char* rgb)
{
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) return nullptr;
    xcb_connection_t* c = x11->connection();
    const uint32_t colour = QString::fromLatin1(rgb).toUInt(nullptr, 16);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &colour);
    xcb_clear_area(c, 0, root, 0, 0, 0, 0);
    xcb_flush(c);
    return c;
}

// Calls `handle` with each command (trimmed) written to standard input, until it closes.
inline void onCommands(QObject* owner, std::function<void(const QByteArray&)> handle)
{
    auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, owner);
    QObject::connect(input, &QSocketNotifier::activated, owner, [input, handle = std::move(handle)] {
        char buffer[64];
        const auto n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            input->setEnabled(false);
            return;
        }
        handle(QByteArray(buffer, int(n)).trimmed());
    });
}

} // namespace velora::probe
