// A pieces file far beyond any real desktop: start-up stays bounded in time and memory, and only
// so many panels are made.
#include "child_process.h"
#include "desktop_controller.h"
#include "image_store.h"
#include "storage.h"
#include "testing.h"

#include <QDir>
#include <QImage>
#include <QTemporaryDir>

using namespace velora;
using namespace velora::testing;

class TestManyPieces : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private slots:
    void hundredThousandVisiblePiecesStartBounded()
    {
        Storage::setRoot(QDir(dir.path()).filePath("Velora"));
        Storage::prepare();
        QImage picture(400, 300, QImage::Format_RGB32);
        picture.fill(QColor(90, 140, 110));
        QList<Photo> photos;
        for (int i = 0; i < 7; ++i) photos.append(*ImageStore::store(picture, QString::number(i), std::nullopt, std::nullopt));
        QList<Piece> pieces;
        pieces.reserve(100'000);
        for (int i = 0; i < 100'000; ++i) {
            Piece p = Piece::make(QStringLiteral("Piece %1").arg(i), {photos[i % 7].id, photos[(i + 1) % 7].id});
            p.layout = CollageLayout::row;
            p.placements.insert(QStringLiteral("Main"), {double(i % 1500), double(i % 800)});
            pieces.append(p);
        }
        QVERIFY(StateFiles::writePhotos(photos));
        QVERIFY(StateFiles::writePieces(pieces));
        const qint64 fileBytes = QFileInfo(Storage::piecesFile()).size();
        QVERIFY2(fileBytes < StateFiles::maxFileBytes, qPrintable(QString::number(fileBytes)));
        pieces.clear();

        ChildProcess child({"start", Storage::root()});
        const QByteArray out = child.output(60'000);
        const ChildProcess::Result r = child.wait(0);
        const long peakKb = child.reportedPeakKb();
        qInfo("%s, peak %ld MB; file %lld MB", out.split('\n').front().constData(), peakKb / 1024, fileBytes >> 20);
        QCOMPARE(r.exitCode, 0);
        QVERIFY(out.startsWith(QByteArray::number(DesktopController::maxPanels) + " panels of 100000 pieces"));
        QVERIFY2(r.ms < 10'000, qPrintable(QString::number(r.ms)));
        QVERIFY2(peakKb > 0 && peakKb < 1536 * 1024, qPrintable(QString::number(peakKb)));
    }
};

VELORA_TEST(TestManyPieces)
#include "test_many_pieces.moc"
