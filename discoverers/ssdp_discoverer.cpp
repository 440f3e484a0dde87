#include "discoverers/ssdp_discoverer.h"

#include <algorithm>

#include <QHostAddress>
#include <QSet>
#include <QUdpSocket>

#include "discoverers/udp_window.h"

namespace Sondrix
{

namespace
{

constexpr quint16 ssdpPort = 1900;
constexpr int defaultTimeoutMs = 800;
constexpr int minimumTimeoutMs = 100;

QHostAddress ssdpGroup()
{
    return QHostAddress(QStringLiteral("239.255.255.250"));
}

QByteArray searchDatagram(const QString &target)
{
    return QByteArrayLiteral("M-SEARCH * HTTP/1.1\r\n"
                             "HOST: 239.255.255.250:1900\r\n"
                             "MAN: \"ssdp:discover\"\r\n"
                             "MX: 1\r\n"
                             "ST: ") +
           target.toUtf8() + QByteArrayLiteral("\r\n\r\n");
}

} // namespace

SsdpDiscoverer::SsdpDiscoverer(QObject *parent)
    : IDeviceDiscoverer(parent)
    , m_timeoutMs(defaultTimeoutMs)
    , m_searchTargets{
          QStringLiteral("upnp:rootdevice"),
          QStringLiteral("urn:schemas-upnp-org:device:MediaRenderer:1"),
          QStringLiteral("urn:schemas-upnp-org:device:MediaServer:1"),
          QStringLiteral("roku:ecp"),
          QStringLiteral("urn:dial-multiscreen-org:service:dial:1"),
      }
{
}

QString SsdpDiscoverer::providerName() const
{
    return QStringLiteral("ssdp");
}

bool SsdpDiscoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> SsdpDiscoverer::scan(QString *error)
{
    QList<DeviceRecord> records;
    const QList<SsdpResponse> responses = search(error);
    for (const SsdpResponse &response : responses) {
        const DeviceRecord record = recordFromSsdpResponse(response);
        if (hasStableKey(record)) {
            records.append(record);
        }
    }
    return records;
}

void SsdpDiscoverer::setTimeoutMs(int ms)
{
    m_timeoutMs = std::max(minimumTimeoutMs, ms);
}

void SsdpDiscoverer::setSearchTargets(const QStringList &targets)
{
    m_searchTargets = targets;
}

QList<SsdpResponse> SsdpDiscoverer::search(QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    QList<SsdpResponse> responses;
    QUdpSocket socket;
    if (!bindSharedIpv4(socket, 0, error)) {
        return responses;
    }
    for (const QString &target : qAsConst(m_searchTargets)) {
        socket.writeDatagram(searchDatagram(target), ssdpGroup(), ssdpPort);
    }

    QSet<QString> seen;
    receiveForWindow(socket, m_timeoutMs, [&](const QByteArray &datagram) {
        const SsdpResponse response = parseSsdpResponse(datagram);
        if (!isValidSsdpResponse(response)) {
            return;
        }
        const QString key = ssdpHeader(response, QStringLiteral("usn")) + QLatin1Char('|') +
                            ssdpHeader(response, QStringLiteral("location")) + QLatin1Char('|') +
                            ssdpHeader(response, QStringLiteral("st"));
        if (!seen.contains(key)) {
            seen.insert(key);
            responses.append(response);
        }
    });
    return responses;
}

} // namespace Sondrix
