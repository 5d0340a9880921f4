// Velora's entry: which library and settings, one copy per library, then the application.
#include "application.h"
#include "command_line.h"
#include "demo_library.h"
#include "desktop_controller.h"
#include "desktop_window.h"
#include "manager_window.h"
#include "settings.h"
#include "single_instance.h"
#include "snapshotter.h"
#include "window_shots.h"
#include "storage.h"
#include "studio.h"
#include "file_chooser_dialog.h"
#include "quit_signals.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

#include <memory>

using namespace velora;

namespace {

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
        "edges and a soft grid. Double-click one to edit it in the Velora window, right-click for its "
        "menu. Starting Velora again while it runs brings its window forward (and adds the photos "
        "named). Ctrl+C or a plain kill quits and saves. Use \"--\" before photos whose names start "
        "with \"-\".\n\n"
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
    // Window managers and docks match windows to the installed desktop entry by this name.
    QGuiApplication::setDesktopFileName(QStringLiteral(VELORA_APP_ID));
    parser.process(app);

    const QByteArray token = Platform::takeActivationToken();
    QTextStream err(stderr);

    // Snapshot mode: a fresh library and settings inside the given folder, never the user's.
    const QString snapshotDir = qEnvironmentVariable("VELORA_SNAPSHOT_DIR");
    Application::Mode mode = parser.isSet(demo) ? Application::Mode::demo : Application::Mode::normal;
    if (!snapshotDir.isEmpty()) {
        mode = Application::Mode::snapshot;
        // Headless, the platform says for every sized window that it can't pass size hints on.
        static const QtMessageHandler standard = qInstallMessageHandler(nullptr);
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& message) {
            if (!message.startsWith(QLatin1String("This plugin does not support"))) standard(type, context, message);
        });
        const QString data = QDir(snapshotDir).filePath(QStringLiteral("data"));
        QDir(data).removeRecursively();
        Storage::setRoot(data);
        Settings::installShared(Settings::file(QDir(data).filePath(QStringLiteral("settings.ini"))));
    } else if (mode == Application::Mode::demo) {
        // Trying the demo changes none of the user's settings.
        Storage::setRoot(DemoLibrary::root());
        Settings::installShared(Settings::scope(QStringLiteral("Velora Demo")));
    }

    QStringList named;
    // Absolute, so that a running copy started elsewhere finds them.
    for (const QString& path : commandLine.paths()) named.append(QFileInfo(path).absoluteFilePath());
    if (mode == Application::Mode::demo && !named.isEmpty()) {
        err << "Velora: photos aren't added to the demo library; run velora without --demo to add them to yours.\n";
        named.clear();
    }

    // One Velora per library: a later launch hands its photos and its activation to the running copy.
    std::unique_ptr<SingleInstance> instance;
    if (mode != Application::Mode::snapshot) {
        instance = std::make_unique<SingleInstance>(QDir(Storage::root()).absolutePath());
        switch (instance->claim({named, token})) {
        case SingleInstance::Claim::forwarded: return 0;
        case SingleInstance::Claim::failed:
            err << "Velora: another copy is running but didn't answer; try again in a moment.\n";
            return 1;
        case SingleInstance::Claim::primary: break;
        }
    }
    if (mode == Application::Mode::demo)
        err << "Velora: demo library in " << QDir::toNativeSeparators(Storage::root()) << "\n";

    Studio& studio = Studio::shared();
    studio.load();
    if (mode == Application::Mode::demo) DemoLibrary::seed(studio, mainScreen());
    studio.setFileChooser([] { return chooseFilesWithDialog(); });

    if (!platform.isEmpty())
        err << "Velora: using XWayland so that pieces keep their places on the desktop "
               "(QT_QPA_PLATFORM=wayland runs natively, with fewer guarantees).\n";
    if (Platform::session() == Platform::Session::wayland)
        err << "Velora: on Wayland the window manager decides where pieces go; they may not stay on the "
               "desktop layer or on every workspace.\n";
    err.flush();

    Application velora(mode, studio, DesktopController::shared());
    if (velora.opensManagerAtLaunch()) velora.manager().show(token);
    if (mode == Application::Mode::snapshot)
        return Snapshotter::run(snapshotDir, [&velora] { return WindowShots::take(velora); });

    if (instance)
        QObject::connect(instance.get(), &SingleInstance::requested, &velora, &Application::handle);
    velora.importAsPiece(named);
    // Imports still running are cut short; what they stored is kept, and everything is saved.
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [] { Studio::shared().shutDown(); });
    velora.startTray();
    velora.checkForUpdatesAtLaunch();
    return app.exec();
}
