#pragma once
// Every command of the application as one QAction, shared by the menu bar, the tray menu, the
// toolbar, the pages' buttons and the context menus: titles that flip with the state, enabling,
// shortcuts and icons are kept here and follow the Studio. What lies outside the app layer (the
// window, settings, updates, quitting) is asked for through signals.
#include "records.h"

#include <QList>
#include <QObject>
#include <QUuid>

#include <functional>

class QAction;
class QMenu;
class QWidget;

namespace velora {

class Edits;
class Studio;

class Actions : public QObject {
    Q_OBJECT
public:
    Actions(Studio& studio, Edits& edits, QObject* parent = nullptr);

    // File
    QAction* newPiece;
    QAction* addPhotos;
    QAction* importFromPhotos;
    QAction* openWindow;
    QAction* settings;
    QAction* quit;
    // Edit
    QAction* undo;
    QAction* redo;
    // Piece
    QAction* hideAll;
    QAction* lockAll;
    QAction* duplicate;
    QAction* nextPhoto;
    QAction* showEditor;
    QAction* deletePiece;
    // View: one per page, in page order
    QList<QAction*> pages;
    // Help
    QAction* checkForUpdates;
    QAction* about;
    // The tray menu: no shortcuts, and the all-pieces items want at least one piece.
    QAction* trayHideAll;
    QAction* trayLockAll;
    QAction* trayNewPiece;
    QAction* trayOpen;
    QAction* trayQuit;

    QAction* page(Page p) const { return pages.at(static_cast<int>(p)); }

    // The menu of one piece in the manager (cards, sidebar rows): Edit…, show or hide, lock or
    // unlock, Next Photo, Duplicate, Delete Piece… (asks first). Made anew for each use.
    QMenu* pieceMenu(const QUuid& id, QWidget* parent);

    // The commands behind the menus, for buttons that are not menu items.
    void openEditor(const QUuid& id);
    void toggleVisible(const QUuid& id);
    void toggleLocked(const QUuid& id);
    // Asks "Delete Piece" first; true when deleted.
    bool confirmDelete(const QUuid& id, QWidget* parent);
    // Files chosen in the file dialog become one new piece (one step to undo).
    void newPieceFromFiles();
    // Adds files and folders to the library, then makes one new piece of their photos (one step to
    // undo) if `wanted`, asked once the import is done, says so (or always without it).
    void importAsPiece(const QStringList& paths, std::function<bool()> wanted = {});

    Studio& studio() const { return m_studio; }
    Edits& edits() const { return m_edits; }

signals:
    // Bring the manager window forward.
    void windowRequested();
    // Bring it forward with this piece selected and the inspector open.
    void editorRequested(const QUuid& id);
    void settingsRequested();
    void aboutRequested();
    void updateCheckRequested();
    void quitRequested();

private:
    QAction* make(const QString& text, const QString& name);
    void refreshPieces();
    void refreshHidden();
    void refreshSelection();
    void withSelection(const std::function<void(const QUuid&)>& command);

    Studio& m_studio;
    Edits& m_edits;
};

} // namespace velora
