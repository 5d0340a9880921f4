#pragma once
// Memory for large images. Fresh memory costs a page fault and a zeroed page per 4 KiB (a few
// milliseconds for a column's canvas or a scaled photo, more in a virtual machine), and every
// pixel is written anyway: buffers let go are kept for the next image of a similar size, up to a
// budget, and large new ones are asked for in huge pages where the system has them. After ten idle
// seconds they go back to the system: large ones lazily (their pages marked free, taken only when
// the system needs them), small ones at once. Thread-safe.
#include <QImage>
#include <QSize>

namespace velora::PixelBuffers {

// An image of `size` in `format` whose memory returns here when its last
// copy goes. Its pixels are undefined. Null when the size is empty or memory runs out.
QImage image(QSize size, QImage::Format format = QImage::Format_ARGB32_Premultiplied);

// Bytes held in free buffers, and the most that are held.
qsizetype spareBytes();
inline constexpr qsizetype budget = 64 * 1024 * 1024;

// Gives every free buffer back to the system at once.
void trim();

} // namespace velora::PixelBuffers
