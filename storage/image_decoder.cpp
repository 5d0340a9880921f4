#include "image_decoder.h"

#include "files.h"

#include <QColorSpace>
#include <QFile>
#include <QImageReader>

// GLib names a struct member "signals", which Qt defines as a macro.
#pragma push_macro("signals")
#undef signals
#include <vips/vips.h>
#pragma pop_macro("signals")

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>

#include <unistd.h>

namespace velora::ImageDecoder {

namespace {

struct Unref {
    void operator()(VipsImage* image) const
    {
        if (image) g_object_unref(image);
    }
};
using Image = std::unique_ptr<VipsImage, Unref>;

// One step of a vips pipeline: replaces `image` with the step's output, or reports failure.
template <typename Step>
bool apply(Image& image, Step step)
{
    VipsImage* out = nullptr;
    if (step(image.get(), &out) != 0 || !out) {
        vips_error_clear();
        return false;
    }
    image.reset(out);
    return true;
}

bool declaresTooMuch(qint64 width, qint64 height)
{
    return width <= 0 || height <= 0 || width * height > maxDeclaredPixels;
}

// Bring any decoded band layout to 8-bit sRGB with 3 or 4 bands.
bool toSrgb8(Image& image)
{
    if (image->Type != VIPS_INTERPRETATION_sRGB || image->BandFmt != VIPS_FORMAT_UCHAR) {
        if (vips_colourspace_issupported(image.get())) {
            if (!apply(image, [](VipsImage* in, VipsImage** out) {
                    return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
                }))
                return false;
        } else if (image->Bands <= 2) {
            // Unlabelled one- or two-band data is grey (with alpha).
            if (!apply(image, [](VipsImage* in, VipsImage** out) {
                    return vips_copy(in, out, "interpretation", VIPS_INTERPRETATION_B_W, nullptr);
                }))
                return false;
            if (!apply(image, [](VipsImage* in, VipsImage** out) {
                    return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
                }))
                return false;
        }
    }
    if (image->BandFmt != VIPS_FORMAT_UCHAR) {
        if (!apply(image, [](VipsImage* in, VipsImage** out) { return vips_cast_uchar(in, out, nullptr); }))
            return false;
    }
    if (image->Bands > 4 || image->Bands == 2) {
        const int keep = image->Bands > 4 ? 4 : 1;
        if (!apply(image, [keep](VipsImage* in, VipsImage** out) {
                return vips_extract_band(in, out, 0, "n", keep, nullptr);
            }))
            return false;
    }
    if (image->Bands == 1) {
        if (!apply(image, [](VipsImage* in, VipsImage** out) {
                VipsImage* bands[3] = {in, in, in};
                return vips_bandjoin(bands, out, 3, nullptr);
            }))
            return false;
    }
    return image->Bands == 3 || image->Bands == 4;
}

// Reorders sRGB(A) bands into the byte layout of QImage's 32-bit formats (0xAARRGGBB words), so
// the decoded buffer becomes the QImage as is: no second full-size copy, and neither the JPEG
// writer nor the smooth thumbnail scaler has to convert it again.
bool toArgbWords(Image& image)
{
    VipsImage* parts[4] = {};
    const bool alpha = image->Bands == 4;
    for (int b = 0; b < 4; ++b) {
        if (b == 3 && !alpha) break;
        if (vips_extract_band(image.get(), &parts[b], b, nullptr) != 0) {
            for (VipsImage* p : parts)
                if (p) g_object_unref(p);
            vips_error_clear();
            return false;
        }
    }
    VipsImage* opaque = nullptr;
    if (!alpha) {
        if (vips_black(&opaque, image->Xsize, image->Ysize, nullptr) != 0 ||
            vips_linear1(opaque, &parts[3], 0.0, 255.0, "uchar", TRUE, nullptr) != 0) {
            for (VipsImage* p : parts)
                if (p) g_object_unref(p);
            if (opaque) g_object_unref(opaque);
            vips_error_clear();
            return false;
        }
        g_object_unref(opaque);
    }
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    VipsImage* ordered[4] = {parts[2], parts[1], parts[0], parts[3]}; // B G R A
#else
    VipsImage* ordered[4] = {parts[3], parts[0], parts[1], parts[2]}; // A R G B
#endif
    VipsImage* joined = nullptr;
    const int failed = vips_bandjoin(ordered, &joined, 4, nullptr);
    for (VipsImage* p : parts) g_object_unref(p);
    if (failed != 0 || !joined) {
        vips_error_clear();
        return false;
    }
    image.reset(joined);
    return true;
}

// Runs the pipeline into one buffer that the returned QImage owns (freed with it).
std::optional<QImage> toQImage(Image image)
{
    const bool alpha = image->Bands == 4;
    if (!toArgbWords(image)) return std::nullopt;
    const int width = image->Xsize;
    const int height = image->Ysize;
    size_t size = 0;
    void* pixels = vips_image_write_to_memory(image.get(), &size);
    if (!pixels) {
        vips_error_clear();
        return std::nullopt;
    }
    const qsizetype rowBytes = qsizetype(width) * 4;
    if (size != size_t(rowBytes) * size_t(height)) {
        g_free(pixels);
        return std::nullopt;
    }
    QImage result(static_cast<uchar*>(pixels), width, height, rowBytes,
                  alpha ? QImage::Format_ARGB32 : QImage::Format_RGB32, [](void* p) { g_free(p); }, pixels);
    if (result.isNull()) {
        g_free(pixels);
        return std::nullopt;
    }
    result.setColorSpace(QColorSpace(QColorSpace::SRgb));
    return result;
}

// The file as a libvips source whose every read first asks whether the import was cancelled, so a
// decode stops within one read of a quit, also inside a loader that reads a whole image at once.
struct SourceContext {
    int fd;
    const std::atomic<bool>* cancelled;
};

gint64 readSource(VipsSourceCustom*, void* buffer, gint64 length, void* user)
{
    const auto* ctx = static_cast<const SourceContext*>(user);
    if (ctx->cancelled && ctx->cancelled->load(std::memory_order_relaxed)) return -1;
    ssize_t n = 0;
    do {
        n = ::read(ctx->fd, buffer, size_t(length));
    } while (n < 0 && errno == EINTR);
    return n;
}

gint64 seekSource(VipsSourceCustom*, gint64 offset, int whence, void* user)
{
    const auto* ctx = static_cast<const SourceContext*>(user);
    return ::lseek(ctx->fd, off_t(offset), whence);
}

struct UnrefSource {
    void operator()(VipsSourceCustom* source) const
    {
        if (source) g_object_unref(source);
    }
};

// Loaders trusted with users' files; anything else libvips recognises (its own formats, text
// matrices, vector and document formats) is refused.
bool isPhotoLoader(const char* loader)
{
    for (const char* prefix : {"VipsForeignLoadJpeg", "VipsForeignLoadPng", "VipsForeignLoadHeif", "VipsForeignLoadTiff",
                               "VipsForeignLoadGif", "VipsForeignLoadNsgif", "VipsForeignLoadWebp", "VipsForeignLoadJp2k"})
        if (vips_isprefix(prefix, loader)) return true;
    return false;
}

int intField(VipsImage* image, const char* name)
{
    int value = 0;
    if (vips_image_get_typeof(image, name) == 0 || vips_image_get_int(image, name, &value) != 0) {
        vips_error_clear();
        return 0;
    }
    return value;
}

// What every decode holds besides: the capped result, its conversions and the loaders' buffers.
constexpr qint64 fixedBytes = 64LL << 20;

// Memory a loader needs on top of that, from the header alone; the factors are measured peaks of
// libvips 8.14 per declared pixel, rounded up.
qint64 workingBytes(const char* loader, qint64 width, qint64 height, int bands, int sampleBytes, bool interlaced,
                    const QByteArray& chroma, qint64 fileBytes)
{
    const qint64 pixels = width * height;
    if (vips_isprefix("VipsForeignLoadJpeg", loader)) {
        // Baseline JPEG streams through shrink-on-load. A progressive one keeps every DCT
        // coefficient (two bytes) of the whole image until its last scan.
        if (!interlaced) return 0;
        double samples = bands;
        if (bands == 3 && chroma == "4:2:0") samples = 1.5;
        else if (bands == 3 && chroma == "4:2:2") samples = 2;
        return qint64(double(pixels) * samples * 2);
    }
    if (vips_isprefix("VipsForeignLoadPng", loader))
        return interlaced ? pixels * bands * sampleBytes : 0; // Adam7 needs the whole image
    if (vips_isprefix("VipsForeignLoadGif", loader) || vips_isprefix("VipsForeignLoadNsgif", loader))
        return pixels * 8 + fileBytes; // the frame, its predecessor, and the file itself
    if (vips_isprefix("VipsForeignLoadHeif", loader))
        return pixels * 5; // YCbCr planes and the interleaved RGB(A) image
    if (vips_isprefix("VipsForeignLoadJp2k", loader))
        return pixels * 4; // a whole untiled image's samples
    return 0;
}

std::optional<QImage> decodeWithVips(Files::ReadOnlyFile& file, const std::atomic<bool>* cancelled, int longestSide,
                                     bool& notForVips)
{
    SourceContext ctx{file.descriptor(), cancelled};
    std::unique_ptr<VipsSourceCustom, UnrefSource> source(vips_source_custom_new());
    if (!source) return std::nullopt;
    g_signal_connect(source.get(), "read", G_CALLBACK(readSource), &ctx);
    g_signal_connect(source.get(), "seek", G_CALLBACK(seekSource), &ctx);
    VipsSource* src = VIPS_SOURCE(source.get());

    const char* loader = vips_foreign_find_load_source(src);
    // The search still names the blocked ImageMagick loader; Qt reads those files instead.
    if (!loader || vips_isprefix("VipsForeignLoadMagick", loader)) {
        vips_error_clear();
        notForVips = true;
        return std::nullopt;
    }
    if (!isPhotoLoader(loader)) return std::nullopt;

    // Opening reads the header only; the declared size is checked before any pixel is decoded.
    Image header(vips_image_new_from_source(src, "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                            VIPS_FAIL_ON_TRUNCATED, nullptr));
    if (!header) {
        vips_error_clear();
        return std::nullopt;
    }
    if (declaresTooMuch(header->Xsize, header->Ysize)) return std::nullopt;
    const char* chroma = nullptr;
    if (vips_image_get_typeof(header.get(), "jpeg-chroma-subsample") != 0)
        vips_image_get_string(header.get(), "jpeg-chroma-subsample", &chroma);
    const qint64 working = workingBytes(loader, header->Xsize, header->Ysize, header->Bands,
                                        int(vips_format_sizeof(header->BandFmt)), intField(header.get(), "interlaced") != 0,
                                        QByteArray(chroma ? chroma : ""), file.size());
    if (working + fixedBytes > decodeBudget) return std::nullopt;
    // Only an embedded profile is converted; untagged pixels are taken as sRGB already (an
    // assumed-profile round trip would shift greys by a level or two).
    const bool hasProfile = vips_image_get_typeof(header.get(), VIPS_META_ICC_NAME) != 0;

    // At most one decode that needs a whole image in memory runs at a time, whatever the number of
    // import workers, so their peaks never add up.
    static std::mutex heavy;
    std::unique_lock<std::mutex> heavyLock(heavy, std::defer_lock);
    if (working > decodeBudget / 8) heavyLock.lock();
    if (cancelled && cancelled->load()) return std::nullopt;

    // The box is never larger than the image, so nothing is enlarged; libvips' own "down only"
    // size mode is not used, as it picks far too small a level of a JPEG 2000 pyramid.
    const int box = std::min<qint64>(longestSide, std::max(header->Xsize, header->Ysize));
    Image image;
    VipsImage* out = nullptr;
    int failed = 0;
    if (vips_isprefix("VipsForeignLoadHeif", loader)) {
        // vips_thumbnail would switch to the embedded HEIF thumbnail when that is big enough;
        // thumbnailing the opened primary image keeps to the full picture.
        failed = hasProfile ? vips_thumbnail_image(header.get(), &out, box, "height", box, "export_profile", "srgb", nullptr)
                            : vips_thumbnail_image(header.get(), &out, box, "height", box, nullptr);
    } else {
        header.reset();
        // Shrink-on-load (JPEG DCT scaling, WebP, TIFF pyramids) from the full image, then an
        // exact reduce; orientation applied.
        // From a source, load options only reach the loader through the option string.
        failed = hasProfile ? vips_thumbnail_source(src, &out, box, "height", box, "export_profile", "srgb",
                                                    "option_string", "fail_on=truncated", nullptr)
                            : vips_thumbnail_source(src, &out, box, "height", box, "option_string", "fail_on=truncated", nullptr);
    }
    if (failed != 0 || !out) {
        vips_error_clear();
        return std::nullopt;
    }
    image.reset(out);
    if (!toSrgb8(image)) return std::nullopt;
    std::optional<QImage> result = toQImage(std::move(image));
    if (cancelled && cancelled->load()) return std::nullopt;
    return result;
}

QSize cappedSize(QSize size, int longestSide)
{
    const double scale = static_cast<double>(longestSide) / std::max(size.width(), size.height());
    if (scale >= 1) return size;
    return {std::max(1, static_cast<int>(std::trunc(scale * size.width()))),
            std::max(1, static_cast<int>(std::trunc(scale * size.height())))};
}

// For what libvips has no loader for (BMP, and whatever Qt's plugins add). Qt reads these whole,
// so the declared size must fit the budget.
std::optional<QImage> decodeWithQt(Files::ReadOnlyFile& source, int longestSide)
{
    QFile file;
    if (!source.openDevice(file)) return std::nullopt;
    QImageReader reader(&file);
    reader.setAutoTransform(true);
    const QSize declared = reader.size();
    if (!declared.isValid() || declaresTooMuch(declared.width(), declared.height()) ||
        qint64(declared.width()) * declared.height() * 4 + fixedBytes > decodeBudget)
        return std::nullopt;
    const QSize target = cappedSize(declared, longestSide);
    if (target != declared) reader.setScaledSize(target);
    QImage image = reader.read();
    if (image.isNull()) return std::nullopt;
    const QSize scaled = cappedSize(image.size(), longestSide);
    if (scaled != image.size()) image = image.scaled(scaled, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace(QColorSpace::SRgb));
    image.convertTo(image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    if (image.isNull()) return std::nullopt;
    image.setColorSpace(QColorSpace(QColorSpace::SRgb));
    return image;
}

} // namespace

bool initialize()
{
    static std::once_flag once;
    static bool started = false;
    std::call_once(once, [] {
        if (VIPS_INIT("velora") != 0) {
            vips_error_clear();
            return;
        }
        // No operation cache: every import reads its file afresh and nothing decoded stays around.
        vips_cache_set_max(0);
        vips_cache_set_max_mem(0);
        vips_cache_set_max_files(0);
        // Thumbnailing a sequential JPEG gains little beyond a few threads, while every worker
        // adds its own buffers (and malloc arena) to resident memory on many-core machines.
        vips_concurrency_set(std::clamp(vips_concurrency_get(), 1, 4));
        // A damaged file is reported by its result; libvips' per-tile warnings would only fill
        // the terminal.
        g_log_set_handler("VIPS", G_LOG_LEVEL_WARNING, [](const gchar*, GLogLevelFlags, const gchar*, gpointer) {},
                          nullptr);
        // The ImageMagick loader takes almost anything; it is not trusted with users' files.
        vips_operation_block_set("VipsForeignLoadMagick", TRUE);
        started = true;
    });
    return started;
}

std::optional<QImage> decode(const QString& path, int longestSide, const std::atomic<bool>* cancelled)
{
    const auto stopped = [cancelled] { return cancelled && cancelled->load(); };
    if (longestSide < 1 || stopped()) return std::nullopt;
    std::optional<Files::ReadOnlyFile> file = Files::ReadOnlyFile::open(path);
    if (!file || file->size() == 0) return std::nullopt;
    if (!initialize()) return decodeWithQt(*file, longestSide);
    bool notForVips = false;
    std::optional<QImage> image = decodeWithVips(*file, cancelled, longestSide, notForVips);
    // A cancelled read also leaves no loader: that is no reason to try Qt.
    if (notForVips && !stopped()) return decodeWithQt(*file, longestSide);
    return image;
}

} // namespace velora::ImageDecoder
