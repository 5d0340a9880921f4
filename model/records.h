#pragma once
// Photo, Piece and Page: everything the user owns, with their JSON form.
#include "frames.h"
#include "layout.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QUuid>

#include <array>
#include <cstdint>
#include <optional>

namespace velora {

// Seconds since 2001-01-01 00:00:00 UTC, kept as a double so files match across platforms.
struct Timestamp {
    double sinceReference = 0;

    static Timestamp now();
    static Timestamp fromMSecsSinceEpoch(qint64 ms);
    qint64 toMSecsSinceEpoch() const;
    friend bool operator==(const Timestamp&, const Timestamp&) = default;
};

// Upper-case canonical text, 36 characters: the form written to files and used for file names.
QString uuidText(const QUuid& id);
// Accepts the canonical 8-4-4-4-12 form in either case; anything else is rejected.
std::optional<QUuid> uuidFromText(const QString& text);

struct Photo {
    QUuid id;
    QString title;
    QString fileName;
    QString thumbName;
    std::optional<QString> originalPath;
    std::optional<QString> photosIdentifier;
    qint64 pixelWidth = 0;
    qint64 pixelHeight = 0;
    QString caption;
    Timestamp added;

    // Width over height, with anything without height read as square.
    double aspect() const;

    friend bool operator==(const Photo&, const Photo&) = default;
};

struct Piece {
    QUuid id;
    QString name = QStringLiteral("Piece");
    QList<QUuid> photoIDs;
    CollageLayout layout = CollageLayout::single;
    FrameStyle frame = FrameStyle::gallery;
    bool vertical = false;
    double width = 300;
    double tilt = 0;
    QString caption;
    qint64 rotateMinutes = 0;
    std::optional<QString> displayID;
    QMap<QString, Point> placements;
    bool isVisible = true;
    bool isLocked = false;
    std::uint32_t seed = 1;
    Timestamp created;

    // A new piece with the creation defaults: fresh id, random seed in 1...4294967295, created now.
    static Piece make(const QString& name, const QList<QUuid>& photoIDs);

    friend bool operator==(const Piece&, const Piece&) = default;
};

enum class Page { pieces, library, styles };
inline constexpr std::array<Page, 3> allPages = {Page::pieces, Page::library, Page::styles};
QString rawValue(Page);
std::optional<Page> pageFromRaw(const QString& raw);

// Qt-string forms of the kit's raw values.
QString qRawValue(FrameStyle);
QString qRawValue(CollageLayout);

namespace Json {
QJsonObject encode(const Photo&);
QJsonObject encode(const Piece&);
// Decoding errors (missing required keys, wrong types, unknown layout or frame) give nothing.
std::optional<Photo> decodePhoto(const QJsonValue&);
std::optional<Piece> decodePiece(const QJsonValue&);
} // namespace Json

} // namespace velora
