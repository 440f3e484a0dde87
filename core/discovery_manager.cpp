#include "core/discovery_manager.h"

#include "core/device_discoverer.h"
#include "core/device_registry.h"

namespace Sondrix
{

QJsonObject providerStatusToJson(const ProviderStatus &status)
{
    return QJsonObject{
        {QStringLiteral("name"), status.name},
        {QStringLiteral("enabled"), status.enabled},
        {QStringLiteral("status"), status.status},
        {QStringLiteral("error"), status.error},
        {QStringLiteral("lastScanUtc"), timestampToJson(status.lastScanUtc)},
    };
}

DiscoveryManager::DiscoveryManager(DeviceRegistry *registry, QObject *parent)
    : QObject(parent), m_registry(registry)
{
}

void DiscoveryManager::addDiscoverer(IDeviceDiscoverer *discoverer)
{
    if (discoverer == nullptr) {
        return;
    }
    discoverer->setParent(this);
    m_discoverers.append(discoverer);

    ProviderStatus row;
    row.name = discoverer->providerName();
    row.enabled = discoverer->isAvailable();
    row.status = row.enabled ? QStringLiteral("idle") : QStringLiteral("disabled");
    m_statuses.append(row);
}

int DiscoveryManager::runPass()
{
    if (m_registry == nullptr) {
        return 0;
    }
    emit scanStarted();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    int accepted = 0;
    for (int i = 0; i < m_discoverers.size(); ++i) {
        IDeviceDiscoverer *discoverer = m_discoverers.at(i);
        ProviderStatus row;
        row.name = discoverer->providerName();
        row.enabled = discoverer->isAvailable();
        row.lastScanUtc = now;
        if (!discoverer->isAvailable()) {
            row.status = QStringLiteral("disabled");
        } else {
            const QList<DeviceRecord> records = discoverer->scan(&row.error);
            row.status = row.error.isEmpty() ? QStringLiteral("ok") : QStringLiteral("error");
            for (const DeviceRecord &record : records) {
                if (!m_registry->addOrUpdate(record).isEmpty()) {
                    ++accepted;
                }
            }
        }
        if (i < m_statuses.size()) {
            m_statuses[i] = row;
        } else {
            m_statuses.append(row);
        }
    }
    m_registry->expireOnlineRecords(now);
    m_lastScanUtc = now;
    emit scanFinished(accepted);
    return accepted;
}

QList<ProviderStatus> DiscoveryManager::providerStatuses() const
{
    return m_statuses;
}

QDateTime DiscoveryManager::lastScanUtc() const
{
    return m_lastScanUtc;
}

} // namespace Sondrix
