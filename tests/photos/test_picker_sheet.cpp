#include "library_fixtures.h"

#include "asset_grid_model.h"
#include "photos_bridge.h"
#include "photos_picker_sheet.h"
#include "pictures_source.h"
#include "shotwell_source.h"
#include "storage.h"
#include "studio.h"
#include "testing.h"

#include <QDir>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollBar>
#include <QTemporaryDir>

using namespace velora;
using namespace velora::testing;

namespace {

template <typename W>
W* child(QWidget* parent, const char* name)
{
    return parent->findChild<W*>(QString::fromLatin1(name));
}

} // namespace

class TestPickerSheet : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<ShotwellFixture> m_fixture;
    QWidget m_window;
    qsizetype m_storedBefore = 0;

    PhotosPickerSheet* present(Studio& studio, PhotoSources sources)
    {
        PhotosPickerSheet* sheet = PhotosPickerSheet::present(&m_window, studio, new PhotosBridge(std::move(sources)));
        if (!QTest::qWaitForWindowExposed(sheet)) qWarning("sheet not shown");
        return sheet;
    }
    PhotosPickerSheet* presentShotwell(Studio& studio)
    {
        return present(studio, {std::make_shared<ShotwellSource>(m_fixture->databasePath())});
    }

    static QModelIndex cell(PhotosPickerSheet* sheet, int row)
    {
        auto* grid = child<QListView>(sheet, "photoGrid");
        return grid->model()->index(row, 0);
    }
    static void click(PhotosPickerSheet* sheet, int row)
    {
        auto* grid = child<QListView>(sheet, "photoGrid");
        QTest::mouseClick(grid->viewport(), Qt::LeftButton, {}, grid->visualRect(cell(sheet, row)).center());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_fixture = std::make_unique<ShotwellFixture>(m_dir.path());
        QVERIFY(m_fixture->build(standardRows(), standardExtras()));
        Storage::setRoot(m_dir.path() + "/library");
        m_window.resize(900, 700);
        m_window.show();
    }

    void init() { m_storedBefore = QDir(Storage::photosDir()).entryList({"*-s.jpg"}, QDir::Files).size(); }
    void cleanup() { QTRY_VERIFY(!PhotosPickerSheet::current()); }

    // Ticking by click and Space, the button's labels, Return imports and closes with the message.
    void tickAndImportWithReturn()
    {
        Studio studio;
        PhotosPickerSheet* sheet = presentShotwell(studio);
        QVERIFY(studio.showPhotosPicker());
        auto* import = child<QPushButton>(sheet, "importButton");
        QVERIFY(import->isVisible());
        QCOMPARE(sheet->bridge()->assets().size(), 601);

        click(sheet, 0);
        click(sheet, 2);
        QCOMPARE(import->text(), QString("Import 2"));
        click(sheet, 0);
        QCOMPARE(import->text(), QString("Import 1"));
        // Keyboard: into the grid, one to the right, Space.
        auto* grid = child<QListView>(sheet, "photoGrid");
        grid->setFocus();
        grid->setCurrentIndex(cell(sheet, 0));
        QTest::keyClick(grid, Qt::Key_Right);
        QTest::keyClick(grid, Qt::Key_Space);
        click(sheet, 0); // ticked again: now last
        const auto& assets = sheet->bridge()->assets();
        QCOMPARE(sheet->bridge()->picked(), (QStringList{assets[2].id, assets[1].id, assets[0].id}));

        QTest::keyClick(grid, Qt::Key_Return);
        QCOMPARE(import->text(), QString("Importing…"));
        QTRY_VERIFY_WITH_TIMEOUT(!PhotosPickerSheet::current(), 30000);
        QCOMPARE(studio.photos().size(), 3);
        QCOMPARE(studio.importMessage(), std::optional<QString>("Added 3 photos from Photos."));
        QVERIFY(!studio.showPhotosPicker());
    }

    // Escape discards the picks; importing nothing closes without a message; one photo is "photo".
    void escapeEmptyAndSingleImports()
    {
        Studio studio;
        PhotosPickerSheet* sheet = presentShotwell(studio);
        click(sheet, 1);
        QTest::keyClick(sheet, Qt::Key_Escape);
        QTRY_VERIFY(!PhotosPickerSheet::current());
        QVERIFY(studio.photos().isEmpty());
        QVERIFY(!studio.showPhotosPicker());

        sheet = presentShotwell(studio);
        QTest::keyClick(sheet, Qt::Key_Return);
        QTRY_VERIFY(!PhotosPickerSheet::current());
        QVERIFY(!studio.importMessage());

        sheet = presentShotwell(studio);
        click(sheet, 5);
        QTest::mouseClick(child<QPushButton>(sheet, "importButton"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!PhotosPickerSheet::current(), 30000);
        QCOMPARE(studio.importMessage(), std::optional<QString>("Added 1 photo from Photos."));
    }

    // Cancel while importing: the photo being stored is kept and appended, then the sheet closes.
    void cancelDuringImportKeepsWhatWasStored()
    {
        Studio studio;
        PhotosPickerSheet* sheet = presentShotwell(studio);
        for (int row = 0; row < 6; ++row) click(sheet, row);
        QTest::keyClick(sheet, Qt::Key_Return);
        QVERIFY(sheet->bridge()->importing());
        QTest::keyClick(sheet, Qt::Key_Escape);
        QCOMPARE(PhotosPickerSheet::current(), sheet);
        QTRY_VERIFY_WITH_TIMEOUT(!PhotosPickerSheet::current(), 30000);
        QVERIFY(studio.photos().size() >= 1 && studio.photos().size() < 6);
        QCOMPARE(QDir(Storage::photosDir()).entryList({"*-s.jpg"}, QDir::Files).size() - m_storedBefore,
                 studio.photos().size());
        QVERIFY(!studio.showPhotosPicker());
    }

    // Never two sheets; choosing an album by keyboard lists its photos; picks survive the switch.
    void albumListDrivesTheGrid()
    {
        Studio studio;
        PhotosPickerSheet* sheet = presentShotwell(studio);
        QCOMPARE(presentShotwell(studio), sheet);
        click(sheet, 0);
        auto* albums = child<QListView>(sheet, "albumList");
        QCOMPARE(albums->currentIndex().data().toString(), QString("All Photos"));
        albums->setFocus();
        QTest::keyClick(albums, Qt::Key_Down);
        QCOMPARE(sheet->bridge()->selectedAlbum()->title, QString("Favorites"));
        QCOMPARE(child<QListView>(sheet, "photoGrid")->model()->rowCount(), 2);
        QCOMPARE(sheet->bridge()->picked().size(), 1);
        QCOMPARE(albums->model()->index(albums->currentIndex().row(), 0).data(Qt::AccessibleTextRole).toString(),
                 QString("Favorites, 2 photos"));
        sheet->reject();
    }

    // Thumbnails arrive for the cells on screen; cells scrolled away stop loading.
    void thumbnailsLoadOnScreenOnly()
    {
        Studio studio;
        PhotosPickerSheet* sheet = presentShotwell(studio);
        auto* grid = child<QListView>(sheet, "photoGrid");
        auto* model = qobject_cast<AssetGridModel*>(grid->model());
        QTRY_VERIFY_WITH_TIMEOUT(model->loadedCount() >= 12, 20000);
        QVERIFY(!cell(sheet, 0).data(AssetGridModel::ThumbnailRole).value<QImage>().isNull());
        grid->verticalScrollBar()->setValue(grid->verticalScrollBar()->maximum());
        QCoreApplication::processEvents();
        for (int row : model->loadingRows()) QVERIFY2(row > 500, qPrintable(QString::number(row)));
        QTRY_VERIFY_WITH_TIMEOUT(!cell(sheet, 600).data(AssetGridModel::ThumbnailRole).value<QImage>().isNull(), 20000);
        sheet->reject();
    }

    void permissionViews_data()
    {
        QTest::addColumn<QString>("library");
        QTest::addColumn<QString>("title");
        QTest::newRow("nothing found") << "none" << "No photo library found";
        QTest::newRow("unreadable") << "corrupt" << "Velora can’t open your photo library";
    }
    void permissionViews()
    {
        QFETCH(QString, library);
        QFETCH(QString, title);
        QTemporaryDir dir;
        PhotoSources sources;
        if (library == "corrupt") {
            QVERIFY(writeBytes(dir.path() + "/photo.db", QByteArray(4096, 'x')));
            sources.append(std::make_shared<ShotwellSource>(dir.path() + "/photo.db"));
        }
        Studio studio;
        bool chooserAsked = false;
        studio.setFileChooser([&] {
            chooserAsked = true;
            return QStringList();
        });
        PhotosPickerSheet* sheet = present(studio, sources);
        QVERIFY(!child<QPushButton>(sheet, "importButton")->isVisible());
        QVERIFY(child<QPushButton>(sheet, "cancelButton")->isVisible());
        QCOMPARE(child<QLabel>(sheet, "permissionTitle")->text(), title);
        auto* action = child<QPushButton>(sheet, "permissionButton");
        // Return doesn't import without access; the button offers the file chooser instead.
        QTest::keyClick(sheet, Qt::Key_Return);
        QCOMPARE(PhotosPickerSheet::current(), sheet);
        QTest::mouseClick(action, Qt::LeftButton);
        QTRY_VERIFY(chooserAsked);
        QVERIFY(!PhotosPickerSheet::current());
        QVERIFY(!studio.showPhotosPicker());
    }

    // Several sources one after the other, each under its name.
    void severalSourcesInOneList()
    {
        QTemporaryDir pictures;
        QVERIFY(writeBytes(pictures.path() + "/a.jpg", samples::encode(samples::picture(60, 40), "jpg")));
        Studio studio;
        PhotosPickerSheet* sheet = present(studio, {std::make_shared<ShotwellSource>(m_fixture->databasePath()),
                                                    std::make_shared<PicturesSource>(pictures.path())});
        auto* albums = child<QListView>(sheet, "albumList");
        QCOMPARE(albums->model()->index(0, 0).data().toString(), QString("Shotwell"));
        QCOMPARE(albums->model()->index(0, 0).flags(), Qt::NoItemFlags);
        QCOMPARE(albums->currentIndex().row(), 1);
        QStringList titles;
        for (int r = 0; r < albums->model()->rowCount(); ++r) titles.append(albums->model()->index(r, 0).data().toString());
        QCOMPARE(titles.mid(9), (QStringList{QFileInfo(pictures.path()).fileName(), "All Photos", "Recently Added"}));
        sheet->reject();
    }
};

VELORA_TEST(TestPickerSheet)
#include "test_picker_sheet.moc"
