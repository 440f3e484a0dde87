#pragma once

#include "core/device_discoverer.h"
#include "discoverers/mdns_service_catalogue.h"

namespace Sondrix
{

/// Browses the AirPlay and RAOP service types alone, without the whole multicast DNS catalogue.
class AirPlayDiscoverer : public IDeviceDiscoverer
{
public:
    explicit AirPlayDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// The records of a multicast DNS scan for airPlayServices, unchanged. There is never an error.
    QList<DeviceRecord> scan(QString *error) override;

private:
    friend class WindowSoak;

    int m_timeoutMs;
};

/// The service types of AirPlay: video and audio receivers, and audio alone (RAOP).
QList<MdnsServiceType> airPlayServices();

} // namespace Sondrix
