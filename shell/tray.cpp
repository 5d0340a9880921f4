#include "tray.h"

#include "actions.h"
#include "icons.h"
#include "settings.h"
#include "tray_host.h"

#include <QAction>
#include <QMenu>
#include <QSystemTrayIcon>

namespace velora {

Tray::Tray(Settings& settings, Actions& actions, QObject* parent)
    : QObject(parent)
    , m_settings(settings)
    , m_actions(actions)
    , m_menu(std::make_unique<QMenu>())
{
    fill(*m_menu, m_actions);
}

Tray::~Tray() { delete m_icon; }

void Tray::fill(QMenu& menu, Actions& a)
{
    menu.addActions({a.trayHideAll, a.trayLockAll});
    menu.addSeparator();
    menu.addActions({a.trayNewPiece, a.trayOpen});
    menu.addSeparator();
    menu.addAction(a.trayQuit);
}

void Tray::start()
{
    if (m_host) return;
    m_host = new TrayHost(this);
    connect(m_host, &TrayHost::appeared, this, &Tray::follow);
    connect(&m_settings, &Settings::showMenuBarIconChanged, this, &Tray::follow);
    follow();
}

bool Tray::shown() const { return m_icon && m_icon->isVisible(); }

void Tray::follow()
{
    const bool wanted = m_settings.showMenuBarIcon();
    if (!m_icon && wanted && m_host && m_host->present()) {
        m_icon = new QSystemTrayIcon(Icons::appIcon(), this);
        m_icon->setToolTip(QStringLiteral("Velora"));
        m_icon->setContextMenu(m_menu.get());
        connect(m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger) m_actions.trayOpen->trigger();
        });
    }
    if (m_icon) m_icon->setVisible(wanted);
}

} // namespace velora
