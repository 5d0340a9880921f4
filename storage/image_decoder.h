#pragma once
// Decodes one photo file for the library with libvips: shrink-on-load from the full image (never an
// embedded preview), orientation applied, longest side capped, 8-bit sRGB. Formats libvips can't
// read (BMP) go through Qt's readers with the same cap. Thread-safe.
#include <QImage>
#include <QString>

#include <atomic>
#include <optional>

namespace velora::ImageDecoder {

// The library's full copies are at most this large on their longest side.
inline constexpr int maxPixel = 2400;

// Decompression-bomb guard: a file whose header declares more pixels than this is refused before
// any pixel is decoded. 250 megapixels is 2.5 times a 100-megapixel camera and leaves room for
// stitched panoramas; streamed JPEG/PNG/TIFF/WebP stay small at any size thanks to shrink-on-load.
inline constexpr qint64 maxDeclaredPixels = 250'000'000;

// What one decode may hold in all, estimated from the file's header. Formats that need the whole
// image in memory (interlaced PNG, progressive JPEG, GIF, HEIC, JPEG 2000, BMP) are refused when
// their size says they would need more, so one decode stays under 400 MB; a 48-megapixel HEIC
// still fits.
inline constexpr qint64 decodeBudget = 320LL << 20;

// The file's first image, longest side at most maxPixel (smaller images keep their size),
// RGB32 or ARGB32 in sRGB. Nothing when the file is not a regular file, can't be decoded, is
// truncated, declares too many pixels or would need more than the budget, or when `cancelled`
// turns true meanwhile (checked at every read of the file).
std::optional<QImage> decode(const QString& path, int longestSide = maxPixel,
                             const std::atomic<bool>* cancelled = nullptr);

// Starts libvips once per process (also done by decode); false if it could not start.
bool initialize();

} // namespace velora::ImageDecoder
