#pragma once
// File access that never hangs and never loses a name: regular files only, opened without
// blocking, and file names kept byte for byte even when they are not valid UTF-8.
#include <QByteArray>
#include <QFile>
#include <QString>

#include <optional>

namespace velora::Files {

// Lossless name text: UTF-8, with every byte that is not part of valid UTF-8 kept as the lone
// surrogate U+DC80 + (byte - 0x80), so encodeName(decodeName(b)) == b for any bytes.
QString decodeName(const QByteArray& bytes);
QByteArray encodeName(const QString& name);
// For showing and storing: kept bytes become U+FFFD.
QString displayName(const QString& name);
// Absolute and lexically cleaned; names with kept bytes survive.
QString absolutePath(const QString& path);

// A regular file (after following links) opened read-only. FIFOs, devices, sockets and folders
// are refused before anything could wait on them. Closes itself.
class ReadOnlyFile {
public:
    static std::optional<ReadOnlyFile> open(const QString& path);
    ReadOnlyFile(ReadOnlyFile&& other) noexcept;
    ReadOnlyFile& operator=(ReadOnlyFile&&) = delete;
    ~ReadOnlyFile();

    int descriptor() const { return m_fd; }
    qint64 size() const { return m_size; }
    // The whole file from its start; nothing when it is larger than maxBytes or a read fails.
    std::optional<QByteArray> readAll(qint64 maxBytes);
    // Opens `device` on this file, from its start, for Qt's readers; it does not take ownership.
    bool openDevice(QFile& device) const;

private:
    ReadOnlyFile(int fd, qint64 size) : m_fd(fd), m_size(size) {}
    int m_fd = -1;
    qint64 m_size = 0;
};

enum class Kind { missing, file, folder, other };
// What is at the path after following links.
Kind kindOf(const QString& path);
// What is at the path itself; a link is `other`.
Kind kindOfEntry(const QString& path);

} // namespace velora::Files
