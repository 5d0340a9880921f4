#pragma once
// The page a user lands on: every piece as a card with a live preview, its name and where it is,
// with switches to show or hide it and to lock or unlock it, so that a hidden or locked piece can
// always be brought back. Click selects, a double click opens the editor, the context menu has
// the rest. Cards follow the piece model row by row; a preview is drawn again only when its
// piece's picture changed.
#include "render_queue.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

class QLabel;
class QScrollArea;
class QStackedWidget;
class QToolButton;

namespace velora {

struct AppContext;
class PieceCard;

class CardGrid : public QWidget {
    Q_OBJECT
public:
    static constexpr int minimumCardWidth = 220;
    static constexpr int spacing = 16;

    CardGrid(AppContext& app, QWidget* parent = nullptr);

    QList<PieceCard*> cards() const { return m_cards; }
    PieceCard* card(const QUuid& id) const;
    // Lays the cards out for a width; returns the height they take.
    int relayout(int width);
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;

    // Previews still to render, one per turn of the event loop so that painting never waits.
    void requestPreview(PieceCard* card);
    int pendingPreviews() const { return m_previews.pending(); }
    // Renders everything queued now (snapshots, tests).
    void renderPending();

    void focusCard(int index);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void rebuild();
    void insertCard(int row);
    void renderPreview(PieceCard* card);
    int columnsFor(int width) const;

    AppContext& m_app;
    QList<PieceCard*> m_cards;
    RenderQueue m_previews;
    int m_laidOutWidth = -1;
};

class PieceCard : public QWidget {
    Q_OBJECT
public:
    PieceCard(AppContext& app, CardGrid& grid, const QUuid& id, QWidget* parent);

    QUuid id() const { return m_id; }
    // Name, status and switches from the model; the preview is only marked for repainting.
    void refresh();
    QRect previewRect() const;
    qint64 paints() const { return m_paints; }
    QToolButton* visibilityButton() const { return m_eye; }
    QToolButton* lockButton() const { return m_lock; }
    static int heightFor(int width);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void enterEvent(QEnterEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    friend class CardGrid;
    bool selected() const;
    void placeButtons();

    AppContext& m_app;
    CardGrid& m_grid;
    QUuid m_id;
    QToolButton* m_eye;
    QToolButton* m_lock;
    QString m_name;
    QString m_status;
    bool m_hover = false;
    qint64 m_paints = 0;
};

class PiecesPage : public QWidget {
    Q_OBJECT
public:
    explicit PiecesPage(AppContext& app, QWidget* parent = nullptr);

    CardGrid* grid() const { return m_grid; }
    QScrollArea* scrollArea() const { return m_scroll; }
    bool showsEmptyState() const;
    // Keeps a card in view (the selected one).
    void reveal(const QUuid& id);

private:
    void refreshHeader();

    AppContext& m_app;
    QLabel* m_subtitle;
    QStackedWidget* m_body;
    QScrollArea* m_scroll;
    CardGrid* m_grid;
    QWidget* m_empty;
};

} // namespace velora
