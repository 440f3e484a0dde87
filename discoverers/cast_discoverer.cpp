#include "discoverers/cast_discoverer.h"

#include "discoverers/mdns_discoverer.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1200;

} // namespace

CastDiscoverer::CastDiscoverer(QObject *parent) : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs) {}

QString CastDiscoverer::providerName() const
{
    return QStringLiteral("cast");
}

bool CastDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> CastDiscoverer::scan(QString *error)
{
    return scanMdnsServices(castServices(), m_timeoutMs, error);
}

QList<MdnsServiceType> castServices()
{
    return {{QStringLiteral("_googlecast._tcp.local."), QStringLiteral("cast"), Direction::output,
             MediaKind::audio | MediaKind::video | MediaKind::control}};
}

} // namespace Sondrix
