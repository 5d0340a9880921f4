#pragma once
// Timing shared by the benchmarks: each case runs several times and reports a middle or best run,
// so one hiccup of a busy machine does not decide the figure.
#include "demo_art.h"
#include "image_cache.h"
#include "storage.h"

#include <QElapsedTimer>

#include <cstdio>

#include <algorithm>
#include <functional>
#include <vector>

namespace velora::bench {

// The durations of `runs` calls of `work`, in milliseconds, shortest first.
inline std::vector<double> timedRuns(const std::function<void()>& work, int runs)
{
    std::vector<double> ms;
    ms.reserve(std::max(runs, 1));
    for (int i = 0; i < std::max(runs, 1); ++i) {
        QElapsedTimer t;
        t.start();
        work();
        ms.push_back(double(t.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    return ms;
}

// Median of `runs` calls, in milliseconds.
inline double medianMs(const std::function<void()>& work, int runs)
{
    const std::vector<double> ms = timedRuns(work, runs);
    return ms[ms.size() / 2];
}

// Fastest of `runs` calls, in milliseconds.
inline double bestMs(const std::function<void()>& work, int runs) { return timedRuns(work, runs).front(); }

// The seven demo photos, stored in a library at `root`; nothing (and a message) when painting fails.
inline std::optional<QList<Photo>> demoPhotos(const QString& root)
{
    Storage::setRoot(root);
    QList<Photo> photos = DemoArt::makePhotos(7);
    if (photos.size() < 7) {
        std::fprintf(stderr, "could not make the demo photos\n");
        return std::nullopt;
    }
    return photos;
}

// Decoded images are shared by every piece: loads them, full size and thumbnails, before measuring.
inline void decodeAll(const QList<Photo>& photos)
{
    for (const Photo& p : photos) {
        ImageCache::shared().image(p, true);
        ImageCache::shared().image(p, false);
    }
}

} // namespace velora::bench
