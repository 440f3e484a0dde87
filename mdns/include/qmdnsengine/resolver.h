#pragma once

#include <QHostAddress>
#include <QObject>

namespace QMdnsEngine
{

class AbstractServer;
class Cache;
class ResolverPrivate;

/// Finds the addresses of one host name. It asks when it is constructed, for what its cache does not
/// answer.
class Resolver : public QObject
{
    Q_OBJECT

public:
    /// The name is a full name, "host.local.". Without a cache the resolver makes its own.
    Resolver(AbstractServer *server, const QByteArray &name, Cache *cache = nullptr,
             QObject *parent = nullptr);
    ~Resolver() override;

signals:
    /// An address of the host, IPv4 or IPv6. Each goes out once, and none before the event loop runs.
    void resolved(const QHostAddress &address);

private:
    ResolverPrivate *const m_private;
};

} // namespace QMdnsEngine
