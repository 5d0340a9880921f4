#pragma once
// Everything a running Velora is made of, made and wired once: the settings, the state, the undo
// steps, the shared actions, the models, the desktop, the manager window and the tray.
#include "app_context.h"
#include "single_instance.h"

#include "settings_window.h"

#include <QObject>
#include <QPointer>

#include <memory>

namespace velora {

class Actions;
class DesktopController;
class Edits;
class ManagerWindow;
class PhotoListModel;
class PieceListModel;
class Previews;
class Tray;
class UpdateChecker;

class Application : public QObject {
    Q_OBJECT
public:
    enum class Mode { normal, demo, snapshot };

    // The Studio must be loaded; the desktop starts here.
    Application(Mode mode, Studio& studio, DesktopController& desktop, QObject* parent = nullptr);
    ~Application() override;

    AppContext& context() { return m_context; }
    ManagerWindow& manager() { return *m_manager; }
    Actions& actions() { return *m_actions; }
    Edits& edits() { return *m_edits; }
    Mode mode() const { return m_mode; }

    // The launch rule: whether the window opens now.
    bool opensManagerAtLaunch() const;
    // Photos named on the command line or by a later launch: added, then one new piece of them.
    void importAsPiece(const QStringList& paths);
    // What a later launch asked for.
    void handle(const SingleInstance::Request& request);

    // The tray icon and its menu; startTray() shows it where the desktop has a tray.
    Tray& tray() { return *m_tray; }
    void startTray();

    // Built on first use and kept.
    SettingsWindow& settingsWindow();
    void showSettings(SettingsWindow::Tab tab);

    UpdateChecker& updates() { return *m_updates; }
    // The silent check, once start-up is over; never in snapshot mode.
    void checkForUpdatesAtLaunch();

private:
    Mode m_mode;
    Studio& m_studio;
    DesktopController& m_desktop;
    std::unique_ptr<Edits> m_edits;
    std::unique_ptr<Actions> m_actions;
    std::unique_ptr<PieceListModel> m_pieces;
    std::unique_ptr<PhotoListModel> m_photos;
    std::unique_ptr<Previews> m_previews;
    AppContext m_context;
    std::unique_ptr<ManagerWindow> m_manager;
    std::unique_ptr<Tray> m_tray;
    std::unique_ptr<SettingsWindow> m_settingsWindow;
    std::unique_ptr<UpdateChecker> m_updates;
};

} // namespace velora
