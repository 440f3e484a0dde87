#pragma once

#include <QJsonObject>
#include <QString>

namespace Sondrix
{

class DeviceRegistry;
class DiscoveryManager;

/// The report of the one-shot command: the devices in ascending order of their stable keys, counts
/// by direction and status, and one row for each provider. A device that is both input and output
/// counts as both. With a null manager there are no provider rows and no time of the last scan.
QJsonObject buildScanReport(const DeviceRegistry &registry, const DiscoveryManager *manager);

/// The report on one line, as it is printed. DEL and the C1 controls, which QJsonDocument writes as
/// they are, stand there as \u escapes: a terminal would obey them.
QString scanReportText(const QJsonObject &report);

} // namespace Sondrix
