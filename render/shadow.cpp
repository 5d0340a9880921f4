#include "shadow.h"

#include "lru_cache.h"
#include "pixel_buffers.h"

#include <QMutex>
#include <QMutexLocker>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <vector>

namespace velora::Shadow {

namespace {
// Rounded division by the window width as a multiply and shift (a division per pixel was most of
// the blur's cost). With n < 256.5·d, (n·⌊2^k/d + 1⌋) >> k is ⌊n/d⌋ whenever n·d < 2^k: k = 16
// covers windows up to 15 pixels in 32-bit arithmetic (which vectorizes), k = 32 up to 4095.
struct Divider {
    explicit Divider(int width)
        : window(width), half(quint32(width / 2)), small(width < 16),
          inverse(small ? (quint64(1) << 16) / quint64(width) + 1 : (quint64(1) << 32) / quint64(width) + 1)
    {
    }
    uchar operator()(quint32 sum) const
    {
        if (small) return uchar(((sum + half) * quint32(inverse)) >> 16);
        if (window < 4096) return uchar((quint64(sum + half) * inverse) >> 32);
        return uchar((sum + half) / quint32(window));
    }
    int window;
    quint32 half;
    bool small;
    quint64 inverse;
};

// One horizontal box pass over a row; `line` holds a copy of the input.
void boxRow(uchar* data, int count, int radius, std::vector<quint32>& line, const Divider& divide)
{
    std::copy(data, data + count, line.begin());
    quint32 sum = 0;
    for (int i = 0; i <= std::min(radius, count - 1); ++i) sum += line[i];
    // Edges, where the window hangs over an end, apart from the middle, which needs no checks.
    const int middleFrom = std::min(radius, count);
    const int middleTo = std::max(middleFrom, count - radius - 1);
    auto step = [&](int i) {
        data[i] = divide(sum);
        if (i + radius + 1 < count) sum += line[i + radius + 1];
        if (i - radius >= 0) sum -= line[i - radius];
    };
    for (int i = 0; i < middleFrom; ++i) step(i);
    if (divide.small) {
        const quint32 half = divide.half;
        const quint32 inverse = quint32(divide.inverse);
        for (int i = middleFrom; i < middleTo; ++i) {
            data[i] = uchar(((sum + half) * inverse) >> 16);
            sum += line[i + radius + 1] - line[i - radius];
        }
    } else {
        for (int i = middleFrom; i < middleTo; ++i) {
            data[i] = divide(sum);
            sum += line[i + radius + 1] - line[i - radius];
        }
    }
    for (int i = middleTo; i < count; ++i) step(i);
}

template <typename Divide>
void columnsStep(uchar* out, quint32* sums, const uchar* add, const uchar* drop, int w, Divide divide)
{
    for (int x = 0; x < w; ++x) out[x] = divide(sums[x]);
    if (add)
        for (int x = 0; x < w; ++x) sums[x] += add[x];
    if (drop)
        for (int x = 0; x < w; ++x) sums[x] -= drop[x];
}

// One vertical box pass, row by row with a running sum per column, so memory is read in order.
void boxColumns(uchar* bits, int w, int h, int bpl, int radius, std::vector<quint32>& sums, std::vector<uchar>& copy,
                const Divider& divide)
{
    copy.assign(bits, bits + static_cast<size_t>(bpl) * h);
    std::fill(sums.begin(), sums.begin() + w, 0);
    for (int y = 0; y <= std::min(radius, h - 1); ++y) {
        const uchar* row = copy.data() + static_cast<size_t>(y) * bpl;
        for (int x = 0; x < w; ++x) sums[x] += row[x];
    }
    const quint32 half = divide.half;
    const quint32 inverse = quint32(divide.inverse);
    for (int y = 0; y < h; ++y) {
        uchar* out = bits + static_cast<size_t>(y) * bpl;
        const uchar* add = y + radius + 1 < h ? copy.data() + static_cast<size_t>(y + radius + 1) * bpl : nullptr;
        const uchar* drop = y - radius >= 0 ? copy.data() + static_cast<size_t>(y - radius) * bpl : nullptr;
        if (divide.small)
            columnsStep(out, sums.data(), add, drop, w,
                        [half, inverse](quint32 sum) { return uchar(((sum + half) * inverse) >> 16); });
        else
            columnsStep(out, sums.data(), add, drop, w, divide);
    }
}
} // namespace

void boxBlur(QImage& alpha8, int radius, int passes)
{
    if (radius < 1 || alpha8.isNull() || alpha8.format() != QImage::Format_Alpha8) return;
    const Divider divide(2 * radius + 1);
    const int w = alpha8.width();
    const int h = alpha8.height();
    const int bpl = static_cast<int>(alpha8.bytesPerLine());
    uchar* bits = alpha8.bits();
    std::vector<quint32> line(w);
    std::vector<quint32> sums(w);
    std::vector<uchar> copy;
    for (int pass = 0; pass < passes; ++pass) {
        for (int y = 0; y < h; ++y) boxRow(bits + static_cast<size_t>(y) * bpl, w, radius, line, divide);
        boxColumns(bits, w, h, bpl, radius, sums, copy, divide);
    }
}

QRegion inside(const QRectF& cover, const QTransform& toDevice, qreal margin)
{
    // Only an optimisation rests on this, so anything odd or beyond any canvas gives nothing.
    auto sane = [](const QRectF& r) {
        constexpr qreal limit = 65536;
        return r.isValid() && r.left() > -limit && r.top() > -limit && r.right() < limit && r.bottom() < limit;
    };
    if (!cover.isValid() || !toDevice.isInvertible()) return {};
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    if (!std::isfinite(scale) || scale <= 0) return {};
    if (toDevice.type() <= QTransform::TxScale) {
        const QRectF mapped = toDevice.mapRect(cover).adjusted(margin, margin, -margin, -margin);
        if (!sane(mapped)) return {};
        const QRect r(QPoint(qCeil(mapped.left()), qCeil(mapped.top())),
                      QPoint(qFloor(mapped.right()) - 1, qFloor(mapped.bottom()) - 1));
        return r.isValid() ? QRegion(r) : QRegion();
    }
    // Turned: pull the edges in far enough that rounding the corners to whole pixels and taking
    // the pixels whose centres fall inside still keeps every pixel wholly within.
    const qreal in = (margin + 1.5) / scale;
    const QRectF shrunk = cover.adjusted(in, in, -in, -in);
    if (!shrunk.isValid()) return {};
    const QPolygonF polygon = toDevice.map(QPolygonF(shrunk));
    if (!sane(polygon.boundingRect())) return {};
    return QRegion(polygon.toPolygon());
}

namespace {

// A blurred, tinted shadow ready to draw: `tinted` stretched over `deviceRect`; nothing outside
// `reached` has any alpha.
struct Mask {
    QImage tinted;
    QRect deviceRect;
    QRect reached;
    // A rectangle's shadow instead: device-sized pieces to copy at their positions, none under
    // the cover it was made for.
    std::vector<std::pair<QPoint, QImage>> pieces;
    qsizetype bytes() const
    {
        qsizetype n = tinted.sizeInBytes();
        for (const auto& piece : pieces) n += piece.second.sizeInBytes();
        return n;
    }
};

std::optional<Mask> makeMask(const QTransform& toDevice, const QRectF& bounds,
                             const std::function<void(QPainter*)>& shape, qreal radius, QPointF offset, qreal opacity)
{
    const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
    if (!std::isfinite(scale) || scale <= 0) return std::nullopt;

    // Three box passes of width r·scale give σ ≈ r·scale / 2; reduce the buffer so the box stays a
    // few pixels wide, which is where the blur stops being worth full resolution.
    const qreal deviceRadius = radius * scale;
    const qreal reduce = deviceRadius > 6 ? 6 / deviceRadius : 1.0;
    const int box = deviceRadius >= 1 ? std::max(1, qRound(deviceRadius * reduce * 0.5)) : 0;
    const qreal reach = 3.0 * box / reduce + 2;

    QRectF device = toDevice.mapRect(bounds.translated(offset)).adjusted(-reach, -reach, reach, reach);
    // Nothing we draw is larger than a canvas can be; this only bounds the buffer for hostile input.
    device = device.intersected(QRectF(-reach, -reach, 16384 + 2 * reach, 16384 + 2 * reach));
    if (device.isEmpty()) return std::nullopt;
    const QRect deviceRect = device.toAlignedRect();

    const QSize bufferSize(std::max(1, qCeil(deviceRect.width() * reduce)),
                           std::max(1, qCeil(deviceRect.height() * reduce)));
    QImage alpha = PixelBuffers::image(bufferSize, QImage::Format_Alpha8);
    if (alpha.isNull()) return std::nullopt;
    alpha.fill(0);
    {
        QPainter p(&alpha);
        p.setRenderHint(QPainter::Antialiasing);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        p.scale(reduce, reduce);
        p.translate(-deviceRect.topLeft());
        p.setTransform(QTransform::fromTranslate(offset.x(), offset.y()) * toDevice, true);
        shape(&p);
    }
    boxBlur(alpha, box);

    // Black at the given opacity: premultiplied, so only alpha carries a value. Note where any
    // pixel is left: the far tail of the blur rounds to nothing.
    QImage tinted = PixelBuffers::image(bufferSize);
    if (tinted.isNull()) return std::nullopt;
    const int level = std::clamp(qRound(opacity * 256), 0, 256);
    int left = bufferSize.width(), right = -1, top = bufferSize.height(), bottom = -1;
    const int w = bufferSize.width();
    for (int y = 0; y < bufferSize.height(); ++y) {
        const uchar* src = alpha.constScanLine(y);
        auto* dst = reinterpret_cast<quint32*>(tinted.scanLine(y));
        for (int x = 0; x < w; ++x) dst[x] = quint32((src[x] * level) >> 8) << 24;
        int first = 0;
        while (first < w && !dst[first]) ++first;
        if (first == w) continue;
        int last = w - 1;
        while (!dst[last]) --last;
        left = std::min(left, first);
        right = std::max(right, last);
        top = std::min(top, y);
        bottom = y;
    }
    if (right < 0) return Mask{};

    // Device pixels whose bilinear samples can reach a non-empty buffer pixel.
    const qreal rx = bufferSize.width() / qreal(deviceRect.width());
    const qreal ry = bufferSize.height() / qreal(deviceRect.height());
    const QRect reached = QRect(QPoint(deviceRect.x() + qFloor((left - 1) / rx) - 1,
                                       deviceRect.y() + qFloor((top - 1) / ry) - 1),
                                QPoint(deviceRect.x() + qCeil((right + 2) / rx) + 1,
                                       deviceRect.y() + qCeil((bottom + 2) / ry) + 1))
                              .intersected(deviceRect);
    return Mask{tinted, deviceRect, reached};
}

// The blur of a box's edge along one axis, as makeMask makes it: the coverage of pixels by
// [from, to] at `reduce` times the device resolution, blurred by three box passes of half-width
// `box` there, then sampled linearly at each device pixel from `*first` on (as many as returned).
std::vector<double> blurredEdge(double from, double to, qreal reduce, int box, int* first)
{
    const double reach = 3.0 * box / reduce + 2;
    *first = qFloor(from - reach);
    const int n = std::max(1, qCeil(to + reach) - *first);
    const int m = std::max(1, qCeil(n * reduce));
    std::vector<double> v(m), copy(m);
    for (int k = 0; k < m; ++k)
        v[k] = std::max(0.0, std::min(to, *first + (k + 1) / reduce) - std::max(from, *first + k / reduce)) * reduce;
    const double window = 2 * box + 1;
    for (int pass = 0; pass < 3 && box > 0; ++pass) {
        copy = v;
        double sum = 0;
        for (int i = 0; i <= std::min(box, m - 1); ++i) sum += copy[i];
        for (int i = 0; i < m; ++i) {
            v[i] = sum / window;
            if (i + box + 1 < m) sum += copy[i + box + 1];
            if (i - box >= 0) sum -= copy[i - box];
        }
    }
    std::vector<double> out(n);
    const double step = double(m) / n;
    for (int x = 0; x < n; ++x) {
        const double u = (x + 0.5) * step - 0.5;
        const int k = qFloor(u);
        const double f = u - k;
        // Written so that equal neighbours give exactly their value: flat runs stay flat.
        const double a = v[std::clamp(k, 0, m - 1)], b = v[std::clamp(k + 1, 0, m - 1)];
        out[x] = a + (b - a) * f;
    }
    return out;
}

// The shadow of an upright rectangle: a box blur of a box is the product of the blurs of its two
// edges, so it is made at full resolution from two rows of numbers, only where it can show, and
// copied straight, where a general mask is stretched over the whole area on every drawing.
Mask rectangleMask(const QRectF& deviceBox, qreal deviceRadius, qreal opacity, const QRegion& covered)
{
    const qreal reduce = deviceRadius > 6 ? 6 / deviceRadius : 1.0;
    const int box = deviceRadius >= 1 ? std::max(1, qRound(deviceRadius * reduce * 0.5)) : 0;
    int x0 = 0, y0 = 0;
    const std::vector<double> across = blurredEdge(deviceBox.left(), deviceBox.right(), reduce, box, &x0);
    const std::vector<double> down = blurredEdge(deviceBox.top(), deviceBox.bottom(), reduce, box, &y0);
    // As makeMask rounds: coverage to 8 bits, then times the opacity in 256ths, truncated.
    const int level = std::clamp(qRound(opacity * 256), 0, 256);
    auto alpha = [level](double coverage) { return (int(coverage * 255 + 0.5) * level) >> 8; };
    // Where any alpha is left: the far tail of the blur rounds to nothing.
    auto span = [&alpha](const std::vector<double>& v, int origin) {
        int a = 0, b = int(v.size()) - 1;
        while (a <= b && alpha(v[a]) == 0) ++a;
        while (b >= a && alpha(v[b]) == 0) --b;
        return std::pair{origin + a, origin + b};
    };
    const auto [left, right] = span(across, x0);
    const auto [top, bottom] = span(down, y0);
    Mask mask;
    if (right < left || bottom < top) return mask;
    const QRect support(QPoint(left, top), QPoint(right, bottom));
    mask.deviceRect = mask.reached = support;
    if (support.width() > 16384 + 4096 || support.height() > 16384 + 4096) return mask;
    // The device columns [flatFrom, flatTo) where the blur across holds one value.
    int flatFrom = x0, flatTo = x0;
    {
        const auto peak = std::max_element(across.begin(), across.end());
        auto a = peak, b = peak;
        while (a != across.begin() && *(a - 1) == *peak) --a;
        while (b != across.end() && *b == *peak) ++b;
        if (b - a > 1) flatFrom = x0 + int(a - across.begin()), flatTo = x0 + int(b - across.begin());
    }
    for (const QRect& r : QRegion(support).subtracted(covered)) {
        QImage piece = PixelBuffers::image(r.size());
        if (piece.isNull()) return Mask{};
        for (int y = 0; y < r.height(); ++y) {
            const double row = down[r.top() + y - y0];
            auto* line = reinterpret_cast<quint32*>(piece.scanLine(y));
            // Along a long side the blur is flat: most rows repeat the one before.
            if (y > 0 && row == down[r.top() + y - 1 - y0]) {
                std::copy_n(reinterpret_cast<const quint32*>(piece.constScanLine(y - 1)), r.width(), line);
                continue;
            }
            const double* column = across.data() + (r.left() - x0);
            // Where the blur across is flat, the row's value repeats.
            const int from = std::clamp(flatFrom - r.left(), 0, r.width());
            const int to = std::clamp(flatTo - r.left(), from, r.width());
            for (int x = 0; x < from; ++x) line[x] = quint32(alpha(row * column[x])) << 24;
            if (to > from) std::fill(line + from, line + to, quint32(alpha(row * column[from])) << 24);
            for (int x = to; x < r.width(); ++x) line[x] = quint32(alpha(row * column[x])) << 24;
        }
        mask.pieces.emplace_back(r.topLeft(), piece);
    }
    return mask;
}

// Each pixel between two rows of alpha in 256ths, `f` 256ths of the way to the second, as black.
void mixRows(const quint32* __restrict top, const quint32* __restrict bottom, quint32* __restrict out, int n,
             quint32 f)
{
    const quint32 g = 256 - f;
    for (int x = 0; x < n; ++x) out[x] = ((top[x] * g + bottom[x] * f + 32768) >> 16) << 24;
}

// The mask stretched over its device rectangle as drawMask would (bilinear, edges clamped),
// sampled once into device-sized pieces over `shown`. Only alpha is sampled: the rest is black.
std::optional<Mask> ringOf(const Mask& mask, const QRegion& shown)
{
    if (mask.tinted.isNull() || shown.rectCount() > 64) return mask;
    Mask out;
    out.deviceRect = out.reached = mask.reached;
    const QImage& in = mask.tinted;
    const int w = in.width(), h = in.height();
    const qreal sx = w / qreal(mask.deviceRect.width()), sy = h / qreal(mask.deviceRect.height());
    // Where a device coordinate samples: the two buffer pixels and the weight of the second, in 256ths.
    struct Tap {
        int a, b, f;
    };
    auto tap = [](qreal u, int n) {
        const int i = qFloor(u);
        const int f = std::clamp(qRound((u - i) * 256), 0, 256);
        return Tap{std::clamp(i, 0, n - 1), std::clamp(i + 1, 0, n - 1), f};
    };
    std::vector<Tap> across;
    // Buffer rows stretched to the piece's width (alpha in 256ths), each made once per piece.
    std::vector<std::vector<quint32>> wide(static_cast<size_t>(h));
    for (const QRect& r : shown) {
        QImage piece = PixelBuffers::image(r.size());
        if (piece.isNull()) return std::nullopt;
        const int width = r.width();
        across.resize(size_t(width));
        for (int x = 0; x < width; ++x)
            across[size_t(x)] = tap((r.left() + x + 0.5 - mask.deviceRect.x()) * sx - 0.5, w);
        for (auto& row : wide) row.clear();
        auto stretched = [&](int i) -> const quint32* {
            std::vector<quint32>& row = wide[size_t(i)];
            if (row.empty()) {
                row.resize(size_t(width));
                const auto* source = reinterpret_cast<const quint32*>(in.constScanLine(i));
                for (int x = 0; x < width; ++x) {
                    const Tap& t = across[size_t(x)];
                    row[size_t(x)] = (source[t.a] >> 24) * quint32(256 - t.f) + (source[t.b] >> 24) * quint32(t.f);
                }
            }
            return row.data();
        };
        const uchar* flat = nullptr; // the buffer row the line before was made of alone, if it was
        for (int y = 0; y < r.height(); ++y) {
            const Tap down = tap((r.top() + y + 0.5 - mask.deviceRect.y()) * sy - 0.5, h);
            auto* line = reinterpret_cast<quint32*>(piece.scanLine(y));
            // Along a long side the buffer's rows repeat, and so do the lines made from them.
            const uchar* top = in.constScanLine(down.a);
            const size_t bytes = size_t(w) * 4;
            const bool same = down.a == down.b || std::memcmp(top, in.constScanLine(down.b), bytes) == 0;
            if (same && flat && std::memcmp(top, flat, bytes) == 0) {
                std::copy_n(reinterpret_cast<const quint32*>(piece.constScanLine(y - 1)), width, line);
                continue;
            }
            flat = same ? top : nullptr;
            mixRows(stretched(down.a), stretched(down.b), line, width, quint32(down.f));
        }
        out.pieces.emplace_back(r.topLeft(), piece);
    }
    return out;
}

void drawMask(QPainter* painter, const Mask& mask, const QTransform& toDevice, const QRectF& cover)
{
    if (!mask.pieces.empty()) {
        painter->save();
        painter->setWorldTransform(painter->worldTransform() * toDevice.inverted());
        painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
        // Whole pixels onto whole pixels: without these hints the raster engine copies them
        // straight, with them it samples every pixel.
        painter->setRenderHint(QPainter::Antialiasing, false);
        painter->setRenderHint(QPainter::SmoothPixmapTransform, false);
        for (const auto& [at, piece] : mask.pieces) painter->drawImage(at, piece);
        painter->restore();
        return;
    }
    if (mask.tinted.isNull()) return;
    // Draw in device pixels, whatever the painter's own scaling (a widget's pixel ratio included).
    painter->save();
    const QTransform hidpi = painter->worldTransform().inverted() * toDevice;
    painter->setWorldTransform(hidpi.inverted());
    painter->setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter->setRenderHint(QPainter::SmoothPixmapTransform);
    // Whole device pixels: antialiasing would change nothing and takes a slower path.
    painter->setRenderHint(QPainter::Antialiasing, false);
    QRegion shown(mask.reached);
    if (!cover.isEmpty()) shown -= inside(cover, toDevice, 1.0);
    if (shown.isEmpty()) {
        painter->restore();
        return;
    }
    if (shown != QRegion(mask.deviceRect))
        painter->setClipRegion(shown, painter->hasClipping() ? Qt::IntersectClip : Qt::ReplaceClip);
    painter->drawImage(QRectF(mask.deviceRect), mask.tinted);
    painter->restore();
}

// Masks of outlines, by everything they depend on; a piece drawn again draws the same shadows.
class Masks {
public:
    static Masks& shared()
    {
        static Masks instance;
        return instance;
    }
    std::optional<Mask> find(const QByteArray& key)
    {
        QMutexLocker lock(&m_mutex);
        return m_masks.get(key);
    }
    void insert(const QByteArray& key, const Mask& mask)
    {
        QMutexLocker lock(&m_mutex);
        if (!m_masks.contains(key)) m_masks.insert(key, mask, mask.bytes());
    }
    int count()
    {
        QMutexLocker lock(&m_mutex);
        return m_masks.size();
    }
    void clear()
    {
        QMutexLocker lock(&m_mutex);
        m_masks.clear();
    }

private:
    QMutex m_mutex;
    LruCache<QByteArray, Mask> m_masks{maskLimit, maskBudget};
};

// Whether `shape` is one axis-aligned rectangle (as QPainterPath::addRect makes it).
bool isRectangle(const QPainterPath& shape)
{
    if (shape.elementCount() != 5) return false;
    const QRectF r = shape.boundingRect();
    for (int i = 0; i < 5; ++i) {
        const QPainterPath::Element e = shape.elementAt(i);
        if ((i == 0) != e.isMoveTo() || (!e.isMoveTo() && !e.isLineTo())) return false;
        if ((e.x != r.left() && e.x != r.right()) || (e.y != r.top() && e.y != r.bottom())) return false;
    }
    return r.isValid();
}

QByteArray maskKey(const QPainterPath& shape, const QTransform& toDevice, qreal radius, QPointF offset,
                   qreal opacity)
{
    QByteArray key;
    const int n = shape.elementCount();
    key.reserve(int(sizeof(qreal)) * (3 * n + 14));
    auto add = [&key](qreal v) { key.append(reinterpret_cast<const char*>(&v), sizeof v); };
    for (qreal v : {toDevice.m11(), toDevice.m12(), toDevice.m13(), toDevice.m21(), toDevice.m22(), toDevice.m23(),
                    toDevice.m31(), toDevice.m32(), toDevice.m33(), radius, offset.x(), offset.y(), opacity,
                    qreal(shape.fillRule())})
        add(v);
    for (int i = 0; i < n; ++i) {
        const QPainterPath::Element e = shape.elementAt(i);
        add(qreal(e.type));
        add(e.x);
        add(e.y);
    }
    return key;
}

} // namespace

void draw(QPainter* painter, const QRectF& bounds, const std::function<void(QPainter*)>& shape, qreal radius,
          QPointF offset, qreal opacity, const QRectF& cover)
{
    if (!painter || opacity <= 0 || !bounds.isValid()) return;
    if (!std::isfinite(radius) || radius < 0) radius = 0;
    const QTransform toDevice = painter->deviceTransform();
    if (const std::optional<Mask> mask = makeMask(toDevice, bounds, shape, radius, offset, opacity))
        drawMask(painter, *mask, toDevice, cover);
}

void draw(QPainter* painter, const QPainterPath& shape, qreal radius, QPointF offset, qreal opacity,
          const QRectF& cover)
{
    if (!painter || opacity <= 0 || shape.isEmpty() || !shape.boundingRect().isValid()) return;
    if (!std::isfinite(radius) || radius < 0) radius = 0;
    const QTransform toDevice = painter->deviceTransform();
    QByteArray key = maskKey(shape, toDevice, radius, offset, opacity);
    // An upright rectangle's shadow is made exactly, and only outside its cover.
    const QRectF bounds = shape.boundingRect();
    const bool rectangle = toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0
        && isRectangle(shape);
    // Upright and partly covered, any shape's shadow is kept as device pixels around the cover:
    // a straight copy of its ring, where stretching the mask would sample its whole area each time.
    const bool ring = toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0
        && !cover.isEmpty();
    if (rectangle || ring)
        for (qreal v : {cover.x(), cover.y(), cover.width(), cover.height()})
            key.append(reinterpret_cast<const char*>(&v), sizeof v);
    std::optional<Mask> mask = Masks::shared().find(key);
    if (!mask) {
        if (rectangle) {
            const QRectF device = toDevice.mapRect(bounds.translated(offset));
            const qreal scale = std::sqrt(std::abs(toDevice.determinant()));
            mask = rectangleMask(device, radius * scale, opacity,
                                 cover.isEmpty() ? QRegion() : inside(cover, toDevice, 1.0));
        } else {
            mask = makeMask(toDevice, bounds, [&shape](QPainter* p) { p->fillPath(shape, Qt::black); }, radius,
                            offset, opacity);
            if (mask && ring) mask = ringOf(*mask, QRegion(mask->reached).subtracted(inside(cover, toDevice, 1.0)));
        }
        if (!mask) return;
        Masks::shared().insert(key, *mask);
    }
    drawMask(painter, *mask, toDevice, cover);
}

int cachedMasks() { return Masks::shared().count(); }
void clearMasks() { Masks::shared().clear(); }

} // namespace velora::Shadow
