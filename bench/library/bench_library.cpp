// The library page with 2000 photos: the layout, the first paint, scroll frames while thumbnails
// load, and the memory the page costs over an empty library. Each figure stands beside a reference
// timed in the same run: the layout math alone, a plain QListView of the same 2000 rows, and the
// same page over an empty library.
#include "actions.h"
#include "app_context.h"
#include "bench_common.h"
#include "edits.h"
#include "image_cache.h"
#include "layout.h"
#include "library_page.h"
#include "models.h"
#include "previews.h"
#include "screens.h"
#include "storage.h"
#include "studio.h"

#include <QApplication>
#include <QFile>
#include <QListView>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <ctime>
#include <memory>
#include <unistd.h>

using namespace velora;

namespace {

constexpr int photoCount = 2000;
const QSize pageSize(952, 700); // the page in a window of the default size

void settle()
{
    for (int i = 0; i < 10; ++i) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

// 2000 records over the seven demo photos' files (linked, so each has its own file names and so
// its own cache entries, as real photos have).
QList<Photo> libraryOf(const QList<Photo>& demo)
{
    QList<Photo> photos;
    photos.reserve(photoCount);
    for (int i = 0; i < photoCount; ++i) {
        Photo p = demo[i % demo.size()];
        p.id = QUuid::createUuid();
        p.title = QStringLiteral("Photo %1").arg(i + 1);
        p.fileName = uuidText(p.id) + QStringLiteral(".jpg");
        p.thumbName = uuidText(p.id) + QStringLiteral("-s.jpg");
        QFile::link(*Storage::photoPath(demo[i % demo.size()].fileName), *Storage::photoPath(p.fileName));
        QFile::link(*Storage::photoPath(demo[i % demo.size()].thumbName), *Storage::photoPath(p.thumbName));
        photos.append(p);
    }
    return photos;
}

// Milliseconds of processor time this thread has used: what a frame costs the window, apart from
// how long a busy machine keeps it waiting.
double threadCpuMs()
{
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) * 1e3 + double(t.tv_nsec) / 1e6;
}

struct Frames {
    double median = 0, p95 = 0, worst = 0;
    double cpuMedian = 0, cpuP95 = 0;
    int count = 0;
};

// Scrolls from the top to the bottom in steps, one frame (the scroll and its paint) per 16 ms.
Frames scrollThrough(QAbstractScrollArea& view, int step)
{
    QScrollBar* bar = view.verticalScrollBar();
    bar->setValue(0);
    settle();
    std::vector<double> ms, cpu;
    while (bar->value() < bar->maximum()) {
        QElapsedTimer t;
        t.start();
        const double cpuStart = threadCpuMs();
        bar->setValue(bar->value() + step);
        QCoreApplication::processEvents(); // the scroll's paint, and the tiles that came
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
        cpu.push_back(threadCpuMs() - cpuStart);
        QThread::msleep(16);
    }
    if (ms.empty()) return {};
    std::sort(ms.begin(), ms.end());
    std::sort(cpu.begin(), cpu.end());
    const auto p95 = [](const std::vector<double>& v) { return v[std::min(v.size() - 1, v.size() * 95 / 100)]; };
    return {ms[ms.size() / 2], p95(ms), ms.back(), cpu[cpu.size() / 2], p95(cpu), int(ms.size())};
}

void row(const char* what, const char* unit, double value, const char* refName, double ref, double goal)
{
    std::printf("  %-34s %9.2f %-3s   %-34s %9.2f %-3s   x%-7.2f %s\n", what, value, unit, refName, ref, unit,
                ref > 0 ? value / ref : 0.0, goal > 0 ? (value < goal ? "(goal met)" : "(OVER GOAL)") : "");
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("VeloraBench"));
    QTemporaryDir dir;
    const auto demo = bench::demoPhotos(dir.path());
    if (!demo) return 1;
    ImageCache::shared().clear();
    const QList<Photo> photos = libraryOf(*demo);

    Studio studio;
    Edits edits(studio);
    Actions actions(studio, edits);
    PieceListModel pieceModel(studio);
    PhotoListModel photoModel(studio);
    Previews previews;
    QtScreens screens;
    AppContext context{studio, studio.settings(), edits, actions, pieceModel, photoModel, previews, screens};

    const auto firstPaint = [&](auto make) {
        return bench::medianMs(
            [&] {
                auto widget = make();
                widget->resize(pageSize);
                widget->show();
                widget->repaint();
            },
            7);
    };
    const auto page = [&] { return std::make_unique<LibraryPage>(context); };
    const auto plainList = [&] {
        auto list = std::make_unique<QListView>();
        list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        list->setModel(&photoModel);
        return list;
    };

    // The empty library first: its page, and the memory everything costs before any photo.
    const double emptyPaint = firstPaint(page);
    auto emptyPage = page();
    emptyPage->resize(pageSize);
    emptyPage->show();
    settle();
    const double emptyMiB = bench::residentMiB();
    emptyPage.reset();

    studio.setPhotos(photos);
    std::printf("Library page with %d photos, page %dx%d, device pixel ratio %.1f, %d tile workers\n", photoCount,
                pageSize.width(), pageSize.height(), qApp->devicePixelRatio(), std::max(1, QThread::idealThreadCount() - 1));
    std::printf("  %-34s %13s   %-34s %13s   %-8s\n", "measured", "", "reference", "", "ratio");

    // Layout: the page's relayout against the math alone and a plain list view's own layout.
    auto shown = page();
    shown->resize(pageSize);
    shown->show();
    settle();
    LibraryGrid& grid = *shown->grid();
    std::vector<double> aspects;
    for (const Photo& p : photos) aspects.push_back(p.aspect());
    const double width = grid.layoutWidth();
    const double layout = bench::medianMs([&] { grid.relayout(); }, 31);
    const double math = bench::medianMs([&] { (void)LayoutMath::justified(aspects, width, 190, 12, false); }, 31);
    auto list = plainList();
    list->resize(pageSize);
    list->show();
    settle();
    const double listLayout = bench::medianMs([&] { list->doItemsLayout(); }, 31);
    row("layout (one relayout)", "ms", layout, "justified() alone", math, 5);
    row("", "ms", layout, "QListView doItemsLayout", listLayout, 0);

    // First paint: made, shown and painted at once; the thumbnails come after.
    const double paint = firstPaint(page);
    const double listPaint = firstPaint(plainList);
    row("first paint", "ms", paint, "same page, empty library", emptyPaint, 150);
    row("", "ms", paint, "plain QListView, 2000 rows", listPaint, 0);

    // Scrolling through everything from a cold tile cache, thumbnails loading all the while.
    grid.images().waitForIdle();
    grid.images().clear();
    const qint64 madeBefore = grid.images().made();
    const Frames frames = scrollThrough(grid, 160);
    const Frames listFrames = scrollThrough(*list, 160);
    row("scroll frame, median", "ms", frames.median, "plain QListView, median", listFrames.median, 16);
    row("scroll frame, 95th percentile", "ms", frames.p95, "plain QListView, 95th percentile", listFrames.p95, 16);
    row("scroll frame, worst", "ms", frames.worst, "plain QListView, worst", listFrames.worst, 0);
    row("scroll frame CPU, median", "ms", frames.cpuMedian, "plain QListView CPU, median", listFrames.cpuMedian, 16);
    row("scroll frame CPU, 95th percentile", "ms", frames.cpuP95, "plain QListView CPU, 95th pct.", listFrames.cpuP95, 16);
    std::printf("  (%d frames; %lld tiles made while scrolling)\n", frames.count, grid.images().made() - madeBefore);

    // Memory once every photo has been seen and the last screen's tiles are in.
    grid.images().waitForIdle();
    settle();
    const double fullMiB = bench::residentMiB();
    row("memory over an empty library", "MiB", fullMiB - emptyMiB, "resident with an empty library", emptyMiB, 200);
    std::printf("  (tile cache %.1f MiB in %d tiles, limit %.0f MiB; image cache %d entries)\n",
                double(grid.images().bytes()) / (1024.0 * 1024.0), grid.images().count(),
                double(grid.images().byteLimit()) / (1024.0 * 1024.0), ImageCache::shared().count());
    return 0;
}
