// The login item as a freedesktop autostart entry in a temporary XDG_CONFIG_HOME: turning it on
// and off, entries that do not start anything, folders that cannot be written, and Exec quoting.
#include "login_item.h"
#include "shell_rig.h"
#include "testing.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace velora;
using namespace velora::testing;

Q_DECLARE_METATYPE(std::optional<QStringList>)

namespace {

const QString failure = QStringLiteral("Couldn’t change the login item: ");

// A small program of our own at `path`.
bool makeProgram(const QString& path)
{
    return writeBytes(path, "#!/bin/sh\nexit 0\n") &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

} // namespace

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

    void execQuoting_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("line");
        QTest::newRow("plain") << QStringList{"/usr/bin/velora"} << "/usr/bin/velora";
        QTest::newRow("space") << QStringList{"/opt/My Apps/velora"} << "\"/opt/My Apps/velora\"";
        QTest::newRow("quote") << QStringList{"/tmp/a\"b"} << "\"/tmp/a\\\\\"b\"";
        QTest::newRow("backslash") << QStringList{"/tmp/a\\b"} << "\"/tmp/a\\\\\\\\b\"";
        QTest::newRow("dollar and backtick") << QStringList{"/tmp/$x`y`"} << "\"/tmp/\\\\$x\\\\`y\\\\`\"";
        QTest::newRow("percent") << QStringList{"/tmp/100%"} << "/tmp/100%%";
        QTest::newRow("quote and percent") << QStringList{"/tmp/it's 100%"} << "\"/tmp/it's 100%%\"";
        QTest::newRow("newline") << QStringList{"/tmp/a\nb"} << "\"/tmp/a\\nb\"";
        QTest::newRow("not ASCII") << QStringList{"/home/zoë/Bilder/velora"} << "/home/zoë/Bilder/velora";
        QTest::newRow("several") << QStringList{"/usr/bin/velora", "two words", ""} << "/usr/bin/velora \"two words\" \"\"";
    }

    void execQuoting()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        QCOMPARE(Autostart::execLine(arguments), line);
        QCOMPARE(Autostart::execArguments(line), arguments);
    }

    void execParsing_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<std::optional<QStringList>>("arguments");
        QTest::newRow("field codes dropped") << "velora %F" << std::optional<QStringList>{{"velora"}};
        QTest::newRow("several spaces") << "velora   --x  %u" << std::optional<QStringList>{{"velora", "--x"}};
        QTest::newRow("an escaped space still separates") << "/opt/a\\sb" << std::optional<QStringList>{{"/opt/a", "b"}};
        QTest::newRow("quoted next to text") << "a\"b c\"d" << std::optional<QStringList>{{"ab cd"}};
        QTest::newRow("unterminated quote") << "\"/usr/bin/velora" << std::optional<QStringList>{};
        QTest::newRow("empty") << "" << std::optional<QStringList>{QStringList{}};
    }

    void execParsing()
    {
        QFETCH(QString, value);
        QFETCH(std::optional<QStringList>, arguments);
        QCOMPARE(Autostart::execArguments(value), arguments);
    }
};

VELORA_TEST(TestLoginItem)
#include "test_login_item.moc"
