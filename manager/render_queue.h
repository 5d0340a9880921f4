#pragma once
// Widgets waiting for a picture (a preview of a piece or a style). One is drawn per turn of the
// event loop, so that painting and input never wait for all of them; a widget that is out of view
// when its turn comes is passed over until it is painted, and asks, again.
#include <QObject>
#include <QPointer>
#include <QWidget>

#include <deque>
#include <functional>

namespace velora {

class RenderQueue : public QObject {
public:
    using Render = std::function<void(QWidget*)>;
    explicit RenderQueue(Render render, QObject* parent = nullptr);

    void request(QWidget* widget);
    int pending() const { return int(m_queue.size()); }
    // Everything queued, now, in view or not (snapshots, tests).
    void renderAll();

private:
    void schedule();
    void next();

    Render m_render;
    std::deque<QPointer<QWidget>> m_queue;
    bool m_scheduled = false;
};

} // namespace velora
