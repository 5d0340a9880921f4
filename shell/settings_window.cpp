#include "settings_window.h"

#include "actions.h"
#include "app_context.h"
#include "file_manager.h"
#include "icons.h"
#include "login_item.h"
#include "settings.h"
#include "storage.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"
#include "update_checker.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QCursor>
#include <QGuiApplication>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QVBoxLayout>

namespace velora {

namespace {

QFont scaled(QFont font, qreal factor, bool bold = false)
{
    font.setPointSizeF(font.pointSizeF() * factor);
    font.setBold(bold);
    return font;
}

void setChecked(QCheckBox* box, bool checked)
{
    const QSignalBlocker quiet(box);
    box->setChecked(checked);
}

} // namespace

SettingsWindow::SettingsWindow(AppContext& app, QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_app(app)
{
    setObjectName(QStringLiteral("VeloraSettings"));
    setWindowTitle(tr("Velora Settings"));
    setWindowIcon(Icons::appIcon());
    setAttribute(Qt::WA_QuitOnClose, false);
    setFixedSize(fixedSize);

    auto* layout = new QVBoxLayout(this);
    m_tabs = new QTabWidget(this);
    m_tabs->setDocumentMode(true);
    m_tabs->addTab(makeGeneral(), QIcon::fromTheme(QStringLiteral("preferences-system")), tr("General"));
    m_tabs->addTab(makeAbout(), QIcon::fromTheme(QStringLiteral("help-about")), tr("About"));
    layout->addWidget(m_tabs);

    for (const QKeySequence& key : {QKeySequence(QKeySequence::Close), QKeySequence(Qt::Key_Escape)})
        connect(new QShortcut(key, this), &QShortcut::activated, this, &QWidget::close);

    Settings& s = m_app.settings;
    for (auto changed : {&Settings::showMenuBarIconChanged, &Settings::openManagerAtLaunchChanged, &Settings::snapToGridChanged})
        connect(&s, changed, this, &SettingsWindow::refreshSettings);
    connect(&s, &Settings::defaultFrameChanged, this, &SettingsWindow::refreshSettings);
    connect(&m_app.studio, &Studio::photosChanged, this, &SettingsWindow::refreshCount);
    refreshSettings();
    refreshCount();
    readLoginItem();
}

QWidget* SettingsWindow::makeGeneral()
{
    auto* scroll = new QScrollArea;
    scroll->setObjectName(QStringLiteral("general"));
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* page = new QWidget;
    auto* column = new QVBoxLayout(page);
    column->setSpacing(6);

    // How Velora starts.
    auto* start = new QGroupBox(page);
    auto* startRows = new QVBoxLayout(start);
    m_login = new QCheckBox(tr("Start Velora when you log in"), start);
    m_loginError = new QLabel(start);
    m_loginError->setObjectName(QStringLiteral("loginError"));
    m_loginError->setWordWrap(true);
    m_loginError->setFont(scaled(font(), 0.85));
    QPalette red = m_loginError->palette();
    red.setColor(QPalette::WindowText, QColor(0xd9, 0x36, 0x2b));
    m_loginError->setPalette(red);
    m_loginError->hide();
    m_openAtLaunch = new QCheckBox(tr("Open the Velora window at launch"), start);
#ifdef Q_OS_MACOS
    m_tray = new QCheckBox(tr("Show Velora in the menu bar"), start);
#else
    m_tray = new QCheckBox(tr("Show Velora in the system tray"), start);
#endif
    for (QWidget* w : std::initializer_list<QWidget*>{m_login, m_loginError, m_openAtLaunch, m_tray}) startRows->addWidget(w);
    column->addWidget(start);
    auto* footer = new QLabel(tr("Your pieces come back in the same spots on each display after a restart."), page);
    footer->setWordWrap(true);
    footer->setFont(scaled(font(), 0.85));
    QPalette dim = footer->palette();
    dim.setColor(QPalette::WindowText, Theme::secondary(dim));
    footer->setPalette(dim);
    footer->setContentsMargins(8, 0, 8, 6);
    column->addWidget(footer);

    auto* desktop = new QGroupBox(tr("On the desktop"), page);
    auto* desktopRows = new QFormLayout(desktop);
    m_snap = new QCheckBox(tr("Snap pieces to a soft grid"), desktop);
    desktopRows->addRow(m_snap);
    m_frame = new QComboBox(desktop);
    for (const FrameStyle style : allFrameStyles) m_frame->addItem(Texts::title(style));
    desktopRows->addRow(tr("Frame for new pieces"), m_frame);
    column->addWidget(desktop);

    auto* storage = new QGroupBox(tr("Storage"), page);
    auto* storageRows = new QFormLayout(storage);
    m_count = new QLabel(storage);
    m_count->setObjectName(QStringLiteral("libraryCount"));
    m_count->setTextInteractionFlags(Qt::TextSelectableByMouse);
    storageRows->addRow(tr("Library"), m_count);
#ifdef Q_OS_MACOS
    m_reveal = new QPushButton(tr("Show Velora’s Folder in Finder"), storage);
#else
    m_reveal = new QPushButton(tr("Show Velora’s Folder in the File Manager"), storage);
#endif
    m_reveal->setIcon(QIcon::fromTheme(QStringLiteral("folder-open")));
    m_reveal->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    storageRows->addRow(QString(), m_reveal);
    column->addWidget(storage);
    column->addStretch(1);
    scroll->setWidget(page);

    connect(m_login, &QCheckBox::clicked, this, &SettingsWindow::changeLoginItem);
    connect(m_openAtLaunch, &QCheckBox::clicked, &m_app.settings, &Settings::setOpenManagerAtLaunch);
    connect(m_tray, &QCheckBox::clicked, &m_app.settings, &Settings::setShowMenuBarIcon);
    connect(m_snap, &QCheckBox::clicked, &m_app.settings, &Settings::setSnapToGrid);
    connect(m_frame, &QComboBox::activated, this, [this](int i) {
        if (i >= 0 && i < int(allFrameStyles.size())) m_app.studio.setDefaultFrame(allFrameStyles[std::size_t(i)]);
    });
    connect(m_reveal, &QPushButton::clicked, this, [] { FileManager::showItem(Storage::root()); });
    return scroll;
}

QWidget* SettingsWindow::makeAbout()
{
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("about"));
    auto* column = new QVBoxLayout(page);
    column->setSpacing(10);
    column->addStretch(1);

    auto* icon = new QLabel(page);
    icon->setObjectName(QStringLiteral("aboutIcon"));
    icon->setFixedSize(76, 76);
    icon->setPixmap(Icons::appIcon().pixmap(QSize(76, 76), devicePixelRatioF()));
    icon->setAccessibleName(tr("Velora icon"));
    auto* name = new QLabel(QStringLiteral("Velora"), page);
    name->setFont(scaled(font(), 1.7, true));
    auto* version = new QLabel(tr("Version %1").arg(UpdateChecker::runningVersion()), page);
    version->setObjectName(QStringLiteral("aboutVersion"));
    QPalette dim = version->palette();
    dim.setColor(QPalette::WindowText, Theme::secondary(dim));
    version->setPalette(dim);
    auto* tagline = new QLabel(tr("Your photos, framed on the desktop."), page);
    tagline->setFont(scaled(font(), 1.05));
    m_update = new QPushButton(m_app.actions.checkForUpdates->text(), page);
    m_update->setObjectName(QStringLiteral("checkForUpdates"));
    connect(m_update, &QPushButton::clicked, m_app.actions.checkForUpdates, &QAction::trigger);

    for (QWidget* w : std::initializer_list<QWidget*>{icon, name, version, tagline}) column->addWidget(w, 0, Qt::AlignHCenter);
    column->addSpacing(6);
    column->addWidget(m_update, 0, Qt::AlignHCenter);
    column->addStretch(1);
    return page;
}

void SettingsWindow::present(Tab tab)
{
    m_tabs->setCurrentIndex(tab == Tab::about ? 1 : 0);
    if (!m_placed) {
        // First time: in the middle of the screen the pointer is on; then where the user left it.
        const QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
        if (!screen) screen = QGuiApplication::primaryScreen();
        if (screen) {
            QRect frame(QPoint(), size());
            frame.moveCenter(screen->availableGeometry().center());
            move(frame.topLeft());
        }
        m_placed = true;
    }
    show();
    raise();
    activateWindow();
}

void SettingsWindow::showEvent(QShowEvent* event)
{
    // The system may have changed the login item meanwhile; an old error no longer applies.
    m_loginError->clear();
    m_loginError->hide();
    readLoginItem();
    QWidget::showEvent(event);
}

void SettingsWindow::readLoginItem() { setChecked(m_login, LoginItem::enabled()); }

void SettingsWindow::changeLoginItem(bool on)
{
    const auto error = LoginItem::set(on);
    m_loginError->setText(error.value_or(QString()));
    m_loginError->setVisible(error.has_value());
    // Whatever was asked, the toggle shows what the system will do.
    readLoginItem();
}

void SettingsWindow::refreshSettings()
{
    const Settings& s = m_app.settings;
    setChecked(m_openAtLaunch, s.openManagerAtLaunch().value_or(true));
    setChecked(m_tray, s.showMenuBarIcon());
    setChecked(m_snap, s.snapToGrid());
    const auto at = std::find(allFrameStyles.begin(), allFrameStyles.end(), s.defaultFrame());
    const QSignalBlocker quiet(m_frame);
    m_frame->setCurrentIndex(int(at - allFrameStyles.begin()));
}

void SettingsWindow::refreshCount()
{
    // Deliberately not singular: "1 photos".
    m_count->setText(tr("%1 photos").arg(m_app.studio.photos().size()));
}

} // namespace velora
