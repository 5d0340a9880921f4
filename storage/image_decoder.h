#pragma once
// Decodes one photo file for the library with libvips: shrink-on-load from the full image (never an
// embedded preview), orientation applied, longest side capped, 8-bit sRGB. Formats libvips can't
// read (BMP) go through Qt's readers with the same cap. Thread-safe.
#include <QImage>
#include <QString>

#include <optional>

namespace velora::ImageDecoder {

// The library's full copies are at most this large on their longest side.
inline constexpr int maxPixel = 2400;

// Decompression-bomb guard: a file whose header declares more pixels than this is refused before
// any pixel is decoded. 250 megapixels is 2.5 times a 100-megapixel camera and leaves room for
// stitched panoramas, while keeping the worst non-streaming decode (interlaced PNG, GIF, HEIC,
// BMP) near 1 GB; streamed JPEG/PNG/TIFF/WebP stay small at any size thanks to shrink-on-load.
inline constexpr qint64 maxDeclaredPixels = 250'000'000;

// The file's first image, longest side at most maxPixel (smaller images keep their size),
// RGB32 or ARGB32 in sRGB. Nothing when the file can't be opened or decoded, is truncated,
// or declares too many pixels.
std::optional<QImage> decode(const QString& path, int longestSide = maxPixel);

// Starts libvips once per process (also done by decode); false if it could not start.
bool initialize();

} // namespace velora::ImageDecoder
