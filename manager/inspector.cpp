#include "inspector.h"

#include "actions.h"
#include "app_context.h"
#include "displays.h"
#include "edits.h"
#include "editor_rules.h"
#include "icons.h"
#include "library_picker.h"
#include "photo_list.h"
#include "screens.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"
#include "thumbnails.h"

#include <QButtonGroup>
#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QSlider>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace velora {

namespace Rules = EditorRules;

namespace {

constexpr int padding = 14;

QFont scaled(QFont f, qreal factor)
{
    f.setPointSizeF(f.pointSizeF() * factor);
    return f;
}

void quiet(QWidget* w, qreal strength = 0.6)
{
    QPalette p = w->palette();
    p.setColor(QPalette::WindowText, Theme::secondary(p, strength));
    w->setPalette(p);
}

QLabel* note(const QString& text, QWidget* parent, const QString& name)
{
    auto* label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setWordWrap(true);
    label->setFont(scaled(label->font(), 0.9));
    quiet(label);
    return label;
}

// One choice of a small set (a layout, a frame, a direction): a card with its symbol over its
// title, marked with the brand colour while it is the current one.
class ChoiceTile final : public QToolButton {
public:
    ChoiceTile(const QIcon& icon, const QString& text, QWidget* parent)
        : QToolButton(parent)
    {
        setIcon(icon);
        setText(text);
        setAccessibleName(text);
        setCheckable(true);
        setFocusPolicy(Qt::StrongFocus);
        setToolButtonStyle(icon.isNull() ? Qt::ToolButtonTextOnly : Qt::ToolButtonTextUnderIcon);
        setIconSize(QSize(22, 22));
        setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        setMinimumHeight(icon.isNull() ? 30 : 56);
        setFont(scaled(font(), 0.9));
    }

protected:
    // Like radio buttons: Tab enters the set at the current choice, the arrow keys choose.
    void focusInEvent(QFocusEvent* event) override
    {
        const bool tabbed = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
        QButtonGroup* set = group();
        if (tabbed && set && set->exclusive() && !isChecked() && set->checkedButton() && set->checkedButton()->isVisible()
            && !m_arrowed) {
            set->checkedButton()->setFocus(event->reason());
            return;
        }
        QToolButton::focusInEvent(event);
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        // Qt moves focus between the set's buttons with a Tab reason: let that through.
        const bool arrow = event->key() == Qt::Key_Left || event->key() == Qt::Key_Right || event->key() == Qt::Key_Up
            || event->key() == Qt::Key_Down;
        if (arrow && group())
            for (QAbstractButton* b : group()->buttons()) static_cast<ChoiceTile*>(b)->m_arrowed = true;
        QToolButton::keyPressEvent(event);
        if (arrow && group())
            for (QAbstractButton* b : group()->buttons()) static_cast<ChoiceTile*>(b)->m_arrowed = false;
    }

    void paintEvent(QPaintEvent*) override
    {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QPalette& pal = palette();
        QColor tint = Theme::brandStart();
        tint.setAlphaF(0.10f);
        Theme::paintCard(p, QRectF(rect()).adjusted(1, 1, -1, -1), pal,
                         {.radius = 8, .marked = isChecked(), .hover = underMouse(), .focus = hasFocus(), .markWidth = 2,
                          .tint = isChecked() ? tint : QColor()});
        const QIcon::Mode mode = isEnabled() ? QIcon::Normal : QIcon::Disabled;
        p.setPen(isEnabled() ? pal.color(QPalette::WindowText) : Theme::secondary(pal, 0.4));
        if (icon().isNull()) {
            p.drawText(rect(), Qt::AlignCenter, text());
            return;
        }
        const QSize is = iconSize();
        const QFontMetrics fm(font());
        const int top = (height() - is.height() - 4 - fm.height()) / 2;
        icon().paint(&p, QRect((width() - is.width()) / 2, top, is.width(), is.height()), Qt::AlignCenter, mode);
        const QRect textRect(4, top + is.height() + 4, width() - 8, fm.height());
        p.drawText(textRect, Qt::AlignCenter, fm.elidedText(text(), Qt::ElideRight, textRect.width()));
    }

private:
    bool m_arrowed = false;
};

QToolButton* softButton(const QIcon& icon, const QString& text, QWidget* parent, const QString& name)
{
    auto* b = new QToolButton(parent);
    b->setObjectName(name);
    b->setIcon(icon);
    b->setText(text);
    b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    b->setFocusPolicy(Qt::StrongFocus);
    b->setIconSize(QSize(16, 16));
    return b;
}

QLabel* symbol(Glyph glyph, const QString& name, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setPixmap(Icons::icon(glyph).pixmap(QSize(18, 18), parent->devicePixelRatioF()));
    label->setAccessibleName(name);
    label->setToolTip(name);
    return label;
}

// How the window system names the screen with this key, for the display picker.
QString screenName(const QString& key)
{
    for (const QScreen* s : QGuiApplication::screens())
        if (Displays::key(s) == key) return s->model().isEmpty() ? s->name() : s->model();
    return key;
}

} // namespace

// --- pill -------------------------------------------------------------------------------------

Pill::Pill(QWidget* parent)
    : QWidget(parent)
{
    setFont(scaled(font(), 0.88));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void Pill::set(const QIcon& icon, const QString& text)
{
    m_icon = icon;
    m_text = text;
    setAccessibleName(text);
    updateGeometry();
    update();
}

QSize Pill::sizeHint() const
{
    const QFontMetrics fm(font());
    return {10 + 14 + 5 + fm.horizontalAdvance(m_text) + 10, std::max(22, fm.height() + 8)};
}

void Pill::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    p.setPen(Qt::NoPen);
    p.setBrush(Theme::secondary(palette(), 0.09));
    p.drawRoundedRect(r, r.height() / 2, r.height() / 2);
    m_icon.paint(&p, QRect(10, (height() - 14) / 2, 14, 14));
    p.setPen(palette().color(QPalette::WindowText));
    p.drawText(QRect(29, 0, width() - 29, height()), Qt::AlignLeft | Qt::AlignVCenter, m_text);
}

// --- editor -----------------------------------------------------------------------------------

PieceEditor::PieceEditor(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_thumbnails(std::make_unique<Thumbnails>())
{
    setObjectName(QStringLiteral("pieceEditor"));
    build();

    Studio& studio = m_app.studio;
    connect(&studio, &Studio::pieceChanged, this, [this](const QUuid& id) {
        if (id == m_id) refresh();
    });
    connect(&studio, &Studio::piecesReset, this, &PieceEditor::refresh);
    connect(&studio, &Studio::photoChanged, this, [this](const QUuid& photoID) {
        const Piece* piece = m_app.studio.piece(m_id);
        if (piece && piece->photoIDs.contains(photoID)) refreshPhotos(*piece);
    });
    // Which identifiers resolve to library photos may have changed.
    connect(&studio, &Studio::photosAppended, this, &PieceEditor::refresh);
    connect(&studio, &Studio::photosRemoved, this, &PieceEditor::refresh);
    connect(&studio, &Studio::photosReset, this, &PieceEditor::refresh);
    connect(&m_app.screens, &ScreenSource::screensChanged, this, [this] {
        if (const Piece* piece = m_app.studio.piece(m_id)) refreshDisplays(*piece);
    });
}

PieceEditor::~PieceEditor() = default;

QWidget* PieceEditor::section(const QString& title, QWidget* parent, QWidget* trailing)
{
    auto* box = new QWidget(parent);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    auto* titleRow = new QHBoxLayout;
    auto* label = new QLabel(title, box);
    label->setObjectName(QStringLiteral("sectionTitle"));
    label->setTextFormat(Qt::PlainText);
    QFont f = scaled(label->font(), 0.88);
    f.setWeight(QFont::DemiBold);
    label->setFont(f);
    quiet(label, 0.7);
    titleRow->addWidget(label, 1);
    if (trailing) {
        trailing->setParent(box);
        titleRow->addWidget(trailing);
    }
    layout->addLayout(titleRow);
    return box;
}

void PieceEditor::build()
{
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(padding, 12, padding, padding);
    column->setSpacing(12);
    const auto body = [](QWidget* section) { return static_cast<QVBoxLayout*>(section->layout()); };
    // One tile per case, three a row, each numbered in its group by the case.
    const auto tiles = [this](const auto& cases, const QString& prefix, QWidget* parent, QButtonGroup*& group) {
        auto* grid = new QGridLayout;
        grid->setSpacing(6);
        group = new QButtonGroup(this);
        for (const auto c : cases) {
            auto* tile = new ChoiceTile(Icons::icon(Icons::glyph(c)), Texts::title(c), parent);
            tile->setObjectName(prefix + qRawValue(c));
            tile->setToolTip(Texts::blurb(c));
            const int i = static_cast<int>(c);
            group->addButton(tile, i);
            grid->addWidget(tile, i / 3, i % 3);
        }
        return grid;
    };

    // Header: name, the two pills, what a drag or a click does.
    m_name = new QLineEdit(this);
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setPlaceholderText(tr("Name"));
    m_name->setAccessibleName(tr("Name"));
    QFont nameFont = scaled(m_name->font(), 1.2);
    nameFont.setWeight(QFont::DemiBold);
    m_name->setFont(nameFont);
    column->addWidget(m_name);
    auto* pills = new QHBoxLayout;
    pills->setSpacing(6);
    m_visiblePill = new Pill(this);
    m_visiblePill->setObjectName(QStringLiteral("visibilityPill"));
    m_lockPill = new Pill(this);
    m_lockPill->setObjectName(QStringLiteral("lockPill"));
    pills->addWidget(m_visiblePill);
    pills->addWidget(m_lockPill);
    pills->addStretch(1);
    column->addLayout(pills);
    m_help = note(QString(), this, QStringLiteral("helpLine"));
    column->addWidget(m_help);

    // Photos, with the add menu beside the title.
    m_add = new QToolButton(this);
    m_add->setObjectName(QStringLiteral("addPhotos"));
    m_add->setIcon(Icons::icon(Glyph::plus));
    m_add->setAutoRaise(true);
    m_add->setToolTip(tr("Add photos"));
    m_add->setAccessibleName(tr("Add photos"));
    m_add->setPopupMode(QToolButton::InstantPopup);
    m_add->setFocusPolicy(Qt::StrongFocus);
    auto* addMenu = new QMenu(m_add);
    addMenu->setObjectName(QStringLiteral("addMenu"));
    addMenu->addAction(tr("From Library…"), this, &PieceEditor::openLibraryPicker)->setObjectName(QStringLiteral("fromLibrary"));
    addMenu->addAction(tr("From Files…"), this, &PieceEditor::addFromFiles)->setObjectName(QStringLiteral("fromFiles"));
    m_add->setMenu(addMenu);
    QWidget* photos = section(tr("Photos"), this, m_add);
    m_photos = new PhotoList(m_app, *m_thumbnails, photos);
    body(photos)->addWidget(m_photos);
    m_photosNote = note(QString(), photos, QStringLiteral("photosNote"));
    body(photos)->addWidget(m_photosNote);
    column->addWidget(photos);
    connect(m_photos, &PhotoList::moveRequested, this, [this](int from, int to) {
        const Studio& studio = m_app.studio;
        edit(tr("Reorder Photos"), [&](Piece& p) {
            p.photoIDs = Rules::reorder(p.photoIDs, [&](const QUuid& id) { return studio.photo(id) != nullptr; }, from, to);
        });
    });
    connect(m_photos, &PhotoList::removeRequested, this, [this](const QUuid& photoID) {
        edit(tr("Remove Photo"), [&](Piece& p) { p.photoIDs.removeAll(photoID); });
    });

    // Layout.
    QWidget* layouts = section(tr("Layout"), this);
    QGridLayout* layoutGrid = tiles(allCollageLayouts, QStringLiteral("layout-"), layouts, m_layouts);
    body(layouts)->addLayout(layoutGrid);
    m_direction = new QWidget(layouts);
    auto* direction = new QHBoxLayout(m_direction);
    direction->setContentsMargins(0, 0, 0, 0);
    direction->setSpacing(6);
    auto* directions = new QButtonGroup(this);
    m_across = new ChoiceTile(QIcon(), tr("Across"), m_direction);
    m_across->setObjectName(QStringLiteral("across"));
    m_down = new ChoiceTile(QIcon(), tr("Down"), m_direction);
    m_down->setObjectName(QStringLiteral("down"));
    directions->addButton(m_across, 0);
    directions->addButton(m_down, 1);
    direction->addWidget(m_across);
    direction->addWidget(m_down);
    body(layouts)->addWidget(m_direction);
    m_layoutNote = note(QString(), layouts, QStringLiteral("layoutNote"));
    body(layouts)->addWidget(m_layoutNote);
    column->addWidget(layouts);
    connect(m_layouts, &QButtonGroup::idClicked, this, [this](int id) {
        const auto layout = static_cast<CollageLayout>(id);
        edit(tr("Change Layout"), [layout](Piece& p) { p.layout = layout; });
    });
    connect(directions, &QButtonGroup::idClicked, this, [this](int id) {
        edit(tr("Change Direction"), [id](Piece& p) { p.vertical = id == 1; });
    });

    // Frame.
    QWidget* frames = section(tr("Frame"), this);
    QGridLayout* frameGrid = tiles(allFrameStyles, QStringLiteral("frame-"), frames, m_frames);
    body(frames)->addLayout(frameGrid);
    m_frameNote = note(tr("In a stack, each photo gets its own frame."), frames, QStringLiteral("frameNote"));
    body(frames)->addWidget(m_frameNote);
    column->addWidget(frames);
    connect(m_frames, &QButtonGroup::idClicked, this, [this](int id) {
        const auto style = static_cast<FrameStyle>(id);
        edit(tr("Change Frame"), [style](Piece& p) { p.frame = style; });
    });

    // Size & tilt.
    QWidget* size = section(tr("Size & tilt"), this);
    const QFont digits = [&] {
        QFont f = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        f.setPointSizeF(font().pointSizeF() * 0.92);
        return f;
    }();
    const int readoutWidth = QFontMetrics(digits).horizontalAdvance(QStringLiteral("−12.0°")) + 4;
    const auto sliderRow = [&](Glyph glyph, const QString& name, QSlider*& slider, QLabel*& readout, const QString& id) {
        auto* row = new QHBoxLayout;
        row->setSpacing(8);
        row->addWidget(symbol(glyph, name, size));
        slider = new QSlider(Qt::Horizontal, size);
        slider->setObjectName(id);
        slider->setAccessibleName(name);
        slider->setFocusPolicy(Qt::StrongFocus);
        row->addWidget(slider, 1);
        readout = new QLabel(size);
        readout->setObjectName(id + QStringLiteral("Readout"));
        readout->setFont(digits);
        readout->setMinimumWidth(readoutWidth);
        readout->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        row->addWidget(readout);
        body(size)->addLayout(row);
    };
    sliderRow(Glyph::widthArrows, tr("Width"), m_width, m_widthText, QStringLiteral("width"));
    m_width->setRange(Rules::minWidth, Rules::maxWidth);
    m_width->setSingleStep(1);
    m_width->setPageStep(20);
    sliderRow(Glyph::rotateRight, tr("Tilt"), m_tilt, m_tiltText, QStringLiteral("tilt"));
    m_tilt->setRange(Rules::minTilt, Rules::maxTilt);
    m_tilt->setSingleStep(1);
    m_tilt->setPageStep(Rules::tiltSteps);
    m_sizeNote = note(tr("This piece’s stored size or tilt is outside the sliders’ range. Moving a slider sets a new one."),
                      size, QStringLiteral("sizeNote"));
    body(size)->addWidget(m_sizeNote);
    auto* tiltButtons = new QGridLayout;
    tiltButtons->setSpacing(6);
    m_random = softButton(Icons::icon(Glyph::dice), tr("Random Tilt"), size, QStringLiteral("randomTilt"));
    m_straighten = softButton(Icons::icon(Glyph::level), tr("Straighten"), size, QStringLiteral("straighten"));
    m_shuffle = softButton(Icons::icon(Glyph::shuffle), tr("Shuffle the Fan"), size, QStringLiteral("shuffle"));
    tiltButtons->addWidget(m_random, 0, 0);
    tiltButtons->addWidget(m_straighten, 0, 1);
    tiltButtons->addWidget(m_shuffle, 1, 0, 1, 2, Qt::AlignLeft);
    tiltButtons->setColumnStretch(2, 1);
    body(size)->addLayout(tiltButtons);
    column->addWidget(size);
    connect(m_width, &QSlider::valueChanged, this, [this](int value) {
        edit(tr("Change Width"), [value](Piece& p) { p.width = value; }, Edits::widthKey);
        if (!m_width->isSliderDown()) m_app.edits.closeMerge();
    });
    connect(m_tilt, &QSlider::valueChanged, this, [this](int value) {
        edit(tr("Change Tilt"), [value](Piece& p) { p.tilt = Rules::tiltOf(value); }, Edits::tiltKey);
        if (!m_tilt->isSliderDown()) m_app.edits.closeMerge();
    });
    for (QSlider* s : {m_width, m_tilt}) connect(s, &QSlider::sliderReleased, &m_app.edits, &Edits::closeMerge);
    connect(m_random, &QAbstractButton::clicked, this, [this] {
        const double tilt = Rules::randomTilt();
        edit(tr("Random Tilt"), [tilt](Piece& p) { p.tilt = tilt; });
    });
    connect(m_straighten, &QAbstractButton::clicked, this, [this] { edit(tr("Straighten"), [](Piece& p) { p.tilt = 0; }); });
    connect(m_shuffle, &QAbstractButton::clicked, this, [this] {
        edit(tr("Shuffle the Fan"), [](Piece& p) {
            std::uint32_t seed = Rules::randomSeed();
            while (seed == p.seed) seed = Rules::randomSeed();
            p.seed = seed;
        });
    });

    // Caption.
    QWidget* caption = section(tr("Caption"), this);
    m_caption = new QLineEdit(caption);
    m_caption->setObjectName(QStringLiteral("caption"));
    m_caption->setPlaceholderText(tr("A line for the whole piece"));
    m_caption->setAccessibleName(tr("Caption"));
    body(caption)->addWidget(m_caption);
    body(caption)->addWidget(note(tr("Uses the photo’s caption if empty"), caption, QStringLiteral("captionNote")));
    column->addWidget(caption);
    connect(m_caption, &QLineEdit::textChanged, this, [this](const QString& text) {
        edit(tr("Change Caption"), [&text](Piece& p) { p.caption = text; }, Edits::captionKey);
    });
    connect(m_name, &QLineEdit::textChanged, this, [this](const QString& text) {
        edit(tr("Rename"), [&text](Piece& p) { p.name = text; }, Edits::nameKey);
    });
    for (QLineEdit* field : {m_name, m_caption}) connect(field, &QLineEdit::editingFinished, &m_app.edits, &Edits::closeMerge);

    // A picker after its label, on one line.
    const auto picker = [&](const QString& label, QWidget* section, const QString& name) {
        auto* row = new QHBoxLayout;
        auto* text = new QLabel(label, section);
        auto* box = new QComboBox(section);
        box->setObjectName(name);
        text->setBuddy(box);
        row->addWidget(text);
        row->addWidget(box, 1);
        body(section)->addLayout(row);
        return box;
    };

    // Slideshow.
    QWidget* slideshow = section(tr("Slideshow"), this);
    m_interval = picker(tr("Change photo"), slideshow, QStringLiteral("interval"));
    m_slideshowNote = note(QString(), slideshow, QStringLiteral("slideshowNote"));
    body(slideshow)->addWidget(m_slideshowNote);
    m_next = softButton(Icons::icon(Glyph::forward), tr("Next Photo Now"), slideshow, QStringLiteral("nextPhotoNow"));
    body(slideshow)->addWidget(m_next, 0, Qt::AlignLeft);
    column->addWidget(slideshow);
    connect(m_interval, &QComboBox::activated, this, [this](int index) {
        const qint64 minutes = m_interval->itemData(index).toLongLong();
        edit(tr("Change Slideshow"), [minutes](Piece& p) { p.rotateMinutes = minutes; });
    });
    connect(m_next, &QAbstractButton::clicked, this, [this] { m_app.studio.advance(m_id); });

    // Display.
    QWidget* display = section(tr("Display"), this);
    m_display = picker(tr("Show on"), display, QStringLiteral("display"));
    column->addWidget(display);
    connect(m_display, &QComboBox::activated, this, [this](int index) {
        const QVariant stored = m_display->itemData(index);
        const std::optional<QString> key = stored.isNull() ? std::nullopt : std::optional(stored.toString());
        edit(tr("Change Display"), [&key](Piece& p) { p.displayID = key; });
    });

    // Footer.
    auto* footer = new QHBoxLayout;
    auto* duplicate = new QToolButton(this);
    duplicate->setObjectName(QStringLiteral("duplicate"));
    duplicate->setDefaultAction(m_app.actions.duplicate);
    duplicate->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    duplicate->setFocusPolicy(Qt::StrongFocus);
    m_duplicate = duplicate;
    m_delete = softButton(Icons::icon(Glyph::trash), tr("Delete"), this, QStringLiteral("delete"));
    footer->addWidget(m_duplicate);
    footer->addStretch(1);
    footer->addWidget(m_delete);
    column->addSpacing(4);
    column->addLayout(footer);
    column->addStretch(1);
    connect(m_delete, &QAbstractButton::clicked, this, [this] { m_app.actions.confirmDelete(m_id, this); });
    refreshTabOrder();
}

QAbstractButton* PieceEditor::layoutTile(CollageLayout layout) const { return m_layouts->button(static_cast<int>(layout)); }

QAbstractButton* PieceEditor::frameTile(FrameStyle style) const { return m_frames->button(static_cast<int>(style)); }

void PieceEditor::edit(const QString& text, const std::function<void(Piece&)>& change, int mergeKey)
{
    if (m_id.isNull() || !m_app.studio.piece(m_id)) return;
    m_app.edits.update(m_id, text, change, mergeKey);
}

void PieceEditor::setPiece(const QUuid& id)
{
    if (id == m_id) return;
    // A step under way belongs to the piece it started on.
    m_app.edits.closeMerge();
    m_id = id;
    if (m_picker) m_picker->reject();
    refresh();
}

void PieceEditor::refresh()
{
    const Piece* found = m_app.studio.piece(m_id);
    if (!found) return;
    const Piece piece = *found;

    if (m_name->text() != piece.name) {
        const QSignalBlocker b(m_name);
        m_name->setText(piece.name);
        m_name->setCursorPosition(0);
    }
    m_visiblePill->set(Icons::icon(piece.isVisible ? Glyph::eye : Glyph::eyeSlash), Rules::visibilityText(piece.isVisible));
    m_lockPill->set(Icons::icon(piece.isLocked ? Glyph::lock : Glyph::hand), Rules::lockText(piece.isLocked));
    m_help->setText(Rules::helpLine(piece.isLocked));

    refreshPhotos(piece);

    if (QAbstractButton* tile = layoutTile(piece.layout); tile && !tile->isChecked()) tile->setChecked(true);
    m_direction->setVisible(piece.layout == CollageLayout::frieze);
    (piece.vertical ? m_down : m_across)->setChecked(true);
    if (QAbstractButton* tile = frameTile(piece.frame); tile && !tile->isChecked()) tile->setChecked(true);
    m_frameNote->setVisible(piece.layout == CollageLayout::stack);

    if (!m_width->isSliderDown()) {
        const QSignalBlocker b(m_width);
        m_width->setValue(Rules::widthPosition(piece.width));
    }
    m_widthText->setText(Rules::widthText(piece.width));
    if (!m_tilt->isSliderDown()) {
        const QSignalBlocker b(m_tilt);
        m_tilt->setValue(Rules::tiltPosition(piece.tilt));
    }
    m_tiltText->setText(Rules::tiltText(piece.tilt));
    m_sizeNote->setVisible(!Rules::widthInRange(piece.width) || !Rules::tiltInRange(piece.tilt));
    m_width->setToolTip(Rules::widthText(piece.width));
    m_tilt->setToolTip(Rules::tiltText(piece.tilt));

    if (m_caption->text() != piece.caption) {
        const QSignalBlocker b(m_caption);
        m_caption->setText(piece.caption);
    }

    {
        const QSignalBlocker b(m_interval);
        const QList<Rules::Interval> offered = Rules::intervalsFor(piece.rotateMinutes);
        bool same = m_interval->count() == offered.size();
        for (int i = 0; same && i < offered.size(); ++i) same = m_interval->itemData(i).toLongLong() == offered[i].minutes;
        if (!same) {
            m_interval->clear();
            for (const Rules::Interval& i : offered) m_interval->addItem(i.label, QVariant::fromValue(i.minutes));
        }
        m_interval->setCurrentIndex(m_interval->findData(QVariant::fromValue(piece.rotateMinutes)));
    }

    refreshDisplays(piece);
}

void PieceEditor::refreshPhotos(const Piece& piece)
{
    const QList<Photo> photos = m_app.studio.photos(piece);
    const bool rowsChanged = m_photos->setPhotos(photos);
    m_photos->setVisible(!photos.isEmpty());
    m_photosNote->setText(photos.isEmpty() ? tr("No photos yet. Use + to add some.") : tr("Drag to reorder."));
    m_layoutNote->setText(Rules::singleNote(photos.size()));
    m_layoutNote->setVisible(piece.layout == CollageLayout::single);
    m_slideshowNote->setText(Rules::slideshowNote(piece.layout, photos.size()));
    m_next->setVisible(photos.size() >= 2);
    if (rowsChanged) refreshTabOrder();
}

void PieceEditor::refreshDisplays(const Piece& piece)
{
    QList<Rules::Screen> screens;
    for (const ScreenInfo& s : m_app.screens.screens()) screens.append({s.key, screenName(s.key)});
    const QList<Rules::DisplayChoice> choices = Rules::displayChoices(piece.displayID, screens);
    const QSignalBlocker b(m_display);
    const auto dataOf = [](const Rules::DisplayChoice& c) { return c.key ? QVariant(*c.key) : QVariant(); };
    bool same = m_display->count() == choices.size();
    for (int i = 0; same && i < choices.size(); ++i)
        same = m_display->itemText(i) == choices[i].label && m_display->itemData(i) == dataOf(choices[i]);
    if (!same) {
        m_display->clear();
        for (const Rules::DisplayChoice& c : choices) m_display->addItem(c.label, dataOf(c));
    }
    m_display->setCurrentIndex(Rules::displayIndex(choices, piece.displayID));
}

void PieceEditor::refreshTabOrder()
{
    // Rows come and go: keep the order of the keyboard the order on screen.
    QList<QWidget*> order{m_name, m_add};
    for (PhotoRow* row : m_photos->rows()) order << row->handle() << row->captionField() << row->removeButton();
    for (const CollageLayout l : allCollageLayouts) order << layoutTile(l);
    order << m_across << m_down;
    for (const FrameStyle f : allFrameStyles) order << frameTile(f);
    order << m_width << m_tilt << m_random << m_straighten << m_shuffle << m_caption << m_interval << m_next << m_display
          << m_duplicate << m_delete;
    for (int i = 1; i < order.size(); ++i) setTabOrder(order[i - 1], order[i]);
}

LibraryPicker* PieceEditor::libraryPicker() const { return m_picker; }

void PieceEditor::openLibraryPicker()
{
    if (m_id.isNull()) return;
    if (m_picker) m_picker->reject();
    m_picker = new LibraryPicker(m_app, *m_thumbnails, m_id, this);
    m_picker->setAttribute(Qt::WA_DeleteOnClose);
    m_picker->open();
}

void PieceEditor::addFromFiles()
{
    const QUuid id = m_id;
    const QStringList chosen = m_app.studio.chooseFiles();
    if (id.isNull() || chosen.isEmpty()) return;
    QPointer<PieceEditor> self(this);
    m_app.studio.importURLs(chosen, [self, id](const QList<Photo>& photos) {
        if (!self || photos.isEmpty()) return;
        QList<QUuid> ids;
        ids.reserve(photos.size());
        for (const Photo& p : photos) ids.append(p.id);
        self->m_app.edits.add(ids, id);
    });
}

// --- inspector --------------------------------------------------------------------------------

QWidget* makeInspectorEmptyState(QWidget* parent)
{
    auto* empty = new QWidget(parent);
    empty->setObjectName(QStringLiteral("inspectorEmpty"));
    auto* layout = new QVBoxLayout(empty);
    layout->addStretch(1);
    auto* glyph = new QLabel(empty);
    glyph->setPixmap(Icons::drawn(Glyph::sliders).pixmap(QSize(40, 40), empty->devicePixelRatioF(), QIcon::Disabled));
    glyph->setAlignment(Qt::AlignCenter);
    layout->addWidget(glyph);
    auto* text = new QLabel(Inspector::tr("Select a piece to edit it"), empty);
    text->setAlignment(Qt::AlignCenter);
    quiet(text);
    layout->addWidget(text);
    layout->addStretch(1);
    return empty;
}

Inspector::Inspector(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("inspector"));
    setAccessibleName(tr("Piece editor"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    m_stack = new QStackedWidget(this);
    m_empty = makeInspectorEmptyState(m_stack);
    m_stack->addWidget(m_empty);
    m_scroll = new QScrollArea(m_stack);
    m_scroll->setObjectName(QStringLiteral("inspectorScroll"));
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setWidgetResizable(true);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_editor = new PieceEditor(m_app, m_scroll);
    m_scroll->setWidget(m_editor);
    m_stack->addWidget(m_scroll);
    layout->addWidget(m_stack);

    Studio& studio = m_app.studio;
    connect(&studio, &Studio::selectionChanged, this, &Inspector::follow);
    connect(&studio, &Studio::pieceRemoved, this, &Inspector::follow);
    connect(&studio, &Studio::pieceInserted, this, &Inspector::follow);
    connect(&studio, &Studio::piecesReset, this, &Inspector::follow);
    follow();
}

bool Inspector::showsEditor() const { return m_stack->currentWidget() == m_scroll; }

void Inspector::follow()
{
    const auto selected = m_app.studio.selectedPieceID();
    if (selected && m_app.studio.piece(*selected)) {
        const bool other = m_editor->pieceID() != *selected;
        m_editor->setPiece(*selected);
        m_stack->setCurrentWidget(m_scroll);
        if (other) m_scroll->ensureVisible(0, 0);
        return;
    }
    // Never a stale editor: the piece is gone or nothing is selected.
    m_editor->setPiece({});
    m_stack->setCurrentWidget(m_empty);
}

} // namespace velora
