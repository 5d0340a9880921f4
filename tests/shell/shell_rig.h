#pragma once
// A whole Application over a temporary library and settings file, fake screens and fake desktop
// panels, with the update alerts recorded instead of shown.
#include "application.h"
#include "desktop/fakes.h"
#include "settings.h"
#include "storage.h"
#include "updates/feed_server.h"

namespace velora::testing {

// XDG_CONFIG_HOME in a folder of its own, and any other variable set, for the life of a test.
struct ConfigHome {
    QTemporaryDir dir;
    QList<std::pair<QByteArray, QByteArray>> saved;

    ConfigHome() { set("XDG_CONFIG_HOME", dir.path().toLocal8Bit()); }
    void set(const char* name, const QByteArray& value)
    {
        saved.append({name, qgetenv(name)});
        qputenv(name, value);
    }
    ~ConfigHome()
    {
        for (auto it = saved.crbegin(); it != saved.crend(); ++it) {
            if (it->second.isNull()) qunsetenv(it->first.constData());
            else qputenv(it->first.constData(), it->second);
        }
    }
};

struct ShellRig {
    QTemporaryDir dir;
    Settings settings{Settings::file(dir.filePath(QStringLiteral("settings.ini")))};
    Studio studio{settings};
    FakeScreens screens{{mainDisplay()}};
    PanelLog log;
    DesktopController desktop{studio, screens};
    RecordedAlerts recorded;
    std::unique_ptr<Application> app;

    explicit ShellRig(Application::Mode mode = Application::Mode::normal)
    {
        Storage::setRoot(dir.filePath(QStringLiteral("library")));
        desktop.setPanelFactory(log.factory());
        app = std::make_unique<Application>(mode, studio, desktop);
        app->updates().setAlerts(std::make_unique<RecordingAlerts>(recorded));
    }
    ~ShellRig() { app.reset(); }

    Actions& actions() { return app->actions(); }

    // Pieces of the same two photos, locked or not.
    QList<Piece> addPieces(int n, bool locked = false)
    {
        const QList<Photo> photos{makePhoto(1500, 1000), makePhoto(800, 1200)};
        studio.appendPhotos(photos);
        QList<Piece> made;
        for (int i = 0; i < n; ++i) {
            Piece p = Piece::make(QStringLiteral("Piece %1").arg(i + 1), {photos[0].id, photos[1].id});
            p.isLocked = locked;
            made.append(p);
        }
        studio.setPieces(studio.pieces() + made);
        return made;
    }
};

} // namespace velora::testing
