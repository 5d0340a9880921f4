#include "styles_page.h"

#include "app_context.h"
#include "demo_art.h"
#include "edits.h"
#include "previews.h"
#include "settings.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include <cmath>

namespace velora {

namespace {

constexpr int pad = 12;
constexpr double sampleWidth = 300;
// A selected piece's name longer than this is cut in the header line.
constexpr int longestShownName = 60;

QFont scaled(QFont f, qreal factor)
{
    f.setPointSizeF(f.pointSizeF() * factor);
    return f;
}

QFont titleFont(QFont f)
{
    f.setWeight(QFont::DemiBold);
    return f;
}

int previewHeight(int width) { return int(std::round((width - 2 * pad) * 0.68)); }

// The sample pictures (painted in memory), picked by index.
QList<Photo> samplePhotos(std::initializer_list<int> picks)
{
    const QList<Photo>& all = DemoArt::paintedSamples();
    QList<Photo> out;
    for (int i : picks)
        if (i < all.size()) out.append(all[i]);
    return out;
}

PieceView sampleOf(const QList<Photo>& photos)
{
    Piece piece;
    piece.id = QUuid::createUuid();
    piece.name = QStringLiteral("Sample");
    for (const Photo& p : photos) piece.photoIDs.append(p.id);
    piece.width = sampleWidth;
    piece.seed = 7;
    return PieceView{piece, photos, 0, std::nullopt};
}

PieceView frameSample(FrameStyle style)
{
    PieceView view = sampleOf(samplePhotos({0}));
    view.piece.layout = CollageLayout::single;
    view.piece.frame = style;
    // The styles whose frame holds the caption show what one looks like.
    if (style == FrameStyle::gallery || style == FrameStyle::instant)
        view.piece.caption = StylesPage::tr("keep this one");
    view.piece.tilt = style == FrameStyle::instant ? -2 : style == FrameStyle::tape ? 1.5 : 0;
    return view;
}

PieceView layoutSample(CollageLayout layout)
{
    QList<Photo> photos;
    switch (layout) {
    case CollageLayout::single: photos = samplePhotos({0}); break;
    case CollageLayout::row: photos = samplePhotos({2, 0, 4}); break;
    case CollageLayout::column: photos = samplePhotos({3, 0}); break;
    case CollageLayout::justified: photos = samplePhotos({0, 1, 2, 3, 4, 6}); break;
    case CollageLayout::stack: photos = samplePhotos({0, 2, 4, 5}); break;
    case CollageLayout::frieze: photos = samplePhotos({3, 0, 2, 6}); break;
    }
    PieceView view = sampleOf(photos);
    view.piece.layout = layout;
    view.piece.frame = FrameStyle::gallery;
    return view;
}

} // namespace

// --- card -------------------------------------------------------------------------------------

StyleCard::StyleCard(AppContext& app, StylesPage& page, FrameStyle style, QWidget* parent)
    : StyleCard(app, page, Texts::title(style), Texts::blurb(style), frameSample(style), parent)
{
    m_frame = style;
    setObjectName(QStringLiteral("frameCard-") + qRawValue(style));
    refresh();
}

StyleCard::StyleCard(AppContext& app, StylesPage& page, CollageLayout layout, QWidget* parent)
    : StyleCard(app, page, Texts::title(layout), Texts::blurb(layout), layoutSample(layout), parent)
{
    m_layout = layout;
    setObjectName(QStringLiteral("layoutCard-") + qRawValue(layout));
    refresh();
}

StyleCard::StyleCard(AppContext& app, StylesPage& page, const QString& title, const QString& blurb, PieceView sample,
                     QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_page(page)
    , m_title(title)
    , m_blurb(blurb)
    , m_sample(std::move(sample))
{
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_Hover);
    setAccessibleName(m_title);
    m_use = new QPushButton(tr("Use on Selected Piece"), this);
    m_use->setObjectName(QStringLiteral("useOnSelected"));
    m_use->setFocusPolicy(Qt::StrongFocus);
    m_use->setAccessibleDescription(m_title);
    connect(m_use, &QPushButton::clicked, this, &StyleCard::useOnSelected);
}

bool StyleCard::isDefault() const { return m_frame && *m_frame == m_app.settings.defaultFrame(); }

void StyleCard::refresh()
{
    m_use->setVisible(m_app.studio.selectedPieceID() && m_app.studio.piece(*m_app.studio.selectedPieceID()));
    setToolTip(m_frame ? tr("Make %1 the frame of new pieces").arg(m_title) : QString());
    setAccessibleDescription(isDefault() ? tr("Default") + QStringLiteral(". ") + m_blurb : m_blurb);
    update();
}

QRect StyleCard::previewRect() const { return {pad, pad, width() - 2 * pad, previewHeight(width())}; }

int StyleCard::blurbHeight(int width) const
{
    const QFontMetrics fm(scaled(font(), 0.92));
    return fm.boundingRect(QRect(0, 0, width - 2 * pad, 10000), Qt::TextWordWrap, m_blurb).height();
}

int StyleCard::heightFor(int width) const
{
    const QFontMetrics title(titleFont(font()));
    int h = pad + previewHeight(width) + 10 + std::max(title.height(), 20) + 4 + blurbHeight(width) + pad;
    if (m_use->isVisibleTo(this)) h += m_use->sizeHint().height() + 8;
    return h;
}

void StyleCard::resizeEvent(QResizeEvent*)
{
    const QSize hint = m_use->sizeHint();
    m_use->setGeometry(pad, height() - pad - hint.height(), std::min(hint.width(), width() - 2 * pad), hint.height());
}

void StyleCard::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    Theme::paintCard(p, QRectF(rect()).adjusted(1, 1, -1, -1), pal, {.marked = isDefault(), .hover = underMouse(), .focus = hasFocus()});
    const QRect box = previewRect();
    Theme::paintWell(p, box, pal);
    Theme::paintCentred(p, box, m_page.preview(this));

    const QFont bold = titleFont(font());
    const QFontMetrics fm(bold);
    const int titleTop = box.bottom() + 1 + 10;
    const int lineHeight = std::max(fm.height(), 20);
    p.setFont(bold);
    p.setPen(pal.color(QPalette::WindowText));
    const QString title = fm.elidedText(m_title, Qt::ElideRight, width() - 2 * pad - (isDefault() ? 70 : 0));
    p.drawText(QRect(pad, titleTop, width() - 2 * pad, lineHeight), Qt::AlignLeft | Qt::AlignVCenter, title);
    if (isDefault()) {
        // The "Default" tag after the title, in the brand's colours.
        const QFont tagFont = titleFont(scaled(font(), 0.78));
        const QFontMetrics tm(tagFont);
        const QString tag = tr("Default");
        const QRectF pill(pad + fm.horizontalAdvance(title) + 8, titleTop + (lineHeight - tm.height() - 4) / 2.0,
                          tm.horizontalAdvance(tag) + 14, tm.height() + 4);
        p.setPen(Qt::NoPen);
        p.setBrush(Theme::brand(pill));
        p.drawRoundedRect(pill, pill.height() / 2, pill.height() / 2);
        p.setFont(tagFont);
        p.setPen(Qt::white);
        p.drawText(pill, Qt::AlignCenter, tag);
    }
    p.setFont(scaled(font(), 0.92));
    p.setPen(Theme::secondary(pal));
    p.drawText(QRect(pad, titleTop + lineHeight + 4, width() - 2 * pad, blurbHeight(width())), Qt::TextWordWrap, m_blurb);
}

void StyleCard::activate()
{
    if (m_frame) {
        m_app.studio.setDefaultFrame(*m_frame);
    } else {
        useOnSelected();
    }
}

void StyleCard::useOnSelected()
{
    const auto id = m_app.studio.selectedPieceID();
    if (!id || !m_app.studio.piece(*id)) return;
    if (m_frame) {
        const FrameStyle style = *m_frame;
        m_app.edits.update(*id, tr("Change Frame"), [style](Piece& p) { p.frame = style; });
    } else if (m_layout) {
        const CollageLayout layout = *m_layout;
        m_app.edits.update(*id, tr("Change Layout"), [layout](Piece& p) { p.layout = layout; });
    }
}

void StyleCard::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rect().contains(event->position().toPoint())) {
        setFocus(Qt::MouseFocusReason);
        activate();
        return;
    }
    QWidget::mouseReleaseEvent(event);
}

void StyleCard::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Space:
    case Qt::Key_Return:
    case Qt::Key_Enter: activate(); return;
    default: QWidget::keyPressEvent(event);
    }
}

void StyleCard::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    // Keep the focused card in view.
    for (QWidget* w = parentWidget(); w; w = w->parentWidget())
        if (auto* scroll = qobject_cast<QScrollArea*>(w)) {
            scroll->ensureWidgetVisible(this, 0, 18);
            break;
        }
    update();
}

void StyleCard::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

// --- grid -------------------------------------------------------------------------------------

StyleGrid::StyleGrid(QWidget* parent)
    : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

void StyleGrid::addCard(StyleCard* card)
{
    m_cards.append(card);
    card->show();
}

int StyleGrid::columnsFor(int width) const
{
    const int fit = std::max(1, (width + spacing) / (minimumCardWidth + spacing));
    return std::min(fit, std::max(1, int(m_cards.size())));
}

int StyleGrid::heightForWidth(int width) const
{
    if (m_cards.isEmpty() || width <= 0) return 0;
    const int columns = columnsFor(width);
    const int cardWidth = (width - spacing * (columns - 1)) / columns;
    int cardHeight = 0;
    for (const StyleCard* c : m_cards) cardHeight = std::max(cardHeight, c->heightFor(cardWidth));
    const int rows = (int(m_cards.size()) + columns - 1) / columns;
    return rows * cardHeight + (rows - 1) * spacing;
}

QSize StyleGrid::sizeHint() const
{
    const int w = 3 * minimumCardWidth + 2 * spacing;
    return {w, heightForWidth(w)};
}

void StyleGrid::relayout()
{
    if (m_cards.isEmpty() || width() <= 0) return;
    const int columns = columnsFor(width());
    const int cardWidth = (width() - spacing * (columns - 1)) / columns;
    int cardHeight = 0;
    for (const StyleCard* c : std::as_const(m_cards)) cardHeight = std::max(cardHeight, c->heightFor(cardWidth));
    for (int i = 0; i < m_cards.size(); ++i) {
        const QRect r((i % columns) * (cardWidth + spacing), (i / columns) * (cardHeight + spacing), cardWidth, cardHeight);
        if (m_cards[i]->geometry() != r) m_cards[i]->setGeometry(r);
    }
    const int height = heightForWidth(width());
    if (minimumHeight() != height) setMinimumHeight(height);
}

void StyleGrid::resizeEvent(QResizeEvent*) { relayout(); }

// --- page -------------------------------------------------------------------------------------

StylesPage::StylesPage(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_previews(std::make_unique<Previews>(16 * 1024 * 1024))
    , m_queue([this](QWidget* card) { renderPreview(static_cast<StyleCard*>(card)); })
{
    setObjectName(QStringLiteral("stylesPage"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(24, 18, 24, 0);
    layout->setSpacing(12);

    auto* titles = new QVBoxLayout;
    titles->setSpacing(2);
    auto* title = new QLabel(Texts::title(Page::styles), this);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setWeight(QFont::Bold);
    title->setFont(big);
    m_subtitle = new QLabel(tr("Frames and layouts for your pieces. Pick a frame for new pieces."), this);
    m_subtitle->setObjectName(QStringLiteral("subtitle"));
    m_subtitle->setWordWrap(true);
    QPalette quiet = m_subtitle->palette();
    quiet.setColor(QPalette::WindowText, Theme::secondary(quiet));
    m_subtitle->setPalette(quiet);
    m_selection = new QLabel(this);
    m_selection->setObjectName(QStringLiteral("selectionLine"));
    m_selection->setTextFormat(Qt::PlainText);
    m_selection->setPalette(quiet);
    titles->addWidget(title);
    titles->addWidget(m_subtitle);
    titles->addWidget(m_selection);
    layout->addLayout(titles);

    m_scroll = new QScrollArea(this);
    m_scroll->setObjectName(QStringLiteral("stylesScroll"));
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* holder = new QWidget(m_scroll);
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 4, 0, 24);
    column->setSpacing(10);
    const auto sectionTitle = [holder](const QString& text) {
        auto* label = new QLabel(text, holder);
        label->setFont(titleFont(scaled(label->font(), 1.15)));
        return label;
    };
    column->addWidget(sectionTitle(tr("Frames")));
    m_frames = new StyleGrid(holder);
    for (const FrameStyle f : allFrameStyles) m_frames->addCard(new StyleCard(m_app, *this, f, m_frames));
    column->addWidget(m_frames);
    column->addSpacing(14);
    column->addWidget(sectionTitle(tr("Layouts")));
    m_layouts = new StyleGrid(holder);
    for (const CollageLayout l : allCollageLayouts) m_layouts->addCard(new StyleCard(m_app, *this, l, m_layouts));
    column->addWidget(m_layouts);
    column->addStretch(1);
    m_scroll->setWidget(holder);
    m_scroll->verticalScrollBar()->setSingleStep(24);
    layout->addWidget(m_scroll, 1);

    connect(&m_app.settings, &Settings::defaultFrameChanged, this, [this] {
        for (StyleCard* c : frameCards()) c->refresh();
    });
    Studio& studio = m_app.studio;
    connect(&studio, &Studio::selectionChanged, this, &StylesPage::refreshSelection);
    connect(&studio, &Studio::pieceChanged, this, [this](const QUuid& id) {
        if (m_app.studio.selectedPieceID() == id) refreshSelection();
    });
    connect(&studio, &Studio::pieceRemoved, this, &StylesPage::refreshSelection);
    connect(&studio, &Studio::pieceInserted, this, &StylesPage::refreshSelection);
    connect(&studio, &Studio::piecesReset, this, &StylesPage::refreshSelection);
    refreshSelection();
}

StylesPage::~StylesPage() = default;

StyleCard* StylesPage::card(FrameStyle style) const { return frameCards().value(static_cast<int>(style)); }

StyleCard* StylesPage::card(CollageLayout layout) const { return layoutCards().value(static_cast<int>(layout)); }

void StylesPage::refreshSelection()
{
    const auto id = m_app.studio.selectedPieceID();
    const Piece* piece = id ? m_app.studio.piece(*id) : nullptr;
    if (piece) {
        QString name = piece->name;
        if (name.size() > longestShownName) name = name.left(longestShownName - 1) + QChar(0x2026);
        m_selection->setText(tr("Click a style to use it on “%1”").arg(name));
        m_selection->setToolTip(piece->name.size() > longestShownName ? piece->name : QString());
    }
    m_selection->setVisible(piece != nullptr);
    const bool wasShown = !frameCards().isEmpty() && frameCards().front()->useButton()->isVisibleTo(frameCards().front());
    for (StyleCard* c : frameCards()) c->refresh();
    for (StyleCard* c : layoutCards()) c->refresh();
    if (wasShown != (piece != nullptr)) {
        // The cards grew or shrank by their button.
        for (StyleGrid* g : {m_frames, m_layouts}) {
            g->relayout();
            g->updateGeometry();
        }
    }
}

QSize StylesPage::previewBox(const StyleCard* card) const { return card->previewRect().adjusted(8, 8, -8, -8).size(); }

QImage StylesPage::preview(StyleCard* card)
{
    if (auto hit = m_previews->cached(card->sample(), previewBox(card), card->devicePixelRatioF())) return *hit;
    m_queue.request(card);
    return {};
}

void StylesPage::renderPreview(StyleCard* card)
{
    m_previews->preview(card->sample(), previewBox(card), card->devicePixelRatioF());
    card->update(card->previewRect());
}

void StylesPage::renderPending()
{
    for (StyleCard* c : frameCards() + layoutCards()) m_queue.request(c);
    m_queue.renderAll();
}

qint64 StylesPage::renders() const { return m_previews->renders(); }

} // namespace velora
