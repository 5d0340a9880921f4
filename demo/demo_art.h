#pragma once
// Painted landscapes for demonstrations and screenshots: a graded sky, stars at night, a glowing
// sun and three rolling hills, the same pixels for the same seed every time.
#include "records.h"

#include <QImage>
#include <QList>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace velora::DemoArt {

struct Palette {
    std::array<std::uint32_t, 3> sky;   // horizon to top, 0xRRGGBB
    std::uint32_t sun;
    std::array<std::uint32_t, 3> hills; // farthest to nearest
    bool night;
};

struct SizeEntry {
    int width;
    int height;
    const char* title;
};

extern const std::array<Palette, 7> palettes;
extern const std::array<SizeEntry, 7> sizes;

// Premultiplied ARGB in sRGB; nothing when the surface cannot be made (or the size is absurd).
std::optional<QImage> scene(int width, int height, const Palette& palette, std::uint32_t seed);

// Up to 7 painted photos stored in the library (each through the image store).
QList<Photo> makePhotos(int count);

// The sample photos, their files painted once into the library's Photos folder and reused after.
const QList<Photo>& samples();

// The same pictures painted in memory only, at most 600 pixels on their long side, held by the
// image cache under "memory:" names: for previews that must neither show nor touch the library.
const QList<Photo>& paintedSamples();

} // namespace velora::DemoArt
