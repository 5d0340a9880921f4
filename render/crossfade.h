#pragma once
// The slideshow crossfade: when a piece's tick changes, the old and the new rendering blend over
// 1.4 s, ease in and out. Renderings are made once per change; a frame only blends them.
#include "piece_view.h"

#include <QElapsedTimer>
#include <QImage>
#include <QPointF>

class QPainter;

namespace velora {

class Crossfade {
public:
    static constexpr int durationMs = 1400;

    // Shows `view`. When only the tick moved on since the last view, the previous rendering fades
    // out while the new one fades in; any other change shows the new rendering at once. Renders
    // only when the piece, its photos, tick, width or the pixel ratio differ from last time.
    void setView(const PieceView& view, qreal devicePixelRatio);

    // Linear progress of the running fade in [0, 1]; 1 when none runs.
    qreal progress() const;
    bool animating() const { return progress() < 1.0; }
    // Ease-in-out weight of the new rendering at linear progress t.
    static qreal eased(qreal t);

    // The blend at linear progress t: old × (1 − eased(t)) + new × eased(t), both centred in a
    // canvas as large as the larger of the two. At t ≥ 1 (or without a fade) the new rendering.
    // Frames share one buffer while the caller lets each go before asking for the next.
    QImage frame(qreal t) const;
    // Draws the frame at linear progress t with its canvas centred on `centre` (in points).
    void paint(QPainter* painter, QPointF centre, qreal t) const;

    const QImage& current() const { return m_current; }
    const QImage& previous() const { return m_previous; }
    // How many renderings were made (for tests and benchmarks).
    int renderCount() const { return m_renders; }
    // Ends any fade at once.
    void finish()
    {
        m_previous = {};
        m_frame = {};
        m_band = {};
    }

private:
    std::optional<PieceView> m_view;
    qreal m_dpr = 1;
    QImage m_current;
    QImage m_previous;
    bool blending(qreal t) const;
    mutable QImage m_frame; // reused while no caller keeps a frame
    mutable QImage m_band;  // rows blended for paint()
    QElapsedTimer m_clock;
    int m_renders = 0;
};

} // namespace velora
