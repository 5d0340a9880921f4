// The typed settings: the Boolean read rule in text and typed stores, the round trip, the launch
// rule. (Each setting taking effect: the settings window's tests.)
#include "fixtures.h"
#include "testing.h"

#include "settings.h"

#include <QDataStream>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace velora;

namespace {
// A store over a fresh INI file holding exactly `body`.
std::unique_ptr<QSettings> iniWith(const QTemporaryDir& dir, const QByteArray& body)
{
    static int n = 0;
    const QString path = dir.filePath(QStringLiteral("s%1.ini").arg(++n));
    testing::writeBytes(path, "[General]\n" + body);
    return Settings::file(path);
}
} // namespace

class TestSettings : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void booleansReadOnlyAsBooleans_data()
    {
        QTest::addColumn<QByteArray>("stored");
        QTest::addColumn<int>("expected"); // -1: absent
        QTest::newRow("false") << QByteArray("false") << 0;
        QTest::newRow("true") << QByteArray("true") << 1;
        QTest::newRow("False") << QByteArray("False") << -1;
        QTest::newRow("0") << QByteArray("0") << -1;
        QTest::newRow("1") << QByteArray("1") << -1;
        QTest::newRow("no") << QByteArray("no") << -1;
        QTest::newRow("empty") << QByteArray("") << -1;
        QTest::newRow("quoted") << QByteArray("\"false\"") << 0;
        QTest::newRow("list") << QByteArray("false, true") << -1;
    }

    void booleansReadOnlyAsBooleans()
    {
        QFETCH(QByteArray, stored);
        QFETCH(int, expected);
        QByteArray body;
        for (const QString& key : {Settings::showMenuBarIconKey, Settings::openManagerAtLaunchKey, Settings::snapToGridKey})
            body += key.toLatin1() + "=" + stored + "\n";
        Settings s(iniWith(dir, body));
        const bool fallback = expected == -1;
        QCOMPARE(s.showMenuBarIcon(), fallback || expected == 1);
        QCOMPARE(s.snapToGrid(), fallback || expected == 1);
        QCOMPARE(s.openManagerAtLaunch(), fallback ? std::nullopt : std::optional<bool>(expected == 1));
    }

    void allHiddenIsThePlainRead()
    {
        const struct { QByteArray stored; bool hidden; } cases[] = {
            {"", false}, {"true", true}, {"false", false}, {"1", true}, {"0", false}, {"yes", true}};
        for (const auto& c : cases) {
            Settings s(iniWith(dir, c.stored.isEmpty() ? QByteArray() : "allHidden=" + c.stored + "\n"));
            QCOMPARE(s.allHidden(), c.hidden);
        }
    }

    void typedStoresNeedARealBoolean()
    {
        // A format that keeps the types of its values: there the word "false" is a string.
        const QSettings::Format typed = QSettings::registerFormat(
            "vtyped",
            [](QIODevice& d, QSettings::SettingsMap& map) { QDataStream in(&d); in >> map; return in.status() == QDataStream::Ok; },
            [](QIODevice& d, const QSettings::SettingsMap& map) { QDataStream out(&d); out << map; return out.status() == QDataStream::Ok; });
        {
            QSettings w(dir.filePath("a.vtyped"), typed);
            w.setValue(Settings::snapToGridKey, QStringLiteral("false"));
            w.setValue(Settings::showMenuBarIconKey, false);
            w.setValue(Settings::openManagerAtLaunchKey, 0);
        }
        QVERIFY(QFile::copy(dir.filePath("a.vtyped"), dir.filePath("b.vtyped")));
        Settings s(std::make_unique<QSettings>(dir.filePath("b.vtyped"), typed));
        QVERIFY(s.snapToGrid());
        QVERIFY(!s.showMenuBarIcon());
        QCOMPARE(s.openManagerAtLaunch(), std::nullopt);
        QCOMPARE(Settings::boolValue(QVariant(QStringLiteral("false")), false), std::nullopt);
        QCOMPARE(Settings::boolValue(QVariant(QStringLiteral("false")), true), std::optional(false));
    }

    void writesRoundTripThroughTheFileAndSignalOnlyChanges()
    {
        const QString path = dir.filePath("round.ini");
        {
            Settings s(Settings::file(path));
            QSignalSpy frame(&s, &Settings::defaultFrameChanged);
            QSignalSpy icon(&s, &Settings::showMenuBarIconChanged);
            s.setDefaultFrame(FrameStyle::film);
            s.setDefaultFrame(FrameStyle::film);
            s.setShowMenuBarIcon(true); // already true by default
            s.setShowMenuBarIcon(false);
            s.setSnapToGrid(false);
            s.setOpenManagerAtLaunch(false);
            s.setAllHidden(true);
            s.setManagerGeometry(QByteArray("\x01\x02\x00geometry", 11));
            QCOMPARE(frame.count(), 1);
            QCOMPARE(icon.count(), 1);
            QVERIFY(s.sync());
        }
        QVERIFY(QFile::copy(path, dir.filePath("round2.ini")));
        Settings back(Settings::file(dir.filePath("round2.ini")));
        QCOMPARE(back.defaultFrame(), FrameStyle::film);
        QVERIFY(!back.showMenuBarIcon());
        QVERIFY(!back.snapToGrid());
        QCOMPARE(back.openManagerAtLaunch(), std::optional(false));
        QVERIFY(back.allHidden());
        QCOMPARE(back.managerGeometry(), QByteArray("\x01\x02\x00geometry", 11));
        QCOMPARE(back.store().value(Settings::defaultFrameKey).toString(), QStringLiteral("film"));

        for (const QByteArray& bad : {QByteArray("polaroid"), QByteArray("3"), QByteArray("Gallery")})
            QCOMPARE(Settings(iniWith(dir, "defaultFrame=" + bad + "\n")).defaultFrame(), FrameStyle::gallery);
    }

    void theLaunchRule()
    {
        const struct { std::optional<bool> setting; bool snapshot; bool pieces; bool opens; } rules[] = {
            {std::nullopt, false, true, true}, {true, false, true, true},   {false, false, true, false},
            {false, false, false, true},       {false, true, true, true},   {std::nullopt, true, false, true},
        };
        for (const auto& r : rules)
            QCOMPARE(Settings::opensManagerAtLaunch(r.setting, r.snapshot, r.pieces), r.opens);
        // The string "false" is no Boolean, so the window opens.
        Settings s(iniWith(dir, "openManagerAtLaunch=\"false \"\n"));
        QVERIFY(Settings::opensManagerAtLaunch(s.openManagerAtLaunch(), false, true));
    }
};

VELORA_TEST(TestSettings)
#include "test_settings.moc"
