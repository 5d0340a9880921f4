#pragma once
// The styles page: the five frames and the six layouts as cards, each with a sample piece drawn
// by the piece renderer from pictures painted in memory (never the user's photos). Clicking a
// frame card makes it the frame of new pieces; while a piece is selected every card offers "Use on
// Selected Piece", and clicking a layout card does the same.
#include "piece_view.h"
#include "render_queue.h"

#include <QWidget>

#include <memory>
#include <optional>

class QLabel;
class QPushButton;
class QScrollArea;

namespace velora {

struct AppContext;
class Previews;
class StylesPage;

class StyleCard : public QWidget {
    Q_OBJECT
public:
    StyleCard(AppContext& app, StylesPage& page, FrameStyle style, QWidget* parent);
    StyleCard(AppContext& app, StylesPage& page, CollageLayout layout, QWidget* parent);

    std::optional<FrameStyle> frame() const { return m_frame; }
    std::optional<CollageLayout> layout() const { return m_layout; }
    QString title() const { return m_title; }
    QString blurb() const { return m_blurb; }
    // The frame card of the current default frame.
    bool isDefault() const;
    QPushButton* useButton() const { return m_use; }
    // The sample piece this card shows.
    const PieceView& sample() const { return m_sample; }
    QRect previewRect() const;
    int heightFor(int width) const;

    // What a click does: a frame becomes the default; a layout goes to the selected piece.
    void activate();
    // "Use on Selected Piece".
    void useOnSelected();
    void refresh();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    StyleCard(AppContext& app, StylesPage& page, const QString& title, const QString& blurb, PieceView sample,
              QWidget* parent);
    int blurbHeight(int width) const;

    AppContext& m_app;
    StylesPage& m_page;
    std::optional<FrameStyle> m_frame;
    std::optional<CollageLayout> m_layout;
    QString m_title;
    QString m_blurb;
    PieceView m_sample;
    QPushButton* m_use;
};

// Cards in adaptive columns, 18 points apart both ways.
class StyleGrid : public QWidget {
    Q_OBJECT
public:
    static constexpr int spacing = 18;
    static constexpr int minimumCardWidth = 200;
    explicit StyleGrid(QWidget* parent = nullptr);

    void addCard(StyleCard* card);
    const QList<StyleCard*>& cards() const { return m_cards; }
    int columnsFor(int width) const;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    void relayout();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QList<StyleCard*> m_cards;
};

class StylesPage : public QWidget {
    Q_OBJECT
public:
    explicit StylesPage(AppContext& app, QWidget* parent = nullptr);
    ~StylesPage() override;

    const QList<StyleCard*>& frameCards() const { return m_frames->cards(); }
    const QList<StyleCard*>& layoutCards() const { return m_layouts->cards(); }
    StyleCard* card(FrameStyle style) const;
    StyleCard* card(CollageLayout layout) const;
    QLabel* subtitle() const { return m_subtitle; }
    // "Click a style to use it on “…”" while a piece is selected, hidden otherwise.
    QLabel* selectionLine() const { return m_selection; }
    QScrollArea* scrollArea() const { return m_scroll; }

    // The card's preview when it is drawn for its current size and pixel ratio; null otherwise
    // (a rendering is then queued).
    QImage preview(StyleCard* card);
    // Renders every queued preview now (snapshots, tests).
    void renderPending();
    // Previews rendered since the page was made.
    qint64 renders() const;

private:
    void refreshSelection();
    void renderPreview(StyleCard* card);
    QSize previewBox(const StyleCard* card) const;

    AppContext& m_app;
    std::unique_ptr<Previews> m_previews;
    RenderQueue m_queue;
    QLabel* m_subtitle;
    QLabel* m_selection;
    QScrollArea* m_scroll;
    StyleGrid* m_frames;
    StyleGrid* m_layouts;
};

} // namespace velora
