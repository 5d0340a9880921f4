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
    // The current rendering (cut out when shaped, see below).
    const QImage& image() const { return m_opaqueShape ? m_cut : m_crossfade.current(); }

    // For window systems that cannot blend a window with what lies below: the rendering is cut
    // to its mostly covered pixels, drawn opaque, and shape() is the window shape to set.
    void setOpaqueShape(bool on);
    const QRegion& shape() const { return m_shape; }
    static void cutOut(QImage& image, QRegion& shape);

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
    void paintResizingFade(QPainter& p);

    Crossfade m_crossfade;
    std::optional<PieceView> m_view;
    qreal m_dpr = 0;
    bool m_opaqueShape = false;
    QImage m_cut;
    QRegion m_shape;
    QTimer m_frames;
};

} // namespace velora
