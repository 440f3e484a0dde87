#include "discoverers/upnp_dlna_discoverer.h"

#include "discoverers/flat_xml.h"
#include "discoverers/http_fetch.h"
#include "discoverers/record_building.h"
#include "discoverers/ssdp_discoverer.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1200;                 // of the search, and of each fetch
constexpr int defaultMaxDescriptionBytes = 512 * 1024; // far above any real description

} // namespace

UpnpDlnaDiscoverer::UpnpDlnaDiscoverer(QObject *parent)
    : IDeviceDiscoverer(parent)
    , m_timeoutMs(defaultTimeoutMs)
    , m_maxDescriptionBytes(defaultMaxDescriptionBytes)
{
}

QString UpnpDlnaDiscoverer::providerName() const
{
    return QStringLiteral("upnp-dlna");
}

bool UpnpDlnaDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> UpnpDlnaDiscoverer::scan(QString *error)
{
    SsdpDiscoverer ssdp;
    ssdp.setTimeoutMs(m_timeoutMs);
    ssdp.setSearchTargets({QStringLiteral("urn:schemas-upnp-org:device:MediaRenderer:1"),
                           QStringLiteral("urn:schemas-upnp-org:device:MediaServer:1")});
    QList<DeviceRecord> records;
    const QList<SsdpResponse> answers = ssdp.search(error);
    for (const SsdpResponse &answer : answers) {
        const QUrl location(ssdpHeader(answer, QStringLiteral("location")), QUrl::TolerantMode);
        if (!location.isValid()) {
            continue;
        }
        QString fetchError;
        const QByteArray xml = fetchDescription(location, &fetchError);
        if (!fetchError.isEmpty()) {
            continue;
        }
        const DeviceRecord record = recordFromUpnpDescription(parseUpnpDescription(xml), location);
        if (hasStableKey(record)) {
            records.append(record);
        }
    }
    return records;
}

QByteArray UpnpDlnaDiscoverer::fetchDescription(const QUrl &url, QString *error)
{
    const HttpFetchLimits limits{m_timeoutMs, m_maxDescriptionBytes,
                                 QStringLiteral("timed out fetching UPnP description"),
                                 QStringLiteral("UPnP description exceeded size limit")};
    return fetchHttp(url, limits, error);
}

UpnpDescription parseUpnpDescription(const QByteArray &xml)
{
    UpnpDescription description;
    const QMap<QString, QString *> scalars{
        {QStringLiteral("deviceType"), &description.deviceType},
        {QStringLiteral("friendlyName"), &description.friendlyName},
        {QStringLiteral("manufacturer"), &description.manufacturer},
        {QStringLiteral("modelName"), &description.modelName},
        {QStringLiteral("serialNumber"), &description.serialNumber},
        {QStringLiteral("UDN"), &description.udn},
        {QStringLiteral("presentationURL"), &description.presentationUrl},
    };
    const QMap<QString, QStringList *> lists{
        {QStringLiteral("serviceType"), &description.serviceTypes},
        {QStringLiteral("controlURL"), &description.controlUrls},
    };
    QStringList names = scalars.keys();
    names += lists.keys();
    const bool isWellFormed = readElementTexts(xml, names, [&](const QString &name, const QString &text) {
        if (QString *scalar = scalars.value(name)) {
            *scalar = text;
        } else if (!text.isEmpty()) {
            lists.value(name)->append(text);
        }
    });
    return isWellFormed ? description : UpnpDescription();
}

QString resolveUpnpUrl(const QUrl &base, const QString &value)
{
    const QUrl url(value, QUrl::TolerantMode);
    return url.isValid() && !url.isRelative() ? url.toString() : base.resolved(url).toString();
}

DeviceRecord recordFromUpnpDescription(const UpnpDescription &description, const QUrl &location)
{
    DeviceRecord record;
    if (description.deviceType.isEmpty() && description.friendlyName.isEmpty() && description.udn.isEmpty()) {
        return record;
    }
    const QString host = urlHost(location);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    record.id = isBlank(description.udn) ? location.toString() : description.udn;
    record.displayName = isBlank(description.friendlyName) ? host : description.friendlyName;
    record.vendor = description.manufacturer;
    record.model = description.modelName;
    record.serial = description.serialNumber;
    setHost(&record, host);
    record.provider = QStringLiteral("upnp");
    record.protocol = QStringLiteral("upnp");
    record.direction = directionFromUpnpType(description.deviceType);
    record.mediaKinds = MediaKind::control;
    if (record.direction != Direction::controlOnly) {
        record.mediaKinds |= MediaKind::audio | MediaKind::video;
    }
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("upnp.deviceType"), description.deviceType},
        {QStringLiteral("upnp.location"), location.toString()},
        {QStringLiteral("upnp.udn"), description.udn},
    };

    const auto addEndpoint = [&](const QString &suffix, const QString &label, const QString &protocol,
                                 const QString &url) -> EndpointRecord & {
        EndpointRecord endpoint;
        endpoint.id = record.id + suffix;
        endpoint.label = label;
        endpoint.protocol = protocol;
        endpoint.url = url;
        endpoint.direction = Direction::controlOnly;
        endpoint.mediaKinds = MediaKind::control;
        endpoint.lastSeen = now;
        record.endpoints.append(endpoint);
        return record.endpoints.last();
    };
    EndpointRecord &descriptionEndpoint =
        addEndpoint(QStringLiteral(":description"), QStringLiteral("UPnP Description"),
                    QStringLiteral("upnp"), location.toString());
    descriptionEndpoint.direction = record.direction;
    descriptionEndpoint.mediaKinds = record.mediaKinds;
    if (!description.presentationUrl.isEmpty()) {
        addEndpoint(QStringLiteral(":web"), QStringLiteral("Web UI"), QStringLiteral("http"),
                    resolveUpnpUrl(location, description.presentationUrl));
    }
    for (int i = 0; i < description.controlUrls.size(); ++i) {
        addEndpoint(QStringLiteral(":control:") + QString::number(i),
                    description.serviceTypes.value(i, QStringLiteral("UPnP Control")), QStringLiteral("upnp"),
                    resolveUpnpUrl(location, description.controlUrls.at(i)));
    }
    return record;
}

} // namespace Sondrix
