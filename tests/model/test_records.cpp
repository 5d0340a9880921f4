// Records and their JSON; display keys.
#include "displays.h"
#include "records.h"
#include "testing.h"

#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QScreen>

using namespace velora;

namespace {
QJsonObject parse(const char* json) { return QJsonDocument::fromJson(json).object(); }

Photo samplePhoto()
{
    Photo p;
    p.id = QUuid::fromString(QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
    p.title = QStringLiteral("Beach");
    p.fileName = QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF.jpg");
    p.thumbName = QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF-s.jpg");
    p.originalPath = QStringLiteral("/home/a/Beach.jpg");
    p.pixelWidth = 2400;
    p.pixelHeight = 1600;
    p.caption = QStringLiteral("Summer “24” — ünïcödé");
    p.added = {785000000.125};
    return p;
}
} // namespace

class TestRecords : public QObject {
    Q_OBJECT
private slots:
    // A stored piece of only an id takes a new piece's defaults, with seed 1; nulls count as absent.
    void storedPieceDefaults()
    {
        for (int i = 0; i < 1000; ++i) QVERIFY(Piece::make({}, {}).seed >= 1);
        const auto d = Json::decodePiece(parse(R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF"})"));
        QVERIFY(d);
        Piece expected = Piece::make(QStringLiteral("Piece"), {});
        expected.id = d->id;
        expected.seed = 1;
        expected.created = d->created;
        QCOMPARE(*d, expected);
        QVERIFY(std::abs(d->created.sinceReference - Timestamp::now().sinceReference) < 5);
        QVERIFY(!Json::decodePiece(parse(R"({"name":"No id"})")));
        QVERIFY(!Json::decodePiece(parse(R"({"id":null})")));
        const auto nulls = Json::decodePiece(parse(R"({"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","width":null,"displayID":null,"placements":null})"));
        QVERIFY(nulls && nulls->width == 300 && !nulls->displayID && nulls->placements.isEmpty());
    }

    void textForms()
    {
        QCOMPARE(rawValue(Page::library), QStringLiteral("library"));
        QCOMPARE(pageFromRaw(QStringLiteral("styles")), std::optional(Page::styles));
        QVERIFY(!pageFromRaw(QStringLiteral("Styles")));
        // UUIDs are upper-case canonical.
        const QUuid id = QUuid::fromString(QStringLiteral("6f9619ff-8b86-d011-b42d-00c04fc964ff"));
        QCOMPARE(uuidText(id), QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
        QCOMPARE(uuidFromText(QStringLiteral("6f9619ff-8b86-d011-b42d-00c04fc964ff")), std::optional(id));
        QVERIFY(!uuidFromText(QStringLiteral("{6f9619ff-8b86-d011-b42d-00c04fc964ff}")));
        QVERIFY(!uuidFromText(QStringLiteral("not a uuid at all, thirty-six chars")));
        QVERIFY(!uuidFromText(QString()));
        // Timestamps count from 2001.
        QCOMPARE(Timestamp::fromMSecsSinceEpoch(978307200000LL).sinceReference, 0.0);
        QCOMPARE(Timestamp::fromMSecsSinceEpoch(978307201500LL).sinceReference, 1.5);
        QCOMPARE(Timestamp{-1.25}.toMSecsSinceEpoch(), 978307198750LL);
    }

    void photoRoundTripAndKeys()
    {
        const Photo p = samplePhoto();
        const QJsonObject o = Json::encode(p);
        QCOMPARE(o.keys(), (QStringList{"added", "caption", "fileName", "id", "originalPath", "pixelHeight",
                                        "pixelWidth", "thumbName", "title"}));
        QCOMPARE(o.value("id").toString(), QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
        QCOMPARE(o.value("added").toDouble(), 785000000.125);
        QCOMPARE(Json::decodePhoto(o), std::optional(p));
        QVERIFY(!Json::decodePhoto(QJsonValue(QStringLiteral("photo"))));
        QCOMPARE(p.aspect(), 1.5);
        Photo flat = p;
        flat.pixelHeight = 0;
        QCOMPARE(flat.aspect(), 1.0);
    }

    // Every key but originalPath and photosIdentifier is required, and typed.
    void photoDecoding_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value"); // undefined: the key is dropped
        QTest::addColumn<bool>("loads");
        for (const char* key : {"id", "title", "fileName", "thumbName", "pixelWidth", "pixelHeight", "caption", "added"})
            QTest::newRow(key) << QString::fromLatin1(key) << QJsonValue(QJsonValue::Undefined) << false;
        QTest::newRow("width as text") << "pixelWidth" << QJsonValue("2400") << false;
        QTest::newRow("width fractional") << "pixelWidth" << QJsonValue(2400.5) << false;
        QTest::newRow("width 1e300") << "pixelWidth" << QJsonValue(1e300) << false;
        QTest::newRow("title null") << "title" << QJsonValue(QJsonValue::Null) << false;
        QTest::newRow("whole width as double") << "pixelWidth" << QJsonValue(2400.0) << true;
        QTest::newRow("optional null") << "originalPath" << QJsonValue(QJsonValue::Null) << true; // as good as absent
    }
    void photoDecoding()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QFETCH(bool, loads);
        QJsonObject o = Json::encode(samplePhoto());
        if (value.isUndefined()) o.remove(key);
        else o.insert(key, value);
        const auto p = Json::decodePhoto(o);
        QCOMPARE(bool(p), loads);
        if (p && key == "originalPath") QCOMPARE(p->originalPath, std::nullopt);
    }

    void pieceRoundTripOmitsAbsentOptionals()
    {
        Piece p = Piece::make(QStringLiteral("Trip"), {QUuid::createUuid(), QUuid::createUuid()});
        p.layout = CollageLayout::stack;
        p.frame = FrameStyle::instant;
        p.tilt = -2.3;
        p.placements.insert(QStringLiteral("EDID:DEL/U2720Q/ABC"), {120, 80});
        p.placements.insert(QStringLiteral("HDMI-1"), {-5, 1e6});
        p.seed = 4294967295u;
        QJsonObject o = Json::encode(p);
        QVERIFY(!o.contains("displayID"));
        QCOMPARE(o.value("placements").toObject().value("HDMI-1").toArray(), (QJsonArray{-5, 1e6}));
        QCOMPARE(o.value("layout").toString(), QStringLiteral("stack"));
        QCOMPARE(Json::decodePiece(o), std::optional(p));
        p.displayID = QStringLiteral("HDMI-1");
        o = Json::encode(p);
        QCOMPARE(o.value("displayID").toString(), QStringLiteral("HDMI-1"));
        QCOMPARE(Json::decodePiece(o), std::optional(p));
    }

    void pieceDecodingErrors_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        QTest::newRow("unknown layout") << "layout" << QJsonValue("grid");
        QTest::newRow("unknown frame") << "frame" << QJsonValue("polaroid");
        QTest::newRow("seed above 2^32") << "seed" << QJsonValue(4294967296.0);
        QTest::newRow("negative seed") << "seed" << QJsonValue(-1);
        QTest::newRow("width as text") << "width" << QJsonValue("300");
        QTest::newRow("visible as number") << "isVisible" << QJsonValue(1);
        QTest::newRow("photo id not a uuid") << "photoIDs" << QJsonValue(QJsonArray{"x"});
        QTest::newRow("placement of one number") << "placements" << QJsonValue(QJsonObject{{"A", QJsonArray{1}}});
        QTest::newRow("placement as object") << "placements" << QJsonValue(QJsonObject{{"A", QJsonObject{}}});
        QTest::newRow("minutes fractional") << "rotateMinutes" << QJsonValue(1.5);
    }
    void pieceDecodingErrors()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        QJsonObject o = Json::encode(Piece::make(QStringLiteral("P"), {}));
        o.insert(key, value);
        QVERIFY(!Json::decodePiece(o));
    }
};

VELORA_TEST(TestRecords)
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
#include "test_records.moc"
