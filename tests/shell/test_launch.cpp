// Velora started as users start it, on a real X server with a window manager: one copy per
// library, a second launch that hands over its photos and brings the window forward, a window
// that closes without taking the pieces along, a start after kill -9, and SIGTERM saving.
#include "testing.h"
#include "x11_session.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>

#include <csignal>

using namespace velora::testing;

class TestLaunch : public QObject {
    Q_OBJECT
    X11Session x;
    QProcess first;
    QString photos;

    QProcess* launch(const QStringList& args, QProcess* p = nullptr)
    {
        if (!p) p = new QProcess(this);
        p->setProcessEnvironment(x.env);
        p->setProcessChannelMode(QProcess::ForwardedChannels);
        p->start(QStringLiteral(VELORA_BINARY), args);
        return p;
    }

    QString piecesFile() const { return x.home.filePath("data/Velora/pieces.json"); }

    int storedPieces() const
    {
        QFile f(piecesFile());
        return f.open(QIODevice::ReadOnly) ? int(QJsonDocument::fromJson(f.readAll()).array().size()) : -1;
    }

    QString writePhoto(const QString& name, QColor colour)
    {
        QDir().mkpath(photos);
        QImage image(320, 240, QImage::Format_RGB32);
        image.fill(colour);
        const QString path = QDir(photos).filePath(name);
        image.save(path, "JPEG");
        return path;
    }

private slots:
    void initTestCase()
    {
        if (const QString why = x.start(); !why.isEmpty()) QSKIP(qPrintable(why));
        if (QStandardPaths::findExecutable("xdotool").isEmpty()) QSKIP("xdotool is not installed");
        photos = x.home.filePath("pictures");
    }

    void oneCopyPerLibrary()
    {
        // First launch with a photo: one piece on the desktop and the window open.
        launch({writePhoto("beach.jpg", QColor(40, 120, 200))}, &first);
        QVERIFY(first.waitForStarted(5000));
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora piece").size(), 1, 20000);
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora").size(), 1, patience);
        const xcb_window_t manager = x.windowsNamed("Velora").front();

        // Closing the window keeps the process and its pieces.
        x.xdotool({"windowactivate", "--sync", QString::number(manager), "key", "alt+F4"});
        QTRY_VERIFY_WITH_TIMEOUT(!x.viewable(manager), patience);
        QTest::qWait(300);
        QCOMPARE(first.state(), QProcess::Running);
        QCOMPARE(x.windowsNamed("Velora piece").size(), 1);

        // A second launch hands over and ends at once; the window comes back, in front.
        QProcess* second = launch({});
        QVERIFY(second->waitForFinished(10000));
        QCOMPARE(second->exitStatus(), QProcess::NormalExit);
        QCOMPARE(second->exitCode(), 0);
        // Closed, the window gave up its native window; shown again it has a new one.
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora").size(), 1, patience);
        QTRY_COMPARE_WITH_TIMEOUT(x.activeWindow(), x.windowsNamed("Velora").front(), patience);

        // A third with photos: the running copy makes the piece; still one set of windows.
        QProcess* third = launch({writePhoto("hills.jpg", QColor(60, 160, 90)), writePhoto("dusk.jpg", QColor(200, 90, 60))});
        QVERIFY(third->waitForFinished(10000));
        QCOMPARE(third->exitCode(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora piece").size(), 2, 20000);
        QCOMPARE(first.state(), QProcess::Running);
        QTRY_COMPARE_WITH_TIMEOUT(storedPieces(), 2, patience); // saved after the usual pause
    }

    void aCrashLeavesNothingInTheWay()
    {
        QCOMPARE(first.state(), QProcess::Running);
        ::kill(pid_t(first.processId()), SIGKILL);
        QVERIFY(first.waitForFinished(5000));
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora piece").size(), 0, patience);

        // The socket left behind does not stop the next start, which finds both pieces.
        launch({}, &first);
        QVERIFY(first.waitForStarted(5000));
        QTRY_COMPARE_WITH_TIMEOUT(x.windowsNamed("Velora piece").size(), 2, 20000);
        QTest::qWait(300);
        QCOMPARE(first.state(), QProcess::Running);

        // A plain kill quits normally, saving.
        QFile::remove(piecesFile());
        first.terminate();
        QVERIFY(first.waitForFinished(5000));
        QCOMPARE(first.exitStatus(), QProcess::NormalExit);
        QCOMPARE(storedPieces(), 2);
    }

    void cleanupTestCase()
    {
        if (first.state() != QProcess::NotRunning) {
            first.kill();
            first.waitForFinished(3000);
        }
        x.stop();
    }
};

VELORA_TEST(TestLaunch)
#include "test_launch.moc"
