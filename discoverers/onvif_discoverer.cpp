#include "discoverers/onvif_discoverer.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QSet>
#include <QUdpSocket>
#include <QUrl>
#include <QXmlStreamReader>

#include "discoverers/flat_xml.h"
#include "discoverers/record_building.h"
#include "discoverers/text.h"
#include "discoverers/udp_window.h"

namespace Sondrix
{

namespace
{

constexpr quint16 discoveryPort = 3702; // WS-Discovery, 2.4
constexpr int defaultTimeoutMs = 1500;

QString firstHost(const QStringList &urls)
{
    for (const QString &text : urls) {
        const QUrl url(text, QUrl::TolerantMode);
        const QString host = urlHost(url);
        if (!host.isEmpty()) {
            return host;
        }
    }
    return QString();
}

} // namespace

OnvifDiscoverer::OnvifDiscoverer(QObject *parent) : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs)
{
}

QString OnvifDiscoverer::providerName() const
{
    return QStringLiteral("onvif");
}

bool OnvifDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> OnvifDiscoverer::scan(QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    QList<DeviceRecord> records;
    QUdpSocket socket;
    if (!bindSharedIpv4(socket, 0, error)) {
        return records;
    }
    socket.writeDatagram(onvifProbe(), QHostAddress(onvifProbeHost()), discoveryPort);

    QSet<QString> seen;
    receiveForWindow(socket, m_timeoutMs, [&](const QByteArray &datagram) {
        const QList<OnvifProbeMatch> matches = parseProbeMatches(datagram);
        for (const OnvifProbeMatch &match : matches) {
            appendUnseen(recordFromProbeMatch(match), &records, &seen);
        }
    });
    return records;
}

QString onvifProbeHost()
{
    return QStringLiteral("239.255.255.250");
}

QByteArray onvifProbe()
{
    return QByteArrayLiteral(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
        "<e:Envelope xmlns:e=\"http://www.w3.org/2003/05/soap-envelope\""
        " xmlns:w=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
        " xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\""
        " xmlns:dn=\"http://www.onvif.org/ver10/network/wsdl\">"
        "<e:Header>"
        "<w:MessageID>uuid:sondrix-onvif-probe</w:MessageID>"
        "<w:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</w:To>"
        "<w:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</w:Action>"
        "</e:Header>"
        "<e:Body><d:Probe><d:Types>dn:NetworkVideoTransmitter</d:Types></d:Probe></e:Body>"
        "</e:Envelope>");
}

QList<OnvifProbeMatch> parseProbeMatches(const QByteArray &xml)
{
    QList<OnvifProbeMatch> matches;
    OnvifProbeMatch current;
    bool isInMatch = false;
    QXmlStreamReader reader(xml);
    reader.setEntityExpansionLimit(maximumEntityCharacters);
    const auto text = [&reader] {
        return reader.readElementText(QXmlStreamReader::SkipChildElements).trimmed();
    };
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        const QString name = reader.name().toString();
        if (token == QXmlStreamReader::StartElement) {
            if (name == QLatin1String("ProbeMatch")) {
                current = OnvifProbeMatch();
                isInMatch = true;
            } else if (!isInMatch) {
                continue;
            } else if (name == QLatin1String("Address")) {
                current.endpointReference = text();
            } else if (name == QLatin1String("Types")) {
                current.types = text();
            } else if (name == QLatin1String("Scopes")) {
                current.scopes = text();
            } else if (name == QLatin1String("XAddrs")) {
                current.xaddrs = splitAtBlanks(text());
            }
        } else if (token == QXmlStreamReader::EndElement && name == QLatin1String("ProbeMatch")) {
            isInMatch = false;
            if (!current.endpointReference.isEmpty() || !current.xaddrs.isEmpty()) {
                matches.append(current);
            }
        }
    }
    return reader.hasError() ? QList<OnvifProbeMatch>() : matches;
}

DeviceRecord recordFromProbeMatch(const OnvifProbeMatch &match)
{
    const QString host = firstHost(match.xaddrs);
    const QString firstXaddr = match.xaddrs.value(0);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    DeviceRecord record;
    record.id = match.endpointReference.isEmpty() ? firstXaddr : match.endpointReference;
    record.displayName = host.isEmpty() ? QStringLiteral("ONVIF Device") : host;
    setHost(&record, host);
    record.provider = QStringLiteral("onvif");
    record.protocol = QStringLiteral("onvif");
    record.direction = Direction::input;
    record.mediaKinds = MediaKind::audio | MediaKind::video | MediaKind::metadata | MediaKind::control;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("onvif.endpointReference"), match.endpointReference},
        {QStringLiteral("onvif.types"), match.types},
        {QStringLiteral("onvif.scopes"), match.scopes},
        {QStringLiteral("onvif.xaddrs"), QJsonArray::fromStringList(match.xaddrs)},
    };

    EndpointRecord service;
    service.id = record.id + QStringLiteral(":onvif");
    service.label = QStringLiteral("ONVIF Device Service");
    service.protocol = QStringLiteral("onvif");
    service.url = host.isEmpty() ? firstXaddr : QString(QStringLiteral("onvif://") + host);
    service.direction = Direction::input;
    service.mediaKinds = record.mediaKinds;
    service.transport = QStringLiteral("HTTP/SOAP");
    service.lastSeen = now;
    record.endpoints.append(service);

    if (!firstXaddr.isEmpty()) {
        EndpointRecord xaddr = service;
        xaddr.id = record.id + QStringLiteral(":xaddr");
        xaddr.label = QStringLiteral("ONVIF XAddr");
        xaddr.protocol = QStringLiteral("http");
        xaddr.url = firstXaddr;
        xaddr.direction = Direction::controlOnly;
        xaddr.mediaKinds = MediaKind::control;
        record.endpoints.append(xaddr);
    }
    return record;
}

} // namespace Sondrix
