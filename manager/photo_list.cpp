#include "photo_list.h"

#include "app_context.h"
#include "edits.h"
#include "icons.h"
#include "theme.h"
#include "thumbnails.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

#include <algorithm>

namespace velora {

namespace {
constexpr int thumbSide = 40;
constexpr int gripWidth = 12;
} // namespace

// --- handle -----------------------------------------------------------------------------------

PhotoHandle::PhotoHandle(PhotoList& list, Thumbnails& thumbnails, QWidget* parent)
    : QWidget(parent)
    , m_list(list)
    , m_thumbnails(thumbnails)
{
    setObjectName(QStringLiteral("photoHandle"));
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::OpenHandCursor);
    setAccessibleDescription(tr("Drag, or press Alt+Up or Alt+Down, to reorder"));
    connect(&m_thumbnails, &Thumbnails::ready, this, [this](const QUuid& id) {
        if (id == m_photo.id) update();
    });
}

void PhotoHandle::setPhoto(const Photo& photo)
{
    const bool changed = photo.thumbName != m_photo.thumbName;
    m_photo = photo;
    setAccessibleName(photo.title.isEmpty() ? tr("Photo") : photo.title);
    setToolTip(photo.title);
    if (changed) update();
}

QSize PhotoHandle::sizeHint() const { return {gripWidth + thumbSide + 4, thumbSide + 4}; }

void PhotoHandle::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPalette& pal = palette();
    // The grip: two columns of dots.
    p.setPen(Qt::NoPen);
    p.setBrush(Theme::secondary(pal, 0.45));
    const double cy = height() / 2.0;
    for (int c = 0; c < 2; ++c)
        for (int r = -1; r <= 1; ++r) p.drawEllipse(QPointF(3.5 + c * 4.5, cy + r * 4.5), 1.2, 1.2);

    const QRectF box(gripWidth + 2, (height() - thumbSide) / 2.0, thumbSide, thumbSide);
    QPainterPath clip;
    clip.addRoundedRect(box, 5, 5);
    const QImage image = m_thumbnails.square(m_photo, thumbSide, devicePixelRatioF());
    if (image.isNull()) {
        p.fillPath(clip, Theme::secondary(pal, 0.12));
    } else {
        p.save();
        p.setClipPath(clip);
        p.drawImage(box.topLeft(), image);
        p.restore();
    }
    if (hasFocus()) {
        p.setPen(QPen(pal.color(QPalette::Highlight), 2));
        p.setBrush(Qt::NoBrush);
        p.drawRoundedRect(box.adjusted(-1, -1, 1, 1), 6, 6);
    }
}

void PhotoHandle::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return QWidget::mousePressEvent(event);
    setFocus(Qt::MouseFocusReason);
    const int row = m_list.rowOf(this);
    if (row < 0) return;
    setCursor(Qt::ClosedHandCursor);
    m_list.beginDrag(m_list.rows()[row], m_list.mapFromGlobal(event->globalPosition().toPoint()).y());
}

void PhotoHandle::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton) m_list.dragTo(m_list.mapFromGlobal(event->globalPosition().toPoint()).y());
}

void PhotoHandle::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return QWidget::mouseReleaseEvent(event);
    setCursor(Qt::OpenHandCursor);
    m_list.endDrag();
}

void PhotoHandle::keyPressEvent(QKeyEvent* event)
{
    const int row = m_list.rowOf(this);
    if (row >= 0 && event->modifiers() == Qt::AltModifier && (event->key() == Qt::Key_Up || event->key() == Qt::Key_Down)) {
        m_list.step(m_list.rows()[row], event->key() == Qt::Key_Up ? -1 : 1);
        return;
    }
    if (row >= 0 && event->modifiers() == Qt::NoModifier
        && (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace)) {
        emit m_list.removeRequested(m_photo.id);
        return;
    }
    QWidget::keyPressEvent(event);
}

// --- row --------------------------------------------------------------------------------------

PhotoRow::PhotoRow(AppContext& app, PhotoList& list, Thumbnails& thumbnails, const Photo& photo, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_list(list)
{
    setObjectName(QStringLiteral("photoRow"));
    // A row lifted by a drag covers the ones it passes.
    setAutoFillBackground(true);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    m_handle = new PhotoHandle(list, thumbnails, this);
    layout->addWidget(m_handle);
    m_caption = new QLineEdit(this);
    m_caption->setObjectName(QStringLiteral("photoCaption"));
    m_caption->setPlaceholderText(tr("Caption"));
    m_caption->setClearButtonEnabled(false);
    layout->addWidget(m_caption, 1);
    m_remove = new QToolButton(this);
    m_remove->setObjectName(QStringLiteral("removePhoto"));
    m_remove->setAutoRaise(true);
    m_remove->setIcon(Icons::icon(Glyph::removeCircle));
    m_remove->setIconSize(QSize(18, 18));
    m_remove->setToolTip(tr("Remove from this piece"));
    m_remove->setAccessibleName(tr("Remove from this piece"));
    m_remove->setFocusPolicy(Qt::StrongFocus);
    layout->addWidget(m_remove);
    setFixedHeight(rowHeight);

    connect(m_caption, &QLineEdit::textChanged, this, [this](const QString& text) {
        m_app.edits.updatePhoto(m_photo.id, tr("Change Photo Caption"), [&text](Photo& p) { p.caption = text; },
                                Edits::photoCaptionKey);
    });
    connect(m_caption, &QLineEdit::editingFinished, this, [this] { m_app.edits.closeMerge(); });
    connect(m_remove, &QToolButton::clicked, this, [this] { emit m_list.removeRequested(m_photo.id); });
    // Alt+Up and Alt+Down move the row from its caption field too.
    m_caption->installEventFilter(this);
    setPhoto(photo);
}

void PhotoRow::setPhoto(const Photo& photo)
{
    m_photo = photo;
    m_handle->setPhoto(photo);
    if (m_caption->text() != photo.caption) {
        const QSignalBlocker quiet(m_caption);
        m_caption->setText(photo.caption);
    }
    const QString name = photo.title.isEmpty() ? tr("Photo") : photo.title;
    m_caption->setAccessibleName(tr("Caption of %1").arg(name));
}

bool PhotoRow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_caption && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->modifiers() == Qt::AltModifier && (key->key() == Qt::Key_Up || key->key() == Qt::Key_Down)) {
            m_list.step(this, key->key() == Qt::Key_Up ? -1 : 1);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

// --- list -------------------------------------------------------------------------------------

PhotoList::PhotoList(AppContext& app, Thumbnails& thumbnails, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_thumbnails(thumbnails)
{
    setObjectName(QStringLiteral("photoList"));
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

bool PhotoList::setPhotos(const QList<Photo>& photos)
{
    QList<PhotoRow*> pool = m_rows;
    QList<PhotoRow*> next;
    next.reserve(photos.size());
    for (const Photo& photo : photos) {
        const auto it = std::find_if(pool.begin(), pool.end(), [&](PhotoRow* r) { return r->photoID() == photo.id; });
        PhotoRow* row = nullptr;
        if (it != pool.end()) {
            row = *it;
            pool.erase(it);
            row->setPhoto(photo);
        } else {
            row = new PhotoRow(m_app, *this, m_thumbnails, photo, this);
            row->show();
        }
        next.append(row);
    }
    QWidget* focus = QApplication::focusWidget();
    bool lostFocus = false;
    for (PhotoRow* gone : std::as_const(pool)) {
        if (gone == m_dragRow) m_dragRow = nullptr;
        lostFocus = lostFocus || (focus && gone->isAncestorOf(focus));
        gone->hide();
        gone->deleteLater();
    }
    if (next == m_rows) return false;
    m_rows = next;
    setFixedHeight(m_rows.isEmpty() ? 0 : int(m_rows.size()) * pitch() - spacing);
    layoutRows();
    if (lostFocus && !m_rows.isEmpty()) m_rows.back()->handle()->setFocus(Qt::OtherFocusReason);
    return true;
}

int PhotoList::rowOf(const QWidget* inside) const
{
    for (int i = 0; i < m_rows.size(); ++i)
        if (m_rows[i] == inside || m_rows[i]->isAncestorOf(inside)) return i;
    return -1;
}

void PhotoList::resizeEvent(QResizeEvent*) { layoutRows(); }

int PhotoList::targetFor(int top) const
{
    const int n = int(m_rows.size());
    return std::clamp(int(std::lround(double(top) / pitch())), 0, std::max(0, n - 1));
}

void PhotoList::layoutRows()
{
    const int from = m_dragRow ? int(m_rows.indexOf(m_dragRow)) : -1;
    const int target = m_dragging && from >= 0 ? targetFor(m_dragTop) : -1;
    int slot = 0;
    for (int i = 0; i < m_rows.size(); ++i) {
        PhotoRow* row = m_rows[i];
        if (i == from && m_dragging) {
            row->setGeometry(0, m_dragTop, width(), PhotoRow::rowHeight);
            continue;
        }
        if (slot == target) ++slot; // the gap where the dragged row will land
        row->setGeometry(0, slot * pitch(), width(), PhotoRow::rowHeight);
        ++slot;
    }
}

void PhotoList::beginDrag(PhotoRow* row, int y)
{
    m_dragRow = row;
    m_dragStart = y;
    m_dragTop = row->y();
    m_dragging = false;
}

void PhotoList::dragTo(int y)
{
    if (!m_dragRow) return;
    const int dy = y - m_dragStart;
    if (!m_dragging && std::abs(dy) < QApplication::startDragDistance()) return;
    m_dragging = true;
    m_dragRow->raise();
    const int from = int(m_rows.indexOf(m_dragRow));
    m_dragTop = std::clamp(from * pitch() + dy, 0, std::max(0, height() - PhotoRow::rowHeight));
    layoutRows();
}

void PhotoList::endDrag()
{
    PhotoRow* row = m_dragRow;
    const bool moved = m_dragging;
    const int target = targetFor(m_dragTop);
    m_dragRow = nullptr;
    m_dragging = false;
    const int from = row ? int(m_rows.indexOf(row)) : -1;
    if (moved && from >= 0 && target != from) emit moveRequested(from, target);
    layoutRows();
}

void PhotoList::step(PhotoRow* row, int delta)
{
    const int from = int(m_rows.indexOf(row));
    const int to = from + delta;
    if (from < 0 || to < 0 || to >= m_rows.size()) return;
    emit moveRequested(from, to);
}

} // namespace velora
