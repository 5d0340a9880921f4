#include "file_manager.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

#if !defined(Q_OS_MACOS)
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#endif

namespace velora::FileManager {

namespace {

Handler& handler()
{
    static Handler h;
    return h;
}

void openParent(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}

} // namespace

void setHandler(Handler h) { handler() = std::move(h); }

void reveal(const QString& path)
{
    if (handler()) {
        handler()(path);
        return;
    }
#if defined(Q_OS_MACOS)
    QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), path});
#else
    // The freedesktop file manager interface selects the item; without one, its folder opens.
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openParent(path);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), nullptr);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, [path](QDBusPendingCallWatcher* w) {
        if (w->isError()) openParent(path);
        w->deleteLater();
    });
#endif
}

} // namespace velora::FileManager
