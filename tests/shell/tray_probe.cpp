// Velora's application over a library folder of its own, for the tray test: starts the tray,
// prints "READY", then "SHOWN 0" or "SHOWN 1" whenever the icon comes or goes, and turns the
// settings window's tray toggle on a line "off" or "on" from standard input.
#include "application.h"
#include "desktop_controller.h"
#include "settings.h"
#include "settings_window.h"
#include "storage.h"
#include "studio.h"
#include "tray.h"

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QSettings>
#include <QSocketNotifier>
#include <QTextStream>
#include <QTimer>

#include <unistd.h>

using namespace velora;

int main(int argc, char** argv)
{
    QApplication qapp(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setApplicationName(QStringLiteral("Velora"));
    if (argc < 2) return 2;
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    Storage::setRoot(dir.filePath(QStringLiteral("library")));
    Settings::installShared(Settings::file(dir.filePath(QStringLiteral("settings.ini"))));

    Application app(Application::Mode::normal, Studio::shared(), DesktopController::shared());
    QTextStream out(stdout);
    app.startTray();
    out << "READY" << Qt::endl;

    int shown = -1;
    QTimer watch;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        const int now = app.tray().shown() ? 1 : 0;
        if (now != shown) out << "SHOWN " << now << Qt::endl;
        shown = now;
    });
    watch.start(50);

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char line[64] = {};
        const auto n = ::read(STDIN_FILENO, line, sizeof line - 1);
        const QByteArray command = QByteArray(line, n > 0 ? int(n) : 0).trimmed();
        if (n <= 0 || command == "quit") {
            qapp.quit();
            return;
        }
        QCheckBox* toggle = app.settingsWindow().trayToggle();
        if (toggle->isChecked() != (command == "on")) toggle->click();
        out << "SETTING " << (Settings::shared().showMenuBarIcon() ? 1 : 0) << Qt::endl;
    });
    return qapp.exec();
}
