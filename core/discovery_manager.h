#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QString>

#include "core/discovery_config.h"

namespace Sondrix
{

class DeviceRegistry;
class IDeviceDiscoverer;

/// How one provider fared in the last pass.
struct ProviderStatus {
    QString name; ///< the provider's id
    bool enabled = false;
    QString status;        ///< "idle", "ok", "error" or "disabled"
    QString error;         ///< the error text of the last pass, else empty
    QDateTime lastScanUtc; ///< when the last pass began; invalid before the first
};

/// The row as a JSON object with every key present.
QJsonObject providerStatusToJson(const ProviderStatus &status);

/// Runs passes: asks each discoverer in turn, feeds the registry and has it age its records. There
/// is no guard against a pass inside a pass: a discoverer's event loop may start one.
class DiscoveryManager : public QObject
{
    Q_OBJECT

public:
    /// The registry is not owned and may be null; a pass then does nothing.
    explicit DiscoveryManager(DeviceRegistry *registry, QObject *parent = nullptr);

    /// Takes ownership of the discoverer and appends it to the order of a pass. Null is ignored.
    void addDiscoverer(IDeviceDiscoverer *discoverer);

    /// Creates and adds the discoverers that the configuration selects. It only adds, so it is
    /// called once. Defined beside the discoverers, which this library does not know.
    void configureDiscoverers(const DiscoveryConfig &config);

    /// One blocking pass. Returns how many records the registry accepted.
    int runPass();

    /// One row for each discoverer, in the order of a pass.
    QList<ProviderStatus> providerStatuses() const;

    /// When the last pass began; invalid before the first.
    QDateTime lastScanUtc() const;

signals:
    void scanStarted();
    void scanFinished(int recordsAddedOrUpdated);

private:
    DeviceRegistry *m_registry;
    QList<IDeviceDiscoverer *> m_discoverers;
    QList<ProviderStatus> m_statuses;
    QDateTime m_lastScanUtc;
};

} // namespace Sondrix
