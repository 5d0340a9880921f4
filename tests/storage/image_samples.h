#pragma once
// Pictures and image files made at test time: no binary fixtures in the tree.
#include "fixtures.h"

#include <QBuffer>
#include <QColor>
#include <QImage>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QString>
#include <QtEndian>

namespace velora::samples {

// Gradients and shapes, so JPEG sizes and decode times are those of a real photo, with a left
// half tinted `left` and a right half tinted `right` to tell orientations apart.
inline QImage picture(int width, int height, QColor left = QColor(200, 30, 30), QColor right = QColor(30, 30, 200))
{
    QImage image(width, height, QImage::Format_RGB32);
    QPainter p(&image);
    p.fillRect(0, 0, width / 2, height, left);
    p.fillRect(width / 2, 0, width - width / 2, height, right);
    QLinearGradient shade(0, 0, 0, height);
    shade.setColorAt(0, QColor(255, 255, 255, 40));
    shade.setColorAt(1, QColor(0, 0, 0, 40));
    p.fillRect(image.rect(), shade);
    p.setPen(QPen(QColor(240, 220, 120), std::max(1, width / 300)));
    for (int i = 0; i < 12; ++i) p.drawEllipse(QPointF(width * (i + 1) / 13.0, height / 2.0), width / 40.0, height / 5.0);
    p.end();
    return image;
}

using testing::readBytes;
using testing::writeBytes;

// The tints of picture()'s halves, after scaling or re-encoding.
inline bool isLeftTint(QRgb c) { return qRed(c) > 150 && qBlue(c) < 90; }
inline bool isRightTint(QRgb c) { return qBlue(c) > 150 && qRed(c) < 90; }

// `text`: key/value pairs written as the format's comments (JPEG COM markers).
inline QByteArray encode(const QImage& image, const char* format, int quality = 90,
                         const QList<std::pair<QString, QString>>& text = {})
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    for (const auto& [key, value] : text) writer.setText(key, value);
    writer.write(image);
    return bytes;
}

// The same JPEG with an EXIF block right after SOI that carries only an orientation tag.
inline QByteArray withOrientation(const QByteArray& jpeg, quint16 orientation)
{
    // APP1 of 34 bytes: "Exif", a big-endian TIFF header, one IFD of one SHORT entry (0x0112).
    QByteArray app1("\xff\xe1\0\x22" "Exif\0\0" "MM\0\x2a" "\0\0\0\x08" "\0\x01" "\x01\x12\0\x03\0\0\0\x01"
                    "\0\0\0\0" "\0\0\0\0", 36);
    app1[28] = char(orientation >> 8);
    app1[29] = char(orientation & 0xff);
    return jpeg.left(2) + app1 + jpeg.mid(2);
}

inline quint32 crc32(const QByteArray& data)
{
    quint32 c = 0xffffffffu;
    for (const char ch : data) {
        c ^= quint8(ch);
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
    }
    return c ^ 0xffffffffu;
}

inline QByteArray pngChunk(const char* type, const QByteArray& data)
{
    QByteArray out(4, '\0');
    qToBigEndian<quint32>(quint32(data.size()), out.data());
    const QByteArray body = QByteArray(type, 4) + data;
    out += body;
    QByteArray crc(4, '\0');
    qToBigEndian<quint32>(crc32(body), crc.data());
    return out + crc;
}

// A well-formed PNG header declaring width x height RGB pixels, followed by a tiny IDAT.
inline QByteArray pngDeclaring(quint32 width, quint32 height)
{
    QByteArray ihdr(13, '\0');
    qToBigEndian<quint32>(width, ihdr.data());
    qToBigEndian<quint32>(height, ihdr.data() + 4);
    ihdr[8] = 8; // bit depth
    ihdr[9] = 2; // RGB
    const QByteArray zlib = qCompress(QByteArray(4096, '\0')).mid(4); // drop Qt's length prefix
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", ihdr) + pngChunk("IDAT", zlib) +
           pngChunk("IEND", {});
}

} // namespace velora::samples
