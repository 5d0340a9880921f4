// The manager window with 200 pieces and 2000 photos against an empty library, each measured in a
// fresh process: the first paint (cards drawn, previews still coming) and the full one, a scroll
// frame through the pieces page cold (a preview rendered per frame) and warm, and the memory the
// open window costs.
#include "bench_common.h"

#include "application.h"
#include "desktop_controller.h"
#include "manager_window.h"
#include "pieces_page.h"
#include "settings.h"
#include "studio.h"

#include <QApplication>
#include <QWindow>
#include <QFile>
#include <QProcess>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>

#include <cstdio>
#include <unistd.h>

using namespace velora;

namespace {

void settle()
{
    for (int i = 0; i < 10; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

// 2000 photo records over the seven painted files, and 200 pieces of one to six of them in every
// frame and layout.
void fill(Studio& studio, const QList<Photo>& demo, int pieces, int photos)
{
    QList<Photo> library;
    for (int i = 0; i < photos; ++i) {
        Photo p = demo[i % demo.size()];
        p.id = QUuid::createUuid();
        p.title = QStringLiteral("Photo %1").arg(i);
        library.append(p);
    }
    studio.setPhotos(library);
    QList<Piece> made;
    for (int i = 0; i < pieces; ++i) {
        QList<QUuid> ids;
        for (int k = 0; k <= i % 6; ++k) ids.append(library[(i * 7 + k) % library.size()].id);
        Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), ids);
        p.layout = allCollageLayouts[i % allCollageLayouts.size()];
        p.frame = allFrameStyles[(i / 6) % allFrameStyles.size()];
        p.width = 300 + (i % 4) * 80;
        made.append(p);
    }
    studio.setPieces(made);
}

struct Figures {
    double firstPaint = 0, fullPaint = 0, coldFrame = 0, coldWorst = 0, warmFrame = 0, rss = 0;
};

// One measured run in this process: "<pieces> <photos>".
Figures measure(int pieces, int photos)
{
    QTemporaryDir dir;
    const auto demo = bench::demoPhotos(dir.path());
    if (!demo) std::exit(1);
    Settings settings(Settings::file(dir.filePath("settings.ini")));
    Studio studio(settings);
    fill(studio, *demo, pieces, photos);
    studio.setAllHidden(true); // the window alone: no desktop panels
    studio.setSelectedPieceID(std::nullopt);
    studio.setShowInspector(false);
    QtScreens screens;
    DesktopController desktop(studio, screens);
    Application app(Application::Mode::normal, studio, desktop);
    settle();
    const double before = bench::residentMiB();

    Figures f;
    QElapsedTimer t;
    t.start();
    app.manager().show();
    ManagerMainWindow* w = app.manager().window();
    // Painting starts once the window system says the window is on screen.
    while (!w->windowHandle()->isExposed()) QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    w->repaint();
    f.firstPaint = double(t.nsecsElapsed()) / 1e6;
    CardGrid* grid = w->view()->piecesPage()->grid();
    grid->renderPending();
    w->repaint();
    f.fullPaint = double(t.nsecsElapsed()) / 1e6;

    // Scrolling by 60 points a frame, as a wheel does; cold frames also render the one preview the
    // page renders per turn of the event loop.
    QScrollBar* bar = w->view()->piecesPage()->scrollArea()->verticalScrollBar();
    QWidget* viewport = w->view()->piecesPage()->scrollArea()->viewport();
    const auto scrollThrough = [&](bool renderOne) {
        std::vector<double> frames;
        for (int y = 0; y <= bar->maximum(); y += 60) {
            QElapsedTimer frame;
            frame.start();
            bar->setValue(y);
            viewport->repaint();
            if (renderOne && grid->pendingPreviews() > 0) QCoreApplication::processEvents();
            frames.push_back(double(frame.nsecsElapsed()) / 1e6);
        }
        std::sort(frames.begin(), frames.end());
        return frames;
    };
    if (pieces > 0) {
        bar->setValue(0);
        const auto cold = scrollThrough(true);
        f.coldFrame = cold[cold.size() / 2];
        f.coldWorst = cold[size_t(double(cold.size()) * 0.95)];
        grid->renderPending();
        bar->setValue(0);
        const auto warm = scrollThrough(false);
        f.warmFrame = warm[warm.size() / 2];
    }
    settle();
    f.rss = bench::residentMiB() - before;
    return f;
}

Figures runChild(const char* self, int pieces, int photos)
{
    QProcess p;
    p.start(QString::fromLocal8Bit(self), {QStringLiteral("--measure"), QString::number(pieces), QString::number(photos)});
    p.waitForFinished(600000);
    const QList<QByteArray> v = p.readAllStandardOutput().trimmed().split(' ');
    Figures f;
    if (v.size() == 6) {
        f.firstPaint = v[0].toDouble();
        f.fullPaint = v[1].toDouble();
        f.coldFrame = v[2].toDouble();
        f.coldWorst = v[3].toDouble();
        f.warmFrame = v[4].toDouble();
        f.rss = v[5].toDouble();
    } else {
        std::fprintf(stderr, "measuring run failed: %s\n", p.readAllStandardError().constData());
    }
    return f;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    if (argc == 4 && qstrcmp(argv[1], "--measure") == 0) {
        QApplication app(argc, argv);
        QApplication::setOrganizationName(QStringLiteral("VeloraBench"));
        const Figures f = measure(atoi(argv[2]), atoi(argv[3]));
        std::printf("%.3f %.3f %.3f %.3f %.3f %.1f\n", f.firstPaint, f.fullPaint, f.coldFrame, f.coldWorst, f.warmFrame, f.rss);
        return 0;
    }
    constexpr int runs = 3;
    std::vector<Figures> empty, full;
    for (int i = 0; i < runs; ++i) {
        empty.push_back(runChild(argv[0], 0, 0));
        full.push_back(runChild(argv[0], 200, 2000));
    }
    const auto median = [](std::vector<Figures> v, double Figures::*field) {
        std::sort(v.begin(), v.end(), [field](const Figures& a, const Figures& b) { return a.*field < b.*field; });
        return v[v.size() / 2].*field;
    };
    const double e = median(empty, &Figures::firstPaint), p = median(full, &Figures::firstPaint);
    std::printf("manager window, median of %d fresh processes each\n", runs);
    std::printf("  first paint      empty library %7.1f ms   200 pieces, 2000 photos %7.1f ms   ratio %.2fx   (goal < 300 ms, < 3x)\n",
                e, p, p / std::max(e, 0.001));
    std::printf("  with previews    empty library %7.1f ms   200 pieces, 2000 photos %7.1f ms\n",
                median(empty, &Figures::fullPaint), median(full, &Figures::fullPaint));
    std::printf("  scroll frame     cold median %.2f ms, 95th %.2f ms   warm median %.2f ms   (goal < 16 ms)\n",
                median(full, &Figures::coldFrame), median(full, &Figures::coldWorst), median(full, &Figures::warmFrame));
    const double re = median(empty, &Figures::rss), rf = median(full, &Figures::rss);
    std::printf("  window memory    empty library %+7.1f MiB   200 pieces %+7.1f MiB   difference %.1f MiB   (goal < 150 MiB)\n",
                re, rf, rf - re);
    return 0;
}
