#include "files.h"

#include <QDir>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velora::Files {

namespace {

constexpr char16_t keptByteBase = 0xDC00; // + the byte (0x80..0xFF)

// Length of the valid UTF-8 sequence starting at s[i], or 0 when it is not one (overlong forms,
// surrogates and code points past U+10FFFF included).
int validSequence(const QByteArray& s, qsizetype i, char32_t& cp)
{
    const auto b = [&](qsizetype k) { return static_cast<unsigned char>(s[k]); };
    const unsigned char c = b(i);
    int len = 0;
    char32_t min = 0;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
        cp = c & 0x1F;
        min = 0x80;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        cp = c & 0x0F;
        min = 0x800;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        cp = c & 0x07;
        min = 0x10000;
    } else {
        return 0;
    }
    if (i + len > s.size()) return 0;
    for (int k = 1; k < len; ++k) {
        if ((b(i + k) & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (b(i + k) & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    return len;
}

bool isKeptByte(char16_t c) { return c >= keptByteBase + 0x80 && c <= keptByteBase + 0xFF; }

Kind kindOfMode(mode_t mode)
{
    if (S_ISREG(mode)) return Kind::file;
    if (S_ISDIR(mode)) return Kind::folder;
    return Kind::other;
}

} // namespace

QString decodeName(const QByteArray& bytes)
{
    QString out;
    out.reserve(bytes.size());
    for (qsizetype i = 0; i < bytes.size();) {
        const unsigned char c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x80) {
            out.append(QChar(c));
            ++i;
            continue;
        }
        char32_t cp = 0;
        if (const int len = validSequence(bytes, i, cp)) {
            out.append(QString::fromUcs4(&cp, 1));
            i += len;
        } else {
            out.append(QChar(char16_t(keptByteBase + c)));
            ++i;
        }
    }
    return out;
}

QByteArray encodeName(const QString& name)
{
    QByteArray out;
    out.reserve(name.size());
    qsizetype start = 0; // of the current run of ordinary text
    for (qsizetype i = 0; i <= name.size(); ++i) {
        if (i < name.size() && !isKeptByte(name[i].unicode())) continue;
        out.append(name.mid(start, i - start).toUtf8());
        if (i < name.size()) out.append(char(name[i].unicode() - keptByteBase));
        start = i + 1;
    }
    return out;
}

QString displayName(const QString& name)
{
    QString out = name;
    for (QChar& c : out)
        if (isKeptByte(c.unicode())) c = QChar::ReplacementCharacter;
    return out;
}

QString absolutePath(const QString& path)
{
    if (path.isEmpty()) return path;
    const QString absolute = QDir::isAbsolutePath(path) ? path : QDir::currentPath() + QLatin1Char('/') + path;
    return QDir::cleanPath(absolute);
}

std::optional<ReadOnlyFile> ReadOnlyFile::open(const QString& path)
{
    if (path.isEmpty()) return std::nullopt;
    const QByteArray name = encodeName(path);
    // Checked before opening, so a FIFO or a device is never opened at all...
    struct stat st {};
    if (::stat(name.constData(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    // ...and after, on what was opened, in case the entry was swapped in between. O_NONBLOCK keeps
    // even that open from waiting.
    int fd = -1;
    do {
        fd = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return std::nullopt;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return std::nullopt;
    }
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    return ReadOnlyFile(fd, qint64(st.st_size));
}

ReadOnlyFile::ReadOnlyFile(ReadOnlyFile&& other) noexcept : m_fd(other.m_fd), m_size(other.m_size) { other.m_fd = -1; }

ReadOnlyFile::~ReadOnlyFile()
{
    if (m_fd >= 0) ::close(m_fd);
}

std::optional<QByteArray> ReadOnlyFile::readAll(qint64 maxBytes)
{
    if (m_size > maxBytes || ::lseek(m_fd, 0, SEEK_SET) != 0) return std::nullopt;
    QByteArray bytes;
    qint64 done = 0;
    bytes.resize(m_size);
    while (done < m_size) {
        const ssize_t n = ::read(m_fd, bytes.data() + done, size_t(m_size - done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break; // shrank meanwhile
        done += n;
    }
    bytes.truncate(done);
    // Grown meanwhile: what is past the size seen at opening is not read, so the cap holds.
    return bytes;
}

bool ReadOnlyFile::openDevice(QFile& device) const
{
    return ::lseek(m_fd, 0, SEEK_SET) == 0 && device.open(m_fd, QIODevice::ReadOnly, QFileDevice::DontCloseHandle);
}

Kind kindOf(const QString& path)
{
    struct stat st {};
    if (path.isEmpty() || ::stat(encodeName(path).constData(), &st) != 0) return Kind::missing;
    return kindOfMode(st.st_mode);
}

Kind kindOfEntry(const QString& path)
{
    struct stat st {};
    if (path.isEmpty() || ::lstat(encodeName(path).constData(), &st) != 0) return Kind::missing;
    return kindOfMode(st.st_mode);
}

} // namespace velora::Files
