#include "discoverers/sap_aes67_discoverer.h"

#include <QSet>
#include <QUdpSocket>

#include "discoverers/record_building.h"
#include "discoverers/text.h"
#include "discoverers/udp_window.h"

namespace Sondrix
{

namespace
{

constexpr quint16 sapPort = 9875; // RFC 2974, 3
constexpr int defaultTimeoutMs = 800;
constexpr int sessionTtlSeconds = 300; // announcements of one session are minutes apart

} // namespace

SapAes67Discoverer::SapAes67Discoverer(QObject *parent)
    : IDeviceDiscoverer(parent), m_timeoutMs(defaultTimeoutMs)
{
}

QString SapAes67Discoverer::providerName() const
{
    return QStringLiteral("sap-aes67");
}

bool SapAes67Discoverer::isAvailable() const
{
    return true;
}

QList<DeviceRecord> SapAes67Discoverer::scan(QString *error)
{
    if (error != nullptr) {
        error->clear();
    }
    QList<DeviceRecord> records;
    QUdpSocket socket;
    if (!bindSharedIpv4(socket, sapPort, error)) {
        return records;
    }
    QSet<QString> seen;
    receiveForWindow(socket, m_timeoutMs, [&](const QByteArray &datagram) {
        // The SAP header is skipped, not read: the payload begins with the first line of the SDP.
        const int begin = datagram.indexOf("v=0");
        if (begin >= 0) {
            appendUnseen(recordFromSapAnnouncement(datagram.mid(begin)), &records, &seen);
        }
    });
    return records;
}

QString sdpLineValue(const QString &line, const QString &prefix)
{
    return line.startsWith(prefix) ? line.mid(prefix.size()).trimmed() : QString();
}

SapSession parseSdpSession(const QByteArray &sdp)
{
    SapSession session;
    session.sdp = textFromUtf8(sdp);
    QByteArray text = sdp;
    text.replace('\r', QByteArray());
    const QList<QByteArray> lines = text.split('\n');
    for (const QByteArray &bytes : lines) {
        const QString line = textFromUtf8(bytes).trimmed();
        if (line.startsWith(QLatin1String("s="))) {
            session.sessionName = sdpLineValue(line, QStringLiteral("s="));
        } else if (line.startsWith(QLatin1String("o="))) {
            session.origin = sdpLineValue(line, QStringLiteral("o="));
        } else if (line.startsWith(QLatin1String("c="))) {
            session.connectionAddress = parseConnectionLine(line);
        } else if (line.startsWith(QLatin1String("m="))) {
            parseMediaLine(line, &session);
        } else if (line.startsWith(QLatin1String("a=rtpmap:"))) {
            parseRtpmapLine(line, &session);
        }
    }
    return session;
}

QString parseConnectionLine(const QString &line)
{
    const QStringList parts = splitAtBlanks(sdpLineValue(line, QStringLiteral("c=")));
    return parts.size() < 3 ? QString() : parts.at(2).section(QLatin1Char('/'), 0, 0);
}

void parseMediaLine(const QString &line, SapSession *session)
{
    if (session == nullptr) {
        return;
    }
    const QStringList parts = splitAtBlanks(sdpLineValue(line, QStringLiteral("m=")));
    if (parts.size() < 2 || parts.at(0) != QLatin1String("audio")) {
        return;
    }
    bool isNumber = false;
    const int port = parts.at(1).toInt(&isNumber);
    if (isNumber && port >= 1) {
        session->port = port;
    }
}

void parseRtpmapLine(const QString &line, SapSession *session)
{
    const int blank = line.indexOf(QLatin1Char(' '));
    if (session == nullptr || !line.startsWith(QLatin1String("a=rtpmap:")) || blank < 0) {
        return;
    }
    const QStringList parts = line.mid(blank + 1).trimmed().split(QLatin1Char('/'));
    session->codec = parts.at(0);
    const auto takeNumber = [&parts](int index, int *target) {
        bool isNumber = false;
        const int number = parts.value(index).toInt(&isNumber);
        if (isNumber) {
            *target = number;
        }
    };
    takeNumber(1, &session->sampleRate);
    takeNumber(2, &session->channels);
}

QString sapSessionId(const SapSession &session)
{
    return QStringLiteral("sap:%1:%2:%3")
        .arg(normalizedText(session.sessionName), session.connectionAddress, QString::number(session.port));
}

DeviceRecord recordFromSapAnnouncement(const QByteArray &sdp)
{
    DeviceRecord record;
    const SapSession session = parseSdpSession(sdp);
    if (session.connectionAddress.isEmpty() || session.port < 1) {
        return record;
    }
    const QDateTime now = QDateTime::currentDateTimeUtc();
    record.id = sapSessionId(session);
    record.displayName = session.sessionName.isEmpty() ? session.connectionAddress : session.sessionName;
    record.hostname = session.connectionAddress;
    record.addresses.append(session.connectionAddress);
    record.provider = QStringLiteral("sap-aes67");
    record.protocol = QStringLiteral("sap");
    record.direction = Direction::input;
    record.mediaKinds = MediaKind::audio | MediaKind::metadata;
    record.ttlSeconds = sessionTtlSeconds;
    setTimes(&record, now);
    record.protocolData = QJsonObject{
        {QStringLiteral("sap.origin"), session.origin},
        {QStringLiteral("sap.sessionName"), session.sessionName},
        {QStringLiteral("sap.sdp"), session.sdp},
        {QStringLiteral("aes67.codec"), session.codec},
        {QStringLiteral("aes67.sampleRate"), session.sampleRate},
        {QStringLiteral("aes67.channels"), session.channels},
    };

    EndpointRecord endpoint;
    endpoint.id = record.id + QStringLiteral(":rtp");
    endpoint.label = record.displayName;
    endpoint.protocol = QStringLiteral("rtp");
    endpoint.url =
        QStringLiteral("rtp://%1:%2").arg(session.connectionAddress, QString::number(session.port));
    endpoint.direction = Direction::input;
    endpoint.mediaKinds = MediaKind::audio;
    endpoint.transport = QStringLiteral("RTP");
    endpoint.metadata = QVariantMap{
        {QStringLiteral("codec"), session.codec},
        {QStringLiteral("sampleRate"), session.sampleRate},
        {QStringLiteral("channels"), session.channels},
        {QStringLiteral("sdp"), session.sdp},
    };
    endpoint.lastSeen = now;
    record.endpoints.append(endpoint);
    return record;
}

} // namespace Sondrix
