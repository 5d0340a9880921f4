#include "records.h"

#include <QDateTime>
#include <QJsonArray>
#include <QRandomGenerator>

#include "piece_geometry.h"

#include <climits>
#include <cmath>

namespace velora {

namespace {
// 2001-01-01 00:00:00 UTC in milliseconds since the Unix epoch.
constexpr qint64 referenceEpochMs = 978307200000LL;

QString fromView(std::string_view v) { return QString::fromUtf8(v.data(), qsizetype(v.size())); }

// A null value reads as a missing key, as optional keys are read on the other platform.
bool absent(const QJsonValue& v) { return v.isUndefined() || v.isNull(); }

std::optional<QString> readString(const QJsonObject& o, const char* key, bool& ok)
{
    const QJsonValue v = o.value(QLatin1StringView(key));
    if (absent(v)) return std::nullopt;
    if (!v.isString()) { ok = false; return std::nullopt; }
    return v.toString();
}

std::optional<bool> readBool(const QJsonObject& o, const char* key, bool& ok)
{
    const QJsonValue v = o.value(QLatin1StringView(key));
    if (absent(v)) return std::nullopt;
    if (!v.isBool()) { ok = false; return std::nullopt; }
    return v.toBool();
}

std::optional<double> readDouble(const QJsonObject& o, const char* key, bool& ok)
{
    const QJsonValue v = o.value(QLatin1StringView(key));
    if (absent(v)) return std::nullopt;
    if (!v.isDouble()) { ok = false; return std::nullopt; }
    return v.toDouble();
}

// Whole numbers only, within [lo, hi]; 3.0 counts, 3.5 and 1e300 don't.
std::optional<qint64> readInteger(const QJsonObject& o, const char* key, qint64 lo, qint64 hi, bool& ok)
{
    const QJsonValue v = o.value(QLatin1StringView(key));
    if (absent(v)) return std::nullopt;
    if (!v.isDouble()) { ok = false; return std::nullopt; }
    const double d = v.toDouble();
    const qint64 i = v.toInteger(0);
    if (!std::isfinite(d) || static_cast<double>(i) != d || i < lo || i > hi) {
        ok = false;
        return std::nullopt;
    }
    return i;
}

} // namespace

Timestamp Timestamp::now() { return fromMSecsSinceEpoch(QDateTime::currentMSecsSinceEpoch()); }

Timestamp Timestamp::fromMSecsSinceEpoch(qint64 ms)
{
    return {static_cast<double>(ms - referenceEpochMs) / 1000.0};
}

qint64 Timestamp::toMSecsSinceEpoch() const
{
    return referenceEpochMs + static_cast<qint64>(std::llround(sinceReference * 1000.0));
}

QString uuidText(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

std::optional<QUuid> uuidFromText(const QString& text)
{
    if (text.size() != 36) return std::nullopt;
    const QUuid id = QUuid::fromString(text);
    if (id.isNull() && text != QStringLiteral("00000000-0000-0000-0000-000000000000")) return std::nullopt;
    return id;
}

double Photo::aspect() const
{
    if (pixelHeight < 1) return 1.0;
    return static_cast<double>(pixelWidth) / static_cast<double>(pixelHeight);
}

Piece Piece::make(const QString& name, const QList<QUuid>& photoIDs)
{
    Piece p;
    p.id = QUuid::createUuid();
    p.name = name;
    p.photoIDs = photoIDs;
    p.seed = QRandomGenerator::system()->bounded(4294967295U) + 1U;
    p.created = Timestamp::now();
    return p;
}

QString rawValue(Page p)
{
    switch (p) {
    case Page::pieces: return QStringLiteral("pieces");
    case Page::library: return QStringLiteral("library");
    case Page::styles: return QStringLiteral("styles");
    }
    return {};
}

std::optional<Page> pageFromRaw(const QString& raw)
{
    for (Page p : allPages)
        if (rawValue(p) == raw) return p;
    return std::nullopt;
}

QString qRawValue(FrameStyle s) { return fromView(rawValue(s)); }
QString qRawValue(CollageLayout l) { return fromView(rawValue(l)); }

QJsonObject Json::encode(const Photo& p)
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), uuidText(p.id));
    o.insert(QStringLiteral("title"), p.title);
    o.insert(QStringLiteral("fileName"), p.fileName);
    o.insert(QStringLiteral("thumbName"), p.thumbName);
    if (p.originalPath) o.insert(QStringLiteral("originalPath"), *p.originalPath);
    if (p.photosIdentifier) o.insert(QStringLiteral("photosIdentifier"), *p.photosIdentifier);
    o.insert(QStringLiteral("pixelWidth"), p.pixelWidth);
    o.insert(QStringLiteral("pixelHeight"), p.pixelHeight);
    o.insert(QStringLiteral("caption"), p.caption);
    o.insert(QStringLiteral("added"), p.added.sinceReference);
    return o;
}

QJsonObject Json::encode(const Piece& p)
{
    QJsonObject o;
    o.insert(QStringLiteral("id"), uuidText(p.id));
    o.insert(QStringLiteral("name"), p.name);
    QJsonArray ids;
    for (const QUuid& id : p.photoIDs) ids.append(uuidText(id));
    o.insert(QStringLiteral("photoIDs"), ids);
    o.insert(QStringLiteral("layout"), qRawValue(p.layout));
    o.insert(QStringLiteral("frame"), qRawValue(p.frame));
    o.insert(QStringLiteral("vertical"), p.vertical);
    o.insert(QStringLiteral("width"), p.width);
    o.insert(QStringLiteral("tilt"), p.tilt);
    o.insert(QStringLiteral("caption"), p.caption);
    o.insert(QStringLiteral("rotateMinutes"), p.rotateMinutes);
    if (p.displayID) o.insert(QStringLiteral("displayID"), *p.displayID);
    QJsonObject placements;
    for (auto it = p.placements.cbegin(); it != p.placements.cend(); ++it)
        placements.insert(it.key(), QJsonArray{it.value().x, it.value().y});
    o.insert(QStringLiteral("placements"), placements);
    o.insert(QStringLiteral("isVisible"), p.isVisible);
    o.insert(QStringLiteral("isLocked"), p.isLocked);
    o.insert(QStringLiteral("seed"), static_cast<qint64>(p.seed));
    o.insert(QStringLiteral("created"), p.created.sinceReference);
    return o;
}

std::optional<Photo> Json::decodePhoto(const QJsonValue& value)
{
    if (!value.isObject()) return std::nullopt;
    const QJsonObject o = value.toObject();
    bool ok = true;
    Photo p;
    const auto id = readString(o, "id", ok);
    const auto title = readString(o, "title", ok);
    const auto fileName = readString(o, "fileName", ok);
    const auto thumbName = readString(o, "thumbName", ok);
    p.originalPath = readString(o, "originalPath", ok);
    p.photosIdentifier = readString(o, "photosIdentifier", ok);
    const auto w = readInteger(o, "pixelWidth", LLONG_MIN, LLONG_MAX, ok);
    const auto h = readInteger(o, "pixelHeight", LLONG_MIN, LLONG_MAX, ok);
    const auto caption = readString(o, "caption", ok);
    const auto added = readDouble(o, "added", ok);
    if (!ok || !id || !title || !fileName || !thumbName || !w || !h || !caption || !added) return std::nullopt;
    const auto uuid = uuidFromText(*id);
    if (!uuid) return std::nullopt;
    p.id = *uuid;
    p.title = *title;
    p.fileName = *fileName;
    p.thumbName = *thumbName;
    p.pixelWidth = *w;
    p.pixelHeight = *h;
    p.caption = *caption;
    p.added = {*added};
    return p;
}

std::optional<Piece> Json::decodePiece(const QJsonValue& value)
{
    if (!value.isObject()) return std::nullopt;
    const QJsonObject o = value.toObject();
    bool ok = true;
    Piece p;

    const auto id = readString(o, "id", ok);
    if (!ok || !id) return std::nullopt;
    const auto uuid = uuidFromText(*id);
    if (!uuid) return std::nullopt;
    p.id = *uuid;

    if (auto v = readString(o, "name", ok)) p.name = *v;

    const QJsonValue ids = o.value(QStringLiteral("photoIDs"));
    if (!absent(ids)) {
        if (!ids.isArray()) return std::nullopt;
        for (const QJsonValue& entry : ids.toArray()) {
            const auto photoID = entry.isString() ? uuidFromText(entry.toString()) : std::nullopt;
            if (!photoID) return std::nullopt;
            p.photoIDs.append(*photoID);
        }
    }

    if (auto v = readString(o, "layout", ok)) {
        const auto layout = collageLayoutFromRaw(v->toStdString());
        if (!layout) return std::nullopt;
        p.layout = *layout;
    }
    if (auto v = readString(o, "frame", ok)) {
        const auto frame = frameStyleFromRaw(v->toStdString());
        if (!frame) return std::nullopt;
        p.frame = *frame;
    }
    if (auto v = readBool(o, "vertical", ok)) p.vertical = *v;
    if (auto v = readDouble(o, "width", ok)) p.width = *v;
    if (auto v = readDouble(o, "tilt", ok)) p.tilt = *v;
    if (auto v = readString(o, "caption", ok)) p.caption = *v;
    if (auto v = readInteger(o, "rotateMinutes", LLONG_MIN, LLONG_MAX, ok)) p.rotateMinutes = *v;
    p.displayID = readString(o, "displayID", ok);

    const QJsonValue placements = o.value(QStringLiteral("placements"));
    if (!absent(placements)) {
        if (!placements.isObject()) return std::nullopt;
        const QJsonObject map = placements.toObject();
        for (auto it = map.begin(); it != map.end(); ++it) {
            const QJsonArray xy = it.value().toArray();
            if (!it.value().isArray() || xy.size() != 2 || !xy[0].isDouble() || !xy[1].isDouble())
                return std::nullopt;
            p.placements.insert(it.key(), {xy[0].toDouble(), xy[1].toDouble()});
        }
    }

    if (auto v = readBool(o, "isVisible", ok)) p.isVisible = *v;
    if (auto v = readBool(o, "isLocked", ok)) p.isLocked = *v;
    if (auto v = readInteger(o, "seed", 0, 4294967295LL, ok)) p.seed = static_cast<std::uint32_t>(*v);
    const auto created = readDouble(o, "created", ok);
    p.created = created ? Timestamp{*created} : Timestamp::now();

    if (!ok) return std::nullopt;
    return p;
}

} // namespace velora
