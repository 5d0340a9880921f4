#pragma once
// Velora's one ordinary window: the sidebar, the current page and, on demand, the inspector
// column. Built on first show and kept for the life of the process; closing it only hides it.
#include <QByteArray>
#include <QMainWindow>
#include <QPointer>
#include <QTimer>
#include <QVariantAnimation>

#include <functional>

class QLabel;
class QProgressBar;
class QSplitter;
class QStackedWidget;
class QToolButton;

namespace velora {

struct AppContext;
class Inspector;
class LibraryPage;
class PiecesPage;
class Sidebar;
class StylesPage;

// The result line of imports (and their progress while they run), dismissible.
class ImportBanner : public QWidget {
    Q_OBJECT
public:
    explicit ImportBanner(AppContext& app, QWidget* parent = nullptr);
    QString text() const;
    QToolButton* dismissButton() const { return m_dismiss; }

private:
    void refresh();

    AppContext& m_app;
    QLabel* m_label;
    QProgressBar* m_progress;
    QToolButton* m_dismiss;
};

// "Couldn’t save your library: …" while saving fails; it goes when a save works again.
class SaveErrorBanner : public QWidget {
    Q_OBJECT
public:
    explicit SaveErrorBanner(AppContext& app, QWidget* parent = nullptr);
    QString text() const;

private:
    void refresh();

    AppContext& m_app;
    QLabel* m_label;
};

// The inspector's column: slides in from the trailing edge and fades while the Studio says so.
class InspectorColumn : public QWidget {
    Q_OBJECT
public:
    static constexpr int durationMs = 200;
    InspectorColumn(AppContext& app, QWidget* parent = nullptr);
    Inspector* inspector() const { return m_inspector; }
    // 0 closed … 1 open.
    qreal reveal() const { return m_reveal; }
    bool animating() const { return m_animation.state() == QAbstractAnimation::Running; }

protected:
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void follow(bool show);
    void apply(qreal reveal);

    AppContext& m_app;
    QWidget* m_frame;
    Inspector* m_inspector;
    QVariantAnimation m_animation;
    qreal m_reveal = 0;
};

// The content: sidebar | page and inspector, and the drop of files anywhere on it.
class ManagerView : public QWidget {
    Q_OBJECT
public:
    explicit ManagerView(AppContext& app, QWidget* parent = nullptr);

    Sidebar* sidebar() const { return m_sidebar; }
    PiecesPage* piecesPage() const { return m_pieces; }
    LibraryPage* libraryPage() const { return m_library; }
    StylesPage* stylesPage() const { return m_styles; }
    QWidget* currentPage() const;
    InspectorColumn* inspectorColumn() const { return m_inspector; }
    ImportBanner* banner() const { return m_banner; }
    SaveErrorBanner* saveErrorBanner() const { return m_saveError; }
    QSplitter* splitter() const { return m_split; }

    // What a drop does: the files are added; on the pieces page they also become one new piece.
    void dropFiles(const QStringList& paths);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void followPage();

    AppContext& m_app;
    QSplitter* m_split;
    Sidebar* m_sidebar;
    QStackedWidget* m_pages;
    PiecesPage* m_pieces;
    LibraryPage* m_library;
    StylesPage* m_styles;
    InspectorColumn* m_inspector;
    ImportBanner* m_banner;
    SaveErrorBanner* m_saveError;
};

class ManagerMainWindow : public QMainWindow {
    Q_OBJECT
public:
    static constexpr QSize initialSize{1180, 760};
    static constexpr QSize smallestSize{900, 580};

    explicit ManagerMainWindow(AppContext& app);
    ManagerView* view() const { return m_view; }
    QToolButton* inspectorButton() const { return m_inspectorButton; }
    // Minimum width from what the content needs now (more while the inspector is open).
    void fitContent();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void buildMenus();
    void saveGeometrySoon();

    AppContext& m_app;
    ManagerView* m_view = nullptr;
    QToolButton* m_inspectorButton;
    QTimer m_saveGeometry;
    std::function<void()> m_presentPicker;
};

// The holder of the one manager window.
class ManagerWindow : public QObject {
    Q_OBJECT
public:
    explicit ManagerWindow(AppContext& app, QObject* parent = nullptr);
    ~ManagerWindow() override;

    // None until the first build.
    ManagerMainWindow* window() const { return m_window; }
    void build();
    // Builds if needed, shows, raises and activates, with the launcher's token when there is one.
    void show(const QByteArray& activationToken = {});
    // Shows with the piece selected and the inspector open.
    void openEditor(const QUuid& id, const QByteArray& activationToken = {});
    int builds() const { return m_builds; }

signals:
    void built(velora::ManagerMainWindow* window);

private:
    AppContext& m_app;
    QPointer<ManagerMainWindow> m_window;
    int m_builds = 0;
};

} // namespace velora
