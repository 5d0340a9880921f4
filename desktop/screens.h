#pragma once
// Screens as the desktop logic sees them: frames in points with the origin at the bottom left of
// the primary display and y growing upward (the coordinates stored placements are written in),
// whatever the window system uses.
#include "geometry_types.h"

#include <QList>
#include <QObject>
#include <QRect>
#include <QString>

#include <optional>

class QScreen;

namespace velora {

struct ScreenInfo {
    QString key;   // Displays::key
    Rect frame;    // the whole display
    Rect visible;  // without panels, docks and menu bars
    friend bool operator==(const ScreenInfo&, const ScreenInfo&) = default;
};

// Converts between Qt's global coordinates (top-left origin, y down) and the y-up ones, by
// reflecting y about the bottom edge of the primary screen: the primary's full frame starts at
// y = 0, as on macOS.
class ScreenSpace {
public:
    ScreenSpace() = default;
    // primaryBottom: the primary screen's top plus its height, in Qt coordinates.
    explicit ScreenSpace(double primaryBottom) : m_axis(primaryBottom) {}
    static ScreenSpace fromPrimary(const QRect& primaryGeometry);

    Rect fromQt(const QRectF& r) const { return {r.x(), m_axis - r.y() - r.height(), r.width(), r.height()}; }
    Rect fromQt(const QRect& r) const { return fromQt(QRectF(r)); }
    QRectF toQt(const Rect& r) const { return {r.x, m_axis - r.y - r.height, r.width, r.height}; }
    // Whole-pixel window geometry for a y-up frame: the top-left corner rounded, the size rounded up.
    QRect windowRect(const Rect& r) const;
    double axis() const { return m_axis; }

private:
    double m_axis = 0;
};

// The list of screens, primary first, plus the conversion to the window system's coordinates.
class ScreenSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    virtual QList<ScreenInfo> screens() const = 0;
    virtual ScreenSpace space() const = 0;

signals:
    // Displays added, removed, moved or resized.
    void screensChanged();
};

// The real screens of the running GUI application.
class QtScreens final : public ScreenSource {
    Q_OBJECT
public:
    explicit QtScreens(QObject* parent = nullptr);
    QList<ScreenInfo> screens() const override;
    ScreenSpace space() const override;

private:
    void watch(QScreen* screen);
};

namespace ScreenMath {
// The index of the screen a stored display key names: the matching one, else the primary (first).
std::optional<qsizetype> screenFor(const std::optional<QString>& key, const QList<ScreenInfo>& screens);
// The screen a window frame is on: the one it overlaps most; nothing when it overlaps none.
std::optional<qsizetype> screenOf(const Rect& frame, const QList<ScreenInfo>& screens);
double overlapArea(const Rect& a, const Rect& b);
} // namespace ScreenMath

} // namespace velora
