#include "library_picker.h"

#include "app_context.h"
#include "edits.h"
#include "icons.h"
#include "models.h"
#include "studio.h"
#include "theme.h"
#include "thumbnails.h"

#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace velora {

namespace {

constexpr int tileSide = 96;
constexpr int cellSide = 108;

class PickerDelegate final : public QStyledItemDelegate {
public:
    PickerDelegate(AppContext& app, Thumbnails& thumbnails, const QUuid& pieceID, QObject* parent)
        : QStyledItemDelegate(parent)
        , m_app(app)
        , m_thumbnails(thumbnails)
        , m_pieceID(pieceID)
    {
    }

    QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override { return {cellSide, cellSide}; }

    void paint(QPainter* p, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const QUuid id = index.data(PhotoListModel::IdRole).toUuid();
        const QList<Photo>& photos = m_app.studio.photos();
        const Photo* photo = index.row() < photos.size() && photos[index.row()].id == id ? &photos[index.row()]
                                                                                          : m_app.studio.photo(id);
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        const QRectF box(option.rect.x() + (option.rect.width() - tileSide) / 2.0,
                         option.rect.y() + (option.rect.height() - tileSide) / 2.0, tileSide, tileSide);
        QPainterPath clip;
        clip.addRoundedRect(box, 6, 6);
        const qreal dpr = option.widget ? option.widget->devicePixelRatioF() : 1.0;
        const QImage image = photo ? m_thumbnails.square(*photo, tileSide, dpr) : QImage();
        if (image.isNull()) {
            p->fillPath(clip, Theme::secondary(option.palette, 0.12));
        } else {
            p->setClipPath(clip);
            p->drawImage(box.topLeft(), image);
            p->setClipping(false);
        }
        if (option.state & QStyle::State_Selected) {
            p->setPen(QPen(option.palette.color(QPalette::Highlight), 3));
            p->setBrush(Qt::NoBrush);
            p->drawRoundedRect(box.adjusted(-1.5, -1.5, 1.5, 1.5), 7, 7);
        } else if (option.state & QStyle::State_HasFocus) {
            p->setPen(QPen(option.palette.color(QPalette::Highlight), 1.5, Qt::DashLine));
            p->drawRoundedRect(box.adjusted(-1.5, -1.5, 1.5, 1.5), 7, 7);
        }
        const Piece* piece = m_app.studio.piece(m_pieceID);
        if (piece && piece->photoIDs.contains(id)) {
            // Already in the piece: a tick on a white disc, in the highlight colour.
            const QRectF badge(box.right() - 26, box.top() + 6, 20, 20);
            p->setPen(Qt::NoPen);
            p->setBrush(Qt::white);
            p->drawEllipse(badge.adjusted(2, 2, -2, -2));
            QImage tick(badge.size().toSize() * dpr, QImage::Format_ARGB32_Premultiplied);
            tick.setDevicePixelRatio(dpr);
            tick.fill(Qt::transparent);
            {
                QPainter t(&tick);
                Icons::drawn(Glyph::checkCircle).paint(&t, QRect(QPoint(), badge.size().toSize()));
                t.setCompositionMode(QPainter::CompositionMode_SourceIn);
                t.fillRect(tick.rect(), option.palette.color(QPalette::Highlight));
            }
            p->drawImage(badge.topLeft(), tick);
        }
        p->restore();
    }

private:
    AppContext& m_app;
    Thumbnails& m_thumbnails;
    QUuid m_pieceID;
};

} // namespace

LibraryPicker::LibraryPicker(AppContext& app, Thumbnails& thumbnails, const QUuid& pieceID, QWidget* parent)
    : QDialog(parent)
    , m_app(app)
    , m_pieceID(pieceID)
{
    setObjectName(QStringLiteral("libraryPicker"));
    setWindowTitle(tr("Add from Library"));
    setWindowModality(Qt::WindowModal);
    resize(560, 480);
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel(tr("Add from Library"), this);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.25);
    big.setWeight(QFont::DemiBold);
    title->setFont(big);
    layout->addWidget(title);

    m_body = new QStackedWidget(this);
    m_view = new QListView(m_body);
    m_view->setObjectName(QStringLiteral("pickerGrid"));
    m_view->setAccessibleName(tr("Library photos"));
    m_view->setViewMode(QListView::IconMode);
    m_view->setMovement(QListView::Static);
    m_view->setResizeMode(QListView::Adjust);
    m_view->setUniformItemSizes(true);
    m_view->setGridSize(QSize(cellSide, cellSide));
    m_view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_view->setItemDelegate(new PickerDelegate(m_app, thumbnails, m_pieceID, m_view));
    m_view->setModel(&m_app.photos);
    m_body->addWidget(m_view);
    m_empty = new QLabel(tr("Your library is empty."), m_body);
    m_empty->setObjectName(QStringLiteral("pickerEmpty"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_body->addWidget(m_empty);
    layout->addWidget(m_body, 1);

    auto* buttons = new QDialogButtonBox(this);
    m_add = buttons->addButton(tr("Add"), QDialogButtonBox::AcceptRole);
    m_add->setObjectName(QStringLiteral("pickerAdd"));
    buttons->addButton(QDialogButtonBox::Cancel);
    layout->addWidget(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &LibraryPicker::addChosen);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_view, &QListView::doubleClicked, this, [this](const QModelIndex& index) {
        m_view->selectionModel()->select(index, QItemSelectionModel::ClearAndSelect);
        addChosen();
    });
    connect(m_view->selectionModel(), &QItemSelectionModel::selectionChanged, this, &LibraryPicker::refresh);
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(&m_app.photos, signal, this, &LibraryPicker::refresh);
    connect(&m_app.photos, &QAbstractItemModel::modelReset, this, &LibraryPicker::refresh);
    connect(&m_app.studio, &Studio::pieceChanged, this, [this](const QUuid& id) {
        if (id != m_pieceID) return;
        m_view->viewport()->update();
        refresh();
    });
    // Nothing to add to once the piece is gone.
    connect(&m_app.studio, &Studio::pieceRemoved, this, [this](const QUuid& id) {
        if (id == m_pieceID && !m_app.studio.piece(id)) reject();
    });
    connect(&thumbnails, &Thumbnails::ready, m_view->viewport(), qOverload<>(&QWidget::update));
    refresh();
}

bool LibraryPicker::showsEmptyText() const { return m_body->currentWidget() == m_empty; }

QList<QUuid> LibraryPicker::chosen() const
{
    const Piece* piece = m_app.studio.piece(m_pieceID);
    if (!piece) return {};
    QModelIndexList rows = m_view->selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
    QList<QUuid> out;
    for (const QModelIndex& index : std::as_const(rows)) {
        const QUuid id = index.data(PhotoListModel::IdRole).toUuid();
        if (!piece->photoIDs.contains(id) && !out.contains(id)) out.append(id);
    }
    return out;
}

void LibraryPicker::addChosen()
{
    const QList<QUuid> ids = chosen();
    if (!ids.isEmpty()) m_app.edits.add(ids, m_pieceID);
    accept();
}

void LibraryPicker::refresh()
{
    m_body->setCurrentWidget(m_app.photos.rowCount() == 0 ? static_cast<QWidget*>(m_empty) : m_view);
    m_add->setEnabled(!chosen().isEmpty());
}

} // namespace velora
