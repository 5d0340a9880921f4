#pragma once
// The tray icon and its menu, made of the shared tray actions: shown exactly while the setting
// "showMenuBarIcon" is true and the desktop has a tray; a tray that starts later is waited for.
// A left click opens the manager window.
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <memory>

class QMenu;

namespace velora {

class Actions;
class Settings;
class TrayHost;

class Tray : public QObject {
    Q_OBJECT
public:
    Tray(Settings& settings, Actions& actions, QObject* parent = nullptr);
    ~Tray() override;

    // The tray's items in order, into any menu.
    static void fill(QMenu& menu, Actions& actions);

    // Follows the setting and the desktop's tray from now on.
    void start();

    QMenu* menu() const { return m_menu.get(); }
    // None until a tray is there and the setting wants the icon.
    QSystemTrayIcon* icon() const { return m_icon; }
    bool shown() const;

private:
    void follow();

    Settings& m_settings;
    Actions& m_actions;
    std::unique_ptr<QMenu> m_menu;
    TrayHost* m_host = nullptr;
    QPointer<QSystemTrayIcon> m_icon;
};

} // namespace velora
