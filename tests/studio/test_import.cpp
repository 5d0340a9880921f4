#include "../storage/image_samples.h"
#include "file_chooser_dialog.h"
#include "image_store.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QImageReader>
#include <QListView>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <QScopeGuard>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

using namespace velora;
using velora::testing::idsOf;

namespace {

const QString couldntRead = QStringLiteral("Those files couldn\u2019t be read as photos.");
const QString noneFound = QStringLiteral("No photos found there.");

// Runs one import to its end and returns what it handed back.
QList<Photo> importAndWait(Studio& studio, const QStringList& paths, bool* called = nullptr)
{
    QList<Photo> result;
    bool finished = false;
    studio.importURLs(paths, [&](const QList<Photo>& photos) {
        result = photos;
        finished = true;
    });
    if (!QTest::qWaitFor([&] { return finished; }, 60000)) qWarning("import did not finish");
    if (called) *called = finished;
    return result;
}

QStringList photoFiles() { return QDir(Storage::photosDir()).entryList(QDir::Files, QDir::Name); }

QStringList originals(const QList<Photo>& photos)
{
    QStringList paths;
    for (const Photo& p : photos) paths.append(p.originalPath.value_or("-"));
    return paths;
}

} // namespace

class TestImport : public QObject {
    Q_OBJECT
    QTemporaryDir tmp;

    QString file(const QString& name) const { return QDir(tmp.path()).filePath(name); }

    QString jpeg(const QString& name, int w = 300, int h = 200)
    {
        const QString path = file(name);
        QDir().mkpath(QFileInfo(path).path());
        samples::writeBytes(path, samples::encode(samples::picture(w, h), "jpeg", 90));
        return path;
    }

private slots:
    void init()
    {
        QSettings().clear();
        QDir(tmp.path()).removeRecursively();
        QDir().mkpath(tmp.path());
        Storage::setRoot(file("Velora"));
        Storage::prepare();
    }

    void newAndKnownFiles()
    {
        Studio studio;
        const QString a = jpeg("pick/a.jpg"), b = jpeg("pick/b.jpg", 200, 300), c = jpeg("pick/c.jpg");
        const QList<Photo> first = importAndWait(studio, {b});
        QCOMPARE(first.size(), 1);
        QCOMPARE(studio.importMessage(), std::optional<QString>("Added 1 photo to your library."));

        QSignalSpy photoChanges(&studio, &Studio::photosChanged);
        QList<bool> importingSeen;
        connect(&studio, &Studio::changed, this, [&] { importingSeen.append(studio.importing()); });
        QList<Photo> result;
        bool finished = false;
        studio.importURLs({c, a, b}, [&](const QList<Photo>& photos) {
            result = photos;
            finished = true;
        });
        QVERIFY(studio.importing());
        QVERIFY(QTest::qWaitFor([&] { return finished; }, 60000));
        QVERIFY(!studio.importing());
        QCOMPARE(importingSeen.first(), true);
        QCOMPARE(photoChanges.size(), 1); // appended in one change
        QCOMPARE(studio.importMessage(), std::optional<QString>("Added 2 photos to your library."));
        // The known photo first, then the new ones in name order.
        QCOMPARE(result[0], first[0]);
        QCOMPARE(originals(result), (QStringList{b, a, c}));
        QCOMPARE(result.mid(1), studio.photos().mid(1));
        QCOMPARE(photoFiles().size(), 6);

        // Only known files: nothing added, the message cleared, the known photos returned.
        studio.setImportMessage(QStringLiteral("old"));
        QCOMPARE(originals(importAndWait(studio, {file("pick")})), (QStringList{a, b, c}));
        QCOMPARE(studio.photos().size(), 3);
        QCOMPARE(studio.importMessage(), std::nullopt);
        QVERIFY(!studio.importing());

        // A copy at another path is new; titles are the names without their last extension.
        QVERIFY(QDir().mkpath(file("copy")) && QFile::copy(a, file("copy/Summer.in.Rome.JPG")));
        const QList<Photo> copied = importAndWait(studio, {file("copy/Summer.in.Rome.JPG"), jpeg("copy/plain.jpeg")});
        QCOMPARE(studio.photos().size(), 5);
        QCOMPARE(copied[0].title, QString("plain"));
        QCOMPARE(copied[1].title, QString("Summer.in.Rome"));
    }

    void nothingFound()
    {
        Studio studio;
        QDir().mkpath(file("texts"));
        samples::writeBytes(file("texts/a.txt"), "hello");
        samples::writeBytes(file("texts/b.md"), "# hi");
        QList<bool> importingSeen;
        connect(&studio, &Studio::changed, this, [&] { importingSeen.append(studio.importing()); });
        bool called = false;
        QVERIFY(importAndWait(studio, {file("texts"), file("missing")}, &called).isEmpty());
        QVERIFY(called);
        QCOMPARE(studio.importMessage(), std::optional<QString>(noneFound));
        QVERIFY(!importingSeen.contains(true));
        QVERIFY(studio.photos().isEmpty());
    }

    // Each bad item sits alone in a folder that is picked. Nothing blocks, nothing is added.
    void badFilesLoseNothing_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("kind"); // "" a file of these bytes, or what else stands there
        const QByteArray good = samples::encode(samples::picture(1200, 800), "jpeg", 90);
        QTest::newRow("zero bytes") << "empty.jpg" << QByteArray() << "";
        QTest::newRow("truncated jpeg") << "cut.jpg" << good.left(good.size() / 3) << "";
        QTest::newRow("text as jpg") << "text.jpg" << QByteArray("not a photo\n") << "";
        QTest::newRow("text as heic") << "text.heic" << QByteArray("not a photo\n") << "";
        QTest::newRow("png bomb") << "bomb.png" << samples::pngDeclaring(50000, 50000) << "";
        QTest::newRow("fifo") << "pipe.jpg" << QByteArray() << "fifo";
        QTest::newRow("link to /dev/zero") << "zero.jpg" << QByteArray() << "/dev/zero";
        QTest::newRow("folder named .jpg") << "album.jpg" << QByteArray() << "folder";
    }

    void badFilesLoseNothing()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        QFETCH(QString, kind);
        Studio studio;
        const QList<Photo> existing = importAndWait(studio, {jpeg("keep.jpg")});
        QCOMPARE(existing.size(), 1);
        const QStringList filesBefore = photoFiles();
        QCOMPARE(filesBefore.size(), 2);

        QVERIFY(QDir().mkpath(file("bad")));
        const QString path = file("bad/" + name);
        if (kind == "fifo") QCOMPARE(::mkfifo(QFile::encodeName(path).constData(), 0600), 0);
        else if (kind == "folder") QVERIFY(QDir().mkpath(path));
        else if (kind.startsWith('/')) QVERIFY(QFile::link(kind, path));
        else QVERIFY(samples::writeBytes(path, bytes));
        bool finished = false; // a read that blocks never finishes
        QVERIFY(importAndWait(studio, {file("bad")}, &finished).isEmpty());
        QVERIFY(finished);
        QCOMPARE(studio.importMessage(), std::optional<QString>(couldntRead));
        QVERIFY(!studio.importing());
        QCOMPARE(studio.photos(), existing);
        QCOMPARE(photoFiles(), filesBefore);
        QCOMPARE(QImageReader(*Storage::photoPath(existing[0].fileName)).size(), QSize(300, 200));

        // With a known file among them, a bad one gives no message at all.
        const QList<Photo> mixed = importAndWait(studio, {path, file("keep.jpg")});
        QCOMPARE(mixed, existing);
        QCOMPARE(studio.importMessage(), std::nullopt);
    }

    // Names that are not UTF-8 import by their bytes; the title shows replacement characters,
    // and the same file is known the next time.
    void namesThatAreNotUtf8()
    {
        Studio studio;
        QVERIFY(QDir().mkpath(file("raw")));
        const QByteArray folder = QFile::encodeName(file("raw"));
        const QByteArray jpegBytes = samples::encode(samples::picture(120, 80), "jpeg", 90);
        const QList<QByteArray> names{folder + "/caf\xe9.jpg", folder + "/\xff\xfe.jpg"};
        for (const QByteArray& name : names) {
            FILE* out = std::fopen(name.constData(), "wb");
            QVERIFY(out);
            QCOMPARE(std::fwrite(jpegBytes.constData(), 1, size_t(jpegBytes.size()), out), size_t(jpegBytes.size()));
            std::fclose(out);
        }
        // Qt can't name these to delete them.
        const auto cleanup = qScopeGuard([&] {
            for (const QByteArray& name : names) ::unlink(name.constData());
        });
        const QList<Photo> photos = importAndWait(studio, {file("raw")});
        QCOMPARE(photos.size(), 2);
        QStringList titles{photos[0].title, photos[1].title};
        titles.sort();
        QCOMPARE(titles, (QStringList{QStringLiteral("caf\uFFFD"), QStringLiteral("\uFFFD\uFFFD")}));
        QCOMPARE(photos[0].originalPath, std::optional(file("raw/") + photos[0].title + ".jpg"));
        QCOMPARE(importAndWait(studio, {file("raw")}), photos);
        QCOMPARE(studio.photos().size(), 2);
    }

    // Stored landscape, tagged "rotate 90° clockwise": the copy is an upright portrait, left half
    // on top, not merely tagged.
    void rotatedPhotosAreStoredUpright()
    {
        Studio studio;
        const QString turned = file("turned.jpg");
        QVERIFY(samples::writeBytes(turned, samples::withOrientation(samples::encode(samples::picture(900, 600), "jpeg", 92), 6)));
        const QList<Photo> photos = importAndWait(studio, {turned});
        QCOMPARE(photos.size(), 1);
        QCOMPARE(QSize(photos[0].pixelWidth, photos[0].pixelHeight), QSize(600, 900));
        QImageReader reader(*Storage::photoPath(photos[0].fileName));
        reader.setAutoTransform(false);
        const QImage stored = reader.read();
        QCOMPARE(stored.size(), QSize(600, 900));
        QVERIFY(samples::isLeftTint(stored.pixel(300, 150)));
        QVERIFY(samples::isRightTint(stored.pixel(300, 750)));
        QCOMPARE(QImageReader(*Storage::photoPath(photos[0].thumbName)).size(), QSize(426, 640));
    }

    void panels()
    {
        Studio studio;
        const QString a = jpeg("panel/a.jpg"), b = jpeg("panel/b.jpg");
        QStringList choice;
        studio.setFileChooser([&] { return choice; });
        choice = {a};
        studio.addToLibraryFromPanel();
        QVERIFY(QTest::qWaitFor([&] { return studio.photos().size() == 1 && !studio.importing(); }, 60000));
        QVERIFY(studio.pieces().isEmpty());

        // Files all in the library already still make a piece of them.
        choice = {file("panel")};
        studio.newPieceFromPanel();
        QVERIFY(QTest::qWaitFor([&] { return !studio.pieces().isEmpty(); }, 60000));
        QCOMPARE(studio.photos().size(), 2);
        QCOMPARE(studio.pieces()[0].photoIDs, idsOf(studio.photos()));
        QCOMPARE(studio.pieces()[0].layout, CollageLayout::row);
        QCOMPARE(studio.selectedPieceID(), std::optional<QUuid>(studio.pieces()[0].id));

        choice = {a};
        studio.newPieceFromPanel();
        QVERIFY(QTest::qWaitFor([&] { return studio.pieces().size() == 2; }, 60000));
        QCOMPARE(studio.pieces()[1].photoIDs, QList<QUuid>{studio.photos()[0].id});

        // Cancelled: nothing at all.
        choice = {};
        studio.setImportMessage(QStringLiteral("kept"));
        studio.newPieceFromPanel();
        QCOMPARE(studio.importMessage(), std::optional<QString>("kept"));

        // Nothing readable picked for a new piece: no piece.
        samples::writeBytes(file("panel/bad.jpg"), "x");
        choice = {file("panel/bad.jpg")};
        studio.newPieceFromPanel();
        QVERIFY(QTest::qWaitFor([&] { return studio.importMessage() == couldntRead; }, 60000));
        QTest::qWait(50);
        QCOMPARE(studio.pieces().size(), 2);
    }

    void chooserDialogTakesFilesAndFolders()
    {
        jpeg("choose/album/a.jpg");
        jpeg("choose/b.JPG");
        samples::writeBytes(file("choose/notes.txt"), "x");
        FileChooserDialog dialog;
        QVERIFY(dialog.fileMode() == QFileDialog::ExistingFiles && dialog.testOption(QFileDialog::DontUseNativeDialog));
        dialog.setDirectory(file("choose"));
        auto* list = dialog.findChild<QListView*>("listView");
        auto* model = list ? qobject_cast<QFileSystemModel*>(list->model()) : nullptr;
        QVERIFY(model);
        const QModelIndex root = model->index(file("choose"));
        // Folders and images are listed; other files are not.
        QTRY_COMPARE(model->rowCount(root), 2);
        QStringList listed;
        for (int row = 0; row < model->rowCount(root); ++row) listed.append(model->fileName(model->index(row, 0, root)));
        listed.sort();
        QCOMPARE(listed, QStringList({"album", "b.JPG"}));

        list->selectionModel()->clearSelection();
        for (const QString& name : {QString("album"), QString("b.JPG")})
            list->selectionModel()->select(model->index(file("choose/" + name)),
                                           QItemSelectionModel::Select | QItemSelectionModel::Rows);
        dialog.accept();
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
        QStringList chosen = dialog.chosen();
        chosen.sort();
        QCOMPARE(chosen, QStringList({file("choose/album"), file("choose/b.JPG")}));
    }

    void studioGoneBeforeTheEnd()
    {
        auto* studio = new Studio;
        bool called = false;
        studio->importURLs({jpeg("gone/a.jpg", 2000, 1500)}, [&](const QList<Photo>&) { called = true; });
        delete studio;
        QTest::qWait(1500);
        QVERIFY(!called);
    }
};

VELORA_TEST(TestImport)
#include "test_import.moc"
