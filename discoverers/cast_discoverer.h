#pragma once

#include "core/device_discoverer.h"
#include "discoverers/mdns_service_catalogue.h"

namespace Sondrix
{

/// Browses the Google Cast service type alone, without the whole multicast DNS catalogue.
class CastDiscoverer : public IDeviceDiscoverer
{
public:
    explicit CastDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// The records of a multicast DNS scan for castServices, unchanged. There is never an error.
    QList<DeviceRecord> scan(QString *error) override;

private:
    friend class WindowSoak;

    int m_timeoutMs;
};

/// The service type of Cast receivers.
QList<MdnsServiceType> castServices();

} // namespace Sondrix
