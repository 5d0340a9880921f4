#pragma once
// The one folder Velora owns, and its two state files.
#include "records.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

namespace velora {

namespace Storage {

// Default: the per-user data location plus "Velora". Reading or setting it creates nothing.
QString root();
void setRoot(const QString& path);
QString defaultRoot();

QString photosDir();
QString libraryFile();
QString piecesFile();

// Creates <root>/Photos with any missing parents; failures are swallowed.
void prepare();

// A record's file name is used only when it is a plain name: no separators, not "." or "..",
// not empty, no NUL. Anything else never reaches the file system.
bool isPlainFileName(const QString& name);
// <root>/Photos/<name>, or nothing for a name that is not plain.
std::optional<QString> photoPath(const QString& name);

} // namespace Storage

namespace StateFiles {

QByteArray encode(const QList<Photo>& photos);
QByteArray encode(const QList<Piece>& pieces);
// Nothing when the bytes are not a JSON array of records that all decode.
std::optional<QList<Photo>> decodePhotos(const QByteArray& bytes);
std::optional<QList<Piece>> decodePieces(const QByteArray& bytes);

enum class ReadResult { loaded, missing, unreadable };

// A state file larger than this is unreadable without being read: 100 000 pieces take about a
// third of it.
inline constexpr qint64 maxFileBytes = qint64(128) << 20;

// The collection is replaced only when the file decodes; otherwise it is left as it was. Only a
// regular file (after links) is read.
ReadResult readPhotos(QList<Photo>& photos);
ReadResult readPieces(QList<Piece>& pieces);

// Atomic writes: a ".<name>.part" beside the file, flushed, then renamed over it. A file that
// could not be read at load time is kept aside once ("<name>.unreadable-<time>.json") before it is
// replaced, so nothing the user had is lost. A read-only file or a folder in its place is left as
// it is. A link is written through only when it stays inside the library folder; one that leaves
// it is replaced by the file. On failure, `reason` gets a short sentence for the user.
bool writePhotos(const QList<Photo>& photos, QString* reason = nullptr);
bool writePieces(const QList<Piece>& pieces, QString* reason = nullptr);

// Where an unreadable file was kept, if it was (for a message).
QString lastKeptCopy();

} // namespace StateFiles

} // namespace velora
