#include "single_instance.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>

#ifdef Q_OS_UNIX
#include <unistd.h>
#endif

namespace velora {

namespace {
constexpr qsizetype maxRequest = 4 * 1024 * 1024; // thousands of paths, never a flood
}

SingleInstance::SingleInstance(const QString& key, QObject* parent)
    : QObject(parent)
    , m_path(socketPathFor(key))
{
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::socketPathFor(const QString& key)
{
    QString dir = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (dir.isEmpty()) {
#ifdef Q_OS_UNIX
        dir = QDir::temp().filePath(QStringLiteral("velora-%1").arg(::getuid()));
#else
        dir = QDir::temp().filePath(QStringLiteral("velora"));
#endif
        QDir().mkpath(dir);
        QFile::setPermissions(dir, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    // Socket paths are short (108 bytes on Linux): a digest of the key, not the key.
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha256).toHex().left(16);
    return QDir(dir).filePath(QStringLiteral("velora-") + QString::fromLatin1(digest));
}

QByteArray SingleInstance::encode(const Request& request)
{
    QJsonObject o;
    o.insert(QStringLiteral("paths"), QJsonArray::fromStringList(request.paths));
    o.insert(QStringLiteral("token"), QString::fromUtf8(request.token));
    return QJsonDocument(o).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<SingleInstance::Request> SingleInstance::decode(const QByteArray& line)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(line.trimmed(), &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    const QJsonObject o = doc.object();
    Request r;
    const QJsonValue paths = o.value(QStringLiteral("paths"));
    if (!paths.isUndefined() && !paths.isArray()) return std::nullopt;
    for (const QJsonValue& v : paths.toArray()) {
        if (!v.isString()) return std::nullopt;
        r.paths.append(v.toString());
    }
    const QJsonValue token = o.value(QStringLiteral("token"));
    if (!token.isUndefined() && !token.isString()) return std::nullopt;
    r.token = token.toString().toUtf8();
    return r;
}

SingleInstance::Claim SingleInstance::claim(const Request& request, int timeoutMs)
{
    // Two launches at once: the lock makes one of them the running copy and the other its client.
    QLockFile lock(m_path + QStringLiteral(".lock"));
    lock.setStaleLockTime(0);
    lock.tryLock(timeoutMs);

    QLocalSocket socket;
    socket.connectToServer(m_path);
    if (socket.waitForConnected(timeoutMs)) {
        socket.write(encode(request));
        socket.waitForBytesWritten(timeoutMs);
        while (!socket.canReadLine() && socket.state() == QLocalSocket::ConnectedState)
            if (!socket.waitForReadyRead(timeoutMs)) break;
        return socket.canReadLine() && socket.readLine().trimmed() == "ok" ? Claim::forwarded : Claim::failed;
    }
    // Nobody answers: whatever lies at the path is left from a copy that ended.
    QLocalServer::removeServer(m_path);
    return listen() ? Claim::primary : Claim::failed;
}

bool SingleInstance::listen()
{
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_path)) {
        delete m_server;
        m_server = nullptr;
        return false;
    }
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::accept);
    return true;
}

void SingleInstance::accept()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > maxRequest) socket->abort();
                return;
            }
            const auto request = decode(socket->readLine(maxRequest));
            socket->write(request ? "ok\n" : "bad request\n");
            socket->flush();
            socket->disconnectFromServer();
            if (request) emit requested(*request);
        });
    }
}

} // namespace velora
