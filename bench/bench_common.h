#pragma once
// Timing shared by the benchmarks: each case runs several times and reports a middle or best run,
// so one hiccup of a busy machine does not decide the figure.
#include "demo_art.h"
#include "image_cache.h"
#include "storage.h"

#include <QElapsedTimer>
#include <QFile>

#include <cstdio>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
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

// One child process: wall time, CPU time and its peak resident set (wait4).
struct Run {
    double ms = 0;
    double cpuMs = 0; // user + system time of the child
    long maxRssKb = 0;
    bool ok = true;
};

// fork + exec + wait4; `quiet` sends the child's output to /dev/null.
inline Run spawn(const std::vector<std::string>& args, bool quiet = true)
{
    std::vector<char*> argv;
    for (const auto& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    Run run;
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        if (quiet) {
            if (FILE* null = std::fopen("/dev/null", "w")) {
                dup2(fileno(null), STDOUT_FILENO);
                dup2(fileno(null), STDERR_FILENO);
            }
        }
        execvp(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    run.ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    run.maxRssKb = usage.ru_maxrss;
    run.cpuMs = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1000.0 +
                (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1000.0;
    run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return run;
}

// This executable, to run itself in a child mode.
inline std::string selfPath(const char* argv0)
{
    char path[4096] = {};
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    return n > 0 ? std::string(path, size_t(n)) : std::string(argv0);
}

// Decoded images are shared by every piece: loads them, full size and thumbnails, before measuring.
inline void decodeAll(const QList<Photo>& photos)
{
    for (const Photo& p : photos) {
        ImageCache::shared().image(p, true);
        ImageCache::shared().image(p, false);
    }
}

// The resident memory of this process now, in MiB.
inline double residentMiB()
{
    QFile f(QStringLiteral("/proc/self/statm"));
    if (!f.open(QIODevice::ReadOnly)) return 0;
    const QList<QByteArray> fields = f.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0) : 0;
}

} // namespace velora::bench
