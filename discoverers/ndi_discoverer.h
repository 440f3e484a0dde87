#pragma once

#include <QString>
#include <QStringList>

#include "core/device_discoverer.h"

namespace Sondrix
{

/// Finds NDI sources through the NDI runtime, where one is installed.
class NdiDiscoverer : public IDeviceDiscoverer
{
public:
    explicit NdiDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;

    /// What setAvailable said; false after construction.
    bool isAvailable() const override;

    /// One record for each source that the runtime names within its wait. The error tells why the
    /// runtime could not be used. The runtime's wait delivers no events.
    QList<DeviceRecord> scan(QString *error) override;

    void setAvailable(bool available);

    /// Replaces the addresses of discovery servers and other hosts that the runtime also asks.
    void setDiscoveryServers(const QStringList &servers);

private:
    bool m_available = false;
    QStringList m_discoveryServers;
    int m_timeoutMs;
};

/// A source as the runtime names it, untrimmed.
struct NdiSource {
    QString name;
    QString urlAddress;
};

/// The host of the source's address, without its port; empty if it has none.
QString ndiSourceHost(const NdiSource &source);

/// The identifier of a source, by its name, or by its address where it has no name.
QString ndiSourceId(const NdiSource &source);

/// The text trimmed and percent-encoded, behind ndi://.
QString ndiSourceUrl(const QString &text);

/// The source as a device; a default record if it has neither name nor address.
DeviceRecord recordFromNdiSource(const NdiSource &source);

} // namespace Sondrix
