#pragma once
// Keeps the desktop in step with the Studio: one panel per piece on show, sized to its geometry,
// placed from its per-display placement, locked or movable as the piece says. The only writer of
// panel frames outside a drag and, with the panel's drag, of Piece::placements.
//
// All coordinates here are y-up global points (screens.h): placements are stored that way so that
// library files mean the same on every platform.
#include "panel_surface.h"
#include "screens.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUuid>

#include <functional>
#include <map>

namespace velora {

class PiecePanel;
class Studio;

class DesktopController : public QObject {
    Q_OBJECT
public:
    using PanelFactory = std::function<PanelSurface*(DesktopController&, const QUuid&)>;

    DesktopController(Studio& studio, ScreenSource& screens, QObject* parent = nullptr);
    ~DesktopController() override;

    // The process-wide controller over Studio::shared() and the real screens; made on first use.
    static DesktopController& shared();

    // Subscribes to the studio's changes and to screen changes, then syncs at once.
    void start();
    // Brings the panels in line with the studio.
    void sync();

    // The live panel of a piece, or null.
    PiecePanel* panel(const QUuid& pieceID) const;
    PanelSurface* surface(const QUuid& pieceID) const;
    std::size_t panelCount() const { return m_panels.size(); }

    // Stores origin (y-up global) relative to screen's full frame, in whole points (halves away
    // from zero); publishes nothing when that is what is stored already.
    void savePlacement(const QUuid& pieceID, const Point& origin, const ScreenInfo& screen);

    // The "snapToGrid" setting of the studio's settings, read on every call.
    bool snapToGrid() const;
    Point snapped(const Rect& frame, double margin, const ScreenInfo& screen) const;

    // Opens a piece for editing (double click, "Edit in Velora…"). Selects it in the studio until
    // the application installs something that also brings its window forward.
    void openEditor(const QUuid& pieceID);
    void setEditorOpener(std::function<void(const QUuid&)> opener) { m_openEditor = std::move(opener); }

    // Runs a change the user made by hand on the desktop (a drag), so that the application can
    // record it as one step to undo; runs it directly until something is installed.
    using EditRecorder = std::function<void(const QString& text, const std::function<void()>& change)>;
    void setEditRecorder(EditRecorder recorder) { m_recordEdit = std::move(recorder); }
    void recordEdit(const QString& text, const std::function<void()>& change);

    Studio& studio() const { return m_studio; }
    ScreenSource& screens() const { return m_screens; }
    void setPanelFactory(PanelFactory factory) { m_factory = std::move(factory); }

    bool syncPending() const { return m_pending; }
    qint64 syncCount() const { return m_syncs; }

    // Panels shown at most, the first visible pieces in the studio's order; the rest wait until
    // others are hidden. Every panel is a window with its own buffer, so this bounds memory and
    // start-up time whatever the pieces file holds.
    static constexpr qsizetype maxPanels = 200;

    // Cascade offsets from the visible frame's top right for new pieces on a display.
    static constexpr double cascadeRight = 40;
    static constexpr double cascadeTop = 30;
    static constexpr double cascadeStep = 34;
    static constexpr int cascadeCycle = 8;

private:
    void scheduleSync();
    PanelSurface* makePanel(const QUuid& pieceID);
    void releaseAll();

    Studio& m_studio;
    ScreenSource& m_screens;
    std::map<QUuid, PanelSurface*> m_panels;
    QList<QMetaObject::Connection> m_bag;
    bool m_pending = false;
    bool m_started = false;
    // Set by a change of the screens: every panel's window is placed again, since the same
    // stored frame may now mean another place in the window system's coordinates.
    bool m_screensChanged = false;
    qint64 m_syncs = 0;
    PanelFactory m_factory;
    std::function<void(const QUuid&)> m_openEditor;
    EditRecorder m_recordEdit;
};

} // namespace velora
