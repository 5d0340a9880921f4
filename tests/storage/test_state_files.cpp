#include "fixtures.h"
#include "storage.h"
#include "testing.h"

#include <QDir>
#include <QTemporaryDir>

#include <cmath>

#include <sys/resource.h>

using namespace velora;
using namespace velora::testing;

namespace {
// A pieces file of one piece with the given fields besides its id.
QByteArray onePiece(const char* fields)
{
    return R"([{"id":"6F9619FF-8B86-D011-B42D-00C04FC964FF",)" + QByteArray(fields) + "}]";
}
} // namespace

class TestStateFiles : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void init()
    {
        QDir(dir.path()).removeRecursively();
        QDir().mkpath(dir.path());
        Storage::setRoot(QDir(dir.path()).filePath("Velora"));
    }

    // Only prepare() creates the folders; a file where the folder should be stays as it is.
    void prepareCreatesTheFolders()
    {
        const QString root = QDir(dir.path()).filePath("Velora");
        QVERIFY(!QFileInfo::exists(root));
        Storage::prepare();
        QVERIFY(QFileInfo(root + "/Photos").isDir());
        QDir(root).removeRecursively();
        QVERIFY(writeBytes(root, "a file where the folder should be"));
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
        QList<Photo> photos{makePhoto(1200, 800, "One"), makePhoto(1200, 800, "Two")};
        photos[1].originalPath = "/home/a/Two.jpg";
        Piece piece = Piece::make("Collage 1", {photos[0].id, photos[1].id});
        piece.placements.insert("DP-1", {10, 20});
        QList<Piece> pieces{piece, Piece::make("Empty", {})};

        QVERIFY(StateFiles::writePhotos(photos));
        QVERIFY(StateFiles::writePieces(pieces));
        const QByteArray first = readBytes(Storage::piecesFile());
        QVERIFY(first.startsWith("[\n    {\n        \"caption\"")); // bare array, sorted keys, indented

        QList<Photo> loadedPhotos;
        QList<Piece> loadedPieces;
        QCOMPARE(StateFiles::readPhotos(loadedPhotos), StateFiles::ReadResult::loaded);
        QCOMPARE(StateFiles::readPieces(loadedPieces), StateFiles::ReadResult::loaded);
        QCOMPARE(loadedPhotos, photos);
        QCOMPARE(loadedPieces, pieces);

        QVERIFY(StateFiles::writePieces(loadedPieces));
        QCOMPARE(readBytes(Storage::piecesFile()), first);
        QVERIFY(StateFiles::writePhotos({}));
        QCOMPARE(readBytes(Storage::libraryFile()).trimmed(), QByteArray("[\n]"));
    }

    // Unreadable files load nothing and stay on disk as they were; absurd but well-typed numbers
    // load as written, for rendering to cope with. 1e999 is either (some Qt versions read infinity).
    void badFiles_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<double>("width"); // NaN: unreadable; infinity: unreadable or that
        const double unreadable = std::nan("");
        QTest::newRow("empty") << QByteArray() << unreadable;
        QTest::newRow("truncated") << QByteArray("[\n    {\n        \"id\": \"6F96") << unreadable;
        QTest::newRow("object instead of array") << QByteArray("{\"pieces\": []}") << unreadable;
        QTest::newRow("mistyped field") << onePiece(R"("width":"wide")") << unreadable;
        QTest::newRow("seed above 2^32") << onePiece(R"("seed":4294967296)") << unreadable;
        QTest::newRow("not utf-8 json") << QByteArray("\xff\xfe\x00[", 4) << unreadable;
        QTest::newRow("huge exponent") << onePiece(R"("width":1e999)") << std::numeric_limits<double>::infinity();
        QTest::newRow("1e308") << onePiece(R"("width":1e308,"tilt":-40,"rotateMinutes":-3)") << 1e308;
        QTest::newRow("negative") << onePiece(R"("width":-300)") << -300.0;
    }
    void badFiles()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(double, width);
        Storage::prepare();
        QVERIFY(writeBytes(Storage::piecesFile(), bytes));
        const QList<Piece> before{Piece::make("Kept in memory", {})};
        QList<Piece> pieces = before;
        const auto result = StateFiles::readPieces(pieces);
        if (std::isnan(width) || (std::isinf(width) && result != StateFiles::ReadResult::loaded)) {
            QCOMPARE(result, StateFiles::ReadResult::unreadable);
            QCOMPARE(pieces, before);
            QCOMPARE(readBytes(Storage::piecesFile()), bytes);
        } else {
            QCOMPARE(result, StateFiles::ReadResult::loaded);
            QCOMPARE(pieces.size(), 1);
            QCOMPARE(pieces[0].width, width);
        }
    }

    void filesAreIndependentAndMissingIsMissing()
    {
        QList<Photo> photos{makePhoto()};
        QCOMPARE(StateFiles::readPhotos(photos), StateFiles::ReadResult::missing);
        QCOMPARE(photos.size(), 1);
        QVERIFY(QFileInfo(Storage::photosDir()).isDir()); // reading prepares the folder

        QVERIFY(StateFiles::writePhotos({makePhoto()}));
        QVERIFY(writeBytes(Storage::piecesFile(), "[{]"));
        photos.clear();
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPhotos(photos), StateFiles::ReadResult::loaded);
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::unreadable);
        QCOMPARE(photos.size(), 1);
        QVERIFY(pieces.isEmpty());
    }

    void theNextSaveKeepsACopyOfAnUnreadableFile()
    {
        Storage::prepare();
        const QByteArray corrupt = onePiece(R"("layout":"grid")");
        QVERIFY(writeBytes(Storage::piecesFile(), corrupt));
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::unreadable);
        QVERIFY(StateFiles::writePieces({Piece::make("New", {})}));
        const auto copies = [] { return QDir(Storage::root()).entryList({"pieces.unreadable-*.json"}, QDir::Files); };
        QCOMPARE(copies().size(), 1);
        const QString kept = QDir(Storage::root()).filePath(copies().front());
        QCOMPARE(readBytes(kept), corrupt);
        QCOMPARE(StateFiles::lastKeptCopy(), kept);
        // Only once: the following saves replace the now-valid file without further copies.
        QVERIFY(StateFiles::writePieces({}));
        QCOMPARE(copies().size(), 1);
    }

    // What a save must never do: write a read-only file, replace a folder, or write through a link
    // to a file outside the library. Each is left exactly as it was (the link is replaced, its
    // target untouched), with a reason where the save fails.
    void writesThatMustNotHappen_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::addColumn<QString>("reason"); // empty: the save succeeds
        QTest::newRow("read-only file") << "read-only" << "library.json is read-only.";
        QTest::newRow("folder in its place") << "folder" << "library.json is a folder, not a file.";
        QTest::newRow("link leaving the library") << "outside link" << "";
    }
    void writesThatMustNotHappen()
    {
        QFETCH(QString, obstacle);
        QFETCH(QString, reason);
        Storage::prepare();
        const QString library = Storage::libraryFile();
        const QString decoy = QDir(dir.path()).filePath("decoy.json");
        const QByteArray decoyBytes = StateFiles::encode(QList<Photo>{makePhoto(10, 10, "Outside")});
        QVERIFY(writeBytes(decoy, decoyBytes));
        if (obstacle == "read-only") {
            QVERIFY(writeBytes(library, "[]"));
            QVERIFY(QFile::setPermissions(library, QFileDevice::ReadOwner));
        } else if (obstacle == "folder") {
            QVERIFY(QDir().mkpath(library + "/inside"));
        } else {
            QVERIFY(QFile::link(decoy, library));
        }
        QList<Photo> photos;
        QVERIFY(StateFiles::readPhotos(photos) != StateFiles::ReadResult::missing);
        const QList<Photo> mine{makePhoto(20, 20, "Mine")};
        QString why;
        QCOMPARE(StateFiles::writePhotos(mine, &why), reason.isEmpty());
        QCOMPARE(why, reason);
        QCOMPARE(readBytes(decoy), decoyBytes);
        if (obstacle == "read-only") QCOMPARE(readBytes(library), QByteArray("[]"));
        if (obstacle == "folder") QVERIFY(QFileInfo(library + "/inside").isDir());
        if (obstacle == "outside link") {
            QVERIFY(!QFileInfo(library).isSymLink());
            QCOMPARE(StateFiles::readPhotos(photos), StateFiles::ReadResult::loaded);
            QCOMPARE(photos, mine);
        }
        QFile::setPermissions(library, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    }

    // Links that stay inside the library are written through, and the root itself may be a link
    // to another disk.
    void linksInsideTheLibraryAreWrittenThrough()
    {
        const QString elsewhere = QDir(dir.path()).filePath("other-disk/Velora");
        QVERIFY(QDir().mkpath(elsewhere));
        QVERIFY(QFile::link(elsewhere, Storage::root()));
        Storage::prepare();
        QVERIFY(writeBytes(Storage::root() + "/kept.json", "[]"));
        QVERIFY(QFile::link("kept.json", Storage::piecesFile()));
        QVERIFY(StateFiles::writePieces({Piece::make("Through", {})}));
        QVERIFY(StateFiles::writePhotos({}));
        QVERIFY(QFileInfo(Storage::piecesFile()).isSymLink());
        QList<Piece> pieces;
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::loaded);
        QCOMPARE(pieces[0].name, QString("Through"));
        QVERIFY(readBytes(elsewhere + "/kept.json").contains("Through"));
        QVERIFY(QFileInfo(elsewhere + "/library.json").isFile());
        QVERIFY(QFileInfo(Storage::root()).isSymLink());
    }

    // A huge file is unreadable without being read, and kept aside whole before it is replaced.
    void hugeFileIsNeverLoaded()
    {
        Storage::prepare();
        QFile huge(Storage::piecesFile());
        QVERIFY(huge.open(QIODevice::WriteOnly) && huge.resize(qint64(200) << 20)); // sparse: no disk needed
        huge.close();
        rusage before{};
        getrusage(RUSAGE_SELF, &before);
        QList<Piece> pieces{Piece::make("Kept in memory", {})};
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::unreadable);
        rusage after{};
        getrusage(RUSAGE_SELF, &after);
        QVERIFY2(after.ru_maxrss - before.ru_maxrss < 20 * 1024, qPrintable(QString::number(after.ru_maxrss - before.ru_maxrss)));
        QCOMPARE(pieces.size(), 1);
        QVERIFY(StateFiles::writePieces(pieces));
        QCOMPARE(QFileInfo(StateFiles::lastKeptCopy()).size(), qint64(200) << 20);
        QCOMPARE(StateFiles::readPieces(pieces), StateFiles::ReadResult::loaded);
    }
};

VELORA_TEST(TestStateFiles)
#include "test_state_files.moc"
