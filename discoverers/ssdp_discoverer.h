#pragma once

#include <QList>
#include <QStringList>

#include "core/device_discoverer.h"
#include "discoverers/ssdp_response.h"

namespace Sondrix
{

/// Searches by SSDP (UPnP Device Architecture 1.1, 1.3.2) and reports what the answers say by
/// themselves. Also the search of the providers that go on over HTTP.
class SsdpDiscoverer : public IDeviceDiscoverer
{
public:
    explicit SsdpDiscoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each answer of a search that can be identified. The error is that of search.
    QList<DeviceRecord> scan(QString *error) override;

    /// Sets the listening window in milliseconds, at least 100.
    void setTimeoutMs(int ms);

    /// Replaces the search targets, in sending order.
    void setSearchTargets(const QStringList &targets);

    /// Sends one M-SEARCH for each target and listens for the whole window. Returns the distinct
    /// valid answers in order of arrival. Silence is no failure; error, which may be null, tells
    /// only that the socket could not be bound.
    QList<SsdpResponse> search(QString *error);

private:
    int m_timeoutMs;
    QStringList m_searchTargets;
};

} // namespace Sondrix
