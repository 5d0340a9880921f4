#include "previews.h"

#include "piece_content.h"
#include "piece_renderer.h"

#include <algorithm>

namespace velora {

Previews::Previews(qsizetype byteLimit)
    : m_cache(4096, byteLimit)
{
}

namespace {
PieceView drawnOf(const PieceView& view)
{
    PieceView drawn = PieceContent::drawnPart(view);
    drawn.piece.id = {};
    return drawn;
}
} // namespace

std::optional<QImage> Previews::cached(const PieceView& view, QSize box, qreal dpr)
{
    if (box.isEmpty()) return QImage();
    if (auto hit = m_cache.get(view.piece.id); hit && hit->box == box && hit->dpr == dpr && hit->drawn == drawnOf(view))
        return hit->image;
    return std::nullopt;
}

QImage Previews::preview(const PieceView& view, QSize box, qreal dpr)
{
    if (auto hit = cached(view, box, dpr)) return *hit;
    QImage image = draw(view, box, dpr);
    insert(view, box, dpr, image);
    return image;
}

void Previews::insert(const PieceView& view, QSize box, qreal dpr, const QImage& image)
{
    ++m_renders;
    m_cache.insert(view.piece.id, Entry{drawnOf(view), box, dpr, image}, qsizetype(image.sizeInBytes()));
}

QImage Previews::draw(const PieceView& view, QSize box, qreal dpr)
{
    if (box.isEmpty()) return {};
    const PieceView drawn = drawnOf(view);
    // Rendered at the width that fits the box, so that frames and text are laid out for the size
    // they are seen at rather than scaled down from the desktop size.
    const QSizeF natural = PieceRenderer::canvasSize(drawn);
    if (natural.isEmpty()) return {};
    const double scale = std::min({box.width() / natural.width(), box.height() / natural.height(), 1.0});
    PieceView sized = drawn;
    sized.width = drawn.effectiveWidth() * scale;
    QImage image = PieceRenderer::render(sized, dpr);
    // Frames grow a little slower than the width: fit what came out exactly.
    const QSizeF got = image.deviceIndependentSize();
    if (!image.isNull() && (got.width() > box.width() + 0.5 || got.height() > box.height() + 0.5)) {
        const double fit = std::min(box.width() / got.width(), box.height() / got.height());
        image = image.scaled((got * fit * dpr).toSize(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
        image.setDevicePixelRatio(dpr);
    }
    return image;
}

} // namespace velora
