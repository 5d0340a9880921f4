#pragma once
// Pictures and image files made at test time: no binary fixtures in the tree.
#include <QByteArray>
#include <QBuffer>
#include <QColor>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QLinearGradient>
#include <QPainter>
#include <QString>
#include <QtEndian>

#include <array>

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

inline bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

inline QByteArray readBytes(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline QByteArray encode(const QImage& image, const char* format, int quality = 90)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    writer.setQuality(quality);
    writer.write(image);
    return bytes;
}

// The same JPEG with an EXIF block right after SOI that carries only an orientation tag.
inline QByteArray withOrientation(const QByteArray& jpeg, quint16 orientation)
{
    QByteArray tiff;
    tiff += QByteArray("MM\0\x2a", 4);
    tiff += QByteArray("\0\0\0\x08", 4);             // first IFD at offset 8
    tiff += QByteArray("\0\x01", 2);                 // one entry
    tiff += QByteArray("\x01\x12\0\x03\0\0\0\x01", 8); // Orientation, SHORT, count 1
    tiff += char(orientation >> 8);
    tiff += char(orientation & 0xff);
    tiff += QByteArray("\0\0", 2);
    tiff += QByteArray("\0\0\0\0", 4);               // no next IFD
    const QByteArray payload = QByteArray("Exif\0\0", 6) + tiff;
    const quint16 length = quint16(payload.size() + 2);
    QByteArray app1("\xff\xe1", 2);
    app1 += char(length >> 8);
    app1 += char(length & 0xff);
    app1 += payload;
    return jpeg.left(2) + app1 + jpeg.mid(2);
}

inline quint32 crc32(const QByteArray& data)
{
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> t{};
        for (quint32 n = 0; n < 256; ++n) {
            quint32 c = n;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xedb88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    quint32 c = 0xffffffffu;
    for (const char ch : data) c = table[(c ^ quint8(ch)) & 0xff] ^ (c >> 8);
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
