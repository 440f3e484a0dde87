#include "discoverers/roku_discoverer.h"

#include "discoverers/flat_xml.h"
#include "discoverers/http_fetch.h"
#include "discoverers/record_building.h"
#include "discoverers/ssdp_discoverer.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1200;         // of the search, and of each fetch
constexpr int maxDeviceInfoBytes = 128 * 1024; // far above any real answer
constexpr int defaultEcpPort = 8060;           // the External Control Protocol's own port

} // namespace

RokuDiscoverer::RokuDiscoverer(QObject *parent) : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs) {}

QString RokuDiscoverer::providerName() const
{
    return QStringLiteral("roku");
}

bool RokuDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> RokuDiscoverer::scan(QString *error)
{
    SsdpDiscoverer ssdp;
    ssdp.setTimeoutMs(m_timeoutMs);
    ssdp.setSearchTargets({QStringLiteral("roku:ecp")});
    QList<DeviceRecord> records;
    const QList<SsdpResponse> answers = ssdp.search(error);
    for (const SsdpResponse &answer : answers) {
        const QUrl location(ssdpHeader(answer, QStringLiteral("location")), QUrl::TolerantMode);
        if (!location.isValid()) {
            continue;
        }
        // A player that does not answer over HTTP is reported by its SSDP answer.
        const QByteArray xml = fetchDeviceInfo(location, nullptr);
        DeviceRecord record = recordFromRoku(parseRokuDeviceInfo(xml), location, answer);
        if (!hasStableKey(record)) {
            record = recordFromSsdpResponse(answer);
        }
        if (hasStableKey(record)) {
            records.append(record);
        }
    }
    return records;
}

QByteArray RokuDiscoverer::fetchDeviceInfo(const QUrl &location, QString *error)
{
    QUrl url = location;
    url.setPath(QStringLiteral("/query/device-info"));
    const HttpFetchLimits limits{m_timeoutMs, maxDeviceInfoBytes,
                                 QStringLiteral("timed out fetching Roku device info"), QString()};
    return fetchHttp(url, limits, error);
}

RokuDeviceInfo parseRokuDeviceInfo(const QByteArray &xml)
{
    RokuDeviceInfo info;
    const QMap<QString, QString *> fields{
        {QStringLiteral("friendly-device-name"), &info.friendlyDeviceName},
        {QStringLiteral("user-device-name"), &info.friendlyDeviceName},
        {QStringLiteral("model-name"), &info.modelName},
        {QStringLiteral("serial-number"), &info.serialNumber},
        {QStringLiteral("device-id"), &info.deviceId},
        {QStringLiteral("software-version"), &info.softwareVersion},
    };
    const bool isWellFormed = readElementTexts(
        xml, fields.keys(), [&](const QString &name, const QString &text) { *fields.value(name) = text; });
    return isWellFormed ? info : RokuDeviceInfo();
}

DeviceRecord recordFromRoku(const RokuDeviceInfo &info, const QUrl &location, const SsdpResponse &answer)
{
    DeviceRecord record;
    if (info.friendlyDeviceName.isEmpty() && info.deviceId.isEmpty() && info.serialNumber.isEmpty() &&
        !isValidSsdpResponse(answer)) {
        return record;
    }
    const QString usn = ssdpHeader(answer, QStringLiteral("usn"));
    const QString host = urlHost(location);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    record.id = isBlank(info.deviceId) ? usn : info.deviceId;
    if (record.id.isEmpty()) {
        record.id = location.toString();
    }
    record.displayName = isBlank(info.friendlyDeviceName) ? host : info.friendlyDeviceName;
    record.vendor = QStringLiteral("Roku");
    record.model = info.modelName;
    record.serial = info.serialNumber;
    record.firmware = info.softwareVersion;
    setHost(&record, host);
    record.provider = QStringLiteral("roku");
    record.protocol = QStringLiteral("roku");
    record.direction = Direction::output;
    record.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::control;
    setTimes(&record, now);
    record.ttlSeconds = maxAgeSeconds(ssdpHeader(answer, QStringLiteral("cache-control")));
    record.protocolData = QJsonObject{
        {QStringLiteral("roku.deviceId"), info.deviceId},
        {QStringLiteral("roku.location"), location.toString()},
        {QStringLiteral("ssdp.usn"), usn},
    };

    EndpointRecord control;
    control.id = record.id + QStringLiteral(":ecp");
    control.label = QStringLiteral("Roku ECP");
    control.protocol = QStringLiteral("roku");
    control.url = location.toString();
    control.direction = Direction::output;
    control.mediaKinds = record.mediaKinds;
    control.lastSeen = now;
    record.endpoints.append(control);

    EndpointRecord cast = control;
    cast.id = record.id + QStringLiteral(":cast");
    cast.label = QStringLiteral("Roku Cast");
    cast.protocol = QStringLiteral("cast");
    cast.url =
        QStringLiteral("cast://%1:%2?type=roku").arg(host, QString::number(location.port(defaultEcpPort)));
    record.endpoints.append(cast);
    return record;
}

} // namespace Sondrix
