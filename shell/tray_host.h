#pragma once
// Whether the desktop runs something that shows tray icons: a StatusNotifier host on the session
// bus, or an XEmbed system tray on the X screen. Asked without Qt's tray, which picks one of the
// two kinds for good at its first use: an icon made before a late StatusNotifier host starts never
// reaches it, so the tray is touched only once a host is there.
#include <QAbstractNativeEventFilter>
#include <QObject>

namespace velora {

class TrayHost : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT
public:
    explicit TrayHost(QObject* parent = nullptr);
    ~TrayHost() override;

    bool present() const { return m_statusNotifier || m_xembed; }
    bool statusNotifier() const { return m_statusNotifier; }
    bool xembed() const { return m_xembed; }

signals:
    // Once, when the first host of either kind is found.
    void appeared();

protected:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private slots:
    void askWatcher();

private:
    void watchStatusNotifier();
    void watchXembed();
    void found(bool& kind);

    bool m_statusNotifier = false;
    bool m_xembed = false;
    bool m_filtering = false;
    quint32 m_managerAtom = 0;
    quint32 m_selectionAtom = 0;
};

} // namespace velora
