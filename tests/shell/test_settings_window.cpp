// The settings window driven like a person would: the toggles writing their keys
// and taking effect, the frame picker shared with the Studio, the library count, the folder button,
// and the login toggle over a real autostart folder. The login item itself: the freedesktop
// autostart entry turned on and off, entries that start nothing, unwritable folders, Exec quoting.
#include "actions.h"
#include "file_manager.h"
#include "login_item.h"
#include "settings_window.h"
#include "shell_rig.h"
#include "testing.h"
#include "tray.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QTabWidget>

#include <unistd.h>

using namespace velora;
using namespace velora::testing;

namespace {

QStringList texts(const QWidget* root)
{
    QStringList out;
    for (const QWidget* w : root->findChildren<QWidget*>()) {
        if (const auto* label = qobject_cast<const QLabel*>(w); label && !label->text().isEmpty()) out << label->text();
        if (const auto* button = qobject_cast<const QAbstractButton*>(w)) out << button->text();
        if (const auto* group = qobject_cast<const QGroupBox*>(w); group && !group->title().isEmpty()) out << group->title();
    }
    return out;
}

// The value a fresh reader of the settings file sees under a key.
QString stored(ShellRig& rig, const QString& key)
{
    rig.settings.sync();
    return QSettings(rig.dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat).value(key).toString();
}

// A click on the box itself, as a person aims (a stretched row is wider than its text).
void click(QCheckBox* box) { QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(6, box->height() / 2)); }

const QString failure = QStringLiteral("Couldn’t change the login item: ");

// A small program of our own at `path`.
bool makeProgram(const QString& path)
{
    return writeBytes(path, "#!/bin/sh\nexit 0\n") &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

class TestSettingsWindow : public QObject {
    Q_OBJECT
private slots:
    // Fixed in size; the About tab's icon is named, and its button asks for a check.
    void aboutTab()
    {
        ShellRig rig;
        SettingsWindow& w = rig.app->settingsWindow();
        QCOMPARE(w.size(), SettingsWindow::fixedSize);
        QCOMPARE(w.maximumSize(), SettingsWindow::fixedSize);
        QCOMPARE(w.tabs()->tabText(1), QStringLiteral("About"));
        QVERIFY(texts(w.tabs()->widget(1)).contains("Version " + UpdateChecker::runningVersion()));
        const auto* icon = w.tabs()->widget(1)->findChild<QLabel*>(QStringLiteral("aboutIcon"));
        QVERIFY(icon && !icon->pixmap().isNull());
        QVERIFY(!icon->accessibleName().isEmpty());

        QSignalSpy asked(&rig.actions(), &Actions::updateCheckRequested);
        QTest::mouseClick(w.updateButton(), Qt::LeftButton);
        QCOMPARE(asked.size(), 1);
    }

    void togglesWriteTheirKeysAndTakeEffect()
    {
        ShellRig rig;
        SettingsWindow& w = rig.app->settingsWindow();
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        for (QCheckBox* box : {w.openAtLaunchToggle(), w.trayToggle(), w.snapToggle()}) QVERIFY(box->isChecked());

        // Grid snapping: the next drag uses the new setting.
        const Rect frame{397, 213, 300, 200};
        const Point snappedOn = rig.desktop.snapped(frame, 0, mainDisplay());
        click(w.snapToggle());
        QCOMPARE(stored(rig, "snapToGrid"), QStringLiteral("false"));
        QVERIFY(!rig.desktop.snapToGrid());
        QCOMPARE(rig.desktop.snapped(frame, 0, mainDisplay()), (Point{397, 213}));
        QVERIFY(snappedOn != (Point{397, 213}));

        QSignalSpy tray(&rig.settings, &Settings::showMenuBarIconChanged);
        click(w.trayToggle());
        QCOMPARE(stored(rig, "showMenuBarIcon"), QStringLiteral("false"));
        QCOMPARE(tray.size(), 1); // the tray follows this signal at once
        QVERIFY(!rig.app->tray().shown());

        click(w.openAtLaunchToggle());
        QCOMPARE(stored(rig, "openManagerAtLaunch"), QStringLiteral("false"));
        rig.addPieces(1);
        QVERIFY(!rig.app->opensManagerAtLaunch());

        // The frame of new pieces is the Studio's, shared with the styles page.
        QCOMPARE(w.framePicker()->currentText(), QStringLiteral("Gallery"));
        w.framePicker()->setFocus();
        QTest::keyClick(w.framePicker(), Qt::Key_Down);
        QCOMPARE(rig.studio.defaultFrame(), FrameStyle::instant);
        QCOMPARE(stored(rig, "defaultFrame"), QStringLiteral("instant"));

        // Changed elsewhere: shown at once.
        rig.settings.setSnapToGrid(true);
        rig.settings.setShowMenuBarIcon(true);
        rig.studio.setDefaultFrame(FrameStyle::tape);
        QVERIFY(w.snapToggle()->isChecked());
        QVERIFY(w.trayToggle()->isChecked());
        QVERIFY(!w.openAtLaunchToggle()->isChecked());
        QCOMPARE(w.framePicker()->currentText(), QStringLiteral("Tape"));
    }

    // The count follows the library and is never singular; the button shows the library folder.
    void libraryCountAndFolder()
    {
        ShellRig rig;
        const QLabel* count = rig.app->settingsWindow().libraryCount();
        QCOMPARE(count->text(), QStringLiteral("0 photos"));
        rig.studio.appendPhotos({makePhoto()});
        QCOMPARE(count->text(), QStringLiteral("1 photos"));
        rig.studio.appendPhotos({makePhoto(), makePhoto()});
        rig.studio.removeFromLibrary({rig.studio.photos().first().id});
        QCOMPARE(count->text(), QStringLiteral("2 photos"));

        QStringList revealed;
        FileManager::setHandler([&](const QString& path) { revealed << path; });
        QTest::mouseClick(rig.app->settingsWindow().revealButton(), Qt::LeftButton);
        FileManager::setHandler({});
        QCOMPARE(revealed, QStringList{Storage::root()});
    }

    void loginToggleShowsTheRealState()
    {
        ConfigHome home;
        ShellRig rig;
        SettingsWindow& w = rig.app->settingsWindow();
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QVERIFY(!w.loginToggle()->isChecked());

        click(w.loginToggle());
        QVERIFY(w.loginToggle()->isChecked());
        QVERIFY(Autostart::starts(Autostart::entryPath()));
        QVERIFY(!w.loginError()->isVisible());
        click(w.loginToggle());
        QVERIFY(!w.loginToggle()->isChecked());
        QVERIFY(!QFile::exists(Autostart::entryPath()));

        // A file where the folder should be: the reason shows in red and the toggle stays off.
        QVERIFY(QDir().rmdir(Autostart::folder()));
        QVERIFY(writeBytes(Autostart::folder(), "not a folder"));
        click(w.loginToggle());
        QVERIFY(!w.loginToggle()->isChecked());
        QCOMPARE(readBytes(Autostart::folder()), QByteArray("not a folder"));
        QVERIFY(w.loginError()->isVisible());
        QVERIFY2(w.loginError()->text().startsWith(QStringLiteral("Couldn’t change the login item: ")), qPrintable(w.loginError()->text()));

        // The next change that works clears it.
        QVERIFY(QFile::remove(Autostart::folder()));
        click(w.loginToggle());
        QVERIFY(w.loginToggle()->isChecked());
        QVERIFY(!w.loginError()->isVisible());

        // Changed behind its back: read afresh when the window is shown again.
        QVERIFY(writeBytes(Autostart::entryPath(), readBytes(Autostart::entryPath()) + "Hidden=true\n"));
        w.close();
        w.show();
        QVERIFY(!w.loginToggle()->isChecked());
    }
};

VELORA_TEST(TestSettingsWindow)
class TestLoginItem : public QObject {
    Q_OBJECT
private slots:
    void onAndOff()
    {
        ConfigHome config;
        QCOMPARE(Autostart::entryPath(), config.dir.filePath(QStringLiteral("autostart/" VELORA_APP_ID ".desktop")));
        QVERIFY(!LoginItem::enabled());

        QCOMPARE(LoginItem::set(true), std::nullopt);
        QVERIFY(LoginItem::enabled());
        const QString text = QString::fromUtf8(readBytes(Autostart::entryPath()));
        QVERIFY(text.startsWith(QStringLiteral("[Desktop Entry]\n")));
        QVERIFY(text.contains(QStringLiteral("\nType=Application\n")));
        // The running program by its absolute path, and nothing else.
        const QString exec = text.section(QStringLiteral("\nExec="), 1).section(u'\n', 0, 0);
        QCOMPARE(Autostart::execArguments(exec), QStringList{QCoreApplication::applicationFilePath()});
        // Written in place: no temporary file left beside it.
        QCOMPARE(QDir(Autostart::folder()).entryList(QDir::Files | QDir::Hidden), QStringList{VELORA_APP_ID ".desktop"});

        QCOMPARE(LoginItem::set(true), std::nullopt); // again: still one entry
        QCOMPARE(LoginItem::set(false), std::nullopt);
        QVERIFY(!LoginItem::enabled());
        QVERIFY(!QFile::exists(Autostart::entryPath()));
        QCOMPARE(LoginItem::set(false), std::nullopt); // nothing to remove is fine
    }

    void defaultFolder()
    {
        ConfigHome env;
        env.set("HOME", env.dir.path().toLocal8Bit());
        for (const QByteArray& unusable : {QByteArray(), QByteArray("relative/config")}) {
            env.set("XDG_CONFIG_HOME", unusable);
            QCOMPARE(Autostart::folder(), env.dir.filePath(QStringLiteral(".config/autostart")));
        }
    }

    // A file where the folder goes: see the settings window's tests.
    void foldersThatCannotBeWritten()
    {
        ConfigHome config;
        if (::geteuid() == 0) QSKIP("running as root: permissions do not stop root");
        QVERIFY(QDir().mkpath(Autostart::folder()));
        QVERIFY(QFile::setPermissions(Autostart::folder(), QFile::ReadOwner | QFile::ExeOwner));
        const auto denied = LoginItem::set(true);
        QVERIFY(denied && denied->startsWith(failure));
        QVERIFY(!LoginItem::enabled());
        QVERIFY(QFile::setPermissions(Autostart::folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        QCOMPARE(LoginItem::set(true), std::nullopt);
        QVERIFY(QFile::setPermissions(Autostart::folder(), QFile::ReadOwner | QFile::ExeOwner));
        const auto stuck = LoginItem::set(false);
        QVERIFY(stuck && stuck->startsWith(failure));
        QVERIFY(LoginItem::enabled()); // still there, and the toggle says so
        QVERIFY(QFile::setPermissions(Autostart::folder(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    void entriesThatStartNothing_data()
    {
        QTest::addColumn<QByteArray>("entry");
        QTest::addColumn<bool>("starts");
        const QByteArray head = "[Desktop Entry]\nType=Application\nName=Velora\n";
        QTest::newRow("ours") << head + "Exec=@PROGRAM@\n" << true;
        QTest::newRow("with a field code") << head + "Exec=@PROGRAM@ %F\n" << true;
        QTest::newRow("a program on the PATH") << head + "Exec=sh -c true\n" << true;
        QTest::newRow("spaces around =") << head + "Exec = @PROGRAM@\n" << true;
        QTest::newRow("Hidden=true") << head + "Exec=@PROGRAM@\nHidden=true\n" << false;
        QTest::newRow("Hidden=false") << head + "Exec=@PROGRAM@\nHidden=false\n" << true;
        QTest::newRow("disabled for GNOME") << head + "Exec=@PROGRAM@\nX-GNOME-Autostart-enabled=false\n" << false;
        QTest::newRow("Hidden in another group") << head + "Exec=@PROGRAM@\n[Desktop Action x]\nHidden=true\n" << true;
        QTest::newRow("removed program") << head + "Exec=@GONE@\n" << false;
        QTest::newRow("not a program") << head + "Exec=@PLAIN@\n" << false;
        QTest::newRow("relative path") << head + "Exec=./velora\n" << false;
        QTest::newRow("unknown name") << head + "Exec=velora-not-installed-anywhere\n" << false;
        QTest::newRow("TryExec missing") << head + "TryExec=@GONE@\nExec=@PROGRAM@\n" << false;
        QTest::newRow("no Exec") << head << false;
        QTest::newRow("broken quotes") << head + "Exec=\"@PROGRAM@\n" << false;
        QTest::newRow("no Desktop Entry group") << QByteArray("[Something]\nExec=@PROGRAM@\n") << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("binary") << QByteArray("\x7f" "ELF\x02\x01\x01\0\0\0", 10) << false;
    }

    void entriesThatStartNothing()
    {
        QFETCH(QByteArray, entry);
        QFETCH(bool, starts);
        QTemporaryDir dir;
        const QString program = dir.filePath(QStringLiteral("my velora"));
        QVERIFY(makeProgram(program));
        const QString plain = dir.filePath(QStringLiteral("notes.txt"));
        QVERIFY(writeBytes(plain, "text"));
        const QString gone = dir.filePath(QStringLiteral("removed/velora"));
        entry.replace("@PROGRAM@", Autostart::execLine({program}).toUtf8());
        entry.replace("@GONE@", Autostart::execLine({gone}).toUtf8());
        entry.replace("@PLAIN@", Autostart::execLine({plain}).toUtf8());
        const QString path = dir.filePath(QStringLiteral("velora.desktop"));
        QVERIFY(writeBytes(path, entry));
        QCOMPARE(Autostart::starts(path), starts);
    }

    // Exec lines written and read back; the last rows are only read (field codes, odd spacing).
    void execQuoting_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("written"); // execLine() gives exactly this line
        QTest::newRow("plain") << QStringList{"/usr/bin/velora"} << "/usr/bin/velora" << true;
        QTest::newRow("space") << QStringList{"/opt/My Apps/velora"} << "\"/opt/My Apps/velora\"" << true;
        QTest::newRow("quote") << QStringList{"/tmp/a\"b"} << "\"/tmp/a\\\\\"b\"" << true;
        QTest::newRow("backslash") << QStringList{"/tmp/a\\b"} << "\"/tmp/a\\\\\\\\b\"" << true;
        QTest::newRow("dollar and backtick") << QStringList{"/tmp/$x`y`"} << "\"/tmp/\\\\$x\\\\`y\\\\`\"" << true;
        QTest::newRow("percent") << QStringList{"/tmp/100%"} << "/tmp/100%%" << true;
        QTest::newRow("quote and percent") << QStringList{"/tmp/it's 100%"} << "\"/tmp/it's 100%%\"" << true;
        QTest::newRow("newline") << QStringList{"/tmp/a\nb"} << "\"/tmp/a\\nb\"" << true;
        QTest::newRow("not ASCII") << QStringList{"/home/zoë/Bilder/velora"} << "/home/zoë/Bilder/velora" << true;
        QTest::newRow("several") << QStringList{"/usr/bin/velora", "two words", ""} << "/usr/bin/velora \"two words\" \"\"" << true;
        QTest::newRow("field codes dropped") << QStringList{"velora"} << "velora %F" << false;
        QTest::newRow("several spaces") << QStringList{"velora", "--x"} << "velora   --x  %u" << false;
        QTest::newRow("an escaped space still separates") << QStringList{"/opt/a", "b"} << "/opt/a\\sb" << false;
        QTest::newRow("quoted next to text") << QStringList{"ab cd"} << "a\"b c\"d" << false;
        QTest::newRow("empty") << QStringList{} << "" << false;
    }

    void execQuoting()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        QFETCH(bool, written);
        if (written) QCOMPARE(Autostart::execLine(arguments), line);
        QCOMPARE(Autostart::execArguments(line), std::optional(arguments));
        QCOMPARE(Autostart::execArguments(QStringLiteral("\"/usr/bin/velora")), std::nullopt); // unterminated quote
    }
};

VELORA_TEST(TestLoginItem)
#include "test_settings_window.moc"
