#include "discoverers/airplay_discoverer.h"

#include "discoverers/mdns_discoverer.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1200;

} // namespace

AirPlayDiscoverer::AirPlayDiscoverer(QObject *parent)
    : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs)
{
}

QString AirPlayDiscoverer::providerName() const
{
    return QStringLiteral("airplay");
}

bool AirPlayDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> AirPlayDiscoverer::scan(QString *error)
{
    return scanMdnsServices(airPlayServices(), m_timeoutMs, error);
}

QList<MdnsServiceType> airPlayServices()
{
    return {
        {QStringLiteral("_airplay._tcp.local."), QStringLiteral("airplay"), Direction::output,
         MediaKind::audio | MediaKind::video | MediaKind::control},
        {QStringLiteral("_raop._tcp.local."), QStringLiteral("raop"), Direction::output,
         MediaKind::audio | MediaKind::control},
    };
}

} // namespace Sondrix
