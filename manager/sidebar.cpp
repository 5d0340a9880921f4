#include "sidebar.h"

#include "actions.h"
#include "app_context.h"
#include "icons.h"
#include "models.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QIdentityProxyModel>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QPainter>
#include <QStandardItemModel>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

namespace velora {

namespace {

// A piece row: the 7-point dot, 8 points, the name, and a lock at the far end while locked.
class PieceRowDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* p, const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QStyleOptionViewItem opt = option;
        initStyleOption(&opt, index);
        opt.text.clear();
        opt.icon = {};
        const QWidget* widget = option.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &opt, p, widget);

        p->save();
        p->setRenderHint(QPainter::Antialiasing);
        const QRect r = option.rect.adjusted(8, 0, -8, 0);
        const QRectF dot(r.left(), r.center().y() - 3.0, 7, 7);
        if (index.data(PieceListModel::ShownRole).toBool()) {
            p->setBrush(Theme::brand(dot));
        } else {
            p->setBrush(Theme::secondary(option.palette, 0.35));
        }
        p->setPen(Qt::NoPen);
        p->drawEllipse(dot);

        const bool selected = option.state & QStyle::State_Selected;
        const bool locked = index.data(PieceListModel::LockedRole).toBool();
        const int lockSide = 12;
        QRect text = r.adjusted(7 + 8, 0, locked ? -(lockSide + 6) : 0, 0);
        p->setPen(option.palette.color(selected ? QPalette::HighlightedText : QPalette::Text));
        p->setFont(option.font);
        p->drawText(text, Qt::AlignVCenter | Qt::AlignLeft,
                    option.fontMetrics.elidedText(index.data().toString(), Qt::ElideRight, text.width()));
        if (locked) {
            const QIcon lock = index.data(Qt::DecorationRole).value<QIcon>();
            const QRect box(r.right() - lockSide, r.center().y() - lockSide / 2, lockSide, lockSide);
            // Tertiary: quieter than the name.
            p->setOpacity(selected ? 0.9 : 0.45);
            lock.paint(p, box);
        }
        p->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QSize s = QStyledItemDelegate::sizeHint(option, index);
        s.setHeight(std::max(s.height(), option.fontMetrics.height() + 10));
        return s;
    }
};

// Page rows a little taller than the style's default, like a sidebar's.
class PageRowDelegate final : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override
    {
        QSize s = QStyledItemDelegate::sizeHint(option, index);
        s.setHeight(std::max(s.height(), option.fontMetrics.height()) + 10);
        return s;
    }
};

// Adds the lock icon as the row's decoration, so the delegate needs no icon of its own.
class PieceRows final : public QIdentityProxyModel {
public:
    PieceRows(QIcon lock, QObject* parent) : QIdentityProxyModel(parent), m_lock(std::move(lock)) {}
    QVariant data(const QModelIndex& index, int role) const override
    {
        if (role == Qt::DecorationRole) return m_lock;
        if (role == Qt::AccessibleTextRole) {
            const QString name = QIdentityProxyModel::data(index, Qt::DisplayRole).toString();
            const bool shown = QIdentityProxyModel::data(index, PieceListModel::ShownRole).toBool();
            const bool locked = QIdentityProxyModel::data(index, PieceListModel::LockedRole).toBool();
            QString text = name + QStringLiteral(", ") + (shown ? Sidebar::tr("on the desktop") : Sidebar::tr("hidden"));
            if (locked) text += QStringLiteral(", ") + Sidebar::tr("locked");
            return text;
        }
        return QIdentityProxyModel::data(index, role);
    }

private:
    QIcon m_lock;
};

QListView* makeList(QWidget* parent)
{
    auto* list = new QListView(parent);
    list->setFrameShape(QFrame::NoFrame);
    list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setUniformItemSizes(true);
    list->viewport()->setAutoFillBackground(false);
    list->setAutoFillBackground(false);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return list;
}

} // namespace

Sidebar::Sidebar(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("sidebar"));
    setMinimumWidth(minimumWidth);
    setMaximumWidth(maximumWidth);
    setAccessibleName(tr("Sidebar"));

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(4);

    m_pageModel = new QStandardItemModel(this);
    for (const Page page : allPages) {
        auto* item = new QStandardItem(m_app.actions.page(page)->icon(), Texts::title(page));
        item->setEditable(false);
        m_pageModel->appendRow(item);
    }
    m_pages = makeList(this);
    m_pages->setObjectName(QStringLiteral("pages"));
    m_pages->setAccessibleName(tr("Pages"));
    m_pages->setModel(m_pageModel);
    m_pages->setIconSize(QSize(18, 18));
    m_pages->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_pages->setItemDelegate(new PageRowDelegate(m_pages));
    m_pages->setFixedHeight(m_pages->sizeHintForRow(0) * int(allPages.size()) + 2 * m_pages->frameWidth() + 2);
    layout->addWidget(m_pages);

    m_header = new QLabel(tr("On your desktop"), this);
    m_header->setObjectName(QStringLiteral("piecesHeader"));
    QFont small = m_header->font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    small.setWeight(QFont::DemiBold);
    m_header->setFont(small);
    QPalette quiet = m_header->palette();
    quiet.setColor(QPalette::WindowText, Theme::secondary(quiet));
    m_header->setPalette(quiet);
    m_header->setContentsMargins(6, 12, 0, 2);
    layout->addWidget(m_header);

    m_pieceList = makeList(this);
    m_pieceList->setObjectName(QStringLiteral("pieceRows"));
    m_pieceList->setAccessibleName(tr("On your desktop"));
    auto* rows = new PieceRows(Icons::icon(Glyph::lock), this);
    rows->setSourceModel(&m_app.pieces);
    m_pieceList->setModel(rows);
    m_pieceList->setItemDelegate(new PieceRowDelegate(m_pieceList));
    m_pieceList->setContextMenuPolicy(Qt::CustomContextMenu);
    layout->addWidget(m_pieceList, 1);

    // A page is always chosen: a click on nothing leaves the page as it is.
    connect(m_pages->selectionModel(), &QItemSelectionModel::currentChanged, this, [this](const QModelIndex& current) {
        if (current.isValid()) m_app.studio.setPage(allPages[current.row()]);
    });
    connect(&m_app.studio, &Studio::pageChanged, this, &Sidebar::followPage);
    followPage();

    const auto choose = [this](const QModelIndex& index) {
        if (index.isValid()) m_app.studio.select(m_app.pieces.id(index.row()));
    };
    connect(m_pieceList, &QListView::clicked, this, choose);
    connect(m_pieceList, &QListView::activated, this, choose);
    connect(m_pieceList, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        const QModelIndex index = m_pieceList->indexAt(at);
        if (!index.isValid()) return;
        QMenu* menu = m_app.actions.pieceMenu(m_app.pieces.id(index.row()), this);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        menu->popup(m_pieceList->viewport()->mapToGlobal(at));
    });
    // The selected piece's row follows the selection made anywhere.
    const auto followSelection = [this] {
        const auto id = m_app.studio.selectedPieceID();
        const QModelIndex index = id ? m_pieceList->model()->index(m_app.pieces.row(*id), 0) : QModelIndex();
        if (index.isValid())
            m_pieceList->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
        else
            m_pieceList->selectionModel()->clearSelection();
    };
    connect(&m_app.studio, &Studio::selectionChanged, this, followSelection);
    connect(&m_app.pieces, &QAbstractItemModel::rowsInserted, this, followSelection);
}

void Sidebar::followPage()
{
    const QModelIndex index = m_pageModel->index(static_cast<int>(m_app.studio.page()), 0);
    if (m_pages->currentIndex() != index)
        m_pages->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
}

QSize Sidebar::sizeHint() const { return {idealWidth, QWidget::sizeHint().height()}; }

} // namespace velora
