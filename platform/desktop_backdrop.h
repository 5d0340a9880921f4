#pragma once
// What lies behind a piece's window and how the window server treats it: whether a compositor
// blends translucent windows (it can start or stop at any time), the desktop's wallpaper for
// drawing a piece opaque when none does, and which part of the window takes the pointer.
#include <QColor>
#include <QImage>
#include <QObject>
#include <QRect>
#include <QRegion>

class QWindow;

namespace velora::Platform {

// One per process; panels follow its signals.
class Compositing : public QObject {
    Q_OBJECT
public:
    static Compositing& instance();

    // Whether translucent windows are blended with what lies below them now.
    bool blends() const { return m_blends; }

    // The desktop's wallpaper in the window system's device pixels, from the origin of the
    // virtual desktop; null when the desktop has none to read (a plain colour, or no X11).
    // Read once and kept until the desktop sets another.
    QImage wallpaper();
    // The part of the wallpaper under `deviceRect`, repeated as a root background repeats.
    QImage wallpaperUnder(const QRect& deviceRect);

    // The colour of the screen just outside `deviceRect` (device pixels of the virtual desktop),
    // or an invalid colour when it cannot be read.
    QColor colourAround(const QRect& deviceRect) const;

signals:
    void blendingChanged(bool blends);
    void wallpaperChanged();

private:
    Compositing();
    static QImage readWallpaper();
    void setBlends(bool blends);
    void dropWallpaper();

    bool m_blends = true;
    bool m_wallpaperRead = false;
    QImage m_wallpaper;
    struct Watch;
    Watch* m_watch = nullptr;
};

// Pointer events on `window` outside `deviceRegion` (the window's own device pixels) go to what
// lies below it: all of them for an empty region. Window flags that make the window transparent
// for input replace this; set it again after changing them.
void setInputShape(QWindow* window, const QRegion& deviceRegion);

} // namespace velora::Platform
