#include "settings.h"

#include <QCoreApplication>
#include <QSettings>

namespace velora {

namespace {
std::unique_ptr<Settings>& sharedSlot()
{
    static std::unique_ptr<Settings> instance;
    return instance;
}
} // namespace

Settings::Settings(QObject* parent)
    : Settings(std::make_unique<QSettings>(), parent)
{
}

Settings::Settings(std::unique_ptr<QSettings> store, QObject* parent)
    : QObject(parent)
    , m_store(std::move(store))
{
}

Settings::~Settings() = default;

Settings& Settings::shared()
{
    auto& slot = sharedSlot();
    if (!slot) slot = std::make_unique<Settings>();
    return *slot;
}

void Settings::installShared(std::unique_ptr<QSettings> store)
{
    sharedSlot() = std::make_unique<Settings>(std::move(store));
}

std::unique_ptr<QSettings> Settings::scope(const QString& application)
{
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QCoreApplication::organizationName(), application);
}

std::unique_ptr<QSettings> Settings::file(const QString& path)
{
    return std::make_unique<QSettings>(path, QSettings::IniFormat);
}

bool Settings::textOnly() const
{
    if (m_store->format() == QSettings::IniFormat) return true;
#if !defined(Q_OS_DARWIN) && !defined(Q_OS_WIN)
    // Elsewhere the native format is an INI file.
    if (m_store->format() == QSettings::NativeFormat) return true;
#endif
    return false;
}

std::optional<bool> Settings::boolValue(const QVariant& value, bool textOnlyFormat)
{
    if (value.typeId() == QMetaType::Bool) return value.toBool();
    if (textOnlyFormat && value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == QLatin1String("true")) return true;
        if (text == QLatin1String("false")) return false;
    }
    return std::nullopt;
}

std::optional<bool> Settings::readBool(const QString& key) const { return boolValue(m_store->value(key), textOnly()); }

bool Settings::showMenuBarIcon() const { return readBool(showMenuBarIconKey).value_or(true); }

void Settings::setShowMenuBarIcon(bool show)
{
    const bool was = showMenuBarIcon();
    m_store->setValue(showMenuBarIconKey, show);
    if (was != show) emit showMenuBarIconChanged(show);
}

std::optional<bool> Settings::openManagerAtLaunch() const { return readBool(openManagerAtLaunchKey); }

void Settings::setOpenManagerAtLaunch(bool open)
{
    const bool was = openManagerAtLaunch().value_or(true);
    m_store->setValue(openManagerAtLaunchKey, open);
    if (was != open) emit openManagerAtLaunchChanged(open);
}

bool Settings::opensManagerAtLaunch(std::optional<bool> setting, bool snapshotMode, bool hasPieces)
{
    if (setting.value_or(true)) return true;
    return snapshotMode || !hasPieces;
}

bool Settings::snapToGrid() const { return readBool(snapToGridKey).value_or(true); }

void Settings::setSnapToGrid(bool snap)
{
    const bool was = snapToGrid();
    m_store->setValue(snapToGridKey, snap);
    if (was != snap) emit snapToGridChanged(snap);
}

FrameStyle Settings::defaultFrame() const
{
    const QVariant stored = m_store->value(defaultFrameKey);
    if (stored.typeId() != QMetaType::QString && stored.typeId() != QMetaType::QByteArray) return FrameStyle::gallery;
    return frameStyleFromRaw(stored.toString().toStdString()).value_or(FrameStyle::gallery);
}

void Settings::setDefaultFrame(FrameStyle style)
{
    const FrameStyle was = defaultFrame();
    const std::string_view raw = rawValue(style);
    m_store->setValue(defaultFrameKey, QString::fromLatin1(raw.data(), qsizetype(raw.size())));
    if (was != style) emit defaultFrameChanged(style);
}

bool Settings::allHidden() const { return m_store->value(allHiddenKey, false).toBool(); }

void Settings::setAllHidden(bool hidden)
{
    const bool was = allHidden();
    m_store->setValue(allHiddenKey, hidden);
    if (was != hidden) emit allHiddenChanged(hidden);
}

QByteArray Settings::managerGeometry() const
{
    const QVariant stored = m_store->value(managerGeometryKey);
    return stored.typeId() == QMetaType::QByteArray ? stored.toByteArray() : QByteArray();
}

void Settings::setManagerGeometry(const QByteArray& geometry) { m_store->setValue(managerGeometryKey, geometry); }

bool Settings::sync()
{
    m_store->sync();
    return m_store->status() == QSettings::NoError;
}

} // namespace velora
