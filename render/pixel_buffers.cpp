#include "pixel_buffers.h"

#include <QCoreApplication>
#include <QMutex>
#include <QMutexLocker>
#include <QTimer>

#include <algorithm>
#include <chrono>

#include <cstdlib>
#include <limits>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace velora::PixelBuffers {

namespace {

// Below this, malloc's own free lists serve as well; above it, malloc maps fresh memory.
constexpr qsizetype kKept = 64 * 1024;
#if defined(__linux__)
constexpr qsizetype kHugePage = 2 * 1024 * 1024;
#endif

struct Buffer {
    void* data = nullptr;
    qsizetype capacity = 0;
    bool mapped = false;
    std::chrono::steady_clock::time_point freed{}; // when it was let go, while spare
    bool given = false;                            // spare, and its pages marked free
};

// Marks a mapped buffer's pages free for the system to take; false where that cannot be done.
bool giveBack(Buffer& b)
{
#if defined(__linux__) && defined(MADV_FREE)
    b.given = madvise(b.data, size_t(b.capacity), MADV_FREE) == 0;
#else
    b.given = false;
#endif
    return b.given;
}

Buffer allocate(qsizetype bytes)
{
#if defined(__linux__)
    if (bytes >= kHugePage) {
        // Whole huge pages, aligned to one: a fault then brings in 2 MiB instead of 4 KiB.
        const qsizetype capacity = (bytes + kHugePage - 1) / kHugePage * kHugePage;
        const size_t mapping = size_t(capacity + kHugePage);
        void* raw = mmap(nullptr, mapping, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED) return {};
        const auto start = reinterpret_cast<uintptr_t>(raw);
        const uintptr_t aligned = (start + kHugePage - 1) & ~uintptr_t(kHugePage - 1);
        // Trim the mapping to the aligned part so that munmap needs only the buffer itself.
        if (aligned > start) munmap(raw, aligned - start);
        const uintptr_t end = start + mapping;
        if (end > aligned + size_t(capacity)) munmap(reinterpret_cast<void*>(aligned + capacity), end - aligned - capacity);
        madvise(reinterpret_cast<void*>(aligned), size_t(capacity), MADV_HUGEPAGE);
        return {reinterpret_cast<void*>(aligned), capacity, true};
    }
#endif
    void* data = std::malloc(size_t(bytes));
    return data ? Buffer{data, bytes, false} : Buffer{};
}

void free(const Buffer& b)
{
#if defined(__linux__)
    if (b.mapped) {
        munmap(b.data, size_t(b.capacity));
        return;
    }
#endif
    std::free(b.data);
}

class Pool {
public:
    // Never destroyed: an image may outlive every static.
    static Pool& shared()
    {
        static Pool* instance = new Pool;
        return *instance;
    }

    Buffer take(qsizetype need)
    {
        {
            QMutexLocker lock(&m_mutex);
            // The last let go that fits, wasting at most half again: likely still in the CPU's
            // caches, which an older one is not.
            for (auto it = m_spare.rbegin(); it != m_spare.rend(); ++it)
                if (it->capacity >= need && it->capacity <= need + need / 2) {
                    Buffer b = *it;
                    b.given = false;
                    m_bytes -= b.capacity;
                    m_spare.erase(std::next(it).base());
                    return b;
                }
        }
        return allocate(need);
    }

    void give(const Buffer& b)
    {
        std::vector<Buffer> out;
        {
            QMutexLocker lock(&m_mutex);
            if (b.capacity >= kKept) {
                m_spare.push_back(b);
                m_spare.back().freed = std::chrono::steady_clock::now();
                m_bytes += b.capacity;
                scheduleTrim();
            } else {
                out.push_back(b);
            }
            // Oldest out first once over the budget.
            while (m_bytes > budget && !m_spare.empty()) {
                out.push_back(m_spare.front());
                m_bytes -= m_spare.front().capacity;
                m_spare.erase(m_spare.begin());
            }
        }
        for (const Buffer& o : out) free(o);
    }

    // Gives back what has lain unused for `idle` or longer; true while anything is left to give.
    // Mapped buffers stay in the pool with their pages marked free: the system takes them back
    // when it needs them, and until then the next image reuses them at no cost.
    bool trimIdle(std::chrono::steady_clock::duration idle)
    {
        std::vector<Buffer> out;
        bool left = false;
        {
            QMutexLocker lock(&m_mutex);
            const auto before = std::chrono::steady_clock::now() - idle;
            // Oldest first still: the budget lets the oldest go first.
            std::vector<Buffer> kept;
            for (Buffer& b : m_spare) {
                if (b.given || b.freed > before || (b.mapped && giveBack(b))) {
                    kept.push_back(b);
                } else {
                    m_bytes -= b.capacity;
                    out.push_back(b);
                }
            }
            m_spare.swap(kept);
            left = std::any_of(m_spare.begin(), m_spare.end(), [](const Buffer& b) { return !b.given; });
            m_trimScheduled = left;
        }
        for (const Buffer& o : out) free(o);
        return left;
    }

    qsizetype bytes()
    {
        QMutexLocker lock(&m_mutex);
        return m_bytes;
    }

    void trim()
    {
        std::vector<Buffer> out;
        {
            QMutexLocker lock(&m_mutex);
            out.swap(m_spare);
            m_bytes = 0;
        }
        for (const Buffer& o : out) free(o);
    }

private:
    // With the lock held. A desktop app should not sit on memory it no longer draws with: spare
    // buffers go back to the system a while after they were last let go.
    void scheduleTrim()
    {
        QCoreApplication* app = QCoreApplication::instance();
        if (m_trimScheduled || !app) return;
        m_trimScheduled = true;
        QMetaObject::invokeMethod(app, [app] { QTimer::singleShot(kIdle, app, &Pool::trimLater); }, Qt::QueuedConnection);
    }
    static void trimLater()
    {
        if (shared().trimIdle(kIdle)) QTimer::singleShot(kIdle, QCoreApplication::instance(), &Pool::trimLater);
    }
    static constexpr std::chrono::seconds kIdle{10};

    QMutex m_mutex;
    std::vector<Buffer> m_spare;
    qsizetype m_bytes = 0;
    bool m_trimScheduled = false;
};

void release(void* info)
{
    auto* held = static_cast<Buffer*>(info);
    Pool::shared().give(*held);
    delete held;
}

} // namespace

QImage image(QSize size, QImage::Format format)
{
    if (size.isEmpty()) return {};
    const int depth = QImage::toPixelFormat(format).bitsPerPixel();
    if (depth <= 0) return {};
    // Rows aligned to 32 bits, as QImage's own.
    const qsizetype bytesPerLine = (qsizetype(size.width()) * depth + 31) / 32 * 4;
    if (bytesPerLine > std::numeric_limits<qsizetype>::max() / size.height()) return {};
    const Buffer b = Pool::shared().take(bytesPerLine * size.height());
    if (!b.data) return {};
    auto* held = new Buffer(b);
    return QImage(static_cast<uchar*>(b.data), size.width(), size.height(), bytesPerLine, format, &release, held);
}

qsizetype spareBytes() { return Pool::shared().bytes(); }

void trim() { Pool::shared().trim(); }

} // namespace velora::PixelBuffers
