// Velora's entry: the library, the Studio, the desktop pieces, and saving on the way out.
#include "command_line.h"
#include "demo_library.h"
#include "desktop_controller.h"
#include "desktop_window.h"
#include "snapshotter.h"
#include "storage.h"
#include "studio.h"
#include "file_chooser_dialog.h"
#include "quit_signals.h"

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTextStream>

using namespace velora;

namespace {

// A small menu in the system tray, where there is one: hide or show all pieces, quit.
void addTrayMenu(QApplication& app)
{
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return;
    auto* tray = new QSystemTrayIcon(&app);
    QPixmap icon(32, 32);
    icon.fill(Qt::transparent);
    {
        QPainter p(&icon);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(QPen(QColor(60, 60, 60), 2));
        p.setBrush(QColor(250, 248, 244));
        p.drawRoundedRect(QRectF(4, 6, 24, 20), 2, 2);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(90, 140, 110));
        p.drawEllipse(QRectF(10, 11, 6, 6));
    }
    tray->setIcon(QIcon(icon));
    tray->setToolTip(QStringLiteral("Velora"));
    auto* menu = new QMenu;
    QAction* hide = menu->addAction(QString());
    const auto label = [hide] {
        hide->setText(Studio::shared().allHidden() ? QStringLiteral("Show All Pieces")
                                                   : QStringLiteral("Hide All Pieces"));
    };
    label();
    QObject::connect(&Studio::shared(), &Studio::changed, hide, label);
    QObject::connect(hide, &QAction::triggered, [] { Studio::shared().setAllHidden(!Studio::shared().allHidden()); });
    menu->addSeparator();
    QObject::connect(menu->addAction(QStringLiteral("New Piece from Photos…")), &QAction::triggered,
                     [] { Studio::shared().newPieceFromPanel(); });
    QObject::connect(menu->addAction(QStringLiteral("Add Photos to Library…")), &QAction::triggered,
                     [] { Studio::shared().addToLibraryFromPanel(); });
    menu->addSeparator();
    QObject::connect(menu->addAction(QStringLiteral("Quit Velora")), &QAction::triggered, &app, &QApplication::quit);
    tray->setContextMenu(menu);
    tray->show();
}

ScreenInfo mainScreen()
{
    const QList<ScreenInfo> screens = DesktopController::shared().screens().screens();
    if (!screens.isEmpty()) return screens.first();
    return {QStringLiteral("Main"), {0, 0, 1440, 900}, {0, 0, 1440, 875}};
}

} // namespace

int main(int argc, char** argv)
{
    // Before anything slow: a quit during start-up still goes the way that saves.
    QuitSignals::install();
    // "--" ends the options; what follows is photos, hidden from Qt's own option handling.
    CommandLine commandLine(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Velora"));
    QCoreApplication::setApplicationName(QStringLiteral("Velora"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELORA_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Your photos, framed on the desktop.\n\n"
        "Pieces sit on the desktop below every window. Drag one to move it; it snaps to the screen "
        "edges and a soft grid. Double-click to select it, right-click for its menu. Ctrl+C or a "
        "plain kill quits and saves. Use \"--\" before photos whose names start with \"-\".\n\n"
        "Environment: VELORA_SNAPSHOT_DIR=<folder> renders the snapshot pictures there and exits."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption demo(
        QStringLiteral("demo"),
        QStringLiteral("Start on a separate demo library of painted landscapes with a few framed pieces "
                       "already on the desktop. Your own library is not touched."));
    parser.addOption(demo);
    parser.addPositionalArgument(QStringLiteral("photos"),
                                 QStringLiteral("Photo files or folders to add to the library as a new piece."),
                                 QStringLiteral("[photos…]"));

    // Help and version need no display.
    for (int i = 1; i < commandLine.argc; ++i) {
        const QByteArray arg(commandLine.argv[size_t(i)]);
        if (arg == "-h" || arg == "--help" || arg == "-?" || arg == "--help-all" || arg == "-v" || arg == "--version") {
            QCoreApplication core(commandLine.argc, commandLine.argv.data());
            parser.process(core);
            return 0;
        }
    }

    // Pieces need X11 to keep their places and layer; under Wayland, XWayland provides it.
    const bool snapshotMode = !qEnvironmentVariableIsEmpty("VELORA_SNAPSHOT_DIR");
    const QByteArray platform = snapshotMode ? QByteArray() : Platform::choosePlatformForPieces();

    QApplication app(commandLine.argc, commandLine.argv.data());
    QuitSignals::attach(app);
    QApplication::setQuitOnLastWindowClosed(false);
    parser.process(app);
    const QStringList named = commandLine.paths();

    // Screenshot mode: an empty library inside the given folder, then the snapshot run.
    const QString snapshotDir = qEnvironmentVariable("VELORA_SNAPSHOT_DIR");
    if (!snapshotDir.isEmpty()) {
        const QString data = QDir(snapshotDir).filePath(QStringLiteral("data"));
        QDir(data).removeRecursively();
        Storage::setRoot(data);
        Studio::shared().load();
        return Snapshotter::run(snapshotDir);
    }

    QTextStream err(stderr);
    // A first start with nothing to show opens the demo library instead, so framed pieces appear at
    // once; the user's own library begins with the first photos they add.
    const bool firstStart = !QFileInfo::exists(Storage::libraryFile()) && !QFileInfo::exists(Storage::piecesFile());
    const bool useDemo = parser.isSet(demo) || (firstStart && named.isEmpty());
    if (useDemo) {
        if (!parser.isSet(demo))
            err << "Velora: your library is empty, so the demo library is shown. Add your own photos with "
                   "`velora <photos or folders>`.\n";
        Storage::setRoot(DemoLibrary::root());
        err << "Velora: demo library in " << QDir::toNativeSeparators(Storage::root()) << "\n";
    }
    Studio& studio = Studio::shared();
    studio.load();
    if (useDemo) DemoLibrary::seed(studio, mainScreen());
    studio.setFileChooser([] { return chooseFilesWithDialog(); });

    // Photos or folders named on the command line become a new piece on the desktop.
    if (!named.isEmpty()) {
        studio.importURLs(named, [&studio, &err](const QList<Photo>& photos) {
            if (const auto message = studio.importMessage()) err << "Velora: " << *message << "\n";
            err.flush();
            if (photos.isEmpty()) return;
            QList<QUuid> ids;
            for (const Photo& p : photos) ids.append(p.id);
            studio.newPiece(ids);
        });
    }

    if (!platform.isEmpty())
        err << "Velora: using XWayland so that pieces keep their places on the desktop "
               "(QT_QPA_PLATFORM=wayland runs natively, with fewer guarantees).\n";
    if (Platform::session() == Platform::Session::wayland)
        err << "Velora: on Wayland the window manager decides where pieces go; they may not stay on the "
               "desktop layer or on every workspace.\n";
    err.flush();

    DesktopController::shared().start();
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [] { Studio::shared().shutDown(); });
    addTrayMenu(app);
    return app.exec();
}
