#include "displays.h"
#include "testing.h"

#include <QGuiApplication>
#include <QScreen>

using namespace velora;

class TestDisplays : public QObject {
    Q_OBJECT
private slots:
    void keyPrefersThePlatformUUIDThenEdidThenName()
    {
        QCOMPARE(Displays::key({"DP-1", "DEL", "U2720Q", "ABC123", "37D8832A-2D66-02CA-B9F7-8F30A301B230"}),
                 QStringLiteral("37D8832A-2D66-02CA-B9F7-8F30A301B230"));
        QCOMPARE(Displays::key({"DP-1", "DEL", "U2720Q", "ABC123", ""}), QStringLiteral("EDID:DEL/U2720Q/ABC123"));
        // The serial identifies the monitor wherever it is plugged in.
        QCOMPARE(Displays::key({"HDMI-2", "DEL", "U2720Q", "ABC123", ""}), QStringLiteral("EDID:DEL/U2720Q/ABC123"));
        // Two of one model without serials are told apart by connector.
        QVERIFY(Displays::key({"DP-1", "DEL", "U2720Q", "", ""}) != Displays::key({"DP-2", "DEL", "U2720Q", "", ""}));
        QCOMPARE(Displays::key({"Built-in Display", "", "", "", ""}), QStringLiteral("Built-in Display"));
    }

    void lookupFallsBackToPrimaryThenFirst()
    {
        const QList<QString> keys{"A", "B", "B"};
        QCOMPARE(Displays::screenIndex(QStringLiteral("B"), keys, 0), std::optional<qsizetype>(1));
        QCOMPARE(Displays::screenIndex(std::nullopt, keys, 2), std::optional<qsizetype>(2));
        QCOMPARE(Displays::screenIndex(QStringLiteral("gone"), keys, 2), std::optional<qsizetype>(2));
        QCOMPARE(Displays::screenIndex(QStringLiteral("gone"), keys, std::nullopt), std::optional<qsizetype>(0));
        QCOMPARE(Displays::screenIndex(QStringLiteral("A"), {}, std::nullopt), std::optional<qsizetype>());
    }

    void realScreensHaveKeys()
    {
        QScreen* primary = QGuiApplication::primaryScreen();
        QVERIFY(primary);
        QVERIFY(!Displays::key(primary).isEmpty());
        QCOMPARE(Displays::screen(std::nullopt), primary);
        QCOMPARE(Displays::screen(Displays::key(primary)), primary);
        QCOMPARE(Displays::screen(QStringLiteral("no such display")), primary);
    }
};

VELORA_TEST(TestDisplays)
#include "test_displays.moc"
