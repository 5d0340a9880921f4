#pragma once
// What the desktop controller needs of a piece's window. Frames are y-up global points
// (see screens.h). PiecePanel is the real one; tests drive the controller with their own.
#include "geometry_types.h"

class QImage;

namespace velora {

struct PieceView;

class PanelSurface {
public:
    virtual ~PanelSurface() = default;

    // While the panel glides to a drop target, its frame is that target.
    virtual Rect frame() const = 0;
    virtual void setFrame(const Rect& frame) = 0;
    virtual bool isShown() const = 0;
    // Shows the panel without activating the application or taking focus.
    virtual void orderFront() = 0;

    virtual double margin() const = 0;
    virtual void setMargin(double margin) = 0;
    virtual bool isDragging() const = 0;

    // Locked pieces let every click through to what lies below.
    virtual bool ignoresMouse() const = 0;
    virtual void setIgnoresMouse(bool ignore) = 0;

    // What to draw; redraws only when something that shows has changed.
    virtual void setContent(const PieceView& view) = 0;

    // Hides the panel and frees it (later, if it is inside one of its own event handlers).
    virtual void release() = 0;
};

} // namespace velora
