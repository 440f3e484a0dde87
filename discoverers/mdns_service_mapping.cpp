#include "discoverers/mdns_service_mapping.h"

#include <algorithm>

#include "discoverers/record_building.h"

namespace Sondrix
{

namespace
{

constexpr quint16 defaultCastPort = 8009; // the port that Cast receivers listen on

/// The text of the first address learnt, else the host name.
QString hostText(const MdnsServiceEntry &entry)
{
    const auto known = std::find_if(entry.addresses.cbegin(), entry.addresses.cend(),
                                    [](const QHostAddress &address) { return !address.isNull(); });
    const QString text = known == entry.addresses.cend() ? QString() : known->toString();
    return text.isEmpty() ? entry.hostname : text;
}

QString serviceUrl(const QString &protocol, const QString &host, quint16 port)
{
    if (protocol == QLatin1String("cast")) {
        return QStringLiteral("cast://%1:%2?type=cast")
            .arg(host, QString::number(port == 0 ? defaultCastPort : port));
    }
    const bool endsInSlash = protocol == QLatin1String("rtsp") || protocol == QLatin1String("http") ||
                             protocol == QLatin1String("https");
    return protocol + QStringLiteral("://") + host + QLatin1Char(':') + QString::number(port) +
           (endsInSlash ? QStringLiteral("/") : QString());
}

} // namespace

QString txtValue(const MdnsServiceEntry &entry, const QString &key)
{
    for (auto it = entry.attributes.cbegin(); it != entry.attributes.cend(); ++it) {
        if (it.key().compare(key, Qt::CaseInsensitive) == 0) {
            return it.value();
        }
    }
    return QString();
}

QString serviceDeviceId(const MdnsServiceEntry &entry)
{
    QString id = txtValue(entry, QStringLiteral("id"));
    if (id.isEmpty()) {
        id = txtValue(entry, QStringLiteral("uuid"));
    }
    return id.isEmpty() ? QString(entry.name + QLatin1Char('@') + entry.hostname) : id;
}

DeviceRecord recordFromService(const MdnsServiceEntry &entry, const QList<MdnsServiceType> &catalogue)
{
    const MdnsServiceType row = findServiceType(catalogue, entry.type);
    const QString host = hostText(entry);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    DeviceRecord record;
    record.id = serviceDeviceId(entry);
    record.displayName = txtValue(entry, QStringLiteral("fn"));
    if (record.displayName.isEmpty()) {
        record.displayName = txtValue(entry, QStringLiteral("name"));
    }
    if (record.displayName.isEmpty()) {
        record.displayName = entry.name;
    }
    record.model = txtValue(entry, QStringLiteral("md"));
    record.hostname = entry.hostname;
    if (!host.isEmpty()) {
        record.addresses.append(host);
    }
    record.provider = QStringLiteral("mdns");
    record.protocol = row.protocol;
    record.direction = row.direction;
    record.mediaKinds = row.mediaKinds;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("mdns.serviceType"), entry.type},
        {QStringLiteral("mdns.serviceName"), entry.name},
        {QStringLiteral("mdns.hostname"), entry.hostname},
        {QStringLiteral("mdns.port"), entry.port},
    };
    for (auto it = entry.attributes.cbegin(); it != entry.attributes.cend(); ++it) {
        record.protocolData.insert(QStringLiteral("txt.") + it.key(), it.value());
    }

    EndpointRecord endpoint;
    endpoint.id = record.id + QLatin1Char(':') + row.protocol;
    endpoint.label = record.displayName;
    endpoint.protocol = row.protocol;
    endpoint.url = serviceUrl(row.protocol, host, entry.port);
    endpoint.direction = row.direction;
    endpoint.mediaKinds = row.mediaKinds;
    endpoint.lastSeen = now;
    record.endpoints.append(endpoint);
    return record;
}

} // namespace Sondrix
