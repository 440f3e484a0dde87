#pragma once

#include <QObject>

#include <qmdnsengine/service.h>

namespace QMdnsEngine
{

class AbstractServer;
class BrowserPrivate;
class Cache;

/// Finds the instances of one service type (RFC 6763, 4). It asks when it is constructed and every
/// 60 seconds from then on, and asks itself for what the answers leave out.
class Browser : public QObject
{
    Q_OBJECT

public:
    /// The type is a full name, "_http._tcp.local.". Without a cache the browser makes its own.
    Browser(AbstractServer *server, const QByteArray &type, Cache *cache = nullptr,
            QObject *parent = nullptr);
    ~Browser() override;

signals:
    /// A service is known with its host and port, and with its attributes if they came along.
    void serviceAdded(const QMdnsEngine::Service &service);

    /// The host name, the port or the attributes of a reported service changed.
    void serviceUpdated(const QMdnsEngine::Service &service);

    /// A reported service said goodbye, has expired, or gave way to newer ones.
    void serviceRemoved(const QMdnsEngine::Service &service);

private:
    BrowserPrivate *const m_private;
};

} // namespace QMdnsEngine
