#pragma once
// A small HTTP/1.1 server on 127.0.0.1 for the update checker: each path answers with a fixed
// response, streams an endless-looking body, or never answers. And alerts recorded, not shown.
#include "update_checker.h"

#include <QByteArray>
#include <QHash>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

namespace velora::testing {

struct RecordedAlerts {
    QList<Alert> alerts;
    QList<QUrl> opened;
    int answer = -1; // the button the user chooses; -1: the last ("Later", or the lone OK)
};

class RecordingAlerts final : public UpdateAlerts {
public:
    explicit RecordingAlerts(RecordedAlerts& r) : m_r(r) {}
    int run(const Alert& alert) override
    {
        m_r.alerts.append(alert);
        return m_r.answer >= 0 ? m_r.answer : int(alert.buttons.size()) - 1;
    }
    void openPage(const QUrl& url) override { m_r.opened.append(url); }

private:
    RecordedAlerts& m_r;
};

class FeedServer : public QObject {
public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray location;          // a redirect's target
        qint64 streamed = 0;          // when set: this many bytes of filler instead of the body
        bool announceLength = true;   // Content-Length header (else the body ends with the connection)
        bool silent = false;          // reads the request and never answers
    };

    FeedServer()
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* s = m_server.nextPendingConnection()) {
                connect(s, &QTcpSocket::readyRead, this, [this, s] { onRequest(s); });
                connect(s, &QTcpSocket::disconnected, s, &QObject::deleteLater);
            }
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    bool listening() const { return m_server.isListening(); }
    QString url(const QString& path) const { return QStringLiteral("http://127.0.0.1:%1%2").arg(m_server.serverPort()).arg(path); }
    void route(const QByteArray& path, Response response) { m_routes.insert(path, std::move(response)); }
    // Bytes of filler written so far, over all streamed responses.
    qint64 streamedBytes() const { return m_streamed; }

private:
    void onRequest(QTcpSocket* s)
    {
        QByteArray& buffer = m_buffers[s];
        buffer += s->readAll();
        if (!buffer.contains("\r\n\r\n")) return;
        const QList<QByteArray> line = buffer.left(buffer.indexOf("\r\n")).split(' ');
        buffer.clear();
        const QByteArray path = line.size() >= 2 ? line[1] : QByteArray();
        const Response r = m_routes.value(path, Response{404, "<html><body>Not here</body></html>"});
        if (r.silent) return;

        QByteArray head = "HTTP/1.1 " + QByteArray::number(r.status) + " Answer\r\n";
        if (!r.location.isEmpty()) head += "Location: " + r.location + "\r\n";
        const qint64 length = r.streamed ? r.streamed : r.body.size();
        if (r.announceLength) head += "Content-Length: " + QByteArray::number(length) + "\r\n";
        head += "Content-Type: application/json\r\nConnection: close\r\n\r\n";
        s->write(head);
        if (!r.streamed) {
            s->write(r.body);
            s->disconnectFromHost();
            return;
        }
        // Filler in chunks as the socket drains, so the server never holds the whole body.
        auto left = std::make_shared<qint64>(r.streamed);
        QPointer<QTcpSocket> socket(s);
        const auto more = [this, socket, left] {
            static const QByteArray chunk(64 * 1024, 'x');
            while (socket && *left > 0 && socket->bytesToWrite() < 4 * chunk.size()) {
                const qint64 n = std::min<qint64>(*left, chunk.size());
                socket->write(chunk.constData(), n);
                *left -= n;
                m_streamed += n;
            }
            if (socket && *left == 0) socket->disconnectFromHost();
        };
        connect(s, &QTcpSocket::bytesWritten, this, more);
        more();
    }

    QTcpServer m_server;
    QHash<QByteArray, Response> m_routes;
    QHash<QTcpSocket*, QByteArray> m_buffers;
    qint64 m_streamed = 0;
};

} // namespace velora::testing
