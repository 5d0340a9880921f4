#include "library_page.h"

#include "actions.h"
#include "app_context.h"
#include "edits.h"
#include "file_manager.h"
#include "icons.h"
#include "layout.h"
#include "models.h"
#include "page_parts.h"
#include "prompts.h"
#include "studio.h"
#include "texts.h"
#include "theme.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QStackedWidget>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace velora {

namespace {

// The library selection in library order.
QList<QUuid> selectedInOrder(const Studio& studio)
{
    const QSet<QUuid>& selection = studio.librarySelection();
    QList<QUuid> ids;
    if (selection.isEmpty()) return ids;
    ids.reserve(selection.size());
    for (const Photo& p : studio.photos())
        if (selection.contains(p.id)) ids.append(p.id);
    return ids;
}

QToolButton* barButton(QWidget* parent, const QString& name, Glyph glyph, const QString& text)
{
    auto* b = new QToolButton(parent);
    b->setObjectName(name);
    b->setAutoRaise(true);
    b->setIcon(Icons::icon(glyph));
    b->setText(text);
    b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    b->setFocusPolicy(Qt::StrongFocus);
    return b;
}

// Every tile's mark and badge are drawn in white over the photo.
const QColor ink(255, 255, 255);

void paintCheck(QPainter& p, const QRectF& circle)
{
    QPainterPath tick;
    const qreal s = circle.width();
    tick.moveTo(circle.left() + s * 0.28, circle.top() + s * 0.52);
    tick.lineTo(circle.left() + s * 0.44, circle.top() + s * 0.67);
    tick.lineTo(circle.left() + s * 0.73, circle.top() + s * 0.36);
    p.setPen(QPen(ink, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(Qt::NoBrush);
    p.drawPath(tick);
}

// Two overlapping frames: the symbol of pieces, as on the usage badge.
void paintPiecesSymbol(QPainter& p, const QRectF& box)
{
    p.setPen(QPen(ink, 1.3));
    p.setBrush(Qt::NoBrush);
    const qreal w = box.width() * 0.72, h = box.height() * 0.6;
    p.drawRoundedRect(QRectF(box.left(), box.bottom() - h, w, h), 1.5, 1.5);
    p.drawPolyline(QPolygonF({QPointF(box.left() + box.width() * 0.28, box.bottom() - h),
                              QPointF(box.left() + box.width() * 0.28, box.top()), QPointF(box.right(), box.top()),
                              QPointF(box.right(), box.top() + h), QPointF(box.left() + w, box.top() + h)}));
}

} // namespace

// --- grid -------------------------------------------------------------------------------------

LibraryGrid::LibraryGrid(AppContext& app, QWidget* parent)
    : QListView(parent)
    , m_app(app)
{
    setModel(&m_app.photos);
    setObjectName(QStringLiteral("libraryGrid"));
    setAccessibleName(tr("Photos"));
    setFrameShape(QFrame::NoFrame);
    setSelectionMode(ExtendedSelection);
    setEditTriggers(NoEditTriggers);
    setDragDropMode(NoDragDrop);
    setUniformItemSizes(true);
    setVerticalScrollMode(ScrollPerPixel);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setMouseTracking(true);
    viewport()->setBackgroundRole(QPalette::Window);

    QAbstractItemModel* photos = &m_app.photos;
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(photos, signal, this, &LibraryGrid::invalidateLayout);
    connect(photos, &QAbstractItemModel::modelReset, this, &LibraryGrid::invalidateLayout);
    connect(photos, &QAbstractItemModel::layoutChanged, this, &LibraryGrid::invalidateLayout);
    connect(photos, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex&, const QModelIndex&, const QList<int>& roles) {
                if (roles.isEmpty() || roles.contains(PhotoListModel::AspectRole)) invalidateLayout();
            });
    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, &LibraryGrid::followSelectionModel);
    connect(&m_app.studio, &Studio::librarySelectionChanged, this, &LibraryGrid::mirrorSelection);

    m_requestSoon.setSingleShot(true);
    m_requestSoon.setInterval(0);
    connect(&m_requestSoon, &QTimer::timeout, this, &LibraryGrid::requestTiles);
    connect(&m_images, &TileImages::ready, this, [this](const QUuid& id) {
        const int row = m_app.photos.row(id);
        if (row >= 0) viewport()->update(visualRect(model()->index(row, 0)).adjusted(-4, -4, 4, 4));
        // A tile made for a size since replaced is asked for again at the new one.
        m_requestSoon.start();
    });
    mirrorSelection();
}

QUuid LibraryGrid::idAt(int row) const { return m_app.photos.id(row); }

const Photo* LibraryGrid::photoAt(int row) const
{
    const QUuid id = idAt(row);
    const QList<Photo>& photos = m_app.studio.photos();
    if (row >= 0 && row < photos.size() && photos[row].id == id) return &photos[row];
    return m_app.studio.photo(id);
}

// --- layout -----------------------------------------------------------------------------------

double LibraryGrid::layoutWidth() const
{
    int width = viewport()->width();
    // Room for the scroll bar is kept while it is hidden, so that it coming and going never
    // changes the layout (which would bring it back or take it away again).
    const QScrollBar* bar = verticalScrollBar();
    if (!bar->isVisibleTo(this) && !style()->styleHint(QStyle::SH_ScrollBar_Transient, nullptr, bar))
        width -= style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, bar);
    return std::max(1.0, double(width - 2 * sideMargin));
}

void LibraryGrid::invalidateLayout()
{
    m_dirty = true;
    scheduleDelayedItemsLayout();
    viewport()->update();
}

void LibraryGrid::layoutIfNeeded() const
{
    if (m_dirty || m_laidOutWidth != layoutWidth() || m_frames.size() != size_t(model()->rowCount()))
        const_cast<LibraryGrid*>(this)->relayout();
}

void LibraryGrid::relayout()
{
    const int n = model()->rowCount();
    std::vector<double> aspects(size_t(n), 1.0);
    for (int r = 0; r < n; ++r) aspects[size_t(r)] = model()->index(r, 0).data(PhotoListModel::AspectRole).toDouble();
    const double width = layoutWidth();
    const Arrangement arrangement = LayoutMath::justified(aspects, width, targetRowHeight, spacing, false);
    ++m_layouts;

    m_frames.assign(size_t(n), QRectF());
    m_lineStarts.clear();
    double lineTop = -1;
    for (const PlacedTile& tile : arrangement.tiles) {
        const Rect& f = tile.frame;
        m_frames[size_t(tile.index)] = QRectF(f.x, f.y, f.width, f.height);
        if (f.y != lineTop) {
            m_lineStarts.push_back(tile.index);
            lineTop = f.y;
        }
    }
    m_height = n == 0 ? 0 : arrangement.size.height;
    m_laidOutWidth = width;
    m_dirty = false;
}

double LibraryGrid::layoutHeight() const
{
    layoutIfNeeded();
    return m_height;
}

QRectF LibraryGrid::tileFrame(int row) const
{
    layoutIfNeeded();
    return row >= 0 && size_t(row) < m_frames.size() ? m_frames[size_t(row)] : QRectF();
}

std::pair<int, int> LibraryGrid::tilesBetween(double top, double bottom) const
{
    // Rows run top to bottom, so both the tops and the bottoms of the frames only grow.
    const auto first = std::partition_point(m_frames.begin(), m_frames.end(), [top](const QRectF& f) { return f.bottom() < top; });
    const auto last = std::partition_point(first, m_frames.end(), [bottom](const QRectF& f) { return f.top() <= bottom; });
    return {int(first - m_frames.begin()), int(last - m_frames.begin())};
}

QRectF LibraryGrid::viewFrame(int row) const
{
    return tileFrame(row).translated(sideMargin, topMargin - verticalOffset());
}

QSize LibraryGrid::tilePixels(int row, qreal dpr) const
{
    // Edges rounded to device pixels where they are in the content, so the size does not change
    // while scrolling.
    const QRectF f = tileFrame(row).translated(sideMargin, topMargin);
    return QSize(int(std::lround(f.right() * dpr) - std::lround(f.left() * dpr)),
                 int(std::lround(f.bottom() * dpr) - std::lround(f.top() * dpr)));
}

void LibraryGrid::doItemsLayout()
{
    layoutIfNeeded();
    QAbstractItemView::doItemsLayout(); // not the list view's own layout: this one replaces it
    m_requestSoon.start();
}

void LibraryGrid::updateGeometries()
{
    layoutIfNeeded();
    const int content = m_frames.empty() ? 0 : int(std::ceil(topMargin + m_height + bottomMargin));
    QScrollBar* bar = verticalScrollBar();
    bar->setSingleStep(48);
    bar->setPageStep(std::max(1, viewport()->height()));
    bar->setRange(0, std::max(0, content - viewport()->height()));
    QAbstractItemView::updateGeometries();
}

int LibraryGrid::verticalOffset() const { return verticalScrollBar()->value(); }

void LibraryGrid::resizeEvent(QResizeEvent* event)
{
    QAbstractItemView::resizeEvent(event);
    requestTiles();
}

void LibraryGrid::showEvent(QShowEvent* event)
{
    QListView::showEvent(event);
    m_requestSoon.start();
}

void LibraryGrid::hideEvent(QHideEvent* event)
{
    QListView::hideEvent(event);
    m_images.want({});
}

void LibraryGrid::scrollContentsBy(int dx, int dy)
{
    QAbstractItemView::scrollContentsBy(dx, dy);
    requestTiles();
}

// --- the item view's geometry -----------------------------------------------------------------

QRect LibraryGrid::visualRect(const QModelIndex& index) const
{
    if (!index.isValid() || index.model() != model()) return {};
    const QRectF f = viewFrame(index.row());
    return f.isNull() ? QRect() : f.toAlignedRect();
}

QModelIndex LibraryGrid::indexAt(const QPoint& point) const
{
    layoutIfNeeded();
    const QPointF at(point.x() - sideMargin, point.y() + verticalOffset() - topMargin);
    const auto [first, last] = tilesBetween(at.y(), at.y());
    for (int r = first; r < last; ++r)
        if (m_frames[size_t(r)].contains(at)) return model()->index(r, 0);
    return {};
}

void LibraryGrid::scrollTo(const QModelIndex& index, ScrollHint hint)
{
    if (!index.isValid()) return;
    const QRectF f = tileFrame(index.row()).translated(0, topMargin);
    const int height = viewport()->height();
    // The selection bar floats over the bottom of the page while photos are selected.
    const int covered = m_app.studio.librarySelection().isEmpty() ? 0 : bottomMargin - int(spacing);
    const int value = verticalOffset();
    int target = value;
    switch (hint) {
    case EnsureVisible:
        if (f.top() - spacing < value)
            target = int(std::floor(f.top() - spacing));
        else if (f.bottom() + spacing > value + height - covered)
            target = int(std::ceil(f.bottom() + spacing - height + covered));
        break;
    case PositionAtTop: target = int(std::floor(f.top() - topMargin)); break;
    case PositionAtBottom: target = int(std::ceil(f.bottom() + spacing - height + covered)); break;
    case PositionAtCenter: target = int(std::round(f.center().y() - height / 2.0)); break;
    }
    verticalScrollBar()->setValue(target);
}

QModelIndex LibraryGrid::moveCursor(CursorAction action, Qt::KeyboardModifiers)
{
    layoutIfNeeded();
    const int n = int(m_frames.size());
    if (n == 0) return {};
    const int current = currentIndex().row();
    if (current < 0) return model()->index(0, 0);

    // The tile of a visual row nearest to a horizontal position.
    const auto nearestIn = [this, n](int line, double x) {
        const int first = m_lineStarts[size_t(line)];
        const int end = size_t(line) + 1 < m_lineStarts.size() ? m_lineStarts[size_t(line) + 1] : n;
        int best = first;
        for (int r = first; r < end; ++r)
            if (std::abs(m_frames[size_t(r)].center().x() - x) < std::abs(m_frames[size_t(best)].center().x() - x)) best = r;
        return best;
    };
    const auto lineAt = [this](double y) {
        const auto it = std::partition_point(m_lineStarts.begin(), m_lineStarts.end(),
                                             [&](int start) { return m_frames[size_t(start)].top() <= y; });
        return std::max(0, int(it - m_lineStarts.begin()) - 1);
    };
    const QRectF here = m_frames[size_t(current)];
    const int line = lineAt(here.top());
    const int lines = int(m_lineStarts.size());
    int to = current;
    switch (action) {
    case MoveLeft:
    case MovePrevious: to = current - 1; break;
    case MoveRight:
    case MoveNext: to = current + 1; break;
    case MoveUp: to = line > 0 ? nearestIn(line - 1, here.center().x()) : current; break;
    case MoveDown: to = line + 1 < lines ? nearestIn(line + 1, here.center().x()) : current; break;
    case MovePageUp: to = nearestIn(lineAt(here.top() - viewport()->height()), here.center().x()); break;
    case MovePageDown: to = nearestIn(lineAt(here.top() + viewport()->height()), here.center().x()); break;
    case MoveHome: to = 0; break;
    case MoveEnd: to = n - 1; break;
    }
    return model()->index(std::clamp(to, 0, n - 1), 0);
}

void LibraryGrid::setSelection(const QRect& rect, QItemSelectionModel::SelectionFlags flags)
{
    if (flags == QItemSelectionModel::NoUpdate) return;
    layoutIfNeeded();
    const QRectF area = QRectF(rect).translated(-sideMargin, verticalOffset() - topMargin);
    const auto [first, last] = tilesBetween(area.top(), area.bottom());
    QItemSelection selection;
    int runStart = -1;
    for (int r = first; r <= last; ++r) {
        const bool in = r < last && m_frames[size_t(r)].intersects(area);
        if (in && runStart < 0) runStart = r;
        if (!in && runStart >= 0) {
            selection.select(model()->index(runStart, 0), model()->index(r - 1, 0));
            runStart = -1;
        }
    }
    selectionModel()->select(selection, flags);
}

QRegion LibraryGrid::visualRegionForSelection(const QItemSelection& selection) const
{
    layoutIfNeeded();
    QRegion region;
    const double top = verticalOffset() - topMargin;
    const auto [first, last] = tilesBetween(top, top + viewport()->height());
    for (int r = first; r < last; ++r)
        if (selection.contains(model()->index(r, 0))) region += visualRect(model()->index(r, 0)).adjusted(-4, -4, 4, 4);
    return region;
}

QItemSelectionModel::SelectionFlags LibraryGrid::selectionCommand(const QModelIndex&, const QEvent*) const
{
    // The Studio holds the selection and the rules below change it; the selection model only
    // mirrors it (for assistive technology, which reads and sets it there).
    return QItemSelectionModel::NoUpdate;
}

// --- painting ---------------------------------------------------------------------------------

void LibraryGrid::paintEvent(QPaintEvent* event)
{
    layoutIfNeeded();
    QPainter p(viewport());
    p.setRenderHint(QPainter::Antialiasing);
    const qreal dpr = viewport()->devicePixelRatioF();
    const QRect exposed = event->rect();
    const double top = exposed.top() + verticalOffset() - topMargin;
    const auto [first, last] = tilesBetween(top - 4, top + exposed.height() + 4);
    m_painted = 0;
    for (int r = first; r < last; ++r) {
        if (!viewFrame(r).adjusted(-4, -4, 4, 4).intersects(exposed)) continue;
        paintTile(p, r, dpr);
        ++m_painted;
    }
}

void LibraryGrid::paintTile(QPainter& p, int row, qreal dpr)
{
    const QRectF frame = viewFrame(row);
    const QModelIndex index = model()->index(row, 0);
    const QUuid id = idAt(row);
    const bool selected = m_app.studio.librarySelection().contains(id);
    const qreal radius = TileImages::cornerRadius;
    const QPalette& pal = palette();

    QSize made;
    const QImage image = m_images.tile(id, &made);
    if (image.isNull()) {
        QPainterPath well;
        well.addRoundedRect(frame, radius, radius);
        p.fillPath(well, Theme::secondary(pal, 0.08));
    } else {
        const QSizeF size = image.deviceIndependentSize().scaled(frame.size(), Qt::KeepAspectRatio);
        QRectF target(QPointF(), size);
        target.moveCenter(frame.center());
        if (made == tilePixels(row, dpr)) {
            // Made for this tile: copied pixel for pixel.
            p.drawImage(QPointF(std::round(target.x() * dpr) / dpr, std::round(target.y() * dpr) / dpr), image);
        } else {
            // Made for another size (the window was resized): stretched until the new one comes.
            p.save();
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            p.drawImage(target, image);
            p.restore();
        }
    }

    if (selected) {
        p.setPen(QPen(QBrush(Theme::brand(frame)), 3));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(frame.adjusted(1.5, 1.5, -1.5, -1.5), radius - 1, radius - 1);
    }
    if (hasFocus() && currentIndex() == index) {
        p.setPen(QPen(pal.color(QPalette::Highlight), 2, Qt::DotLine));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(frame.adjusted(-3.5, -3.5, 3.5, 3.5), radius + 3, radius + 3);
    }

    // The selection mark, top right.
    const qreal side = 22;
    if (frame.width() >= side * 2 && frame.height() >= side * 2) {
        const QRectF mark(frame.right() - 8 - side, frame.top() + 8, side, side);
        if (selected) {
            p.setPen(QPen(ink, 1.5));
            p.setBrush(Theme::brand(mark));
            p.drawEllipse(mark);
            paintCheck(p, mark);
        } else {
            QColor ring = ink;
            ring.setAlphaF(row == m_hover ? 1.0f : 0.85f);
            p.setPen(QPen(ring, 1.5));
            p.setBrush(QColor(0, 0, 0, row == m_hover ? 70 : 40));
            p.drawEllipse(mark);
        }
    }

    // The usage badge, bottom left: in how many pieces the photo is.
    const int usage = index.data(PhotoListModel::UsageRole).toInt();
    if (usage > 0 && frame.width() >= 60 && frame.height() >= 40) {
        const QFont font = scaledFont(this->font(), 0.85, QFont::DemiBold);
        const QFontMetricsF fm(font);
        const QString text = QString::number(usage);
        const qreal h = 20, symbol = 11;
        const QRectF badge(frame.left() + 8, frame.bottom() - 8 - h, 7 + symbol + 4 + fm.horizontalAdvance(text) + 7, h);
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(0, 0, 0, 130));
        p.drawRoundedRect(badge, h / 2, h / 2);
        paintPiecesSymbol(p, QRectF(badge.left() + 7, badge.center().y() - symbol / 2, symbol, symbol));
        p.setFont(font);
        p.setPen(ink);
        p.drawText(QRectF(badge.left() + 7 + symbol + 4, badge.top(), badge.width(), h), Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

void LibraryGrid::requestTiles()
{
    m_requestSoon.stop();
    if (!isVisible() || model()->rowCount() == 0) {
        m_images.want({});
        return;
    }
    layoutIfNeeded();
    const qreal dpr = viewport()->devicePixelRatioF();
    const double height = viewport()->height();
    const double top = verticalOffset() - topMargin;
    // What is seen first, then the next screen down, then half a screen up, nearest first.
    const auto [first, last] = tilesBetween(top, top + height);
    const auto [belowFirst, belowLast] = tilesBetween(top + height, top + 2 * height);
    const auto [aboveFirst, aboveLast] = tilesBetween(top - height / 2, top);
    QList<int> rows;
    for (int r = first; r < last; ++r) rows.append(r);
    for (int r = std::max(belowFirst, last); r < belowLast; ++r) rows.append(r);
    for (int r = std::min(aboveLast, first) - 1; r >= aboveFirst; --r) rows.append(r);

    QList<TileImages::Request> wanted;
    wanted.reserve(rows.size());
    for (int r : rows)
        if (const Photo* photo = photoAt(r)) wanted.append({*photo, tilePixels(r, dpr), dpr});
    m_images.want(wanted);
}

// --- selection --------------------------------------------------------------------------------

int LibraryGrid::anchorRow() const { return m_anchor.isNull() ? -1 : m_app.photos.row(m_anchor); }

QList<QUuid> LibraryGrid::selectedPhotos() const { return selectedInOrder(m_app.studio); }

void LibraryGrid::select(const QList<int>& rows, bool keep)
{
    QSet<QUuid> selection = keep ? m_app.studio.librarySelection() : QSet<QUuid>();
    for (int r : rows) selection.insert(idAt(r));
    m_app.studio.setLibrarySelection(selection);
}

namespace {
QList<int> span(int a, int b)
{
    QList<int> rows;
    for (int r = std::min(a, b); r <= std::max(a, b); ++r) rows.append(r);
    return rows;
}
} // namespace

void LibraryGrid::click(int row, Qt::KeyboardModifiers modifiers)
{
    if (row < 0 || row >= model()->rowCount()) return;
    const QUuid id = idAt(row);
    if (modifiers & Qt::ShiftModifier) {
        // From the anchor (the last plain or Ctrl click) to here; with Ctrl too, added to the rest.
        int from = anchorRow();
        if (from < 0) from = currentIndex().isValid() ? currentIndex().row() : row;
        m_anchor = idAt(from);
        select(span(from, row), modifiers & Qt::ControlModifier);
    } else if (modifiers & Qt::ControlModifier) {
        QSet<QUuid> selection = m_app.studio.librarySelection();
        if (!selection.remove(id)) selection.insert(id);
        m_anchor = id;
        m_app.studio.setLibrarySelection(selection);
    } else {
        m_anchor = id;
        m_app.studio.setLibrarySelection({id});
    }
    selectionModel()->setCurrentIndex(model()->index(row, 0), QItemSelectionModel::NoUpdate);
}

void LibraryGrid::moved(const QModelIndex& from, const QModelIndex& to, Qt::KeyboardModifiers modifiers)
{
    if (modifiers & Qt::ShiftModifier) {
        if (anchorRow() < 0) m_anchor = idAt(from.isValid() ? from.row() : to.row());
        select(span(anchorRow(), to.row()), modifiers & Qt::ControlModifier);
    } else if (!(modifiers & Qt::ControlModifier)) {
        // Ctrl moves the focus alone, to pick photos apart with Ctrl+Space.
        m_anchor = idAt(to.row());
        m_app.studio.setLibrarySelection({m_anchor});
    }
}

void LibraryGrid::selectAll()
{
    QSet<QUuid> all;
    all.reserve(model()->rowCount());
    for (int r = 0; r < model()->rowCount(); ++r) all.insert(idAt(r));
    m_app.studio.setLibrarySelection(all);
}

void LibraryGrid::mirrorSelection()
{
    // Contiguous runs, so selecting everything is one range.
    const QSet<QUuid>& selected = m_app.studio.librarySelection();
    QItemSelection mirror;
    const int n = model()->rowCount();
    int runStart = -1;
    for (int r = 0; r <= n; ++r) {
        const bool in = r < n && selected.contains(idAt(r));
        if (in && runStart < 0) runStart = r;
        if (!in && runStart >= 0) {
            mirror.select(model()->index(runStart, 0), model()->index(r - 1, 0));
            runStart = -1;
        }
    }
    m_mirroring = true;
    selectionModel()->select(mirror, QItemSelectionModel::ClearAndSelect);
    m_mirroring = false;
}

void LibraryGrid::followSelectionModel()
{
    // Taken over once the turn is done: the selection model also lets go of rows while they are
    // being removed, in the middle of the Studio's own removal, which keeps its selection itself.
    if (m_mirroring || m_pushPending) return;
    m_pushPending = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_pushPending = false;
            QSet<QUuid> selection;
            for (const QModelIndex& index : selectionModel()->selectedIndexes()) selection.insert(idAt(index.row()));
            if (selection != m_app.studio.librarySelection()) m_app.studio.setLibrarySelection(selection);
        },
        Qt::QueuedConnection);
}

// --- input ------------------------------------------------------------------------------------

void LibraryGrid::mousePressEvent(QMouseEvent* event)
{
    setFocus(Qt::MouseFocusReason);
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton) {
        if (index.isValid())
            click(index.row(), event->modifiers());
        else if (!(event->modifiers() & (Qt::ControlModifier | Qt::ShiftModifier)))
            m_app.studio.setLibrarySelection({}); // a click between the photos lets go of them
    } else if (index.isValid()) {
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::NoUpdate);
    }
    event->accept();
}

void LibraryGrid::mouseDoubleClickEvent(QMouseEvent* event) { mousePressEvent(event); }

void LibraryGrid::mouseMoveEvent(QMouseEvent* event)
{
    const int row = indexAt(event->position().toPoint()).row();
    if (row == m_hover) return;
    for (int r : {m_hover, row})
        if (r >= 0) viewport()->update(visualRect(model()->index(r, 0)));
    m_hover = row;
}

bool LibraryGrid::viewportEvent(QEvent* event)
{
    if (event->type() == QEvent::Leave && m_hover >= 0) {
        viewport()->update(visualRect(model()->index(m_hover, 0)));
        m_hover = -1;
    }
    return QListView::viewportEvent(event);
}

void LibraryGrid::keyPressEvent(QKeyEvent* event)
{
    const bool anySelected = !m_app.studio.librarySelection().isEmpty();
    if (event->matches(QKeySequence::SelectAll)) {
        selectAll();
        return;
    }
    switch (event->key()) {
    case Qt::Key_Escape:
        if (anySelected) {
            m_app.studio.setLibrarySelection({});
            return;
        }
        break;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
        if (anySelected) {
            emit removeRequested();
            return;
        }
        break;
    case Qt::Key_Space:
    case Qt::Key_Select:
        // Space picks the focused photo or lets it go, leaving the others as they are.
        if (currentIndex().isValid()) {
            click(currentIndex().row(), Qt::ControlModifier);
            return;
        }
        break;
    default: break;
    }
    const QModelIndex before = currentIndex();
    QListView::keyPressEvent(event);
    const QModelIndex after = currentIndex();
    if (after.isValid() && after != before) moved(before, after, event->modifiers());
}

void LibraryGrid::contextMenuEvent(QContextMenuEvent* event)
{
    const bool byMouse = event->reason() == QContextMenuEvent::Mouse;
    const QModelIndex index = byMouse ? indexAt(event->pos()) : currentIndex();
    if (!index.isValid()) return;
    QMenu* menu = tileMenu(idAt(index.row()), this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(byMouse ? event->globalPos() : viewport()->mapToGlobal(visualRect(index).center()));
}

QMenu* LibraryGrid::tileMenu(const QUuid& id, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const Photo* photo = m_app.studio.photo(id);
    if (!photo) return menu;
    QAction* make = menu->addAction(Icons::icon(Glyph::plus), tr("New Piece from This Photo"), this, [this, id] {
        if (m_app.studio.photo(id)) m_app.edits.newPiece({id});
    });
    make->setObjectName(QStringLiteral("newPieceFromPhoto"));
    const QString original = photo->originalPath.value_or(QString());
    QAction* show = menu->addAction(FileManager::showOriginalText(), this, [original] { FileManager::showItem(original); });
    show->setObjectName(QStringLiteral("showOriginal"));
    show->setEnabled(!original.isEmpty() && QFileInfo::exists(original));
    menu->addSeparator();
    // At once, without asking: the selection bar asks, this one photo's own menu does not.
    QAction* remove = menu->addAction(Icons::icon(Glyph::trash), tr("Remove from Library"), this,
                                      [this, id] { m_app.studio.removeFromLibrary({id}); });
    remove->setObjectName(QStringLiteral("removeFromLibrary"));
    return menu;
}

// --- selection bar ----------------------------------------------------------------------------

SelectionBar::SelectionBar(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("selectionBar"));
    setAttribute(Qt::WA_TranslucentBackground);
    auto* layout = new QHBoxLayout(this);
    // The capsule is drawn `shade` inside the widget, for its shadow; its contents sit 6 and 18 in.
    constexpr int shade = 4;
    layout->setContentsMargins(18 + shade, 6 + shade, 18 + shade, 6 + shade);
    layout->setSpacing(6);
    m_count = new QLabel(this);
    m_count->setObjectName(QStringLiteral("selectionCount"));
    m_count->setFont(scaledFont(font(), 1.0, QFont::DemiBold));
    layout->addWidget(m_count);
    layout->addSpacing(6);

    m_newPiece = barButton(this, QStringLiteral("newPieceFromSelection"), Glyph::plus, QString());
    connect(m_newPiece, &QToolButton::clicked, this, [this] {
        const QList<QUuid> ids = selectedInOrder(m_app.studio);
        if (!ids.isEmpty()) m_app.edits.newPiece(ids);
    });
    layout->addWidget(m_newPiece);

    m_addToPiece = barButton(this, QStringLiteral("addToPiece"), Glyph::pieces, tr("Add to Piece"));
    m_pieceMenu = new QMenu(m_addToPiece);
    m_pieceMenu->setObjectName(QStringLiteral("addToPieceMenu"));
    connect(m_pieceMenu, &QMenu::aboutToShow, this, &SelectionBar::fillPieceMenu);
    m_addToPiece->setMenu(m_pieceMenu);
    m_addToPiece->setPopupMode(QToolButton::InstantPopup);
    layout->addWidget(m_addToPiece);

    m_remove = barButton(this, QStringLiteral("removeSelection"), Glyph::trash, tr("Remove from library"));
    connect(m_remove, &QToolButton::clicked, this, &SelectionBar::removeRequested);
    layout->addWidget(m_remove);

    m_clear = barButton(this, QStringLiteral("clearSelection"), Glyph::dismiss, tr("Clear selection"));
    connect(m_clear, &QToolButton::clicked, this, [this] { m_app.studio.setLibrarySelection({}); });
    layout->addWidget(m_clear);

    connect(&m_app.studio, &Studio::librarySelectionChanged, this, &SelectionBar::refresh);
    connect(&m_app.studio, &Studio::piecesChanged, this,
            [this] { m_addToPiece->setEnabled(!m_app.studio.pieces().isEmpty()); });
    m_addToPiece->setEnabled(!m_app.studio.pieces().isEmpty());
    refresh();
}

void SelectionBar::refresh()
{
    const qsizetype n = m_app.studio.librarySelection().size();
    m_count->setText(tr("%1 selected").arg(n));
    m_newPiece->setText(n == 1 ? tr("New Piece") : tr("New Collage"));
    adjustSize();
}

void SelectionBar::fillPieceMenu()
{
    m_pieceMenu->clear();
    for (const Piece& piece : m_app.studio.pieces()) {
        QString name = piece.name;
        QAction* a = m_pieceMenu->addAction(name.replace(QLatin1Char('&'), QStringLiteral("&&")));
        const QUuid id = piece.id;
        connect(a, &QAction::triggered, this, [this, id] { m_app.edits.add(selectedInOrder(m_app.studio), id); });
    }
}

void SelectionBar::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF capsule = QRectF(rect()).adjusted(4, 4, -4, -4);
    const qreal radius = capsule.height() / 2;
    p.setPen(Qt::NoPen);
    for (int i = 4; i >= 1; --i) {
        p.setBrush(QColor(0, 0, 0, 9));
        p.drawRoundedRect(capsule.adjusted(-i, -i + 2, i, i + 2), radius + i, radius + i);
    }
    p.setBrush(Theme::card(palette()));
    p.setPen(QPen(Theme::cardBorder(palette()), 1));
    p.drawRoundedRect(capsule, radius, radius);
}

// --- page -------------------------------------------------------------------------------------

LibraryPage::LibraryPage(AppContext& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
{
    setObjectName(QStringLiteral("libraryPage"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 18, 0, 0);
    layout->setSpacing(12);

    auto* header = new QHBoxLayout;
    header->setContentsMargins(LibraryGrid::sideMargin, 0, LibraryGrid::sideMargin, 0);
    const PageTitles titles = makePageTitles(this, Texts::title(Page::library));
    m_subtitle = titles.subtitle;
    header->addLayout(titles.layout, 1);

    // Buttons with texts of their own that run the shared commands.
    const auto commandButton = [this](const QString& name, Glyph glyph, const QString& text, QAction* command) {
        auto* b = new QToolButton(this);
        b->setObjectName(name);
        b->setText(text);
        b->setIcon(Icons::icon(glyph));
        b->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        b->setFocusPolicy(Qt::StrongFocus);
        b->setToolTip(command->shortcut().isEmpty()
                          ? command->text()
                          : QStringLiteral("%1 (%2)").arg(command->text(), command->shortcut().toString(QKeySequence::NativeText)));
        b->setEnabled(command->isEnabled());
        connect(b, &QToolButton::clicked, command, &QAction::trigger);
        connect(command, &QAction::enabledChanged, b, &QToolButton::setEnabled);
        return b;
    };
    m_fromPhotos = commandButton(QStringLiteral("fromPhotos"), Glyph::photo, tr("From Photos…"), m_app.actions.importFromPhotos);
    m_addPhotos = commandButton(QStringLiteral("addPhotos"), Glyph::plus, tr("Add Photos…"), m_app.actions.addPhotos);
    // The primary one of the two.
    QPalette primary = m_addPhotos->palette();
    primary.setColor(QPalette::Button, primary.color(QPalette::Highlight));
    primary.setColor(QPalette::ButtonText, primary.color(QPalette::HighlightedText));
    m_addPhotos->setPalette(primary);
    header->addWidget(m_fromPhotos, 0, Qt::AlignBottom);
    header->addWidget(m_addPhotos, 0, Qt::AlignBottom);
    layout->addLayout(header);

    m_body = new QStackedWidget(this);
    m_grid = new LibraryGrid(m_app, m_body);
    m_body->addWidget(m_grid);

    const EmptyState hint = makeEmptyState(
        m_body, Glyph::drop, tr("Drop photos or folders here"),
        tr("JPEG, HEIC, PNG, TIFF and more. Velora keeps a copy, so you can tidy up the originals."));
    m_dropHint = hint.widget;
    m_dropHint->setObjectName(QStringLiteral("dropHint"));
    hint.headline->setObjectName(QStringLiteral("dropLine"));
    hint.detail->setObjectName(QStringLiteral("dropDetail"));
    hint.layout->addStretch(3);
    m_body->addWidget(m_dropHint);
    layout->addWidget(m_body, 1);

    m_bar = new SelectionBar(m_app, this);
    connect(m_bar, &SelectionBar::removeRequested, this, &LibraryPage::confirmRemoval);
    connect(m_grid, &LibraryGrid::removeRequested, this, &LibraryPage::confirmRemoval);

    QAbstractItemModel* photos = &m_app.photos;
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(photos, signal, this, &LibraryPage::refresh);
    connect(photos, &QAbstractItemModel::modelReset, this, &LibraryPage::refresh);
    connect(&m_app.studio, &Studio::librarySelectionChanged, this, &LibraryPage::placeBar);
    refresh();
}

QString LibraryPage::subtitle(qsizetype n)
{
    if (n == 0) return tr("Photos you add are copied here, so pieces keep working if the originals move.");
    return tr("%1 · shown at their real proportions").arg(Texts::photoCount(n));
}

bool LibraryPage::showsDropHint() const { return m_body->currentWidget() == m_dropHint; }

void LibraryPage::refresh()
{
    const int n = m_app.photos.rowCount();
    m_subtitle->setText(subtitle(n));
    m_body->setCurrentWidget(n == 0 ? m_dropHint : static_cast<QWidget*>(m_grid));
    placeBar();
}

void LibraryPage::placeBar()
{
    m_bar->setVisible(!m_app.studio.librarySelection().isEmpty() && !showsDropHint());
    m_bar->adjustSize();
    m_bar->move((width() - m_bar->width()) / 2, height() - m_bar->height() - 12);
    m_bar->raise();
}

void LibraryPage::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    placeBar();
}

bool LibraryPage::confirmRemoval()
{
    const QSet<QUuid> selection = m_app.studio.librarySelection();
    if (selection.isEmpty()) return false;
    const qsizetype n = selection.size();
    const Prompts::Question question{
        n == 1 ? tr("Remove 1 photo from Velora?") : tr("Remove %1 photos from Velora?").arg(n),
        tr("Velora’s copies are removed and the photos leave any pieces they’re in. Your original files aren’t touched."),
        tr("Remove")};
    if (!Prompts::confirm(this, question)) return false;
    // Not an undoable step: the copies are deleted.
    m_app.studio.removeFromLibrary(selection);
    return true;
}

} // namespace velora
