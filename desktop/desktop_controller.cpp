#include "desktop_controller.h"

#include "piece_panel.h"
#include "piece_view.h"
#include "snapping.h"
#include "studio.h"

#include <QHash>
#include <QSet>

#include <cmath>
#include <utility>

namespace velora {

DesktopController::DesktopController(Studio& studio, ScreenSource& screens, QObject* parent)
    : QObject(parent)
    , m_studio(studio)
    , m_screens(screens)
{
}

DesktopController::~DesktopController() { releaseAll(); }

DesktopController& DesktopController::shared()
{
    // Lives until the process ends, like its panels; never destroyed after the application.
    static auto* screens = new QtScreens;
    static auto* controller = new DesktopController(Studio::shared(), *screens);
    return *controller;
}

void DesktopController::start()
{
    if (m_started) return;
    m_started = true;
    // Only what shows on the desktop: the manager's page, selection and the like never sync.
    m_bag << connect(&m_studio, &Studio::piecesChanged, this, &DesktopController::scheduleSync);
    m_bag << connect(&m_studio, &Studio::photosChanged, this, &DesktopController::scheduleSync);
    m_bag << connect(&m_studio, &Studio::allHiddenChanged, this, &DesktopController::scheduleSync);
    m_bag << connect(&m_studio, &Studio::advanced, this, &DesktopController::scheduleSync);
    m_bag << connect(&m_screens, &ScreenSource::screensChanged, this, [this] {
        m_screensChanged = true;
        scheduleSync();
    });
    sync();
}

void DesktopController::scheduleSync()
{
    if (m_pending) return;
    m_pending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_pending = false;
            sync();
        },
        Qt::QueuedConnection);
}

PanelSurface* DesktopController::makePanel(const QUuid& pieceID)
{
    if (m_factory) return m_factory(*this, pieceID);
    return new PiecePanel(*this, pieceID);
}

PanelSurface* DesktopController::surface(const QUuid& pieceID) const
{
    const auto it = m_panels.find(pieceID);
    return it == m_panels.end() ? nullptr : it->second;
}

PiecePanel* DesktopController::panel(const QUuid& pieceID) const
{
    return dynamic_cast<PiecePanel*>(surface(pieceID));
}

void DesktopController::releaseAll()
{
    auto panels = std::move(m_panels);
    m_panels.clear();
    for (auto& [id, panel] : panels) panel->release();
}

void DesktopController::sync()
{
    ++m_syncs;
    const QList<ScreenInfo> screens = m_screens.screens();
    const bool replace = std::exchange(m_screensChanged, false);
    // Copies: storing a placement edits the studio's own lists while this runs.
    const QList<Piece> pieces = m_studio.pieces();
    const QList<Photo> photos = m_studio.photos();
    QHash<QUuid, const Photo*> photoByID;
    photoByID.reserve(photos.size());
    // Backwards, so that the first photo with an identifier is the one kept.
    for (auto it = photos.crbegin(); it != photos.crend(); ++it) photoByID.insert(it->id, &*it);

    QSet<QUuid> kept;
    for (qsizetype i = 0; i < pieces.size() && kept.size() < maxPanels; ++i) {
        const Piece& piece = pieces[i];
        if (!piece.isVisible || m_studio.allHidden()) continue;
        PieceView view{piece, {}, m_studio.tick(piece.id), std::nullopt};
        for (const QUuid& id : piece.photoIDs)
            if (const Photo* photo = photoByID.value(id)) view.photos.append(*photo);
        if (view.photos.isEmpty()) continue;

        const QList<Photo> shown = view.shown();
        const bool hasCaption = !view.caption(shown).isEmpty();
        const PieceGeometry geo = PieceView::geometry(piece, shown, std::nullopt, hasCaption);
        // Absurd widths or tilts give nothing drawable; such a piece gets no window.
        if (!geo.drawable()) continue;

        kept.insert(piece.id);
        PanelSurface*& slot = m_panels[piece.id];
        if (!slot) slot = makePanel(piece.id);
        PanelSurface* panel = slot;

        panel->setIgnoresMouse(piece.isLocked);
        panel->setContent(view);
        const double w = geo.outerSize.width;
        const double h = geo.outerSize.height;
        panel->setMargin(geo.margin);
        // Never move a panel under the user's hand.
        if (panel->isDragging()) continue;
        if (screens.isEmpty()) continue;

        const qsizetype screenIndex = *ScreenMath::screenFor(piece.displayID, screens);
        const ScreenInfo& screen = screens[screenIndex];
        const Rect& f = screen.frame;
        double x = 0;
        double y = 0;
        const auto stored = piece.placements.constFind(screen.key);
        if (stored != piece.placements.constEnd()) {
            x = f.minX() + stored->x;
            y = f.minY() + stored->y;
            // A piece whose size changed (a slideshow photo of another shape) keeps its top edge
            // and remembers the new origin.
            if (panel->isShown()) {
                const Rect current = panel->frame();
                const auto currentScreen = ScreenMath::screenOf(current, screens);
                if (currentScreen == screenIndex && std::abs(current.minX() - x) < 1.0 && current.height != h) {
                    y = current.maxY() - h;
                    if (std::abs(y - (f.minY() + stored->y)) > 0.5) savePlacement(piece.id, {x, y}, screen);
                }
            }
        } else {
            const double k = double(i % cascadeCycle);
            const Rect& v = screen.visible;
            x = v.maxX() - w - cascadeRight - cascadeStep * k;
            y = v.maxY() - h - cascadeTop - cascadeStep * k;
            savePlacement(piece.id, {x, y}, screen);
        }

        // Shown at least half on the display sideways and at the bottom, top never above it;
        // the stored placement stays as it was.
        x = std::min(std::max(x, f.minX() - w * 0.5), f.maxX() - w * 0.5);
        y = std::min(std::max(y, f.minY() - h * 0.5), f.maxY() - h);

        const Rect target{x, y, w, h};
        if (panel->frame() != target || replace) panel->setFrame(target);
        if (!panel->isShown()) panel->orderFront();
    }

    for (auto it = m_panels.begin(); it != m_panels.end();) {
        if (kept.contains(it->first)) {
            ++it;
            continue;
        }
        PanelSurface* panel = it->second;
        it = m_panels.erase(it);
        panel->release();
    }
}

void DesktopController::savePlacement(const QUuid& pieceID, const Point& origin, const ScreenInfo& screen)
{
    if (!std::isfinite(origin.x) || !std::isfinite(origin.y)) return;
    const Point rel{Snapping::roundAway(origin.x - screen.frame.minX()),
                    Snapping::roundAway(origin.y - screen.frame.minY())};
    const Piece* piece = m_studio.piece(pieceID);
    if (!piece) return;
    const auto it = piece->placements.constFind(screen.key);
    if (it != piece->placements.constEnd() && *it == rel) return;
    m_studio.update(pieceID, [&](Piece& p) { p.placements[screen.key] = rel; });
}

bool DesktopController::snapToGrid() const { return m_studio.settings().snapToGrid(); }

Point DesktopController::snapped(const Rect& frame, double margin, const ScreenInfo& screen) const
{
    return Snapping::snapped(frame, margin, screen.visible, snapToGrid());
}

void DesktopController::recordEdit(const QString& text, const std::function<void()>& change)
{
    if (m_recordEdit)
        m_recordEdit(text, change);
    else
        change();
}

void DesktopController::openEditor(const QUuid& pieceID)
{
    if (m_openEditor)
        m_openEditor(pieceID);
    else
        m_studio.select(pieceID);
}

} // namespace velora
