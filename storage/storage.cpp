#include "storage.h"

#include "files.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QStandardPaths>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velora {

namespace {
std::optional<QString>& rootOverride()
{
    static std::optional<QString> value;
    return value;
}

// Files that failed to decode at load, so the next save keeps a copy before replacing them.
QSet<QString>& unreadableFiles()
{
    static QSet<QString> files;
    return files;
}

QString& keptCopy()
{
    static QString path;
    return path;
}

template <typename Record>
QByteArray encodeArray(const QList<Record>& records)
{
    QJsonArray array;
    for (const Record& r : records) array.append(Json::encode(r));
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

template <typename Record, typename Decode>
std::optional<QList<Record>> decodeArray(const QByteArray& bytes, Decode decode)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !doc.isArray()) return std::nullopt;
    QList<Record> out;
    const QJsonArray array = doc.array();
    out.reserve(array.size());
    for (const QJsonValue& v : array) {
        auto record = decode(v);
        if (!record) return std::nullopt;
        out.append(std::move(*record));
    }
    return out;
}

template <typename Record, typename Decode>
StateFiles::ReadResult readFile(const QString& path, QList<Record>& into, Decode decode)
{
    Storage::prepare();
    std::optional<Files::ReadOnlyFile> file = Files::ReadOnlyFile::open(path);
    if (!file) {
        // Something that exists but isn't a readable file must not be overwritten blindly either.
        if (Files::kindOfEntry(path) != Files::Kind::missing) {
            unreadableFiles().insert(path);
            return StateFiles::ReadResult::unreadable;
        }
        return StateFiles::ReadResult::missing;
    }
    // Over the cap the file is never read, so no file, however large, can exhaust memory.
    const std::optional<QByteArray> bytes = file->readAll(StateFiles::maxFileBytes);
    std::optional<QList<Record>> decoded;
    if (bytes) decoded = decodeArray<Record>(*bytes, decode);
    if (!decoded) {
        qWarning("Velora couldn’t read %s%s and starts without it; a copy is kept before it is replaced.",
                 qUtf8Printable(QFileInfo(path).fileName()), bytes ? "" : " (too large)");
        unreadableFiles().insert(path);
        return StateFiles::ReadResult::unreadable;
    }
    unreadableFiles().remove(path);
    into = std::move(*decoded);
    return StateFiles::ReadResult::loaded;
}

QString errnoReason(int error)
{
    switch (error) {
    case ENOSPC:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return QStringLiteral("the disk is full.");
    case EROFS: return QStringLiteral("the disk is read-only.");
    case EACCES:
    case EPERM: return QStringLiteral("Velora may not write in the library folder.");
    default: return QString::fromLocal8Bit(std::strerror(error)) + QLatin1Char('.');
    }
}

// Keeps an unreadable file beside itself under a new name before it is replaced: a hard link
// where the file system has them (instant, whatever the size), else a copy.
bool keepUnreadable(const QString& path, const QString& target)
{
    if (!unreadableFiles().contains(path)) return true;
    struct stat st {};
    const QByteArray targetName = Files::encodeName(target);
    if (::lstat(targetName.constData(), &st) != 0 || (S_ISREG(st.st_mode) && st.st_size == 0)) {
        unreadableFiles().remove(path); // gone, or empty: nothing worth keeping
        return true;
    }
    const QFileInfo info(target);
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString copy = info.dir().filePath(info.completeBaseName() + QStringLiteral(".unreadable-") + stamp
                                             + QStringLiteral(".json"));
    if (::link(targetName.constData(), Files::encodeName(copy).constData()) != 0 && !QFile::copy(target, copy))
        return false;
    unreadableFiles().remove(path);
    keptCopy() = copy;
    qWarning("Velora couldn’t read %s; it was kept as %s.", qUtf8Printable(info.fileName()),
             qUtf8Printable(QFileInfo(copy).fileName()));
    return true;
}

bool fail(QString* reason, const QString& text)
{
    if (reason) *reason = text;
    return false;
}

// Writes beside the file and renames over it once complete and on disk. The file is replaced
// where it is, through a link only when the link stays inside the library folder; a link that
// leaves it is replaced itself, so nothing outside the folder is ever written.
bool writeAtomically(const QString& path, const QByteArray& bytes, QString* reason)
{
    Storage::prepare();
    const QString name = QFileInfo(path).fileName();
    char resolved[PATH_MAX];
    if (!::realpath(Files::encodeName(QFileInfo(path).path()).constData(), resolved))
        return fail(reason, QStringLiteral("the library folder can’t be created."));
    const QString folder = Files::decodeName(resolved);
    QString target = folder + QLatin1Char('/') + name;
    struct stat st {};
    if (::lstat(Files::encodeName(target).constData(), &st) == 0 && S_ISLNK(st.st_mode)) {
        if (::realpath(Files::encodeName(target).constData(), resolved)) {
            const QString inside = Files::decodeName(resolved);
            if (inside.startsWith(folder + QLatin1Char('/')) && Files::kindOfEntry(inside) == Files::Kind::file)
                target = inside;
        }
    }
    const QByteArray targetName = Files::encodeName(target);
    if (::lstat(targetName.constData(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) return fail(reason, name + QStringLiteral(" is a folder, not a file."));
        if (S_ISREG(st.st_mode) && !(st.st_mode & S_IWUSR)) return fail(reason, name + QStringLiteral(" is read-only."));
    }
    if (!keepUnreadable(path, target))
        return fail(reason, QStringLiteral("a copy of the unreadable ") + name + QStringLiteral(" couldn’t be kept."));

    const qsizetype slash = target.lastIndexOf(QLatin1Char('/'));
    const QByteArray part = Files::encodeName(target.left(slash + 1) + QLatin1Char('.') + target.mid(slash + 1) +
                                              QStringLiteral(".part"));
    const mode_t mode = S_ISREG(st.st_mode) ? (st.st_mode & 07777) : 0644;
    int fd = ::open(part.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode);
    if (fd < 0 && errno == ELOOP) { // a planted link is not followed, but removed
        ::unlink(part.constData());
        fd = ::open(part.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, mode);
    }
    if (fd < 0) return fail(reason, errnoReason(errno));
    qsizetype done = 0;
    errno = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + done, size_t(bytes.size() - done));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += n;
    }
    const int writeError = done == bytes.size() ? 0 : (errno ? errno : EIO);
    const bool synced = writeError == 0 && ::fsync(fd) == 0;
    const int syncError = errno;
    ::close(fd);
    if (!synced || ::rename(part.constData(), targetName.constData()) != 0) {
        const int error = writeError ? writeError : (!synced ? syncError : errno);
        ::unlink(part.constData());
        return fail(reason, errnoReason(error));
    }
    return true;
}
} // namespace

QString Storage::defaultRoot()
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation))
        .filePath(QStringLiteral("Velora"));
}

QString Storage::root() { return rootOverride().value_or(defaultRoot()); }

void Storage::setRoot(const QString& path)
{
    rootOverride() = path;
    unreadableFiles().clear();
}

QString Storage::photosDir() { return QDir(root()).filePath(QStringLiteral("Photos")); }
QString Storage::libraryFile() { return QDir(root()).filePath(QStringLiteral("library.json")); }
QString Storage::piecesFile() { return QDir(root()).filePath(QStringLiteral("pieces.json")); }

void Storage::prepare() { QDir().mkpath(photosDir()); }

bool Storage::isPlainFileName(const QString& name)
{
    if (name.isEmpty() || name == QStringLiteral(".") || name == QStringLiteral("..")) return false;
    for (const QChar c : name)
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c == QChar(0) || c == QLatin1Char(':'))
            return false;
    return true;
}

std::optional<QString> Storage::photoPath(const QString& name)
{
    if (!isPlainFileName(name)) return std::nullopt;
    return QDir(photosDir()).filePath(name);
}

QByteArray StateFiles::encode(const QList<Photo>& photos) { return encodeArray(photos); }
QByteArray StateFiles::encode(const QList<Piece>& pieces) { return encodeArray(pieces); }

std::optional<QList<Photo>> StateFiles::decodePhotos(const QByteArray& bytes)
{
    return decodeArray<Photo>(bytes, &Json::decodePhoto);
}

std::optional<QList<Piece>> StateFiles::decodePieces(const QByteArray& bytes)
{
    return decodeArray<Piece>(bytes, &Json::decodePiece);
}

StateFiles::ReadResult StateFiles::readPhotos(QList<Photo>& photos)
{
    return readFile<Photo>(Storage::libraryFile(), photos, &Json::decodePhoto);
}

StateFiles::ReadResult StateFiles::readPieces(QList<Piece>& pieces)
{
    return readFile<Piece>(Storage::piecesFile(), pieces, &Json::decodePiece);
}

bool StateFiles::writePhotos(const QList<Photo>& photos, QString* reason)
{
    return writeAtomically(Storage::libraryFile(), encode(photos), reason);
}

bool StateFiles::writePieces(const QList<Piece>& pieces, QString* reason)
{
    return writeAtomically(Storage::piecesFile(), encode(pieces), reason);
}

QString StateFiles::lastKeptCopy() { return keptCopy(); }

} // namespace velora
