#pragma once
// A manager's world on a temporary library: the real Studio with its own settings file, the undo
// steps, the shared actions, the models, and a desktop of fake panels on fake screens.
#include "../desktop/fakes.h"
#include "actions.h"
#include "app_context.h"
#include "edits.h"
#include "models.h"
#include "previews.h"
#include "settings.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QSettings>

namespace velora::testing {

struct EditorRig {
    QTemporaryDir dir;
    Settings settings{Settings::file(dir.filePath(QStringLiteral("settings.ini")))};
    Studio studio{settings};
    FakeScreens screens{{mainDisplay(), leftDisplay()}};
    PanelLog log;
    DesktopController controller{studio, screens};
    Edits edits{studio};
    Actions actions{studio, edits};
    PieceListModel pieces{studio};
    PhotoListModel photos{studio};
    QAbstractItemModelTester piecesTester{&pieces, QAbstractItemModelTester::FailureReportingMode::QtTest};
    QAbstractItemModelTester photosTester{&photos, QAbstractItemModelTester::FailureReportingMode::QtTest};
    Previews previews;
    AppContext app{studio, settings, edits, actions, pieces, photos, previews, screens};

    EditorRig()
    {
        Storage::setRoot(dir.filePath(QStringLiteral("Velora")));
        studio.load(); // an empty library; from here on every change is saved after the usual delay
        studio.setAllHidden(false);
        controller.setPanelFactory(log.factory());
        controller.start();
    }

    QList<Photo> addPhotos(int n, const QString& title = QStringLiteral("Photo"))
    {
        QList<Photo> made;
        for (int i = 0; i < n; ++i) made.append(makePhoto(300 + 10 * i, 200, QStringLiteral("%1 %2").arg(title).arg(i + 1)));
        studio.appendPhotos(made);
        return made;
    }

    // A piece of these photos, selected, as the user would have it after "New Piece".
    Piece addPiece(const QList<Photo>& of, CollageLayout layout = CollageLayout::row)
    {
        QList<QUuid> ids;
        for (const Photo& p : of) ids.append(p.id);
        Piece p = Piece::make(QStringLiteral("Beach"), ids);
        p.layout = layout;
        p.seed = 7;
        studio.insertPiece(studio.pieces().size(), p);
        studio.setSelectedPieceID(p.id);
        QCoreApplication::processEvents(); // the desktop places it
        return *studio.piece(p.id);
    }

    const Piece& stored(const QUuid& id) const { return *studio.piece(id); }
};

} // namespace velora::testing
