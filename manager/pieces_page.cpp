#include "pieces_page.h"

#include "actions.h"
#include "app_context.h"
#include "icons.h"
#include "models.h"
#include "page_parts.h"
#include "previews.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"

#include <QContextMenuEvent>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScrollArea>
#include <QScrollBar>
#include <QStackedWidget>
#include <QToolButton>
#include <QApplication>
#include <QVBoxLayout>

#include <cmath>

namespace velora {

namespace {

constexpr int pad = 10;
constexpr int buttonSide = 26;

QFont smaller(QFont f, qreal factor = 0.88)
{
    f.setPointSizeF(f.pointSizeF() * factor);
    return f;
}

int previewHeight(int width) { return int(std::round((width - 2 * pad) * 0.62)); }

PieceView viewOf(const Studio& studio, const Piece& piece)
{
    return PieceView{piece, studio.photos(piece), studio.tick(piece.id), std::nullopt};
}

QToolButton* toggleButton(QWidget* parent, const QString& name)
{
    auto* b = new QToolButton(parent);
    b->setObjectName(name);
    b->setAutoRaise(true);
    b->setIconSize(QSize(16, 16));
    b->setFixedSize(buttonSide, buttonSide);
    b->setFocusPolicy(Qt::TabFocus);
    return b;
}

} // namespace

// --- card -------------------------------------------------------------------------------------

PieceCard::PieceCard(AppContext& app, CardGrid& grid, const QUuid& id, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_grid(grid)
    , m_id(id)
{
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    m_eye = toggleButton(this, QStringLiteral("visibility"));
    m_lock = toggleButton(this, QStringLiteral("lock"));
    connect(m_eye, &QToolButton::clicked, this, [this] { m_app.actions.toggleVisible(m_id); });
    connect(m_lock, &QToolButton::clicked, this, [this] { m_app.actions.toggleLocked(m_id); });
    refresh();
}

int PieceCard::heightFor(int width)
{
    const QFontMetrics name(QFont{});
    const QFontMetrics status(smaller(QFont{}));
    return pad + previewHeight(width) + 10 + std::max(name.height(), buttonSide) + 2 + status.height() + 12;
}

QRect PieceCard::previewRect() const { return QRect(pad, pad, width() - 2 * pad, previewHeight(width())); }

void PieceCard::refresh()
{
    const Piece* piece = m_app.studio.piece(m_id);
    if (!piece) return;
    const QModelIndex index = m_app.pieces.indexOf(m_id);
    m_name = piece->name;
    m_status = index.data(PieceListModel::StatusRole).toString();
    setAccessibleName(m_name);
    setAccessibleDescription(m_status);
    setToolTip(m_status);

    m_eye->setIcon(Icons::icon(piece->isVisible ? Glyph::eye : Glyph::eyeSlash));
    const QString eyeText = piece->isVisible ? tr("Hide from desktop") : tr("Show on desktop");
    m_eye->setToolTip(eyeText);
    m_eye->setAccessibleName(eyeText);
    m_lock->setIcon(Icons::icon(piece->isLocked ? Glyph::lock : Glyph::lockOpen));
    const QString lockText = piece->isLocked ? tr("Unlock") : tr("Lock in place");
    m_lock->setToolTip(lockText);
    m_lock->setAccessibleName(lockText);
    update();
}

bool PieceCard::selected() const { return m_app.studio.selectedPieceID() == m_id; }

void PieceCard::placeButtons()
{
    const int y = previewRect().bottom() + 1 + 10 - (buttonSide - fontMetrics().height()) / 2;
    m_lock->move(width() - pad - buttonSide + 4, y);
    m_eye->move(m_lock->x() - buttonSide, y);
}

void PieceCard::resizeEvent(QResizeEvent*) { placeButtons(); }

void PieceCard::paintEvent(QPaintEvent*)
{
    ++m_paints;
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    Theme::paintCard(p, QRectF(rect()).adjusted(1, 1, -1, -1), pal, {.marked = selected(), .hover = m_hover, .focus = hasFocus()});
    const QRect box = previewRect();
    Theme::paintWell(p, box, pal);

    if (const Piece* piece = m_app.studio.piece(m_id)) {
        const PieceView view = viewOf(m_app.studio, *piece);
        const QSize inner = box.adjusted(8, 8, -8, -8).size();
        if (auto image = m_app.previews.cached(view, inner, devicePixelRatioF())) {
            Theme::paintCentred(p, box, *image);
        } else {
            m_grid.requestPreview(this);
        }
    }

    const int textTop = box.bottom() + 1 + 10;
    const QRect nameRect(pad + 2, textTop, m_eye->x() - pad - 6, fontMetrics().height());
    QFont bold = font();
    bold.setWeight(QFont::DemiBold);
    p.setFont(bold);
    p.setPen(pal.color(QPalette::WindowText));
    p.drawText(nameRect, Qt::AlignLeft | Qt::AlignVCenter, QFontMetrics(bold).elidedText(m_name, Qt::ElideRight, nameRect.width()));
    const QFont small = smaller(font());
    p.setFont(small);
    p.setPen(Theme::secondary(pal));
    const QFontMetrics sm(small);
    const int statusTop = textTop + std::max(fontMetrics().height(), buttonSide) + 2 - (buttonSide - fontMetrics().height()) / 2;
    const QRect statusRect(pad + 2, statusTop, width() - 2 * pad - 4, sm.height());
    p.drawText(statusRect, Qt::AlignLeft | Qt::AlignVCenter, sm.elidedText(m_status, Qt::ElideRight, statusRect.width()));
}

void PieceCard::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton || event->button() == Qt::RightButton) {
        setFocus(Qt::MouseFocusReason);
        m_app.studio.setSelectedPieceID(m_id);
    }
    QWidget::mousePressEvent(event);
}

void PieceCard::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) m_app.studio.select(m_id);
}

void PieceCard::keyPressEvent(QKeyEvent* event)
{
    const int index = int(m_grid.cards().indexOf(this));
    const int columns = std::max(1, m_grid.width() / std::max(1, width()));
    switch (event->key()) {
    case Qt::Key_Left: m_grid.focusCard(index - 1); return;
    case Qt::Key_Right: m_grid.focusCard(index + 1); return;
    case Qt::Key_Up: m_grid.focusCard(index - columns); return;
    case Qt::Key_Down: m_grid.focusCard(index + columns); return;
    case Qt::Key_Home: m_grid.focusCard(0); return;
    case Qt::Key_End: m_grid.focusCard(int(m_grid.cards().size()) - 1); return;
    case Qt::Key_Space: m_app.studio.setSelectedPieceID(m_id); return;
    case Qt::Key_Return:
    case Qt::Key_Enter: m_app.studio.select(m_id); return;
    case Qt::Key_Delete:
    case Qt::Key_Backspace: m_app.actions.confirmDelete(m_id, this); return;
    default: QWidget::keyPressEvent(event);
    }
}

void PieceCard::contextMenuEvent(QContextMenuEvent* event)
{
    QMenu* menu = m_app.actions.pieceMenu(m_id, this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const QPoint at = event->reason() == QContextMenuEvent::Mouse ? event->globalPos() : mapToGlobal(previewRect().center());
    menu->popup(at);
}

void PieceCard::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    if (auto* scroll = qobject_cast<QScrollArea*>(m_grid.parentWidget() ? m_grid.parentWidget()->parentWidget() : nullptr))
        scroll->ensureWidgetVisible(this, 0, 16);
    update();
}

void PieceCard::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

void PieceCard::enterEvent(QEnterEvent*)
{
    m_hover = true;
    update();
}

void PieceCard::leaveEvent(QEvent*)
{
    m_hover = false;
    update();
}

// --- grid -------------------------------------------------------------------------------------

CardGrid::CardGrid(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    // One rendering at a time: the interface keeps the other core.
    m_worker.setMaxThreadCount(1);
    setObjectName(QStringLiteral("cards"));
    QAbstractItemModel* model = &m_app.pieces;
    connect(model, &QAbstractItemModel::modelReset, this, &CardGrid::rebuild);
    connect(model, &QAbstractItemModel::rowsInserted, this, [this](const QModelIndex&, int first, int last) {
        for (int r = first; r <= last; ++r) insertCard(r);
        relayout(width());
        updateGeometry();
    });
    connect(model, &QAbstractItemModel::rowsRemoved, this, [this](const QModelIndex&, int first, int last) {
        for (int r = last; r >= first; --r) {
            if (r >= m_cards.size()) continue;
            PieceCard* gone = m_cards.takeAt(r);
            const bool hadFocus = gone->hasFocus() || gone->isAncestorOf(focusWidget());
            gone->deleteLater();
            gone->hide();
            if (hadFocus) focusCard(std::min(r, int(m_cards.size()) - 1));
        }
        relayout(width());
        updateGeometry();
    });
    connect(model, &QAbstractItemModel::dataChanged, this, [this](const QModelIndex& from, const QModelIndex& to) {
        for (int r = from.row(); r <= to.row() && r < m_cards.size(); ++r) m_cards[r]->refresh();
    });
    connect(&m_app.studio, &Studio::advanced, this, [this](const QUuid& id) {
        if (PieceCard* c = card(id)) c->update();
    });
    connect(&m_app.studio, &Studio::selectionChanged, this, [this] {
        // Only the card that lost the selection and the one that gained it repaint.
        for (PieceCard* c : std::as_const(m_cards))
            if (c->selected() || c->property("wasSelected").toBool()) {
                c->setProperty("wasSelected", c->selected());
                c->update();
            }
    });
    rebuild();
}

PieceCard* CardGrid::card(const QUuid& id) const
{
    for (PieceCard* c : m_cards)
        if (c->id() == id) return c;
    return nullptr;
}

void CardGrid::rebuild()
{
    qDeleteAll(m_cards);
    m_cards.clear();
    for (int r = 0; r < m_app.pieces.rowCount(); ++r) insertCard(r);
    relayout(width());
    updateGeometry();
}

void CardGrid::insertCard(int row)
{
    auto* c = new PieceCard(m_app, *this, m_app.pieces.id(row), this);
    c->setProperty("wasSelected", c->selected());
    m_cards.insert(row, c);
    c->show();
}

int CardGrid::columnsFor(int width) const { return std::max(1, (width + spacing) / (minimumCardWidth + spacing)); }

int CardGrid::heightForWidth(int width) const
{
    if (m_cards.isEmpty()) return 0;
    const int columns = columnsFor(width);
    const int cardWidth = (width - spacing * (columns - 1)) / columns;
    const int rows = (int(m_cards.size()) + columns - 1) / columns;
    return rows * PieceCard::heightFor(cardWidth) + (rows - 1) * spacing;
}

QSize CardGrid::sizeHint() const { return {minimumCardWidth * 3, heightForWidth(minimumCardWidth * 3 + 2 * spacing)}; }

int CardGrid::relayout(int width)
{
    if (width <= 0) return 0;
    const int columns = columnsFor(width);
    const int cardWidth = std::max(minimumCardWidth / 2, (width - spacing * (columns - 1)) / columns);
    const int cardHeight = PieceCard::heightFor(cardWidth);
    for (int i = 0; i < m_cards.size(); ++i) {
        const QRect r((i % columns) * (cardWidth + spacing), (i / columns) * (cardHeight + spacing), cardWidth, cardHeight);
        if (m_cards[i]->geometry() != r) m_cards[i]->setGeometry(r);
    }
    m_laidOutWidth = width;
    const int height = heightForWidth(width);
    if (minimumHeight() != height) setMinimumHeight(height);
    return height;
}

void CardGrid::resizeEvent(QResizeEvent*)
{
    if (width() != m_laidOutWidth) relayout(width());
}

void CardGrid::requestPreview(PieceCard* card)
{
    for (const auto& queued : m_queue)
        if (queued == card) return;
    m_queue.emplace_back(card);
    if (!m_rendering) renderNext();
}

void CardGrid::renderNext()
{
    while (!m_queue.empty()) {
        QPointer<PieceCard> c = m_queue.front();
        m_queue.pop_front();
        // Cards scrolled away since they asked wait until they are seen again.
        if (!c || c->visibleRegion().isEmpty()) continue;
        const Piece* piece = m_app.studio.piece(c->id());
        if (!piece) continue;
        const PieceView view = viewOf(m_app.studio, *piece);
        const QSize box = c->previewRect().adjusted(8, 8, -8, -8).size();
        const qreal dpr = c->devicePixelRatioF();
        m_rendering = true;
        QPointer<CardGrid> self(this);
        m_worker.start([self, view, box, dpr] {
            const QImage image = Previews::draw(view, box, dpr);
            QMetaObject::invokeMethod(
                qApp, [self, view, box, dpr, image] {
                    if (self) self->rendered(view.piece.id, view, box, dpr, image);
                },
                Qt::QueuedConnection);
        });
        return;
    }
}

void CardGrid::rendered(const QUuid& id, const PieceView& view, QSize box, qreal dpr, const QImage& image)
{
    m_rendering = false;
    m_app.previews.insert(view, box, dpr, image);
    // The card repaints; if its piece changed meanwhile, the paint asks again.
    if (PieceCard* c = card(id)) c->update(c->previewRect());
    renderNext();
}

void CardGrid::renderPending()
{
    while (!m_queue.empty()) {
        QPointer<PieceCard> c = m_queue.front();
        m_queue.pop_front();
        if (!c) continue;
        if (const Piece* piece = m_app.studio.piece(c->id())) {
            const QSize inner = c->previewRect().adjusted(8, 8, -8, -8).size();
            m_app.previews.preview(viewOf(m_app.studio, *piece), inner, c->devicePixelRatioF());
            c->update();
        }
    }
}

void CardGrid::focusCard(int index)
{
    if (m_cards.isEmpty()) return;
    m_cards[std::clamp(index, 0, int(m_cards.size()) - 1)]->setFocus(Qt::TabFocusReason);
}

// --- page -------------------------------------------------------------------------------------

PiecesPage::PiecesPage(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("piecesPage"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 0);
    layout->setSpacing(12);

    auto* header = new QHBoxLayout;
    const PageTitles titles = makePageTitles(this, Texts::title(Page::pieces));
    m_subtitle = titles.subtitle;
    header->addLayout(titles.layout, 1);

    const auto headerButton = [this](QAction* action, const QString& name) {
        auto* b = new QToolButton(this);
        b->setObjectName(name);
        b->setDefaultAction(action);
        b->setToolButtonStyle(action->icon().isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonTextBesideIcon);
        b->setFocusPolicy(Qt::StrongFocus);
        return b;
    };
    header->addWidget(headerButton(m_app.actions.hideAll, QStringLiteral("hideAll")), 0, Qt::AlignBottom);
    header->addWidget(headerButton(m_app.actions.lockAll, QStringLiteral("lockAll")), 0, Qt::AlignBottom);
    header->addWidget(headerButton(m_app.actions.newPiece, QStringLiteral("newPiece")), 0, Qt::AlignBottom);
    layout->addLayout(header);

    m_body = new QStackedWidget(this);
    layout->addWidget(m_body, 1);

    m_scroll = new QScrollArea(m_body);
    m_scroll->setObjectName(QStringLiteral("cardScroll"));
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* holder = new QWidget(m_scroll);
    auto* holderLayout = new QVBoxLayout(holder);
    holderLayout->setContentsMargins(0, 4, 0, 24);
    m_grid = new CardGrid(m_app, holder);
    holderLayout->addWidget(m_grid);
    holderLayout->addStretch(1);
    m_scroll->setWidget(holder);
    m_scroll->verticalScrollBar()->setSingleStep(24);
    m_body->addWidget(m_scroll);

    // Nothing yet: how to begin, and how to look around first.
    const EmptyState emptyState = makeEmptyState(
        m_body, Glyph::drop, tr("Put your first photos on the desktop"),
        tr("Drop photos or folders here to make a piece of them, or choose New Piece…. "
           "Velora keeps a copy of each photo, so pieces keep working if the originals move."));
    m_empty = emptyState.widget;
    m_empty->setObjectName(QStringLiteral("emptyState"));
    QVBoxLayout* empty = emptyState.layout;
    auto* start = new QToolButton(m_empty);
    start->setObjectName(QStringLiteral("emptyNewPiece"));
    start->setDefaultAction(m_app.actions.newPiece);
    start->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    empty->addSpacing(6);
    empty->addWidget(start, 0, Qt::AlignHCenter);
    auto* demo = new QLabel(tr("Just looking? Start Velora with <b>--demo</b> to try it on sample pictures, "
                               "apart from your own library."),
                            m_empty);
    demo->setWordWrap(true);
    demo->setAlignment(Qt::AlignCenter);
    demo->setPalette(quietPalette(demo->palette()));
    demo->setFont(smaller(demo->font()));
    demo->setMaximumWidth(440);
    empty->addSpacing(18);
    empty->addWidget(demo, 0, Qt::AlignHCenter);
    empty->addStretch(3);
    m_body->addWidget(m_empty);

    QAbstractItemModel* model = &m_app.pieces;
    connect(model, &QAbstractItemModel::rowsInserted, this, &PiecesPage::refreshHeader);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &PiecesPage::refreshHeader);
    connect(model, &QAbstractItemModel::modelReset, this, &PiecesPage::refreshHeader);
    connect(&m_app.studio, &Studio::selectionChanged, this, [this] {
        if (const auto id = m_app.studio.selectedPieceID()) reveal(*id);
    });
    refreshHeader();
}

void PiecesPage::refreshHeader()
{
    const int n = m_app.pieces.rowCount();
    m_subtitle->setText(n == 0 ? tr("Nothing on your desktop yet") : Texts::pieceCount(n));
    m_body->setCurrentWidget(n == 0 ? m_empty : static_cast<QWidget*>(m_scroll));
}

bool PiecesPage::showsEmptyState() const { return m_body->currentWidget() == m_empty; }

void PiecesPage::reveal(const QUuid& id)
{
    if (PieceCard* c = m_grid->card(id)) m_scroll->ensureWidgetVisible(c, 0, 16);
}

} // namespace velora
