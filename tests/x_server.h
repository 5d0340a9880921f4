#pragma once
// An X server of a test's own (Xvfb on a display number it picks itself), pictures of its screen,
// and the lines of the programs a test runs on it.
#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QSize>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace velora::testing {

struct FreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// Starts Xvfb with one screen of `size`; its display (":N"), or empty when it did not come up.
inline QString startXvfb(QProcess& xvfb, const QString& program, QSize size)
{
    const QString screen = QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height());
    xvfb.start(program, {"-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-br"});
    if (!xvfb.waitForStarted(5000)) return {};
    QByteArray number;
    for (int i = 0; i < 100 && !number.contains('\n'); ++i) {
        xvfb.waitForReadyRead(100);
        number += xvfb.readAllStandardOutput();
    }
    if (!number.contains('\n')) return {};
    return QStringLiteral(":") + QString::fromLatin1(number.trimmed());
}

// The top `rows` of the root window (all of it when 0), or a null image.
inline QImage screenshot(xcb_connection_t* c, int rows = 0)
{
    const xcb_screen_t* s = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const int height = rows > 0 ? std::min<int>(rows, s->height_in_pixels) : s->height_in_pixels;
    Reply<xcb_get_image_reply_t> img(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, s->root, 0, 0, s->width_in_pixels, uint16_t(height), ~0u), nullptr));
    if (!img || img->depth != 24) return {};
    if (xcb_get_image_data_length(img.get()) != s->width_in_pixels * height * 4) return {};
    return QImage(xcb_get_image_data(img.get()), s->width_in_pixels, height, QImage::Format_RGB32).copy();
}

// The last complete line of `output` that starts with `prefix`, reading more of the program's
// standard output for up to `ms`; empty when none came.
inline QString waitForLine(QProcess& program, QString& output, const QString& prefix, int ms)
{
    QElapsedTimer t;
    t.start();
    for (;;) {
        QStringList lines = output.split(u'\n');
        lines.removeLast(); // not finished yet, or empty after the last newline
        for (auto it = lines.crbegin(); it != lines.crend(); ++it)
            if (it->startsWith(prefix)) return *it;
        if (t.elapsed() >= ms || program.state() == QProcess::NotRunning) return {};
        program.waitForReadyRead(100);
        output += QString::fromLocal8Bit(program.readAllStandardOutput());
    }
}

// Ends a program politely, then for good.
inline void stopProgram(QProcess& program)
{
    if (program.state() == QProcess::NotRunning) return;
    program.terminate();
    if (!program.waitForFinished(3000)) {
        program.kill();
        program.waitForFinished(3000);
    }
}

} // namespace velora::testing
