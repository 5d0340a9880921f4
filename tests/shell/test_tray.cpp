// The tray icon with real tray hosts on a real X server and session bus, all started here: Velora
// starts first, the host after it, and the icon must appear; the settings toggle then takes it
// away and brings it back at once. Hosts: trayer (XEmbed), xfce4-panel (StatusNotifier and
// XEmbed), lxqt-panel (StatusNotifier only); each one that is not installed is skipped.
#include "testing.h"
#include "x11_session.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QScopeGuard>

using velora::testing::patience;
using velora::testing::stopProgram;
using velora::testing::waitForLine;

class TestTray : public QObject {
    Q_OBJECT
private:
    velora::testing::X11Session m_x;
    QProcessEnvironment& m_env = m_x.env;
    QProcess m_bus;
    QString m_busAddress;

    QImage screenshot() { return velora::testing::screenshot(m_x.c, QRect(0, 0, 4096, 64)); }

    // Pixels of Velora's sunset tile along the top of the screen, where the hosts put their trays.
    int markPixels()
    {
        const QImage shot = screenshot();
        int n = 0;
        for (int y = 0; y < shot.height(); ++y)
            for (int x = 0; x < shot.width(); ++x) {
                const QRgb c = shot.pixel(x, y);
                n += qRed(c) > 150 && qGreen(c) < 150 && qBlue(c) > 70 && qRed(c) - qGreen(c) > 60;
            }
        return n;
    }

    QStringList registeredItems()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(m_busAddress, QStringLiteral("trayTest"));
        QDBusMessage get = QDBusMessage::createMethodCall(
            QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("/StatusNotifierWatcher"),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        get << QStringLiteral("org.kde.StatusNotifierWatcher") << QStringLiteral("RegisteredStatusNotifierItems");
        get.setAutoStartService(false);
        const QDBusMessage reply = bus.call(get, QDBus::Block, 2000);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return {};
        return qvariant_cast<QDBusVariant>(reply.arguments().first()).variant().toStringList();
    }

    // Starts a host the way a desktop session would, with its configuration under the test's home.
    bool startHost(const QString& kind, QProcess& host, QProcess& helper)
    {
        host.setProcessEnvironment(m_env);
        helper.setProcessEnvironment(m_env);
        host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        const QDir config(m_env.value("XDG_CONFIG_HOME"));
        if (kind == u"xembed") {
            host.start(QStringLiteral("trayer"), {"--edge", "top", "--align", "right", "--widthtype", "request", "--height", "32",
                                                  "--SetDockType", "true", "--transparent", "false", "--expand", "true"});
        } else if (kind == u"sni") {
            QDir().mkpath(config.filePath("xfce4/xfconf/xfce-perchannel-xml"));
            QFile xml(config.filePath("xfce4/xfconf/xfce-perchannel-xml/xfce4-panel.xml"));
            if (!xml.open(QIODevice::WriteOnly)) return false;
            xml.write(
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<channel name=\"xfce4-panel\" version=\"1.0\">\n"
                "  <property name=\"configver\" type=\"int\" value=\"2\"/>\n"
                "  <property name=\"panels\" type=\"array\">\n"
                "    <value type=\"int\" value=\"1\"/>\n"
                "    <property name=\"panel-1\" type=\"empty\">\n"
                "      <property name=\"position\" type=\"string\" value=\"p=6;x=0;y=0\"/>\n"
                "      <property name=\"length\" type=\"uint\" value=\"100\"/>\n"
                "      <property name=\"size\" type=\"uint\" value=\"32\"/>\n"
                "      <property name=\"plugin-ids\" type=\"array\"><value type=\"int\" value=\"1\"/></property>\n"
                "    </property>\n"
                "  </property>\n"
                "  <property name=\"plugins\" type=\"empty\">\n"
                "    <property name=\"plugin-1\" type=\"string\" value=\"systray\"/>\n"
                "  </property>\n"
                "</channel>\n");
            xml.close();
            // The settings daemon is started here rather than by the bus, so it ends with the test.
            for (const char* d : {"/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd", "/usr/lib/xfce4/xfconf/xfconfd"})
                if (QFile::exists(d)) {
                    helper.start(d, {});
                    break;
                }
            QTest::qWait(500);
            host.start(QStringLiteral("xfce4-panel"), {"--disable-wm-check", "--sm-client-disable"});
        } else {
            QDir().mkpath(config.filePath("lxqt"));
            QFile conf(config.filePath("lxqt/panel.conf"));
            if (!conf.open(QIODevice::WriteOnly)) return false;
            conf.write("[General]\n__userfile__=true\npanels=panel1\n\n[panel1]\nplugins=statusnotifier\nposition=Top\n"
                       "panelSize=32\niconSize=24\n\n[statusnotifier]\ntype=statusnotifier\n");
            conf.close();
            host.start(QStringLiteral("lxqt-panel"), {});
        }
        return host.waitForStarted(5000);
    }

private slots:
    void initTestCase()
    {
        const QString daemon = QStandardPaths::findExecutable("dbus-daemon");
        if (daemon.isEmpty()) QSKIP("dbus-daemon is not installed (bash scripts/deps.sh installs it); skipping the tray test");
        if (const QString why = m_x.start({1024, 640}, false); !why.isEmpty()) QSKIP(qPrintable(why + "; skipping the tray test"));

        m_bus.start(daemon, {"--session", "--nofork", "--nopidfile", "--print-address=1"});
        QVERIFY2(m_bus.waitForStarted(5000), "dbus-daemon did not start");
        QVERIFY(m_bus.waitForReadyRead(5000));
        m_busAddress = QString::fromLatin1(m_bus.readLine().trimmed());
        QVERIFY(!m_busAddress.isEmpty());
        m_env.insert("DBUS_SESSION_BUS_ADDRESS", m_busAddress);
        m_env.remove("QT_SCALE_FACTOR");
    }

    void iconAppearsWhenTheHostStartsAfterVelora_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("program");
        QTest::newRow("XEmbed tray (trayer)") << "xembed" << "trayer";
        QTest::newRow("StatusNotifier and XEmbed (xfce4-panel)") << "sni" << "xfce4-panel";
        QTest::newRow("StatusNotifier only (lxqt-panel)") << "sni-only" << "lxqt-panel";
    }

    void iconAppearsWhenTheHostStartsAfterVelora()
    {
        QFETCH(QString, kind);
        QFETCH(QString, program);
        if (QStandardPaths::findExecutable(program).isEmpty())
            QSKIP(qPrintable(program + " is not installed; this kind of tray is not tried"));

        QTemporaryDir library;
        QProcess probe, host, helper;
        QString said;
        probe.setProcessEnvironment(m_env);
        probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        probe.start(QStringLiteral(VELORA_TRAY_PROBE), {library.path()});
        const auto cleanup = qScopeGuard([&] {
            probe.write("quit\n");
            if (!probe.waitForFinished(3000)) stopProgram(probe);
            stopProgram(host);
            stopProgram(helper);
        });
        QVERIFY2(!waitForLine(probe, said, "READY", 20000).isEmpty(),
                 qPrintable(QStringLiteral("the probe did not start: %1 (exit %2)").arg(probe.errorString()).arg(probe.exitCode())));

        // No tray yet: no icon, and none made that a late host could not reach.
        QTest::qWait(800);
        QCOMPARE(waitForLine(probe, said, "SHOWN", patience), QStringLiteral("SHOWN 0"));
        QCOMPARE(markPixels(), 0);

        QVERIFY2(startHost(kind, host, helper), qPrintable(program + " did not start"));
        QVERIFY2(!waitForLine(probe, said, "SHOWN 1", 20000).isEmpty(), "the tray icon was made once the host ran");
        QTRY_VERIFY2_WITH_TIMEOUT(markPixels() > 40, "the icon shows in the tray", patience);
        if (kind == u"sni-only") QVERIFY2(!registeredItems().isEmpty(), "the icon is registered with the StatusNotifier watcher");
        screenshot().save(QDir(QCoreApplication::applicationDirPath()).filePath("tray-" + kind + ".png"));

        // The settings toggle takes the icon away at once, and brings it back.
        said.clear();
        probe.write("off\n");
        QCOMPARE(waitForLine(probe, said, "SETTING", patience), QStringLiteral("SETTING 0"));
        QTRY_COMPARE_WITH_TIMEOUT(markPixels(), 0, patience);
        if (kind == u"sni-only") QTRY_VERIFY_WITH_TIMEOUT(registeredItems().isEmpty(), patience);
        said.clear();
        probe.write("on\n");
        QCOMPARE(waitForLine(probe, said, "SETTING", patience), QStringLiteral("SETTING 1"));
        QTRY_VERIFY2_WITH_TIMEOUT(markPixels() > 40, "the icon is back", patience);
        if (kind == u"sni-only") QVERIFY(!registeredItems().isEmpty());
    }

    void cleanupTestCase()
    {
        stopProgram(m_bus);
        m_x.stop();
    }
};

VELORA_TEST(TestTray)
#include "test_tray.moc"
