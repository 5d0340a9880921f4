#include "actions.h"

#include "edits.h"
#include "icons.h"
#include "prompts.h"
#include "studio.h"
#include "texts.h"

#include <QAction>
#include <QMenu>
#include <QPointer>
#include <QUndoStack>

namespace velora {

Actions::Actions(Studio& studio, Edits& edits, QObject* parent)
    : QObject(parent)
    , m_studio(studio)
    , m_edits(edits)
{
    newPiece = make(tr("New Piece…"), QStringLiteral("newPiece"));
    newPiece->setShortcut(QKeySequence(tr("Ctrl+N")));
    newPiece->setIcon(Icons::icon(Glyph::plus));
    connect(newPiece, &QAction::triggered, this, &Actions::newPieceFromFiles);

    addPhotos = make(tr("Add Photos to Library…"), QStringLiteral("addPhotos"));
    addPhotos->setShortcut(QKeySequence(tr("Ctrl+O")));
    connect(addPhotos, &QAction::triggered, this, [this] { m_studio.addToLibraryFromPanel(); });

    importFromPhotos = make(tr("Import from Photos…"), QStringLiteral("importFromPhotos"));
    importFromPhotos->setShortcut(QKeySequence(tr("Ctrl+Shift+O")));
    connect(importFromPhotos, &QAction::triggered, this, [this] {
        emit windowRequested();
        m_studio.setPage(Page::library);
        m_studio.setShowPhotosPicker(true);
    });

    openWindow = make(tr("Open Velora Window"), QStringLiteral("openWindow"));
    openWindow->setShortcut(QKeySequence(tr("Ctrl+0")));
    connect(openWindow, &QAction::triggered, this, &Actions::windowRequested);

    settings = make(tr("Settings…"), QStringLiteral("settings"));
    settings->setShortcut(QKeySequence(tr("Ctrl+,")));
    settings->setMenuRole(QAction::PreferencesRole);
    connect(settings, &QAction::triggered, this, &Actions::settingsRequested);

    quit = make(tr("Quit Velora"), QStringLiteral("quit"));
    quit->setShortcut(QKeySequence(tr("Ctrl+Q")));
    quit->setMenuRole(QAction::QuitRole);
    connect(quit, &QAction::triggered, this, &Actions::quitRequested);

    undo = m_edits.stack().createUndoAction(this, tr("Undo"));
    undo->setObjectName(QStringLiteral("undo"));
    undo->setShortcut(QKeySequence(tr("Ctrl+Z")));
    redo = m_edits.stack().createRedoAction(this, tr("Redo"));
    redo->setObjectName(QStringLiteral("redo"));
    redo->setShortcut(QKeySequence(tr("Ctrl+Shift+Z")));

    hideAll = make(QString(), QStringLiteral("hideAll"));
    hideAll->setShortcut(QKeySequence(tr("Ctrl+Shift+H")));
    connect(hideAll, &QAction::triggered, this, [this] { m_edits.setAllHidden(!m_studio.allHidden()); });

    lockAll = make(QString(), QStringLiteral("lockAll"));
    lockAll->setShortcut(QKeySequence(tr("Ctrl+Shift+L")));
    connect(lockAll, &QAction::triggered, this, [this] { m_edits.lockAll(!m_studio.allLocked()); });

    duplicate = make(tr("Duplicate"), QStringLiteral("duplicate"));
    duplicate->setShortcut(QKeySequence(tr("Ctrl+D")));
    duplicate->setIcon(Icons::icon(Glyph::duplicate));
    connect(duplicate, &QAction::triggered, this, [this] { withSelection([this](const QUuid& id) { m_edits.duplicate(id); }); });

    nextPhoto = make(tr("Next Photo"), QStringLiteral("nextPhoto"));
    nextPhoto->setShortcut(QKeySequence(tr("Ctrl+]")));
    connect(nextPhoto, &QAction::triggered, this, [this] { withSelection([this](const QUuid& id) { m_studio.advance(id); }); });

    showEditor = make(tr("Show Editor"), QStringLiteral("showEditor"));
    showEditor->setShortcut(QKeySequence(tr("Ctrl+Alt+I")));
    showEditor->setIcon(Icons::icon(Glyph::inspector));
    connect(showEditor, &QAction::triggered, this,
            [this] { withSelection([this](const QUuid&) { m_studio.setShowInspector(!m_studio.showInspector()); }); });

    deletePiece = make(tr("Delete Piece"), QStringLiteral("deletePiece"));
    deletePiece->setShortcut(QKeySequence(tr("Ctrl+Del")));
    deletePiece->setIcon(Icons::icon(Glyph::trash));
    connect(deletePiece, &QAction::triggered, this, [this] { withSelection([this](const QUuid& id) { m_edits.deletePiece(id); }); });

    const Glyph pageGlyphs[] = {Glyph::pieces, Glyph::library, Glyph::styles};
    for (const Page p : allPages) {
        const int n = static_cast<int>(p);
        QAction* a = make(Texts::title(p), QStringLiteral("page-") + rawValue(p));
        a->setShortcut(QKeySequence(tr("Ctrl+%1").arg(n + 1)));
        a->setIcon(Icons::icon(pageGlyphs[n]));
        connect(a, &QAction::triggered, this, [this, p] {
            emit windowRequested();
            m_studio.setPage(p);
        });
        pages.append(a);
    }

    checkForUpdates = make(tr("Check for Updates…"), QStringLiteral("checkForUpdates"));
    // On macOS below "About Velora" in the application menu; elsewhere in Help.
    checkForUpdates->setMenuRole(QAction::ApplicationSpecificRole);
    connect(checkForUpdates, &QAction::triggered, this, &Actions::updateCheckRequested);
    about = make(tr("About Velora"), QStringLiteral("about"));
    about->setMenuRole(QAction::AboutRole);
    connect(about, &QAction::triggered, this, &Actions::aboutRequested);

    trayHideAll = make(QString(), QStringLiteral("trayHideAll"));
    connect(trayHideAll, &QAction::triggered, this, [this] { m_edits.setAllHidden(!m_studio.allHidden()); });
    trayLockAll = make(QString(), QStringLiteral("trayLockAll"));
    connect(trayLockAll, &QAction::triggered, this, [this] { m_edits.lockAll(!m_studio.allLocked()); });
    trayNewPiece = make(tr("New Piece…"), QStringLiteral("trayNewPiece"));
    connect(trayNewPiece, &QAction::triggered, this, &Actions::newPieceFromFiles);
    trayOpen = make(tr("Open Velora"), QStringLiteral("trayOpen"));
    connect(trayOpen, &QAction::triggered, this, &Actions::windowRequested);
    trayQuit = make(tr("Quit Velora"), QStringLiteral("trayQuit"));
    connect(trayQuit, &QAction::triggered, this, &Actions::quitRequested);

    connect(&m_studio, &Studio::piecesChanged, this, &Actions::refreshPieces);
    connect(&m_studio, &Studio::allHiddenChanged, this, &Actions::refreshHidden);
    connect(&m_studio, &Studio::selectionChanged, this, &Actions::refreshSelection);
    refreshPieces();
    refreshHidden();
    refreshSelection();
}

QAction* Actions::make(const QString& text, const QString& name)
{
    auto* a = new QAction(text, this);
    a->setObjectName(name);
    return a;
}

void Actions::refreshPieces()
{
    const bool locked = m_studio.allLocked();
    const QString text = locked ? tr("Unlock All Pieces") : tr("Lock All Pieces");
    lockAll->setText(text);
    trayLockAll->setText(text);
    const bool any = !m_studio.pieces().isEmpty();
    trayHideAll->setEnabled(any);
    trayLockAll->setEnabled(any);
}

void Actions::refreshHidden()
{
    const QString text = m_studio.allHidden() ? tr("Show All Pieces") : tr("Hide All Pieces");
    hideAll->setText(text);
    trayHideAll->setText(text);
}

void Actions::refreshSelection()
{
    const bool selected = m_studio.selectedPieceID().has_value();
    for (QAction* a : {duplicate, nextPhoto, showEditor, deletePiece}) a->setEnabled(selected);
}

void Actions::withSelection(const std::function<void(const QUuid&)>& command)
{
    // Read at the moment of the action: the selection may have gone since the menu was built.
    if (const auto id = m_studio.selectedPieceID()) command(*id);
}

void Actions::openEditor(const QUuid& id) { emit editorRequested(id); }

void Actions::toggleVisible(const QUuid& id) { m_edits.toggleVisible(id); }

void Actions::toggleLocked(const QUuid& id) { m_edits.toggleLocked(id); }

bool Actions::confirmDelete(const QUuid& id, QWidget* parent)
{
    if (!m_studio.piece(id)) return false;
    if (!Prompts::confirm(parent, {tr("Delete Piece"), tr("Its photos stay in your library."), tr("Delete")})) return false;
    m_edits.deletePiece(id);
    return true;
}

void Actions::newPieceFromFiles() { importAsPiece(m_studio.chooseFiles()); }

void Actions::importAsPiece(const QStringList& paths, std::function<bool()> wanted)
{
    if (paths.isEmpty()) return;
    QPointer<Actions> self(this);
    m_studio.importURLs(paths, [self, wanted = std::move(wanted)](const QList<Photo>& photos) {
        if (!self || photos.isEmpty() || (wanted && !wanted())) return;
        QList<QUuid> ids;
        ids.reserve(photos.size());
        for (const Photo& p : photos) ids.append(p.id);
        self->m_edits.newPiece(ids);
    });
}

QMenu* Actions::pieceMenu(const QUuid& id, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    const Piece* piece = m_studio.piece(id);
    if (!piece) return menu;
    menu->addAction(tr("Edit…"), this, [this, id] { openEditor(id); });
    QAction* visible = menu->addAction(piece->isVisible ? tr("Hide from Desktop") : tr("Show on Desktop"), this,
                                       [this, id] { toggleVisible(id); });
    visible->setIcon(Icons::icon(piece->isVisible ? Glyph::eyeSlash : Glyph::eye));
    QAction* lock = menu->addAction(piece->isLocked ? tr("Unlock") : tr("Lock"), this, [this, id] { toggleLocked(id); });
    lock->setIcon(Icons::icon(piece->isLocked ? Glyph::lockOpen : Glyph::lock));
    QAction* next = menu->addAction(tr("Next Photo"), this, [this, id] { m_studio.advance(id); });
    next->setEnabled(piece->photoIDs.size() >= 2);
    menu->addSeparator();
    menu->addAction(Icons::icon(Glyph::duplicate), tr("Duplicate"), this, [this, id] { m_edits.duplicate(id); });
    QPointer<QWidget> owner(parent);
    menu->addAction(Icons::icon(Glyph::trash), tr("Delete Piece…"), this, [this, id, owner] { confirmDelete(id, owner); });
    return menu;
}

} // namespace velora
