#include "render_queue.h"

#include <QTimer>

#include <algorithm>

namespace velora {

RenderQueue::RenderQueue(Render render, QObject* parent)
    : QObject(parent)
    , m_render(std::move(render))
{
}

void RenderQueue::request(QWidget* widget)
{
    if (std::find(m_queue.cbegin(), m_queue.cend(), widget) != m_queue.cend()) return;
    m_queue.emplace_back(widget);
    schedule();
}

void RenderQueue::schedule()
{
    if (m_scheduled || m_queue.empty()) return;
    m_scheduled = true;
    QTimer::singleShot(0, this, &RenderQueue::next);
}

void RenderQueue::next()
{
    m_scheduled = false;
    while (!m_queue.empty()) {
        const QPointer<QWidget> w = m_queue.front();
        m_queue.pop_front();
        if (!w || w->visibleRegion().isEmpty()) continue;
        m_render(w);
        break;
    }
    schedule();
}

void RenderQueue::renderAll()
{
    while (!m_queue.empty()) {
        const QPointer<QWidget> w = m_queue.front();
        m_queue.pop_front();
        if (w) m_render(w);
    }
}

} // namespace velora
