#pragma once

#include <functional>
#include <utility>

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QNetworkProxy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <QUrl>

/// One request as it came.
struct HttpRequest {
    QByteArray method;
    QByteArray target;                    ///< path and query
    QMap<QByteArray, QByteArray> headers; ///< name in lower case to value
};

/// What a peer does on a request.
struct HttpAnswer {
    enum class After { close, keepOpen, drip, flood };

    QByteArray bytes;           ///< sent at once, nothing added
    After after = After::close; ///< what follows them: an end, silence, or more without end

    /// A whole answer; statusLine is code and reason.
    static HttpAnswer of(const QByteArray &statusLine, const QByteArray &body, const QByteArray &headers = {})
    {
        return {"HTTP/1.1 " + statusLine + "\r\nContent-Type: text/xml\r\nContent-Length: " +
                QByteArray::number(body.size()) + "\r\nConnection: close\r\n" + headers + "\r\n" + body};
    }
    static HttpAnswer ok(const QByteArray &body) { return of(QByteArrayLiteral("200 OK"), body); }
    static HttpAnswer notFound()
    {
        return of(QByteArrayLiteral("404 Not Found"), QByteArrayLiteral("<root/>"));
    }
    static HttpAnswer silence() { return {QByteArray(), After::keepOpen}; }
};

/// The web server of a device, on the loopback interface. It lives in the thread of the test: a fetch
/// lets its events through.
class HttpPeer
{
public:
    using Answer = std::function<HttpAnswer(const HttpRequest &request)>;

    explicit HttpPeer(Answer answer) : m_answer(std::move(answer))
    {
        m_server.setProxy(QNetworkProxy::NoProxy);
        m_server.listen(QHostAddress::LocalHost);
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this]() {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                ++m_connections;
                serve(socket);
            }
        });
    }
    explicit HttpPeer(const HttpAnswer &answer) : HttpPeer([answer](const HttpRequest &) { return answer; })
    {
    }

    Q_DISABLE_COPY_MOVE(HttpPeer)

    /// Resets each connection from now on as soon as something comes over it.
    void resetConnections() { m_isResetting = true; }

    quint16 port() const { return m_server.serverPort(); }
    QByteArray base() const { return "http://127.0.0.1:" + QByteArray::number(port()); }
    QUrl url(const QByteArray &target) const { return QUrl(QString::fromLatin1(base() + target)); }

    int connections() const { return m_connections; }
    const QList<HttpRequest> &requests() const { return m_requests; }
    QList<QByteArray> targets() const
    {
        QList<QByteArray> targets;
        for (const HttpRequest &request : m_requests) {
            targets.append(request.target);
        }
        return targets;
    }

private:
    static constexpr int dripMs = 20;
    static constexpr int floodMs = 5;
    static constexpr int floodBytes = 64 * 1024; // at a time, which keeps the test's memory in bounds

    void serve(QTcpSocket *socket)
    {
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        if (m_isResetting) {
            // A socket that is closed with bytes unread ends its connection by a reset (RFC 1122, 4.2.2.13).
            socket->setReadBufferSize(1);
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket]() { socket->abort(); });
            return;
        }
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket]() {
            const QByteArray head = socket->peek(socket->bytesAvailable());
            if (head.contains("\r\n\r\n")) {
                socket->readAll();
                m_requests.append(parsed(head));
                send(socket, m_answer(m_requests.last()));
            }
        });
    }

    static HttpRequest parsed(const QByteArray &head)
    {
        HttpRequest request;
        const QList<QByteArray> lines = head.left(head.indexOf("\r\n\r\n")).split('\n');
        const QList<QByteArray> words = lines.first().split(' ');
        request.method = words.value(0);
        request.target = words.value(1);
        for (const QByteArray &line : lines.mid(1)) {
            const int colon = line.indexOf(':');
            request.headers.insert(line.left(colon).toLower(), line.mid(colon + 1).trimmed());
        }
        return request;
    }

    static void send(QTcpSocket *socket, const HttpAnswer &answer)
    {
        socket->write(answer.bytes);
        switch (answer.after) {
        case HttpAnswer::After::close:
            socket->disconnectFromHost();
            break;
        case HttpAnswer::After::keepOpen:
            break;
        case HttpAnswer::After::drip:
            sendOn(socket, QByteArrayLiteral("x"), dripMs);
            break;
        case HttpAnswer::After::flood:
            sendOn(socket, QByteArray(floodBytes, 'x'), floodMs);
            break;
        }
    }

    static void sendOn(QTcpSocket *socket, const QByteArray &bytes, int intervalMs)
    {
        auto *timer = new QTimer(socket);
        QObject::connect(timer, &QTimer::timeout, socket, [socket, bytes]() { socket->write(bytes); });
        timer->start(intervalMs);
    }

    Answer m_answer;
    bool m_isResetting = false;
    int m_connections = 0;
    QList<HttpRequest> m_requests;
    QTcpServer m_server; // last, so that its sockets are gone before what they use
};
