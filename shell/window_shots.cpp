#include "window_shots.h"

#include "application.h"
#include "library_page.h"
#include "manager_window.h"
#include "pieces_page.h"
#include "studio.h"

#include <QCoreApplication>
#include <QElapsedTimer>
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
    window->resize(ManagerMainWindow::defaultSize);
    Studio& studio = app.context().studio;
    studio.setSelectedPieceID(std::nullopt);
    studio.setShowInspector(false);
    for (const Page page : allPages) {
        studio.setPage(page);
        settle(InspectorColumn::durationMs + 150);
        shots.append({QStringLiteral("window-%1.png").arg(rawValue(page)), grab(window)});
    }
    if (!studio.pieces().isEmpty()) {
        studio.select(studio.pieces().front().id);
        settle(InspectorColumn::durationMs + 150);
        shots.append({QStringLiteral("window-inspector.png"), grab(window)});
    }
    return shots;
}

} // namespace velora
