#include "tray_host.h"

#include <QCoreApplication>
#include <QGuiApplication>

#if defined(Q_OS_MACOS) || defined(Q_OS_WIN)
#define VELORA_TRAY_ALWAYS 1
#else
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#endif

#if VELORA_TRAY_XCB
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#endif

namespace velora {

namespace {
[[maybe_unused]] const char* const watcherService = "org.kde.StatusNotifierWatcher";
[[maybe_unused]] const char* const watcherPath = "/StatusNotifierWatcher";
} // namespace

TrayHost::TrayHost(QObject* parent)
    : QObject(parent)
{
#ifdef VELORA_TRAY_ALWAYS
    m_statusNotifier = true; // the menu bar and the notification area are always there
#else
    watchStatusNotifier();
    watchXembed();
#endif
}

TrayHost::~TrayHost()
{
    if (m_filtering && qApp) qApp->removeNativeEventFilter(this);
}

void TrayHost::found(bool& kind)
{
    const bool before = present();
    kind = true;
    if (!before) emit appeared();
    if (m_filtering) {
        qApp->removeNativeEventFilter(this);
        m_filtering = false;
    }
}

void TrayHost::watchStatusNotifier()
{
#ifndef VELORA_TRAY_ALWAYS
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return;
    // The watcher may come later (a panel that starts after us), or gain its host later.
    auto* services = new QDBusServiceWatcher(QString::fromLatin1(watcherService), bus,
                                             QDBusServiceWatcher::WatchForRegistration, this);
    connect(services, &QDBusServiceWatcher::serviceRegistered, this, &TrayHost::askWatcher);
    bus.connect(QString(), QString::fromLatin1(watcherPath), QString::fromLatin1(watcherService),
                QStringLiteral("StatusNotifierHostRegistered"), this, SLOT(askWatcher()));
    askWatcher();
#endif
}

void TrayHost::askWatcher()
{
#ifndef VELORA_TRAY_ALWAYS
    if (m_statusNotifier) return;
    QDBusMessage get = QDBusMessage::createMethodCall(QString::fromLatin1(watcherService), QString::fromLatin1(watcherPath),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QString::fromLatin1(watcherService) << QStringLiteral("IsStatusNotifierHostRegistered");
    // Asking starts no watcher of its own.
    get.setAutoStartService(false);
    auto* call = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(get), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *w;
        if (!reply.isError() && reply.value().variant().toBool() && !m_statusNotifier) found(m_statusNotifier);
    });
#endif
}

void TrayHost::watchXembed()
{
#if VELORA_TRAY_XCB
    auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t* c = x11 ? x11->connection() : nullptr;
    if (!c) return;
    int screen = 0;
    char* host = nullptr;
    int display = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen)) std::free(host);
    const auto intern = [c](const QByteArray& name) {
        xcb_intern_atom_reply_t* r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(name.size()), name.constData()), nullptr);
        const quint32 atom = r ? r->atom : 0;
        std::free(r);
        return atom;
    };
    m_managerAtom = intern("MANAGER");
    m_selectionAtom = intern("_NET_SYSTEM_TRAY_S" + QByteArray::number(screen));
    if (!m_managerAtom || !m_selectionAtom) return;

    // A tray that starts later announces itself to the root window (which Qt listens to) with MANAGER.
    qApp->installNativeEventFilter(this);
    m_filtering = true;
    xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, m_selectionAtom), nullptr);
    const bool owned = owner && owner->owner != XCB_NONE;
    std::free(owner);
    if (owned) found(m_xembed);
#endif
}

bool TrayHost::nativeEventFilter(const QByteArray& eventType, [[maybe_unused]] void* message, qintptr*)
{
#if VELORA_TRAY_XCB
    if (eventType != "xcb_generic_event_t") return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) return false;
    const auto* client = static_cast<const xcb_client_message_event_t*>(message);
    if (client->type == m_managerAtom && client->format == 32 && client->data.data32[1] == m_selectionAtom && !m_xembed)
        found(m_xembed);
#else
    Q_UNUSED(eventType);
#endif
    return false;
}

} // namespace velora
