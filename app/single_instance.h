#pragma once
// One Velora per user and library: the first copy listens on a local socket only its user can
// reach; a later launch hands its request (photos to add, the launcher's activation token) to it
// and ends. A socket left behind by a copy that crashed is found dead and taken over.
#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

class QLocalServer;

namespace velora {

class SingleInstance : public QObject {
    Q_OBJECT
public:
    struct Request {
        QStringList paths;     // absolute paths of photos and folders to add as a new piece
        QByteArray token;      // the launcher's activation token, or empty
        friend bool operator==(const Request&, const Request&) = default;
    };

    enum class Claim {
        primary,    // this process is the running copy now
        forwarded,  // another copy runs and took the request
        failed,     // another copy runs but did not answer
    };

    // `key` tells libraries apart (the library folder); the socket lives in the user's runtime
    // folder.
    explicit SingleInstance(const QString& key, QObject* parent = nullptr);
    ~SingleInstance() override;

    Claim claim(const Request& request, int timeoutMs = 5000);
    QString socketPath() const { return m_path; }
    static QString socketPathFor(const QString& key);

    static QByteArray encode(const Request& request);
    static std::optional<Request> decode(const QByteArray& line);

signals:
    // On the running copy, once per later launch.
    void requested(const velora::SingleInstance::Request& request);

private:
    bool listen();
    void accept();

    QString m_path;
    QLocalServer* m_server = nullptr;
};

} // namespace velora
