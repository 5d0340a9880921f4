#pragma once
// Screens and panels without a window system, and a rig of studio, screens and controller.
#include "desktop_controller.h"
#include "fixtures.h"
#include "panel_surface.h"
#include "piece_view.h"
#include "screens.h"
#include "storage.h"
#include "studio.h"

#include <QTemporaryDir>

#include <map>

namespace velora::testing {

class FakeScreens final : public ScreenSource {
public:
    explicit FakeScreens(QList<ScreenInfo> list) : m_list(std::move(list)) {}
    QList<ScreenInfo> screens() const override { return m_list; }
    ScreenSpace space() const override { return ScreenSpace(m_axis); }
    // axis: the primary's bottom in window-system coordinates (its height when it starts at 0).
    void set(QList<ScreenInfo> list, double axis = 900)
    {
        m_list = std::move(list);
        m_axis = axis;
        emit screensChanged();
    }

private:
    QList<ScreenInfo> m_list;
    double m_axis = 900;
};

// A primary display of 1440 × 900 with a 25-point menu bar on top, and one to the left of it.
inline ScreenInfo mainDisplay() { return {QStringLiteral("MAIN"), {0, 0, 1440, 900}, {0, 0, 1440, 875}}; }
inline ScreenInfo leftDisplay() { return {QStringLiteral("LEFT"), {-1440, 0, 1440, 900}, {-1440, 0, 1440, 900}}; }

class FakePanel;

// Which fake panels live, and how many were ever made and released.
struct PanelLog {
    std::map<QUuid, FakePanel*> live;
    int made = 0;
    int released = 0;
    FakePanel* operator[](const QUuid& id) const { return live.count(id) ? live.at(id) : nullptr; }
    DesktopController::PanelFactory factory();
};

class FakePanel final : public PanelSurface {
public:
    FakePanel(PanelLog& log, const QUuid& pieceID) : id(pieceID), m_log(log) { ++log.made; log.live[id] = this; }
    Rect frame() const override { return m_frame; }
    void setFrame(const Rect& frame) override { ++frameSets; m_frame = frame; }
    bool isShown() const override { return m_shown; }
    void orderFront() override { m_shown = true; }
    double margin() const override { return m_margin; }
    void setMargin(double margin) override { m_margin = margin; }
    bool isDragging() const override { return dragging; }
    bool ignoresMouse() const override { return m_ignores; }
    void setIgnoresMouse(bool ignore) override { m_ignores = ignore; }
    void setContent(const PieceView& view) override { lastView = view; }
    void release() override
    {
        ++m_log.released;
        m_log.live.erase(id);
        delete this;
    }

    QUuid id;
    bool dragging = false;
    int frameSets = 0;
    PieceView lastView;

private:
    PanelLog& m_log;
    Rect m_frame{0, 0, 100, 100};
    bool m_shown = false;
    double m_margin = 0;
    bool m_ignores = false;
};

inline DesktopController::PanelFactory PanelLog::factory()
{
    return [this](DesktopController&, const QUuid& id) { return new FakePanel(*this, id); };
}

// A studio on a temporary library with all pieces shown, fake screens, and a controller that
// makes fake panels unless real ones are asked for.
struct Rig {
    QTemporaryDir dir;
    Studio studio;
    FakeScreens screens;
    PanelLog log;
    DesktopController controller{studio, screens};

    explicit Rig(QList<ScreenInfo> list = {mainDisplay()}, bool fakePanels = true) : screens(std::move(list))
    {
        Storage::setRoot(dir.path());
        studio.setAllHidden(false);
        if (fakePanels) controller.setPanelFactory(log.factory());
    }

    QList<Photo> addPhotos(const QList<QPair<int, int>>& sizes)
    {
        QList<Photo> made;
        for (const auto& [w, h] : sizes) made.append(makePhoto(w, h));
        studio.appendPhotos(made);
        return made;
    }

    Piece addPiece(const QList<QUuid>& ids, CollageLayout layout = CollageLayout::single,
                   const QMap<QString, Point>& placements = {}, std::optional<QString> display = std::nullopt)
    {
        Piece p = Piece::make(QStringLiteral("Piece"), ids);
        p.layout = layout;
        p.seed = 7;
        p.placements = placements;
        p.displayID = display;
        studio.setPieces(studio.pieces() + QList<Piece>{p});
        return p;
    }

    const Piece& stored(const QUuid& id) const { return *studio.piece(id); }

    // The outer size the controller gives a piece as it stands in the studio.
    Size outerSize(const Piece& p) const
    {
        const PieceView view{p, studio.photos(p), studio.tick(p.id), std::nullopt};
        const QList<Photo> shown = view.shown();
        return PieceView::geometry(p, shown, std::nullopt, !view.caption(shown).isEmpty()).outerSize;
    }
};

} // namespace velora::testing
