// Runs on an X server the shapes test started: one gallery piece placed by a desktop controller.
// Prints "READY <window> <margin>", then a line for every change it sees: "BLENDS 0|1" when a
// compositor stops or starts, "WALLPAPER <width> <height>" when the desktop's wallpaper changes.
// "tilt <degrees>" on its input turns the piece and answers "TILTED <degrees>"; "lock" toggles
// its lock and answers "LOCKED 0|1"; "step" makes it a slideshow of a second landscape, steps
// to it and answers "STEPPED".
#include "desktop_backdrop.h"
#include "desktop_controller.h"
#include "piece_panel.h"
#include "probe_support.h"
#include "studio.h"

#include <QApplication>
#include <QTextStream>
#include <QTimer>

using namespace velora;

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraProbe"));
    QApplication::setApplicationName(QStringLiteral("VeloraShapesProbe"));
    if (argc < 2) return 2;
    probe::openLibrary(argv[1]);
    const auto photo = probe::scenePhoto({600, 400}, 1, 5), next = probe::scenePhoto({600, 400}, 3, 9);
    if (!photo || !next) return 5;

    Studio studio;
    const Piece piece = probe::showOnePiece(studio, *photo, {300, 250});

    QtScreens qtScreens;
    DesktopController controller(studio, qtScreens);
    controller.start();
    PiecePanel* panel = controller.panel(piece.id);
    if (!panel) return 6;

    auto say = [](const QString& line) { QTextStream(stdout) << line << Qt::endl; };
    auto& compositing = Platform::Compositing::instance();
    QObject::connect(&compositing, &Platform::Compositing::blendingChanged,
                     [&](bool blends) { say(QStringLiteral("BLENDS %1").arg(blends ? 1 : 0)); });
    QObject::connect(&compositing, &Platform::Compositing::wallpaperChanged, [&] {
        const QImage w = compositing.wallpaper();
        say(QStringLiteral("WALLPAPER %1 %2").arg(w.width()).arg(w.height()));
    });
    QTimer::singleShot(300, [&] {
        say(QStringLiteral("READY %1 %2 %3").arg(panel->winId()).arg(panel->margin()).arg(compositing.blends() ? 1 : 0));
    });

    probe::onCommands(&app, [&](const QByteArray& command) {
        const QList<QByteArray> words = command.split(' ');
        if (words.size() == 2 && words[0] == "tilt") {
            const double tilt = words[1].toDouble();
            studio.update(piece.id, [tilt](Piece& p) { p.tilt = tilt; });
            QTimer::singleShot(200, [&, tilt] { say(QStringLiteral("TILTED %1").arg(tilt)); });
        } else if (words[0] == "step") {
            studio.appendPhotos({*next});
            studio.update(piece.id, [&](Piece& p) {
                p.photoIDs = {photo->id, next->id};
                p.rotateMinutes = 60;
            });
            QTimer::singleShot(300, [&] {
                studio.advance(piece.id);
                say(QStringLiteral("STEPPED"));
            });
        } else if (words[0] == "lock") {
            studio.toggleLocked(piece.id);
            QTimer::singleShot(200, [&] { say(QStringLiteral("LOCKED %1").arg(panel->ignoresMouse() ? 1 : 0)); });
        }
    });
    return app.exec();
}
