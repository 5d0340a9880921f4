#pragma once
// Records and files made at test time, shared by the suites that link the model.
#include "records.h"

#include <QFile>

namespace velora::testing {

// A photo record whose file names follow its id; the files themselves are not written.
inline Photo makePhoto(qint64 width = 300, qint64 height = 200, const QString& title = {})
{
    Photo p;
    p.id = QUuid::createUuid();
    p.title = title;
    p.fileName = uuidText(p.id) + ".jpg";
    p.thumbName = uuidText(p.id) + "-s.jpg";
    p.pixelWidth = width;
    p.pixelHeight = height;
    p.added = Timestamp::now();
    return p;
}

inline QList<QUuid> newIDs(int n)
{
    QList<QUuid> out;
    for (int i = 0; i < n; ++i) out.append(QUuid::createUuid());
    return out;
}

inline QList<QUuid> idsOf(const QList<Photo>& photos)
{
    QList<QUuid> out;
    for (const Photo& p : photos) out.append(p.id);
    return out;
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

} // namespace velora::testing
