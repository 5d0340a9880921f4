// Start-up with 100 000 visible pieces: from process start to a responsive desktop (the event loop
// turning with every panel shown), with peak memory, each in a process of its own. Beside it, in
// the same run: the same start with an empty library, and parsing the pieces file alone.
//
//   bench_startup [--pieces N] [--rounds R]
#include "bench_common.h"
#include "desktop_controller.h"
#include "image_store.h"
#include "storage.h"
#include "studio.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <cstring>

using namespace velora;

namespace {

// What velora does on start: load the library, show the desktop, turn the event loop once.
int childStart(int argc, char** argv)
{
    QApplication app(argc, argv);
    Storage::setRoot(QString::fromLocal8Bit(argv[2]));
    Studio::shared().load();
    DesktopController::shared().start();
    QTimer::singleShot(0, &app, &QCoreApplication::quit);
    app.exec();
    return DesktopController::shared().panelCount() > 0 || Studio::shared().pieces().isEmpty() ? 0 : 3;
}

// The reference: reading and parsing the pieces file, nothing else.
int childParse(char** argv)
{
    QFile file(QDir(QString::fromLocal8Bit(argv[2])).filePath("pieces.json"));
    if (!file.open(QIODevice::ReadOnly)) return 3;
    return QJsonDocument::fromJson(file.readAll()).array().size() > 0 ? 0 : 3;
}

bench::Run best(const std::vector<std::string>& args, int rounds)
{
    bench::Run out;
    for (int i = 0; i < rounds; ++i) {
        const bench::Run r = bench::spawn(args);
        out.ms = i == 0 ? r.ms : std::min(out.ms, r.ms);
        out.maxRssKb = std::max(out.maxRssKb, r.maxRssKb);
        out.ok = (i == 0 || out.ok) && r.ok;
    }
    return out;
}

// The two libraries, made in a process of their own: a child's peak starts from its parent's
// size at the fork, so the measuring process stays small.
int childSetup(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    const QString full = QString::fromLocal8Bit(argv[2]) + "/full/Velora";
    const int count = std::atoi(argv[3]);
    const auto photos = bench::demoPhotos(full);
    if (!photos) return 1;
    QList<Piece> pieces;
    pieces.reserve(count);
    for (int i = 0; i < count; ++i) {
        Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), {(*photos)[i % 7].id, (*photos)[(i + 3) % 7].id});
        p.layout = CollageLayout::row;
        p.placements.insert(QStringLiteral("Main"), {double(i % 1500), double(i % 800)});
        pieces.append(p);
    }
    if (!StateFiles::writePhotos(*photos) || !StateFiles::writePieces(pieces)) return 1;
    Storage::setRoot(QString::fromLocal8Bit(argv[2]) + "/empty/Velora");
    Storage::prepare();
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc == 3 && std::strcmp(argv[1], "--child-start") == 0) return childStart(argc, argv);
    if (argc == 3 && std::strcmp(argv[1], "--child-parse") == 0) return childParse(argv);
    if (argc == 4 && std::strcmp(argv[1], "--child-setup") == 0) return childSetup(argc, argv);
    int count = 100'000;
    int rounds = 3;
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--pieces") == 0) count = std::max(1, std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "--rounds") == 0) rounds = std::max(1, std::atoi(argv[++i]));
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QTemporaryDir dir;
    const std::string self = bench::selfPath(argv[0]);
    if (!bench::spawn({self, "--child-setup", dir.path().toStdString(), std::to_string(count)}).ok) {
        std::fprintf(stderr, "could not make the libraries\n");
        return 1;
    }
    const QString full = dir.path() + "/full/Velora";
    const QString empty = dir.path() + "/empty/Velora";
    const qint64 bytes = QFileInfo(full + "/pieces.json").size();

    std::printf("Velora start-up benchmark: %d visible pieces (pieces.json %.1f MB), best of %d, offscreen\n", count,
                double(bytes) / 1048576.0, rounds);
    const bench::Run velora = best({self, "--child-start", full.toStdString()}, rounds);
    const bench::Run bare = best({self, "--child-start", empty.toStdString()}, rounds);
    const bench::Run parse = best({self, "--child-parse", full.toStdString()}, rounds);
    const auto row = [](const char* what, const bench::Run& r) {
        std::printf("  %-34s %8.0f ms %8.1f MB peak%s\n", what, r.ms, r.maxRssKb / 1024.0, r.ok ? "" : "  (FAILED)");
    };
    row("start with these pieces", velora);
    row("start with an empty library", bare);
    row("parsing pieces.json alone", parse);
    std::printf("  against parsing alone: %.2f x time, %.2f x memory; against an empty start: +%.0f ms, +%.1f MB\n",
                velora.ms / parse.ms, double(velora.maxRssKb) / double(parse.maxRssKb), velora.ms - bare.ms,
                (velora.maxRssKb - bare.maxRssKb) / 1024.0);
    const bool met = velora.ok && velora.ms < 10'000 && velora.maxRssKb < 1536 * 1024;
    std::printf("  goal: under 10 s and 1.5 GB to a responsive desktop  %s\n", met ? "met" : "NOT met");
    return met ? 0 : 1;
}
