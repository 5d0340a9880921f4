#include "editor_rules.h"
#include "fixtures.h"
#include "testing.h"

#include <cmath>

using namespace velora;
namespace Rules = velora::EditorRules;

Q_DECLARE_METATYPE(std::optional<QString>)
Q_DECLARE_METATYPE(QList<velora::EditorRules::Screen>)
Q_DECLARE_METATYPE(QList<velora::EditorRules::DisplayChoice>)

namespace {
const QString minus = QString(QChar(0x2212));
const QString degree = QString(QChar(0x00b0));
} // namespace

class TestEditorRules : public QObject {
    Q_OBJECT

private slots:
    void tenths_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<double>("rounded");
        // Halves go away from zero; values chosen to be exact in binary.
        QTest::newRow("0.25") << 0.25 << 0.3;
        QTest::newRow("-0.25") << -0.25 << -0.3;
        QTest::newRow("-0.75") << -0.75 << -0.8;
        QTest::newRow("1.25") << 1.25 << 1.3;
        QTest::newRow("0.125") << 0.125 << 0.1;
        QTest::newRow("4.96875") << 4.96875 << 5.0;
        QTest::newRow("-5") << -5.0 << -5.0;
    }
    void tenths()
    {
        QFETCH(double, value);
        QFETCH(double, rounded);
        QCOMPARE(Rules::roundTenth(value), rounded);
    }

    void randomTiltFromDraws_data()
    {
        QTest::addColumn<double>("uniform");
        QTest::addColumn<double>("tilt");
        QTest::newRow("lowest draw") << 0.0 << -5.0;
        QTest::newRow("middle") << 0.5 << 0.0;
        QTest::newRow("a quarter") << 0.25 << -2.5;
        QTest::newRow("highest draw") << std::nextafter(1.0, 0.0) << 5.0;
        QTest::newRow("rounds down") << 0.5 + 1.0 / 256 << 0.0; // 0.0390625 rounds down
        QTest::newRow("rounds up") << 0.5 + 3.0 / 512 << 0.1; // 0.05859375 rounds up
    }
    void randomTiltFromDraws()
    {
        QFETCH(double, uniform);
        QFETCH(double, tilt);
        QCOMPARE(Rules::randomTilt(uniform), tilt);
    }

    void readouts_data()
    {
        QTest::addColumn<double>("width");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("inRange");
        QTest::newRow("lowest") << 140.0 << 140 << "140" << true;
        QTest::newRow("highest") << 1100.0 << 1100 << "1100" << true;
        QTest::newRow("fraction") << 300.5 << 301 << "301" << true;
        QTest::newRow("stored wider") << 2400.0 << 1100 << "2400" << false;
        QTest::newRow("stored narrower") << 99.6 << 140 << "100" << false;
        QTest::newRow("negative") << -50.0 << 140 << minus + "50" << false;
        QTest::newRow("absurd") << 1e300 << 1100 << "1e+300" << false;
        QTest::newRow("not a number") << std::nan("") << 140 << "nan" << false;
    }
    void readouts()
    {
        QFETCH(double, width);
        QFETCH(int, position);
        QFETCH(QString, text);
        QFETCH(bool, inRange);
        QCOMPARE(Rules::widthPosition(width), position);
        QCOMPARE(Rules::widthText(width), text);
        QCOMPARE(Rules::widthInRange(width), inRange);
    }

    void tiltReadouts_data()
    {
        QTest::addColumn<double>("tilt");
        QTest::addColumn<int>("position");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("inRange");
        QTest::newRow("left end") << -12.0 << -120 << minus + "12.0" + degree << true;
        QTest::newRow("right end") << 12.0 << 120 << "12.0" + degree << true;
        QTest::newRow("one decimal") << 2.5 << 25 << "2.5" + degree << true;
        QTest::newRow("next to zero") << -0.04 << 0 << "0.0" + degree << true;
        QTest::newRow("stored steeper") << 40.0 << 120 << "40.0" + degree << false;
    }
    void tiltReadouts()
    {
        QFETCH(double, tilt);
        QFETCH(int, position);
        QFETCH(QString, text);
        QFETCH(bool, inRange);
        QCOMPARE(Rules::tiltPosition(tilt), position);
        QCOMPARE(Rules::tiltText(tilt), text);
        QCOMPARE(Rules::tiltInRange(tilt), inRange);
    }

    // The labels, and an edited file's value shown in its place: see the inspector's slideshow test.
    void intervals()
    {
        QList<qint64> minutes;
        for (const auto& i : Rules::intervalsFor(60)) minutes << i.minutes;
        QCOMPARE(minutes, (QList<qint64>{0, 1, 5, 15, 30, 60, 180, 1440}));
        QCOMPARE(Rules::intervalsFor(7)[3].minutes, 7);
        const auto negative = Rules::intervalsFor(-3);
        QCOMPARE(negative.front().minutes, -3);
        QCOMPARE(negative.front().label, "Off (" + minus + "3)");
    }

    void displays_data()
    {
        using Choices = QList<Rules::DisplayChoice>;
        QTest::addColumn<std::optional<QString>>("stored");
        QTest::addColumn<QList<Rules::Screen>>("screens");
        QTest::addColumn<Choices>("choices");
        QTest::addColumn<int>("index");
        const Rules::DisplayChoice main{std::nullopt, "Main display", true};
        const QList<Rules::Screen> two{{"KEY-A", "Studio Display"}, {"KEY-B", ""}};
        QTest::newRow("main") << std::optional<QString>() << two
                              << Choices{main, {"KEY-A", "Studio Display", true}, {"KEY-B", "KEY-B", true}} << 0;
        QTest::newRow("second screen") << std::optional<QString>("KEY-B") << two
                                       << Choices{main, {"KEY-A", "Studio Display", true}, {"KEY-B", "KEY-B", true}} << 2;
        QTest::newRow("not connected") << std::optional<QString>("KEY-GONE") << two
                                       << Choices{main, {"KEY-A", "Studio Display", true}, {"KEY-B", "KEY-B", true},
                                                  {"KEY-GONE", "KEY-GONE (not connected)", false}}
                                       << 3;
        QTest::newRow("one key twice") << std::optional<QString>("SAME")
                                       << QList<Rules::Screen>{{"SAME", "Left"}, {"SAME", "Right"}}
                                       << Choices{main, {"SAME", "Left", true}} << 1;
        QTest::newRow("no screens") << std::optional<QString>("X") << QList<Rules::Screen>{}
                                    << Choices{main, {"X", "X (not connected)", false}} << 1;
    }
    void displays()
    {
        QFETCH(std::optional<QString>, stored);
        QFETCH(QList<Rules::Screen>, screens);
        QFETCH(QList<Rules::DisplayChoice>, choices);
        QFETCH(int, index);
        const auto got = Rules::displayChoices(stored, screens);
        QCOMPARE(got, choices);
        QCOMPARE(Rules::displayIndex(got, stored), index);
    }

    void reorder_data()
    {
        QTest::addColumn<QList<int>>("listed");  // which of five identifiers are library photos
        QTest::addColumn<int>("from");
        QTest::addColumn<int>("to");
        QTest::addColumn<QList<int>>("order");   // the result, as indices of the five
        const QList<int> all{0, 1, 2, 3, 4};
        QTest::newRow("first to third") << all << 0 << 2 << QList<int>{1, 2, 0, 3, 4};
        QTest::newRow("last to first") << all << 4 << 0 << QList<int>{4, 0, 1, 2, 3};
        QTest::newRow("gaps keep their places") << QList<int>{0, 2, 4} << 0 << 2 << QList<int>{2, 1, 4, 3, 0};
        QTest::newRow("up by one past a gap") << QList<int>{0, 2, 4} << 1 << 0 << QList<int>{2, 1, 0, 3, 4};
        QTest::newRow("out of range") << all << 0 << 5 << all;
        QTest::newRow("in place") << all << 3 << 3 << all;
    }
    void reorder()
    {
        QFETCH(QList<int>, listed);
        QFETCH(int, from);
        QFETCH(int, to);
        QFETCH(QList<int>, order);
        const QList<QUuid> five = velora::testing::newIDs(5);
        QSet<QUuid> known;
        for (int i : listed) known.insert(five[i]);
        QList<QUuid> expected;
        for (int i : order) expected.append(five[i]);
        QCOMPARE(Rules::reorder(five, [&](const QUuid& id) { return known.contains(id); }, from, to), expected);
    }
};

VELORA_TEST(TestEditorRules)
#include "test_editor_rules.moc"
