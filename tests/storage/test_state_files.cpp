#include "storage.h"
#include "testing.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

using namespace velora;

namespace {
void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

Photo makePhoto(const QString& title)
{
    Photo p;
    p.id = QUuid::createUuid();
    p.title = title;
    p.fileName = uuidText(p.id) + ".jpg";
    p.thumbName = uuidText(p.id) + "-s.jpg";
    p.pixelWidth = 1200;
    p.pixelHeight = 800;
    p.added = Timestamp::now();
    return p;
}
} // namespace

class TestStateFiles : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void init()
    {
        QVERIFY(dir.isValid());
        QDir(dir.path()).removeRecursively();
        QDir().mkpath(dir.path());
        Storage::setRoot(QDir(dir.path()).filePath("Velora"));
    }

    void rootIsReplaceableAndCreatesNothing()
    {
        QVERIFY(Storage::defaultRoot().endsWith("/Velora"));
        const QString root = QDir(dir.path()).filePath("Velora");
        QCOMPARE(Storage::root(), root);
        QCOMPARE(Storage::libraryFile(), root + "/library.json");
        QCOMPARE(Storage::piecesFile(), root + "/pieces.json");
        QCOMPARE(Storage::photosDir(), root + "/Photos");
        QVERIFY(!QFileInfo::exists(root));
        Storage::prepare();
        QVERIFY(QFileInfo(root + "/Photos").isDir());
    }

    void prepareSwallowsErrors()
    {
        writeFile(QDir(dir.path()).filePath("Velora"), "a file where the folder should be");
        Storage::prepare();
        QVERIFY(QFileInfo(Storage::root()).isFile());
    }

    void plainFileNamesOnly()
    {
        for (const char* bad : {"", ".", "..", "../x.jpg", "../../x.jpg", "/etc/passwd", "a/b.jpg", "a\\b.jpg"})
            QVERIFY2(!Storage::photoPath(QString::fromLatin1(bad)), bad);
        QVERIFY(!Storage::photoPath(QString(QChar(0)) + "x"));
        QCOMPARE(Storage::photoPath("A.jpg"), std::optional(Storage::photosDir() + "/A.jpg"));
        QVERIFY(Storage::photoPath("..hidden but plain.jpg"));
    }

    void saveAndLoadRoundTripByteStable()
    {
        QList<Photo> photos{makePhoto("One"), makePhoto("Two")};
        photos[1].originalPath = "/home/a/Two.jpg";
        Piece piece = Piece::make("Collage 1", {photos[0].id, photos[1].id});
        piece.placements.insert("DP-1", {10, 20});
        QList<Piece> pieces{piece, Piece::make("Empty", {})};

        QVERIFY(StateFiles::writePhotos(photos));
        QVERIFY(StateFiles::writePieces(pieces));
        const QByteArray first = readFile(Storage::piecesFile());
        QVERIFY(first.startsWith("[\n    {\n        \"caption\""));  // bare array, sorted keys, indented

        QList<Photo> loadedPhotos;
        QList<Piece> loadedPieces;
        QCOMPARE(StateFiles::readPhotos(loadedPhotos), StateFiles::ReadResult::loaded);
        QCOMPARE(StateFiles::readPieces(loadedPieces), StateFiles::ReadResult::loaded);
        QCOMPARE(loadedPhotos, photos);
        QCOMPARE(loadedPieces, pieces);

        QVERIFY(StateFiles::writePieces(loadedPieces));
        QCOMPARE(readFile(Storage::piecesFile()), first);
        QVERIFY(StateFiles::writePhotos({}));
        QCOMPARE(readFile(Storage::libraryFile()).trimmed(), QByteArray("[\n]"));
    }

    void badFilesLoadEmptyAndStayOnDisk_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("truncated") << QByteArray("[\n    {\n        \"id\": \"6F96");
        QTest::newRow("object instead of array") << QByteArray("{\"pieces\": []}");
        QTest::newRow("mistyped field") << QByteArray(R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","width":"wide"}])");
        QTest::newRow("seed above 2^32") << QByteArray(R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","seed":4294967296}])");
        QTest::newRow("not utf-8 json") << QByteArray("\xff\xfe\x00[", 4);
        QTest::newRow("huge exponent") << QByteArray(R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","width":1e999}])");
    }
    void badFilesLoadEmptyAndStayOnDisk()
    {
        QFETCH(QByteArray, bytes);
        Storage::prepare();
        writeFile(Storage::piecesFile(), bytes);
        QList<Piece> pieces{Piece::make("Kept in memory", {})};
        const QList<Piece> before = pieces;
        const auto result = StateFiles::readPieces(pieces);
        if (result == StateFiles::ReadResult::loaded) {
            // Qt reads 1e999 as infinity: a well-typed absurd width, which rendering must cope with.
            QCOMPARE(QTest::currentDataTag(), "huge exponent");
            QVERIFY(!std::isfinite(pieces.front().width));
            return;
        }
        QCOMPARE(result, StateFiles::ReadResult::unreadable);
        QCOMPARE(pieces, before);
        QCOMPARE(readFile(Storage::piecesFile()), bytes);
    }

    void absurdNumbersLoadAsWritten()
    {
        Storage::prepare();
        writeFile(Storage::piecesFile(),
                  R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","width":1e308,"tilt":-40,"rotateMinutes":-3}])");
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::loaded);
        QCOMPARE(pieces.size(), 1);
        QCOMPARE(pieces[0].width, 1e308);
        writeFile(Storage::piecesFile(), R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","width":-300}])");
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::loaded);
        QCOMPARE(pieces[0].width, -300.0);
    }

    void filesAreIndependent()
    {
        Storage::prepare();
        QVERIFY(StateFiles::writePhotos({makePhoto("Fine")}));
        writeFile(Storage::piecesFile(), "[{]");
        QList<Photo> photos;
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPhotos(photos), StateFiles::ReadResult::loaded);
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::unreadable);
        QCOMPARE(photos.size(), 1);
        QVERIFY(pieces.isEmpty());
    }

    void missingFilesAreMissing()
    {
        QList<Photo> photos{makePhoto("Stays")};
        QCOMPARE(StateFiles::readPhotos(photos), StateFiles::ReadResult::missing);
        QCOMPARE(photos.size(), 1);
        QVERIFY(QFileInfo(Storage::photosDir()).isDir()); // reading prepares the folder
    }

    void theNextSaveKeepsACopyOfAnUnreadableFile()
    {
        Storage::prepare();
        const QByteArray corrupt = R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","layout":"grid"}])";
        writeFile(Storage::piecesFile(), corrupt);
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::unreadable);
        QVERIFY(StateFiles::writePieces({Piece::make("New", {})}));
        const QStringList copies = QDir(Storage::root()).entryList({"pieces.unreadable-*.json"}, QDir::Files);
        QCOMPARE(copies.size(), 1);
        QCOMPARE(readFile(QDir(Storage::root()).filePath(copies.front())), corrupt);
        QCOMPARE(StateFiles::lastKeptCopy(), QDir(Storage::root()).filePath(copies.front()));
        // Only once: the following saves replace the now-valid file without further copies.
        QVERIFY(StateFiles::writePieces({}));
        QCOMPARE(QDir(Storage::root()).entryList({"pieces.unreadable-*.json"}, QDir::Files).size(), 1);
    }
};

VELORA_TEST(TestStateFiles)
#include "test_state_files.moc"
