// Runs on an X server the desktop test started: three pieces placed by a desktop controller over
// the real screens: one on the primary display, one on a second display (once there is one), and
// a slideshow of a landscape and a portrait photo. Prints the windows, then each stored placement; on its input, "advance"
// steps the slideshow.
#include "demo_art.h"
#include "desktop_controller.h"
#include "image_store.h"
#include "piece_panel.h"
#include "storage.h"
#include "studio.h"

#include <QApplication>
#include <QHash>
#include <QSettings>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <unistd.h>

using namespace velora;

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraProbe"));
    QApplication::setApplicationName(QStringLiteral("VeloraDesktopProbe"));
    if (argc < 3) return 2;
    Storage::setRoot(QString::fromLocal8Bit(argv[1]));
    Storage::prepare();
    QSettings().setValue(QStringLiteral("snapToGrid"), false);

    // The root in a known colour, so that what shows through a piece's margin can be told apart.
    auto* x11 = app.nativeInterface<QNativeInterface::QX11Application>();
    if (!x11) return 3;
    xcb_connection_t* c = x11->connection();
    const uint32_t rootColour = QString::fromLatin1(argv[2]).toUInt(nullptr, 16);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &rootColour);
    xcb_clear_area(c, 0, root, 0, 0, 0, 0);
    xcb_flush(c);

    QList<Photo> photos;
    for (const QSize size : {QSize(600, 400), QSize(400, 600)}) {
        const auto image = DemoArt::scene(size.width(), size.height(), DemoArt::palettes[photos.size() + 1], 7);
        const auto photo = image ? ImageStore::store(*image, QStringLiteral("Probe"), std::nullopt, std::nullopt)
                                 : std::nullopt;
        if (!photo) return 4;
        photos << *photo;
    }
    // The second piece belongs to a display named "R" that comes later.
    const QList<ScreenInfo> screens = QtScreens().screens();

    Studio studio;
    studio.setAllHidden(false);
    studio.setPhotos(photos);
    Piece first = Piece::make(QStringLiteral("First"), {photos[0].id});
    first.width = 260;
    // Displays named by their monitors once the test splits the frame buffer in two.
    first.placements[screens[0].key] = {200, 300};
    first.placements[QStringLiteral("L")] = {200, 300};
    first.displayID = screens[0].key;
    Piece second = Piece::make(QStringLiteral("Second"), {photos[0].id});
    second.width = 260;
    second.placements[QStringLiteral("R")] = {100, 200};
    second.placements[screens[0].key] = {100, 200};
    second.displayID = QStringLiteral("R");
    Piece show = Piece::make(QStringLiteral("Show"), {photos[0].id, photos[1].id});
    show.width = 300;
    show.placements[screens[0].key] = {700, 380};
    show.placements[QStringLiteral("L")] = {700, 380};
    show.displayID = screens[0].key;
    studio.setPieces({first, second, show});

    QtScreens qtScreens;
    DesktopController controller(studio, qtScreens);
    controller.start();
    const QList<QUuid> ids{first.id, second.id, show.id};
    for (const QUuid& id : ids)
        if (!controller.panel(id)) return 6;

    QTimer::singleShot(300, [&] {
        QTextStream out(stdout);
        out << "READY";
        for (const QUuid& id : ids) out << ' ' << controller.panel(id)->winId();
        out << ' ' << controller.panel(first.id)->margin() << Qt::endl;
    });
    // Each new stored place once: a drop stores the display first, then the place.
    QHash<QUuid, Point> printed;
    for (const QUuid& id : ids) printed[id] = studio.piece(id)->placements.value(*studio.piece(id)->displayID);
    QObject::connect(&studio, &Studio::pieceChanged, [&](const QUuid& id) {
        const Piece* p = studio.piece(id);
        if (!p || !p->displayID) return;
        const Point at = p->placements.value(*p->displayID);
        if (printed.value(id) == at) return;
        printed[id] = at;
        QTextStream(stdout) << "PLACED " << ids.indexOf(id) << ' ' << at.x << ' ' << at.y << Qt::endl;
    });
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[64];
        const auto n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) {
            input.setEnabled(false);
            return;
        }
        if (QByteArray(buffer, int(n)).trimmed() == "advance") studio.advance(show.id);
    });
    return app.exec();
}
