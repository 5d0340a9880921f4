#include "file_manager.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

#if VELORA_HAVE_DBUS
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#endif

namespace velora::FileManager {

namespace {
Handler& handler()
{
    static Handler h;
    return h;
}

[[maybe_unused]] void openFolder(const QString& path)
{
    QDesktopServices::openUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath()));
}
} // namespace

QString showOriginalText()
{
#ifdef Q_OS_MACOS
    return QCoreApplication::translate("Velora", "Show Original in Finder");
#else
    return QCoreApplication::translate("Velora", "Show Original in File Manager");
#endif
}

void setHandler(Handler h) { handler() = std::move(h); }

void showItem(const QString& path)
{
    if (handler()) {
        handler()(path);
        return;
    }
#if defined(Q_OS_MACOS)
    QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), path});
#elif VELORA_HAVE_DBUS
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(path);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()).toString()} << QString();
    // Without a file manager that offers the service, the folder opens in whatever opens folders.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call, 5000), qApp);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, qApp, [path](QDBusPendingCallWatcher* w) {
        if (w->isError()) openFolder(path);
        w->deleteLater();
    });
#else
    openFolder(path);
#endif
}

} // namespace velora::FileManager
