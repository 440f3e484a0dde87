#include "core/device_record.h"

#include <QJsonArray>
#include <QSet>

namespace Sondrix
{

namespace
{

/// Calls visit(url) with each endpoint URL that is not blank, trimmed, until visit returns true.
template<typename Visitor>
void visitEndpointUrls(const DeviceRecord &record, Visitor visit)
{
    for (const EndpointRecord &endpoint : record.endpoints) {
        const QString url = endpoint.url.trimmed();
        if (!url.isEmpty() && visit(url)) {
            return;
        }
    }
}

} // namespace

QString normalizedText(const QString &text)
{
    return text.trimmed().toLower();
}

bool isBlank(const QString &text)
{
    return QStringView(text).trimmed().isEmpty();
}

QString endpointStableKey(const EndpointRecord &endpoint)
{
    if (!isBlank(endpoint.id)) {
        return QStringLiteral("endpoint-id:") + normalizedText(endpoint.id);
    }
    if (!isBlank(endpoint.url)) {
        return QStringLiteral("endpoint-url:") + normalizedText(endpoint.url);
    }
    if (!isBlank(endpoint.protocol) && !isBlank(endpoint.label)) {
        return QStringLiteral("endpoint-label:") + normalizedText(endpoint.protocol) + QLatin1Char(':') +
               normalizedText(endpoint.label);
    }
    return QString();
}

QString deviceStableKey(const DeviceRecord &record)
{
    if (!isBlank(record.id)) {
        return QStringLiteral("device-id:") + normalizedText(record.id);
    }
    if (!isBlank(record.serial)) {
        return QStringLiteral("device-serial:") + normalizedText(record.vendor) + QLatin1Char(':') +
               normalizedText(record.serial);
    }
    if (!isBlank(record.hostname)) {
        return QStringLiteral("device-host:") + normalizedText(record.hostname);
    }
    if (!record.addresses.isEmpty()) {
        return QStringLiteral("device-address:") + normalizedText(record.addresses.first());
    }
    for (const EndpointRecord &endpoint : record.endpoints) {
        const QString key = endpointStableKey(endpoint);
        if (!key.isEmpty()) {
            return QStringLiteral("device-endpoint:") + key;
        }
    }
    return QString();
}

bool hasStableKey(const DeviceRecord &record)
{
    return !deviceStableKey(record).isEmpty();
}

Direction mergeDirection(Direction a, Direction b)
{
    if (a == Direction::unknown) {
        return b;
    }
    if (b == Direction::unknown || a == b) {
        return a;
    }
    if (a == Direction::inputOutput || b == Direction::inputOutput) {
        return Direction::inputOutput;
    }
    if (a == Direction::controlOnly) {
        return b;
    }
    if (b == Direction::controlOnly) {
        return a;
    }
    return Direction::inputOutput;
}

QString directionName(Direction direction)
{
    switch (direction) {
    case Direction::input:
        return QStringLiteral("input");
    case Direction::output:
        return QStringLiteral("output");
    case Direction::inputOutput:
        return QStringLiteral("inputOutput");
    case Direction::controlOnly:
        return QStringLiteral("controlOnly");
    case Direction::unknown:
        break;
    }
    return QStringLiteral("unknown");
}

QStringList mediaKindNames(MediaKinds kinds)
{
    QStringList names;
    if (kinds.testFlag(MediaKind::audio)) {
        names.append(QStringLiteral("audio"));
    }
    if (kinds.testFlag(MediaKind::video)) {
        names.append(QStringLiteral("video"));
    }
    if (kinds.testFlag(MediaKind::metadata)) {
        names.append(QStringLiteral("metadata"));
    }
    if (kinds.testFlag(MediaKind::control)) {
        names.append(QStringLiteral("control"));
    }
    return names;
}

QString timestampToJson(const QDateTime &time)
{
    return time.isValid() ? time.toUTC().toString(Qt::ISODateWithMs) : QString();
}

QJsonObject endpointToJson(const EndpointRecord &endpoint)
{
    return QJsonObject{
        {QStringLiteral("stableKey"), endpointStableKey(endpoint)},
        {QStringLiteral("id"), endpoint.id},
        {QStringLiteral("label"), endpoint.label},
        {QStringLiteral("protocol"), endpoint.protocol},
        {QStringLiteral("url"), endpoint.url},
        {QStringLiteral("direction"), directionName(endpoint.direction)},
        {QStringLiteral("mediaKinds"), QJsonArray::fromStringList(mediaKindNames(endpoint.mediaKinds))},
        {QStringLiteral("transport"), endpoint.transport},
        {QStringLiteral("metadata"), QJsonObject::fromVariantMap(endpoint.metadata)},
        {QStringLiteral("lastSeen"), timestampToJson(endpoint.lastSeen)},
    };
}

QJsonObject deviceToJson(const DeviceRecord &record)
{
    QJsonArray endpoints;
    for (const EndpointRecord &endpoint : record.endpoints) {
        endpoints.append(endpointToJson(endpoint));
    }
    return QJsonObject{
        {QStringLiteral("stableKey"), deviceStableKey(record)},
        {QStringLiteral("id"), record.id},
        {QStringLiteral("displayName"), record.displayName},
        {QStringLiteral("vendor"), record.vendor},
        {QStringLiteral("model"), record.model},
        {QStringLiteral("serial"), record.serial},
        {QStringLiteral("firmware"), record.firmware},
        {QStringLiteral("hostname"), record.hostname},
        {QStringLiteral("addresses"), QJsonArray::fromStringList(record.addresses)},
        {QStringLiteral("provider"), record.provider},
        {QStringLiteral("protocol"), record.protocol},
        {QStringLiteral("direction"), directionName(record.direction)},
        {QStringLiteral("mediaKinds"), QJsonArray::fromStringList(mediaKindNames(record.mediaKinds))},
        {QStringLiteral("endpoints"), endpoints},
        {QStringLiteral("protocolData"), record.protocolData},
        {QStringLiteral("requiresAuth"), record.requiresAuth},
        {QStringLiteral("online"), record.online},
        {QStringLiteral("ttlSeconds"), record.ttlSeconds},
        {QStringLiteral("firstSeen"), timestampToJson(record.firstSeen)},
        {QStringLiteral("lastSeen"), timestampToJson(record.lastSeen)},
        {QStringLiteral("lastChanged"), timestampToJson(record.lastChanged)},
    };
}

QStringList allEndpointUrls(const DeviceRecord &record)
{
    QStringList urls;
    QSet<QString> seen;
    visitEndpointUrls(record, [&](const QString &url) {
        const QString lowered = url.toLower();
        if (!seen.contains(lowered)) {
            seen.insert(lowered);
            urls.append(url);
        }
        return false;
    });
    return urls;
}

QString primaryEndpointUrl(const DeviceRecord &record)
{
    QString primary;
    visitEndpointUrls(record, [&](const QString &url) {
        primary = url;
        return true;
    });
    return primary;
}

QString webUiUrl(const DeviceRecord &record)
{
    QString web;
    visitEndpointUrls(record, [&](const QString &url) {
        if (!url.startsWith(QLatin1String("http://"), Qt::CaseInsensitive) &&
            !url.startsWith(QLatin1String("https://"), Qt::CaseInsensitive)) {
            return false;
        }
        web = url;
        return true;
    });
    return web;
}

} // namespace Sondrix
