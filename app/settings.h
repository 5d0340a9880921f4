#pragma once
// Every user setting Velora keeps, typed, over one QSettings store. A value of the wrong type under
// a Boolean key reads as absent, so the default applies; "allHidden" is the one plain read.
#include "frames.h"

#include <QByteArray>
#include <QObject>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>



namespace velora {

class Settings : public QObject {
    Q_OBJECT
public:
    // The keys, as stored.
    static inline const QString showMenuBarIconKey = QStringLiteral("showMenuBarIcon");
    static inline const QString openManagerAtLaunchKey = QStringLiteral("openManagerAtLaunch");
    static inline const QString snapToGridKey = QStringLiteral("snapToGrid");
    static inline const QString defaultFrameKey = QStringLiteral("defaultFrame");
    static inline const QString allHiddenKey = QStringLiteral("allHidden");
    static inline const QString managerGeometryKey = QStringLiteral("VeloraManager");

    // Over the application's own settings (organisation and application name of the process).
    explicit Settings(QObject* parent = nullptr);
    // Over a given store, e.g. the demo library's own scope or a file in a test.
    explicit Settings(std::unique_ptr<QSettings> store, QObject* parent = nullptr);
    ~Settings() override;

    // The process-wide settings; made on first use unless installed before.
    static Settings& shared();
    // Replaces the process-wide store (the demo and snapshot runs keep theirs apart from the user's).
    static void installShared(std::unique_ptr<QSettings> store);
    // A store in the user's settings folder under another application name, e.g. "Velora Demo".
    static std::unique_ptr<QSettings> scope(const QString& application);
    // A store in an INI file of its own.
    static std::unique_ptr<QSettings> file(const QString& path);

    bool showMenuBarIcon() const;
    void setShowMenuBarIcon(bool show);

    // The raw Boolean, or nothing when absent or not a Boolean.
    std::optional<bool> openManagerAtLaunch() const;
    void setOpenManagerAtLaunch(bool open);
    // Whether the manager window opens at launch: unless the setting is false, and then still
    // in snapshot mode or while there are no pieces at all.
    static bool opensManagerAtLaunch(std::optional<bool> setting, bool snapshotMode, bool hasPieces);

    bool snapToGrid() const;
    void setSnapToGrid(bool snap);

    // gallery when unset or naming no style.
    FrameStyle defaultFrame() const;
    void setDefaultFrame(FrameStyle style);

    // The plain read: absent or unreadable gives false.
    bool allHidden() const;
    void setAllHidden(bool hidden);

    QByteArray managerGeometry() const;
    void setManagerGeometry(const QByteArray& geometry);

    // Writes pending changes to disk; false when the store cannot be written.
    bool sync();
    QSettings& store() const { return *m_store; }

    // The Boolean read rule on one value. Text-only formats (INI files, the native format off
    // Apple) keep a Boolean as the word true or false, so there exactly those words count.
    static std::optional<bool> boolValue(const QVariant& value, bool textOnlyFormat);

signals:
    void showMenuBarIconChanged(bool show);
    void openManagerAtLaunchChanged(bool open);
    void snapToGridChanged(bool snap);
    void defaultFrameChanged(velora::FrameStyle style);
    void allHiddenChanged(bool hidden);

private:
    std::optional<bool> readBool(const QString& key) const;
    bool textOnly() const;

    std::unique_ptr<QSettings> m_store;
};

} // namespace velora
