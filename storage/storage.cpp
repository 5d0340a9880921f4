#include "storage.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>

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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        // A file that exists but can't be opened must not be overwritten blindly either.
        if (QFileInfo::exists(path)) {
            unreadableFiles().insert(path);
            return StateFiles::ReadResult::unreadable;
        }
        return StateFiles::ReadResult::missing;
    }
    auto decoded = decodeArray<Record>(file.readAll(), decode);
    if (!decoded) {
        qWarning("Velora couldn’t read %s and starts without it; a copy is kept before it is replaced.",
                 qUtf8Printable(QFileInfo(path).fileName()));
        unreadableFiles().insert(path);
        return StateFiles::ReadResult::unreadable;
    }
    unreadableFiles().remove(path);
    into = std::move(*decoded);
    return StateFiles::ReadResult::loaded;
}

void keepUnreadable(const QString& path)
{
    if (!unreadableFiles().contains(path)) return;
    const QFileInfo info(path);
    if (info.exists() && info.size() == 0) {
        unreadableFiles().remove(path); // an empty file holds nothing worth keeping
        return;
    }
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QString copy = info.dir().filePath(info.completeBaseName() + QStringLiteral(".unreadable-") + stamp
                                             + QStringLiteral(".json"));
    if (!QFileInfo::exists(path) || QFile::copy(path, copy)) {
        unreadableFiles().remove(path);
        if (QFileInfo::exists(copy)) {
            keptCopy() = copy;
            qWarning("Velora couldn’t read %s; it was kept as %s.", qUtf8Printable(info.fileName()),
                     qUtf8Printable(QFileInfo(copy).fileName()));
        }
    }
}

bool writeAtomically(const QString& path, const QByteArray& bytes)
{
    Storage::prepare();
    keepUnreadable(path);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) return false;
    if (file.write(bytes) != bytes.size()) {
        file.cancelWriting();
        return false;
    }
    return file.commit();
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

bool StateFiles::writePhotos(const QList<Photo>& photos)
{
    return writeAtomically(Storage::libraryFile(), encode(photos));
}

bool StateFiles::writePieces(const QList<Piece>& pieces)
{
    return writeAtomically(Storage::piecesFile(), encode(pieces));
}

QString StateFiles::lastKeptCopy() { return keptCopy(); }

} // namespace velora
