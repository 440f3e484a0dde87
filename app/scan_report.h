#pragma once

#include <QJsonObject>

namespace Sondrix
{

class DeviceRegistry;
class DiscoveryManager;

/// The report of the one-shot command: the devices in ascending order of their stable keys, counts
/// by direction and status, and one row for each provider. A device that is both input and output
/// counts as both. With a null manager there are no provider rows and no time of the last scan.
QJsonObject buildScanReport(const DeviceRegistry &registry, const DiscoveryManager *manager);

} // namespace Sondrix
