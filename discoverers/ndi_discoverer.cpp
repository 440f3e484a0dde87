#include "discoverers/ndi_discoverer.h"

#include <QLibrary>
#include <QSet>
#include <QUrl>

#include "discoverers/ndi_runtime.h"
#include "discoverers/record_building.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1500;
constexpr int sourceTtlSeconds = 60; // a source that a minute of passes has not seen is gone

} // namespace

NdiDiscoverer::NdiDiscoverer(QObject *parent) : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs) {}

QString NdiDiscoverer::providerName() const
{
    return QStringLiteral("ndi");
}

bool NdiDiscoverer::isAvailable() const
{
    return m_available;
}

QList<DeviceRecord> NdiDiscoverer::scan(QString *error)
{
    QList<DeviceRecord> records;
    const auto fail = [&](const QString &text) {
        if (error != nullptr) {
            *error = text;
        }
        return records;
    };
    fail(QString());
    if (!m_available) {
        return records;
    }
    QLibrary library;
    NdiApi api;
    if (!loadNdiRuntime(&library, &api, error)) {
        return records;
    }
    if (api.NDIlib_is_supported_CPU != nullptr && !api.NDIlib_is_supported_CPU()) {
        return fail(QStringLiteral("NDI runtime does not support this CPU"));
    }
    if (!api.NDIlib_initialize()) {
        return fail(QStringLiteral("NDI runtime initialization failed"));
    }
    const QByteArray servers = m_discoveryServers.join(QLatin1Char(',')).toUtf8();
    const NDIlib_find_create_t settings{true, nullptr, servers.isEmpty() ? nullptr : servers.constData()};
    const NdiApi::Finder finder = api.NDIlib_find_create_v2(&settings);
    if (finder == nullptr) {
        return fail(QStringLiteral("NDI source finder could not be created"));
    }
    api.NDIlib_find_wait_for_sources(finder, std::uint32_t(m_timeoutMs));
    std::uint32_t count = 0;
    const NDIlib_source_t *sources = api.NDIlib_find_get_current_sources(finder, &count);
    QSet<QString> seen;
    for (std::uint32_t i = 0; sources != nullptr && i < count; ++i) {
        const NdiSource source{QString::fromUtf8(sources[i].p_ndi_name),
                               QString::fromUtf8(sources[i].p_url_address)};
        appendUnseen(recordFromNdiSource(source), &records, &seen);
    }
    api.NDIlib_find_destroy(finder);
    return records;
}

void NdiDiscoverer::setAvailable(bool available)
{
    m_available = available;
}

void NdiDiscoverer::setDiscoveryServers(const QStringList &servers)
{
    m_discoveryServers = servers;
}

QString ndiSourceHost(const NdiSource &source)
{
    QString address = source.urlAddress.trimmed();
    if (address.isEmpty()) {
        return QString();
    }
    const QUrl url = QUrl::fromUserInput(address);
    if (url.isValid() && !url.host().isEmpty()) {
        return url.host();
    }
    const int slash = address.indexOf(QLatin1Char('/'));
    if (slash > 0) {
        address.truncate(slash);
    }
    if (!address.startsWith(QLatin1Char('[')) && address.count(QLatin1Char(':')) == 1) {
        address.truncate(address.indexOf(QLatin1Char(':')));
    }
    return address;
}

QString ndiSourceId(const NdiSource &source)
{
    return QStringLiteral("ndi:") + normalizedText(source.name.isEmpty() ? source.urlAddress : source.name);
}

QString ndiSourceUrl(const QString &text)
{
    return QStringLiteral("ndi://") + QString::fromLatin1(QUrl::toPercentEncoding(text.trimmed()));
}

DeviceRecord recordFromNdiSource(const NdiSource &source)
{
    DeviceRecord record;
    if (isBlank(source.name) && isBlank(source.urlAddress)) {
        return record;
    }
    const QString host = ndiSourceHost(source);
    const QString display = isBlank(source.name) ? source.urlAddress.trimmed() : source.name.trimmed();
    const QDateTime now = QDateTime::currentDateTimeUtc();

    record.id = ndiSourceId(source);
    record.displayName = display;
    setHost(&record, host);
    record.provider = QStringLiteral("ndi");
    record.protocol = QStringLiteral("ndi");
    record.direction = Direction::input;
    record.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata;
    record.ttlSeconds = sourceTtlSeconds;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("ndi.name"), source.name},
        {QStringLiteral("ndi.urlAddress"), source.urlAddress},
    };

    EndpointRecord endpoint;
    endpoint.id = record.id + QStringLiteral(":source");
    endpoint.label = display;
    endpoint.protocol = QStringLiteral("ndi");
    endpoint.url = ndiSourceUrl(display);
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = record.mediaKinds;
    endpoint.transport = QStringLiteral("NDI");
    endpoint.metadata = QVariantMap{
        {QStringLiteral("sourceName"), source.name},
        {QStringLiteral("urlAddress"), source.urlAddress},
    };
    if (!host.isEmpty()) {
        endpoint.metadata.insert(QStringLiteral("address"), host);
    }
    endpoint.lastSeen = now;
    record.endpoints.append(endpoint);
    return record;
}

} // namespace Sondrix
