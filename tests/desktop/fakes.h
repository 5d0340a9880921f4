#pragma once
// Screens and panels without a window system, for driving the desktop controller in tests.
#include "desktop_controller.h"
#include "panel_surface.h"
#include "piece_view.h"
#include "screens.h"
#include "studio.h"

#include <QUuid>

#include <map>
#include <memory>

namespace velora::testing {

class FakeScreens final : public ScreenSource {
public:
    explicit FakeScreens(QList<ScreenInfo> list, double primaryHeight = 900)
        : m_list(std::move(list))
        , m_space(primaryHeight)
    {
    }
    QList<ScreenInfo> screens() const override { return m_list; }
    ScreenSpace space() const override { return m_space; }
    void set(QList<ScreenInfo> list)
    {
        m_list = std::move(list);
        emit screensChanged();
    }

private:
    QList<ScreenInfo> m_list;
    ScreenSpace m_space;
};

// A primary display of 1440 × 900 with a 25-point menu bar on top.
inline ScreenInfo mainDisplay() { return {QStringLiteral("MAIN"), {0, 0, 1440, 900}, {0, 0, 1440, 875}}; }
// A display to the left of it.
inline ScreenInfo leftDisplay() { return {QStringLiteral("LEFT"), {-1440, 0, 1440, 900}, {-1440, 0, 1440, 900}}; }

struct PanelLog;

class FakePanel final : public PanelSurface {
public:
    FakePanel(PanelLog& log, const QUuid& id);
    Rect frame() const override { return m_frame; }
    void setFrame(const Rect& frame) override;
    bool isShown() const override { return m_shown; }
    void orderFront() override { m_shown = true; }
    double margin() const override { return m_margin; }
    void setMargin(double margin) override { m_margin = margin; }
    bool isDragging() const override { return dragging; }
    bool ignoresMouse() const override { return m_ignores; }
    void setIgnoresMouse(bool ignore) override { m_ignores = ignore; }
    void setContent(const PieceView& view) override { lastView = view; }
    void release() override;

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

// Which fake panels live, and how many were ever made and released.
struct PanelLog {
    std::map<QUuid, FakePanel*> live;
    int made = 0;
    int released = 0;
    FakePanel* operator[](const QUuid& id) const
    {
        const auto it = live.find(id);
        return it == live.end() ? nullptr : it->second;
    }
    DesktopController::PanelFactory factory()
    {
        return [this](DesktopController&, const QUuid& id) { return new FakePanel(*this, id); };
    }
};

inline FakePanel::FakePanel(PanelLog& log, const QUuid& pieceID)
    : id(pieceID)
    , m_log(log)
{
    ++log.made;
    log.live[pieceID] = this;
}

inline void FakePanel::setFrame(const Rect& frame)
{
    ++frameSets;
    m_frame = frame;
}

inline void FakePanel::release()
{
    ++m_log.released;
    m_log.live.erase(id);
    delete this;
}

inline Photo photo(qint64 w, qint64 h, const QString& caption = {})
{
    Photo p;
    p.id = QUuid::createUuid();
    p.title = QStringLiteral("P");
    p.fileName = QStringLiteral("none.jpg");
    p.thumbName = QStringLiteral("none-s.jpg");
    p.pixelWidth = w;
    p.pixelHeight = h;
    p.caption = caption;
    return p;
}

inline Piece piece(const QList<QUuid>& photoIDs, CollageLayout layout = CollageLayout::single)
{
    Piece p = Piece::make(QStringLiteral("Piece"), photoIDs);
    p.layout = layout;
    p.seed = 7;
    return p;
}

// The outer size the controller gives a piece as it stands in the studio.
inline Size outerSize(const Studio& studio, const Piece& p)
{
    const PieceView view{p, studio.photos(p), studio.tick(p.id), std::nullopt};
    const QList<Photo> shown = view.shown();
    return PieceView::geometry(p, shown, std::nullopt, !view.caption(shown).isEmpty()).outerSize;
}

} // namespace velora::testing
