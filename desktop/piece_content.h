#pragma once
// The drawing inside a piece's panel: the piece rendered once per change of what shows (never for
// a move, a lock or a new placement), crossfading when only the slideshow tick moved on.
#include "crossfade.h"
#include "piece_view.h"

#include <QImage>
#include <QRegion>
#include <QTimer>
#include <QWidget>

#include <optional>

namespace velora {

class PieceContent : public QWidget {
    Q_OBJECT
public:
    explicit PieceContent(QWidget* parent = nullptr);

    void setView(const PieceView& view);
    bool isCrossfading() const { return m_crossfade.animating(); }
    qreal crossfadeProgress() const { return m_crossfade.progress(); }
    // The current rendering (drawn opaque when shaped, see below).
    const QImage& image() const { return m_opaqueShape ? m_cut : m_crossfade.current(); }

    // For window systems that cannot blend a window with what lies below: the rendering is drawn
    // opaque over the backdrop (see composeOpaque), and shape() is the window shape to set. A
    // slideshow step fades over a wallpaper when both renderings are of one size (the shape
    // holds both meanwhile), and switches at once otherwise.
    void setOpaqueShape(bool on);
    // What lies below the window: the wallpaper under it in device pixels, or failing that (null
    // image) a colour. Only used while drawing opaque.
    void setBackdrop(const QImage& wallpaper, const QColor& colour);
    const QRegion& shape() const { return m_shape; }
    // The device pixels of the drawn piece (PieceOutline::region): the part that takes the pointer.
    const QRegion& outline() const { return m_outline; }

    // `piece` (premultiplied, with its pixel ratio) made opaque. Over a wallpaper: the piece with
    // its shadow over it, and `shape` the points holding any visibly covered pixel. Over a colour
    // (an invalid one: a neutral grey): only the piece within `coverage` (PieceOutline::coverage,
    // antialiased), its edges blended with the colour, and `shape` the points the outline touches.
    static QImage composeOpaque(const QImage& piece, const QImage& wallpaper, QColor colour,
                                const QImage& coverage, QRegion& shape);

    // Renders made by every panel content in the process.
    static qint64 renderCount();
    // The view with everything that never shows cleared: name, placements, lock and the like.
    static PieceView drawnPart(const PieceView& view);

signals:
    void imageChanged();
    // Each frame of a crossfade, and once when it ends.
    void fadeStepped();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void refreshCut();
    bool fadesOpaque() const;
    void paintResizingFade(QPainter& p);

    Crossfade m_crossfade;
    std::optional<PieceView> m_view;
    qreal m_dpr = 0;
    bool m_opaqueShape = false;
    QImage m_cut;
    QRegion m_shape;
    QRegion m_outline;
    QImage m_coverage; // of the outline, antialiased; made when drawing opaque over a colour
    QImage m_wallpaper;
    QColor m_colour;
    QTimer m_frames;
};

} // namespace velora
