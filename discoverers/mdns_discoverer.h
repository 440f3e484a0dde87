#pragma once

#include <QList>

#include "core/device_discoverer.h"
#include "discoverers/mdns_service_catalogue.h"

namespace Sondrix
{

/// Browses a catalogue of DNS-SD service types by multicast DNS (RFC 6762, RFC 6763) and reports one
/// record for each service instance that answered.
class MdnsDiscoverer : public IDeviceDiscoverer
{
public:
    /// How many services one scan collects, and how many hosts it looks up. Far more than a network
    /// has; it bounds what a flood of invented services can cost. Those that are heard first stay,
    /// so that a flood does not push out the devices that answered before it.
    static constexpr int maximumServices = 4096;

    explicit MdnsDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// Listens for the whole of its time, whatever answers, in a nested event loop. There is never
    /// an error: an unusable network looks like a silent one.
    QList<DeviceRecord> scan(QString *error) override;

    /// Replaces the catalogue.
    void setServices(const QList<MdnsServiceType> &services);

    /// Sets how long a scan listens, in milliseconds, at least 100.
    void setTimeoutMs(int ms);

private:
    QList<MdnsServiceType> m_services;
    int m_timeoutMs;
};

/// One scan for these service types alone, for the time given in milliseconds. Records whose
/// protocol is none of theirs are left out. error, which may be null, is cleared.
QList<DeviceRecord> scanMdnsServices(const QList<MdnsServiceType> &services, int timeoutMs, QString *error);

} // namespace Sondrix
