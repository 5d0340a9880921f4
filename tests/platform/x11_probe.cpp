// Runs on an X server the X11 test started: one piece panel placed by a desktop controller and one
// ordinary window over part of it, on a root window of a known colour. Prints the window ids and
// the piece's margin, then stays until it is killed; "lock" on its input locks the piece, "icons"
// covers the screen with a desktop window like a file manager's icon window and lays a dock
// across the lower part of the piece. Reports each stored placement, each menu it shows and each
// request to open the editor.
#include "desktop_controller.h"
#include "piece_panel.h"
#include "probe_support.h"
#include "studio.h"

#include <QApplication>
#include <QMenu>
#include <QScreen>
#include <QTextStream>
#include <QTimer>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

#include <array>

using namespace velora;

namespace {

// Prints the window of every menu the probe shows, so that the test can tell it from others.
class MenuReporter : public QObject {
protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show)
            if (auto* menu = qobject_cast<QMenu*>(watched)) QTextStream(stdout) << "MENU " << menu->winId() << Qt::endl;
        return false;
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraProbe"));
    QApplication::setApplicationName(QStringLiteral("VeloraProbe"));
    if (argc < 3) return 2;
    probe::openLibrary(argv[1]);
    xcb_connection_t* c = probe::paintRoot(argv[2]);
    if (!c) return 3;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    const auto photo = probe::scenePhoto({600, 400}, 1, 5);
    if (!photo) return 5;

    Studio studio;
    const Piece piece = probe::showOnePiece(studio, *photo, {200, 300});
    const QList<ScreenInfo> screens = QtScreens().screens();

    QtScreens qtScreens;
    DesktopController controller(studio, qtScreens);
    controller.setEditorOpener([](const QUuid&) { QTextStream(stdout) << "EDITOR" << Qt::endl; });
    MenuReporter menus;
    app.installEventFilter(&menus);
    controller.start();
    PiecePanel* panel = controller.panel(piece.id);
    if (!panel) return 6;

    // An ordinary window over the right part of the piece.
    QWidget normal;
    normal.setWindowTitle(QStringLiteral("Ordinary"));
    normal.setAutoFillBackground(true);
    QPalette pal = normal.palette();
    pal.setColor(QPalette::Window, QColor(0x20, 0x40, 0xC0));
    normal.setPalette(pal);
    const QRect pg = panel->geometry();
    normal.setGeometry(pg.x() + pg.width() * 2 / 3, pg.y() + 40, 300, 200);
    normal.show();
    normal.raise();
    normal.activateWindow();

    QTimer::singleShot(300, [&] {
        QTextStream out(stdout);
        out << "READY " << panel->winId() << ' ' << normal.winId() << ' ' << panel->margin() << ' '
            << panel->frame().width << ' ' << panel->frame().height << Qt::endl;
    });
    // Report each new stored placement once, so that the test can follow a drag (a drop stores
    // the display first, then the place).
    Point printed = piece.placements.value(screens.first().key);
    QObject::connect(&studio, &Studio::changed, [&] {
        const Piece* p = studio.piece(piece.id);
        if (!p) return;
        const Point at = p->placements.value(screens.first().key);
        if (at == printed) return;
        printed = at;
        QTextStream(stdout) << "PLACED " << at.x << ' ' << at.y << Qt::endl;
    });
    // "lock" on standard input toggles the piece's lock.
    probe::onCommands(&app, [&](const QByteArray& command) {
        if (command == "icons") {
            const auto intern = [c](const char* name) {
                xcb_intern_atom_reply_t* r =
                    xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
                const xcb_atom_t a = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
                std::free(r);
                return a;
            };
            // A plain window of a type, placed where it says (USPosition, USSize).
            const auto typed = [&](const char* type, QRect r, uint32_t colour) {
                const xcb_window_t w = xcb_generate_id(c);
                xcb_create_window(c, XCB_COPY_FROM_PARENT, w, root, int16_t(r.x()), int16_t(r.y()), uint16_t(r.width()),
                                  uint16_t(r.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                                  XCB_CW_BACK_PIXEL, &colour);
                const xcb_atom_t t = intern(type);
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, intern("_NET_WM_WINDOW_TYPE"), XCB_ATOM_ATOM, 32, 1,
                                    &t);
                std::array<uint32_t, 18> hints{};
                hints[0] = 1 | 2;
                hints[1] = uint32_t(r.x());
                hints[2] = uint32_t(r.y());
                hints[3] = uint32_t(r.width());
                hints[4] = uint32_t(r.height());
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32,
                                    uint32_t(hints.size()), hints.data());
                xcb_map_window(c, w);
                return w;
            };
            const QRect screen = panel->screen()->geometry();
            const QRect now = panel->geometry();
            const xcb_window_t icons = typed("_NET_WM_WINDOW_TYPE_DESKTOP", screen, 0x805030);
            const QRect strip(screen.x(), now.y() + now.height() * 3 / 4, screen.width(), 16);
            const xcb_window_t dock = typed("_NET_WM_WINDOW_TYPE_DOCK", strip, 0x30A0A0);
            xcb_flush(c);
            QTextStream(stdout) << "ICONS " << icons << ' ' << dock << ' ' << strip.center().y() << Qt::endl;
        }
        if (command == "lock") {
            studio.toggleLocked(piece.id);
            QTimer::singleShot(200, [&] {
                QTextStream(stdout) << "LOCKED " << (panel->ignoresMouse() ? 1 : 0) << Qt::endl;
            });
        }
    });
    return app.exec();
}
