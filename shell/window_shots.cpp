#include "window_shots.h"

#include "application.h"
#include "inspector.h"
#include "library_page.h"
#include "manager_window.h"
#include "pieces_page.h"
#include "studio.h"
#include "styles_page.h"
#include "thumbnails.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QScrollArea>
#include <QScrollBar>
#include <QThread>

namespace velora {

namespace {

// Lets layouts, queued syncs and animations run for a while.
void settle(int ms)
{
    QElapsedTimer t;
    t.start();
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    } while (t.elapsed() < ms);
}

QImage grab(ManagerMainWindow* window)
{
    window->view()->piecesPage()->grid()->renderPending();
    window->view()->stylesPage()->renderPending();
    window->view()->inspectorColumn()->inspector()->editor()->thumbnails().waitForLoads();
    window->view()->libraryPage()->grid()->images().waitForIdle();
    settle(30);
    return window->grab().toImage();
}

} // namespace

QList<std::pair<QString, QImage>> WindowShots::take(Application& app)
{
    QList<std::pair<QString, QImage>> shots;
    ManagerWindow& manager = app.manager();
    manager.show();
    ManagerMainWindow* window = manager.window();
    window->resize(ManagerMainWindow::initialSize);
    Studio& studio = app.context().studio;
    studio.setSelectedPieceID(std::nullopt);
    studio.setShowInspector(false);
    for (const Page page : allPages) {
        studio.setPage(page);
        settle(InspectorColumn::durationMs + 150);
        shots.append({QStringLiteral("window-%1.png").arg(rawValue(page)), grab(window)});
    }
    // The editor of a piece of each layout, and of the first one scrolled to its end.
    Inspector* inspector = window->view()->inspectorColumn()->inspector();
    bool first = true;
    for (const CollageLayout layout : allCollageLayouts) {
        const auto it = std::find_if(studio.pieces().cbegin(), studio.pieces().cend(),
                                     [layout](const Piece& p) { return p.layout == layout; });
        if (it == studio.pieces().cend()) continue;
        studio.select(it->id);
        settle(InspectorColumn::durationMs + 150);
        shots.append({QStringLiteral("window-inspector-%1.png").arg(qRawValue(layout)), grab(window)});
        if (first) {
            QScrollBar* bar = inspector->scrollArea()->verticalScrollBar();
            bar->setValue(bar->maximum());
            shots.append({QStringLiteral("window-inspector-end.png"), grab(window)});
            bar->setValue(0);
            first = false;
        }
    }
    return shots;
}

} // namespace velora
