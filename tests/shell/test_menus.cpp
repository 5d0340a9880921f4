// The manager window's menu bar and the tray menu as a person reads them (titles, order,
// separators, shortcuts, enabling) over a Studio in several states, and what their commands do.
#include "actions.h"
#include "manager_window.h"
#include "sidebar.h"
#include "shell_rig.h"
#include "testing.h"
#include "tray.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QSignalSpy>
#include <QTabWidget>

using namespace velora;
using namespace velora::testing;

namespace {

// One line per item: "title|shortcut|on" or "|off", "—" for a separator.
QStringList describe(const QMenu* menu)
{
    QStringList lines;
    for (const QAction* a : menu->actions()) {
        if (!a->isVisible()) continue;
        if (a->isSeparator()) {
            lines << QStringLiteral("—");
            continue;
        }
        lines << QStringLiteral("%1|%2|%3")
                     .arg(QString(a->text()).remove(u'&'), a->shortcut().toString(QKeySequence::PortableText),
                          a->isEnabled() ? QStringLiteral("on") : QStringLiteral("off"));
    }
    return lines;
}

QMenu* menu(ManagerMainWindow* window, const QString& title)
{
    for (QAction* a : window->menuBar()->actions())
        if (QString(a->text()).remove(u'&') == title) return a->menu();
    return nullptr;
}

QStringList pieceMenu(const QString& hide, const QString& lock, bool selected)
{
    const QString s = selected ? QStringLiteral("on") : QStringLiteral("off");
    return {hide + "|Ctrl+Shift+H|on", lock + "|Ctrl+Shift+L|on", "—",   "Duplicate|Ctrl+D|" + s,
            "Next Photo|Ctrl+]|" + s,  "Show Editor|Ctrl+Alt+I|" + s, "Delete Piece|Ctrl+Del|" + s};
}

QStringList trayMenu(const QString& hide, const QString& lock, bool anyPieces)
{
    const QString s = anyPieces ? QStringLiteral("on") : QStringLiteral("off");
    return {hide + "||" + s, lock + "||" + s, "—", "New Piece…||on", "Open Velora||on", "—", "Quit Velora||on"};
}

} // namespace

class TestMenus : public QObject {
    Q_OBJECT
private slots:
    void menuBarItemsInOrder()
    {
        ShellRig rig;
        rig.app->manager().build();
        ManagerMainWindow* w = rig.app->manager().window();
        QStringList titles;
        for (QAction* a : w->menuBar()->actions()) titles << QString(a->text()).remove(u'&');
        QCOMPARE(titles, (QStringList{"File", "Edit", "Piece", "View", "Help"}));

        QCOMPARE(describe(menu(w, "File")),
                 (QStringList{"New Piece…|Ctrl+N|on", "Add Photos to Library…|Ctrl+O|on", "Import from Photos…|Ctrl+Shift+O|on", "—",
                              "Open Velora Window|Ctrl+0|on", "—", "Settings…|Ctrl+,|on", "—", "Quit Velora|Ctrl+Q|on"}));
        QCOMPARE(describe(menu(w, "Edit")), (QStringList{"Undo|Ctrl+Z|off", "Redo|Ctrl+Shift+Z|off"}));
        QCOMPARE(describe(menu(w, "Piece")), pieceMenu("Hide All Pieces", "Lock All Pieces", false));
        QCOMPARE(describe(menu(w, "View")), (QStringList{"Pieces|Ctrl+1|on", "Library|Ctrl+2|on", "Styles|Ctrl+3|on"}));
        QCOMPARE(describe(menu(w, "Help")), (QStringList{"Check for Updates…||on", "About Velora||on"}));
    }

    void titlesAndEnablingFollowTheStudio_data()
    {
        QTest::addColumn<int>("pieces");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<bool>("hidden");
        QTest::addColumn<bool>("selected");
        QTest::addColumn<QString>("hide");
        QTest::addColumn<QString>("lock");
        QTest::newRow("no pieces") << 0 << false << false << false << "Hide All Pieces" << "Lock All Pieces";
        QTest::newRow("no pieces, all hidden") << 0 << false << true << false << "Show All Pieces" << "Lock All Pieces";
        QTest::newRow("some pieces") << 2 << false << false << false << "Hide All Pieces" << "Lock All Pieces";
        QTest::newRow("all locked") << 2 << true << false << false << "Hide All Pieces" << "Unlock All Pieces";
        QTest::newRow("all hidden") << 2 << false << true << false << "Show All Pieces" << "Lock All Pieces";
        QTest::newRow("a piece selected") << 2 << false << false << true << "Hide All Pieces" << "Lock All Pieces";
        QTest::newRow("locked, hidden, selected") << 1 << true << true << true << "Show All Pieces" << "Unlock All Pieces";
    }

    void titlesAndEnablingFollowTheStudio()
    {
        QFETCH(int, pieces);
        QFETCH(bool, locked);
        QFETCH(bool, hidden);
        QFETCH(bool, selected);
        QFETCH(QString, hide);
        QFETCH(QString, lock);
        ShellRig rig;
        rig.app->manager().build();
        const QList<Piece> made = rig.addPieces(pieces, locked);
        rig.studio.setAllHidden(hidden);
        if (selected) rig.studio.select(made.first().id);

        QCOMPARE(describe(menu(rig.app->manager().window(), "Piece")), pieceMenu(hide, lock, selected));
        QCOMPARE(describe(rig.app->tray().menu()), trayMenu(hide, lock, pieces > 0));
        // The tray menu is the same items wherever it is filled.
        QMenu elsewhere;
        Tray::fill(elsewhere, rig.actions());
        QCOMPARE(describe(&elsewhere), describe(rig.app->tray().menu()));
    }

    // With no pieces the menu bar's commands still switch the Studio's flag; the tray's act alike.
    void allPiecesCommands()
    {
        ShellRig rig;
        Actions& a = rig.actions();
        a.hideAll->trigger();
        QVERIFY(rig.studio.allHidden());
        a.hideAll->trigger();
        QVERIFY(!rig.studio.allHidden());
        rig.addPieces(2, true);
        a.trayLockAll->trigger();
        QVERIFY(!rig.studio.pieces()[0].isLocked && !rig.studio.pieces()[1].isLocked);
        a.lockAll->trigger();
        QVERIFY(rig.studio.allLocked());
        a.trayHideAll->trigger();
        QVERIFY(rig.studio.allHidden());
    }

    void selectionCommandsReadTheSelectionWhenChosen_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("Duplicate") << "duplicate";
        QTest::newRow("Next Photo") << "nextPhoto";
        QTest::newRow("Show Editor") << "showEditor";
        QTest::newRow("Delete Piece") << "deletePiece";
    }

    void selectionCommandsReadTheSelectionWhenChosen()
    {
        QFETCH(QString, command);
        ShellRig rig;
        const QList<Piece> made = rig.addPieces(2);
        QAction* action = rig.actions().findChild<QAction*>(command);
        QVERIFY(action);
        const auto state = [&] {
            return std::make_tuple(rig.studio.pieces().size(), rig.studio.tick(made[0].id), rig.studio.showInspector());
        };

        // Enabled while selected; the selection goes before the click arrives: nothing happens.
        rig.studio.select(made[0].id);
        QVERIFY(action->isEnabled());
        const auto before = state();
        rig.studio.setSelectedPieceID(std::nullopt);
        QVERIFY(!action->isEnabled());
        action->setEnabled(true); // a menu that had not caught up yet
        action->trigger();
        QCOMPARE(state(), before);

        // With the selection there, the command acts on it.
        rig.studio.select(made[0].id);
        action->trigger();
        QVERIFY(state() != before);
    }

    void shortcutsWorkWhereverFocusIs()
    {
        ShellRig rig;
        rig.app->manager().show();
        ManagerMainWindow* w = rig.app->manager().window();
        QVERIFY(QTest::qWaitForWindowActive(w));
        const QList<Piece> made = rig.addPieces(1);

        w->view()->sidebar()->setFocus();
        QWidget* focus = QApplication::focusWidget();
        QVERIFY(focus && focus->window() == w);
        QTest::keyClick(focus, Qt::Key_2, Qt::ControlModifier);
        QCOMPARE(rig.studio.page(), Page::library);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_3, Qt::ControlModifier);
        QCOMPARE(rig.studio.page(), Page::styles);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_H, Qt::ControlModifier | Qt::ShiftModifier);
        QVERIFY(rig.studio.allHidden());

        // Without a selection the selection shortcuts do nothing.
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(rig.studio.pieces().size(), 1);
        rig.studio.select(made[0].id);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_D, Qt::ControlModifier);
        QCOMPARE(rig.studio.pieces().size(), 2);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(rig.studio.pieces().size(), 1);
    }

    void windowCommands()
    {
        ShellRig rig;
        Actions& a = rig.actions();
        QVERIFY(!rig.app->manager().window());

        // A page command with the window never built builds and shows it.
        a.page(Page::library)->trigger();
        ManagerMainWindow* w = rig.app->manager().window();
        QVERIFY(w && w->isVisible());
        QCOMPARE(rig.studio.page(), Page::library);

        w->close();
        QVERIFY(!w->isVisible());
        rig.studio.setPage(Page::pieces);
        a.importFromPhotos->trigger();
        QVERIFY(w->isVisible());
        QCOMPARE(rig.studio.page(), Page::library);
        QVERIFY(rig.studio.showPhotosPicker());

        w->close();
        a.trayOpen->trigger();
        QVERIFY(w->isVisible());
        QCOMPARE(rig.app->manager().builds(), 1);
    }

    void settingsAboutAndUpdates()
    {
        ShellRig rig;
        Actions& a = rig.actions();
        a.about->trigger();
        SettingsWindow& settings = rig.app->settingsWindow();
        QVERIFY(settings.isVisible());
        QCOMPARE(settings.tabs()->tabText(settings.tabs()->currentIndex()), QStringLiteral("About"));
        settings.close();
        a.settings->trigger();
        QVERIFY(settings.isVisible());
        QCOMPARE(settings.tabs()->tabText(settings.tabs()->currentIndex()), QStringLiteral("General"));

        QSignalSpy finished(&rig.app->updates(), &UpdateChecker::finished);
        a.checkForUpdates->trigger();
        QVERIFY(!finished.isEmpty() || finished.wait(20000));
        QCOMPARE(rig.recorded.alerts.size(), 1); // a check the user asked for always answers
    }

    void launchCheckRunsAfterStartUpButNotForSnapshots()
    {
        for (const auto mode : {Application::Mode::normal, Application::Mode::demo, Application::Mode::snapshot}) {
            ShellRig rig(mode);
            QSignalSpy finished(&rig.app->updates(), &UpdateChecker::finished);
            rig.app->checkForUpdatesAtLaunch();
            QVERIFY(finished.isEmpty()); // not during start-up
            const bool ran = finished.wait(mode == Application::Mode::snapshot ? 500 : 20000);
            QCOMPARE(ran, mode != Application::Mode::snapshot);
            if (UpdateChecker::buildFeedAddress().isEmpty()) QVERIFY(rig.recorded.alerts.isEmpty());
        }
    }
};

VELORA_TEST(TestMenus)
#include "test_menus.moc"
