#pragma once
// The borderless desktop window of one piece. It moves itself: dragged by any point with the left
// button, it snaps on release to the edges of the usable screen area (or a soft grid), glides
// there, and stores its place for that display. A double click opens the piece for editing; a
// right click opens a small menu. It never takes focus and never brings the application forward.
#include "panel_surface.h"

#include <QPointF>
#include <QPointer>
#include <QTimer>
#include <QUuid>
#include <QVariantAnimation>
#include <QWidget>

class QMenu;

namespace velora {

class DesktopController;
class PieceContent;

class PiecePanel : public QWidget, public PanelSurface {
    Q_OBJECT
public:
    static constexpr int glideMs = 160;

    PiecePanel(DesktopController& controller, const QUuid& pieceID);
    ~PiecePanel() override;

    const QUuid& pieceID() const { return m_pieceID; }

    // PanelSurface
    Rect frame() const override;
    void setFrame(const Rect& frame) override;
    bool isShown() const override { return isVisible(); }
    void orderFront() override;
    double margin() const override { return m_margin; }
    void setMargin(double margin) override { m_margin = margin; }
    bool isDragging() const override { return m_dragging; }
    bool ignoresMouse() const override { return m_ignoresMouse; }
    void setIgnoresMouse(bool ignore) override;
    void setContent(const PieceView& view) override;
    void release() override;

    bool isGliding() const { return m_glide.state() == QAbstractAnimation::Running; }
    // A slideshow step between photos of different shapes: the window follows the crossfade.
    bool isResizing() const { return m_resizing; }
    PieceContent* content() const { return m_content; }
    // Builds the right-click menu (shown by a right press).
    QMenu* contextMenu();

signals:
    // A drag ended with a move: the snapped origin (y-up) it glides to.
    void dropped(const Point& target);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    // Ends a drag for any reason (release, another button, Escape, a lost grab): the piece lands
    // where the pointer left it, snapped, and is stored once.
    void endDrag();
    void finishDrag();
    void stepResize();
    void endResize();
    void finishResize();
    void moveOrigin(const Point& origin);
    void applyGeometry();
    void updateShape();
    void followBlending(bool blends);
    void sampleBackdrop();

    DesktopController& m_controller;
    const QUuid m_pieceID;
    PieceContent* m_content = nullptr;
    Rect m_frame{0, 0, 100, 100};
    double m_margin = 0;
    bool m_dragging = false;
    bool m_moved = false;
    // Window-system coordinates: they stay right when the screens change under a drag.
    QPointF m_dragStartMouse;
    QPointF m_dragStartCorner;
    QTimer m_dragWatch;
    bool m_ignoresMouse = false;
    bool m_shaped = false;
    QRect m_sampledAt; // device pixels the backdrop was last taken from
    QVariantAnimation m_glide;
    Point m_glideTarget;
    bool m_resizing = false;
    Rect m_resizeFrom;
    Rect m_resizeTo;
};

} // namespace velora
