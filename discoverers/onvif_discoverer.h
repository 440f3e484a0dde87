#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include "core/device_discoverer.h"

namespace Sondrix
{

/// Probes for ONVIF network video transmitters by WS-Discovery (April 2005) and reports what the
/// probe matches say by themselves.
class OnvifDiscoverer : public IDeviceDiscoverer
{
public:
    explicit OnvifDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each device that answered within the window. The error tells that the socket
    /// could not be bound.
    QList<DeviceRecord> scan(QString *error) override;

private:
    friend class WindowSoak;

    int m_timeoutMs;
};

/// One probe match, as far as it is used.
struct OnvifProbeMatch {
    QString endpointReference; ///< the device's own address, usually a UUID
    QString types;             ///< the whole list as text
    QString scopes;            ///< the whole list as text
    QStringList xaddrs;        ///< URLs of the device service
};

/// The multicast group of WS-Discovery.
QString onvifProbeHost();

/// The Probe, the same from every host and in every pass.
QByteArray onvifProbe();

/// The matches of a reply that have an address or a URL, in document order; none if the reply is not
/// well-formed to its end.
QList<OnvifProbeMatch> parseProbeMatches(const QByteArray &xml);

/// The device that a match describes.
DeviceRecord recordFromProbeMatch(const OnvifProbeMatch &match);

} // namespace Sondrix
