#include "application.h"

#include "actions.h"
#include "desktop_controller.h"
#include "displays.h"
#include "edits.h"
#include "icons.h"
#include "manager_window.h"
#include "models.h"
#include "previews.h"
#include "settings.h"
#include "studio.h"
#include "tray.h"
#include "update_checker.h"

#include <QApplication>
#include <QScreen>
#include <QTimer>

namespace velora {

namespace {

// The display a piece is on, by name, for its status line: only worth saying with several.
QString displayName(const Piece& piece)
{
    if (QGuiApplication::screens().size() < 2) return {};
    const QScreen* screen = Displays::screen(piece.displayID);
    if (!screen) return {};
    return screen->model().isEmpty() ? screen->name() : screen->model();
}

} // namespace

Application::Application(Mode mode, Studio& studio, DesktopController& desktop, QObject* parent)
    : QObject(parent)
    , m_mode(mode)
    , m_studio(studio)
    , m_desktop(desktop)
    , m_edits(std::make_unique<Edits>(studio))
    , m_actions(std::make_unique<Actions>(studio, *m_edits))
    , m_pieces(std::make_unique<PieceListModel>(studio))
    , m_photos(std::make_unique<PhotoListModel>(studio))
    , m_previews(std::make_unique<Previews>())
    , m_context{studio, studio.settings(), *m_edits, *m_actions, *m_pieces, *m_photos, *m_previews, desktop.screens()}
    , m_manager(std::make_unique<ManagerWindow>(m_context))
    , m_tray(std::make_unique<Tray>(m_context.settings, *m_actions))
    , m_updates(std::make_unique<UpdateChecker>())
{
    if (mode != Mode::snapshot) m_pieces->setDisplayNamer(displayName);

    connect(m_actions.get(), &Actions::windowRequested, this, [this] { m_manager->show(); });
    connect(m_actions.get(), &Actions::settingsRequested, this, [this] { showSettings(SettingsWindow::Tab::general); });
    connect(m_actions.get(), &Actions::aboutRequested, this, [this] { showSettings(SettingsWindow::Tab::about); });
    connect(m_actions.get(), &Actions::updateCheckRequested, this, [this] { m_updates->check(true); });
    connect(m_actions.get(), &Actions::editorRequested, this, [this](const QUuid& id) { m_manager->openEditor(id); });
    connect(m_actions.get(), &Actions::quitRequested, qApp, &QCoreApplication::quit, Qt::QueuedConnection);

    m_desktop.setEditorOpener([this](const QUuid& id) { m_manager->openEditor(id); });
    m_desktop.setEditRecorder([this](const QString& text, const std::function<void()>& change) { m_edits->record(text, change); });
    m_desktop.start();

    // Saving fails: the window says so; while it is closed, the tray does.
    connect(&studio, &Studio::saveErrorChanged, this, [this] {
        const auto error = m_studio.saveError();
        ManagerMainWindow* window = m_manager->window();
        if (!error || (window && window->isVisible())) return;
        if (QSystemTrayIcon* icon = m_tray->icon()) icon->showMessage(QStringLiteral("Velora"), *error, QSystemTrayIcon::Warning);
    });
}

Application::~Application()
{
    m_desktop.setEditorOpener({});
    m_desktop.setEditRecorder({});
}

bool Application::opensManagerAtLaunch() const
{
    return Settings::opensManagerAtLaunch(m_context.settings.openManagerAtLaunch(), m_mode == Mode::snapshot,
                                          !m_studio.pieces().isEmpty());
}

void Application::importAsPiece(const QStringList& paths) { m_actions->importAsPiece(paths); }

void Application::handle(const SingleInstance::Request& request)
{
    m_manager->show(request.token);
    importAsPiece(request.paths);
}

void Application::startTray() { m_tray->start(); }

SettingsWindow& Application::settingsWindow()
{
    if (!m_settingsWindow) m_settingsWindow = std::make_unique<SettingsWindow>(m_context);
    return *m_settingsWindow;
}

void Application::showSettings(SettingsWindow::Tab tab) { settingsWindow().present(tab); }

void Application::checkForUpdatesAtLaunch()
{
    if (m_mode == Mode::snapshot) return;
    QTimer::singleShot(0, m_updates.get(), [this] { m_updates->check(false); });
}

} // namespace velora
