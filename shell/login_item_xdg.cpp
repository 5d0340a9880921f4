#include "login_item.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QSaveFile>
#include <QStandardPaths>

#include <filesystem>
#include <system_error>

namespace velora {

namespace {

struct LoginTexts {
    Q_DECLARE_TR_FUNCTIONS(LoginItem)
};

QString failure(const QString& reason) { return LoginTexts::tr("Couldn’t change the login item: ") + reason; }

// Characters that make an Exec argument need quotes.
bool needsQuotes(const QString& arg)
{
    static const QString reserved = QStringLiteral(" \t\n\"'\\><~|&;$*?#()`");
    if (arg.isEmpty()) return true;
    for (const QChar c : arg)
        if (reserved.contains(c)) return true;
    return false;
}

// The [Desktop Entry] group's keys, with their values as written; nothing when there is no such group.
std::optional<QHash<QString, QString>> readEntry(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    QHash<QString, QString> keys;
    bool inEntry = false, seen = false;
    for (QByteArray raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty() || line.startsWith(u'#')) continue;
        if (line.startsWith(u'[')) {
            inEntry = line == u"[Desktop Entry]";
            seen = seen || inEntry;
            continue;
        }
        const auto eq = line.indexOf(u'=');
        if (!inEntry || eq <= 0) continue;
        const QString key = line.left(eq).trimmed();
        if (!keys.contains(key)) keys.insert(key, line.mid(eq + 1).trimmed());
    }
    if (!seen) return std::nullopt;
    return keys;
}

bool runnable(const QString& program)
{
    if (program.isEmpty()) return false;
    if (!program.contains(u'/')) return !QStandardPaths::findExecutable(program).isEmpty();
    const QFileInfo info(program);
    return info.isAbsolute() && info.isFile() && info.isExecutable();
}

} // namespace

namespace Autostart {

QString folder()
{
    // The environment, not QStandardPaths: the folder is the desktop's, whatever Qt's test mode says.
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || QDir::isRelativePath(config)) config = QDir::homePath() + QStringLiteral("/.config");
    return QDir(config).filePath(QStringLiteral("autostart"));
}

QString entryPath() { return QDir(folder()).filePath(QStringLiteral(VELORA_APP_ID ".desktop")); }

QString execLine(const QStringList& arguments)
{
    QStringList quoted;
    for (const QString& arg : arguments) {
        QString q = arg;
        if (needsQuotes(arg)) {
            q.clear();
            for (const QChar c : arg) {
                if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') q += u'\\';
                q += c;
            }
            q = u'"' + q + u'"';
        }
        quoted.append(q.replace(u'%', QStringLiteral("%%")));
    }
    // The general string escapes apply on top of the quoting.
    QString line;
    for (const QChar c : quoted.join(u' ')) {
        switch (c.unicode()) {
        case '\\': line += QStringLiteral("\\\\"); break;
        case '\n': line += QStringLiteral("\\n"); break;
        case '\t': line += QStringLiteral("\\t"); break;
        case '\r': line += QStringLiteral("\\r"); break;
        default: line += c;
        }
    }
    return line;
}

std::optional<QStringList> execArguments(const QString& value)
{
    QString text;
    for (qsizetype i = 0; i < value.size(); ++i) {
        if (value[i] != u'\\' || i + 1 == value.size()) {
            text += value[i];
            continue;
        }
        const QChar n = value[++i];
        text += n == u's' ? QChar(u' ') : n == u'n' ? QChar(u'\n') : n == u't' ? QChar(u'\t') : n == u'r' ? QChar(u'\r') : n;
    }

    QStringList args;
    QString current;
    bool inArg = false, quoted = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text[i];
        if (quoted) {
            if (c == u'\\' && i + 1 < text.size()) current += text[++i];
            else if (c == u'"') quoted = false;
            else current += c;
        } else if (c == u'"') {
            quoted = inArg = true;
        } else if (c == u' ' || c == u'\t') {
            if (inArg) args.append(current);
            current.clear();
            inArg = false;
        } else {
            current += c;
            inArg = true;
        }
    }
    if (quoted) return std::nullopt;
    if (inArg) args.append(current);

    // Field codes stand for what a launcher adds; at login nothing is added.
    QStringList result;
    for (const QString& arg : std::as_const(args)) {
        QString out;
        for (qsizetype i = 0; i < arg.size(); ++i) {
            if (arg[i] != u'%' || i + 1 == arg.size()) out += arg[i];
            else if (arg[++i] == u'%') out += u'%';
        }
        if (!out.isEmpty() || !arg.startsWith(u'%')) result.append(out);
    }
    return result;
}

bool starts(const QString& path)
{
    const auto entry = readEntry(path);
    if (!entry) return false;
    if (entry->value(QStringLiteral("Hidden")) == u"true") return false;
    if (entry->value(QStringLiteral("X-GNOME-Autostart-enabled")) == u"false") return false;
    if (const auto tryExec = entry->find(QStringLiteral("TryExec")); tryExec != entry->end()) {
        const auto args = execArguments(*tryExec);
        if (!args || args->size() != 1 || !runnable(args->first())) return false;
    }
    const auto args = execArguments(entry->value(QStringLiteral("Exec")));
    return args && !args->isEmpty() && runnable(args->first());
}

std::optional<QString> write(const QString& path, const QString& program)
{
    std::error_code error;
    std::filesystem::create_directories(QFileInfo(path).absolutePath().toStdString(), error);
    if (error) return QString::fromLocal8Bit(error.message());

    const QString text = QStringLiteral("[Desktop Entry]\n"
                                        "Type=Application\n"
                                        "Name=Velora\n"
                                        "Comment=%1\n"
                                        "Exec=%2\n"
                                        "Icon=" VELORA_APP_ID "\n"
                                        "Terminal=false\n"
                                        "X-GNOME-Autostart-enabled=true\n")
                             .arg(LoginTexts::tr("Your photos, framed on the desktop."), execLine({program}));
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0 || !file.commit()) return file.errorString();
    return std::nullopt;
}

std::optional<QString> remove(const QString& path)
{
    QFile file(path);
    if (!QFileInfo(path).exists() && !QFileInfo(path).isSymLink()) return std::nullopt;
    if (!file.remove()) return file.errorString();
    return std::nullopt;
}

} // namespace Autostart

namespace LoginItem {

bool enabled() { return Autostart::starts(Autostart::entryPath()); }

std::optional<QString> set(bool on)
{
    const QString path = Autostart::entryPath();
    // The running program by its absolute path, with no arguments: never the demo library.
    const auto error = on ? Autostart::write(path, QCoreApplication::applicationFilePath()) : Autostart::remove(path);
    if (error) return failure(*error);
    return std::nullopt;
}

} // namespace LoginItem

} // namespace velora
