// The settings window driven like a person would: what it says, the toggles writing their keys
// and taking effect, the frame picker shared with the Studio, the library count, the folder button,
// and the login toggle over a real autostart folder.
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

} // namespace

class TestSettingsWindow : public QObject {
    Q_OBJECT
private slots:
    void whatItSays()
    {
        ShellRig rig;
        SettingsWindow& w = rig.app->settingsWindow();
        QCOMPARE(w.size(), QSize(500, 420));
        QCOMPARE(w.maximumSize(), QSize(500, 420));
        QCOMPARE(w.tabs()->count(), 2);
        QCOMPARE(w.tabs()->tabText(1), QStringLiteral("About"));

        const QStringList general = texts(w.tabs()->widget(0));
        for (const char* text : {"Start Velora when you log in", "Open the Velora window at launch", "Show Velora in the system tray",
                                 "Your pieces come back in the same spots on each display after a restart.", "On the desktop",
                                 "Snap pieces to a soft grid", "Frame for new pieces", "Storage", "Library", "0 photos",
                                 "Show Velora’s Folder in the File Manager"})
            QVERIFY2(general.contains(QString::fromUtf8(text)), text);
        const auto at = [&](const char* t) { return general.indexOf(QString::fromUtf8(t)); };
        QVERIFY(at("Start Velora when you log in") < at("Show Velora in the system tray"));
        QVERIFY(at("Snap pieces to a soft grid") < at("Frame for new pieces"));

        QStringList frames;
        for (int i = 0; i < w.framePicker()->count(); ++i) frames << w.framePicker()->itemText(i);
        QCOMPARE(frames, (QStringList{"Gallery", "Instant", "Film strip", "Bare", "Tape"}));

        QCOMPARE(texts(w.tabs()->widget(1)),
                 (QStringList{"Velora", "Version 1.0", "Your photos, framed on the desktop.", "Check for Updates…"}));
        const auto* icon = w.tabs()->widget(1)->findChild<QLabel*>(QStringLiteral("aboutIcon"));
        QVERIFY(icon && !icon->pixmap().isNull());
        QCOMPARE(icon->size(), QSize(76, 76));
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

    void libraryCountIsNeverSingular()
    {
        ShellRig rig;
        const QLabel* count = rig.app->settingsWindow().libraryCount();
        QCOMPARE(count->text(), QStringLiteral("0 photos"));
        rig.studio.appendPhotos({makePhoto()});
        QCOMPARE(count->text(), QStringLiteral("1 photos"));
        rig.studio.appendPhotos({makePhoto(), makePhoto()});
        QCOMPARE(count->text(), QStringLiteral("3 photos"));
        rig.studio.removeFromLibrary({rig.studio.photos().first().id});
        QCOMPARE(count->text(), QStringLiteral("2 photos"));
    }

    void folderButtonRevealsTheLibrary()
    {
        ShellRig rig;
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
#include "test_settings_window.moc"
