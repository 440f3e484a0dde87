#include "discoverers/ember_discoverer.h"

#include "discoverers/record_building.h"

namespace Sondrix
{

namespace
{

constexpr int defaultEmberPort = 9000; // where Ember+ providers listen by custom

} // namespace

EmberDiscoverer::EmberDiscoverer(QObject *parent) : IDeviceDiscoverer(parent) {}

QString EmberDiscoverer::providerName() const
{
    return QStringLiteral("ember");
}

bool EmberDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> EmberDiscoverer::scan(QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    QList<DeviceRecord> records;
    for (const QString &seed : qAsConst(m_seeds)) {
        const DeviceRecord record = recordFromEmberSeed(seed);
        if (hasStableKey(record)) {
            records.append(record);
        }
    }
    return records;
}

void EmberDiscoverer::setSeeds(const QStringList &seeds)
{
    m_seeds = seeds;
}

QUrl normalizeEmberSeed(const QString &text)
{
    QUrl url(text, QUrl::TolerantMode);
    if (!url.isValid() || url.scheme().isEmpty()) {
        url = QUrl(QStringLiteral("ember://") + text, QUrl::TolerantMode);
    }
    if (url.port(-1) <= 0) {
        url.setPort(defaultEmberPort);
    }
    return url;
}

DeviceRecord recordFromEmberSeed(const QString &seed)
{
    const QUrl url = normalizeEmberSeed(seed.trimmed());
    const QString host = url.host();
    const QDateTime now = QDateTime::currentDateTimeUtc();

    DeviceRecord record;
    record.id = url.toString();
    record.displayName = host.isEmpty() ? seed : host;
    setHost(&record, host);
    record.provider = QStringLiteral("ember");
    record.protocol = QStringLiteral("ember");
    record.direction = Direction::controlOnly;
    record.mediaKinds = MediaKind::control;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("ember.seed"), seed},
        {QStringLiteral("ember.activeProbe"), false},
    };

    EndpointRecord endpoint;
    endpoint.id = record.id + QStringLiteral(":control");
    endpoint.label = QStringLiteral("Ember+ Control");
    endpoint.protocol = QStringLiteral("ember");
    endpoint.url = url.toString();
    endpoint.direction = Direction::controlOnly;
    endpoint.mediaKinds = MediaKind::control;
    endpoint.transport = QStringLiteral("TCP");
    endpoint.lastSeen = now;
    record.endpoints.append(endpoint);
    return record;
}

} // namespace Sondrix
