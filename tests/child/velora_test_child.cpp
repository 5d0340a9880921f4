// A real Velora process for the tests that need one: killed mid-import, quit by a signal, or
// measured for peak memory and time on its own.
//
//   velora_test_child decode <file>                  prints "WxH" or "refused", then its peak
//   velora_test_child import <root> <file or folder>  imports, prints "started", quits when done
//   velora_test_child start <root>                   loads and shows the desktop, prints panels, ms, peak
#include "desktop_controller.h"
#include "image_decoder.h"
#include "quit_signals.h"
#include "storage.h"
#include "studio.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QSettings>
#include <QStandardPaths>
#include <QTimer>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

using namespace velora;

namespace {

// The peak is this process's own: a forked child starts with its parent's resident size as its
// peak, so the peak is reset once exec has replaced the parent's memory.
void resetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

// "peak-kb N" on its own line, for the tests to read.
void reportPeak()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind("VmHWM:", 0) == 0) std::printf("peak-kb %ld\n", std::stol(line.substr(6)));
    std::fflush(stdout);
}

int decode(const char* file)
{
    const auto image = ImageDecoder::decode(QString::fromLocal8Bit(file));
    if (image)
        std::printf("%dx%d\n", image->width(), image->height());
    else
        std::printf("refused\n");
    reportPeak();
    return 0;
}

// The way main runs: signals caught first, the shut-down on the way out.
int import(int argc, char** argv)
{
    QuitSignals::install();
    QCoreApplication app(argc, argv);
    QuitSignals::attach(app);
    Storage::setRoot(QString::fromLocal8Bit(argv[2]));
    Studio studio;
    studio.load();
    QObject::connect(&app, &QCoreApplication::aboutToQuit, &studio, &Studio::shutDown);
    QTimer::singleShot(0, &studio, [&] {
        studio.importURLs({QString::fromLocal8Bit(argv[3])}, [&](const QList<Photo>&) { app.quit(); });
        std::printf("started\n");
        std::fflush(stdout);
    });
    return app.exec();
}

int start(int argc, char** argv)
{
    QElapsedTimer clock;
    clock.start();
    QApplication app(argc, argv);
    QSettings().setValue(QStringLiteral("allHidden"), false);
    Storage::setRoot(QString::fromLocal8Bit(argv[2]));
    Studio& studio = Studio::shared();
    studio.load();
    DesktopController::shared().start();
    // Responsive: the event loop turns once everything queued by start-up has run.
    QTimer::singleShot(0, &app, [&] {
        std::printf("%zu panels of %lld pieces in %lld ms\n", DesktopController::shared().panelCount(),
                    qlonglong(studio.pieces().size()), qlonglong(clock.elapsed()));
        reportPeak();
        app.quit();
    });
    return app.exec();
}

} // namespace

int main(int argc, char** argv)
{
    resetPeak();
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication::setOrganizationName(QStringLiteral("VeloraTests"));
    QCoreApplication::setApplicationName(QStringLiteral("VeloraTestChild"));
    if (argc == 3 && std::strcmp(argv[1], "decode") == 0) return decode(argv[2]);
    if (argc == 4 && std::strcmp(argv[1], "import") == 0) return import(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "start") == 0) return start(argc, argv);
    std::fprintf(stderr, "usage: velora_test_child decode FILE | import ROOT PATH | start ROOT\n");
    return 2;
}
