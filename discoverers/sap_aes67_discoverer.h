#pragma once

#include <QByteArray>
#include <QString>

#include "core/device_discoverer.h"

namespace Sondrix
{

/// Listens for session announcements (RFC 2974) and reports each announced audio session as a
/// device. It sends nothing and joins no group: it hears what reaches the port on this host.
class SapAes67Discoverer : public IDeviceDiscoverer
{
public:
    explicit SapAes67Discoverer(QObject *parent = nullptr);

    QString providerName() const override;
    bool isAvailable() const override;

    /// One record for each session, from its first announcement in the window. The error tells that
    /// the port could not be bound.
    QList<DeviceRecord> scan(QString *error) override;

private:
    friend class WindowSoak;

    int m_timeoutMs;
};

/// What of a session description (RFC 8866) is used. A later line of a kind overwrites an earlier
/// one, whichever section it stands in.
struct SapSession {
    QString sessionName;
    QString origin;            ///< the whole o= value
    QString connectionAddress; ///< without TTL and count
    int port = 0;              ///< of the audio media
    QString codec;
    int sampleRate = 0; ///< Hz; 0 if not given
    int channels = 0;   ///< 0 if not given
    QString sdp;        ///< the whole description
};

/// Reads a session description; what it does not say stays empty or 0.
SapSession parseSdpSession(const QByteArray &sdp);

/// What follows the prefix, trimmed; empty if the line does not begin with it.
QString sdpLineValue(const QString &line, const QString &prefix);

/// The address of a c= line, without TTL and count; empty if the line is too short.
QString parseConnectionLine(const QString &line);

/// Takes the port of an m= line for audio. A null session does nothing.
void parseMediaLine(const QString &line, SapSession *session);

/// Takes codec, sample rate and channels of an a=rtpmap: line. A null session does nothing.
void parseRtpmapLine(const QString &line, SapSession *session);

/// The identifier of a session, by its name, address and port.
QString sapSessionId(const SapSession &session);

/// The session as a device; a default record if the description has no address or no audio port.
DeviceRecord recordFromSapAnnouncement(const QByteArray &sdp);

} // namespace Sondrix
