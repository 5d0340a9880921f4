#pragma once
// The library page: every photo of the library in a justified grid at its real proportions, with
// the header's two ways of adding photos, the drop hint of an empty library, and the selection bar
// that makes pieces of the selected photos, adds them to a piece or removes them from the library.
// The selection is the Studio's library selection.
#include "tile_images.h"

#include <QListView>
#include <QTimer>
#include <QUuid>
#include <QWidget>

#include <vector>

class QLabel;
class QMenu;
class QStackedWidget;
class QToolButton;

namespace velora {

struct AppContext;

// The grid over the photo list model. It lays out every photo with one call of the justified
// layout math, but only the tiles in view are painted and only their thumbnails (and the next
// screen's) are asked for. Click, Ctrl+click, Shift+click, Ctrl+A, Escape and the arrow keys
// select as in a file manager; Delete asks to remove the selection.
class LibraryGrid : public QListView {
    Q_OBJECT
public:
    static constexpr double targetRowHeight = 190;
    static constexpr double spacing = 12;
    static constexpr int sideMargin = 24;
    static constexpr int topMargin = 4;
    // Room under the last row, so the selection bar never covers it.
    static constexpr int bottomMargin = 72;

    LibraryGrid(AppContext& app, QWidget* parent = nullptr);

    // The width the layout math is given, and each photo's frame as it gave it (origin at the
    // layout's top-left corner).
    double layoutWidth() const;
    QRectF tileFrame(int row) const;
    double layoutHeight() const;
    // How many times the layout math ran, for tests.
    int layouts() const { return m_layouts; }
    // Lays out now, with one call of the layout math (benchmarks); otherwise done when needed.
    void relayout();
    // Tiles drawn by the last paint.
    int paintedTiles() const { return m_painted; }
    TileImages& images() { return m_images; }

    // A click on a tile with these modifiers, as the mouse does it.
    void click(int row, Qt::KeyboardModifiers modifiers);
    // The selected photos in library order.
    QList<QUuid> selectedPhotos() const;
    // The menu of one tile, made anew for each use.
    QMenu* tileMenu(const QUuid& id, QWidget* parent);
    // Asks for the thumbnails of the tiles in view now (otherwise done after scrolls and layouts).
    void requestTiles();

    // QAbstractItemView
    QRect visualRect(const QModelIndex& index) const override;
    void scrollTo(const QModelIndex& index, ScrollHint hint = EnsureVisible) override;
    QModelIndex indexAt(const QPoint& point) const override;
    void doItemsLayout() override;
    void selectAll() override;

signals:
    // Delete or Backspace with photos selected.
    void removeRequested();

protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    int horizontalOffset() const override { return 0; }
    int verticalOffset() const override;
    bool isIndexHidden(const QModelIndex&) const override { return false; }
    void setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags) override;
    QRegion visualRegionForSelection(const QItemSelection& selection) const override;
    QItemSelectionModel::SelectionFlags selectionCommand(const QModelIndex& index, const QEvent* event) const override;
    void updateGeometries() override;
    void scrollContentsBy(int dx, int dy) override;

    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    bool viewportEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void layoutIfNeeded() const;
    void invalidateLayout();
    // Tiles whose frames meet the band [top, bottom] of layout coordinates.
    std::pair<int, int> tilesBetween(double top, double bottom) const;
    QRectF viewFrame(int row) const; // in viewport coordinates
    QSize tilePixels(int row, qreal dpr) const;
    void paintTile(QPainter& p, int row, qreal dpr);
    void select(const QList<int>& rows, bool keep);
    void mirrorSelection();
    void followSelectionModel();
    // The keyboard moved the focus: the selection follows as a click would.
    void moved(const QModelIndex& from, const QModelIndex& to, Qt::KeyboardModifiers modifiers);
    int anchorRow() const;
    QUuid idAt(int row) const;
    const Photo* photoAt(int row) const;

    AppContext& m_app;
    TileImages m_images;
    // Layout, made lazily; mutable so that the const queries of the view can make it.
    mutable std::vector<QRectF> m_frames;
    mutable std::vector<int> m_lineStarts; // first tile of each visual row
    mutable double m_height = 0;
    mutable double m_laidOutWidth = -1;
    mutable bool m_dirty = true;
    mutable int m_layouts = 0;
    QUuid m_anchor;
    int m_hover = -1;
    int m_painted = 0;
    bool m_mirroring = false;
    bool m_pushPending = false;
    QTimer m_requestSoon;
};

// The capsule over the page while photos are selected.
class SelectionBar : public QWidget {
    Q_OBJECT
public:
    SelectionBar(AppContext& app, QWidget* parent = nullptr);

    QLabel* countLabel() const { return m_count; }
    QToolButton* newPieceButton() const { return m_newPiece; }
    QToolButton* addToPieceButton() const { return m_addToPiece; }
    QToolButton* removeButton() const { return m_remove; }
    QToolButton* clearButton() const { return m_clear; }
    // "Add to Piece": every piece, in the Studio's order; filled each time it opens.
    QMenu* pieceMenu() const { return m_pieceMenu; }
    void fillPieceMenu();
    void refresh();

signals:
    void removeRequested();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    AppContext& m_app;
    QLabel* m_count;
    QToolButton* m_newPiece;
    QToolButton* m_addToPiece;
    QToolButton* m_remove;
    QToolButton* m_clear;
    QMenu* m_pieceMenu;
};

class LibraryPage : public QWidget {
    Q_OBJECT
public:
    explicit LibraryPage(AppContext& app, QWidget* parent = nullptr);

    // The header's subtitle for a library of n photos.
    static QString subtitle(qsizetype n);

    LibraryGrid* grid() const { return m_grid; }
    SelectionBar* selectionBar() const { return m_bar; }
    QLabel* subtitleLabel() const { return m_subtitle; }
    QToolButton* fromPhotosButton() const { return m_fromPhotos; }
    QToolButton* addPhotosButton() const { return m_addPhotos; }
    bool showsDropHint() const;

    // Asks "Remove N photos from Velora?" and removes the selection when confirmed; true then.
    bool confirmRemoval();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void refresh();
    void placeBar();

    AppContext& m_app;
    QLabel* m_subtitle;
    QToolButton* m_fromPhotos;
    QToolButton* m_addPhotos;
    QStackedWidget* m_body;
    QWidget* m_dropHint;
    LibraryGrid* m_grid;
    SelectionBar* m_bar;
};

} // namespace velora
