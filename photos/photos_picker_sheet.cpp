#include "photos_picker_sheet.h"

#include "asset_grid_model.h"
#include "photos_bridge.h"
#include "studio.h"
#include "theme.h"

#include <QAbstractListModel>
#include <QDesktopServices>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <cmath>

namespace velora {

namespace {

QPointer<PhotosPickerSheet>& openSheet()
{
    static QPointer<PhotosPickerSheet> sheet;
    return sheet;
}

enum class Symbol { photoOnRectangle, photoStack };

// Our own drawings of the two symbols: rounded photo frames with a hill and a sun.
QPixmap symbol(Symbol which, int side, const QColor& ink, qreal dpr)
{
    QPixmap pm(QSize(side, side) * dpr);
    pm.setDevicePixelRatio(dpr);
    pm.fill(Qt::transparent);
    QPainter p(&pm);
    p.setRenderHint(QPainter::Antialiasing);
    const qreal s = side, w = std::max(1.0, s / 14);
    p.setPen(QPen(ink, w, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QRectF front = which == Symbol::photoOnRectangle ? QRectF(s * 0.08, s * 0.30, s * 0.66, s * 0.52)
                                                           : QRectF(s * 0.10, s * 0.34, s * 0.80, s * 0.56);
    if (which == Symbol::photoOnRectangle) {
        QPainterPath back;
        back.moveTo(s * 0.26, s * 0.30);
        back.lineTo(s * 0.26, s * 0.16);
        back.lineTo(s * 0.92, s * 0.16);
        back.lineTo(s * 0.92, s * 0.66);
        back.lineTo(s * 0.74, s * 0.66);
        p.drawPath(back);
    } else {
        p.drawLine(QPointF(s * 0.18, s * 0.24), QPointF(s * 0.82, s * 0.24));
        p.drawLine(QPointF(s * 0.26, s * 0.14), QPointF(s * 0.74, s * 0.14));
    }
    p.drawRoundedRect(front, s * 0.06, s * 0.06);
    QPainterPath hills;
    hills.moveTo(front.left() + w, front.bottom() - w);
    hills.lineTo(front.left() + front.width() * 0.38, front.top() + front.height() * 0.45);
    hills.lineTo(front.left() + front.width() * 0.60, front.top() + front.height() * 0.70);
    hills.lineTo(front.left() + front.width() * 0.75, front.top() + front.height() * 0.55);
    hills.lineTo(front.right() - w, front.bottom() - w);
    p.drawPath(hills);
    p.setBrush(ink);
    p.drawEllipse(QPointF(front.left() + front.width() * 0.75, front.top() + front.height() * 0.28), s * 0.045, s * 0.045);
    return pm;
}

QColor secondary(const QPalette& palette)
{
    QColor c = palette.color(QPalette::WindowText);
    c.setAlphaF(0.6);
    return c;
}

} // namespace

// --- album list ------------------------------------------------------------------------------

// The albums in the bridge's order; with several sources, a heading row (not selectable) over each.
class AlbumListModel : public QAbstractListModel {
public:
    enum Role { CountRole = Qt::UserRole + 1, HeaderRole, AlbumIndexRole };

    explicit AlbumListModel(PhotosBridge* bridge, QObject* parent) : QAbstractListModel(parent), m_bridge(bridge)
    {
        connect(bridge, &PhotosBridge::albumsChanged, this, &AlbumListModel::rebuild);
    }

    int rowCount(const QModelIndex& parent = {}) const override { return parent.isValid() ? 0 : int(m_rows.size()); }

    Qt::ItemFlags flags(const QModelIndex& index) const override
    {
        if (!index.isValid() || m_rows[index.row()].album < 0) return Qt::NoItemFlags;
        return Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    }

    QVariant data(const QModelIndex& index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_rows.size()) return {};
        const Row& row = m_rows[index.row()];
        if (row.album < 0) {
            switch (role) {
            case Qt::DisplayRole: return row.header;
            case Qt::ToolTipRole: return row.note;
            case HeaderRole: return true;
            default: return {};
            }
        }
        const Album& album = m_bridge->albums()[row.album];
        switch (role) {
        case Qt::DisplayRole: return album.title;
        case Qt::AccessibleTextRole: return PhotosPickerSheet::tr("%1, %2 photos").arg(album.title).arg(album.count);
        case CountRole: return album.count;
        case HeaderRole: return false;
        case AlbumIndexRole: return row.album;
        default: return {};
        }
    }

    int rowOfAlbum(const QString& id) const
    {
        for (int i = 0; i < m_rows.size(); ++i)
            if (m_rows[i].album >= 0 && m_bridge->albums()[m_rows[i].album].id == id) return i;
        return -1;
    }

private:
    struct Row {
        int album = -1; // -1: a source's heading
        QString header;
        QString note;
    };

    // With several sources each gets a heading over its albums; one that can't be read says so.
    void rebuild()
    {
        beginResetModel();
        m_rows.clear();
        const bool headings = m_bridge->sources().size() > 1;
        QHash<QString, QString> unreadable;
        for (const auto& [name, problem] : m_bridge->unreadableSources()) unreadable.insert(name, problem);
        for (int s = 0; s < m_bridge->sources().size(); ++s) {
            const QString name = m_bridge->sources()[s]->name();
            if (headings) {
                if (unreadable.contains(name))
                    m_rows.append({-1, PhotosPickerSheet::tr("%1 (couldn’t be read)").arg(name), unreadable.value(name)});
                else
                    m_rows.append({-1, name, {}});
            }
            for (int a = 0; a < m_bridge->albums().size(); ++a)
                if (m_bridge->albums()[a].source == s) m_rows.append({a, {}, {}});
        }
        endResetModel();
    }

    PhotosBridge* m_bridge;
    QList<Row> m_rows;
};

namespace {

class AlbumDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override
    {
        return {PhotosPickerSheet::albumListWidth, option.fontMetrics.height() + 12};
    }

    void paint(QPainter* p, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        const bool header = index.data(AlbumListModel::HeaderRole).toBool();
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        const QRectF r = QRectF(option.rect).adjusted(6, 1, -6, -1);
        const bool selected = option.state & QStyle::State_Selected;
        if (selected) {
            p->setPen(Qt::NoPen);
            p->setBrush(option.palette.color(QPalette::Highlight));
            p->drawRoundedRect(r, 6, 6);
        }
        if ((option.state & QStyle::State_HasFocus) && !selected) {
            p->setPen(QPen(option.palette.color(QPalette::Highlight), 1.5));
            p->setBrush(Qt::NoBrush);
            p->drawRoundedRect(r.adjusted(1, 1, -1, -1), 6, 6);
        }
        const QColor text = selected ? option.palette.color(QPalette::HighlightedText) : option.palette.color(QPalette::Text);
        const QRectF inner = r.adjusted(10, 0, -10, 0);
        QFont font = option.font;
        if (header) {
            font.setBold(true);
            font.setPointSizeF(font.pointSizeF() * 0.85);
            p->setFont(font);
            p->setPen(secondary(option.palette));
            p->drawText(inner, Qt::AlignLeft | Qt::AlignBottom,
                        QFontMetrics(font).elidedText(index.data().toString(), Qt::ElideRight, int(inner.width())));
            p->restore();
            return;
        }
        QFont caption = font;
        caption.setPointSizeF(font.pointSizeF() * 0.85);
        const QString count = QString::number(index.data(AlbumListModel::CountRole).toInt());
        const int countWidth = QFontMetrics(caption).horizontalAdvance(count);
        p->setFont(caption);
        QColor dim = text;
        dim.setAlphaF(0.6);
        p->setPen(dim);
        p->drawText(inner, Qt::AlignRight | Qt::AlignVCenter, count);
        p->setFont(font);
        p->setPen(text);
        const QRectF titleRect = inner.adjusted(0, 0, -(countWidth + 8), 0);
        p->drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter,
                    QFontMetrics(font).elidedText(index.data().toString(), Qt::ElideRight, int(titleRect.width())));
        p->restore();
    }
};

// One photo cell: a rounded square, faint until its thumbnail comes, with the brand-gradient
// border and a check while picked.
class ThumbDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    // The whole grid cell, so the square can sit in its middle.
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override
    {
        if (const auto* view = qobject_cast<const QListView*>(option.widget); view && view->gridSize().isValid())
            return view->gridSize();
        constexpr int step = PhotosPickerSheet::cellSide + PhotosPickerSheet::cellGap;
        return {step, step};
    }

    void paint(QPainter* p, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        constexpr int side = PhotosPickerSheet::cellSide;
        // Centred in its grid cell: half a gap all round leaves room for the focus ring.
        const QRectF cell(option.rect.left() + (option.rect.width() - side) / 2.0,
                          option.rect.top() + (option.rect.height() - side) / 2.0, side, side);
        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        p->setRenderHint(QPainter::SmoothPixmapTransform);
        QPainterPath shape;
        shape.addRoundedRect(cell, 8, 8);
        QColor faint = option.palette.color(QPalette::Text);
        faint.setAlphaF(0.05);
        p->fillPath(shape, faint);
        const QImage image = index.data(AssetGridModel::ThumbnailRole).value<QImage>();
        if (!image.isNull()) {
            p->setClipPath(shape);
            p->drawImage(cell, image);
            p->setClipping(false);
        }
        if (index.data(AssetGridModel::PickedRole).toBool()) {
            const QRectF inner = cell.adjusted(1.5, 1.5, -1.5, -1.5);
            p->setPen(QPen(QBrush(Theme::brand(cell)), 3));
            p->setBrush(Qt::NoBrush);
            p->drawRoundedRect(inner, 6.5, 6.5);
            constexpr qreal d = 20;
            const QRectF badge(cell.right() - 5 - d, cell.top() + 5, d, d);
            p->setPen(Qt::NoPen);
            p->setBrush(Qt::white);
            p->drawEllipse(badge);
            QPainterPath tick;
            tick.moveTo(badge.left() + d * 0.27, badge.top() + d * 0.52);
            tick.lineTo(badge.left() + d * 0.44, badge.top() + d * 0.68);
            tick.lineTo(badge.left() + d * 0.74, badge.top() + d * 0.34);
            p->setPen(QPen(QBrush(Theme::brand(badge)), 2.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p->drawPath(tick);
        }
        if (option.state & QStyle::State_HasFocus) {
            p->setPen(QPen(option.palette.color(QPalette::Highlight), 2));
            p->setBrush(Qt::NoBrush);
            p->drawRoundedRect(cell.adjusted(-3, -3, 3, 3), 10, 10);
        }
        p->restore();
    }
};

} // namespace

// The grid: padded 12, columns of at least 104 + 8 sharing the width, Space ticks the current
// cell, and every scroll tells the model which rows are on screen.
class PhotoGridView : public QListView {
public:
    explicit PhotoGridView(QWidget* parent) : QListView(parent)
    {
        setViewMode(QListView::ListMode);
        setFlow(QListView::LeftToRight);
        setWrapping(true);
        setResizeMode(QListView::Adjust);
        setUniformItemSizes(true);
        setSelectionMode(QAbstractItemView::NoSelection);
        setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        setFrameShape(QFrame::NoFrame);
        // The cells' own half gaps make up the rest of the padding.
        const int edge = padding - PhotosPickerSheet::cellGap / 2;
        setViewportMargins(edge, edge, edge, edge);
        // The padding and the cells share the sheet's own background.
        viewport()->setBackgroundRole(QPalette::Window);
        verticalScrollBar()->setSingleStep(24);
        connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { visibleChanged(); });
    }

    std::function<void(const QModelIndex&)> onToggle;
    std::function<void(int first, int last)> onVisible;

    // Rows whose cells are at least partly on screen.
    std::pair<int, int> visibleRows() const
    {
        const int columns = std::max(1, m_columns);
        constexpr int step = PhotosPickerSheet::cellSide + PhotosPickerSheet::cellGap;
        const int top = verticalScrollBar()->value() / step;
        const int bottom = (verticalScrollBar()->value() + viewport()->height()) / step;
        return {top * columns, (bottom + 1) * columns - 1};
    }

    static constexpr int padding = 12;

protected:
    void resizeEvent(QResizeEvent* event) override
    {
        QListView::resizeEvent(event);
        // The viewport has its new width now; the scroll bar is always there, so it stays.
        constexpr int step = PhotosPickerSheet::cellSide + PhotosPickerSheet::cellGap;
        const int available = viewport()->width();
        m_columns = std::max(1, (available + PhotosPickerSheet::cellGap) / step);
        setGridSize(QSize(std::max(step, available / m_columns), step));
        visibleChanged();
    }

    void keyPressEvent(QKeyEvent* event) override
    {
        if (event->key() == Qt::Key_Space && currentIndex().isValid()) {
            if (onToggle) onToggle(currentIndex());
            return;
        }
        QListView::keyPressEvent(event);
    }

    void focusInEvent(QFocusEvent* event) override
    {
        if (!currentIndex().isValid() && model() && model()->rowCount() > 0) setCurrentIndex(model()->index(0, 0));
        QListView::focusInEvent(event);
    }

private:
    void visibleChanged()
    {
        if (!onVisible) return;
        const auto [first, last] = visibleRows();
        onVisible(first, last);
    }

    int m_columns = 1;
};

// --- the sheet ----------------------------------------------------------------------------------

PhotosPickerSheet::PhotosPickerSheet(Studio& studio, PhotosBridge* bridge, QWidget* parent)
    : QDialog(parent), m_studio(&studio), m_bridge(bridge)
{
    m_bridge->setParent(this);
    setObjectName(QStringLiteral("photosPickerSheet"));
    setWindowTitle(tr("Import from Photos"));
#if defined(Q_OS_MACOS)
    setWindowFlag(Qt::Sheet);
#endif
    setWindowModality(Qt::WindowModal);
    setFixedSize(sheetWidth, sheetHeight);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    buildHeader();
    auto* line = new QFrame(this);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Plain);
    line->setForegroundRole(QPalette::Mid);
    layout->addWidget(line);
    buildBody();

    connect(m_bridge, &PhotosBridge::statusChanged, this, [this] {
        refreshHeader();
        refreshBody();
    });
    connect(m_bridge, &PhotosBridge::pickedChanged, this, &PhotosPickerSheet::refreshHeader);
    connect(m_bridge, &PhotosBridge::importingChanged, this, &PhotosPickerSheet::refreshHeader);
    connect(m_bridge, &PhotosBridge::albumsChanged, this, [this] {
        syncAlbumSelection();
        refreshBody();
    });
    connect(m_bridge, &PhotosBridge::selectedAlbumChanged, this, &PhotosPickerSheet::syncAlbumSelection);
    connect(m_bridge, &PhotosBridge::assetsChanged, this, &PhotosPickerSheet::refreshBody);
    refreshHeader();
    refreshBody();
}

PhotosPickerSheet::~PhotosPickerSheet() = default;

PhotosPickerSheet* PhotosPickerSheet::current() { return openSheet(); }

PhotosPickerSheet* PhotosPickerSheet::present(QWidget* parent, Studio& studio, PhotosBridge* bridge)
{
    if (PhotosPickerSheet* open = openSheet()) {
        delete bridge;
        open->raise();
        open->activateWindow();
        return open;
    }
    auto* sheet = new PhotosPickerSheet(studio, bridge ? bridge : PhotosBridge::forThisMachine(), parent);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    openSheet() = sheet;
    if (!studio.showPhotosPicker()) studio.setShowPhotosPicker(true);
    sheet->open();
    return sheet;
}

void PhotosPickerSheet::buildHeader()
{
    auto* header = new QWidget(this);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(16, 16, 16, 16);
    row->setSpacing(10);
    auto* icon = new QLabel(header);
    icon->setPixmap(symbol(Symbol::photoOnRectangle, 22, palette().color(QPalette::WindowText), devicePixelRatioF()));
    icon->setAccessibleName(tr("Photos"));
    auto* title = new QLabel(tr("Import from Photos"), header);
    QFont headline = title->font();
    headline.setBold(true);
    headline.setPointSizeF(headline.pointSizeF() * 1.1);
    title->setFont(headline);
    title->setObjectName(QStringLiteral("sheetTitle"));
    m_cancel = new QPushButton(tr("Cancel"), header);
    m_cancel->setObjectName(QStringLiteral("cancelButton"));
    m_cancel->setAutoDefault(false);
    m_import = new QPushButton(tr("Import"), header);
    m_import->setObjectName(QStringLiteral("importButton"));
    m_import->setDefault(true);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(m_import, &QPushButton::clicked, this, &PhotosPickerSheet::runImport);
    row->addWidget(icon);
    row->addWidget(title);
    row->addStretch(1);
    row->addWidget(m_cancel);
    row->addWidget(m_import);
    static_cast<QVBoxLayout*>(layout())->addWidget(header);
}

void PhotosPickerSheet::buildBody()
{
    m_body = new QStackedWidget(this);
    static_cast<QVBoxLayout*>(layout())->addWidget(m_body, 1);

    // The album browser.
    m_browser = new QWidget(m_body);
    auto* split = new QHBoxLayout(m_browser);
    split->setContentsMargins(0, 0, 0, 0);
    split->setSpacing(0);
    m_albums = new QListView(m_browser);
    m_albums->setObjectName(QStringLiteral("albumList"));
    m_albums->setAccessibleName(tr("Albums"));
    m_albums->setFixedWidth(albumListWidth);
    m_albums->setFrameShape(QFrame::NoFrame);
    m_albums->setBackgroundRole(QPalette::AlternateBase);
    m_albums->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_albumModel = new AlbumListModel(m_bridge, m_albums);
    m_albums->setModel(m_albumModel);
    m_albums->setItemDelegate(new AlbumDelegate(m_albums));
    connect(m_albums->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& index) {
        const QVariant a = index.data(AlbumListModel::AlbumIndexRole);
        if (!a.isValid()) return;
        const Album& album = m_bridge->albums()[a.toInt()];
        if (!m_bridge->selectedAlbum() || m_bridge->selectedAlbum()->id != album.id) m_bridge->select(album);
    });
    auto* divider = new QFrame(m_browser);
    divider->setFrameShape(QFrame::VLine);
    divider->setFrameShadow(QFrame::Plain);
    divider->setForegroundRole(QPalette::Mid);

    m_gridArea = new QStackedWidget(m_browser);
    m_grid = new PhotoGridView(m_gridArea);
    m_grid->setObjectName(QStringLiteral("photoGrid"));
    m_grid->setAccessibleName(tr("Photos"));
    m_gridModel = new AssetGridModel(m_bridge, m_grid);
    m_gridModel->setCellPixels(int(std::ceil(cellSide * devicePixelRatioF())));
    m_grid->setModel(m_gridModel);
    m_grid->setItemDelegate(new ThumbDelegate(m_grid));
    m_grid->onToggle = [this](const QModelIndex& index) { m_bridge->togglePick(index.data(AssetGridModel::IdRole).toString()); };
    m_grid->onVisible = [this](int first, int last) { m_gridModel->keepNear(first, last); };
    connect(m_grid, &QListView::clicked, this, [this](const QModelIndex& index) { m_grid->onToggle(index); });
    m_emptyNote = new QLabel(tr("No photos here yet."), m_gridArea);
    m_emptyNote->setAlignment(Qt::AlignCenter);
    m_gridArea->addWidget(m_grid);
    m_gridArea->addWidget(m_emptyNote);
    split->addWidget(m_albums);
    split->addWidget(divider);
    split->addWidget(m_gridArea, 1);
    m_body->addWidget(m_browser);

    // The permission views: one layout, texts by state.
    m_permission = new QWidget(m_body);
    auto* column = new QVBoxLayout(m_permission);
    column->setSpacing(14);
    column->addStretch(1);
    auto* big = new QLabel(m_permission);
    big->setPixmap(symbol(Symbol::photoStack, 56, secondary(palette()), devicePixelRatioF()));
    big->setAlignment(Qt::AlignCenter);
    big->setAccessibleName(tr("Photos"));
    m_permissionTitle = new QLabel(m_permission);
    m_permissionTitle->setObjectName(QStringLiteral("permissionTitle"));
    QFont titleFont = m_permissionTitle->font();
    titleFont.setBold(true);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.25);
    m_permissionTitle->setFont(titleFont);
    m_permissionTitle->setAlignment(Qt::AlignCenter);
    m_permissionMessage = new QLabel(m_permission);
    m_permissionMessage->setObjectName(QStringLiteral("permissionMessage"));
    m_permissionMessage->setWordWrap(true);
    m_permissionMessage->setAlignment(Qt::AlignCenter);
    m_permissionMessage->setFixedWidth(420);
    QPalette dim = m_permissionMessage->palette();
    dim.setColor(QPalette::WindowText, secondary(palette()));
    m_permissionMessage->setPalette(dim);
    m_permissionButton = new QPushButton(m_permission);
    m_permissionButton->setObjectName(QStringLiteral("permissionButton"));
    m_permissionButton->setAutoDefault(false);
    connect(m_permissionButton, &QPushButton::clicked, this, [this] {
        switch (m_permissionAction) {
        case PermissionAction::request: m_bridge->requestAccess(); break;
        case PermissionAction::settings: openPrivacySettings(); break;
        case PermissionAction::addFiles: addPhotoFilesInstead(); break;
        }
    });
    column->addWidget(big, 0, Qt::AlignHCenter);
    column->addWidget(m_permissionTitle, 0, Qt::AlignHCenter);
    column->addWidget(m_permissionMessage, 0, Qt::AlignHCenter);
    column->addWidget(m_permissionButton, 0, Qt::AlignHCenter);
    column->addStretch(1);
    m_body->addWidget(m_permission);

    setTabOrder(m_albums, m_grid);
    setTabOrder(m_grid, m_cancel);
    setTabOrder(m_cancel, m_import);
}

void PhotosPickerSheet::refreshHeader()
{
    m_import->setVisible(m_bridge->authorized());
    m_import->setText(importLabel());
}

QString PhotosPickerSheet::importLabel() const
{
    if (m_bridge->importing()) return tr("Importing…");
    if (!m_bridge->picked().isEmpty()) return tr("Import %1").arg(m_bridge->picked().size());
    return tr("Import");
}

void PhotosPickerSheet::refreshBody()
{
    showBodyForStatus();
    // Wrapped text inside the stack is not given its height by the layout on its own.
    m_permissionMessage->setMinimumHeight(std::max(0, m_permissionMessage->heightForWidth(m_permissionMessage->width())));
}

void PhotosPickerSheet::showBodyForStatus()
{
    if (m_bridge->authorized()) {
        m_body->setCurrentWidget(m_browser);
        m_gridArea->setCurrentWidget(m_bridge->assets().isEmpty() ? static_cast<QWidget*>(m_emptyNote) : m_grid);
        m_emptyNote->setText(m_bridge->albums().isEmpty() ? tr("There are no photos in your photo library yet.")
                                                          : tr("No photos here yet."));
        return;
    }
    m_body->setCurrentWidget(m_permission);
    if (!m_bridge->hasSources()) {
        m_permissionTitle->setText(tr("No photo library found"));
        m_permissionMessage->setText(tr("Velora looks for Shotwell, digiKam and your Pictures folder, and found none of "
                                        "them on this computer. You can always add photo files instead."));
        m_permissionButton->setText(tr("Add Photos…"));
        m_permissionAction = PermissionAction::addFiles;
    } else if (m_bridge->status() == PhotoAccess::notDetermined) {
        m_permissionTitle->setText(tr("Velora can bring in photos from your albums"));
        m_permissionMessage->setText(tr("You choose the album and the photos. Velora copies just those into its library "
                                        "— nothing is uploaded or changed in Photos."));
        m_permissionButton->setText(tr("Allow Access to Photos"));
        m_permissionAction = PermissionAction::request;
    } else {
#if defined(Q_OS_MACOS)
        m_permissionTitle->setText(tr("Photos access is turned off"));
        m_permissionMessage->setText(tr("To import from albums, allow Velora in System Settings › Privacy & Security › "
                                        "Photos. You can always add photo files instead."));
        m_permissionButton->setText(tr("Open System Settings"));
        m_permissionAction = PermissionAction::settings;
#else
        QStringList problems;
        for (const auto& [name, problem] : m_bridge->unreadableSources())
            if (!problem.isEmpty()) problems.append(problem);
        m_permissionTitle->setText(tr("Velora can’t open your photo library"));
        m_permissionMessage->setText(problems.join(QLatin1Char(' ')) + QLatin1Char(' ') +
                                     tr("Try again once it’s closed, or add photo files instead."));
        m_permissionButton->setText(tr("Add Photos…"));
        m_permissionAction = PermissionAction::addFiles;
#endif
    }
}

void PhotosPickerSheet::syncAlbumSelection()
{
    const auto& selected = m_bridge->selectedAlbum();
    const int row = selected ? m_albumModel->rowOfAlbum(selected->id) : -1;
    if (row < 0 || m_albums->currentIndex().row() == row) return;
    const QSignalBlocker quiet(m_albums->selectionModel());
    m_albums->setCurrentIndex(m_albumModel->index(row));
    m_albums->viewport()->update();
}

void PhotosPickerSheet::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    if (m_shownOnce) return;
    m_shownOnce = true;
    if (m_bridge->authorized()) m_bridge->loadAlbums();
    m_albums->setFocus();
}

void PhotosPickerSheet::runImport()
{
    if (!m_bridge->authorized() || m_bridge->importing() || !m_studio) return;
    QPointer<PhotosPickerSheet> self(this);
    m_bridge->importPicked(*m_studio, [self](const QList<Photo>& photos) {
        if (!self) return;
        const qsizetype n = photos.size();
        if (n > 0 && self->m_studio)
            self->m_studio->setImportMessage(n == 1 ? tr("Added 1 photo from Photos.")
                                                    : tr("Added %1 photos from Photos.").arg(n));
        // Deferred: the bridge is still inside its import here.
        QTimer::singleShot(0, self, [self] {
            if (self) self->accept();
        });
    });
}

void PhotosPickerSheet::done(int result)
{
    // An import in flight finishes the photo it is storing, then closes the sheet itself.
    if (m_bridge->importing()) {
        m_bridge->stopImport();
        return;
    }
    if (m_studio && m_studio->showPhotosPicker()) m_studio->setShowPhotosPicker(false);
    QDialog::done(result);
}

void PhotosPickerSheet::addPhotoFilesInstead()
{
    QPointer<Studio> studio = m_studio;
    reject();
    // After the sheet is gone, so the file chooser isn't stacked under it.
    QTimer::singleShot(0, studio, [studio] {
        if (studio) studio->addToLibraryFromPanel();
    });
}

void PhotosPickerSheet::openPrivacySettings()
{
    QDesktopServices::openUrl(QUrl(QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_Photos")));
}

} // namespace velora
