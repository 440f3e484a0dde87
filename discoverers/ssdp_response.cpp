#include "discoverers/ssdp_response.h"

#include <QUrl>

#include "discoverers/record_building.h"
#include "discoverers/text.h"

namespace Sondrix
{

namespace
{

QString protocolFromSearchTarget(const QString &searchTarget)
{
    const QString lowered = searchTarget.toLower();
    if (lowered.contains(QLatin1String("roku:ecp"))) {
        return QStringLiteral("roku");
    }
    if (lowered.contains(QLatin1String("dial"))) {
        return QStringLiteral("dial");
    }
    return QStringLiteral("upnp");
}

} // namespace

SsdpResponse parseSsdpResponse(const QByteArray &datagram)
{
    SsdpResponse response;
    QByteArray text = datagram;
    text.replace('\r', QByteArray());
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &bytes : lines) {
        const QString line = textFromUtf8(bytes).trimmed();
        if (line.isEmpty()) {
            continue;
        }
        if (response.statusLine.isEmpty()) {
            response.statusLine = line;
            continue;
        }
        const int colon = line.indexOf(QLatin1Char(':'));
        if (colon > 0) {
            response.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        }
    }
    return response;
}

QString ssdpHeader(const SsdpResponse &response, const QString &name)
{
    return response.headers.value(normalizedText(name));
}

bool isValidSsdpResponse(const SsdpResponse &response)
{
    return !response.statusLine.isEmpty() && (!ssdpHeader(response, QStringLiteral("location")).isEmpty() ||
                                              !ssdpHeader(response, QStringLiteral("usn")).isEmpty() ||
                                              !ssdpHeader(response, QStringLiteral("st")).isEmpty());
}

Direction directionFromUpnpType(const QString &text)
{
    const QString lowered = text.toLower();
    if (lowered.contains(QLatin1String("mediaserver"))) {
        return Direction::input;
    }
    if (lowered.contains(QLatin1String("mediarenderer")) || lowered.contains(QLatin1String("roku:ecp")) ||
        lowered.contains(QLatin1String("dial"))) {
        return Direction::output;
    }
    return Direction::controlOnly;
}

int maxAgeSeconds(const QString &cacheControl)
{
    QString directives = cacheControl;
    directives.replace(QLatin1Char(','), QLatin1Char(';'));
    const QStringList parts = directives.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &part : parts) {
        const QString directive = part.trimmed();
        const int equals = directive.indexOf(QLatin1Char('='));
        if (equals <= 0 ||
            directive.left(equals).trimmed().compare(QLatin1String("max-age"), Qt::CaseInsensitive) != 0) {
            continue;
        }
        bool isNumber = false;
        const int seconds = directive.mid(equals + 1).trimmed().toInt(&isNumber);
        if (isNumber && seconds > 0) {
            return seconds;
        }
    }
    return 0;
}

DeviceRecord recordFromSsdpResponse(const SsdpResponse &response)
{
    DeviceRecord record;
    if (!isValidSsdpResponse(response)) {
        return record;
    }
    const QString searchTarget = ssdpHeader(response, QStringLiteral("st"));
    const QString usn = ssdpHeader(response, QStringLiteral("usn"));
    const QString location = ssdpHeader(response, QStringLiteral("location"));
    const QUrl url(location, QUrl::TolerantMode);
    const QString host = urlHost(url);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    record.id = usn.isEmpty() ? location : usn;
    record.displayName = isBlank(host) ? searchTarget : host;
    record.provider = QStringLiteral("ssdp");
    record.protocol = protocolFromSearchTarget(searchTarget);
    record.direction = directionFromUpnpType(searchTarget + QLatin1Char(' ') + usn);
    record.mediaKinds = MediaKind::control;
    if (record.direction != Direction::controlOnly) {
        record.mediaKinds |= MediaKind::audio | MediaKind::video;
    }
    setHost(&record, host);
    setTimes(&record, now);
    record.ttlSeconds = maxAgeSeconds(ssdpHeader(response, QStringLiteral("cache-control")));
    record.protocolData.insert(QStringLiteral("ssdpStatusLine"), response.statusLine);
    for (auto it = response.headers.cbegin(); it != response.headers.cend(); ++it) {
        record.protocolData.insert(QStringLiteral("ssdp.") + it.key(), it.value());
    }

    if (!location.isEmpty()) {
        EndpointRecord endpoint;
        endpoint.id = record.id + QStringLiteral(":location");
        endpoint.label = QStringLiteral("SSDP Location");
        endpoint.protocol = record.protocol;
        endpoint.url = location;
        endpoint.direction = record.direction;
        endpoint.mediaKinds = record.mediaKinds;
        endpoint.lastSeen = now;
        record.endpoints.append(endpoint);
    }
    return record;
}

} // namespace Sondrix
