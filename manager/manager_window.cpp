#include "manager_window.h"

#include "actions.h"
#include "app_context.h"
#include "desktop_window.h"
#include "edits.h"
#include "icons.h"
#include "inspector.h"
#include "library_page.h"
#include "photos_picker_sheet.h"
#include "pieces_page.h"
#include "settings.h"
#include "sidebar.h"
#include "studio.h"
#include "styles_page.h"
#include "theme.h"

#include <QAction>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QProgressBar>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <cmath>

namespace velora {

namespace {

QStringList localFiles(const QMimeData* mime)
{
    QStringList paths;
    if (!mime || !mime->hasUrls()) return paths;
    for (const QUrl& url : mime->urls())
        if (url.isLocalFile()) paths.append(url.toLocalFile());
    return paths;
}

} // namespace

// --- import banner ----------------------------------------------------------------------------

ImportBanner::ImportBanner(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("importBanner"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(24, 8, 16, 0);
    m_label = new QLabel(this);
    m_label->setObjectName(QStringLiteral("importText"));
    m_label->setWordWrap(true);
    m_progress = new QProgressBar(this);
    m_progress->setMaximumWidth(180);
    m_progress->setTextVisible(false);
    m_progress->setAccessibleName(tr("Import progress"));
    m_dismiss = new QToolButton(this);
    m_dismiss->setObjectName(QStringLiteral("dismissImport"));
    m_dismiss->setAutoRaise(true);
    m_dismiss->setIcon(Icons::icon(Glyph::dismiss));
    m_dismiss->setToolTip(tr("Dismiss"));
    m_dismiss->setAccessibleName(tr("Dismiss"));
    layout->addWidget(m_label, 1);
    layout->addWidget(m_progress);
    layout->addWidget(m_dismiss);
    connect(m_dismiss, &QToolButton::clicked, this, [this] { m_app.studio.setImportMessage(std::nullopt); });
    connect(&m_app.studio, &Studio::importingChanged, this, &ImportBanner::refresh);
    connect(&m_app.studio, &Studio::importProgressChanged, this, &ImportBanner::refresh);
    connect(&m_app.studio, &Studio::importMessageChanged, this, &ImportBanner::refresh);
    refresh();
}

QString ImportBanner::text() const { return isVisibleTo(parentWidget()) ? m_label->text() : QString(); }

void ImportBanner::refresh()
{
    const Studio& s = m_app.studio;
    if (s.importing()) {
        const auto [done, total] = s.importProgress();
        m_label->setText(total > 0 ? tr("Adding photos… %1 of %2").arg(done).arg(total) : tr("Adding photos…"));
        m_progress->setRange(0, int(std::max<qsizetype>(total, 0)));
        m_progress->setValue(int(done));
        m_progress->show();
        m_dismiss->hide();
        show();
    } else if (const auto message = s.importMessage()) {
        m_label->setText(*message);
        m_progress->hide();
        m_dismiss->show();
        show();
    } else {
        hide();
    }
}

// --- save error -------------------------------------------------------------------------------

SaveErrorBanner::SaveErrorBanner(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("saveError"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(24, 8, 16, 0);
    m_label = new QLabel(this);
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QPalette warn = m_label->palette();
    warn.setColor(QPalette::WindowText, QColor(0xc0, 0x39, 0x2b));
    m_label->setPalette(warn);
    layout->addWidget(m_label, 1);
    connect(&m_app.studio, &Studio::saveErrorChanged, this, &SaveErrorBanner::refresh);
    refresh();
}

QString SaveErrorBanner::text() const { return isVisibleTo(parentWidget()) ? m_label->text() : QString(); }

void SaveErrorBanner::refresh()
{
    const auto error = m_app.studio.saveError();
    m_label->setText(error.value_or(QString()));
    setVisible(error.has_value());
}

// --- inspector column -------------------------------------------------------------------------

InspectorColumn::InspectorColumn(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("inspectorColumn"));
    m_frame = new QWidget(this);
    auto* layout = new QHBoxLayout(m_frame);
    layout->setContentsMargins(1, 0, 0, 0); // the separator is painted in that pixel
    m_inspector = new Inspector(m_app, m_frame);
    layout->addWidget(m_inspector);
    m_frame->setFixedWidth(Inspector::width + 1);

    m_animation.setDuration(durationMs);
    m_animation.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) { apply(v.toReal()); });
    connect(&m_animation, &QVariantAnimation::finished, this, [this] {
        // The effect costs a layer per paint: only while moving.
        m_frame->setGraphicsEffect(nullptr);
        if (m_reveal == 0) hide();
    });
    connect(&m_app.studio, &Studio::showInspectorChanged, this, &InspectorColumn::follow);
    m_reveal = m_app.studio.showInspector() ? 1 : 0;
    apply(m_reveal);
    setVisible(m_reveal > 0);
}

void InspectorColumn::follow(bool show)
{
    const qreal target = show ? 1 : 0;
    if (m_reveal == target && !animating()) return;
    m_animation.stop();
    if (!isVisible()) QWidget::show();
    auto* fade = new QGraphicsOpacityEffect(m_frame);
    fade->setOpacity(m_reveal);
    m_frame->setGraphicsEffect(fade);
    m_animation.setStartValue(m_reveal);
    m_animation.setEndValue(target);
    m_animation.start();
}

void InspectorColumn::apply(qreal reveal)
{
    m_reveal = reveal;
    setFixedWidth(int(std::round((Inspector::width + 1) * reveal)));
    if (auto* fade = qobject_cast<QGraphicsOpacityEffect*>(m_frame->graphicsEffect())) fade->setOpacity(reveal);
    if (auto* window = qobject_cast<ManagerMainWindow*>(this->window())) window->fitContent();
}

void InspectorColumn::resizeEvent(QResizeEvent*) { m_frame->setGeometry(0, 0, m_frame->width(), height()); }

void InspectorColumn::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(QRect(0, 0, 1, height()), Theme::cardBorder(palette()));
}

// --- view -------------------------------------------------------------------------------------

ManagerView::ManagerView(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("managerView"));
    setAcceptDrops(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    m_split = new QSplitter(Qt::Horizontal, this);
    m_split->setChildrenCollapsible(false);
    m_split->setHandleWidth(1);
    m_sidebar = new Sidebar(m_app, m_split);
    m_split->addWidget(m_sidebar);

    auto* detail = new QWidget(m_split);
    detail->setObjectName(QStringLiteral("detail"));
    auto* row = new QHBoxLayout(detail);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    auto* column = new QVBoxLayout;
    column->setSpacing(0);
    m_saveError = new SaveErrorBanner(m_app, detail);
    column->addWidget(m_saveError);
    m_banner = new ImportBanner(m_app, detail);
    column->addWidget(m_banner);
    m_pages = new QStackedWidget(detail);
    m_pages->setMinimumWidth(420);
    m_pieces = new PiecesPage(m_app, m_pages);
    m_library = new LibraryPage(m_app, m_pages);
    m_styles = new StylesPage(m_app, m_pages);
    m_pages->addWidget(m_pieces);
    m_pages->addWidget(m_library);
    m_pages->addWidget(m_styles);
    column->addWidget(m_pages, 1);
    row->addLayout(column, 1);
    m_inspector = new InspectorColumn(m_app, detail);
    row->addWidget(m_inspector);
    m_split->addWidget(detail);
    m_split->setStretchFactor(0, 0);
    m_split->setStretchFactor(1, 1);
    m_split->setSizes({Sidebar::idealWidth, ManagerMainWindow::initialSize.width() - Sidebar::idealWidth});
    layout->addWidget(m_split);

    connect(&m_app.studio, &Studio::pageChanged, this, &ManagerView::followPage);
    followPage();
}

QWidget* ManagerView::currentPage() const { return m_pages->currentWidget(); }

void ManagerView::followPage()
{
    QWidget* pages[] = {m_pieces, m_library, m_styles};
    m_pages->setCurrentWidget(pages[static_cast<int>(m_app.studio.page())]);
}

void ManagerView::dragEnterEvent(QDragEnterEvent* event)
{
    if (!localFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void ManagerView::dragMoveEvent(QDragMoveEvent* event)
{
    if (!localFiles(event->mimeData()).isEmpty()) event->acceptProposedAction();
}

void ManagerView::dropEvent(QDropEvent* event)
{
    const QStringList paths = localFiles(event->mimeData());
    if (paths.isEmpty()) return;
    event->acceptProposedAction();
    // Accepted at once; the import runs on.
    QMetaObject::invokeMethod(this, [this, paths] { dropFiles(paths); }, Qt::QueuedConnection);
}

void ManagerView::dropFiles(const QStringList& paths)
{
    Studio* studio = &m_app.studio;
    m_app.actions.importAsPiece(paths, [studio] { return studio->page() == Page::pieces; });
}

// --- main window ------------------------------------------------------------------------------

ManagerMainWindow::ManagerMainWindow(AppContext& app)
    : QMainWindow(nullptr)
    , m_app(app)
{
    setObjectName(QStringLiteral("VeloraManager"));
    setWindowTitle(QStringLiteral("Velora"));
    setWindowIcon(Icons::appIcon());
    setAttribute(Qt::WA_QuitOnClose, false);
    setUnifiedTitleAndToolBarOnMac(true);

    m_view = new ManagerView(m_app, this);
    setCentralWidget(m_view);

    auto* toolbar = addToolBar(tr("Toolbar"));
    toolbar->setObjectName(QStringLiteral("toolbar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->toggleViewAction()->setVisible(false);
    auto* spacer = new QWidget(toolbar);
    spacer->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    toolbar->addWidget(spacer);
    m_inspectorButton = new QToolButton(toolbar);
    m_inspectorButton->setObjectName(QStringLiteral("inspectorButton"));
    m_inspectorButton->setText(tr("Inspector"));
    m_inspectorButton->setIcon(Icons::icon(Glyph::inspector));
    m_inspectorButton->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_inspectorButton->setToolTip(
        tr("Show or hide the piece editor (%1)").arg(m_app.actions.showEditor->shortcut().toString(QKeySequence::NativeText)));
    m_inspectorButton->setCheckable(true);
    toolbar->addWidget(m_inspectorButton);
    QAction* editor = m_app.actions.showEditor;
    connect(m_inspectorButton, &QToolButton::clicked, editor, [this, editor] {
        editor->trigger();
        m_inspectorButton->setChecked(m_app.studio.showInspector());
    });
    const auto follow = [this, editor] {
        m_inspectorButton->setEnabled(editor->isEnabled());
        m_inspectorButton->setChecked(m_app.studio.showInspector());
    };
    connect(editor, &QAction::enabledChanged, this, follow);
    connect(&m_app.studio, &Studio::showInspectorChanged, this, follow);
    follow();

    buildMenus();

    // The photo-library sheet comes up over the window whenever the Studio asks for it.
    const auto presentPicker = [this] {
        if (m_app.studio.showPhotosPicker() && !PhotosPickerSheet::current() && isVisible())
            PhotosPickerSheet::present(this, m_app.studio);
    };
    connect(&m_app.studio, &Studio::showPhotosPickerChanged, this, presentPicker, Qt::QueuedConnection);
    m_presentPicker = presentPicker;

    setMinimumSize(smallestSize);
    m_saveGeometry.setSingleShot(true);
    m_saveGeometry.setInterval(400);
    connect(&m_saveGeometry, &QTimer::timeout, this, [this] { m_app.settings.setManagerGeometry(saveGeometry()); });

    const QByteArray saved = m_app.settings.managerGeometry();
    if (saved.isEmpty() || !restoreGeometry(saved)) {
        resize(initialSize);
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect frame(QPoint(), initialSize);
            frame.moveCenter(screen->availableGeometry().center());
            move(frame.topLeft());
        }
    }
}

void ManagerMainWindow::buildMenus()
{
    Actions& a = m_app.actions;
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->addActions({a.newPiece, a.addPhotos, a.importFromPhotos});
    file->addSeparator();
    file->addAction(a.openWindow);
    file->addSeparator();
    file->addAction(a.settings);
    file->addSeparator();
    file->addAction(a.quit);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->addActions({a.undo, a.redo});

    QMenu* piece = menuBar()->addMenu(tr("&Piece"));
    piece->addActions({a.hideAll, a.lockAll});
    piece->addSeparator();
    piece->addActions({a.duplicate, a.nextPhoto, a.showEditor, a.deletePiece});

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addActions(a.pages);

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->addActions({a.checkForUpdates, a.about});
}

void ManagerMainWindow::fitContent()
{
    // The page keeps its 420 points while the inspector opens: the window grows instead.
    if (!m_view) return;
    const int needed = std::max(smallestSize.width(), m_view->minimumSizeHint().width());
    if (minimumWidth() != needed) setMinimumWidth(needed);
    if (width() < needed) resize(needed, height());
}

void ManagerMainWindow::saveGeometrySoon() { m_saveGeometry.start(); }

void ManagerMainWindow::moveEvent(QMoveEvent* event)
{
    QMainWindow::moveEvent(event);
    if (isVisible()) saveGeometrySoon();
}

void ManagerMainWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    if (isVisible()) saveGeometrySoon();
}

void ManagerMainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    // Asked for while the window was closed (File › Import from Photos… opens it first).
    if (m_presentPicker) QMetaObject::invokeMethod(this, m_presentPicker, Qt::QueuedConnection);
}

void ManagerMainWindow::closeEvent(QCloseEvent* event)
{
    // Closing hides; the pieces stay on the desktop and the process goes on.
    m_saveGeometry.stop();
    m_app.settings.setManagerGeometry(saveGeometry());
    event->accept();
}

// --- holder -----------------------------------------------------------------------------------

ManagerWindow::ManagerWindow(AppContext& app, QObject* parent)
    : QObject(parent)
    , m_app(app)
{
}

ManagerWindow::~ManagerWindow() { delete m_window; }

void ManagerWindow::build()
{
    if (m_window) return;
    m_window = new ManagerMainWindow(m_app);
    ++m_builds;
    emit built(m_window);
}

void ManagerWindow::show(const QByteArray& activationToken)
{
    build();
    if (m_window->isMinimized()) m_window->showNormal();
    m_window->show();
    // Offscreen (tests, snapshots) there is nothing to raise or activate.
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) return;
    m_window->raise();
    m_window->activateWindow();
    Platform::activateWindow(m_window->windowHandle(), activationToken);
}

void ManagerWindow::openEditor(const QUuid& id, const QByteArray& activationToken)
{
    show(activationToken);
    m_app.studio.select(id);
}

} // namespace velora
