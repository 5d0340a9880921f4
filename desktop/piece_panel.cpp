#include "piece_panel.h"

#include "desktop_backdrop.h"
#include "desktop_controller.h"
#include "desktop_window.h"
#include "piece_content.h"
#include "studio.h"

#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

namespace velora {

namespace {

Qt::WindowFlags panelFlags()
{
    Qt::WindowFlags flags = Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnBottomHint |
                            Qt::NoDropShadowWindowHint;
#ifdef Q_OS_MACOS
    // A panel, so that it can be non-activating.
    flags |= Qt::Tool;
#else
    // Not Qt::Tool: on X11 that makes the window transient for the application, which window
    // managers keep above the application's other windows.
    flags |= Qt::Window;
#endif
    return flags;
}

} // namespace

PiecePanel::PiecePanel(DesktopController& controller, const QUuid& pieceID)
    : QWidget(nullptr, panelFlags())
    , m_controller(controller)
    , m_pieceID(pieceID)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_MacAlwaysShowToolWindow);
    setAttribute(Qt::WA_QuitOnClose, false);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Velora piece"));

    m_content = new PieceContent(this);
    connect(m_content, &PieceContent::imageChanged, this, &PiecePanel::updateShape);
    auto& compositing = Platform::Compositing::instance();
    connect(&compositing, &Platform::Compositing::blendingChanged, this, &PiecePanel::followBlending);
    connect(&compositing, &Platform::Compositing::wallpaperChanged, this, [this] {
        m_sampledAt = QRect();
        sampleBackdrop();
    });

    m_glide.setDuration(glideMs);
    m_glide.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_glide, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        const QPointF p = value.toPointF();
        moveOrigin({p.x(), p.y()});
    });
    connect(&m_glide, &QVariantAnimation::finished, this, [this] { moveOrigin(m_glideTarget); });
    connect(m_content, &PieceContent::fadeStepped, this, &PiecePanel::stepResize);

    // A release that never arrives (another client took the pointer, the button went up
    // elsewhere) must not leave the piece stuck to the pointer.
    m_dragWatch.setInterval(100);
    connect(&m_dragWatch, &QTimer::timeout, this, [this] {
        if (!Platform::primaryButtonDown()) endDrag();
    });

    // The native window exists from here on, so the window-manager hints are in place before the
    // first show.
    winId();
    Platform::prepareDesktopWindow(windowHandle());
    applyGeometry();
    followBlending(compositing.blends());
}

PiecePanel::~PiecePanel() = default;

Rect PiecePanel::frame() const
{
    if (isGliding()) return {m_glideTarget.x, m_glideTarget.y, m_frame.width, m_frame.height};
    if (m_resizing) return m_resizeTo;
    return m_frame;
}

void PiecePanel::setFrame(const Rect& frame)
{
    // A sync during the glide (the stored placement is the target in whole points) steers it.
    if (isGliding() && frame.width == m_frame.width && frame.height == m_frame.height) {
        m_glideTarget = {frame.x, frame.y};
        m_glide.setEndValue(QPointF(frame.x, frame.y));
        return;
    }
    m_glide.stop();
    // A slideshow step to a photo of another shape: the window grows or shrinks with the
    // crossfade instead of cutting the old photo off at once.
    const bool resized = frame.width != m_frame.width || frame.height != m_frame.height;
    if (m_resizing && frame.width == m_resizeTo.width && frame.height == m_resizeTo.height) {
        m_resizeTo = frame;
        stepResize();
        return;
    }
    if (resized && isVisible() && !m_dragging && m_content->isCrossfading()) {
        m_resizeFrom = m_frame;
        m_resizeTo = frame;
        m_resizing = true;
        stepResize();
        return;
    }
    m_frame = frame;
    applyGeometry();
    endResize();
}

void PiecePanel::endResize() { m_resizing = false; }

void PiecePanel::finishResize()
{
    if (!m_resizing) return;
    m_frame = m_resizeTo;
    applyGeometry();
    endResize();
}

void PiecePanel::stepResize()
{
    if (!m_resizing) return;
    const qreal t = m_content->crossfadeProgress();
    if (t >= 1.0) return finishResize();
    const qreal e = Crossfade::eased(t);
    const auto mix = [e](double a, double b) { return a + (b - a) * e; };
    m_frame = {mix(m_resizeFrom.x, m_resizeTo.x), mix(m_resizeFrom.y, m_resizeTo.y),
               mix(m_resizeFrom.width, m_resizeTo.width), mix(m_resizeFrom.height, m_resizeTo.height)};
    applyGeometry();
}

void PiecePanel::moveOrigin(const Point& origin)
{
    m_frame.x = origin.x;
    m_frame.y = origin.y;
    applyGeometry();
}

void PiecePanel::applyGeometry()
{
    const QRect r = m_controller.screens().space().windowRect(m_frame);
    if (r.size() != size()) {
        setGeometry(r);
        m_content->setGeometry(rect());
    } else if (r.topLeft() != pos()) {
        move(r.topLeft());
    }
    // Drawn opaque, the piece shows the desktop where it rests, not where a drag passes.
    if (!m_dragging && !isGliding()) sampleBackdrop();
}

void PiecePanel::orderFront()
{
    show();
    Platform::desktopWindowShown(windowHandle());
}

void PiecePanel::setIgnoresMouse(bool ignore)
{
    if (m_ignoresMouse == ignore) return;
    m_ignoresMouse = ignore;
    Qt::WindowFlags flags = windowFlags();
    flags.setFlag(Qt::WindowTransparentForInput, ignore);
    // Not setWindowFlags(): that re-creates and hides the window.
    overrideWindowFlags(flags);
    if (QWindow* w = windowHandle()) {
        w->setFlags(flags);
        Platform::desktopWindowShown(w);
    }
    updateShape(); // the flag replaced the input shape
}

void PiecePanel::setContent(const PieceView& view) { m_content->setView(view); }

void PiecePanel::updateShape()
{
    // Locked, the window takes no input at all (the window flag); else only the drawn piece does,
    // so clicks on its shadow and margin reach what lies behind.
    if (!m_ignoresMouse) Platform::setInputShape(windowHandle(), m_content->outline());
    if (!m_shaped) return;
    if (m_content->shape().isEmpty())
        clearMask();
    else
        setMask(m_content->shape());
}

void PiecePanel::followBlending(bool blends)
{
    // The window manager applies each size of a step later, so the clear stays on for as long as
    // the desktop blends (resizing steps happen only then); drawn opaque, a flash of black would
    // be worse than the server's copy of the screen.
    Platform::setClearOnGrow(windowHandle(), blends);
    if (m_shaped == !blends) return;
    m_shaped = !blends;
    m_sampledAt = QRect();
    if (!m_shaped) clearMask();
    sampleBackdrop();
    m_content->setOpaqueShape(m_shaped);
}

void PiecePanel::sampleBackdrop()
{
    if (!m_shaped) return;
    // The window's place in the window system's device pixels: Qt scales about each screen's origin.
    const qreal dpr = devicePixelRatioF();
    const QPoint origin = screen() ? screen()->geometry().topLeft() : QPoint();
    const QRect device(origin + (pos() - origin) * dpr, size() * dpr);
    if (device == m_sampledAt) return;
    m_sampledAt = device;
    auto& compositing = Platform::Compositing::instance();
    const QImage wallpaper = compositing.wallpaperUnder(device);
    m_content->setBackdrop(wallpaper, wallpaper.isNull() ? compositing.colourAround(device) : QColor());
}

void PiecePanel::release()
{
    m_glide.stop();
    m_dragWatch.stop();
    m_dragging = false;
    endResize();
    hide();
    deleteLater();
}

void PiecePanel::mousePressEvent(QMouseEvent* event)
{
    event->accept();
    // Any other button during a drag ends it (a right click then opens no menu); a left press
    // while one seems to run means its release was lost.
    if (m_dragging) {
        endDrag();
        if (event->button() != Qt::LeftButton) return;
    }
    if (event->button() == Qt::LeftButton) {
        // A press during the glide takes the piece from where it was going, so a click that does
        // not move leaves it at its stored place; a resize ends where it was going.
        if (isGliding()) {
            m_glide.stop();
            moveOrigin(m_glideTarget);
        }
        finishResize();
        m_dragging = true;
        m_moved = false;
        m_dragStartMouse = event->globalPosition();
        // Where the window really is: a window manager may have kept it on screen.
        m_dragStartCorner = QPointF(pos());
        // The keyboard for Escape, though the piece never takes focus; moves without a button
        // to notice a release that went elsewhere.
        if (Platform::session() == Platform::Session::x11) grabKeyboard();
        setMouseTracking(true);
        m_dragWatch.start();
        return;
    }
    if (event->button() == Qt::RightButton) {
        contextMenu()->popup(event->globalPosition().toPoint());
        return;
    }
}

void PiecePanel::mouseMoveEvent(QMouseEvent* event)
{
    event->accept();
    if (!m_dragging) return;
    // The button went up where we did not see it.
    if (!(event->buttons() & Qt::LeftButton)) {
        endDrag();
        return;
    }
    m_moved = true;
    // The global position: the position in the window changes as the window moves.
    const QPointF corner = m_dragStartCorner + (event->globalPosition() - m_dragStartMouse);
    m_frame = m_controller.screens().space().fromQt(QRectF(corner, QSizeF(m_frame.width, m_frame.height)));
    applyGeometry();
}

void PiecePanel::mouseReleaseEvent(QMouseEvent* event)
{
    event->accept();
    if (event->button() == Qt::LeftButton) endDrag();
}

void PiecePanel::keyPressEvent(QKeyEvent* event)
{
    if (m_dragging && event->key() == Qt::Key_Escape) {
        event->accept();
        endDrag();
        return;
    }
    QWidget::keyPressEvent(event);
}

bool PiecePanel::event(QEvent* event)
{
    switch (event->type()) {
    case QEvent::UngrabMouse:
    case QEvent::UngrabKeyboard:
    case QEvent::WindowDeactivate:
    case QEvent::FocusOut:
    case QEvent::Hide:
        endDrag();
        break;
    default:
        break;
    }
    return QWidget::event(event);
}

void PiecePanel::mouseDoubleClickEvent(QMouseEvent* event)
{
    event->accept();
    if (m_dragging && event->button() != Qt::LeftButton) {
        endDrag();
        return;
    }
    // A quick second right click is still a right click.
    if (event->button() == Qt::RightButton) {
        contextMenu()->popup(event->globalPosition().toPoint());
        return;
    }
    if (event->button() != Qt::LeftButton) return;
    // Qt delivers the second press before this; it starts no drag.
    m_dragging = false;
    m_dragWatch.stop();
    if (keyboardGrabber() == this) releaseKeyboard();
    setMouseTracking(false);
    m_moved = false;
    m_controller.openEditor(m_pieceID);
}

void PiecePanel::endDrag()
{
    if (!m_dragging) return;
    m_dragging = false;
    m_dragWatch.stop();
    if (keyboardGrabber() == this) releaseKeyboard();
    setMouseTracking(false);
    if (m_moved) finishDrag();
}

void PiecePanel::finishDrag()
{
    const QList<ScreenInfo> screens = m_controller.screens().screens();
    if (screens.isEmpty()) qFatal("Velora: no screen to place a piece on");
    const ScreenInfo screen = screens[ScreenMath::screenOf(m_frame, screens).value_or(0)];
    const Point target = m_controller.snapped(m_frame, m_margin, screen);

    m_glideTarget = target;
    m_glide.stop();
    m_glide.setStartValue(QPointF(m_frame.x, m_frame.y));
    m_glide.setEndValue(QPointF(target.x, target.y));
    m_glide.start();
    emit dropped(target);

    const QString key = screen.key;
    m_controller.recordEdit(tr("Move Piece"), [&] {
        m_controller.studio().update(m_pieceID, [&](Piece& p) { p.displayID = key; });
        m_controller.savePlacement(m_pieceID, target, screen);
    });
}

QMenu* PiecePanel::contextMenu()
{
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    DesktopController* controller = &m_controller;
    Studio* studio = &m_controller.studio();
    const QUuid id = m_pieceID;
    menu->addAction(tr("Edit in Velora\u2026"), menu, [controller, id] { controller->openEditor(id); });
    // Identifiers count, whether or not their photos are still in the library.
    if (const Piece* piece = studio->piece(id); piece && piece->photoIDs.size() >= 2)
        menu->addAction(tr("Next Photo"), menu, [studio, id] { studio->advance(id); });
    menu->addSeparator();
    // Steps the user can undo, like the same switches in the window.
    menu->addAction(tr("Lock in Place"), menu, [controller, studio, id] {
        controller->recordEdit(tr("Lock"), [studio, id] { studio->toggleLocked(id); });
    });
    menu->addAction(tr("Hide This Piece"), menu, [controller, studio, id] {
        controller->recordEdit(tr("Hide Piece"), [studio, id] { studio->toggleVisible(id); });
    });
    return menu;
}

} // namespace velora
