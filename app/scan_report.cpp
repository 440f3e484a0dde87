#include "app/scan_report.h"

#include <QJsonArray>
#include <QJsonDocument>

#include "core/application_identity.h"
#include "core/device_registry.h"
#include "core/discovery_manager.h"

namespace Sondrix
{

QJsonObject buildScanReport(const DeviceRegistry &registry, const DiscoveryManager *manager)
{
    const QList<DeviceRecord> records = registry.records();
    int inputs = 0;
    int outputs = 0;
    int controlOnly = 0;
    int online = 0;
    QJsonArray devices;
    for (const DeviceRecord &record : records) {
        const bool isBoth = record.direction == Direction::inputOutput;
        inputs += isBoth || record.direction == Direction::input ? 1 : 0;
        outputs += isBoth || record.direction == Direction::output ? 1 : 0;
        controlOnly += record.direction == Direction::controlOnly ? 1 : 0;
        online += record.online ? 1 : 0;
        devices.append(deviceToJson(record));
    }

    QJsonArray providers;
    QJsonObject report;
    if (manager != nullptr) {
        const QList<ProviderStatus> statuses = manager->providerStatuses();
        for (const ProviderStatus &status : statuses) {
            providers.append(providerStatusToJson(status));
        }
        report.insert(QStringLiteral("lastScanUtc"), timestampToJson(manager->lastScanUtc()));
    }
    report.insert(QStringLiteral("application"), applicationName());
    report.insert(QStringLiteral("version"), applicationVersion());
    report.insert(QStringLiteral("deviceCount"), records.size());
    report.insert(QStringLiteral("inputCount"), inputs);
    report.insert(QStringLiteral("outputCount"), outputs);
    report.insert(QStringLiteral("controlOnlyCount"), controlOnly);
    report.insert(QStringLiteral("onlineCount"), online);
    report.insert(QStringLiteral("offlineCount"), records.size() - online);
    report.insert(QStringLiteral("providers"), providers);
    report.insert(QStringLiteral("devices"), devices);
    report.insert(QStringLiteral("streamlark"), QJsonObject{{QStringLiteral("enabled"), false}});
    return report;
}

QString scanReportText(const QJsonObject &report)
{
    constexpr ushort firstControl = 0x7f; // DEL; what stands below 0x20 is escaped already
    constexpr ushort lastControl = 0x9f;
    const QString json = QString::fromUtf8(QJsonDocument(report).toJson(QJsonDocument::Compact));
    QString text;
    text.reserve(json.size());
    for (const QChar c : json) {
        if (c.unicode() >= firstControl && c.unicode() <= lastControl) {
            text += QStringLiteral("\\u00") + QString::number(c.unicode(), 16);
        } else {
            text += c;
        }
    }
    return text;
}

} // namespace Sondrix
