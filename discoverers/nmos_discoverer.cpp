#include "discoverers/nmos_discoverer.h"

#include <QHash>

#include "discoverers/http_fetch.h"
#include "discoverers/record_building.h"

namespace Sondrix
{

namespace
{

constexpr int defaultTimeoutMs = 1500;           // of each resource; a node has six
constexpr int defaultMaxJsonBytes = 1024 * 1024; // room for some thousand resources in a list

QString stringAt(const QJsonObject &object, const char *key)
{
    return object.value(QLatin1String(key)).toString();
}

/// What findById() finds for each id. A list may hold thousands of resources, and to walk it for each
/// of thousands of senders takes minutes.
QHash<QString, QJsonObject> firstById(const QJsonArray &array)
{
    QHash<QString, QJsonObject> resources;
    for (const QJsonValue &value : array) {
        const QJsonObject object = value.toObject();
        const QString id = stringAt(object, "id");
        if (!resources.contains(id)) {
            resources.insert(id, object);
        }
    }
    return resources;
}

} // namespace

NmosDiscoverer::NmosDiscoverer(QObject *parent)
    : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs), m_maxJsonBytes(defaultMaxJsonBytes)
{
}

QString NmosDiscoverer::providerName() const
{
    return QStringLiteral("nmos");
}

bool NmosDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> NmosDiscoverer::scan(QString *error)
{
    QString firstFailure;
    QList<DeviceRecord> records;
    const QStringList seeds = m_registries; // a fetch delivers events, which may replace the list
    for (const QString &seed : seeds) {
        NmosNodeSnapshot snapshot;
        QString failure;
        if (!walkNode(QUrl::fromUserInput(seed), &snapshot, &failure)) {
            if (firstFailure.isEmpty()) {
                firstFailure = failure;
            }
            continue;
        }
        const DeviceRecord record = recordFromNmosNode(snapshot);
        if (hasStableKey(record)) {
            records.append(record);
        }
    }
    if (error != nullptr) {
        *error = firstFailure;
    }
    return records;
}

void NmosDiscoverer::setRegistries(const QStringList &seeds)
{
    m_registries = seeds;
}

QJsonDocument NmosDiscoverer::fetchJson(const QUrl &url, QString *error)
{
    const HttpFetchLimits limits{m_timeoutMs, m_maxJsonBytes,
                                 QStringLiteral("timed out fetching NMOS resource"),
                                 QStringLiteral("NMOS JSON exceeded size limit")};
    return QJsonDocument::fromJson(fetchHttp(url, limits, error));
}

bool NmosDiscoverer::walkNode(const QUrl &base, NmosNodeSnapshot *snapshot, QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    if (snapshot == nullptr) {
        return false;
    }
    snapshot->baseUrl = base;
    snapshot->version = nodeApiVersion(base);
    const QJsonDocument self = fetchJson(nodeResourceUrl(base, QStringLiteral("self")), error);
    if (!self.isObject()) {
        return false;
    }
    snapshot->self = self.object();
    const auto fetchList = [&](const QString &path) {
        return fetchJson(nodeResourceUrl(base, path), nullptr).array();
    };
    snapshot->devices = fetchList(QStringLiteral("devices/"));
    snapshot->sources = fetchList(QStringLiteral("sources/"));
    snapshot->flows = fetchList(QStringLiteral("flows/"));
    snapshot->senders = fetchList(QStringLiteral("senders/"));
    snapshot->receivers = fetchList(QStringLiteral("receivers/"));
    return true;
}

QString nodeApiVersion(const QUrl &url)
{
    const QStringList segments = url.path(QUrl::FullyDecoded).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    for (const QString &segment : segments) {
        if (segment.startsWith(QLatin1Char('v'))) {
            return segment;
        }
    }
    return QStringLiteral("v1.3");
}

QString trimmedBaseUrl(const QUrl &url)
{
    QString text = url.toString();
    while (text.endsWith(QLatin1Char('/'))) {
        text.chop(1);
    }
    return text;
}

QUrl nodeResourceUrl(const QUrl &base, const QString &path)
{
    return QUrl(trimmedBaseUrl(base) + QLatin1Char('/') + path, QUrl::TolerantMode);
}

QJsonObject findById(const QJsonArray &array, const QString &id)
{
    for (const QJsonValue &value : array) {
        const QJsonObject object = value.toObject();
        if (stringAt(object, "id") == id) {
            return object;
        }
    }
    return QJsonObject();
}

MediaKinds mediaKindsFromFormat(const QString &format)
{
    if (format.contains(QLatin1String("video"), Qt::CaseInsensitive)) {
        return MediaKind::video | MediaKind::control;
    }
    if (format.contains(QLatin1String("audio"), Qt::CaseInsensitive)) {
        return MediaKind::audio | MediaKind::control;
    }
    if (format.contains(QLatin1String("data"), Qt::CaseInsensitive)) {
        return MediaKind::metadata | MediaKind::control;
    }
    return MediaKind::control;
}

QVariantMap endpointMetadata(const QJsonObject &resource, const QJsonObject &flow, const QJsonObject &source)
{
    QVariantMap metadata{{QStringLiteral("resource"), resource.toVariantMap()}};
    if (!flow.isEmpty()) {
        metadata.insert(QStringLiteral("flow"), flow.toVariantMap());
    }
    if (!source.isEmpty()) {
        metadata.insert(QStringLiteral("source"), source.toVariantMap());
    }
    return metadata;
}

DeviceRecord recordFromNmosNode(const NmosNodeSnapshot &snapshot)
{
    const QString host = urlHost(snapshot.baseUrl);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    DeviceRecord record;
    record.id = stringAt(snapshot.self, "id");
    if (record.id.isEmpty()) {
        record.id = snapshot.baseUrl.toString();
    }
    record.displayName = stringAt(snapshot.self, "label");
    if (record.displayName.isEmpty()) {
        record.displayName = stringAt(snapshot.self, "description");
    }
    if (record.displayName.isEmpty()) {
        record.displayName = host;
    }
    record.hostname = stringAt(snapshot.self, "hostname");
    if (record.hostname.isEmpty()) {
        record.hostname = host;
    }
    if (!host.isEmpty()) {
        record.addresses.append(host);
    }
    record.provider = QStringLiteral("nmos");
    record.protocol = QStringLiteral("nmos");
    record.mediaKinds = MediaKind::control;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("nmos.version"), snapshot.version},
        {QStringLiteral("nmos.nodeApiUrl"), snapshot.baseUrl.toString()},
        {QStringLiteral("nmos.node"), snapshot.self},
        {QStringLiteral("nmos.devices"), snapshot.devices},
        {QStringLiteral("nmos.sources"), snapshot.sources},
        {QStringLiteral("nmos.flows"), snapshot.flows},
        {QStringLiteral("nmos.senders"), snapshot.senders},
        {QStringLiteral("nmos.receivers"), snapshot.receivers},
    };

    const auto addEndpoint = [&](const QJsonObject &resource, const QString &url, Direction direction,
                                 MediaKinds kinds, const QVariantMap &metadata) {
        EndpointRecord endpoint;
        endpoint.id = stringAt(resource, "id");
        endpoint.label = stringAt(resource, "label");
        endpoint.protocol = QStringLiteral("nmos");
        endpoint.url = url;
        endpoint.direction = direction;
        endpoint.mediaKinds = kinds;
        endpoint.transport = stringAt(resource, "transport");
        endpoint.metadata = metadata;
        endpoint.lastSeen = now;
        record.endpoints.append(endpoint);
        record.direction = mergeDirection(record.direction, direction);
        record.mediaKinds |= kinds;
    };
    const QHash<QString, QJsonObject> flows = firstById(snapshot.flows);
    const QHash<QString, QJsonObject> sources = firstById(snapshot.sources);
    for (const QJsonValue &value : snapshot.senders) {
        const QJsonObject sender = value.toObject();
        const QString id = stringAt(sender, "id");
        if (id.isEmpty()) {
            continue;
        }
        const QJsonObject flow = flows.value(stringAt(sender, "flow_id"));
        const QJsonObject source = sources.value(stringAt(flow, "source_id"));
        QVariantMap metadata = endpointMetadata(sender, flow, source);
        const QString sdp = snapshot.senderSdp.value(id);
        if (!sdp.isEmpty()) {
            metadata.insert(QStringLiteral("sdp"), sdp);
        }
        addEndpoint(sender, QStringLiteral("nmos://sender/") + id, Direction::input,
                    mediaKindsFromFormat(stringAt(flow, "format")), metadata);
    }
    for (const QJsonValue &value : snapshot.receivers) {
        const QJsonObject receiver = value.toObject();
        const QString id = stringAt(receiver, "id");
        if (id.isEmpty()) {
            continue;
        }
        addEndpoint(receiver, QStringLiteral("nmos://receiver/") + id, Direction::output,
                    mediaKindsFromFormat(stringAt(receiver, "format")),
                    endpointMetadata(receiver, QJsonObject(), QJsonObject()));
    }
    if (record.direction == Direction::unknown) {
        record.direction = Direction::controlOnly;
    }
    return record;
}

} // namespace Sondrix
