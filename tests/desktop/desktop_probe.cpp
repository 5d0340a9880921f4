// Runs on an X server the desktop test started: three pieces placed by a desktop controller over
// the real screens: one on the primary display, one on a second display (once there is one), and
// a slideshow of a landscape and a portrait photo. Prints the windows, then each stored
// placement; on its input, "advance" steps the slideshow.
#include "desktop_controller.h"
#include "piece_panel.h"
#include "probe_support.h"
#include "studio.h"

#include <QApplication>
#include <QHash>
#include <QTextStream>
#include <QTimer>

using namespace velora;

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraProbe"));
    QApplication::setApplicationName(QStringLiteral("VeloraDesktopProbe"));
    if (argc < 3) return 2;
    probe::openLibrary(argv[1]);
    // The root in a known colour, so that what shows through a piece's margin can be told apart.
    if (!probe::paintRoot(argv[2])) return 3;

    QList<Photo> photos;
    for (const QSize size : {QSize(600, 400), QSize(400, 600)}) {
        const auto photo = probe::scenePhoto(size, int(photos.size()) + 1, 7);
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
    // Each new stored place once. A drop stores the display first, then the place: looked at once
    // the change is over, so the display's old place never shows.
    QHash<QUuid, Point> printed;
    for (const QUuid& id : ids) printed[id] = studio.piece(id)->placements.value(*studio.piece(id)->displayID);
    QObject::connect(&studio, &Studio::pieceChanged, &app, [&](const QUuid& id) {
        QTimer::singleShot(0, &app, [&, id] {
            const Piece* p = studio.piece(id);
            if (!p || !p->displayID) return;
            const Point at = p->placements.value(*p->displayID);
            if (printed.value(id) == at) return;
            printed[id] = at;
            QTextStream(stdout) << "PLACED " << ids.indexOf(id) << ' ' << at.x << ' ' << at.y << Qt::endl;
        });
    });
    probe::onCommands(&app, [&](const QByteArray& command) {
        if (command == "advance") studio.advance(show.id);
    });
    return app.exec();
}
